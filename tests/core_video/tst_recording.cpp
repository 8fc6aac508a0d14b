#include "core_video/recordedbitrate.h"
#include "recordingprobe.h"
#include "support/clips.h"
#include "support/messageguard.h"
#include "support/moviefile.h"
#include "support/rtspserver.h"
#include "support/simulatedclock.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>

#include <csignal>
#include <memory>

#include <sys/resource.h>
#include <unistd.h>

namespace {
constexpr int playMs = 20000;
constexpr int keyDistance = 25; // of the clips
constexpr int liveKeyDistance = 10; // of the server's mounts
constexpr qint64 pictureUs = 1000000 / Clips::frameRate;

/// Slow enough for the recorder to keep up with a file that is read as fast as it goes.
void letRecorderFollow() { QThread::msleep(4); }

QStringList states(std::initializer_list<const char*> list)
{
    QStringList result;
    for (const char* state : list)
        result << state;
    return result;
}

/// What the thread has decoded from the picture @p number on.
QVector<int> shownSince(const RecordingProbe& probe, int number)
{
    const QVector<int> shown = probe.shownNumbers();
    return shown.mid(shown.indexOf(number));
}

/// The line that tells how much was lost, without the times.
QString lossOf(int pictures, const QString& reason)
{
    return QString("^lost %1 pictures and 0 packets of sound in .+: %2 \\[").arg(pictures).arg(reason);
}

/// Limits the size of every file that this process writes, as a disk does that is almost full.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before);
        rlimit limit = before;
        limit.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() { lift(); }
    void lift() { setrlimit(RLIMIT_FSIZE, &before); }

private:
    rlimit before{};
};
} // namespace

using Thread = AbstractVideoThread;

/// What the thread records, seen by other programs.
class TestRecording : public QObject
{
    Q_OBJECT

private:
    QString path(const QString& name) const { return folder->filePath(name); }

    /// Records the whole of @p clip as fast as the recorder follows and waits for the end.
    void playToEnd(RecordingProbe& probe)
    {
        if (!probe.atPacket)
            probe.atPacket = [](int) { letRecorderFollow(); };
        probe.play();
        QTRY_VERIFY_WITH_TIMEOUT(probe.isFinished(), playMs);
    }

    void verifyIsWhole(const QString& name, int pictures) const
    {
        verifyIsWhole(name, pictures, double(pictures) / Clips::frameRate);
    }

    /// Live pictures, of which the source itself may have left some out.
    void verifyIsWhole(const QString& name, const QVector<int>& numbers) const
    {
        QVERIFY(!numbers.isEmpty());
        verifyIsWhole(name, numbers.size(), double(numbers.last() - numbers.first() + 1) / Clips::frameRate);
    }

    void verifyIsWhole(const QString& name, int pictures, double seconds) const
    {
        const MovieFile movie(name);
        QVERIFY2(movie.decodes(), qPrintable(name));
        QCOMPARE(movie.pictureCount(), pictures);
        QVERIFY(movie.startsWithKeyFrame());
        QVERIFY2(qAbs(movie.videoDuration() - seconds) < 0.1, qPrintable(QString::number(movie.videoDuration())));
    }

    void verifyPlaysInPlayers(const MovieFile& movie) const
    {
        QVERIFY(movie.plays());
    }

    std::unique_ptr<MessageGuard> guard;
    std::unique_ptr<QTemporaryDir> folder;
    RtspServer server;

private Q_SLOTS:
    void init()
    {
        guard.reset(new MessageGuard);
        guard->allow("^error count: [123] why: ");
        folder.reset(new QTemporaryDir);
        QVERIFY(folder->isValid());
    }
    void cleanup()
    {
        VERIFY_NO_UNEXPECTED_MESSAGES(*guard);
        folder.reset();
    }

    // --- When a file begins and ends

    void recordStart_waitsForTheNextKeyFrame_whenInMidGroup()
    {
        RecordingProbe probe(Clips::h264Mp4(), folder->path());
        int firstWithFile = -1;
        probe.atPacket = [&](int packet) {
            letRecorderFollow();
            if (packet == 30)
                probe.recordStart(Thread::MANUAL_RECORD);
            if (firstWithFile < 0 && probe.hasOpenFile())
                firstWithFile = packet;
        };
        playToEnd(probe);
        QCOMPARE(firstWithFile, 51); // the key frame before it has opened the file
        const QString file = path("0-1-done.mp4");
        QCOMPARE(probe.closedFiles(Thread::MANUAL_RECORD), QStringList(file));
        QCOMPARE(probe.states(), states({"1 0-1.mp4", "0 0-1-done.mp4"}));
        QCOMPARE(MovieFile(file).packetHashes(), MovieFile(Clips::h264Mp4()).packetHashes().mid(50));
        verifyIsWhole(file, 75);
    }

