#include "protoprobe.h"
#include "support/clips.h"
#include "support/messageguard.h"
#include "support/testpicture.h"
#include "support/waiting.h"

#include <QFile>
#include <QImage>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <cstring>
#include <memory>

Q_DECLARE_METATYPE(VideoMode)

namespace {

constexpr int waitMs = 20000;
constexpr qint64 decoderPauseUs = 100000;
const QString unknownHardware = "no-such-hardware";

/// What is left of a script's log without its beginning and its end, which are the same for all that open.
QStringList playedLines(const ProtoProbe& probe)
{
    QStringList lines = probe.log.without({"save", "init", "open", "close", "check", "start", "finish"});
    if (!lines.isEmpty() && lines.last() == "decoder destroyed")
        lines.removeLast();
    return lines;
}

DeviceFrames pictures(int count) { return DeviceStream::h264().mid(0, count); }

DeviceFrame key() { return DeviceStream::h264().first(); }

DeviceFrame changed(DeviceFrame frame, const std::function<void(DeviceFrame&)>& change)
{
    change(frame);
    return frame;
}

QVector<int> range(int first, int count)
{
    QVector<int> numbers;
    for (int i = 0; i < count; ++i)
        numbers << first + i;
    return numbers;
}

/// What another program makes of raw sound.
QByteArray decodedSound(const QString& path, const QString& format, int bytes)
{
    QProcess ffmpeg;
    ffmpeg.start("ffmpeg", {"-v", "error", "-f", format, "-ar", "8000", "-ac", "1", "-i", path, "-f", "s16le", "-"});
    ffmpeg.waitForFinished();
    return ffmpeg.readAllStandardOutput().left(bytes);
}

} // namespace

/// The loop of threads that read from devices: opening, reading, decoding, delivering.
class TestPvProtoVideoThread : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<MessageGuard> guard;

    void allowUnknownHardware()
    {
        guard->allow("^create video decoder failed$");
        guard->allow("^mediaproc_create_video_decoder failed$");
        guard->allow("^video decoder is null$");
        guard->allow("^decode video frame failed$");
    }

