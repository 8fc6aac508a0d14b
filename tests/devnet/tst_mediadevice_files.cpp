#include "devicereader.h"
#include "devnet/mediadevice.h"
#include "support/clips.h"
#include "support/messageguard.h"

#include <QtTest>

#include <memory>
#include <thread>
#include <vector>

namespace {

constexpr int readMs = 7500; ///< a clip of five seconds, and a good part of it again
constexpr int pictureMs = 1000 / Clips::frameRate;

struct Case
{
    const char* name;
    QString file;
    bool h265;
    const char* sound; ///< the format as ffmpeg calls it, empty for none
};

} // namespace

Q_DECLARE_METATYPE(ReadFrames)

/// Media files as sources. All are read at the same time, as they run in real time, and judged one by one.
class MediaDeviceFilesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { guard.reset(new MessageGuard); }
    void cleanup() { VERIFY_NO_UNEXPECTED_MESSAGES(*guard); }

    void frames_areWhatReadersExpect_data() { addRows(); }
    void frames_areWhatReadersExpect();
    void pictures_areThoseOfTheFile_againAndAgain_data() { addRows(); }
    void pictures_areThoseOfTheFile_againAndAgain();
    void times_goOnEvenly_data() { addRows(); }
    void times_goOnEvenly();
    void sound_isTheToneOfTheFile_data() { addRows(); }
    void sound_isTheToneOfTheFile();
    void sound_isPassedOn_whenItIsG711();
    void size_changesWithTheKeyFrame();
    void codec_changesWithTheKeyFrame();
    void soundAlone_isSent();
    void otherVideo_isRefused_withOneWarning();
    void badFiles_areLost_withOneWarningEach();
    void file_isPlayed_onceItIsThere();
    void file_withoutEnd_isPlayedAsFarAsItGoes();
    void largeFrame_isDropped_withOneWarning();

private:
    void addRows();
    const ReadFrames& framesOf(const char* name) const;

    std::unique_ptr<MessageGuard> guard;
    std::vector<Case> cases;
    std::vector<ReadFrames> read; ///< for each of the cases
};

namespace {

MediaDeviceConfig deviceOf(const QStringList& sources)
{
    MediaDeviceConfig config;
    for (const QString& source : sources)
        config.channels.append({QString(), {source}});
    return config;
}

/// A clip made here, with what only one test needs.
QString makeClip(const QTemporaryDir& folder, const QString& name, const QStringList& arguments)
{
    const QString path = folder.filePath(name);
    DeviceReader::ffmpeg(arguments + QStringList{path});
    return path;
}

} // namespace

void MediaDeviceFilesTest::initTestCase()
{
    cases = {{"H.264 and AAC, MP4", Clips::h264AacMp4(), false, "mulaw"},
             {"H.264 and A-law, Matroska", Clips::h264PcmaMkv(), false, "alaw"},
             {"H.264 with B-frames, MP4", Clips::h264BFramesMp4(), false, ""},
             {"H.265 with B-frames, MP4", Clips::h265Mp4(), true, ""},
             {"H.265 with B-frames, Matroska", Clips::h265Mkv(), true, ""},
             {"H.264 and AAC, MPEG-TS", Clips::h264Ts(), false, "mulaw"},
             {"H.264, raw", Clips::h264AnnexB(), false, ""},
             {"size change", Clips::sizeChangeTs(), false, nullptr},
             {"codec change", Clips::codecChangeTs(), false, nullptr}};
    QStringList sources;
    for (const Case& one : cases)
        sources.append(one.file);
    MediaDevice device(deviceOf(sources));
    read.resize(cases.size());
    std::vector<std::thread> readers;
    for (int channel = 0; channel < sources.size(); ++channel) {
        QCOMPARE(device.enableMediaTransmit(channel, 0, true), XRet::Ok);
        readers.emplace_back([this, &device, channel] {
            read.at(static_cast<std::size_t>(channel)) = DeviceReader::read(device, channel, 0, readMs);
        });
    }
    for (std::thread& reader : readers)
        reader.join();
}

void MediaDeviceFilesTest::addRows()
{
    QTest::addColumn<int>("number");
    for (std::size_t i = 0; i < cases.size(); ++i) {
        if (cases.at(i).sound)
            QTest::newRow(cases.at(i).name) << static_cast<int>(i);
    }
}