    void recordStart_beginsAtTheVeryPacket_whenItIsAKeyFrame()
    {
        RecordingProbe probe(Clips::h264Mp4(), folder->path());
        probe.atPacket = [&](int packet) {
            letRecorderFollow();
            if (packet == 25)
                probe.recordStart(Thread::MANUAL_RECORD);
        };
        playToEnd(probe);
        QCOMPARE(MovieFile(path("0-1-done.mp4")).packetHashes(), MovieFile(Clips::h264Mp4()).packetHashes().mid(25));
    }

    void recordStop_closesTheFile_withTheNextPacket()
    {
        RecordingProbe probe(Clips::h264Mp4(), folder->path());
        probe.recordStart(Thread::MANUAL_RECORD);
        int firstWithoutFile = -1;
        probe.atPacket = [&](int packet) {
            letRecorderFollow();
            if (packet == 59)
                probe.recordStop(Thread::MANUAL_RECORD);
            if (packet > 0 && firstWithoutFile < 0 && !probe.hasOpenFile())
                firstWithoutFile = packet;
        };
        playToEnd(probe);
        QCOMPARE(firstWithoutFile, 60);
        QCOMPARE(probe.states(), states({"1 0-1.mp4", "0 0-1-done.mp4"}));
        QCOMPARE(MovieFile(path("0-1-done.mp4")).packetHashes(), MovieFile(Clips::h264Mp4()).packetHashes().mid(0, 60));
        verifyIsWhole(path("0-1-done.mp4"), 60);
    }

    void recordStart_makesOneFilePerTimeItIsSwitchedOn()
    {
        RecordingProbe probe(Clips::h264Mp4(), folder->path());
        probe.recordStart(Thread::MANUAL_RECORD);
        probe.atPacket = [&](int packet) {
            letRecorderFollow();
            if (packet == 30)
                probe.recordStop(Thread::MANUAL_RECORD);
            if (packet == 60)
                probe.recordStart(Thread::MANUAL_RECORD);
        };
        playToEnd(probe);
        const QStringList source = MovieFile(Clips::h264Mp4()).packetHashes();
        QCOMPARE(MovieFile(path("0-1-done.mp4")).packetHashes(), source.mid(0, 31));
        QCOMPARE(MovieFile(path("0-2-done.mp4")).packetHashes(), source.mid(75));
        verifyIsWhole(path("0-2-done.mp4"), 50);
    }

    void bothTypes_recordAtOnce_intoTwoFiles()
    {
        RecordingProbe probe(Clips::h264Mp4(), folder->path());
        probe.recordStart(Thread::MANUAL_RECORD);
        probe.atPacket = [&](int packet) {
            letRecorderFollow();
            if (packet == 30)
                probe.recordStart(Thread::AUTO_RECORD);
            if (packet == 90)
                probe.recordStop(Thread::MANUAL_RECORD);
        };
        playToEnd(probe);
        const QStringList source = MovieFile(Clips::h264Mp4()).packetHashes();
        QCOMPARE(MovieFile(path("0-1-done.mp4")).packetHashes(), source.mid(0, 91));
        QCOMPARE(MovieFile(path("1-1-done.mp4")).packetHashes(), source.mid(50));
        QCOMPARE(probe.states(), states({"1 0-1.mp4", "1 1-1.mp4", "0 0-1-done.mp4", "0 1-1-done.mp4"}));
        verifyIsWhole(path("0-1-done.mp4"), 91);
        verifyIsWhole(path("1-1-done.mp4"), 75);
    }

    void bothTypes_recordTheSamePackets_whenStartedTogether()
    {
        RecordingProbe probe(Clips::h264Mp4(), folder->path());
        probe.recordStart(Thread::MANUAL_RECORD);
        probe.recordStart(Thread::AUTO_RECORD);
        playToEnd(probe);
        const QStringList source = MovieFile(Clips::h264Mp4()).packetHashes();
        QCOMPARE(MovieFile(path("0-1-done.mp4")).packetHashes(), source);
        QCOMPARE(MovieFile(path("1-1-done.mp4")).packetHashes(), source);
        // The manual one goes first in everything.
        QCOMPARE(probe.states(), states({"1 0-1.mp4", "1 1-1.mp4", "0 0-1-done.mp4", "0 1-1-done.mp4"}));
    }

