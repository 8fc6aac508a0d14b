#include "core_videosave/savemp4ffmpeg.h"

#include "ffmpegcommand.h"
#include "material.h"
#include "probedfile.h"
#include "support/clips.h"
#include "support/messageguard.h"

#include <QElapsedTimer>
#include <QMetaMethod>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>
#include <cstring>
#include <memory>

namespace {
constexpr int frameMs = 40;
constexpr int millisecond = 1000;
constexpr int waitMs = 100;

/// Opens and writes without the thread, so that a test knows what is queued.
struct UnthreadedSaver : SaveMp4FFmpeg
{
    ~UnthreadedSaver() override { stop(); }

    bool begin(const QString& name)
    {
        setFileName(name);
        return init();
    }
};

void feedFrames(SaveMp4FFmpeg& saver, const Material::Packets& source, int count, quint64 begin = 0)
{
    for (int n = 0; n < count; ++n) {
        const quint64 time = begin + static_cast<quint64>(n) * frameMs;
        saver.writeData(Material::frameOf(source.packets[size_t(n)].get(), time, n).header());
    }
}

void feedPackets(SaveMp4FFmpeg& saver, const Material::Packets& source)
{
    for (const AvPacketPtr& packet : source.packets)
        saver.writeData(packet.get(), true);
}

/// In whole milliseconds.
int ms(double seconds) { return static_cast<int>(std::lround(seconds * millisecond)); }

QVector<int> steps(const QVector<ProbedFile::Packet>& packets)
{
    QVector<int> result;
    for (int n = 1; n < packets.size(); ++n)
        result.append(ms(packets[n].dts - packets[n - 1].dts));
    return result;
}
} // namespace

class tst_SaveMp4FFmpeg : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void slots_areInOrder();
    void codecIdOf_mapsCodecValues();
    void open_startsNoThread_whenNameIsEmpty();
    void open_changesNothing_whenRunning();
    void open_makesFolders_withAnyName();
    void open_writesAnotherFile_afterStop();
    void open_writesMpeg_whenExtensionIsUnknown();
    void open_makesOnlyThePossibleStreams_data();
    void open_makesOnlyThePossibleStreams();
    void stop_returnsAtOnce_whenWaiting();
    void save_goesOn_whenTheWaitTimesOut();
    void record_logsStartAndStop();

    void writeFrame_storesPictures_data();
    void writeFrame_storesPictures();
    void writeFrame_storesSoundAsAac_data();
    void writeFrame_storesSoundAsAac();
    void writeFrame_storesEveryAacFrame_whenOneCallCompletesSeveral();
    void writeFrame_storesPicturesAndSoundTogether();
    void writeFrame_keepsSoundWithThePictures_whenItComesLater_data();
    void writeFrame_keepsSoundWithThePictures_whenItComesLater();
    void writeFrame_refusesOtherTypes();
    void writeFrame_refusesAbsurdLength();
    void writeFrame_joinsGaps_data();
    void writeFrame_joinsGaps();

    void writePacket_keepsTimesAndTheCallersPacket();
    void writePacket_stampsSoundWithLatestPicture();
    void writePacket_keepsDecodeOrder_whenPicturesAreReordered();
    void writePacket_playsWithExtradataOfTheSource();
    void writePacket_startsAgain_whenSoundComesFirstInTheNextFile();
    void writePacket_refusesThe101st();

private:
    QString path(const QString& name = "a.mp4") const { return folder->filePath(name); }

    std::unique_ptr<MessageGuard> guard;
    std::unique_ptr<QTemporaryDir> folder;
};

void tst_SaveMp4FFmpeg::init()
{
    guard = std::make_unique<MessageGuard>();
    folder = std::make_unique<QTemporaryDir>();
}

void tst_SaveMp4FFmpeg::cleanup() { VERIFY_NO_UNEXPECTED_MESSAGES(*guard); }

void tst_SaveMp4FFmpeg::slots_areInOrder()
{
    const QMetaObject& meta = SaveMp4FFmpeg::staticMetaObject;
    QStringList signatures;
    for (int n = meta.methodOffset(); n < meta.methodCount(); ++n)
        signatures.append(meta.method(n).methodSignature());
    QCOMPARE(
        signatures,
        (QStringList{"setPara(XVideoEncPara,XAudioEncPara,int)", "setTimebase(AVRational)", "writeData(XFrameHeader*)",
                     "writeData(AVPacket*,bool)", "setJoin(bool)", "init()", "save()", "close()", "stop()"}));
    QCOMPARE(meta.superClass(), &AbstractSaveThread::staticMetaObject);
}