private Q_SLOTS:
    void init() { guard.reset(new MessageGuard); }
    void cleanup() { VERIFY_NO_UNEXPECTED_MESSAGES(*guard); }

    // --- The loop

    void run_opensReadsAndCloses_inThisOrder()
    {
        ProtoProbe probe;
        probe.script.add(pictures(2));
        QVERIFY(probe.playScript());
        const QStringList lines{
            "close",   "open",         "check connect", "init option",       "init input", "init other",
            "start 0", "size 320x240", "codec changed", "i420 320x240 0",    "save 0",     "i420 320x240 1",
            "save 1",  "init input",   "close",         "decoder destroyed", "finish"};
        QCOMPARE(probe.log.lines(), lines);
        QVERIFY(probe.wasHeaderZero);
        QVERIFY(!probe.getIsOk());
    }

    void run_readsNothing_whenStoppedBefore()
    {
        ProtoProbe probe;
        probe.stopped = true;
        probe.start();
        QTRY_VERIFY_WITH_TIMEOUT(probe.isFinished(), waitMs);
        QCOMPARE(probe.log.lines(), QStringList{"close"});
        QCOMPARE(probe.reads.load(), 0);
    }

    void play_startsAgain_whenTheThreadHasEnded()
    {
        ProtoProbe probe;
        probe.script.add(pictures(2));
        QVERIFY(probe.playScript());
        probe.script.add(pictures(3));
        QVERIFY(probe.playScript());
        QCOMPARE(probe.log.numbers(), QVector<int>({0, 1, 0, 1, 2}));
        QCOMPARE(probe.log.count("start"), 2);
        QCOMPARE(probe.log.count("finish"), 2);
    }

    void pause_readsNothing_until_next()
    {
        ProtoProbe probe;
        probe.script.add(pictures(1));
        probe.script.addAction([&] { probe.pause(); });
        probe.script.add(pictures(2).mid(1));
        probe.script.add(DeviceStream::h264().mid(2, 1));
        probe.addStop();
        probe.play();
        // The read that paused still brings its frame.
        QTRY_VERIFY_WITH_TIMEOUT(probe.time.slept() > 10 * 50000, waitMs);
        QVERIFY(probe.getIsPause());
        QCOMPARE(probe.log.numbers(), QVector<int>({0, 1}));
        QCOMPARE(probe.reads.load(), 2);
        QCOMPARE(probe.time.slept() % 50000, qint64(0));
        probe.script.end();
        probe.next();
        QTRY_VERIFY_WITH_TIMEOUT(probe.isFinished(), waitMs);
        QCOMPARE(probe.log.numbers(), QVector<int>({0, 1, 2}));
    }

    void pauseAndNext_changeNothing_whileNotRunning()
    {
        ProtoProbe probe;
        probe.pause();
        QVERIFY(!probe.getIsPause());
        probe.next();
        QVERIFY(!probe.getIsPause());
    }

    void openVideo_isRepeatedForever_whileItFails()
    {
        ProtoProbe probe;
        probe.setOpenSleepTime(3000);
        probe.connects = false;
        probe.play();
        QTRY_VERIFY_WITH_TIMEOUT(probe.log.count("open") > 3, waitMs);
        QVERIFY(probe.isOpenTimeout());
        QVERIFY(!probe.getIsOk());
        // Each attempt is followed by its wait.
        QVERIFY(probe.time.slept() >= 3 * 3000000);
        QCOMPARE(probe.log.lines().mid(0, 6),
                 QStringList({"close", "open", "check connect", "close", "open", "check connect"}));
        probe.script.setClip(DeviceStream::h264());
        probe.script.setPace(FrameScript::Pace::Released);
        probe.connects = true;
        probe.script.release(1);
        QTRY_COMPARE_WITH_TIMEOUT(probe.log.count("save"), 1, waitMs);
        QVERIFY(!probe.isOpenTimeout());
        QCOMPARE(probe.log.count("start"), 1);
    }

    void openVideo_stopsBehindInitInput_whenThatFails()
    {
        ProtoProbe probe;
        probe.inputStarts = false;
        probe.play();
        QTRY_VERIFY_WITH_TIMEOUT(probe.log.count("open") > 2, waitMs);
        probe.stopAndWait();
        QCOMPARE(probe.log.lines().mid(0, 5),
                 QStringList({"close", "open", "check connect", "init option", "init input"}));
        QCOMPARE(probe.log.count("init other"), 0);
        QCOMPARE(probe.log.count("start"), 0);
        QCOMPARE(probe.log.count("finish"), 0);
    }

    void setReadTimeout_isASixthForEachRead_data()
    {
        QTest::addColumn<int>("given");
        QTest::addColumn<int>("ofARead");
        QTest::newRow("3000") << 3000 << 500;
        QTest::newRow("5") << 5 << 0;
        QTest::newRow("11") << 11 << 1;
        QTest::newRow("-7") << -7 << -1;
    }
    void setReadTimeout_isASixthForEachRead()
    {
        QFETCH(int, given);
        QFETCH(int, ofARead);
        ProtoProbe probe;
        probe.setReadTimeout(given);
        QCOMPARE(probe.getReadTimeout(), ofARead);
        probe.script.add(pictures(1));
        QVERIFY(probe.playScript());
        QCOMPARE(probe.readTimeouts, QVector<int>({ofARead, ofARead}));
    }

    void isReadTimeout_isTrue_afterSixTimeoutsInARow()
    {
        ProtoProbe probe;
        QVector<bool> states;
        const auto look = [&] { states << probe.isReadTimeout(); };
        probe.script.addResult(XRet::Timeout, 5);
        probe.script.addAction(look);
        probe.script.add(key());
        probe.script.addResult(XRet::Timeout, 5);
        probe.script.addAction(look);
        probe.script.addResult(XRet::Timeout);
        probe.script.addAction(look);
        probe.script.add(key());
        probe.script.addAction(look);
        const qint64 before = probe.time.microseconds();
        QVERIFY(probe.playScript());
        QCOMPARE(states, QVector<bool>({false, false, true, false}));
        QVERIFY(probe.time.microseconds() - before >= 11 * 500000);
        QCOMPARE(guard->count(QtInfoMsg, "read frame timeout"), 12); // and the one behind the end of the script
        // The stream is armed again after each of them.
        QCOMPARE(probe.log.count("init input"), 1 + 12);
        QCOMPARE(probe.log.numbers(), QVector<int>({0, 0}));
    }

    void run_goesOn_whenInitInputFailsAfterATimeout()
    {
        ProtoProbe probe;
        probe.script.add(key());
        probe.script.addAction([&] { probe.inputStarts = false; });
        probe.script.addResult(XRet::Timeout, 8);
        probe.script.add(pictures(2).mid(1));
        QVERIFY(probe.playScript());
        QCOMPARE(probe.log.numbers(), QVector<int>({0, 1}));
        QCOMPARE(probe.log.count("open"), 1);
    }

    void run_ends_afterTheFourthError_timeoutsBetweenThemOrNot()
    {
        guard->allow("^read frame error$");
        ProtoProbe probe;
        probe.script.add(key());
        probe.script.addResult(-1);
        probe.script.addResult(17);
        probe.script.addResult(1);
        probe.script.addResult(XRet::Timeout);
        probe.script.addResult(-1);
        probe.script.add(pictures(2)); // never read
        probe.play();
        QTRY_VERIFY_WITH_TIMEOUT(probe.isFinished(), waitMs);
        QCOMPARE(probe.reads.load(), 6);
        QCOMPARE(guard->count(QtCriticalMsg, "read frame error"), 4);
        QCOMPARE(guard->count(QtInfoMsg, "read frame timeout"), 1);
        QCOMPARE(probe.log.lines().mid(probe.log.lines().size() - 3),
                 QStringList({"close", "decoder destroyed", "finish"}));
    }

    void run_goesOn_whenAFrameComesBeforeTheFourthError()
    {
        guard->allow("^read frame error$");
        ProtoProbe probe;
        probe.script.addResult(-1, 3);
        probe.script.add(pictures(1));
        probe.script.addResult(-1, 3);
        probe.script.add(pictures(2).mid(1));
        QVERIFY(probe.playScript());
        QCOMPARE(probe.log.numbers(), QVector<int>({0, 1}));
        QCOMPARE(guard->count(QtCriticalMsg, "read frame error"), 6);
    }

    void stop_ends_whenItComesWhileTheStreamCloses_data()
    {
        QTest::addColumn<QString>("line");
        QTest::newRow("before the flag is cleared") << "decoder destroyed";
        QTest::newRow("after it was cleared") << "finish";
    }
    void stop_ends_whenItComesWhileTheStreamCloses()
    {
        QFETCH(QString, line);
        ProtoProbe probe;
        probe.log.onLine = [&](const QString& seen) {
            if (seen == line)
                probe.stop();
        };
        probe.script.add(pictures(2));
        probe.script.addAction([&] { probe.stop2(); }); // opens the stream again
        probe.script.setClip(DeviceStream::h264());
        probe.play();
        QTRY_VERIFY_WITH_TIMEOUT(probe.isFinished(), waitMs);
        QCOMPARE(probe.log.count("finish"), probe.log.count("start"));
    }

    void stop2_opensTheStreamAgain()
    {
        ProtoProbe probe;
        probe.script.add(pictures(2));
        probe.script.addAction([&] { probe.stop2(); });
        probe.script.add(pictures(3).mid(2)); // of the read that was under way
        probe.script.add(pictures(2));
        QVERIFY(probe.playScript());
        QCOMPARE(probe.log.numbers(), QVector<int>({0, 1, 2, 0, 1}));
        const QStringList lines = probe.log.without({"save", "i420", "init", "check", "size"});
        QCOMPARE(lines,
                 QStringList({"close", "open", "start 0", "codec changed", "close", "decoder destroyed", "finish",
                              "open", "start 0", "codec changed", "close", "decoder destroyed", "finish"}));
        // The size belongs to one play, so it is told again.
        QCOMPARE(probe.log.count("size 320x240"), 2);
    }

    void closeVideo_clearsWhatBelongsToOnePlay()
    {
        ProtoProbe probe;
        probe.script.add(pictures(1));
        probe.setRotate(90);
        probe.log.onLine = [&](const QString& line) {
            if (line.startsWith("i420")) {
                probe.setSnapName("/nowhere/a.jpg");
                QCOMPARE(probe.getVideoWidth(), 320);
                QCOMPARE(probe.getVideoHeight(), 240);
                QVERIFY(probe.keyFrameSeen);
            }
            if (line == "finish") {
                QCOMPARE(probe.getVideoWidth(), 0);
                QCOMPARE(probe.getSnapName(), QString());
                QVERIFY(!probe.stopped && !probe.getIsOk() && !probe.getIsPause() && !probe.getIsSnap());
                QVERIFY(probe.recordDate.isNull());
            }
        };
        QVERIFY(probe.playScript());
        QCOMPARE(probe.log.count("finish"), 1);
        QCOMPARE(probe.getVideoHeight(), 0);
        QCOMPARE(probe.getRotate(), 0);
        QVERIFY(!probe.keyFrameSeen);
    }

    // --- What is decoded

    void frames_areRecordedButNotDecoded_beforeTheFirstKeyFrame()
    {
        ProtoProbe probe;
        const DeviceFrames mixed = DeviceStream::mixed(DeviceStream::h264(), DeviceStream::sound());
        probe.script.add(mixed.mid(2, 54)); // pictures 1 to 27, a key frame among them, each followed by its sound
        QVERIFY(probe.playScript());
        QCOMPARE(probe.log.count("save"), 54);
        QCOMPARE(probe.log.numbers(), range(25, 3));
        QCOMPARE(probe.log.count("sound"), 3);
        QCOMPARE(probe.log.count("codec changed"), 1);
    }

    void frames_areNotDecoded_whenTheirTypeIsUnknown()
    {
        ProtoProbe probe;
        probe.script.add(key());
        for (const quint32 type : {5u, 7u, 0xffffffffu})
            probe.script.add(changed(DeviceStream::h264().at(1), [=](DeviceFrame& frame) { frame.type = type; }));
        for (const quint32 type : {2u, 3u}) // video like type 1
            probe.script.add(changed(DeviceStream::h264().at(int(type) - 1), [=](DeviceFrame& f) { f.type = type; }));
        QVERIFY(probe.playScript());
        QCOMPARE(probe.log.numbers(), QVector<int>({0, 1, 2}));
        QCOMPARE(probe.log.only({"save"}),
                 QStringList({"save 0", "save 5", "save 7", "save 4294967295", "save 2", "save 3"}));
    }

    void frames_areOnlyRecorded_whileNobodyDisplays()
    {
        ProtoProbe probe;
        const DeviceFrames all = DeviceStream::mixed(DeviceStream::h264(), DeviceStream::sound());
        probe.script.add(all.mid(0, 4));
        probe.script.addAction([&] { probe.previewRef() = 0; });
        probe.script.add(all.mid(4, 4));
        probe.script.addAction([&] {
            QVERIFY(!probe.keyFrameSeen);
            probe.previewRef() = 1;
        });
        probe.script.add(all.mid(8, 48)); // up to picture 27; a key frame is 25
        QVERIFY(probe.playScript());
        QCOMPARE(probe.log.numbers(), QVector<int>({0, 1, 25, 26, 27}));
        QCOMPARE(probe.log.count("sound"), 2 + 3);
        QCOMPARE(probe.log.count("preview close"), 4);
        QCOMPARE(probe.log.count("save"), 56);
        // The base keeps the decoder, so nothing has changed when the picture is back.
        QCOMPARE(probe.log.count("codec changed"), 1);
        // Each frame is told to the subclass, then recorded.
        QCOMPARE(probe.log.only({"preview", "save"}).mid(4, 4),
                 QStringList({"preview close", "save 1", "preview close", "save 4"}));
    }

    void decoder_isKept_whenAKeyFrameIsOfTheSameKind()
    {
        ProtoProbe probe;
        probe.script.add(pictures(60));
        QVERIFY(probe.playScript());
        QCOMPARE(probe.log.numbers(), range(0, 60));
        QCOMPARE(probe.log.count("codec changed"), 1);
        QCOMPARE(probe.log.count("size"), 1);
        QCOMPARE(probe.log.count("decoder destroyed"), 1); // at the end
        QCOMPARE(probe.time.slept(), qint64(0));
        QCOMPARE(probe.log.damagedPlanes(), 0);
    }

    void decoder_isReplaced_whenTheCodecChanges()
    {
        ProtoProbe probe;
        qint64 sleptBefore = -1;
        probe.log.onLine = [&](const QString& line) {
            if (line == "decoder destroyed" && sleptBefore < 0)
                sleptBefore = probe.time.slept();
            if (line == "i420 320x240 100")
                QCOMPARE(probe.time.slept() - sleptBefore, decoderPauseUs);
        };
        probe.script.add(pictures(2));
        probe.script.add(DeviceStream::h265().mid(100, 2));
        QVERIFY(probe.playScript());
        QCOMPARE(playedLines(probe),
                 QStringList({"size 320x240", "codec changed", "i420 320x240 0", "i420 320x240 1", "decoder destroyed",
                              "codec changed", "i420 320x240 100", "i420 320x240 101"}));
        QCOMPARE(probe.videoParam.codec, 2);
        QCOMPARE(probe.lastVideoHeader.codecId, 1u);
        QCOMPARE(probe.time.slept(), decoderPauseUs);
        QCOMPARE(probe.log.damagedPlanes(), 0);
    }

    void decoder_isReplaced_whenTheSizeChanges()
    {
        ProtoProbe probe;
        probe.script.add(pictures(2));
        probe.script.add(DeviceStream::h264OtherSize().mid(50, 2));
        probe.script.add(DeviceStream::h264().mid(75, 1));
        QVERIFY(probe.playScript());
        QCOMPARE(playedLines(probe),
                 QStringList({"size 320x240", "codec changed", "i420 320x240 0", "i420 320x240 1", "decoder destroyed",
                              "size 400x304", "codec changed", "i420 400x304 50", "i420 400x304 51",
                              "decoder destroyed", "size 320x240", "codec changed", "i420 320x240 75"}));
        QCOMPARE(probe.log.damagedPlanes(), 0);
    }

    void decoder_isNotExamined_whenAFrameIsNoKeyFrame()
    {
        ProtoProbe probe;
        probe.script.add(key());
        probe.script.add(changed(DeviceStream::h264().at(1), [](DeviceFrame& frame) {
            frame.width = 640;
            frame.codecId = 1;
        }));
        QVERIFY(probe.playScript());
        QCOMPARE(probe.log.numbers(), QVector<int>({0, 1}));
        QCOMPARE(probe.log.count("codec changed"), 1);
    }

    void setHardware_takesEffectAtTheNextKeyFrame()
    {
        allowUnknownHardware();
        ProtoProbe probe;
        probe.script.add(pictures(2));
        probe.script.addAction([&] { probe.setHardware(unknownHardware); });
        probe.script.add(DeviceStream::h264().mid(2, 25)); // two of the next group
        probe.script.addAction([&] {
            QCOMPARE(QByteArray(probe.videoParam.hardware), unknownHardware.toLatin1());
            QVERIFY(probe.codec->isVideoDecoderNull());
            probe.setHardware("none");
        });
        probe.script.add(DeviceStream::h264().mid(50, 2));
        QVERIFY(probe.playScript());
        QCOMPARE(probe.log.numbers(), range(0, 25) + range(50, 2));
        const QStringList lines = playedLines(probe);
        QCOMPARE(lines.mid(lines.size() - 5),
                 QStringList(
                     {"i420 320x240 24", "decoder destroyed", "codec changed", "i420 320x240 50", "i420 320x240 51"}));
        QCOMPARE(probe.time.slept(), decoderPauseUs);
        QCOMPARE(guard->count(QtCriticalMsg, "mediaproc_create_video_decoder failed"), 1);
        QCOMPARE(guard->count(QtWarningMsg, "decode video frame failed"), 2);
    }

    void setHardware_distinguishesCase()
    {
        allowUnknownHardware();
        ProtoProbe probe;
        probe.setHardware("None");
        probe.script.add(pictures(26));
        QVERIFY(probe.playScript());
        QCOMPARE(probe.log.numbers(), QVector<int>());
        // Each key frame tries again.
        QCOMPARE(guard->count(QtCriticalMsg, "mediaproc_create_video_decoder failed"), 2);
        QCOMPARE(guard->count(QtWarningMsg, "decode video frame failed"), 26);
        QCOMPARE(probe.log.count("codec changed"), 0);
        QCOMPARE(probe.log.count("size"), 0);
        QCOMPARE(probe.log.count("save"), 26);
    }

    void setHardware_isStoredInThirtyTwoCharacters_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("stored");
        const QString longName = "abcdefghijklmnopqrstuvwxyz0123456789ABCD";
        QTest::newRow("40 characters") << longName << longName.left(32).toLatin1();
        QTest::newRow("32 characters") << longName.left(32) << longName.left(32).toLatin1();
        QTest::newRow("10 characters") << longName.left(10) << longName.left(10).toLatin1() + QByteArray(22, '\0');
    }
    void setHardware_isStoredInThirtyTwoCharacters()
    {
        allowUnknownHardware();
        QFETCH(QString, name);
        QFETCH(QByteArray, stored);
        ProtoProbe probe;
        probe.setHardware(name);
        probe.script.add(key());
        probe.script.addAction([&] { QCOMPARE(QByteArray(probe.videoParam.hardware, 32), stored); });
        QVERIFY(probe.playScript());
        QCOMPARE(guard->count(QtCriticalMsg, "mediaproc_create_video_decoder failed"), 1);
    }

    void setHardware_decodesInSoftware_whenItIsEmpty()
    {
        ProtoProbe probe;
        probe.setHardware("");
        probe.script.add(pictures(3));
        QVERIFY(probe.playScript());
        QCOMPARE(probe.log.numbers(), range(0, 3));
        QCOMPARE(probe.log.count("i420"), 3);
    }

    void decodeVideo_warns_whenTheCodecIsUnknown()
    {
        allowUnknownHardware();
        guard->allow("^ code_id = 9$");
        ProtoProbe probe;
        probe.script.add(changed(key(), [](DeviceFrame& frame) { frame.codecId = 9; }));
        probe.script.add(pictures(2));
        QVERIFY(probe.playScript());
        QCOMPARE(guard->count(QtWarningMsg, " code_id = 9"), 1);
        QCOMPARE(guard->count(QtCriticalMsg, "mediaproc_create_video_decoder failed"), 1);
        QCOMPARE(guard->count(QtWarningMsg, "decode video frame failed"), 1);
        QCOMPARE(probe.log.numbers(), QVector<int>({0, 1}));
    }

    void decodeVideo_emitsNothing_whenTheFrameIsDamaged()
    {
        guard->allow("^video decoder failed$");
        guard->allow("^decode video frame failed$");
        ProtoProbe probe;
        probe.script.add(key());
        probe.script.add(changed(DeviceStream::h264().at(1), [](DeviceFrame& frame) { frame.payload.clear(); }));
        probe.script.add(DeviceStream::h264().mid(25, 1));
        QVERIFY(probe.playScript());
        QCOMPARE(probe.log.numbers(), QVector<int>({0, 25}));
        QCOMPARE(guard->count(QtWarningMsg, "decode video frame failed"), 1);
        QCOMPARE(probe.log.count("save"), 3);
    }

    void decode_warns_whenThereIsNoMediaCodec()
    {
        guard->allow("^codec is null$");
        ProtoProbe probe;
        probe.makesCodec = false;
        probe.script.add(key());
        probe.script.add(DeviceStream::sound().first());
        QVERIFY(probe.playScript());
        QCOMPARE(guard->count(QtWarningMsg, "codec is null"), 2);
        QCOMPARE(probe.log.count("save"), 2);
    }

    // --- How pictures leave

    void receiveFrame_isEmitted_asTheModeSays_data()
    {
        QTest::addColumn<VideoMode>("mode");
        QTest::addColumn<QStringList>("lines");
        QTest::newRow("native window") << VideoMode_Hwnd << QStringList{};
        QTest::newRow("images") << VideoMode_Image << QStringList{"image 0", "image 1"};
        QTest::newRow("planes") << VideoMode_Opengl << QStringList{"i420 320x240 0", "i420 320x240 1"};
        QTest::newRow("Direct3D 9") << VideoMode_D3d9 << QStringList{};
        QTest::newRow("Direct3D 11") << VideoMode_D3d11 << QStringList{};
    }
    void receiveFrame_isEmitted_asTheModeSays()
    {
        QFETCH(VideoMode, mode);
        QFETCH(QStringList, lines);
        ProtoProbe probe(mode);
        probe.script.add(pictures(2));
        QVERIFY(probe.playScript());
        QCOMPARE(playedLines(probe), QStringList({"size 320x240", "codec changed"}) + lines);
    }

    void receiveFrame_hasTheLinesOfThePlanes_andTheRightColours()
    {
        ProtoProbe probe;
        bool isRight = false;
        connect(
            &probe,
            qOverload<int, int, quint8*, quint8*, quint8*, quint32, quint32, quint32>(
                &AbstractVideoThread::receiveFrame),
            &probe,
            [&](int width, int height, quint8* y, quint8* u, quint8* v, quint32 lineY, quint32 lineU, quint32 lineV) {
                const QByteArray wanted = TestPicture::i420(Clips::size, 0);
                const auto at = [&](int offset) { return static_cast<quint8>(wanted.at(offset)); };
                const auto isNear = [](quint8 a, quint8 b) { return std::abs(int(a) - int(b)) < 12; };
                const int luma = width * height;
                isRight = width == 320 && height == 240 && lineY >= 320 && lineU >= 160 && lineU == lineV
                    && isNear(y[20 * lineY + 20], at(20 * 320 + 20))
                    && isNear(u[10 * lineU + 10], at(luma + 10 * 160 + 10))
                    && isNear(v[10 * lineV + 10], at(luma + luma / 4 + 10 * 160 + 10));
            },
            Qt::DirectConnection);
        probe.script.add(key());
        QVERIFY(probe.playScript());
        QVERIFY(isRight);
    }

    void afterDecodeVideo_deliversSurfaces_whenTheDecoderIsHardware_data()
    {
        QTest::addColumn<VideoMode>("mode");
        QTest::addColumn<bool>("isNew");
        QTest::addColumn<QString>("line");
        QTest::newRow("planes") << VideoMode_Opengl << true << "nv12 16x8 -1";
        QTest::newRow("Direct3D 9") << VideoMode_D3d9 << false << "surface 16x8";
        QTest::newRow("Direct3D 9, changed") << VideoMode_D3d9 << true << "surface 16x8 new";
        QTest::newRow("Direct3D 11") << VideoMode_D3d11 << false << "texture 16x8 32";
        QTest::newRow("Direct3D 11, changed") << VideoMode_D3d11 << true << "texture 16x8 32 new";
        QTest::newRow("native window") << VideoMode_Hwnd << true << "";
    }
    void afterDecodeVideo_deliversSurfaces_whenTheDecoderIsHardware()
    {
        QFETCH(VideoMode, mode);
        QFETCH(bool, isNew);
        QFETCH(QString, line);
        ProtoProbe probe(mode);
        QByteArray planes(32 * 8 * 2, char(128));
        probe.script.addAction([&] {
            probe.setHardware("vaapi");
            std::strcpy(probe.videoParam.hardware, "vaapi");
            auto* bytes = reinterpret_cast<quint8*>(planes.data());
            probe.yuvFrame = {{bytes, bytes + 32 * 8, nullptr}, 16, 8, 32, 32};
            probe.afterDecodeVideo(isNew);
        });
        QVERIFY(probe.playScript());
        QCOMPARE(probe.log.only({"nv12", "surface", "texture", "i420"}),
                 line.isEmpty() ? QStringList{} : QStringList{line});
    }

    void planes_stayAsTheyAre_untilTheNextOnes()
    {
        ProtoProbe probe;
        probe.script.add(DeviceStream::joined(DeviceStream::h264(), DeviceStream::h265OtherSize()));
        QVERIFY(probe.playScript());
        QCOMPARE(probe.log.numbers(), range(0, 125) + range(0, 125));
        QCOMPARE(probe.log.damagedPlanes(), 0);
    }

    void planes_areTakenBack_whenTheModeChanges()
    {
        ProtoProbe probe;
        probe.script.add(pictures(2));
        probe.script.addAction([&] { probe.setVideoMode(VideoMode_Image); });
        probe.script.add(DeviceStream::h264().mid(2, 2));
        probe.script.addAction([&] { probe.setVideoMode(VideoMode_Opengl); });
        probe.script.add(DeviceStream::h264().mid(4, 1));
        QVERIFY(probe.playScript());
        QCOMPARE(probe.log.only({"i420", "image", "decoder"}),
                 QStringList({"i420 320x240 0", "i420 320x240 1", "decoder destroyed", "image 2", "image 3",
                              "i420 320x240 4", "decoder destroyed"}));
    }

    // --- Snapshots

    void snap_writesTheNextPicture_data()
    {
        QTest::addColumn<VideoMode>("mode");
        QTest::addColumn<bool>("isTaken");
        QTest::newRow("native window") << VideoMode_Hwnd << false;
        QTest::newRow("images") << VideoMode_Image << true;
        QTest::newRow("planes") << VideoMode_Opengl << true;
        QTest::newRow("Direct3D 9") << VideoMode_D3d9 << true;
        QTest::newRow("Direct3D 11") << VideoMode_D3d11 << true;
    }
    void snap_writesTheNextPicture()
    {
        QFETCH(VideoMode, mode);
        QFETCH(bool, isTaken);
        const QTemporaryDir folder;
        const QString name = folder.filePath("deep/er/picture.jpg");
        ProtoProbe probe(mode);
        probe.setSnapPreview(true);
        QStringList previews;
        connect(&probe, &AbstractVideoThread::snapImage, [&](const QImage& image, const QString& file) {
            previews << QString("%1 %2").arg(image.width()).arg(file);
        });
        probe.script.add(pictures(2));
        probe.script.addAction([&] { probe.snap(name); });
        probe.script.add(DeviceStream::h264().mid(2, 2));
        bool isPending = false;
        probe.script.addAction([&] { isPending = probe.isSnap; });
        QVERIFY(probe.playScript());
        if (!isTaken) {
            QVERIFY(isPending);
            QVERIFY(!QFile::exists(name));
            return;
        }
        QTRY_COMPARE_WITH_TIMEOUT(probe.snapsFinished.load(), 1, waitMs);
        QVERIFY(!isPending);
        QFile file(name);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.read(3).toHex(), QByteArray("ffd8ff"));
        const QImage picture(name);
        QCOMPARE(TestPicture::number(picture), 2);
        QVERIFY(TestPicture::hasColors(picture));
        QCOMPARE(previews.size(), 1);
        QVERIFY(previews.first().startsWith("320 "));
    }

    void snap_isReported_whenTheStreamIsClosedBefore()
    {
        const QTemporaryDir folder;
        const QString name = folder.filePath("picture.jpg");
        ProtoProbe probe(VideoMode_Image);
        probe.setSnapPreview(true);
        QStringList previews;
        connect(&probe, &AbstractVideoThread::snapImage, [&](const QImage& image, const QString& file) {
            previews << QString("%1 %2").arg(image.width()).arg(file);
        });
        probe.script.addAction([&] { probe.snap(name); });
        probe.script.add(pictures(2));
        probe.addStop();
        probe.play();
        QVERIFY(probe.wait(waitMs)); // without an event of this thread
        QTRY_COMPARE_WITH_TIMEOUT(probe.snapsFinished.load(), 1, waitMs);
        QCOMPARE(previews, QStringList("320 " + name));
    }

    void snap_isTakenBesideThePicture_inItsOrder()
    {
        const QTemporaryDir folder;
        ProtoProbe probe;
        QStringList found;
        const QString name = folder.filePath("a.jpg");
        probe.log.onLine = [&](const QString& line) {
            if (line.startsWith("i420") || line.startsWith("save"))
                found << line + (QFile::exists(name) ? " with" : " without");
        };
        probe.script.addAction([&] { probe.snap(name); });
        probe.script.add(key());
        QVERIFY(probe.playScript());
        QCOMPARE(found, QStringList({"i420 320x240 0 without", "save 0 with"}));
    }

    void images_outliveTheNextPicture()
    {
        ProtoProbe probe(VideoMode_Image);
        QVector<QImage> images;
        connect(&probe, &AbstractVideoThread::receiveImage, this, [&](const QImage& image, int) { images << image; });
        probe.script.add(pictures(30));
        QVERIFY(probe.playScript());
        QTRY_COMPARE_WITH_TIMEOUT(images.size(), 30, waitMs);
        for (int i = 0; i < images.size(); ++i)
            QCOMPARE(TestPicture::number(images.at(i)), i);
        QVERIFY(TestPicture::hasColors(images.last()));
    }

    // --- Sound

    void sound_isDecoded_asAnotherProgramDoes_data()
    {
        QTest::addColumn<quint32>("codecId");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("format");
        QTest::newRow("A-law") << DeviceStream::aLaw << Clips::deviceALaw() << "alaw";
        QTest::newRow("mu-law") << DeviceStream::muLaw << Clips::deviceMuLaw() << "mulaw";
    }
    void sound_isDecoded_asAnotherProgramDoes()
    {
        QFETCH(quint32, codecId);
        QFETCH(QString, path);
        QFETCH(QString, format);
        ProtoProbe probe;
        probe.script.add(key());
        probe.script.add(DeviceStream::sound(codecId).mid(0, 50));
        QVERIFY(probe.playScript());
        QCOMPARE(probe.log.only({"format"}), QStringList{"format 8000 1 16"});
        QCOMPARE(probe.log.count("sound 640"), 50);
        QCOMPARE(probe.log.sound(), decodedSound(path, format, 50 * 640));
        QCOMPARE(probe.time.slept(), qint64(0));
        QCOMPARE(probe.sampleRate.load(), 8000);
        QCOMPARE(probe.channelCount.load(), 1);
    }

    void soundDecoder_isReplacedAfterAPause_whenTheFormatChanges()
    {
        ProtoProbe probe;
        const DeviceFrame sound = DeviceStream::sound().first();
        probe.script.add(key());
        probe.script.add(sound);
        probe.script.add(sound);
        probe.script.add(DeviceStream::sound(DeviceStream::muLaw).first());
        probe.script.add(changed(sound, [](DeviceFrame& frame) { frame.width = 16000; }));
        probe.script.add(changed(sound, [](DeviceFrame& frame) { frame.param1 = 2; }));
        QVERIFY(probe.playScript());
        QCOMPARE(
            probe.log.only({"format", "sound", "decoder", "codec"}),
            QStringList({"codec changed", "format 8000 1 16", "sound 640", "sound 640", "format 8000 1 16", "sound 640",
                         "format 16000 1 16", "sound 640", "format 8000 2 16", "sound 640", "decoder destroyed"}));
        QCOMPARE(probe.time.slept(), 3 * decoderPauseUs);
        QCOMPARE(probe.channelCount.load(), 2);
        QCOMPARE(probe.lastAudioHeader.channels, 2u);
    }

    void sound_isOfferedAndRecorded_whenItsCodecCannotBeDecoded()
    {
        guard->allow("^ code_id = 5$");
        guard->allow("^create audio decoder failed");
        ProtoProbe probe;
        probe.script.add(key());
        probe.script.add(DeviceStream::sound().first());
        probe.script.add(DeviceStream::sound(DeviceStream::pcm).mid(0, 2));
        probe.script.addAction([&] { QCOMPARE(probe.audioParam.codec, 0); });
        probe.script.add(DeviceStream::sound().first());
        QVERIFY(probe.playScript());
        QCOMPARE(guard->count(QtWarningMsg, " code_id = 5"), 2); // the next frame tries again
        QCOMPARE(
            guard->count(QtCriticalMsg, "create audio decoder failed [sample_rate:8000, bit_width:16, channels:1]"), 2);
        // The same format is told again when its decoder was made again.
        QCOMPARE(probe.log.only({"format", "sound", "save"}),
                 QStringList({"save 0", "format 8000 1 16", "sound 640", "save 4", "save 4", "save 4",
                              "format 8000 1 16", "sound 640", "save 4"}));
    }

    void decodeAudio_emitsNothing_whenTheFrameIsDamaged()
    {
        guard->allow("^decode audio frame failed$");
        ProtoProbe probe;
        probe.script.add(key());
        probe.script.add(changed(DeviceStream::sound().first(), [](DeviceFrame& frame) { frame.payload.clear(); }));
        probe.script.add(DeviceStream::sound().first());
        QVERIFY(probe.playScript());
        QCOMPARE(guard->count(QtWarningMsg, "decode audio frame failed"), 2); // MediaCodec's and the thread's
        QCOMPARE(probe.log.count("sound"), 1);
        QCOMPARE(probe.log.count("format"), 1);
    }

    // --- Interface

    void metaObject_addsNothing()
    {
        QCOMPARE(PvProtoVideoThread::staticMetaObject.methodCount(),
                 AbstractVideoThread::staticMetaObject.methodCount());
        QCOMPARE(QByteArray(PvProtoVideoThread::staticMetaObject.superClass()->className()),
                 QByteArray("AbstractVideoThread"));
    }
};

QTEST_GUILESS_MAIN(TestPvProtoVideoThread)
#include "tst_pvprotovideothread.moc"