    void stop_closesAndRenames_whileRecording()
    {
        RecordingProbe probe(Clips::h264Mp4(), folder->path());
        probe.setPaced(true);
        probe.recordStart(Thread::MANUAL_RECORD);
        probe.recordStart(Thread::AUTO_RECORD);
        std::atomic<int> packets{0};
        probe.atPacket = [&](int packet) { packets = packet; };
        probe.play();
        QTRY_VERIFY_WITH_TIMEOUT(packets >= 30, playMs);
        QVERIFY(probe.hasOpenFile());
        probe.stopAndWait();
        QVERIFY(!probe.hasOpenFile());
        QCOMPARE(probe.closedFiles(Thread::MANUAL_RECORD), QStringList(path("0-1-done.mp4")));
        QCOMPARE(probe.closedFiles(Thread::AUTO_RECORD), QStringList(path("1-1-done.mp4")));
        QVERIFY(!QFile::exists(path("0-1.mp4")));
        verifyIsWhole(path("0-1-done.mp4"), packets + 1);
        verifyIsWhole(path("1-1-done.mp4"), packets + 1);
    }

    void bareThread_recordsIntoTheNameThatItWasGiven()
    {
        RecordingProbe probe(Clips::h264Mp4());
        const QString name = path("new folder/below/a.mp4");
        probe.setFileName(Thread::AUTO_RECORD, name);
        probe.recordStart(Thread::AUTO_RECORD);
        playToEnd(probe);
        QCOMPARE(probe.states(), states({"1 a.mp4", "0 a.mp4"}));
        verifyIsWhole(name, Clips::frameCount);
    }

    void bareThread_fails_withoutAName()
    {
        guard->allow("^file name is empty$");
        RecordingProbe probe(Clips::h264Mp4());
        probe.recordStart(Thread::MANUAL_RECORD);
        playToEnd(probe);
        QCOMPARE(probe.states(), states({"3 ", "3 ", "3 ", "3 ", "3 "})); // at each key frame
        QCOMPARE(guard->count(QtCriticalMsg, "file name is empty"), 5);
    }

    // --- Intervals

    void saveInterval_cutsAtTheFirstKeyFrameAfterIt_data()
    {
        QTest::addColumn<int>("seconds");
        QTest::addColumn<qint64>("groupUs");
        QTest::addColumn<QVector<int>>("lengths");
        QTest::newRow("a millisecond more") << 60 << qint64(60001000) << QVector<int>{25, 25, 25, 25, 25};
        QTest::newRow("exactly the interval") << 60 << qint64(60000000) << QVector<int>{50, 50, 25};
        QTest::newRow("a third of it") << 60 << qint64(20000000) << QVector<int>{100, 25};
        QTest::newRow("unlimited") << -1 << qint64(3600000000) << QVector<int>{125};
        QTest::newRow("0 is unlimited") << 0 << qint64(3600000000) << QVector<int>{125};
    }

    void saveInterval_cutsAtTheFirstKeyFrameAfterIt()
    {
        QFETCH(int, seconds);
        QFETCH(qint64, groupUs);
        QFETCH(QVector<int>, lengths);
        SimulatedClock clock;
        RecordingProbe probe(Clips::h264Mp4(), folder->path());
        probe.setClock(&clock);
        probe.setSaveInterval(Thread::MANUAL_RECORD, seconds);
        probe.recordStart(Thread::MANUAL_RECORD);
        probe.recordStart(Thread::AUTO_RECORD); // has its own interval, none
        probe.atPacket = [&](int packet) {
            letRecorderFollow();
            if (packet % keyDistance == 0)
                clock.advance(groupUs);
        };
        playToEnd(probe);
        const QStringList files = probe.closedFiles(Thread::MANUAL_RECORD);
        QCOMPARE(files.size(), lengths.size());
        QStringList together;
        for (int i = 0; i < files.size(); ++i) {
            verifyIsWhole(files.at(i), lengths.at(i));
            together += MovieFile(files.at(i)).packetHashes();
        }
        const QStringList source = MovieFile(Clips::h264Mp4()).packetHashes();
        QCOMPARE(together, source);
        QCOMPARE(probe.closedFiles(Thread::AUTO_RECORD), QStringList(path("1-1-done.mp4")));
        QCOMPARE(MovieFile(path("1-1-done.mp4")).packetHashes(), source);
    }

    void saveInterval_losesNoPicture_whenPicturesAreReordered()
    {
        SimulatedClock clock;
        RecordingProbe probe(Clips::h264BFramesMp4(), folder->path());
        probe.setClock(&clock);
        probe.setSaveInterval(Thread::AUTO_RECORD, 1);
        probe.recordStart(Thread::AUTO_RECORD);
        probe.atPacket = [&](int) {
            letRecorderFollow();
            clock.advance(pictureUs * 2);
        };
        playToEnd(probe);
        const QStringList files = probe.closedFiles(Thread::AUTO_RECORD);
        QCOMPARE(files.size(), 5);
        QStringList together;
        for (const QString& file : files) {
            verifyIsWhole(file, keyDistance);
            together += MovieFile(file).packetHashes();
        }
        QCOMPARE(together, MovieFile(Clips::h264BFramesMp4()).packetHashes());
    }

