#include "playerprobe.h"
#include "support/clips.h"
#include "support/loopback.h"
#include "support/messageguard.h"
#include "support/resourcecount.h"
#include "support/rtspserver.h"
#include "support/tcpproxy.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {
constexpr int playMs = 20000;
constexpr int stopMs = 2000;
const QString endOfFile = "error count: %1 why: End of file";
} // namespace

Q_DECLARE_METATYPE(VideoMode)

/// The thread against addresses and files that are wrong in every way.
class TestFFmpegVideoThreadBadInput : public QObject
{
    Q_OBJECT

private:
    QString terminated(const PlayerProbe& probe) const
    {
        return "thread terminate -> url: " + probe.thread.getVideoUrl();
    }
    QString reconnected(const PlayerProbe& probe) const { return "reconnect -> url: " + probe.thread.getVideoUrl(); }

    static void playFile(PlayerProbe& probe)
    {
        probe.thread.setAddressTest(false);
        probe.thread.play();
    }

    /// The three failed reads at the end of a file that is not opened again.
    void verifyEndOfFile(const PlayerProbe& probe) const
    {
        QCOMPARE(probe.events, QStringList({"start", "finish"}));
        for (int count = 1; count <= 3; ++count)
            QCOMPARE(guard->count(QtCriticalMsg, endOfFile.arg(count)), 1);
        QCOMPARE(guard->count(QtInfoMsg, terminated(probe)), 1);
        QCOMPARE(guard->count(QtInfoMsg, reconnected(probe)), 0);
    }

    void verifyNeverOpened(PlayerProbe& probe) const
    {
        QVERIFY(probe.thread.isRunning()); // it keeps trying
        QVERIFY(!probe.thread.getIsOk());
        QVERIFY(probe.stopAndMeasure() < stopMs);
        QCOMPARE(probe.events, QStringList());
        QCOMPARE(probe.pictures, 0);
        QCOMPARE(guard->count(QtInfoMsg, terminated(probe)), 1);
    }

    /// A clip of which the second half of the first key picture is missing, as where packets were lost.
    static bool writeClipWithDamagedStart(const QString& path)
    {
        QFile clip(Clips::h264AnnexB());
        if (!clip.open(QFile::ReadOnly))
            return false;
        QByteArray bytes = clip.readAll();
        const QByteArray startCode("\0\0\1", 3);
        int begin = bytes.indexOf(startCode);
        constexpr int keyPicture = 5;
        while (begin >= 0 && (bytes.at(begin + startCode.size()) & 0x1f) != keyPicture)
            begin = bytes.indexOf(startCode, begin + 1);
        const int end = bytes.indexOf(startCode, begin + 1);
        bytes.remove(begin + (end - begin) / 2, (end - begin) / 2 - 1);
        QFile damaged(path);
        return begin >= 0 && end > begin && damaged.open(QFile::WriteOnly) && damaged.write(bytes) == bytes.size();
    }

    std::unique_ptr<MessageGuard> guard;

private Q_SLOTS:
    void init() { guard.reset(new MessageGuard); }
    void cleanup() { VERIFY_NO_UNEXPECTED_MESSAGES(*guard); }

    // Damage

    void firstPicture_isWhole_whenTheFirstKeyPictureIsDamaged_data()
    {
        QTest::addColumn<VideoMode>("mode");
        QTest::newRow("images") << VideoMode_Image;
        QTest::newRow("planes") << VideoMode_Opengl;
    }

    /// Of the damaged one, and of what follows it up to the next key picture, most would be grey.
    void firstPicture_isWhole_whenTheFirstKeyPictureIsDamaged()
    {
        QFETCH(VideoMode, mode);
        guard->allow("^error count: [123] why: End of file$");
        const QTemporaryDir folder;
        const QString name = folder.filePath("damaged.h264");
        QVERIFY(writeClipWithDamagedStart(name));
        PlayerProbe probe(name, mode);
        playFile(probe);
        QTRY_VERIFY_WITH_TIMEOUT(probe.thread.isFinished(), playMs);
        constexpr int keyDistance = 25;
        QCOMPARE(probe.numbers.value(0, -1), keyDistance);
        QCOMPARE(probe.pictures, Clips::frameCount - keyDistance);
        QCOMPARE(probe.badPictures, 0);
    }

    // Addresses that nobody answers

    void play_saysThatTheAddressIsEmpty_whenItIs()
    {
        guard->allow("^url is empty$");
        PlayerProbe probe("");
        probe.thread.play();
        QTRY_VERIFY_WITH_TIMEOUT(guard->count(QtCriticalMsg, "url is empty") >= 2, playMs);
        verifyNeverOpened(probe);
    }

