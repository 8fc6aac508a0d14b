#include "core_video/ffmpegvideothread.h"
#include "core_video/urlvideowidget.h"
#include "support/clips.h"
#include "support/messageguard.h"
#include "support/moviefile.h"
#include "support/resourcecount.h"
#include "support/rtspserver.h"

#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QLabel>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {
constexpr int limitMs = 15000;
const QString note = " 录制中...";
const QString timePattern = "yyyyMMddTHHmmss";

QLabel* bannerLabel(const QWidget* widget)
{
    const auto* banner = widget->findChild<QWidget*>("bannerWidget");
    return banner ? banner->findChild<QLabel*>() : nullptr;
}

bool saysRecording(const QWidget* widget) { return bannerLabel(widget)->text().endsWith(note); }

QStringList filesBelow(const QString& folder)
{
    QStringList files;
    QDirIterator entries(folder, QDir::Files, QDirIterator::Subdirectories);
    while (entries.hasNext())
        files << entries.next();
    files.sort();
    return files;
}

/// What the recorders of a thread say, as it arrives on the GUI thread: after the widget has heard it.
class StateLog : public QObject
{
public:
    explicit StateLog(const AbstractVideoThread* thread)
    {
        connect(thread, &AbstractVideoThread::recorderStateChanged, this,
                [this](const RecorderState& state, const QString& file) {
                    states << state;
                    files << file;
                });
    }
    int count() const { return states.size(); }

    QVector<RecorderState> states;
    QStringList files;
};

/// The numbers of a complete recording's name: start, end, channel.
QStringList partsOf(const QString& file) { return QFileInfo(file).completeBaseName().split('_'); }
} // namespace

/// Recording with a URL widget: what the user sees and what is on the disk then.
class TestUrlVideoWidgetRecording : public QObject
{
    Q_OBJECT

private:
    /// A widget that plays.
    std::unique_ptr<UrlVideoWidget> play(const QString& url, int channel = 0)
    {
        auto widget = std::make_unique<UrlVideoWidget>();
        VideoPara para = widget->getVideoPara();
        para.connectTimeout = 5000;
        para.readTimeout = 2000;
        widget->setVideoPara(para);
        widget->setUrl(url);
        widget->setChannel(channel);
        widget->resize(320, 240);
        widget->show();
        QSignalSpy started(widget.get(), &UrlVideoWidget::sig_receivePlayStart);
        const bool plays = widget->start() && QTest::qWaitFor([&] { return started.count() == 1; }, limitMs);
        return plays ? std::move(widget) : nullptr;
    }

    static AbstractVideoThread* threadOf(const UrlVideoWidget* widget)
    {
        return widget->findChild<AbstractVideoThread*>();
    }

    void verifyName(const QString& file, const QString& path, int channel) const
    {
        const QString pattern =
            QRegularExpression::escape(path) + R"(/(\d{4}-\d\d-\d\d)/live/(\d{8}T\d{6})_(\d{8}T\d{6})_(\d+)\.mp4)";
        const auto match = QRegularExpression(QRegularExpression::anchoredPattern(pattern)).match(file);
        QVERIFY2(match.hasMatch(), qPrintable(file));
        const QDateTime start = QDateTime::fromString(match.captured(2), timePattern);
        const QDateTime end = QDateTime::fromString(match.captured(3), timePattern);
        QVERIFY2(start.isValid() && end.isValid() && start <= end, qPrintable(file));
        QCOMPARE(match.captured(1), start.toString("yyyy-MM-dd"));
        QCOMPARE(match.captured(4).toInt(), channel);
        QVERIFY(qAbs(end.secsTo(QDateTime::currentDateTime())) < 60);
    }

    std::unique_ptr<MessageGuard> guard;
    std::unique_ptr<QTemporaryDir> folder;
    RtspServer server;

private Q_SLOTS:
    void initTestCase() { QVERIFY(server.start()); }
    void init()
    {
        guard = std::make_unique<MessageGuard>();
        guard->allow("^error count: [123] why: ");
        // The thread of a network address may end after its widget, and after the test function.
        guard->allow("^lost \\d+ pictures and \\d+ packets of sound in .*: the file could not be created ");
        folder = std::make_unique<QTemporaryDir>();
        QVERIFY(folder->isValid());
        if (!server.isRunning())
            QVERIFY(server.start());
    }
    void cleanup()
    {
        QVERIFY(ResourceCount::waitUntilNoneIsCalled("UrlVideoThread"));
        VERIFY_NO_UNEXPECTED_MESSAGES(*guard);
    }