    void saveInterval_takesRealSeconds_fromALiveSource()
    {
        QVERIFY(server.isRunning() || server.start());
        RecordingProbe probe(server.url("h264_pcma"), folder->path());
        ++probe.previewRef();
        probe.setSaveInterval(Thread::MANUAL_RECORD, 1);
        probe.recordStart(Thread::MANUAL_RECORD);
        probe.play();
        QTRY_VERIFY_WITH_TIMEOUT(probe.closedFiles(Thread::MANUAL_RECORD).size() >= 3, playMs);
        probe.stopAndWait();
        QVector<int> numbers;
        const QStringList files = probe.closedFiles(Thread::MANUAL_RECORD);
        for (const QString& file : files) {
            QVERIFY(MovieFile(file).decodes());
            const QVector<int> inFile = MovieFile(file).pictureNumbers();
            QVERIFY(!inFile.isEmpty());
            if (file != files.last())
                QVERIFY2(inFile.last() - inFile.first() > Clips::frameRate / 2, qPrintable(file));
            numbers += inFile;
        }
        QCOMPARE(numbers, shownSince(probe, numbers.value(0)));
    }

    // --- Sources

    void recording_playsEverywhere_data()
    {
        QTest::addColumn<QString>("clip");
        QTest::addColumn<QString>("codec");
        QTest::newRow("H.264, MP4") << Clips::h264Mp4() << "h264";
        QTest::newRow("H.264 and AAC, MP4") << Clips::h264AacMp4() << "h264";
        QTest::newRow("H.264 and AAC, Matroska") << Clips::h264AacMkv() << "h264";
        QTest::newRow("H.264 with B-frames, MP4") << Clips::h264BFramesMp4() << "h264";
        QTest::newRow("H.264 with B-frames, Matroska") << Clips::h264BFramesMkv() << "h264";
        QTest::newRow("H.265 with B-frames, MP4") << Clips::h265Mp4() << "hevc";
        QTest::newRow("H.265 with B-frames, Matroska") << Clips::h265Mkv() << "hevc";
        QTest::newRow("H.264 and AAC, MPEG-TS") << Clips::h264Ts() << "h264";
    }

    void recording_playsEverywhere()
    {
        QFETCH(QString, clip);
        QFETCH(QString, codec);
        RecordingProbe probe(clip, folder->path());
        probe.recordStart(Thread::MANUAL_RECORD);
        playToEnd(probe);
        const MovieFile movie(path("0-1-done.mp4"));
        QCOMPARE(movie.videoStreams(), 1);
        QCOMPARE(movie.audioStreams(), 0); // AAC is not recorded, and nobody is told with every packet
        QCOMPARE(movie.videoCodec(), codec);
        QCOMPARE(movie.size(), QString("320x240"));
        QCOMPARE(movie.pictureHashes(), MovieFile(clip).pictureHashes());
        verifyIsWhole(movie.path(), Clips::frameCount);
        verifyPlaysInPlayers(movie);
    }

    void liveRecording_playsEverywhere_data()
    {
        QTest::addColumn<QString>("mount");
        QTest::addColumn<QString>("codec");
        QTest::addColumn<bool>("hasSound");
        QTest::newRow("h264") << "h264" << "h264" << false;
        QTest::newRow("h264_pcma") << "h264_pcma" << "h264" << true;
        QTest::newRow("h264_aac") << "h264_aac" << "h264" << false;
        QTest::newRow("h265") << "h265" << "hevc" << false;
        QTest::newRow("sdp_only") << "sdp_only" << "h264" << false;
    }

