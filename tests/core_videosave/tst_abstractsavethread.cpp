#include "core_videobase/abstractsavethread.h"

#include "support/messageguard.h"

#include <QMetaMethod>
#include <QTemporaryDir>
#include <QTest>

#include <cstring>
#include <memory>

namespace {
class ProbeSaver : public AbstractSaveThread
{
public:
    ~ProbeSaver() override { stop(); }

    bool init() override
    {
        ++inits;
        return isInitGood;
    }

    void save() override
    {
        ++saves;
        msleep(1);
    }

    void close() override
    {
        ++closes;
        flagsAtClose = stopped || running || paused;
    }

    using AbstractSaveThread::removeEmptyFile;

    void verifyDefaults() const
    {
        QVERIFY(!stopped && !running && !paused);
        QVERIFY(flagText.isEmpty());
        QVERIFY(!file.isOpen() && file.fileName().isEmpty());
        QCOMPARE(saveType, 0);
        QCOMPARE(videoWidth, 640);
        QCOMPARE(videoHeight, 480);
        QCOMPARE(frameRate, 25);
        QCOMPARE(sampleRate, 8000);
        QCOMPARE(channelCount, 1);
        QCOMPARE(profile, 1);
    }

    /// Places of the operations in the table of virtual functions, relative to init's.
    static QVector<std::ptrdiff_t> places()
    {
        const std::ptrdiff_t first = place(&AbstractSaveThread::init);
        return {place(&AbstractSaveThread::save) - first, place(&AbstractSaveThread::close) - first,
                place(&AbstractSaveThread::open) - first, place(&AbstractSaveThread::pause) - first,
                place(&AbstractSaveThread::stop) - first};
    }

    std::atomic<bool> isInitGood{true};
    std::atomic<bool> flagsAtClose{true};
    std::atomic<int> inits{0};
    std::atomic<int> saves{0};
    std::atomic<int> closes{0};

private:
    template <typename Method>
    static std::ptrdiff_t place(Method method)
    {
        std::ptrdiff_t offset = 0; // how the Itanium ABI stores a pointer to a virtual function
        std::memcpy(&offset, &method, sizeof offset);
        return offset / std::ptrdiff_t(sizeof(void*));
    }
};
} // namespace

class tst_AbstractSaveThread : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { guard = std::make_unique<MessageGuard>(); }
    void cleanup() { VERIFY_NO_UNEXPECTED_MESSAGES(*guard); }

    void fields_haveDefaults();
    void slots_areInOrder();
    void virtuals_areInOrder();
    void operations_doNothing_whenNotOverridden();
    void open_runsUntilStop_andLogs();
    void open_startsNoThread_whenInitFails();
    void open_changesNothing_whenRunning();
    void open_worksAgain_afterStop();
    void pause_toggles_whileRunning();
    void pause_doesNothing_whenNotRunning();
    void destructor_endsTheRecording();
    void removeEmptyFile_removesEmptyFilesOnly();

private:
    std::unique_ptr<MessageGuard> guard;
};

void tst_AbstractSaveThread::fields_haveDefaults()
{
    const ProbeSaver saver;
    saver.verifyDefaults();
    QCOMPARE(saver.fileName(), QString());
    QVERIFY(!saver.getIsRunning());
    QVERIFY(!saver.getIsPause());
}

void tst_AbstractSaveThread::slots_areInOrder()
{
    const QMetaObject& meta = AbstractSaveThread::staticMetaObject;
    QStringList signatures;
    for (int n = meta.methodOffset(); n < meta.methodCount(); ++n)
        signatures.append(meta.method(n).methodSignature());
    QCOMPARE(signatures, (QStringList{"init()", "save()", "close()", "open(QString)", "pause()", "stop()"}));
    QCOMPARE(meta.superClass(), &QThread::staticMetaObject);
}

void tst_AbstractSaveThread::virtuals_areInOrder()
{
    QCOMPARE(ProbeSaver::places(), (QVector<std::ptrdiff_t>{1, 2, 3, 4, 5}));
}

void tst_AbstractSaveThread::operations_doNothing_whenNotOverridden()
{
    AbstractSaveThread saver;
    QVERIFY(saver.init());
    saver.save();
    saver.close();
    saver.stop();
    QVERIFY(guard->messages().isEmpty());
}

