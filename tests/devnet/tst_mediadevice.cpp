#include "devicereader.h"
#include "devnet/mediadevice.h"
#include "support/messageguard.h"
#include "support/resourcecount.h"

#include <QElapsedTimer>
#include <QtTest>

#include <memory>

namespace {

constexpr int readMs = 100;

/// Small and quick: what is in the pictures does not matter.
const QString testSource = "test:160x120@25";

MediaDeviceConfig deviceOf(const QVector<QStringList>& sources)
{
    MediaDeviceConfig config;
    config.alias = "Device";
    config.serialNumber = "S-1";
    for (const QStringList& ofChannel : sources)
        config.channels.append({QString(), ofChannel});
    return config;
}

} // namespace

/// The device as a whole, with its built-in picture for a source.
class MediaDeviceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { guard.reset(new MessageGuard); }
    void cleanup() { VERIFY_NO_UNEXPECTED_MESSAGES(*guard); }

    void device_describesItself();
    void device_hasNothing_whenConfigIsEmpty();
    void operations_refuseWhatIsNotThere_data();
    void operations_refuseWhatIsNotThere();
    void constructor_warns_whenASourceIsWrong();
    void rtspUrls_listAddressesChannelByChannel();
    void enable_saysThatItIsOnAlready();
    void enable_refusesMoreThanMaxStreams();
    void disable_isOk_whenItIsOff();
    void read_timesOut_whenStreamIsOff();
    void read_startsWithAKeyFrame_whenEnabledAgain();
    void codecInfo_isUnknown_beforeTheFirstFrame();
    void codecInfo_isThatOfTheFramesRead();
    void codecInfo_isWhatWasSet();
    void testPicture_isWhatItsOptionsSay_data();
    void testPicture_isWhatItsOptionsSay();
    void testPicture_moves();
    void testPicture_hasOtherColoursOnOtherChannels();
    void testPicture_sendsAKeyFrame_whenAsked();
    void testPicture_hasNoSound_whenSilent();
    void testPicture_runsInRealTime();
    void slowReader_getsWholeGroups();
    void status_isConnected_whateverIsOn();
    void destructor_endsAllThreads();

private:
    std::unique_ptr<MessageGuard> guard;
};

void MediaDeviceTest::device_describesItself()
{
    MediaDevice device(deviceOf({{testSource, testSource}, {testSource}, {testSource, "", testSource}}));
    QCOMPARE(device.getAlias(), QString("Device"));
    QCOMPARE(device.serialNumber(), QString("S-1"));
    QCOMPARE(device.getStreamProtocol(), XTransportProtocol_Rta);
    QCOMPARE(device.getChannelCount(), 3);
    QCOMPARE(device.getStreamCountPerChannel(), 3);
    QCOMPARE(device.getStreamCount(), 9);
    QCOMPARE(device.getConnectStatus(), XChannelStatus_Connected);
    QVERIFY(device.config() == deviceOf({{testSource, testSource}, {testSource}, {testSource, "", testSource}}));
}

void MediaDeviceTest::device_hasNothing_whenConfigIsEmpty()
{
    MediaDevice device{MediaDeviceConfig()};
    QCOMPARE(device.getChannelCount(), 0);
    QCOMPARE(device.getStreamCountPerChannel(), 0);
    QCOMPARE(device.getStreamCount(), 0);
    QCOMPARE(device.getRtspUrls(), QStringList());
    QCOMPARE(device.enableMediaTransmit(0, 0, true), XRet::BadParameter);
}

void MediaDeviceTest::operations_refuseWhatIsNotThere_data()
{
    QTest::addColumn<int>("channel");
    QTest::addColumn<int>("stream");
    QTest::newRow("channel -1") << -1 << 0;
    QTest::newRow("channel 2") << 2 << 0;
    QTest::newRow("stream -1") << 0 << -1;
    QTest::newRow("stream 2") << 0 << 2;
}

void MediaDeviceTest::operations_refuseWhatIsNotThere()
{
    QFETCH(int, channel);
    QFETCH(int, stream);
    MediaDevice device(deviceOf({{testSource, testSource}, {testSource}}));
    XFrameHeader header{};
    XVideoEncPara video;
    XAudioEncPara audio;
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(device.enableMediaTransmit(channel, stream, true), XRet::BadParameter);
    QCOMPARE(device.enableMediaTransmit(channel, stream, false), XRet::BadParameter);
    QCOMPARE(device.readFrame(channel, stream, &header, 1000), XRet::BadParameter);
    QCOMPARE(device.requestVideoIFrame(channel, stream), XRet::BadParameter);
    QCOMPARE(device.getCodecInfo(channel, stream, video, audio), XRet::BadParameter);
    QCOMPARE(device.setCodecInfo(channel, stream, video, audio), XRet::BadParameter);
    QCOMPARE(device.getStreamStatus(channel, stream), XChannelStatus_Disconnected);
    QVERIFY(timer.elapsed() < 500);
}

