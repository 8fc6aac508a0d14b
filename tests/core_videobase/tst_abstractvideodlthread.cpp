#include "core_videobase/abstractvideodlthread.h"

#include "support/downloadlog.h"
#include "support/messageguard.h"

#include <QDate>
#include <QDir>
#include <QElapsedTimer>
#include <QMetaMethod>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <functional>
#include <memory>

namespace {

constexpr int endMs = 30000;

/// A download without a device: what its hooks answer is told by the test, and they are written down among the signals.
class ProbeDownload : public AbstractVideoDLThread
{
public:
    ~ProbeDownload() override { stopDL(); }

    bool begins = true;
    QVector<int> reads; ///< results; then 1, the end of the recording
    std::function<void()> onRead;
    int saveResult = 0;
    std::function<void()> onSave;
    std::function<void()> onEnd;
    QString folder;

    QVector<int> readTimeouts;
    bool wasHeaderZero = false;
    DownloadLog log{this};

    bool download()
    {
        startDL();
        return wait(endMs);
    }

    using AbstractVideoDLThread::fileStartPts;
    using AbstractVideoDLThread::lastPts;
    using AbstractVideoDLThread::lastReportedPts;
    using AbstractVideoDLThread::reportDamage;
    using AbstractVideoDLThread::reservedPts;
    using AbstractVideoDLThread::saveAudio;
    using AbstractVideoDLThread::saveDir;
    using AbstractVideoDLThread::saveInterval;
    using AbstractVideoDLThread::savePath;
    using AbstractVideoDLThread::startTime;
    using AbstractVideoDLThread::endTime;
    using AbstractVideoDLThread::stopped;
    using AbstractVideoDLThread::timeoutCount;

protected:
    void initOption() override
    {
        log.note("init");
        AbstractVideoDLThread::initOption();
    }

    void makeSaveSubDir() override
    {
        log.note("folder");
        saveDir = folder;
        AbstractVideoDLThread::makeSaveSubDir();
    }

    bool beforeDownload() override
    {
        log.note("before");
        return begins && AbstractVideoDLThread::beforeDownload();
    }

    void afterDownload() override
    {
        log.note("after");
        AbstractVideoDLThread::afterDownload();
        if (onEnd)
            onEnd();
    }

    int readFrame(XFrameHeader* frame, int timeout) override
    {
        if (readTimeouts.isEmpty()) {
            auto* bytes = reinterpret_cast<char*>(frame);
            wasHeaderZero = std::all_of(bytes, bytes + sizeof(XFrameHeader), [](char byte) { return byte == 0; });
            std::fill(bytes, bytes + XFrameHeader::bufferSize, 'x'); // all of it is the reader's
        }
        readTimeouts << timeout;
        if (onRead)
            onRead();
        return reads.isEmpty() ? 1 : reads.takeFirst();
    }

    int handleSaveMP4(XFrameHeader*) override
    {
        log.note("save");
        timeoutCount = 0;
        if (onSave)
            onSave();
        return saveResult;
    }
};

} // namespace

class TestAbstractVideoDLThread : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<MessageGuard> guard;

