#include "devicereader.h"
#include "devnet/mediadevice.h"
#include "support/loopback.h"
#include "support/messageguard.h"
#include "support/rtspserver.h"
#include "support/secrets.h"
#include "support/tcpproxy.h"

#include <QElapsedTimer>
#include <QtTest>

#include <future>
#include <memory>
#include <vector>

namespace {

constexpr int promptMs = 1000;
constexpr int comeBackMs = 20000;

const QString lost = "^Device channel 0 stream 0 \\(.*\\) is lost, and tried again: .+";

MediaDeviceConfig deviceOf(const QStringList& sources)
{
    MediaDeviceConfig config;
    config.alias = "Device";
    for (const QString& source : sources)
        config.channels.append({QString(), {source}});
    return config;
}

} // namespace

/// Live addresses as sources, from a server that shares no code with the device.
class MediaDeviceRtspTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        server.setCredentials(Secrets::user(), Secrets::password());
        QVERIFY(server.start());
    }
    void init() { guard.reset(new MessageGuard); }
    void cleanup()
    {
        server.resume();
        if (!server.isRunning())
            QVERIFY(server.start());
        VERIFY_NO_UNEXPECTED_MESSAGES(*guard);
    }

    void mounts_areRead();
    void size_changesWithTheKeyFrame();
    void codecInfo_changesWithTheFrameThatIsRead();
    void stream_comesBack_whenTheServerIsStartedAgain();
    void stream_endsWithAWholePicture_whenItIsCut();
    void stream_isLost_whenTheServerFallsSilent();
    void stream_comesUp_whenTheServerDoes();
    void disable_returnsAtOnce_whenTheServerFallsSilent();
    void messages_showNoPassword();
    void destructor_returnsAtOnce_whileConnecting_data();
    void destructor_returnsAtOnce_whileConnecting();

private:
    std::unique_ptr<MessageGuard> guard;
    RtspServer server;
};

void MediaDeviceRtspTest::mounts_areRead()
{
    const QStringList mounts{"h264", "h264_pcma", "h264_aac", "h265", "sdp_only", "secure"};
    QStringList urls;
    for (const QString& mount : mounts)
        urls.append(server.url(mount));
    urls.last() = server.url("secure", Secrets::user(), Secrets::password());
    MediaDevice device(deviceOf(urls));
    std::vector<std::future<ReadFrames>> readers;
    for (int channel = 0; channel < mounts.size(); ++channel) {
        QCOMPARE(device.enableMediaTransmit(channel, 0, true), XRet::Ok);
        readers.push_back(std::async(std::launch::async,
                                     [&device, channel] { return DeviceReader::readVideo(device, channel, 0, 40); }));
    }
    for (int channel = 0; channel < mounts.size(); ++channel) {
        const QString mount = mounts.at(channel);
        const ReadFrames frames = readers.at(static_cast<std::size_t>(channel)).get();
        const ReadFrames video = DeviceReader::video(frames);
        QCOMPARE(video.size(), 40);
        QVERIFY(video.first().isKey());
        for (const ReadFrame& frame : frames)
            QVERIFY2(DeviceReader::problemOf(frame).isEmpty(), qPrintable(mount + DeviceReader::problemOf(frame)));
        for (const ReadFrame& frame : video) {
            QCOMPARE(frame.header.codecId, mount == "h265" ? 1u : 0u);
            QCOMPARE(frame.header.width, 320u);
            QCOMPARE(frame.header.height, 240u);
        }
        QCOMPARE(DeviceReader::pictureHashes(DeviceReader::joined(video), mount == "h265" ? "hevc" : "h264").size(),
                 40);
        for (int i = 1; i < video.size(); ++i)
            QVERIFY(video.at(i).header.timestamp > video.at(i - 1).header.timestamp);
        const qint64 late = video.last().readAt - static_cast<qint64>(video.last().header.timestamp);
        QVERIFY2(qAbs(late) < 2000, qPrintable(QString("%1 %2").arg(mount).arg(late)));
        const ReadFrames audio = DeviceReader::audio(frames);
        const bool hasSound = mount == "h264_pcma" || mount == "h264_aac" || mount == "secure";
        QCOMPARE(!audio.isEmpty(), hasSound);
        if (hasSound) {
            const QString format = mount == "h264_aac" ? "mulaw" : "alaw";
            // A stream that is joined in its middle begins with silence until its decoder has caught up.
            const double tone = DeviceReader::toneOf(DeviceReader::joined(audio).mid(1600), format);
            QVERIFY2(qAbs(tone - 440) < 15, qPrintable(QString("%1 %2").arg(mount).arg(tone)));
        }
    }
}