void tst_AbstractSaveThread::open_runsUntilStop_andLogs()
{
    ProbeSaver saver;
    QVERIFY(QMetaObject::invokeMethod(&saver, "open", Q_ARG(QString, "录像.mp4")));
    QVERIFY(saver.getIsRunning());
    QTRY_VERIFY(saver.saves > 2);
    QCOMPARE(saver.fileName(), QString("录像.mp4"));
    QCOMPARE(saver.closes.load(), 0);
    saver.stop();
    QVERIFY(saver.isFinished());
    QVERIFY(!saver.getIsRunning());
    QCOMPARE(saver.inits.load(), 1);
    QCOMPARE(saver.closes.load(), 1);
    QVERIFY(!saver.flagsAtClose);
    QCOMPARE(guard->texts(QtInfoMsg), (QStringList{"start record -> file: 录像.mp4", "stop record -> file: 录像.mp4"}));
}

void tst_AbstractSaveThread::open_startsNoThread_whenInitFails()
{
    ProbeSaver saver;
    saver.isInitGood = false;
    saver.open("a.mp4");
    QVERIFY(!saver.getIsRunning());
    QVERIFY(!saver.isRunning());
    QVERIFY(!saver.isFinished());
    QCOMPARE(saver.fileName(), QString("a.mp4"));
    saver.stop();
    QCOMPARE(saver.closes.load(), 0);
}

void tst_AbstractSaveThread::open_changesNothing_whenRunning()
{
    ProbeSaver saver;
    saver.open("a.mp4");
    saver.open("b.mp4");
    QCOMPARE(saver.fileName(), QString("a.mp4"));
    QCOMPARE(saver.inits.load(), 1);
    QVERIFY(saver.getIsRunning());
}

void tst_AbstractSaveThread::open_worksAgain_afterStop()
{
    ProbeSaver saver;
    for (int n = 1; n <= 20; ++n) {
        saver.open(QString("%1.mp4").arg(n));
        QVERIFY(saver.getIsRunning());
        saver.stop();
        QCOMPARE(saver.closes.load(), n);
    }
    QCOMPARE(saver.fileName(), QString("20.mp4"));
}

void tst_AbstractSaveThread::pause_toggles_whileRunning()
{
    ProbeSaver saver;
    saver.setFlagText("1号");
    saver.open("a.mp4");
    saver.pause();
    QVERIFY(saver.getIsPause());
    const int saves = saver.saves;
    QTRY_VERIFY(saver.saves > saves); // the loop itself goes on
    saver.pause();
    QVERIFY(!saver.getIsPause());
    saver.pause();
    saver.stop();
    QVERIFY(!saver.getIsPause());
    QCOMPARE(guard->count(QtDebugMsg, "标识[1号] 暂停录制"), 2);
    QCOMPARE(guard->count(QtDebugMsg, "标识[1号] 继续录制"), 1);
}

void tst_AbstractSaveThread::pause_doesNothing_whenNotRunning()
{
    ProbeSaver saver;
    saver.pause();
    QVERIFY(!saver.getIsPause());
    QVERIFY(guard->messages().isEmpty());
}

void tst_AbstractSaveThread::destructor_endsTheRecording()
{
    {
        AbstractSaveThread saver;
        saver.open("base.mp4");
        ProbeSaver other;
        other.open("sub.mp4");
    }
    QCOMPARE(guard->count(QtInfoMsg, "stop record -> file: base.mp4"), 1);
    QCOMPARE(guard->count(QtInfoMsg, "stop record -> file: sub.mp4"), 1);
}

void tst_AbstractSaveThread::removeEmptyFile_removesEmptyFilesOnly()
{
    const QTemporaryDir folder;
    QFile empty(folder.filePath("empty"));
    QVERIFY(empty.open(QFile::WriteOnly));
    empty.close();
    QFile full(folder.filePath("full"));
    QVERIFY(full.open(QFile::WriteOnly) && full.write("x") == 1);
    full.close();
    const ProbeSaver saver;
    for (const QString& path : {empty.fileName(), full.fileName(), folder.filePath("missing"), folder.path()})
        saver.removeEmptyFile(path);
    QVERIFY(!empty.exists());
    QVERIFY(full.exists());
    QCOMPARE(guard->texts(QtDebugMsg), QStringList{"失败删除"});
}

QTEST_GUILESS_MAIN(tst_AbstractSaveThread)
#include "tst_abstractsavethread.moc"