const ReadFrames& MediaDeviceFilesTest::framesOf(const char* name) const
{
    for (std::size_t i = 0; i < cases.size(); ++i) {
        if (qstrcmp(cases.at(i).name, name) == 0)
            return read.at(i);
    }
    qFatal("there is no case %s", name);
}

void MediaDeviceFilesTest::frames_areWhatReadersExpect()
{
    QFETCH(int, number);
    const Case& one = cases.at(static_cast<std::size_t>(number));
    const ReadFrames& frames = read.at(static_cast<std::size_t>(number));
    const ReadFrames video = DeviceReader::video(frames);
    QVERIFY2(video.size() > Clips::frameCount + 40, qPrintable(QString::number(video.size())));
    QVERIFY(video.first().isKey());
    for (const ReadFrame& frame : frames)
        QCOMPARE(DeviceReader::problemOf(frame), QString());
    for (const ReadFrame& frame : video) {
        QCOMPARE(static_cast<bool>(frame.header.codecId), one.h265);
        QCOMPARE(static_cast<int>(frame.header.width), Clips::size.width());
        QCOMPARE(static_cast<int>(frame.header.height), Clips::size.height());
        QCOMPARE(static_cast<int>(frame.header.param1), Clips::frameRate);
    }
    QCOMPARE(DeviceReader::audio(frames).isEmpty(), qstrlen(one.sound) == 0);
}

void MediaDeviceFilesTest::pictures_areThoseOfTheFile_againAndAgain()
{
    QFETCH(int, number);
    const Case& one = cases.at(static_cast<std::size_t>(number));
    const ReadFrames video = DeviceReader::video(read.at(static_cast<std::size_t>(number)));
    QVERIFY(video.at(Clips::frameCount).isKey());
    const QStringList sent = DeviceReader::pictureHashes(DeviceReader::joined(video), one.h265 ? "hevc" : "h264");
    const QStringList inFile = DeviceReader::pictureHashes(one.file);
    QCOMPARE(inFile.size(), Clips::frameCount);
    QCOMPARE(sent.mid(0, Clips::frameCount), inFile);
    QCOMPARE(sent.size(), video.size());
    QCOMPARE(sent.mid(Clips::frameCount, 30), inFile.mid(0, 30));
}

void MediaDeviceFilesTest::times_goOnEvenly()
{
    QFETCH(int, number);
    const ReadFrames& frames = read.at(static_cast<std::size_t>(number));
    for (const ReadFrames& kind : {DeviceReader::video(frames), DeviceReader::audio(frames)}) {
        for (int i = 1; i < kind.size(); ++i) {
            const auto step = static_cast<qint64>(kind.at(i).header.timestamp)
                - static_cast<qint64>(kind.at(i - 1).header.timestamp);
            QVERIFY2(step > 0 && step < 150, qPrintable(QString("%1 at frame %2").arg(step).arg(i)));
        }
    }
    const ReadFrames video = DeviceReader::video(frames);
    const auto stamped = static_cast<qint64>(video.last().header.timestamp - video.first().header.timestamp);
    QVERIFY2(qAbs(stamped - (video.size() - 1) * pictureMs) < 60, qPrintable(QString::number(stamped)));
    for (const ReadFrame& frame : frames) {
        const qint64 late = frame.readAt - static_cast<qint64>(frame.header.timestamp);
        QVERIFY2(late > -300 && late < 800, qPrintable(QString::number(late)));
    }
}

void MediaDeviceFilesTest::sound_isTheToneOfTheFile()
{
    QFETCH(int, number);
    const Case& one = cases.at(static_cast<std::size_t>(number));
    if (qstrlen(one.sound) == 0)
        return;
    const ReadFrames audio = DeviceReader::audio(read.at(static_cast<std::size_t>(number)));
    int bytes = 0;
    for (const ReadFrame& frame : audio) {
        QCOMPARE(frame.header.codecId, qstrcmp(one.sound, "alaw") == 0 ? 3u : 4u);
        QCOMPARE(frame.header.sampleRate, 8000u);
        QCOMPARE(frame.header.channels, 1u);
        bytes += frame.payload.size();
    }
    QVERIFY2(qAbs(bytes - 8 * readMs) < 8000, qPrintable(QString::number(bytes)));
    const double tone = DeviceReader::toneOf(DeviceReader::joined(audio), one.sound);
    QVERIFY2(qAbs(tone - 440) < 5, qPrintable(QString::number(tone)));
}