void tst_SaveMp4FFmpeg::codecIdOf_mapsCodecValues()
{
    QCOMPARE(int(SaveMp4FFmpeg::codecIdOf(1)), 27);
    QCOMPARE(int(SaveMp4FFmpeg::codecIdOf(2)), 173);
    QCOMPARE(int(SaveMp4FFmpeg::codecIdOf(33)), 65543);
    QCOMPARE(int(SaveMp4FFmpeg::codecIdOf(34)), 65542);
    QCOMPARE(int(SaveMp4FFmpeg::codecIdOf(35)), 65536);
    for (const int other : {-1, 0, 3, 32, 36, 65543})
        QCOMPARE(int(SaveMp4FFmpeg::codecIdOf(other)), 0);
}

void tst_SaveMp4FFmpeg::open_startsNoThread_whenNameIsEmpty()
{
    guard->allow("^file name is empty$");
    SaveMp4FFmpeg saver;
    saver.setPara(Material::video(), Material::noSound(), waitMs);
    saver.open("");
    QVERIFY(!saver.getIsRunning());
    QVERIFY(!saver.isRunning() && !saver.isFinished());
    QCOMPARE(guard->texts(QtCriticalMsg).size(), 1);
}

void tst_SaveMp4FFmpeg::open_changesNothing_whenRunning()
{
    const Material::Packets source = Material::read(Clips::h264AnnexB(), 10);
    SaveMp4FFmpeg saver;
    saver.setPara(Material::video(), Material::noSound(), waitMs);
    saver.open(path("a.mp4"));
    feedFrames(saver, source, 5);
    saver.open(path("b.mp4"));
    QCOMPARE(saver.fileName(), path("a.mp4"));
    QVERIFY(saver.getIsRunning());
    for (int n = 5; n < 10; ++n)
        saver.writeData(Material::frameOf(source.packets[size_t(n)].get(), quint64(n) * frameMs, n).header());
    saver.stop();
    QVERIFY(!QFile::exists(path("b.mp4")));
    QCOMPARE(ProbedFile(path("a.mp4")).decodedPictures(), 10);
}

void tst_SaveMp4FFmpeg::open_makesFolders_withAnyName()
{
    const Material::Packets source = Material::read(Clips::h264AnnexB(), 5);
    const QString name = path("录像 机/通道 1/live/2024-01-01 第一 段.mp4");
    SaveMp4FFmpeg saver;
    saver.setPara(Material::video(), Material::noSound(), waitMs);
    saver.open(name);
    QVERIFY(saver.getIsRunning());
    feedFrames(saver, source, 5);
    saver.stop();
    QCOMPARE(ProbedFile(name).decodedPictures(), 5);
}

void tst_SaveMp4FFmpeg::open_writesAnotherFile_afterStop()
{
    const Material::Packets source = Material::read(Clips::h264AnnexB(), 30);
    SaveMp4FFmpeg saver;
    saver.setPara(Material::video(), Material::noSound(), waitMs);
    for (const int count : {30, 12, 26}) {
        const QString name = path(QString("%1.mp4").arg(count));
        saver.open(name);
        QVERIFY(saver.getIsRunning());
        feedFrames(saver, source, count, 100000);
        saver.stop();
        const ProbedFile file(name);
        QCOMPARE(file.decodedPictures(), count);
        QCOMPARE(steps(file.packets("v")), QVector<int>(count - 1, frameMs));
    }
}

void tst_SaveMp4FFmpeg::open_writesMpeg_whenExtensionIsUnknown()
{
    guard->allow("^Could not deduce output format from file extension: using MPEG\\.$");
    const Material::Packets source = Material::read(Clips::h264AnnexB(), 25);
    SaveMp4FFmpeg saver;
    saver.setPara(Material::video(), Material::noSound(), waitMs);
    saver.open(path("a.unknown"));
    QVERIFY(saver.getIsRunning());
    feedFrames(saver, source, 25, 1000);
    saver.stop();
    QCOMPARE(guard->texts(QtWarningMsg).size(), 1);
    QCOMPARE(ProbedFile(path("a.unknown")).format(), QString("mpeg"));
    QCOMPARE(ProbedFile(path("a.unknown")).decodedPictures(), 25);
}

void tst_SaveMp4FFmpeg::open_makesOnlyThePossibleStreams_data()
{
    QTest::addColumn<int>("videoCodec");
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("audioCodec");
    QTest::addColumn<int>("channels");
    QTest::addColumn<QStringList>("codecs");
    QTest::newRow("both") << 1 << 320 << 33 << 1 << QStringList{"h264", "aac"};
    QTest::newRow("no sound") << 1 << 320 << 0 << 1 << QStringList{"h264"};
    QTest::newRow("sound without channels") << 1 << 320 << 33 << 0 << QStringList{"h264"};
    QTest::newRow("other sound") << 1 << 320 << 36 << 1 << QStringList{"h264"};
    QTest::newRow("no width") << 1 << 0 << 34 << 1 << QStringList{"aac"};
    QTest::newRow("other video") << 3 << 320 << 35 << 1 << QStringList{"aac"};
}