    void recordStart_writesAFileNamedByTimeAndChannel()
    {
        const auto widget = play(server.url("h264_pcma"), 7);
        QVERIFY(widget);
        const StateLog log(threadOf(widget.get()));
        const QString before = bannerLabel(widget.get())->text();
        QVERIFY(!saysRecording(widget.get()));

        const QString path = folder->filePath("录像 一");
        widget->recordStart(path);
        QTRY_VERIFY_WITH_TIMEOUT(saysRecording(widget.get()), limitMs);
        QCOMPARE(bannerLabel(widget.get())->text(), before + note);
        QCOMPARE(log.count(), 1);
        QCOMPARE(log.states.at(0), RecorderRecording);
        const QString started = log.files.at(0);
        const QDate today = QDate::currentDate();
        QVERIFY2(QRegularExpression(R"(/live/\d{8}T\d{6}\.mp4$)").match(started).hasMatch(), qPrintable(started));
        QCOMPARE(filesBelow(path), QStringList(started));
        QTest::qWait(1500);

        widget->recordStop();
        QTRY_VERIFY_WITH_TIMEOUT(!saysRecording(widget.get()), limitMs);
        QCOMPARE(bannerLabel(widget.get())->text(), before);
        QCOMPARE(log.count(), 2);
        QCOMPARE(log.states.at(1), RecorderIdle);
        const QString finished = log.files.at(1);
        QCOMPARE(filesBelow(path), QStringList(finished));
        QCOMPARE(partsOf(finished).first(), QFileInfo(started).completeBaseName());
        QVERIFY(finished.contains(today.toString("/yyyy-MM-dd/")) || QDate::currentDate() != today);
        verifyName(finished, path, 7);
        const MovieFile movie(finished);
        QVERIFY(movie.decodes());
        QVERIFY(movie.plays());
        QCOMPARE(movie.audioCodec(), QString("aac"));
        QVERIFY(movie.pictureCount() >= 10);
        widget->stop();
    }

    void setSaveInterval_cutsFiles_thatFollowEachOther()
    {
        const auto widget = play(server.url("h264"));
        QVERIFY(widget);
        const StateLog log(threadOf(widget.get()));
        widget->setSaveInterval(1);
        widget->recordStart(folder->path());
        QTRY_VERIFY_WITH_TIMEOUT(log.count() >= 7, limitMs); // the fourth file is open
        QVERIFY(saysRecording(widget.get()));
        widget->recordStop();
        QTRY_VERIFY_WITH_TIMEOUT(!saysRecording(widget.get()), limitMs);
        const QStringList files = filesBelow(folder->path());
        QVERIFY(files.size() >= 4);
        QCOMPARE(log.count(), 2 * files.size());
        QVector<int> numbers;
        for (const QString& file : files) {
            verifyName(file, folder->path(), 0);
            QVERIFY(MovieFile(file).decodes());
            QVERIFY(MovieFile(file).startsWithKeyFrame());
            numbers += MovieFile(file).pictureNumbers();
        }
        for (int i = 1; i < numbers.size(); ++i)
            QVERIFY(numbers.at(i) > numbers.at(i - 1));
        widget->stop();
    }

    void recordStart_recordsAFileThatPlays()
    {
        const auto widget = play(Clips::h264Mp4());
        QVERIFY(widget);
        widget->recordStart(folder->path());
        QTRY_VERIFY_WITH_TIMEOUT(saysRecording(widget.get()), limitMs);
        // To its end, which ends the recording.
        QTRY_VERIFY_WITH_TIMEOUT(!saysRecording(widget.get()), limitMs);
        QTRY_COMPARE_WITH_TIMEOUT(filesBelow(folder->path()).size(), 1, limitMs);
        const QString file = filesBelow(folder->path()).first();
        verifyName(file, folder->path(), 0);
        QVERIFY(MovieFile(file).decodes());
        QCOMPARE(MovieFile(file).pictureCount() % Clips::frameRate, 0);
        QCOMPARE(MovieFile(file).pictureNumbers().last(), Clips::frameCount - 1);
    }

    void note_stays_whileOneOfTwoRecordingsRuns()
    {
        const auto widget = play(server.url("h264"));
        QVERIFY(widget);
        AbstractVideoThread* thread = threadOf(widget.get());
        const StateLog log(thread);
        widget->recordStart(folder->path());
        thread->setSavePath(AbstractVideoThread::AUTO_RECORD, folder->path()); // the same folder
        thread->recordStart(AbstractVideoThread::AUTO_RECORD);
        QTRY_COMPARE_WITH_TIMEOUT(log.count(), 2, limitMs);
        QVERIFY(saysRecording(widget.get()));
        QVERIFY(log.files.at(0) != log.files.at(1)); // each has a file of its own
        QTest::qWait(1000);

        widget->recordStop();
        QTRY_COMPARE_WITH_TIMEOUT(log.count(), 3, limitMs);
        QCOMPARE(log.states.at(2), RecorderIdle);
        QVERIFY(saysRecording(widget.get()));

        thread->recordStop(AbstractVideoThread::AUTO_RECORD);
        QTRY_VERIFY_WITH_TIMEOUT(!saysRecording(widget.get()), limitMs);
        const QStringList files = filesBelow(folder->path());
        QCOMPARE(files.size(), 2);
        for (const QString& file : files)
            QVERIFY(MovieFile(file).decodes());
        widget->stop();
    }