private Q_SLOTS:
    void init() { guard.reset(new MessageGuard); }
    void cleanup() { VERIFY_NO_UNEXPECTED_MESSAGES(*guard); }

    void metaObject_hasItsSignalsInOrder()
    {
        const QMetaObject& meta = AbstractVideoDLThread::staticMetaObject;
        QStringList signatures;
        for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
            QCOMPARE(meta.method(i).methodType(), QMetaMethod::Signal);
            signatures << QString::fromLatin1(meta.method(i).methodSignature());
        }
        QCOMPARE(signatures,
                 (QStringList{"sig_downloadStart()", "sig_downloadFinsh(bool)", "sig_downloadPts(qlonglong)",
                              "sig_downloadErrConnExceedMax()", "sig_downloadError()"}));
        QCOMPARE(meta.method(meta.methodOffset() + 1).parameterNames(), QList<QByteArray>{"ok"});
        QCOMPARE(meta.method(meta.methodOffset() + 2).parameterNames(), QList<QByteArray>{"pts"});
    }

    void fields_haveTheirDefaults()
    {
        const ProbeDownload probe;
        QVERIFY(probe.stopped);
        QCOMPARE(probe.timeoutCount, 0);
        QCOMPARE(probe.saveAudio, false);
        QCOMPARE(probe.saveInterval, -1);
        QVERIFY(probe.savePath.isEmpty());
        QVERIFY(probe.saveDir.isEmpty());
        QVERIFY(!probe.startTime.isValid());
        QVERIFY(!probe.endTime.isValid());
        QCOMPARE(probe.fileStartPts, qint64(0));
        QCOMPARE(probe.lastPts, qint64(0));
        QCOMPARE(probe.reservedPts, qint64(0));
        QCOMPARE(probe.lastReportedPts, qint64(0));
    }

    void setters_store()
    {
        ProbeDownload probe;
        const QDateTime begin(QDate(2024, 5, 6), QTime(7, 0));
        probe.setSaveAudio(true);
        probe.setSaveInterval(60);
        probe.setSavePath("D:/rec");
        probe.setDateTime(begin, begin.addSecs(60));
        QCOMPARE(probe.saveAudio, true);
        QCOMPARE(probe.saveInterval, 60);
        QCOMPARE(probe.savePath, QString("D:/rec"));
        QCOMPARE(probe.startTime, begin);
        QCOMPARE(probe.endTime, begin.addSecs(60));
    }

    void run_callsTheHooksInOrder()
    {
        ProbeDownload probe;
        probe.reads = {0, 2, 0};
        QVERIFY(probe.download());
        QCOMPARE(probe.log.lines(),
                 (QStringList{"init", "folder", "before", "start", "save", "save", "after", "finish true"}));
        QCOMPARE(probe.readTimeouts, (QVector<int>{300, 300, 300, 300}));
        QVERIFY(probe.wasHeaderZero);
        QCOMPARE(guard->texts(QtInfoMsg), (QStringList{"read frame timeout", "--exit download thread"}));
    }

    void run_makesTheFolder()
    {
        const QTemporaryDir folder;
        ProbeDownload probe;
        probe.folder = folder.filePath("a/b c/vod");
        bool isThere = false;
        probe.onRead = [&] { isThere = QDir(probe.folder).exists(); };
        QVERIFY(probe.download());
        QVERIFY(isThere);
    }

    void run_forgetsTheDownloadBefore()
    {
        ProbeDownload probe;
        probe.fileStartPts = probe.lastPts = probe.reservedPts = probe.lastReportedPts = 7;
        probe.timeoutCount = 9;
        qint64 sum = -1;
        int timeouts = -1;
        probe.onRead = [&] {
            sum = probe.fileStartPts + probe.lastPts + probe.reservedPts + probe.lastReportedPts;
            timeouts = probe.timeoutCount;
        };
        QVERIFY(probe.download());
        QCOMPARE(sum, qint64(0));
        QCOMPARE(timeouts, 0);
    }

    void setReadTimeout_isThatOfEveryRead()
    {
        ProbeDownload probe;
        probe.setReadTimeout(25);
        probe.reads = {0};
        QVERIFY(probe.download());
        QCOMPARE(probe.readTimeouts, (QVector<int>{25, 25}));
    }

    void run_endsAtOnce_whenThereIsNothingToBeHad()
    {
        guard->allow("^beforeReadFrame err$");
        ProbeDownload probe;
        probe.begins = false;
        QVERIFY(probe.download());
        QCOMPARE(probe.log.lines(), (QStringList{"init", "folder", "before"}));
        QCOMPARE(guard->texts(QtCriticalMsg), QStringList{"beforeReadFrame err"});
        QVERIFY(guard->texts(QtInfoMsg).isEmpty());
    }

    void run_endsAsAFailure_data()
    {
        QTest::addColumn<QVector<int>>("reads");
        QTest::addColumn<int>("saveResult");
        QTest::addColumn<QStringList>("between");
        QTest::addColumn<int>("count");
        QTest::newRow("an error") << QVector<int>{0, 3, 0} << 0 << QStringList{"save"} << 2;
        QTest::newRow("any other result") << QVector<int>{-1, 0} << 0 << QStringList{} << 1;
        QTest::newRow("a frame that can't be written")
            << QVector<int>{2, 0, 0} << -1 << QStringList{"save", "error"} << 2;
        QTest::newRow("any other answer of the writer") << QVector<int>{0, 0} << 5 << QStringList{"save", "error"} << 1;
        QTest::newRow("eleven time-outs") << QVector<int>(20, 2) << 0 << QStringList{} << 11;
        QTest::newRow("eleven time-outs behind a frame")
            << (QVector<int>(10, 2) + QVector<int>{0} + QVector<int>(20, 2)) << 0 << QStringList{"save"} << 22;
    }

    void run_endsAsAFailure()
    {
        QFETCH(QVector<int>, reads);
        QFETCH(int, saveResult);
        QFETCH(QStringList, between);
        QFETCH(int, count);
        ProbeDownload probe;
        probe.reads = reads;
        probe.saveResult = saveResult;
        QVERIFY(probe.download());
        QCOMPARE(probe.log.lines(), QStringList({"init", "folder", "before", "start"}) + between
                                        + QStringList({"after", "finish false"}));
        QCOMPARE(probe.readTimeouts.size(), count);
        QCOMPARE(guard->count(QtInfoMsg, "read frame timeout"), reads.mid(0, count).count(2));
        QCOMPARE(guard->count(QtInfoMsg, "--exit download thread"), 1);
    }

    void run_goesOn_afterTenTimeouts()
    {
        ProbeDownload probe;
        probe.reads = QVector<int>(10, 2);
        QVERIFY(probe.download());
        QCOMPARE(probe.log.lines().last(), QString("finish true"));
        QCOMPARE(probe.readTimeouts.size(), 11);
    }

    void run_endsAsAFailure_whenTheLastFileIsDamaged()
    {
        ProbeDownload probe;
        probe.onEnd = [&] {
            probe.reportDamage();
            probe.reportDamage(); // told once
        };
        QVERIFY(probe.download());
        QCOMPARE(probe.log.lines(),
                 (QStringList{"init", "folder", "before", "start", "after", "error", "finish false"}));
        probe.onEnd = nullptr;
        QVERIFY(probe.download()); // the next one has nothing to do with it
        QCOMPARE(probe.log.lines().last(), QString("finish true"));
    }

    void stopDL_isNeverASuccess_data()
    {
        QTest::addColumn<int>("result");
        QTest::newRow("frames") << 0;
        QTest::newRow("time-outs") << 2;
    }

    void stopDL_isNeverASuccess()
    {
        QFETCH(int, result);
        ProbeDownload probe;
        std::atomic<int> count{0};
        probe.reads = QVector<int>(3, result);
        probe.onRead = [&] {
            if (++count == 3) {
                while (!probe.stopped)
                    QThread::msleep(1);
            }
        };
        probe.startDL();
        QTRY_COMPARE_WITH_TIMEOUT(count.load(), 3, endMs);
        probe.stopDL();
        QVERIFY(probe.isFinished());
        QCOMPARE(count.load(), 3); // it did not come to the end of the recording
        QCOMPARE(probe.log.lines().mid(probe.log.lines().size() - 2), (QStringList{"after", "finish false"}));
    }

    void stopDL_beforeTheFirstRead_readsNothing()
    {
        ProbeDownload probe;
        connect(&probe, &AbstractVideoDLThread::sig_downloadStart, &probe, [&] { probe.stopped = true; },
                Qt::DirectConnection);
        QVERIFY(probe.download());
        QCOMPARE(probe.log.lines(), (QStringList{"init", "folder", "before", "start", "after", "finish false"}));
        QVERIFY(probe.readTimeouts.isEmpty());
    }

    void stopDL_doesNothing_whileNothingRuns()
    {
        ProbeDownload probe;
        probe.stopDL();
        QVERIFY(!probe.isRunning());
        QVERIFY(probe.log.lines().isEmpty());
        QVERIFY(probe.download()); // and does not keep the next one from running
        QCOMPARE(probe.log.lines().last(), QString("finish true"));
        probe.stopDL();
        QCOMPARE(probe.log.lines().last(), QString("finish true"));
    }

    void stopDL_mayBeCalledInASlotOfTheDownload()
    {
        ProbeDownload probe;
        probe.reads = QVector<int>(5, 0);
        connect(
            &probe, &AbstractVideoDLThread::sig_downloadStart, &probe, [&] { probe.stopDL(); }, Qt::DirectConnection);
        QVERIFY(probe.download());
        QCOMPARE(probe.log.lines().last(), QString("finish false"));
    }

    void startDL_doesNothing_whileADownloadRuns()
    {
        ProbeDownload probe;
        std::atomic<bool> goesOn{false};
        probe.onRead = [&] {
            while (!goesOn)
                QThread::msleep(1);
        };
        probe.startDL();
        QTRY_VERIFY_WITH_TIMEOUT(probe.log.lines().contains("start"), endMs);
        probe.startDL();
        goesOn = true;
        QVERIFY(probe.wait(endMs));
        QCOMPARE(probe.log.lines().count("start"), 1);
        QCOMPARE(probe.log.lines().last(), QString("finish true"));
    }

    /// The thread may still be on its way out of the signal.
    void startDL_isNotLost_whileTheThreadReturns()
    {
        ProbeDownload probe;
        std::atomic<bool> lingers{true};
        connect(
            &probe, &AbstractVideoDLThread::sig_downloadFinsh, &probe,
            [&] {
                if (lingers.exchange(false))
                    QThread::msleep(100);
            },
            Qt::DirectConnection);
        probe.startDL();
        QTRY_VERIFY_WITH_TIMEOUT(probe.log.lines().contains("finish true"), endMs);
        QVERIFY(probe.isRunning());
        probe.startDL();
        probe.startDL(); // the new one runs already
        QTRY_COMPARE_WITH_TIMEOUT(probe.log.lines().count("finish true"), 2, endMs);
        QVERIFY(probe.wait(endMs));
        QCOMPARE(probe.log.lines().count("start"), 2);
    }

    void signals_areSentOnTheDownloadsThread()
    {
        ProbeDownload probe;
        QThread* sender = nullptr;
        connect(&probe, &AbstractVideoDLThread::sig_downloadFinsh, &probe, [&] { sender = QThread::currentThread(); },
                Qt::DirectConnection);
        QVector<bool> queued;
        connect(&probe, &AbstractVideoDLThread::sig_downloadFinsh, this, [&](bool ok) { queued << ok; });
        QVERIFY(probe.download());
        QCOMPARE(sender, static_cast<QThread*>(&probe));
        QVERIFY(queued.isEmpty()); // on its way to this thread
        QTRY_COMPARE(queued, QVector<bool>{true});
    }
};

QTEST_GUILESS_MAIN(TestAbstractVideoDLThread)

#include "tst_abstractvideodlthread.moc"