void MediaDeviceTest::constructor_warns_whenASourceIsWrong()
{
    guard->allow("^Device channel 0 stream 0 has no source: \"h266\" is no option of the test picture$");
    MediaDevice device(deviceOf({{"test:h266", testSource}, {testSource}}));
    QCOMPARE(guard->texts(QtWarningMsg).size(), 1);
    QCOMPARE(device.enableMediaTransmit(0, 0, true), XRet::BadParameter);
    QCOMPARE(device.getStreamStatus(0, 0), XChannelStatus_Disconnected);
    QCOMPARE(device.enableMediaTransmit(1, 1, true), XRet::BadParameter); // a channel with fewer sources
    QCOMPARE(device.enableMediaTransmit(0, 1, true), XRet::Ok);
}

void MediaDeviceTest::rtspUrls_listAddressesChannelByChannel()
{
    MediaDeviceConfig config = deviceOf(
        {{"rtsp://a/1", "rtsp://user:secret@a/2"}, {"", "rtsp://b/2"}, {" rtsp://c/1 "}, {testSource, "a.mp4"}});
    config.protocol = XTransportProtocol_Rtsp;
    MediaDevice device(config);
    QCOMPARE(device.getStreamProtocol(), XTransportProtocol_Rtsp);
    QCOMPARE(device.getRtspUrls(),
             (QStringList{"rtsp://a/1", "rtsp://user:secret@a/2", "", "rtsp://b/2", "rtsp://c/1", "", "", ""}));
}

void MediaDeviceTest::enable_saysThatItIsOnAlready()
{
    MediaDevice device(deviceOf({{testSource}}));
    QCOMPARE(device.enableMediaTransmit(0, 0, true), XRet::Ok);
    QCOMPARE(device.enableMediaTransmit(0, 0, true), XRet::AlreadyEnabled);
    QCOMPARE(device.enableMediaTransmit(0, 0, false), XRet::Ok);
    QCOMPARE(device.enableMediaTransmit(0, 0, true), XRet::Ok);
}

void MediaDeviceTest::enable_refusesMoreThanMaxStreams()
{
    MediaDeviceConfig config = deviceOf({{testSource, testSource}, {testSource, testSource}});
    config.maxStreams = 2;
    MediaDevice device(config);
    QCOMPARE(device.enableMediaTransmit(0, 0, true), XRet::Ok);
    QCOMPARE(device.enableMediaTransmit(1, 0, true), XRet::Ok);
    QCOMPARE(device.enableMediaTransmit(1, 1, true), XRet::TooManyConnections);
    QCOMPARE(device.enableMediaTransmit(1, 0, true), XRet::AlreadyEnabled);
    QCOMPARE(device.enableMediaTransmit(1, 1, false), XRet::Ok); // gives nothing back: it had nothing
    QCOMPARE(device.enableMediaTransmit(1, 1, true), XRet::TooManyConnections);
    QCOMPARE(device.enableMediaTransmit(0, 0, false), XRet::Ok);
    QCOMPARE(device.enableMediaTransmit(1, 1, true), XRet::Ok);
    QCOMPARE(device.enableMediaTransmit(0, 0, true), XRet::TooManyConnections);
}

void MediaDeviceTest::disable_isOk_whenItIsOff()
{
    MediaDevice device(deviceOf({{testSource, ""}}));
    QCOMPARE(device.enableMediaTransmit(0, 0, false), XRet::Ok);
    QCOMPARE(device.enableMediaTransmit(0, 1, false), XRet::Ok);
}

void MediaDeviceTest::read_timesOut_whenStreamIsOff()
{
    MediaDevice device(deviceOf({{testSource}}));
    XFrameHeader header{};
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(device.readFrame(0, 0, &header, 300), XRet::Timeout);
    QVERIFY2(timer.elapsed() >= 299 && timer.elapsed() < 1500, qPrintable(QString::number(timer.elapsed())));
    timer.start();
    QCOMPARE(device.readFrame(0, 0, &header, 0), XRet::Timeout);
    QVERIFY(timer.elapsed() < 200);
}