    void play_failsWithoutAMessage_whenPortRefuses()
    {
        PlayerProbe probe(QString("rtsp://127.0.0.1:%1/h264").arg(Loopback::refusedPort()));
        probe.thread.play();
        QTest::qWait(2000); // several attempts
        QCOMPARE(guard->texts(QtCriticalMsg), QStringList());
        verifyNeverOpened(probe);
    }

    void play_failsWithoutAMessage_whenHostIsUnreachable()
    {
        const Loopback::UnreachablePort unreachable;
        PlayerProbe probe(QString("rtsp://127.0.0.1:%1/h264").arg(unreachable.port()));
        probe.thread.play();
        QTest::qWait(2000); // several attempts
        QCOMPARE(guard->texts(QtCriticalMsg), QStringList());
        verifyNeverOpened(probe);
    }

    void play_timesOut_whenServerAcceptsAndNeverAnswers()
    {
        guard->allow("^打开出错 -> 错误: .+ 地址: rtsp://127.0.0.1:[0-9]+/h264$");
        const TcpProxy silent;
        PlayerProbe probe(silent.url("rtsp://127.0.0.1:554/h264"));
        probe.thread.setConnectTimeout(500);
        probe.thread.play();
        QTRY_VERIFY_WITH_TIMEOUT(guard->texts(QtCriticalMsg).size() >= 2, playMs);
        QVERIFY(probe.thread.isReadTimeout()); // also set by the time-out of an open
        verifyNeverOpened(probe);
    }

    void stop_isPrompt_whenServerNeverAnswersAndTimeOutIsLong()
    {
        guard->allow("^打开出错 -> 错误: .+ 地址: rtsp://127.0.0.1:[0-9]+/h264$");
        const TcpProxy silent;
        PlayerProbe probe(silent.url("rtsp://127.0.0.1:554/h264"));
        probe.thread.setConnectTimeout(60000);
        probe.thread.play();
        QTRY_COMPARE_WITH_TIMEOUT(silent.connections(), 2, playMs); // the address test and the open
        verifyNeverOpened(probe);
    }

    void play_fails_whenServerStopsInMidAnswer_data()
    {
        QTest::addColumn<bool>("cuts");
        QTest::newRow("stalls") << false;
        QTest::newRow("cuts") << true;
    }

    void play_fails_whenServerStopsInMidAnswer()
    {
        QFETCH(bool, cuts);
        guard->allow("^打开出错 -> 错误: .+ 地址: rtsp://127.0.0.1:[0-9]+/h264$");
        RtspServer server;
        QVERIFY(server.start());
        TcpProxy proxy(server.port());
        // Within the description, after the answer to the options.
        constexpr qint64 bytes = 400;
        if (cuts)
            proxy.cutAfter(bytes);
        else
            proxy.stallAfter(bytes);
        PlayerProbe probe(proxy.url(server.url("h264")));
        probe.thread.setConnectTimeout(1000);
        probe.thread.play();
        QTRY_VERIFY_WITH_TIMEOUT(guard->texts(QtCriticalMsg).size() >= 2, playMs);
        QVERIFY(proxy.bytesSent() >= bytes);
        QVERIFY(!probe.thread.getIsOk());
        QCOMPARE(probe.events, QStringList());

        // The next attempt after the network has recovered succeeds.
        probe.thread.setConnectTimeout(5000);
        proxy.resume();
        QTRY_VERIFY_WITH_TIMEOUT(probe.pictures >= 3, playMs);
        guard->allow("^error count: 1 why: (Immediate exit requested|Input/output error)$"); // interrupted by the stop
        QVERIFY(probe.stopAndMeasure() < stopMs);
        QCOMPARE(probe.events, QStringList({"start", "finish"}));
    }

    void play_failsWithoutAMessage_whenFileIsTestedAsAnAddress()
    {
        PlayerProbe probe(Clips::h264Mp4());
        probe.thread.play();
        QTest::qWait(1500); // several attempts
        QCOMPARE(guard->texts(QtCriticalMsg), QStringList());
        verifyNeverOpened(probe);
    }

    // Files that are no media