void tst_SaveMp4FFmpeg::open_makesOnlyThePossibleStreams()
{
    QFETCH(int, videoCodec);
    QFETCH(int, width);
    QFETCH(int, audioCodec);
    QFETCH(int, channels);
    QFETCH(QStringList, codecs);
    guard->allow("^videoIndex = -?\\d, audioIndex = -?\\d$");
    XVideoEncPara video = Material::video(videoCodec);
    video.width = width;
    XAudioEncPara sound = Material::sound(audioCodec);
    sound.channels = channels;
    const Material::Packets source = Material::read(Clips::h264AnnexB(), 10);
    const QByteArray samples = Material::tone("alaw", 8000, 1000, 440);

    SaveMp4FFmpeg saver;
    saver.setPara(video, sound, waitMs);
    saver.open(path());
    QVERIFY(saver.getIsRunning());
    QCOMPARE(saver.hasAudio(), codecs.contains("aac"));
    feedFrames(saver, source, 10);
    saver.writeData(Material::Frame(4, 0, samples).header());
    saver.stop();
    QVERIFY(!saver.hasAudio());
    QCOMPARE(ProbedFile(path()).codecs(), codecs);
}

void tst_SaveMp4FFmpeg::stop_returnsAtOnce_whenWaiting()
{
    constexpr int longMs = 120000;
    SaveMp4FFmpeg saver;
    saver.setPara(Material::video(), Material::noSound(), longMs);
    const Material::Packets source = Material::read(Clips::h264AnnexB(), 1);
    for (int n = 0; n < 5; ++n) {
        saver.open(path(QString("%1.mp4").arg(n)));
        feedFrames(saver, source, 1);
        QTest::qWait(20 * n); // from not yet waiting to surely waiting
        QElapsedTimer timer;
        timer.start();
        saver.stop();
        QVERIFY(timer.elapsed() < longMs / 4);
    }
    QVERIFY(!guard->contains("WaitForSingleObject timeout"));
}

void tst_SaveMp4FFmpeg::save_goesOn_whenTheWaitTimesOut()
{
    SaveMp4FFmpeg saver;
    saver.setPara(Material::video(), Material::noSound(), 10);
    const Material::Packets source = Material::read(Clips::h264AnnexB(), 3);
    saver.open(path());
    QTRY_VERIFY(guard->count(QtInfoMsg, "WaitForSingleObject timeout") > 2);
    feedFrames(saver, source, 3);
    saver.stop();
    QCOMPARE(ProbedFile(path()).decodedPictures(), 3);
}

void tst_SaveMp4FFmpeg::record_logsStartAndStop()
{
    SaveMp4FFmpeg saver;
    saver.setPara(Material::video(), Material::noSound(), 60000);
    const Material::Packets source = Material::read(Clips::h264AnnexB(), 3);
    saver.open(path());
    feedFrames(saver, source, 3);
    saver.stop();
    QCOMPARE(guard->texts(QtInfoMsg),
             (QStringList{"start record -> file: " + path(), "stop record -> file: " + path()}));
}

void tst_SaveMp4FFmpeg::writeFrame_storesPictures_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<quint64>("begin");
    QTest::newRow("H.264") << 1 << quint64(0);
    QTest::newRow("H.265") << 2 << quint64(0);
    QTest::newRow("late clock") << 1 << quint64(1700000000000);
}