void MediaDeviceRtspTest::size_changesWithTheKeyFrame()
{
    MediaDevice device(deviceOf({server.url("switch")}));
    QCOMPARE(device.enableMediaTransmit(0, 0, true), XRet::Ok);
    ReadFrames video = DeviceReader::video(DeviceReader::readVideo(device, 0, 0, 5));
    QVERIFY(server.switchResolution());
    video += DeviceReader::video(DeviceReader::readVideo(device, 0, 0, 60));
    QVERIFY(server.switchResolution());
    QCOMPARE(video.first().header.width, 320u);
    QCOMPARE(video.last().header.width, 400u);
    QCOMPARE(video.last().header.height, 304u);
    for (int i = 1; i < video.size(); ++i) {
        QVERIFY(video.at(i).header.width == video.at(i - 1).header.width || video.at(i).isKey());
        QCOMPARE(DeviceReader::problemOf(video.at(i)), QString());
    }
}

void MediaDeviceRtspTest::codecInfo_changesWithTheFrameThatIsRead()
{
    MediaDevice device(deviceOf({server.url("switch")}));
    QCOMPARE(device.enableMediaTransmit(0, 0, true), XRet::Ok);
    const quint32 before = DeviceReader::readVideo(device, 0, 0, 1).first().header.width;
    QVERIFY(server.switchResolution());
    QTest::qSleep(1500); // the source is at the other size, the reader is not
    bool hasChanged = false;
    for (int i = 0; i < 60 && !hasChanged; ++i) {
        const ReadFrames frames = DeviceReader::readVideo(device, 0, 0, 1);
        XVideoEncPara video;
        XAudioEncPara audio;
        QCOMPARE(device.getCodecInfo(0, 0, video, audio), XRet::Ok);
        QCOMPARE(static_cast<quint32>(video.width), frames.last().header.width);
        hasChanged = frames.last().header.width != before;
    }
    QVERIFY(hasChanged);
}

void MediaDeviceRtspTest::stream_comesBack_whenTheServerIsStartedAgain()
{
    guard->allow(lost);
    MediaDevice device(deviceOf({server.url("h264")}));
    QCOMPARE(device.enableMediaTransmit(0, 0, true), XRet::Ok);
    const ReadFrames before = DeviceReader::readVideo(device, 0, 0, 5);
    server.kill();
    QTRY_COMPARE_WITH_TIMEOUT(device.getStreamStatus(0, 0), XChannelStatus_Disconnected, comeBackMs);
    QVERIFY(DeviceReader::read(device, 0, 0, comeBackMs, [](const ReadFrames& frames) {
                return frames.isEmpty();
            }).isEmpty());
    QTest::qSleep(2500); // it is tried again, and nothing more is said
    QCOMPARE(guard->texts(QtWarningMsg).size(), 1);
    QCOMPARE(device.getConnectStatus(), XChannelStatus_Connected);
    QVERIFY(server.start());
    const ReadFrames later = DeviceReader::video(DeviceReader::readVideo(device, 0, 0, 30));
    QCOMPARE(later.size(), 30);
    const auto isNew
        = [&before](const ReadFrame& frame) { return frame.header.timestamp > before.last().header.timestamp + 2000; };
    const auto first = std::find_if(later.begin(), later.end(), isNew);
    QVERIFY(first != later.end() && first->isKey());
    QCOMPARE(device.getStreamStatus(0, 0), XChannelStatus_Connected);
    QCOMPARE(guard->texts(QtWarningMsg).size(), 1);
    QCOMPARE(guard->texts(QtInfoMsg).size(), 1);
    QVERIFY(guard->contains("^Device channel 0 stream 0 \\(.*\\) is back$"));
}

/// Cut in many places, of which some are in the middle of a picture.
void MediaDeviceRtspTest::stream_endsWithAWholePicture_whenItIsCut()
{
    guard->allow("^Device channel \\d+ stream 0 \\(.*\\) is lost, and tried again: .+");
    constexpr int cuts = 12;
    constexpr qint64 firstCut = 30000;
    constexpr qint64 cutStep = 700;
    constexpr int readMs = 8000;
    std::vector<std::unique_ptr<TcpProxy>> proxies;
    QStringList urls;
    for (int i = 0; i < cuts; ++i) {
        proxies.push_back(std::make_unique<TcpProxy>(server.port()));
        proxies.back()->cutAfter(firstCut + i * cutStep);
        urls.append(proxies.back()->url(server.url("h264")));
    }
    MediaDevice device(deviceOf(urls));
    std::vector<std::future<ReadFrames>> readers;
    for (int channel = 0; channel < cuts; ++channel) {
        QCOMPARE(device.enableMediaTransmit(channel, 0, true), XRet::Ok);
        readers.push_back(std::async(std::launch::async,
                                     [&device, channel] { return DeviceReader::read(device, channel, 0, readMs); }));
    }
    for (int channel = 0; channel < cuts; ++channel) {
        const ReadFrames frames = readers.at(static_cast<std::size_t>(channel)).get();
        QVERIFY(proxies.at(static_cast<std::size_t>(channel))->connections() > 1);
        QVERIFY(frames.size() > 10);
        QCOMPARE(DeviceReader::pictureHashes(DeviceReader::joined(frames), "h264").size(), frames.size());
    }
}