void MediaDeviceTest::read_startsWithAKeyFrame_whenEnabledAgain()
{
    MediaDevice device(deviceOf({{testSource}}));
    qint64 last = 0;
    for (int round = 0; round < 3; ++round) {
        QCOMPARE(device.enableMediaTransmit(0, 0, true), XRet::Ok);
        const ReadFrames frames = DeviceReader::video(DeviceReader::readVideo(device, 0, 0, 5));
        QVERIFY(frames.first().isKey());
        QVERIFY(static_cast<qint64>(frames.first().header.timestamp) > last);
        last = static_cast<qint64>(frames.last().header.timestamp);
        QCOMPARE(device.enableMediaTransmit(0, 0, false), XRet::Ok);
        QVERIFY(DeviceReader::read(device, 0, 0, 2 * readMs).isEmpty());
    }
}

void MediaDeviceTest::codecInfo_isUnknown_beforeTheFirstFrame()
{
    MediaDevice device(deviceOf({{testSource}}));
    XVideoEncPara video{1, 2, 3, 4, 5, 6};
    XAudioEncPara audio{33, 1, 2, 3};
    QCOMPARE(device.getCodecInfo(0, 0, video, audio), XRet::Ok);
    QVERIFY(video == XVideoEncPara());
    QVERIFY(!video.isValid());
    QVERIFY(audio == XAudioEncPara());
    QCOMPARE(audio.channels, 1);
}

void MediaDeviceTest::codecInfo_isThatOfTheFramesRead()
{
    MediaDevice device(deviceOf({{"test:160x120@20,h265,alaw"}}));
    QCOMPARE(device.enableMediaTransmit(0, 0, true), XRet::Ok);
    const ReadFrames frames = DeviceReader::readVideo(device, 0, 0, 1);
    QCOMPARE(frames.size(), 1); // sound is known although none was read
    XVideoEncPara video;
    XAudioEncPara audio;
    QCOMPARE(device.getCodecInfo(0, 0, video, audio), XRet::Ok);
    QVERIFY(video == (XVideoEncPara{2, 160, 120, 0, 0, 0}));
    QCOMPARE(video.param1, 20);
    QCOMPARE(video.param3, 1);
    QVERIFY(audio == (XAudioEncPara{33, 8000, 16, 1}));
}

void MediaDeviceTest::codecInfo_isWhatWasSet()
{
    MediaDevice device(deviceOf({{testSource, testSource}}));
    XVideoEncPara video{2, 20, 30, 40, 1, 60};
    XAudioEncPara audio{33, 16000, 16, 2};
    QCOMPARE(device.setCodecInfo(0, 1, video, audio), XRet::Ok);
    XVideoEncPara readVideo;
    XAudioEncPara readAudio;
    QCOMPARE(device.getCodecInfo(0, 1, readVideo, readAudio), XRet::Ok);
    QVERIFY(readVideo == video && readVideo.param1 == 40 && readVideo.param2 == 60 && readVideo.param3 == 1);
    QVERIFY(readAudio == audio);
    QCOMPARE(device.getCodecInfo(0, 0, readVideo, readAudio), XRet::Ok);
    QVERIFY(readVideo == XVideoEncPara());

    // A frame that is what the stream was before changes nothing; the first of a stream does.
    QCOMPARE(device.enableMediaTransmit(0, 1, true), XRet::Ok);
    QVERIFY(!DeviceReader::readVideo(device, 0, 1, 2).isEmpty());
    QCOMPARE(device.getCodecInfo(0, 1, readVideo, readAudio), XRet::Ok);
    QVERIFY(readVideo == (XVideoEncPara{1, 160, 120, 0, 0, 0}));
    QCOMPARE(device.setCodecInfo(0, 1, video, audio), XRet::Ok);
    QVERIFY(!DeviceReader::readVideo(device, 0, 1, 2).isEmpty());
    QCOMPARE(device.getCodecInfo(0, 1, readVideo, readAudio), XRet::Ok);
    QVERIFY(readVideo == video);
}

void MediaDeviceTest::testPicture_isWhatItsOptionsSay_data()
{
    QTest::addColumn<QString>("options");
    QTest::addColumn<int>("codec");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<int>("rate");
    QTest::addColumn<int>("soundCodec");
    QTest::addColumn<int>("tone");
    QTest::newRow("as it is") << "" << 0 << QSize(640, 360) << 25 << 4 << 440;
    QTest::newRow("small") << "64x64@10,tone=1000" << 0 << QSize(64, 64) << 10 << 4 << 1000;
    QTest::newRow("not of blocks of 16") << "330x250@25,alaw" << 0 << QSize(330, 250) << 25 << 3 << 440;
    QTest::newRow("H.265") << "352x288@15,h265,alaw,tone=300" << 1 << QSize(352, 288) << 15 << 3 << 300;
    QTest::newRow("H.265, odd blocks") << "322x242,h265" << 1 << QSize(322, 242) << 25 << 4 << 440;
    QTest::newRow("H.265, small") << "64x64@60,h265" << 1 << QSize(64, 64) << 60 << 4 << 440;
}