void tst_SaveMp4FFmpeg::writeFrame_storesPictures()
{
    QFETCH(int, codec);
    QFETCH(quint64, begin);
    constexpr int count = 75;
    QString clip = Clips::h264AnnexB();
    if (codec == 2) {
        clip = path("a.h265");
        QVERIFY(runCommand("ffmpeg",
                           {"-v", "error", "-i", Clips::h264Mp4(), "-c:v", "libx265", "-preset", "ultrafast", "-g",
                            "25", "-x265-params", "bframes=0:pools=none:frame-threads=1:log-level=none", clip})
                    .ok);
    }
    const Material::Packets source = Material::read(clip, count);
    QCOMPARE(int(source.packets.size()), count);

    SaveMp4FFmpeg saver;
    saver.setPara(Material::video(codec), Material::noSound(), waitMs);
    saver.setTimebase({1, 1000});
    saver.open(path());
    saver.writeData(static_cast<XFrameHeader*>(nullptr));
    feedFrames(saver, source, count, begin);
    saver.stop();

    const ProbedFile file(path());
    QCOMPARE(file.complaints(), QByteArray());
    QCOMPARE(file.decodedPictures(), count);
    QCOMPARE(file.codecs(), QStringList{codec == 1 ? "h264" : "hevc"});
    const QVector<ProbedFile::Packet> packets = file.packets("v");
    QCOMPARE(packets.size(), count);
    QCOMPARE(steps(packets), QVector<int>(count - 1, frameMs));
    for (int n = 0; n < count; ++n) {
        QCOMPARE(packets[n].isKey, (source.packets[size_t(n)]->flags & AV_PKT_FLAG_KEY) != 0);
        QCOMPARE(ms(packets[n].pts), ms(packets[n].dts));
    }
    QVERIFY(packets.first().isKey);
    QCOMPARE(ProbedFile::completeFragments(path()), 3);
}

void tst_SaveMp4FFmpeg::writeFrame_storesSoundAsAac_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<QString>("format");
    QTest::addColumn<int>("sampleRate");
    QTest::newRow("A-law") << 33 << "alaw" << 8000;
    QTest::newRow("A-law 16000") << 33 << "alaw" << 16000;
    QTest::newRow("mu-law") << 34 << "mulaw" << 8000;
    QTest::newRow("PCM") << 35 << "s16le" << 8000;
}

void tst_SaveMp4FFmpeg::writeFrame_storesSoundAsAac()
{
    QFETCH(int, codec);
    QFETCH(QString, format);
    QFETCH(int, sampleRate);
    constexpr int frames = 80;
    constexpr int hertz = 440;
    const QByteArray sound = Material::tone(format, sampleRate, frames * frameMs, hertz);
    const int frameBytes = sound.size() / frames;
    QCOMPARE(frameBytes, sampleRate * frameMs / millisecond * (codec == 35 ? 2 : 1));

    SaveMp4FFmpeg saver;
    saver.setPara(Material::noVideo(), Material::sound(codec, sampleRate), waitMs);
    saver.open(path());
    QVERIFY(saver.getIsRunning());
    for (int n = 0; n < frames; ++n)
        saver.writeData(Material::Frame(4, quint64(n) * frameMs, sound.mid(n * frameBytes, frameBytes)).header());
    saver.stop();

    const ProbedFile file(path());
    QCOMPARE(file.complaints(), QByteArray());
    QCOMPARE(file.codecs(), QStringList{"aac"});
    const QVector<qint16> samples = file.samples(sampleRate);
    QVERIFY2(samples.size() > sampleRate * 5 / 2, qPrintable(QString::number(samples.size())));
    const double share = toneShare(samples.mid(sampleRate / 2, 2 * sampleRate), sampleRate, hertz);
    QVERIFY2(share > 0.95, qPrintable(QString::number(share)));
}

void tst_SaveMp4FFmpeg::writeFrame_storesEveryAacFrame_whenOneCallCompletesSeveral()
{
    constexpr int aacFrameMs = 128;
    SaveMp4FFmpeg saver;
    saver.setPara(Material::noVideo(), Material::sound(), waitMs);
    saver.open(path());
    const QByteArray sound = Material::tone("alaw", 8000, 3000, 440);
    for (int second = 0; second < 3; ++second)
        saver.writeData(Material::Frame(4, quint64(second) * millisecond, sound.mid(second * 8000, 8000)).header());
    saver.stop();

    const ProbedFile file(path());
    QCOMPARE(file.complaints(), QByteArray());
    const QVector<ProbedFile::Packet> packets = file.packets("a");
    QVERIFY2(packets.size() >= 20, qPrintable(QString::number(packets.size())));
    // What one call completed follows each other; each call begins at its own time.
    int calls = 1;
    for (const int step : steps(packets)) {
        QVERIFY2(step >= aacFrameMs / 2, qPrintable(QString::number(step)));
        calls += step > aacFrameMs + 1;
    }
    QVERIFY2(calls <= 3, qPrintable(QString::number(calls)));
    QVERIFY(toneShare(file.samples(8000).mid(4000, 16000), 8000, 440) > 0.95);
}