    void recordings_neverReplaceEachOther_whenTheyAreShort()
    {
        const auto widget = play(server.url("h264"));
        QVERIFY(widget);
        const StateLog log(threadOf(widget.get()));
        constexpr int rounds = 5;
        for (int round = 1; round <= rounds; ++round) {
            widget->recordStart(folder->path());
            QTRY_COMPARE_WITH_TIMEOUT(log.count(), 2 * round - 1, limitMs);
            widget->recordStop();
            QTRY_COMPARE_WITH_TIMEOUT(log.count(), 2 * round, limitMs);
        }
        const QStringList files = filesBelow(folder->path());
        QCOMPARE(files.size(), rounds);
        for (const QString& file : files) {
            QVERIFY(QRegularExpression(R"(\d{8}T\d{6}_\d{8}T\d{6}_0\.mp4$)").match(file).hasMatch());
            QVERIFY(MovieFile(file).pictureCount() >= 1);
        }
        widget->stop();
    }

    void stop_finishesTheFile_whileRecording()
    {
        const auto widget = play(server.url("h264"));
        QVERIFY(widget);
        widget->recordStart(folder->path());
        QTRY_VERIFY_WITH_TIMEOUT(saysRecording(widget.get()), limitMs);
        QTest::qWait(800);
        widget->stop();
        QTRY_VERIFY_WITH_TIMEOUT(!saysRecording(widget.get()), limitMs);
        QTRY_VERIFY_WITH_TIMEOUT(filesBelow(folder->path()).value(0).endsWith("_0.mp4"), limitMs);
        const QStringList files = filesBelow(folder->path());
        QCOMPARE(files.size(), 1);
        QVERIFY(MovieFile(files.first()).decodes());
    }

    void widget_mayBeDeleted_whileItRecords()
    {
        auto widget = play(server.url("h264_pcma"));
        QVERIFY(widget);
        widget->recordStart(folder->path());
        QTRY_VERIFY_WITH_TIMEOUT(saysRecording(widget.get()), limitMs);
        QTest::qWait(800);
        widget.reset();
        QTRY_VERIFY_WITH_TIMEOUT(filesBelow(folder->path()).value(0).endsWith("_0.mp4"), limitMs);
        const QStringList files = filesBelow(folder->path());
        QCOMPARE(files.size(), 1);
        verifyName(files.first(), folder->path(), 0);
        QVERIFY(MovieFile(files.first()).decodes());
    }

    void recording_goesOn_whenSourceComesBack()
    {
        guard->allow("^打开出错 -> 错误: ");
        guard->allow("^找流失败 -> 错误: ");
        const auto widget = play(server.url("h264"));
        QVERIFY(widget);
        const StateLog log(threadOf(widget.get()));
        widget->recordStart(folder->path());
        QTRY_COMPARE_WITH_TIMEOUT(log.count(), 1, limitMs);
        QTest::qWait(800);
        server.kill();
        QTRY_COMPARE_WITH_TIMEOUT(log.count(), 2, limitMs);
        QTRY_VERIFY_WITH_TIMEOUT(!saysRecording(widget.get()), limitMs);
        QVERIFY(server.start());
        QTRY_COMPARE_WITH_TIMEOUT(log.count(), 3, limitMs);
        QTRY_VERIFY_WITH_TIMEOUT(saysRecording(widget.get()), limitMs);
        QTest::qWait(800);
        widget->recordStop();
        QTRY_COMPARE_WITH_TIMEOUT(log.count(), 4, limitMs);
        const QStringList files = filesBelow(folder->path());
        QCOMPARE(files.size(), 2);
        for (const QString& file : files) {
            verifyName(file, folder->path(), 0);
            QVERIFY(MovieFile(file).decodes());
        }
        widget->stop();
    }

    void note_isGone_whenTheFileCanNotBeOpened()
    {
        guard->allow("^could not (open|create) /proc/");
        guard->allow("^createMp4 err = 5$");
        guard->allow("^lost \\d+ pictures .+: the file could not be created \\[");
        const auto widget = play(server.url("h264"));
        QVERIFY(widget);
        const StateLog log(threadOf(widget.get()));
        widget->recordStart("/proc/recordings");
        QTRY_VERIFY_WITH_TIMEOUT(log.count() >= 2, limitMs); // tried again with every key frame
        QCOMPARE(log.states.at(0), RecorderFailed);
        QVERIFY(!saysRecording(widget.get()));
        QVERIFY(widget->getIsRunning());
        widget->stop();
    }

    void recordStart_doesNothing_whenTheWidgetOnlyShowsOrNothingPlays()
    {
        UrlVideoWidget idle;
        idle.recordStart(folder->path());
        idle.recordStop();
        const auto widget = play(server.url("h264"));
        QVERIFY(widget);
        widget->setViewOnly(true);
        widget->recordStart(folder->path());
        QTest::qWait(1200); // several key frames
        QVERIFY(!threadOf(widget.get())->isRecording(AbstractVideoThread::MANUAL_RECORD));
        QCOMPARE(filesBelow(folder->path()), QStringList());
        widget->stop();
    }
};

QTEST_MAIN(TestUrlVideoWidgetRecording)
#include "tst_urlvideowidget_recording.moc"