void MediaDeviceTest::testPicture_isWhatItsOptionsSay()
{
    QFETCH(QString, options);
    QFETCH(int, codec);
    QFETCH(QSize, size);
    QFETCH(int, rate);
    QFETCH(int, soundCodec);
    QFETCH(int, tone);
    MediaDevice device(deviceOf({{"test:" + options}}));
    QCOMPARE(device.enableMediaTransmit(0, 0, true), XRet::Ok);
    const ReadFrames frames = DeviceReader::readVideo(device, 0, 0, rate * 3 / 2);
    const ReadFrames video = DeviceReader::video(frames);
    const ReadFrames audio = DeviceReader::audio(frames);
    for (const ReadFrame& frame : frames)
        QCOMPARE(DeviceReader::problemOf(frame), QString());
    for (int i = 0; i < video.size(); ++i) {
        const XFrameHeader& header = video.at(i).header;
        QCOMPARE(static_cast<int>(header.codecId), codec);
        QCOMPARE(QSize(static_cast<int>(header.width), static_cast<int>(header.height)), size);
        QCOMPARE(static_cast<int>(header.param1), rate);
        QCOMPARE(video.at(i).isKey(), i % rate == 0);
    }
    const QStringList pictures = DeviceReader::pictureHashes(DeviceReader::joined(video), codec == 1 ? "hevc" : "h264");
    QCOMPARE(pictures.size(), video.size());
    for (const ReadFrame& frame : audio) {
        QCOMPARE(static_cast<int>(frame.header.codecId), soundCodec);
        QCOMPARE(frame.header.sampleRate, 8000u);
        QCOMPARE(frame.header.channels, 1u);
        QCOMPARE(frame.payload.size(), 320);
    }
    const double heard = DeviceReader::toneOf(DeviceReader::joined(audio), soundCodec == 3 ? "alaw" : "mulaw");
    QVERIFY2(qAbs(heard - tone) < 0.02 * tone, qPrintable(QString::number(heard)));
}

void MediaDeviceTest::testPicture_moves()
{
    MediaDevice device(deviceOf({{"test:320x240@25"}}));
    QCOMPARE(device.enableMediaTransmit(0, 0, true), XRet::Ok);
    const ReadFrames video = DeviceReader::video(DeviceReader::readVideo(device, 0, 0, 50));
    const QStringList pictures = DeviceReader::pictureHashes(DeviceReader::joined(video), "h264");
    const QSet<QString> different(pictures.begin(), pictures.end());
    QVERIFY2(different.size() > 45, qPrintable(QString::number(different.size())));
}

void MediaDeviceTest::testPicture_hasOtherColoursOnOtherChannels()
{
    constexpr int channels = 6;
    MediaDevice device(MediaDeviceConfig::builtIn(channels));
    QVector<QColor> colors;
    for (int channel = 0; channel < channels; ++channel) {
        QCOMPARE(device.enableMediaTransmit(channel, 1, true), XRet::Ok);
        const ReadFrames video = DeviceReader::video(DeviceReader::readVideo(device, channel, 1, 1));
        QCOMPARE(device.enableMediaTransmit(channel, 1, false), XRet::Ok);
        // A corner of the background.
        const QByteArray rgb = DeviceReader::ffmpeg({"-f", "h264", "-i", "-", "-vf", "crop=16:16:620:180,scale=1:1",
                                                     "-f", "rawvideo", "-pix_fmt", "rgb24", "-"},
                                                    DeviceReader::joined(video));
        QCOMPARE(rgb.size(), 3);
        const auto part = [&rgb](int i) { return static_cast<quint8>(rgb.at(i)); };
        const QColor color(part(0), part(1), part(2));
        for (const QColor& other : colors) {
            const int distance = qAbs(color.red() - other.red()) + qAbs(color.green() - other.green())
                + qAbs(color.blue() - other.blue());
            QVERIFY2(distance > 40, qPrintable(color.name() + ' ' + other.name()));
        }
        colors.append(color);
    }
}