void MediaDeviceRtspTest::stream_isLost_whenTheServerFallsSilent()
{
    guard->allow("is lost, and tried again: it does not answer any more$");
    MediaDevice device(deviceOf({server.url("h264")}));
    QCOMPARE(device.enableMediaTransmit(0, 0, true), XRet::Ok);
    QVERIFY(!DeviceReader::readVideo(device, 0, 0, 5).isEmpty());
    server.freeze();
    QTRY_COMPARE_WITH_TIMEOUT(device.getStreamStatus(0, 0), XChannelStatus_Disconnected, comeBackMs);
    server.resume();
    QTRY_COMPARE_WITH_TIMEOUT(device.getStreamStatus(0, 0), XChannelStatus_Connected, comeBackMs);
}

void MediaDeviceRtspTest::stream_comesUp_whenTheServerDoes()
{
    guard->allow(lost);
    server.kill();
    MediaDevice device(deviceOf({server.url("h264")}));
    QCOMPARE(device.enableMediaTransmit(0, 0, true), XRet::Ok);
    QTRY_COMPARE(device.getStreamStatus(0, 0), XChannelStatus_Disconnected);
    QVERIFY(server.start());
    QCOMPARE(DeviceReader::video(DeviceReader::readVideo(device, 0, 0, 3)).size(), 3);
}

void MediaDeviceRtspTest::disable_returnsAtOnce_whenTheServerFallsSilent()
{
    MediaDevice device(deviceOf({server.url("h264")}));
    QCOMPARE(device.enableMediaTransmit(0, 0, true), XRet::Ok);
    QVERIFY(!DeviceReader::readVideo(device, 0, 0, 5).isEmpty());
    server.freeze();
    QTest::qSleep(300);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(device.enableMediaTransmit(0, 0, false), XRet::Ok);
    QVERIFY2(timer.elapsed() < promptMs, qPrintable(QString::number(timer.elapsed())));
}

void MediaDeviceRtspTest::messages_showNoPassword()
{
    guard->allow(lost);
    MediaDevice device(deviceOf({server.url("secure", Secrets::user(), Secrets::wrongPassword())}));
    QCOMPARE(device.enableMediaTransmit(0, 0, true), XRet::Ok);
    QTRY_COMPARE(device.getStreamStatus(0, 0), XChannelStatus_Disconnected);
    QVERIFY(guard->contains("/secure\\) is lost"));
    QVERIFY(guard->contains("rtsp://\\*\\*\\*@"));
    QVERIFY(!guard->contains("wrong"));
    QVERIFY(!guard->contains(Secrets::word));
}

void MediaDeviceRtspTest::destructor_returnsAtOnce_whileConnecting_data()
{
    QTest::addColumn<QString>("address");
    QTest::newRow("does not even accept") << "full";
    QTest::newRow("accepts and says nothing") << "rtsp";
    QTest::newRow("says nothing to HTTP") << "http";
    QTest::newRow("says nothing to RTMP") << "rtmp";
    QTest::newRow("a name that nobody knows") << "rtsp://nobody.invalid/stream";
}

void MediaDeviceRtspTest::destructor_returnsAtOnce_whileConnecting()
{
    QFETCH(QString, address);
    guard->allow(lost);
    const TcpProxy silent;
    // A queue that one client fills: the next one's request to connect is not answered.
    const SocketHandle full = Loopback::listen(0);
    const SocketHandle filling = Loopback::connect(Loopback::portOf(full));
    if (address == "full")
        address = QString("rtsp://127.0.0.1:%1/stream").arg(Loopback::portOf(full));
    else if (!address.contains(':'))
        address += QString("://127.0.0.1:%1/stream").arg(silent.port());
    auto device = std::make_unique<MediaDevice>(deviceOf({address}));
    QCOMPARE(device->enableMediaTransmit(0, 0, true), XRet::Ok);
    QVERIFY(DeviceReader::read(*device, 0, 0, 500).isEmpty());
    QElapsedTimer timer;
    timer.start();
    device.reset();
    QVERIFY2(timer.elapsed() < promptMs, qPrintable(QString::number(timer.elapsed())));
}

QTEST_GUILESS_MAIN(MediaDeviceRtspTest)
#include "tst_mediadevice_rtsp.moc"