void tst_SaveMp4FFmpeg::writeFrame_storesPicturesAndSoundTogether()
{
    constexpr int count = 50;
    constexpr int soundBytes = 320;
    const Material::Packets source = Material::read(Clips::h264AnnexB(), count);
    const QByteArray sound = Material::tone("mulaw", 8000, count * frameMs, 1000);
    SaveMp4FFmpeg saver;
    saver.setPara(Material::video(), Material::sound(34), waitMs);
    saver.open(path());
    for (int n = 0; n < count; ++n) {
        const quint64 time = quint64(n) * frameMs;
        saver.writeData(Material::frameOf(source.packets[size_t(n)].get(), time, n).header());
        if (n < 49) // the queue holds 100
            saver.writeData(Material::Frame(4, time, sound.mid(n * soundBytes, soundBytes)).header());
    }
    saver.stop();
    const ProbedFile file(path());
    QCOMPARE(file.complaints(), QByteArray());
    QCOMPARE(file.codecs(), (QStringList{"h264", "aac"}));
    QCOMPARE(file.decodedPictures(), count);
    QCOMPARE(steps(file.packets("v")), QVector<int>(count - 1, frameMs));
    QVERIFY(file.packets("a").size() >= 10);
    // Sound comes in pieces of 40 ms, of which an AAC frame takes 3.2; no step is lost between fragments.
    for (const int step : steps(file.packets("a")))
        QVERIFY2(step >= 80 && step <= 176, qPrintable(QString::number(step)));
    QVERIFY(toneShare(file.samples(8000).mid(4000, 8000), 8000, 1000) > 0.95);
}

void tst_SaveMp4FFmpeg::writeFrame_keepsSoundWithThePictures_whenItComesLater_data()
{
    QTest::addColumn<quint64>("begin");
    QTest::addColumn<int>("firstPicture"); // key frames are those that 25 divides
    QTest::addColumn<int>("firstSound");
    for (const quint64 begin : {quint64(0), quint64(5000), quint64(1700000000000)}) {
        const QByteArray clock = QByteArray::number(begin);
        QTest::newRow("a group and a half later, at " + clock) << begin << 0 << 38;
        QTest::newRow("after two groups, at " + clock) << begin << 0 << 60;
        // The encoder has its first frame when the group that was begun is over.
        QTest::newRow("from the start, in a group, at " + clock) << begin << 22 << 22;
    }
}

/// The head of the file is written before there is sound.
void tst_SaveMp4FFmpeg::writeFrame_keepsSoundWithThePictures_whenItComesLater()
{
    QFETCH(quint64, begin);
    QFETCH(int, firstPicture);
    QFETCH(int, firstSound);
    constexpr int count = 120;
    constexpr int soundBytes = 320;
    constexpr int encoderMs = 550; // until it gives its first frame
    const Material::Packets source = Material::read(Clips::deviceH264(), count);
    const QByteArray sound = Material::tone("mulaw", 8000, count * frameMs, 1000);
    SaveMp4FFmpeg saver;
    saver.setPara(Material::video(), Material::sound(34), waitMs);
    saver.open(path());
    for (int n = firstPicture; n < count; ++n) {
        const quint64 time = begin + quint64(n) * frameMs;
        QTRY_VERIFY(!saver.isQueueFull());
        saver.writeData(Material::frameOf(source.packets[size_t(n)].get(), time, n).header());
        QTRY_VERIFY(!saver.isQueueFull());
        if (n >= firstSound)
            saver.writeData(Material::Frame(4, time, sound.mid(n * soundBytes, soundBytes)).header());
    }
    saver.stop();
    const ProbedFile file(path());
    QCOMPARE(file.complaints(), QByteArray());
    const QVector<ProbedFile::Packet> pictures = file.packets("v");
    const QVector<ProbedFile::Packet> sounds = file.packets("a");
    QCOMPARE(pictures.size(), count - firstPicture);
    QVERIFY(sounds.size() > 5);
    const int late = ms(sounds.first().pts - pictures.first().pts) - (firstSound - firstPicture) * frameMs;
    QVERIFY2(late >= 0 && late < encoderMs, qPrintable(QString::number(late)));
    const int atTheEnd = ms(pictures.last().pts - sounds.last().pts);
    QVERIFY2(qAbs(atTheEnd) < 200, qPrintable(QString::number(atTheEnd)));
    QVERIFY(toneShare(file.samples(8000).mid(4000, 8000), 8000, 1000) > 0.95);
}