    void liveRecording_playsEverywhere()
    {
        QFETCH(QString, mount);
        QFETCH(QString, codec);
        QFETCH(bool, hasSound);
        QVERIFY(server.isRunning() || server.start());
        RecordingProbe probe(server.url(mount), folder->path());
        ++probe.previewRef();
        probe.recordStart(Thread::MANUAL_RECORD);
        probe.play();
        QTRY_VERIFY_WITH_TIMEOUT(probe.hasOpenFile(), playMs);
        QTest::qWait(2500);
        probe.stopAndWait();
        const MovieFile movie(path("0-1-done.mp4"));
        QCOMPARE(movie.videoStreams(), 1);
        QCOMPARE(movie.videoCodec(), codec);
        QCOMPARE(movie.audioCodec(), hasSound ? QString("aac") : QString());
        const QVector<int> numbers = movie.pictureNumbers();
        QVERIFY(numbers.size() >= liveKeyDistance);
        QVERIFY(numbers.first() >= 0);
        QCOMPARE(numbers, shownSince(probe, numbers.first()));
        verifyIsWhole(movie.path(), numbers);
        verifyPlaysInPlayers(movie);
        if (hasSound) {
            // The encoder keeps what does not fill a frame.
            const double missing = movie.videoDuration() - movie.audioDuration();
            QVERIFY2(qAbs(missing) < 0.6, qPrintable(QString::number(missing)));
        }
    }

    void liveRecording_beginsWithTheFirstPicture_whenTheStartIsFast_data()
    {
        QTest::addColumn<QString>("mount");
        QTest::newRow("h264") << "h264";
        QTest::newRow("h264_pcma") << "h264_pcma";
        QTest::newRow("h265") << "h265";
    }

    /// Of a source that was hardly analysed the first picture has no time of its own.
    void liveRecording_beginsWithTheFirstPicture_whenTheStartIsFast()
    {
        QFETCH(QString, mount);
        QVERIFY(server.isRunning() || server.start());
        RecordingProbe probe(server.url(mount), folder->path());
        ++probe.previewRef();
        probe.setFastStart(true);
        probe.recordStart(Thread::MANUAL_RECORD);
        probe.play();
        QTRY_VERIFY_WITH_TIMEOUT(probe.pictures > 2 * liveKeyDistance, playMs);
        probe.stopAndWait();
        const MovieFile movie(path("0-1-done.mp4"));
        const QVector<int> numbers = movie.pictureNumbers();
        QVERIFY(numbers.size() > liveKeyDistance);
        QCOMPARE(numbers, probe.shownNumbers());
        verifyIsWhole(movie.path(), numbers);
        verifyPlaysInPlayers(movie);
    }

    void sound_isRecorded_asAac()
    {
        RecordingProbe probe(Clips::h264PcmaMkv(), folder->path());
        probe.recordStart(Thread::MANUAL_RECORD);
        playToEnd(probe);
        const MovieFile movie(path("0-1-done.mp4"));
        QCOMPARE(movie.audioCodec(), QString("aac"));
        QVERIFY2(qAbs(movie.audioDuration() - 5) < 0.4, qPrintable(QString::number(movie.audioDuration())));
        QCOMPARE(movie.packetHashes(), MovieFile(Clips::h264PcmaMkv()).packetHashes());
        verifyIsWhole(movie.path(), Clips::frameCount);
        verifyPlaysInPlayers(movie);
    }

    void saveAudio_leavesSoundOut_whenOff()
    {
        RecordingProbe probe(Clips::h264PcmaMkv(), folder->path());
        probe.setSaveAudio(Thread::MANUAL_RECORD, false);
        probe.recordStart(Thread::MANUAL_RECORD);
        probe.recordStart(Thread::AUTO_RECORD); // goes on with sound
        playToEnd(probe);
        const MovieFile mute(path("0-1-done.mp4"));
        QCOMPARE(mute.audioStreams(), 0);
        QCOMPARE(mute.packetHashes(), MovieFile(Clips::h264PcmaMkv()).packetHashes());
        QCOMPARE(MovieFile(path("1-1-done.mp4")).audioStreams(), 1);
        verifyIsWhole(mute.path(), Clips::frameCount);
    }

    void saveAudio_endsTheSound_whenSwitchedOffInMidFile()
    {
        RecordingProbe probe(Clips::h264PcmaMkv(), folder->path());
        probe.recordStart(Thread::MANUAL_RECORD);
        probe.atPacket = [&](int packet) {
            letRecorderFollow();
            if (packet == 120)
                probe.setSaveAudio(Thread::MANUAL_RECORD, false);
        };
        playToEnd(probe);
        const MovieFile movie(path("0-1-done.mp4"));
        QCOMPARE(movie.packetHashes(), MovieFile(Clips::h264PcmaMkv()).packetHashes());
        QVERIFY2(movie.audioDuration() > 0.5 && movie.audioDuration() < 4,
                 qPrintable(QString::number(movie.audioDuration())));
        QVERIFY(movie.decodes());
    }

