#include "core_live/xmbelivethread.h"
#include "core_live/xrtalivethread.h"
#include "devnet/mediadevice.h"
#include "support/clips.h"
#include "support/messageguard.h"
#include "support/moviefile.h"
#include "support/waiting.h"

#include <QDirIterator>
#include <QtTest>

#include <atomic>
#include <memory>

namespace {

constexpr int limitMs = 15000;
constexpr int connectMs = 500;
constexpr int readMs = 3000;
constexpr int recordedMs = 3000;

QSharedPointer<MediaDevice> deviceOf(const QString& source, int maxStreams = 0)
{
    MediaDeviceConfig config;
    config.channels = {{QString(), {source, source}}};
    config.maxStreams = maxStreams;
    return QSharedPointer<MediaDevice>::create(config);
}

/// A live thread and what it delivers.
template <typename Live>
class Player
{
public:
    explicit Player(const QSharedPointer<XNetDevice>& device, int stream = 0)
    {
        thread.setStreamChannel(0, stream);
        thread.bindDevice(device);
        thread.setVideoMode(VideoMode_Opengl);
        thread.setConnectTimeout(connectMs);
        thread.setReadTimeout(readMs);
        thread.setOpenSleepTime(connectMs);
        thread.previewRef() = 1;
        connectCounters();
    }

    ~Player() { thread.stopAndWait(); }

    Live thread;
    std::atomic<int> pictures{0};
    std::atomic<int> soundBytes{0};
    std::atomic<int> codecChanges{0};
    std::atomic<int> exceeded{0};

private:
    void connectCounters()
    {
        QObject::connect(
            &thread,
            QOverload<int, int, quint8*, quint8*, quint8*, quint32, quint32, quint32>::of(
                &AbstractVideoThread::receiveFrame),
            &thread, [this] { ++pictures; }, Qt::DirectConnection);
        QObject::connect(
            &thread, &AbstractVideoThread::receiveAudio, &thread,
            [this](const QByteArray& sound) { soundBytes += sound.size(); }, Qt::DirectConnection);
        QObject::connect(
            &thread, &AbstractVideoThread::receiveCodecChanged, &thread, [this] { ++codecChanges; },
            Qt::DirectConnection);
        QObject::connect(
            &thread, &AbstractVideoThread::sig_connExceedMax, &thread, [this] { ++exceeded; }, Qt::DirectConnection);
    }
};

QStringList filesBelow(const QString& folder)
{
    QStringList files;
    QDirIterator each(folder, QDir::Files, QDirIterator::Subdirectories);
    while (each.hasNext())
        files.append(each.next());
    return files;
}

/// Plays and records for a while; one file comes of it.
template <typename Live>
void playAndRecord(const QString& source, const QString& codec, const QString& size)
{
    const QTemporaryDir folder;
    {
        Player<Live> player(deviceOf(source));
        player.thread.setSavePath(AbstractVideoThread::MANUAL_RECORD, folder.path());
        player.thread.recordStart(AbstractVideoThread::MANUAL_RECORD);
        player.thread.play();
        QVERIFY(Waiting::until([&] { return player.pictures >= 25; }, limitMs));
        QTest::qWait(recordedMs);
        player.thread.recordStop(AbstractVideoThread::MANUAL_RECORD);
        QTest::qWait(300);
        QCOMPARE(player.codecChanges.load(), 1);
        QVERIFY2(player.soundBytes > 16 * recordedMs, qPrintable(QString::number(player.soundBytes)));
    }
    const QStringList files = filesBelow(folder.path());
    QVERIFY2(files.size() == 1, qPrintable(files.join('\n')));
    const MovieFile movie(files.first());
    QVERIFY(movie.decodes());
    QCOMPARE(movie.videoCodec(), codec);
    QCOMPARE(movie.size(), size);
    QCOMPARE(movie.audioCodec(), QString("aac"));
    QVERIFY(movie.startsWithKeyFrame());
    QVERIFY2(movie.videoDuration() > 3.5 && movie.videoDuration() < 9,
             qPrintable(QString::number(movie.videoDuration())));
    // The AAC encoder keeps the last half a second to itself.
    QVERIFY2(qAbs(movie.audioDuration() - movie.videoDuration()) < 0.9,
             qPrintable(QString("%1 of %2").arg(movie.audioDuration()).arg(movie.videoDuration())));
}

} // namespace

/// The library's live threads on a MediaDevice.
class MediaDeviceLiveTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { guard.reset(new MessageGuard); }
    void cleanup() { VERIFY_NO_UNEXPECTED_MESSAGES(*guard); }

    void firstFamily_playsAndRecords();
    void secondFamily_playsAndRecords();
    void firstFamily_tellsThatThereAreTooManyStreams();
    void secondFamily_playsAFile_onceItIsThere();

private:
    std::unique_ptr<MessageGuard> guard;
};

void MediaDeviceLiveTest::firstFamily_playsAndRecords()
{
    playAndRecord<XRTALiveThread>(Clips::h264AacMp4(), "h264", "320x240");
}

void MediaDeviceLiveTest::secondFamily_playsAndRecords()
{
    playAndRecord<XMBELiveThread>("test:352x288@25,h265", "hevc", "352x288");
}

void MediaDeviceLiveTest::firstFamily_tellsThatThereAreTooManyStreams()
{
    guard->allow("^enable media transmit failed channel=0, stream=1, ret=17$");
    const QSharedPointer<MediaDevice> device = deviceOf("test:160x120", 1);
    auto first = std::make_unique<Player<XRTALiveThread>>(device, 0);
    first->thread.play();
    QVERIFY(Waiting::until([&] { return first->pictures >= 1; }, limitMs));
    Player<XRTALiveThread> second(device, 1);
    second.thread.play();
    QVERIFY(Waiting::until([&] { return second.exceeded >= 1; }, limitMs));
    QVERIFY(second.thread.isStreamExceedMax());
    QCOMPARE(second.pictures.load(), 0);
    first.reset();
    QVERIFY(Waiting::until([&] { return second.pictures >= 1; }, limitMs));
    QVERIFY(!second.thread.isStreamExceedMax());
}

void MediaDeviceLiveTest::secondFamily_playsAFile_onceItIsThere()
{
    guard->allow("is lost, and tried again: No such file or directory$");
    const QTemporaryDir folder;
    Player<XMBELiveThread> player(deviceOf(folder.filePath("late.mp4")));
    player.thread.play();
    QTest::qWait(1500);
    QCOMPARE(player.pictures.load(), 0);
    QVERIFY(QFile::copy(Clips::h264Mp4(), folder.filePath("late.mp4")));
    QVERIFY(Waiting::until([&] { return player.pictures >= 10; }, limitMs));
}

QTEST_GUILESS_MAIN(MediaDeviceLiveTest)
#include "tst_mediadevice_live.moc"