void MediaDeviceTest::testPicture_sendsAKeyFrame_whenAsked()
{
    MediaDevice device(deviceOf({{"test:160x120@20"}}));
    QCOMPARE(device.requestVideoIFrame(0, 0), XRet::NotSupported); // it is off
    QCOMPARE(device.enableMediaTransmit(0, 0, true), XRet::Ok);
    QVERIFY(DeviceReader::readVideo(device, 0, 0, 5).first().isKey());
    QCOMPARE(device.requestVideoIFrame(0, 0), XRet::Ok);
    const ReadFrames after = DeviceReader::video(DeviceReader::readVideo(device, 0, 0, 3));
    QVERIFY(after.at(0).isKey() || after.at(1).isKey());
    QCOMPARE(DeviceReader::problemOf(after.at(after.at(0).isKey() ? 0 : 1)), QString());
}

void MediaDeviceTest::testPicture_hasNoSound_whenSilent()
{
    MediaDevice device(deviceOf({{testSource + ",silent"}}));
    QCOMPARE(device.enableMediaTransmit(0, 0, true), XRet::Ok);
    QVERIFY(DeviceReader::audio(DeviceReader::readVideo(device, 0, 0, 20)).isEmpty());
    XVideoEncPara video;
    XAudioEncPara audio;
    QCOMPARE(device.getCodecInfo(0, 0, video, audio), XRet::Ok);
    QVERIFY(video.isValid() && !audio.isValid());
}

void MediaDeviceTest::testPicture_runsInRealTime()
{
    MediaDevice device(deviceOf({{"test:160x120@30"}}));
    QCOMPARE(device.enableMediaTransmit(0, 0, true), XRet::Ok);
    const ReadFrames frames = DeviceReader::readVideo(device, 0, 0, 61);
    const ReadFrames video = DeviceReader::video(frames);
    const qint64 lasted = video.last().readAt - video.first().readAt;
    QVERIFY2(lasted > 1800 && lasted < 2600, qPrintable(QString::number(lasted)));
    const auto stamped = static_cast<qint64>(video.last().header.timestamp - video.first().header.timestamp);
    QCOMPARE(stamped, 2000);
    for (const ReadFrame& frame : frames) {
        const qint64 late = frame.readAt - static_cast<qint64>(frame.header.timestamp);
        QVERIFY2(late > -5 && late < 900, qPrintable(QString::number(late)));
    }
}

void MediaDeviceTest::slowReader_getsWholeGroups()
{
    MediaDevice device(deviceOf({{"test:64x64@60,silent"}}));
    QCOMPARE(device.enableMediaTransmit(0, 0, true), XRet::Ok);
    const ReadFrames first = DeviceReader::readVideo(device, 0, 0, 10);
    QTest::qSleep(6000); // more pictures than there is room for
    const ReadFrames late = DeviceReader::readVideo(device, 0, 0, 120);
    QVERIFY(late.first().isKey());
    QVERIFY(late.first().header.timestamp > first.last().header.timestamp + 1000);
    const QByteArray all = DeviceReader::joined(first) + DeviceReader::joined(late);
    QCOMPARE(DeviceReader::pictureHashes(all, "h264").size(), first.size() + late.size());
}

void MediaDeviceTest::status_isConnected_whateverIsOn()
{
    MediaDevice device(deviceOf({{testSource, ""}}));
    QCOMPARE(device.getStreamStatus(0, 0), XChannelStatus_Connected);
    QCOMPARE(device.getStreamStatus(0, 1), XChannelStatus_Disconnected);
    QCOMPARE(device.enableMediaTransmit(0, 0, true), XRet::Ok);
    QVERIFY(!DeviceReader::readVideo(device, 0, 0, 1).isEmpty());
    QCOMPARE(device.getStreamStatus(0, 0), XChannelStatus_Connected);
    QCOMPARE(device.enableMediaTransmit(0, 0, false), XRet::Ok);
    QCOMPARE(device.getStreamStatus(0, 0), XChannelStatus_Connected);
}

void MediaDeviceTest::destructor_endsAllThreads()
{
    const ResourceCount before = ResourceCount::now();
    {
        MediaDevice device(MediaDeviceConfig::builtIn(3));
        for (int channel = 0; channel < 3; ++channel) {
            for (int stream = 0; stream < 2; ++stream)
                QCOMPARE(device.enableMediaTransmit(channel, stream, true), XRet::Ok);
        }
        QVERIFY(!DeviceReader::readVideo(device, 2, 1, 1).isEmpty());
    }
    QVERIFY(ResourceCount::waitUntilNotAbove(before));
}

QTEST_GUILESS_MAIN(MediaDeviceTest)
#include "tst_mediadevice.moc"