    void sourceWithoutSound_hasTheSoundOfTheDevicesRecord()
    {
        RecordingProbe probe(Clips::h264Mp4(), folder->path());
        probe.deviceAudio.codec = 33;
        probe.deviceAudio.sampleRate = 8000;
        probe.deviceAudio.bitWidth = 16;
        probe.deviceAudio.channels = 1;
        probe.recordStart(Thread::MANUAL_RECORD);
        playToEnd(probe);
        const MovieFile movie(path("0-1-done.mp4"));
        QCOMPARE(movie.audioStreams(), 1);
        QCOMPARE(movie.pictureCount(), Clips::frameCount);
        QVERIFY(movie.decodes());
    }

    void deviceRecord_goesBeforeWhatTheDecoderSays()
    {
        RecordingProbe probe(Clips::h264Mp4(), folder->path());
        probe.deviceVideo.codec = 1;
        probe.deviceVideo.width = 640;
        probe.deviceVideo.height = 480;
        probe.recordStart(Thread::MANUAL_RECORD);
        playToEnd(probe);
        QFile file(path("0-1-done.mp4"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        // The sample description of the track: four bytes of width and height after 24 of other fields.
        const QByteArray bytes = file.readAll();
        const int entry = bytes.indexOf("avc1", bytes.indexOf("stsd"));
        QVERIFY(entry > 0);
        QCOMPARE(bytes.mid(entry + 28, 4).toHex(), QByteArray("028001e0"));
    }

    void packetsWithoutATime_openNoFile()
    {
        RecordingProbe probe(Clips::h264AnnexB(), folder->path());
        probe.recordStart(Thread::MANUAL_RECORD);
        std::atomic<int> packets{0};
        probe.atPacket = [&](int) { ++packets; };
        playToEnd(probe);
        QVERIFY(packets > Clips::frameCount);
        QCOMPARE(probe.states(), QStringList());
    }

    void recording_needsNoDecoding()
    {
        RecordingProbe probe(Clips::h264Mp4(), folder->path());
        QCOMPARE(probe.previewRef().load(), 0);
        QCOMPARE(probe.referenceCount(), 0);
        probe.recordStart(Thread::MANUAL_RECORD);
        QCOMPARE(probe.referenceCount(), 1);
        playToEnd(probe);
        QCOMPARE(probe.pictures.load(), 0);
        verifyIsWhole(path("0-1-done.mp4"), Clips::frameCount);
    }

    void recording_goesOn_whenDisplaysComeAndGo()
    {
        RecordingProbe probe(Clips::h264Mp4(), folder->path());
        probe.recordStart(Thread::MANUAL_RECORD);
        probe.atPacket = [&](int packet) {
            letRecorderFollow();
            probe.previewRef() = packet / 20 % 2;
        };
        playToEnd(probe);
        QVERIFY(probe.pictures > 0 && probe.pictures < Clips::frameCount);
        QCOMPARE(MovieFile(path("0-1-done.mp4")).packetHashes(), MovieFile(Clips::h264Mp4()).packetHashes());
    }

    void bitRate_isThatOfThePictureSize_data()
    {
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("height");
        QTest::addColumn<int>("rate");
        QTest::newRow("none") << 0 << 0 << 400000;
        QTest::newRow("640x360") << 640 << 360 << 400000; // 230400
        QTest::newRow("230401") << 230401 << 1 << 900000;
        QTest::newRow("518400") << 960 << 540 << 900000;
        QTest::newRow("518401") << 518401 << 1 << 1500000;
        QTest::newRow("1280x720") << 1280 << 720 << 1500000; // 921600
        QTest::newRow("921601") << 921601 << 1 << 3000000;
        QTest::newRow("1920x1080") << 1920 << 1080 << 3000000; // 2073600
        QTest::newRow("2073601") << 2073601 << 1 << 3500000;
        QTest::newRow("2560x1440") << 2560 << 1440 << 3500000; // 3686400
        QTest::newRow("3686401") << 3686401 << 1 << 6000000;
        QTest::newRow("3840x2160") << 3840 << 2160 << 6000000; // 8294400
        QTest::newRow("8294401") << 8294401 << 1 << 400000;
        QTest::newRow("more than 32 bits") << 100000 << 100000 << 400000;
    }

    void bitRate_isThatOfThePictureSize()
    {
        QFETCH(int, width);
        QFETCH(int, height);
        QTEST(recordedBitRate(width, height), "rate");
    }

    // --- Sources that change

    void file_ends_whenSourceIsReopenedInPlace()
    {
        QVERIFY(server.isRunning() || server.start());
        RecordingProbe probe(server.url("h264_pcma"), folder->path());
        probe.setReadTimeout(3000);
        probe.recordStart(Thread::MANUAL_RECORD);
        probe.play();
        QTRY_VERIFY_WITH_TIMEOUT(probe.hasOpenFile(), playMs);
        QTest::qWait(1000);
        probe.stop2();
        QTRY_COMPARE_WITH_TIMEOUT(probe.states(), states({"1 0-1.mp4", "0 0-1-done.mp4", "1 0-2.mp4"}), playMs);
        QTest::qWait(1000);
        probe.stopAndWait();
        for (const QString& file : probe.closedFiles(Thread::MANUAL_RECORD)) {
            const QVector<int> numbers = MovieFile(file).pictureNumbers();
            QVERIFY(numbers.size() > liveKeyDistance);
            verifyIsWhole(file, numbers);
            verifyPlaysInPlayers(MovieFile(file));
        }
    }

    void recording_goesOnInANewFile_whenConnectionComesBack()
    {
        guard->allow("^打开出错 -> 错误: ");
        guard->allow("^找流失败 -> 错误: ");
        QVERIFY(server.isRunning() || server.start());
        RecordingProbe probe(server.url("h264"), folder->path());
        probe.setReadTimeout(2000);
        probe.recordStart(Thread::MANUAL_RECORD);
        probe.play();
        QTRY_VERIFY_WITH_TIMEOUT(probe.hasOpenFile(), playMs);
        QTest::qWait(800);
        QVERIFY(server.restart());
        QTRY_COMPARE_WITH_TIMEOUT(probe.states(), states({"1 0-1.mp4", "0 0-1-done.mp4", "1 0-2.mp4"}), playMs);
        QTest::qWait(800);
        probe.stopAndWait();
        // The picture that was on its way when the server went may be cut off; all before it are whole.
        QVector<int> before = MovieFile(path("0-1-done.mp4")).pictureNumbers();
        QVERIFY(before.size() > liveKeyDistance);
        before.removeLast();
        QVERIFY(!before.contains(-1));
        QVERIFY(std::is_sorted(before.cbegin(), before.cend()));
        QVERIFY(MovieFile(path("0-2-done.mp4")).decodes());
    }

    void file_ends_whenAnotherPositionIsPlayed()
    {
        RecordingProbe probe(Clips::h264Mp4(), folder->path());
        probe.setPaced(true);
        probe.setSpeed(4.0);
        probe.recordStart(Thread::MANUAL_RECORD);
        std::atomic<bool> jumped{false};
        probe.atPacket = [&](int packet) {
            if (packet == 60 && !jumped.exchange(true))
                probe.setPosition(1000);
        };
        playToEnd(probe);
        const QStringList source = MovieFile(Clips::h264Mp4()).packetHashes();
        QCOMPARE(probe.closedFiles(Thread::MANUAL_RECORD).size(), 2);
        QCOMPARE(MovieFile(path("0-1-done.mp4")).packetHashes(), source.mid(0, 61));
        QCOMPARE(MovieFile(path("0-2-done.mp4")).packetHashes(), source.mid(25));
        verifyIsWhole(path("0-1-done.mp4"), 61);
        verifyIsWhole(path("0-2-done.mp4"), 100);
        verifyPlaysInPlayers(MovieFile(path("0-2-done.mp4")));
    }

    // --- Disks that can't

    void pictures_goOn_whenDiskIsFull()
    {
        guard->allow("^write video ?\\[-28:No space left on device\\]");
        guard->allow(lossOf(100, "No space left on device"));
        QVERIFY(QFile::link("/dev/full", path("0-1.mp4")));
        QVERIFY(QFile::link("/dev/full", path("0-2.mp4")));
        RecordingProbe probe(Clips::h264Mp4(), folder->path());
        ++probe.previewRef();
        probe.recordStart(Thread::MANUAL_RECORD);
        playToEnd(probe);
        QCOMPARE(probe.pictures.load(), Clips::frameCount);
        QVERIFY(guard->contains("^write video ?\\[-28:No space left on device\\]"));
        QVERIFY(guard->contains(lossOf(100, "No space left on device")));
        // The second key frame brings the first fragment to the disk, the third one begins the next file.
        QCOMPARE(probe.states(), states({"1 0-1.mp4", "3 0-1-done.mp4", "1 0-2.mp4", "3 0-2-done.mp4", "1 0-3.mp4",
                                         "0 0-3-done.mp4"}));
        QCOMPARE(MovieFile(path("0-3-done.mp4")).packetHashes(), MovieFile(Clips::h264Mp4()).packetHashes().mid(100));
        verifyIsWhole(path("0-3-done.mp4"), 25);
    }

    void pictures_goOn_whenDiskFillsUp()
    {
        guard->allow("^write video ?\\[-27:File too large\\]");
        guard->allow("^lost \\d+ pictures .+: File too large \\[");
        RecordingProbe probe(Clips::h264Mp4(), folder->path());
        ++probe.previewRef();
        FileSizeLimit limit(8000);
        probe.recordStart(Thread::MANUAL_RECORD);
        probe.atPacket = [&](int packet) {
            letRecorderFollow();
            if (packet == 70)
                limit.lift();
        };
        playToEnd(probe);
        QCOMPARE(probe.pictures.load(), Clips::frameCount);
        QVERIFY(guard->contains("^write video ?\\[-27:File too large\\]"));
        QCOMPARE(probe.states().first(), QString("1 0-1.mp4"));
        QCOMPARE(probe.states().at(1), QString("3 0-1-done.mp4"));
        // What had room plays, and the next file is whole.
        QVERIFY(MovieFile(path("0-1-done.mp4")).pictureCount() >= keyDistance);
        const QStringList files = probe.closedFiles(Thread::MANUAL_RECORD);
        QCOMPARE(probe.states().last(), "0 " + QFileInfo(files.last()).fileName());
        const int pictures = MovieFile(files.last()).pictureCount();
        QVERIFY(pictures >= keyDistance);
        verifyIsWhole(files.last(), pictures);
        QVERIFY(guard->contains("^lost \\d+ pictures .+: File too large \\["));
    }

    void pictures_goOn_whenFolderCanNotBeWritten()
    {
        guard->allow("^could not (open|create) ");
        guard->allow("^createMp4 err = 5$");
        guard->allow(lossOf(75, "the file could not be created"));
        const QString readOnly = path("read only");
        QVERIFY(QDir().mkdir(readOnly));
        QFile::setPermissions(readOnly, QFile::ReadOwner | QFile::ExeOwner);
        // Permissions don't keep the superuser out.
        const QString locked = geteuid() == 0 ? QString("/proc/recordings/a.mp4") : readOnly + "/a.mp4";
        RecordingProbe probe(Clips::h264Mp4());
        ++probe.previewRef();
        probe.setFileName(Thread::MANUAL_RECORD, locked);
        probe.recordStart(Thread::MANUAL_RECORD);
        probe.atPacket = [&](int packet) {
            letRecorderFollow();
            if (packet == 60)
                probe.setFileName(Thread::MANUAL_RECORD, path("b.mp4"));
        };
        playToEnd(probe);
        QCOMPARE(probe.pictures.load(), Clips::frameCount);
        QCOMPARE(guard->count(QtCriticalMsg, "could not open " + locked), 3);
        QCOMPARE(probe.states(), states({"3 a.mp4", "3 a.mp4", "3 a.mp4", "1 b.mp4", "0 b.mp4"}));
        verifyIsWhole(path("b.mp4"), 50);
        QVERIFY(guard->contains(lossOf(75, "the file could not be created")));
    }

    void pictures_goOn_whenFolderIsRemoved()
    {
        guard->allow("^lost \\d+ pictures .+: the file was removed \\[");
        SimulatedClock clock;
        const QString inner = path("inner");
        bool isRemoved = false;
        RecordingProbe probe(Clips::h264Mp4(), inner);
        ++probe.previewRef();
        probe.setClock(&clock);
        probe.setSaveInterval(Thread::MANUAL_RECORD, 1);
        probe.recordStart(Thread::MANUAL_RECORD);
        probe.atPacket = [&](int packet) {
            letRecorderFollow();
            clock.advance(pictureUs);
            if (packet == 40)
                isRemoved = QDir(inner).removeRecursively();
            if (packet == 60)
                clock.advance(1000000);
        };
        playToEnd(probe);
        QCOMPARE(probe.pictures.load(), Clips::frameCount);
        const QStringList files = probe.closedFiles(Thread::MANUAL_RECORD);
        QVERIFY(files.size() >= 2);
        QVERIFY(isRemoved);
        QVERIFY(guard->contains("^lost \\d+ pictures .+: the file was removed \\["));
        QCOMPARE(files.first(), inner + "/0-1.mp4"); // gone, and so not renamed
        for (int i = 1; i < files.size(); ++i)
            QVERIFY(MovieFile(files.at(i)).decodes());
    }

    void fileName_mayHaveChineseCharactersAndSpaces()
    {
        RecordingProbe probe(Clips::h264Mp4());
        const QString name = path("录像 一/通道 1 100%.mp4");
        probe.setFileName(Thread::MANUAL_RECORD, name);
        probe.recordStart(Thread::MANUAL_RECORD);
        playToEnd(probe);
        verifyIsWhole(name, Clips::frameCount);
        verifyPlaysInPlayers(MovieFile(name));
    }
};

QTEST_GUILESS_MAIN(TestRecording)
#include "tst_recording.moc"