void MediaDeviceFilesTest::sound_isPassedOn_whenItIsG711()
{
    const QByteArray sent = DeviceReader::joined(DeviceReader::audio(framesOf("H.264 and A-law, Matroska")));
    const QByteArray inFile
        = DeviceReader::ffmpeg({"-i", Clips::h264PcmaMkv(), "-map", "0:a", "-c", "copy", "-f", "alaw", "-"});
    QVERIFY(inFile.size() > 30000);
    QCOMPARE(sent.left(inFile.size()), inFile);
    QCOMPARE(sent.mid(inFile.size(), 8000), inFile.left(8000));
}

void MediaDeviceFilesTest::size_changesWithTheKeyFrame()
{
    const ReadFrames video = DeviceReader::video(framesOf("size change"));
    QVERIFY(video.size() > 110);
    for (int i = 0; i < 100; ++i) {
        const QSize size(static_cast<int>(video.at(i).header.width), static_cast<int>(video.at(i).header.height));
        QCOMPARE(size, i < 50 ? Clips::size : Clips::otherSize);
    }
    QVERIFY(video.at(50).isKey());
    QCOMPARE(DeviceReader::problemOf(video.at(50)), QString());
}

/// The other codec is another stream of the file, so only the first is sent.
void MediaDeviceFilesTest::codec_changesWithTheKeyFrame()
{
    const ReadFrames video = DeviceReader::video(framesOf("codec change"));
    QVERIFY(video.size() > 20);
    for (const ReadFrame& frame : video)
        QCOMPARE(DeviceReader::problemOf(frame), QString());
}

void MediaDeviceFilesTest::soundAlone_isSent()
{
    MediaDevice device(deviceOf({Clips::soundOnlyM4a(), Clips::soundOnlyWav()}));
    for (int channel = 0; channel < 2; ++channel) {
        QCOMPARE(device.enableMediaTransmit(channel, 0, true), XRet::Ok);
        const ReadFrames frames = DeviceReader::read(device, channel, 0, 1500);
        QVERIFY(!frames.isEmpty());
        QVERIFY(DeviceReader::video(frames).isEmpty());
        const double tone = DeviceReader::toneOf(DeviceReader::joined(frames), channel == 0 ? "mulaw" : "alaw");
        QVERIFY2(qAbs(tone - 440) < 10, qPrintable(QString::number(tone)));
        XVideoEncPara video;
        XAudioEncPara audio;
        QCOMPARE(device.getCodecInfo(channel, 0, video, audio), XRet::Ok);
        QVERIFY(!video.isValid() && audio.isValid());
    }
}

void MediaDeviceFilesTest::otherVideo_isRefused_withOneWarning()
{
    const QString reason = "channel 0 stream 0 \\(.*\\) is lost, and tried again: its video is ffv1, and devices send "
                           "H.264 and H.265 alone";
    guard->allow(reason);
    MediaDevice device(deviceOf({Clips::oddSizeMkv()}));
    QCOMPARE(device.enableMediaTransmit(0, 0, true), XRet::Ok);
    QVERIFY(DeviceReader::read(device, 0, 0, 2500).isEmpty());
    QVERIFY(guard->contains(reason));
    QCOMPARE(guard->texts(QtWarningMsg).size(), 1);
    QCOMPARE(device.getStreamStatus(0, 0), XChannelStatus_Disconnected);
    QCOMPARE(device.getConnectStatus(), XChannelStatus_Connected);
    QCOMPARE(device.enableMediaTransmit(0, 0, false), XRet::Ok);
    QCOMPARE(device.getStreamStatus(0, 0), XChannelStatus_Connected);
}