    void play_fails_whenFileIsNoMedia_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("reason");
        const QString invalid = "Invalid data found when processing input";
        QTest::newRow("text") << Clips::textMp4() << invalid;
        QTest::newRow("empty") << Clips::emptyMp4() << invalid;
        QTest::newRow("without its index") << Clips::truncatedMp4() << invalid;
        QTest::newRow("missing") << QString("/nowhere/clip.mp4") << "No such file or directory";
        QTest::newRow("directory") << QString("/tmp") << "Is a directory";
    }

    void play_fails_whenFileIsNoMedia()
    {
        QFETCH(QString, path);
        QFETCH(QString, reason);
        guard->allow("^打开出错 -> ");
        PlayerProbe probe(path);
        playFile(probe);
        const QString message = QString("打开出错 -> 错误: %1 地址: %2").arg(reason, path);
        QTRY_VERIFY2_WITH_TIMEOUT(guard->count(QtCriticalMsg, message) >= 2,
                                  qPrintable(guard->texts(QtCriticalMsg).join('\n')), playMs);
        verifyNeverOpened(probe);
    }

    // Files that are broken

    void play_showsWhatThereIs_whenFileIsCutOff_data()
    {
        QTest::addColumn<QString>("path");
        QTest::newRow("mp4") << Clips::truncatedFastStartMp4();
        QTest::newRow("ts") << Clips::truncatedTs();
    }

    void play_showsWhatThereIs_whenFileIsCutOff()
    {
        QFETCH(QString, path);
        guard->allow("^error count: [123] why: ");
        PlayerProbe probe(path);
        playFile(probe);
        QTRY_VERIFY_WITH_TIMEOUT(probe.thread.isFinished(), playMs);
        QVERIFY2(probe.pictures > Clips::frameCount / 2 && probe.pictures < Clips::frameCount,
                 qPrintable(QString::number(probe.pictures)));
        QCOMPARE(probe.events, QStringList({"start", "finish"}));
        QCOMPARE(guard->texts(QtCriticalMsg).size(), 3);
        QCOMPARE(guard->count(QtInfoMsg, terminated(probe)), 1);
    }

    void play_survives_whenStreamIsDamaged_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<VideoMode>("mode");
        QTest::newRow("damaged, images") << Clips::damagedH264() << VideoMode_Image;
        QTest::newRow("damaged, planes") << Clips::damagedH264() << VideoMode_Opengl;
        QTest::newRow("noise, images") << Clips::randomH264() << VideoMode_Image;
        QTest::newRow("noise, planes") << Clips::randomH264() << VideoMode_Opengl;
    }

    void play_survives_whenStreamIsDamaged()
    {
        QFETCH(QString, path);
        QFETCH(VideoMode, mode);
        guard->allow("^(打开出错|找流失败|无解码器|无分辨率) -> ");
        guard->allow("^error count: [123] why: ");
        PlayerProbe probe(path, mode);
        playFile(probe);
        // Either it plays to its end or it does not open at all.
        QTRY_VERIFY_WITH_TIMEOUT(probe.thread.isFinished() || !guard->texts(QtCriticalMsg).isEmpty(), playMs);
        QVERIFY(probe.stopAndMeasure() < stopMs);
        QCOMPARE(probe.events.count("start"), probe.events.count("finish"));
        QCOMPARE(guard->count(QtInfoMsg, terminated(probe)), 1);
    }

    // Files that change in mid-stream

    void play_opensAgain_whenSizeChangesInAFile_data()
    {
        QTest::addColumn<VideoMode>("mode");
        QTest::newRow("images") << VideoMode_Image;
        QTest::newRow("planes") << VideoMode_Opengl;
    }

    /// The file is opened from its start again, as long as nobody stops it.
    void play_opensAgain_whenSizeChangesInAFile()
    {
        QFETCH(VideoMode, mode);
        PlayerProbe probe(Clips::sizeChangeTs(), mode);
        playFile(probe);
        QTRY_VERIFY_WITH_TIMEOUT(probe.events.count("start") >= 3, playMs);
        guard->allow("^error count: 1 why: "); // interrupted by the stop
        QVERIFY(probe.stopAndMeasure() < stopMs);
        QCOMPARE(probe.events.mid(0, 5), QStringList({"start", "finish", "start", "finish", "start"}));
        QVERIFY(guard->count(QtInfoMsg, reconnected(probe)) >= 2);
        QCOMPARE(probe.lastSize, Clips::size);
        QCOMPARE(probe.badPictures, 0);
    }

    void play_doesNotFail_whenCodecChangesInAFile()
    {
        guard->allow("^error count: [123] why: ");
        PlayerProbe probe(Clips::codecChangeTs());
        playFile(probe);
        QTRY_VERIFY_WITH_TIMEOUT(probe.thread.isFinished() || probe.events.count("start") >= 3, playMs);
        QVERIFY(probe.stopAndMeasure() < stopMs);
        QVERIFY2(probe.pictures >= 2 * Clips::frameRate, qPrintable(QString::number(probe.pictures)));
        QCOMPARE(probe.events.count("start"), probe.events.count("finish"));
    }

    // Files that are whole

    void play_showsEveryPictureAndEnds_whenFileIsWhole_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<VideoMode>("mode");
        QTest::addColumn<int>("pictures");
        QTest::addColumn<int>("rate");
        QTest::addColumn<QSize>("size");
        const struct
        {
            const char* name;
            QString path;
            int pictures;
            int rate;
            QSize size;
        } clips[] = {
            {"mp4", Clips::h264AacMp4(), 125, 25, Clips::size}, {"mkv", Clips::h264AacMkv(), 125, 25, Clips::size},
            {"ts", Clips::h264Ts(), 125, 25, Clips::size},      {"h265", Clips::h265Mp4(), 125, 25, Clips::size},
            {"4:2:2", Clips::yuv422Mp4(), 50, 25, Clips::size}, {"odd size", Clips::oddSizeMkv(), 50, 25, {321, 241}},
            {"90 fps", Clips::fps90Mp4(), 90, 90, Clips::size},
        };
        for (const auto& clip : clips) {
            for (const VideoMode mode : {VideoMode_Image, VideoMode_Opengl}) {
                QTest::addRow("%s, mode %d", clip.name, mode)
                    << clip.path << mode << clip.pictures << clip.rate << clip.size;
            }
        }
    }

    void play_showsEveryPictureAndEnds_whenFileIsWhole()
    {
        QFETCH(QString, path);
        QFETCH(VideoMode, mode);
        QFETCH(int, pictures);
        QFETCH(int, rate);
        QFETCH(QSize, size);
        guard->allow("^error count: [123] why: End of file$");
        PlayerProbe probe(path, mode);
        int seenRate = 0;
        connect(
            &probe.thread, &AbstractVideoThread::receivePlayStart, &probe,
            [&] { seenRate = probe.thread.getFrameRate(); }, Qt::BlockingQueuedConnection);
        playFile(probe);
        QTRY_VERIFY_WITH_TIMEOUT(probe.thread.isFinished(), playMs);
        verifyEndOfFile(probe);
        QCOMPARE(seenRate, rate);
        QCOMPARE(probe.lastSize, size);
        QCOMPARE(probe.badPictures, 0);
        QVERIFY(probe.areNumbersRising());
        QCOMPARE(probe.numbers.first(), 0);
        // At most one picture a packet: what the decoder still holds at the end is not asked for.
        const int held = path == Clips::h265Mp4() ? 4 : 0;
        QVERIFY2(probe.pictures <= pictures && probe.pictures >= pictures - held,
                 qPrintable(QString::number(probe.pictures)));
    }

    void play_endsWithoutASound_whenFileHasSoundOnly_data()
    {
        QTest::addColumn<QString>("path");
        QTest::newRow("aac") << Clips::soundOnlyM4a();
        QTest::newRow("g711") << Clips::soundOnlyWav();
    }

    void play_endsWithoutASound_whenFileHasSoundOnly()
    {
        QFETCH(QString, path);
        guard->allow("^error count: [123] why: End of file$");
        PlayerProbe probe(path);
        playFile(probe);
        QTRY_VERIFY_WITH_TIMEOUT(probe.thread.isFinished(), playMs);
        verifyEndOfFile(probe);
        QVERIFY(probe.audioRate > 0);
        QCOMPARE(probe.audioBytes, 0);
        QCOMPARE(probe.sizeChanges, 0);
        QCOMPARE(guard->count(QtInfoMsg, "无视频流 -> 地址: " + path), 1);
    }

    void play_opensTheFileAgainAtItsEnd_whenReadTimeoutIsSet()
    {
        guard->allow("^error count: [123] why: ");
        PlayerProbe probe(Clips::h264Mp4());
        probe.thread.setReadTimeout(1000);
        playFile(probe);
        QTRY_VERIFY_WITH_TIMEOUT(probe.events.count("start") >= 3, playMs);
        QVERIFY(guard->count(QtInfoMsg, reconnected(probe)) >= 2);
        QVERIFY(probe.stopAndMeasure() < stopMs);
    }

    // Whatever happens

    void stop_isPromptAndLeavesNothing_atAnyMoment()
    {
        guard->allow("^error count: [123] why: ");
        guard->allow("^(打开出错|找流失败) -> 错误: (Immediate exit requested|Invalid data found)");
        const auto round = [](int milliseconds) {
            PlayerProbe probe(Clips::h264AacMp4());
            probe.thread.setReadTimeout(1000);
            playFile(probe);
            QTest::qWait(milliseconds);
            return probe.stopAndMeasure();
        };
        round(50);
        const ResourceCount before = ResourceCount::now();
        for (int milliseconds = 0; milliseconds < 60; milliseconds += 3)
            QVERIFY(round(milliseconds) < stopMs);
        QVERIFY(ResourceCount::waitUntilNotAbove(before));
    }
};

QTEST_GUILESS_MAIN(TestFFmpegVideoThreadBadInput)
#include "tst_ffmpegvideothread_badinput.moc"