void tst_SaveMp4FFmpeg::writeFrame_refusesOtherTypes()
{
    guard->allow("^videoIndex = 0, audioIndex = -1$");
    const Material::Packets source = Material::read(Clips::h264AnnexB(), 3);
    SaveMp4FFmpeg saver;
    saver.setPara(Material::video(), Material::noSound(), waitMs);
    saver.open(path());
    feedFrames(saver, source, 3);
    for (const quint32 type : {4u, 5u, 6u, 0x80000000u, 0xFFFFFFFFu})
        saver.writeData(Material::Frame(type, 200, "data").header());
    saver.stop();
    QCOMPARE(guard->count(QtWarningMsg, "videoIndex = 0, audioIndex = -1"), 5);
    guard->allow("^videoIndex = -1, audioIndex = -1$");
    feedFrames(saver, source, 1);
    saver.writeData(source.packets.front().get(), true);
    saver.writeData(source.packets.front().get(), false);
    QCOMPARE(guard->count(QtWarningMsg, "videoIndex = -1, audioIndex = -1"), 3);
    QCOMPARE(ProbedFile(path()).decodedPictures(), 3);
}

void tst_SaveMp4FFmpeg::writeFrame_refusesAbsurdLength()
{
    guard->allow("^no packet for a frame of \\d+ bytes$");
    guard->allow("^a picture of 0 bytes without a NAL unit was left out$");
    const Material::Packets source = Material::read(Clips::h264AnnexB(), 3);
    SaveMp4FFmpeg saver;
    saver.setPara(Material::video(), Material::noSound(), waitMs);
    saver.open(path());
    feedFrames(saver, source, 2);
    Material::Frame absurd = Material::frameOf(source.packets[2].get(), 80, 2);
    for (const quint32 length : {XFrameHeader::largestPayload + 1, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        absurd.header()->length = length;
        saver.writeData(absurd.header());
    }
    QCOMPARE(guard->texts(QtCriticalMsg).size(), 4);
    saver.writeData(Material::Frame(1, 60, QByteArray()).header()); // an empty one is left out later
    saver.writeData(Material::frameOf(source.packets[2].get(), 80, 2).header());
    saver.stop();
    QCOMPARE(guard->texts(QtWarningMsg).size(), 1);
    QCOMPARE(ProbedFile(path()).decodedPictures(), 3);
}

void tst_SaveMp4FFmpeg::writeFrame_joinsGaps_data()
{
    QTest::addColumn<bool>("join");
    QTest::addColumn<QVector<quint64>>("times");
    QTest::addColumn<QVector<int>>("stepsInFile");
    QTest::addColumn<QVector<int>>("warnings"); // numbers of the times that are warned of

    using Times = QVector<quint64>;
    using Steps = QVector<int>;
    QTest::newRow("jump of 5000") << true << Times{1000, 1040, 6040, 6080} << Steps{40, 500, 40} << Steps{2};
    QTest::newRow("two jumps") << true << Times{1000, 1040, 6040, 16040, 16080} << Steps{40, 500, 500, 40}
                               << Steps{2, 3};
    QTest::newRow("exactly 1000") << true << Times{1000, 1040, 2040, 2080} << Steps{40, 1000, 40} << Steps{2};
    QTest::newRow("1001") << true << Times{1000, 1040, 2041, 2081} << Steps{40, 500, 40} << Steps{2};
    QTest::newRow("backwards") << true << Times{100000, 100040, 50000, 50040} << Steps{40, 500, 40} << Steps{2};
    QTest::newRow("repeated") << true << Times{1000, 1040, 1040, 1080} << Steps{40, 500, 40} << Steps{};
    QTest::newRow("behind the first") << true << Times{1000, 6000, 6040} << Steps{5000, 40} << Steps{1};
    QTest::newRow("not joined") << false << Times{1000, 1040, 6040, 6080} << Steps{40, 5000, 40} << Steps{2};
    QTest::newRow("clock set back, not joined")
        << false << Times{100000, 100040, 50000, 50040} << Steps{40, 40, 40} << Steps{2};
    QTest::newRow("300 and 301") << false << Times{1000, 1040, 1340, 1641} << Steps{40, 300, 301} << Steps{3};
}

void tst_SaveMp4FFmpeg::writeFrame_joinsGaps()
{
    QFETCH(bool, join);
    QFETCH(QVector<quint64>, times);
    QFETCH(QVector<int>, stepsInFile);
    QFETCH(QVector<int>, warnings);
    guard->allow("^-----cur pts = ");
    const Material::Packets source = Material::read(Clips::h264AnnexB(), times.size());
    SaveMp4FFmpeg saver;
    saver.setPara(Material::video(), Material::noSound(), waitMs);
    saver.setJoin(join);
    saver.open(path("录 像.mp4"));
    for (int n = 0; n < times.size(); ++n)
        saver.writeData(Material::frameOf(source.packets[size_t(n)].get(), times[n], n).header());
    saver.stop();
    QCOMPARE(steps(ProbedFile(path("录 像.mp4")).packets("v")), stepsInFile);
    QStringList expected;
    for (const int n : warnings) {
        expected.append(
            QString("-----cur pts = %1, last pts = %2, [%3]").arg(times[n]).arg(times[n - 1]).arg(path("录 像.mp4")));
    }
    QCOMPARE(guard->texts(QtWarningMsg), expected);
}

void tst_SaveMp4FFmpeg::writePacket_keepsTimesAndTheCallersPacket()
{
    const Material::Packets source = Material::read(Clips::h264Ts(), 50);
    QCOMPARE(int(source.packets.size()), 50);
    SaveMp4FFmpeg saver;
    saver.setPara(Material::video(), Material::noSound(), waitMs);
    saver.setTimebase(source.timeBase);
    saver.open(path());
    saver.writeData(static_cast<AVPacket*>(nullptr), true);
    for (const AvPacketPtr& packet : source.packets) {
        packet->stream_index = 7;
        const AvPacketPtr copy(av_packet_clone(packet.get()));
        saver.writeData(packet.get(), true);
        QCOMPARE(packet->pts, copy->pts);
        QCOMPARE(packet->dts, copy->dts);
        QCOMPARE(packet->duration, copy->duration);
        QCOMPARE(packet->stream_index, 7);
        QCOMPARE(Material::bytesOf(packet.get()), Material::bytesOf(copy.get()));
    }
    saver.stop();
    const ProbedFile file(path());
    QCOMPARE(file.complaints(), QByteArray());
    QCOMPARE(file.decodedPictures(), 50);
    QCOMPARE(steps(file.packets("v")), QVector<int>(49, frameMs));
    QCOMPARE(ms(file.packets("v").first().pts), 0);
}

void tst_SaveMp4FFmpeg::writePacket_stampsSoundWithLatestPicture()
{
    constexpr int soundBytes = 160;
    const Material::Packets source = Material::read(Clips::h264AnnexB(), 2);
    const QByteArray sound = Material::tone("alaw", 8000, 1600, 440);
    SaveMp4FFmpeg saver;
    saver.setPara(Material::video(), Material::sound(), waitMs);
    saver.setTimebase({1, 1000});
    saver.open(path());
    int offset = 0;
    for (const int second : {0, 3}) {
        AVPacket* picture = source.packets[second == 0 ? 0 : 1].get();
        picture->pts = picture->dts = 7000 + second * millisecond;
        saver.writeData(picture, true);
        for (int n = 0; n < 40; ++n, offset += soundBytes) {
            const AvPacketPtr packet = makePacket();
            QCOMPARE(av_new_packet(packet.get(), soundBytes), 0);
            std::memcpy(packet->data, sound.constData() + offset, soundBytes);
            packet->pts = packet->dts = 999999; // its own time doesn't count
            saver.writeData(packet.get(), false);
        }
    }
    saver.stop();
    const QVector<ProbedFile::Packet> packets = ProbedFile(path()).packets("a");
    QStringList times;
    for (const ProbedFile::Packet& packet : packets)
        times.append(QString::number(ms(packet.pts)));
    const int second = times.indexOf("3000");
    QVERIFY2(second > 2, qPrintable(times.join(' ')));
    // Frames that fell on one time follow each other at the length of a frame.
    for (int n = 0; n < packets.size(); ++n) {
        const int expected = n < second ? n * 128 : 3000 + (n - second) * 128;
        QVERIFY2(qAbs(ms(packets[n].pts) - expected) <= 1, qPrintable(times.join(' ')));
    }
    QVERIFY(packets.size() - second > 2);
}

void tst_SaveMp4FFmpeg::writePacket_keepsDecodeOrder_whenPicturesAreReordered()
{
    const QString clip = path("reordered.mp4");
    QVERIFY(runCommand("ffmpeg",
                       {"-v", "error", "-i", Clips::h264Mp4(), "-frames:v", "60", "-c:v", "libx264", "-preset",
                        "ultrafast", "-threads", "1", "-bf", "3", "-b_strategy", "0", "-g", "20", clip})
                .ok);
    const Material::Packets source = Material::read(clip);
    QCOMPARE(int(source.packets.size()), 60);
    int reordered = 0;
    for (const AvPacketPtr& packet : source.packets)
        reordered += packet->pts != packet->dts;
    QVERIFY(reordered > 20);

    SaveMp4FFmpeg saver;
    saver.setPara(Material::video(), Material::noSound(), waitMs);
    saver.setTimebase(source.timeBase);
    saver.setExtradata(source.extradata);
    saver.open(path());
    feedPackets(saver, source);
    saver.stop();

    const ProbedFile file(path());
    QCOMPARE(file.complaints(), QByteArray());
    QCOMPARE(file.decodedPictures(), 60);
    const QVector<ProbedFile::Packet> packets = file.packets("v");
    QCOMPARE(packets.size(), 60);
    for (int n = 0; n < 60; ++n) {
        const AVPacket* original = source.packets[size_t(n)].get();
        QCOMPARE(packets[n].bytes, original->size);
        const double shown = double(original->pts - source.packets.front()->pts) * av_q2d(source.timeBase);
        QCOMPARE(ms(packets[n].pts - packets.first().pts), ms(shown));
    }
}

void tst_SaveMp4FFmpeg::writePacket_playsWithExtradataOfTheSource()
{
    constexpr int count = 50;
    const Material::Packets prefixed = Material::read(Clips::h264Mp4(), count);
    QCOMPARE(prefixed.extradata.at(0), '\1'); // the MP4 record
    Material::Packets bare = Material::read(Clips::h264AnnexB(), count);
    bare.extradata = Material::parameterSets(Material::bytesOf(bare.packets.front().get()));
    bare.timeBase = {1, 25};
    for (int n = 0; n < count; ++n) {
        AVPacket* packet = bare.packets[size_t(n)].get();
        const QByteArray bytes = Material::withoutParameterSets(Material::bytesOf(packet));
        const int flags = packet->flags;
        av_packet_unref(packet);
        QCOMPARE(av_new_packet(packet, bytes.size()), 0);
        std::memcpy(packet->data, bytes.constData(), size_t(bytes.size()));
        packet->flags = flags;
        packet->pts = packet->dts = n;
    }
    for (const Material::Packets* source : {&prefixed, static_cast<const Material::Packets*>(&bare)}) {
        SaveMp4FFmpeg saver;
        saver.setPara(Material::video(), Material::noSound(), waitMs);
        saver.setTimebase(source->timeBase);
        saver.setExtradata(source->extradata);
        saver.open(path());
        feedPackets(saver, *source);
        saver.stop();
        const ProbedFile file(path());
        QCOMPARE(file.complaints(), QByteArray());
        QCOMPARE(file.decodedPictures(), count);
        QCOMPARE(steps(file.packets("v")), QVector<int>(count - 1, frameMs));
    }
}

/// What the last file's pictures were stamped with must not reach into the next file.
void tst_SaveMp4FFmpeg::writePacket_startsAgain_whenSoundComesFirstInTheNextFile()
{
    const Material::Packets source = Material::read(Clips::h264AnnexB(), 20);
    const QByteArray sound = Material::tone("alaw", 8000, 1000, 440);
    SaveMp4FFmpeg saver;
    saver.setPara(Material::video(), Material::sound(), waitMs);
    saver.setTimebase({1, 1000});
    for (int round = 0; round < 2; ++round) {
        saver.open(path());
        const AvPacketPtr heard = makePacket();
        QCOMPARE(av_new_packet(heard.get(), sound.size()), 0);
        std::memcpy(heard->data, sound.constData(), size_t(sound.size()));
        if (round == 1)
            saver.writeData(heard.get(), false);
        for (int n = 0; n < 20; ++n) {
            AVPacket* packet = source.packets[size_t(n)].get();
            packet->pts = packet->dts = (round == 0 ? 50000 : 0) + n * frameMs;
            saver.writeData(packet, true);
        }
        saver.stop();
        QCOMPARE(steps(ProbedFile(path()).packets("v")), QVector<int>(19, frameMs));
    }
}

void tst_SaveMp4FFmpeg::writePacket_refusesThe101st()
{
    guard->allow("^queue is full$");
    guard->allow("^lost 3 pictures and 0 packets of sound in .*: the queue was full");
    const Material::Packets source = Material::read(Clips::h264AnnexB(), 103);
    UnthreadedSaver saver;
    saver.setPara(Material::video(), Material::noSound(), waitMs);
    QVERIFY(saver.begin(path()));
    feedFrames(saver, source, 100);
    QCOMPARE(guard->texts(QtWarningMsg), QStringList());
    for (int n = 100; n < 103; ++n)
        saver.writeData(Material::frameOf(source.packets[size_t(n)].get(), quint64(n) * frameMs, n).header());
    QCOMPARE(guard->texts(QtWarningMsg), (QStringList{"queue is full", "queue is full", "queue is full"}));
    saver.close();
    QCOMPARE(ProbedFile(path()).decodedPictures(), 100);

    // Not closed: what is queued goes with the recorder.
    QVERIFY(saver.begin(path()));
    feedFrames(saver, source, 100);
}

QTEST_GUILESS_MAIN(tst_SaveMp4FFmpeg)
#include "tst_savemp4ffmpeg.moc"