void MediaDeviceFilesTest::badFiles_areLost_withOneWarningEach()
{
    guard->allow("^channel . stream 0 .* is lost, and tried again: .+");
    const QStringList files{"/nowhere/clip.mp4", QDir::tempPath(),      Clips::emptyMp4(),
                            Clips::textMp4(),    Clips::truncatedMp4(), "concat:a|b"};
    MediaDevice device(deviceOf(files));
    for (int channel = 0; channel < files.size(); ++channel)
        QCOMPARE(device.enableMediaTransmit(channel, 0, true), XRet::Ok);
    QTest::qSleep(2500); // each is tried again meanwhile
    for (int channel = 0; channel < files.size(); ++channel) {
        XFrameHeader header{};
        QCOMPARE(device.readFrame(channel, 0, &header, 0), XRet::Timeout);
        QCOMPARE(device.getStreamStatus(channel, 0), XChannelStatus_Disconnected);
        QVERIFY(guard->contains(QString("^channel %1 stream 0").arg(channel)));
    }
    QCOMPARE(guard->texts(QtWarningMsg).size(), files.size());
}

void MediaDeviceFilesTest::file_isPlayed_onceItIsThere()
{
    guard->allow("is lost, and tried again: No such file or directory$");
    const QTemporaryDir folder;
    const QString name = folder.filePath("clip one.mp4");
    MediaDevice device(deviceOf({name}));
    QCOMPARE(device.enableMediaTransmit(0, 0, true), XRet::Ok);
    QVERIFY(DeviceReader::read(device, 0, 0, 500).isEmpty());
    QVERIFY(QFile::copy(Clips::h264Mp4(), name));
    QCOMPARE(DeviceReader::readVideo(device, 0, 0, 3).size(), 3);
    QCOMPARE(device.getStreamStatus(0, 0), XChannelStatus_Connected);
    QVERIFY(guard->contains("^channel 0 stream 0 \\(.*clip one.mp4\\) is back$"));
}

/// A file that ends in mid-packet goes on from its begin, without a word: it has been played as far as it goes.
void MediaDeviceFilesTest::file_withoutEnd_isPlayedAsFarAsItGoes()
{
    guard->allow("is lost, and tried again: .+");
    const QTemporaryDir folder;
    QFile whole(Clips::h264Ts());
    QVERIFY(whole.open(QIODevice::ReadOnly));
    QFile part(folder.filePath("part.ts"));
    QVERIFY(part.open(QIODevice::WriteOnly));
    part.write(whole.read(whole.size() / 4));
    part.close();
    MediaDevice device(deviceOf({part.fileName()}));
    QCOMPARE(device.enableMediaTransmit(0, 0, true), XRet::Ok);
    const ReadFrames video = DeviceReader::video(DeviceReader::readVideo(device, 0, 0, 60));
    for (int i = 1; i < video.size(); ++i)
        QVERIFY(video.at(i).header.timestamp > video.at(i - 1).header.timestamp);
}

void MediaDeviceFilesTest::largeFrame_isDropped_withOneWarning()
{
    guard->allow("^channel 0 stream 0 .* has frames of more than 1048584 bytes, which are dropped$");
    const QTemporaryDir folder;
    // Noise can't be compressed: a key frame every ten pictures is too large, the last ten are small.
    const QString file = makeClip(folder, "large.mp4",
                                  {"-f",
                                   "lavfi",
                                   "-i",
                                   "color=gray:s=1920x1080:r=10:d=2,noise=alls=100:allf=t",
                                   "-f",
                                   "lavfi",
                                   "-i",
                                   "color=red:s=1920x1080:r=10:d=1",
                                   "-filter_complex",
                                   "[0:v]format=yuv420p[a];[1:v]format=yuv420p[b];[a][b]concat",
                                   "-c:v",
                                   "libx264",
                                   "-preset",
                                   "ultrafast",
                                   "-qp",
                                   "1",
                                   "-g",
                                   "10",
                                   "-sc_threshold",
                                   "0"});
    MediaDevice device(deviceOf({file}));
    QCOMPARE(device.enableMediaTransmit(0, 0, true), XRet::Ok);
    const ReadFrames video = DeviceReader::video(DeviceReader::readVideo(device, 0, 0, 12));
    QVERIFY(video.at(0).isKey());
    QVERIFY(video.at(10).isKey()); // nothing of the groups between
    QVERIFY(video.at(10).header.timestamp > video.at(9).header.timestamp + 1500);
    QCOMPARE(guard->texts(QtWarningMsg).size(), 1);
    QCOMPARE(DeviceReader::pictureHashes(DeviceReader::joined(video), "h264").size(), 12);
}

QTEST_GUILESS_MAIN(MediaDeviceFilesTest)
#include "tst_mediadevice_files.moc"
