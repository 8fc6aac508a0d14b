#include "support/clips.h"
#include "support/moviefile.h"
#include "support/rtspserver.h"

#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <memory>
#include <vector>

namespace {
constexpr int defaultKills = 12;
constexpr int killsAtOnce = 6;
constexpr int startMs = 30000;
constexpr int longestLifeMs = 3500;

/// Time that a picture which was handed to the recorder has to reach the disk.
constexpr int graceMs = 300;

/// How often a recording is killed: 12 times, or as often as the environment says.
int kills()
{
    bool isSet = false;
    const int number = qEnvironmentVariableIntValue("VANTOR_RECORDING_KILLS", &isSet);
    return isSet ? number : defaultKills;
}

/// A process that records into @p file and is killed by the test.
class Recording
{
public:
    /// Ends @p lifeMs after its first picture.
    Recording(const QString& address, const QString& name, int distance, int lifeMs)
        : file(name)
        , keyDistance(distance)
    {
        QObject::connect(&process, &QProcess::readyReadStandardOutput, &process, [this, lifeMs] {
            if (told() >= 1 && !isScheduled)
                killAfter(lifeMs);
        });
        process.setProcessChannelMode(QProcess::SeparateChannels);
        process.start(QFileInfo(QCoreApplication::applicationFilePath()).absolutePath() + "/recorderprocess",
                      {address, file});
    }

    bool isOver() const { return process.state() == QProcess::NotRunning; }

    const QString file;
    const int keyDistance;
    int toldBefore = -1; ///< number of pictures that the recorder had been given a moment before the end
    bool wasRunning = false;

private:
    int told()
    {
        while (process.canReadLine())
            lastTold = process.readLine().trimmed().toInt();
        return lastTold;
    }

    /// Notes what has been told, leaves that time to reach the disk, and kills.
    void killAfter(int milliseconds)
    {
        isScheduled = true;
        QTimer::singleShot(milliseconds, &process, [this] { toldBefore = told(); });
        QTimer::singleShot(milliseconds + graceMs, &process, [this] {
            wasRunning = !isOver();
            process.kill();
        });
    }

    QProcess process;
    bool isScheduled = false;
    int lastTold = 0;
};
} // namespace

/// What is left of a recording when its process is killed, as by a crash or a power cut.
class TestRecordingCrash : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Recording> record(int number)
    {
        const QString file = folder.filePath(QString("%1.mp4").arg(number));
        const int lifeMs = QRandomGenerator::global()->bounded(longestLifeMs);
        switch (number % 3) {
        case 0: return std::make_unique<Recording>(server.url("h264"), file, 10, lifeMs);
        case 1: return std::make_unique<Recording>(server.url("h264_pcma"), file, 10, lifeMs);
        default: return std::make_unique<Recording>(Clips::h264Mp4(), file, Clips::frameRate, lifeMs);
        }
    }

    void killBatch(int first, int count)
    {
        std::vector<std::unique_ptr<Recording>> recordings;
        for (int number = first; number < first + count; ++number)
            recordings.push_back(record(number));
        for (const auto& recording : recordings)
            QTRY_VERIFY_WITH_TIMEOUT(recording->toldBefore >= 1 && recording->isOver(), startMs);
        for (const auto& recording : recordings) {
            QVERIFY(recording->wasRunning);
            verifyLeftover(*recording);
        }
    }

    void verifyLeftover(const Recording& recording)
    {
        const MovieFile movie(recording.file);
        const int complete = recording.toldBefore - 1; // the key frame that ends a group brings it to the disk
        const int expected = complete / recording.keyDistance * recording.keyDistance;
        const QByteArray numbers = QByteArray::number(recording.toldBefore) + " given, killed soon after";
        if (expected == 0 && QFileInfo(recording.file).size() == 0)
            return; // nothing was complete
        ++played;
        const int pictures = movie.pictureCount();
        QVERIFY2(pictures >= expected, numbers + ", left: " + QByteArray::number(pictures));
        QCOMPARE(pictures % recording.keyDistance, 0);
        QVERIFY2(movie.decodes(), numbers);
        QVERIFY2(movie.plays(), numbers);
        QVERIFY(movie.startsWithKeyFrame());
        const QVector<int> shown = movie.pictureNumbers();
        QCOMPARE(shown.size(), pictures);
        // A live source on a busy machine leaves pictures out itself.
        QVERIFY(std::is_sorted(shown.cbegin(), shown.cend(), std::less_equal<int>()));
    }

    RtspServer server;
    QTemporaryDir folder;
    int played = 0;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(folder.isValid());
        QVERIFY(server.start());
        QVERIFY(QFile::exists(Clips::h264Mp4()));
    }

    void killedRecording_playsUpToItsLastCompleteGroup()
    {
        const int all = kills();
        QVERIFY(all > 0);
        for (int first = 0; first < all && !QTest::currentTestFailed(); first += killsAtOnce)
            killBatch(first, qMin(killsAtOnce, all - first));
        QVERIFY(played > all / 2);
    }
};

QTEST_GUILESS_MAIN(TestRecordingCrash)
#include "tst_recording_crash.moc"
