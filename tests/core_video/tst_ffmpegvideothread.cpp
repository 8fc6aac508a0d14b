// FFmpegVideoThread with files and generated sources, seen by displays that read what they were given.

#include "core_opengl/yuvwidget.h"
#include "core_video/playing.h"
#include "support/clips.h"
#include "support/messageguard.h"
#include "support/resourcecount.h"
#include "support/screen.h"
#include "support/simulatedclock.h"
#include "support/testpicture.h"
#include "support/waiting.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFile>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <cstring>
#include <memory>
#include <numeric>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/hwcontext.h>
}

namespace {

constexpr int millisecondsPerFrame = 1000 / Clips::frameRate;

/// Gives the hooks to the test.
class HookedThread : public FFmpegVideoThread
{
public:
    bool parseVideoUrl() override
    {
        ++parses;
        return isParsed;
    }

    int getLatestRecordCodec(XVideoEncPara& video, XAudioEncPara& audio) override
    {
        video = {1, 320, width, 0, 0, 0};
        audio = {33, sampleRate, 16, 1};
        return answer;
    }

    std::atomic<int> parses{0};
    std::atomic<bool> isParsed{true};
    std::atomic<int> width{240};
    std::atomic<int> sampleRate{8000};
    std::atomic<int> answer{0};
};

using HookedPlayer = PlayerOf<HookedThread>;

QVector<int> numbersUpTo(int count)
{
    QVector<int> all(count);
    std::iota(all.begin(), all.end(), 0);
    return all;
}

/// A source of FFmpeg's own that never ends.
class GeneratedPlayer : public Player
{
public:
    explicit GeneratedPlayer(const QString& graph, VideoMode mode = VideoMode_Opengl)
        : Player(graph, mode)
    {
        thread.setInputFormat("lavfi");
    }
};

/// Y, U and V in the middle of the last frame.
QVector<int> middleOf(const Display::Frame& frame)
{
    const int x = frame.width / 4;
    const int y = frame.height / 4;
    return {frame.planes[0][2 * y * frame.lines[0] + 2 * x], frame.planes[1][y * frame.lines[1] + x],
            frame.planes[2][y * frame.lines[2] + x]};
}

bool isNear(const QVector<int>& seen, const QVector<int>& wanted)
{
    for (int i = 0; i < wanted.size(); ++i) {
        if (qAbs(seen.at(i) - wanted.at(i)) > 4)
            return false;
    }
    return true;
}

/// The colours of the quadrants, row by row.
QVector<QColor> quadrants(const QImage& image)
{
    const int x = image.width() / 8;
    const int y = image.height() / 8;
    return {image.pixelColor(x, y), image.pixelColor(7 * x, y), image.pixelColor(x, 7 * y),
            image.pixelColor(7 * x, 7 * y)};
}

bool areNear(const QVector<QColor>& seen, const QVector<QColor>& wanted)
{
    for (int i = 0; i < wanted.size(); ++i) {
        if (!Screen::isNear(seen.at(i), wanted.at(i), 48))
            return false;
    }
    return seen.size() == wanted.size();
}

#if defined(__x86_64__) && defined(__GXX_ABI_VERSION)
/// The index of a virtual function in the table of its class: the Itanium ABI stores it in the member pointer as
/// 1 plus the offset in bytes.
template <typename Function>
int slotOf(Function function)
{
    qptrdiff words[2] = {};
    std::memcpy(words, &function, sizeof words);
    return static_cast<int>((words[0] - 1) / static_cast<qptrdiff>(sizeof(void*)));
}
#endif

} // namespace

Q_DECLARE_METATYPE(VideoMode)

class TestFFmpegVideoThread : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        guard = std::make_unique<MessageGuard>();
        guard->allow("^error count: [123] why: End of file$");
        AbstractVideoThread::debugInfo = false;
    }

    void cleanup()
    {
        AbstractVideoThread::debugInfo = false;
        VERIFY_NO_UNEXPECTED_MESSAGES(*guard);
        guard.reset();
    }

    // --- settings

    void constructor_switchesTheAddressTestOnAndAllElseOff()
    {
        FFmpegVideoThread thread;
        QVERIFY(thread.getAddressTest());
        QCOMPARE(thread.getInputFormat(), QString());
        QVERIFY(!thread.getPaced() && !thread.getFastStart() && !thread.isReopening());
        QCOMPARE(thread.getSpeed(), 1.0);
        thread.setAddressTest(false);
        thread.setInputFormat("v4l2");
        thread.setPaced(true);
        thread.setFastStart(true);
        QVERIFY(!thread.getAddressTest() && thread.getPaced() && thread.getFastStart());
        QCOMPARE(thread.getInputFormat(), QString("v4l2"));
    }

    void setSpeed_keepsTheLast_whenFactorIsOutOfRange()
    {
        FFmpegVideoThread thread;
        thread.setSpeed(2);
        QCOMPARE(thread.getSpeed(), 2.0);
        for (const double factor : {0.0, -1.0, 0.05, 17.0, qQNaN(), qInf()})
            thread.setSpeed(factor);
        QCOMPARE(thread.getSpeed(), 2.0);
        thread.setSpeed(0.5);
        QCOMPARE(thread.getSpeed(), 0.5);
    }

#if defined(__x86_64__) && defined(__GXX_ABI_VERSION)
    void hooks_followThoseOfTheBaseClass_inOrder()
    {
        const int last = slotOf(&AbstractVideoThread::snapFinsh);
        QCOMPARE(slotOf(&HookedThread::parseVideoUrl), last + 1);
        QCOMPARE(slotOf(&HookedThread::getLatestRecordCodec), last + 2);
    }
#endif

    // --- opening

    void play_failsWithoutAMessage_whenAFileIsTestedAsAnAddress()
    {
        Player player(Clips::h264AacMp4());
        player.thread.setAddressTest(true);
        player.thread.play();
        QVERIFY(!Waiting::until([&] { return !player.display.events.isEmpty(); }, 1500));
        QVERIFY(player.thread.isRunning() && !player.thread.getIsOk());
        player.thread.stopAndWait();
        QCOMPARE(guard->messages().size(), 1); // the end alone
        QVERIFY(player.display.events.isEmpty());
    }

    void play_playsTheFileToItsEnd()
    {
        AbstractVideoThread::debugInfo = true;
        Player player(Clips::h264AacMp4());
        QVERIFY(player.playToEnd());
        QCOMPARE(player.display.numbers(), numbersUpTo(Clips::frameCount));
        QCOMPARE(player.display.events, (QStringList{"size", "format 44100 2 16", "start", "finish"}));
        QVERIFY(!player.display.wasReopening);
        QCOMPARE(player.display.damagedFrames, 0);
        QVERIFY(player.display.isLastFrameIntact()); // the source is closed
        // Mono in the file, stereo of 16 bits here; the encoder adds up to two blocks.
        QVERIFY2(qAbs(player.display.soundBytes - 5 * 44100 * 4) <= 2 * 1024 * 4,
                 qPrintable(QString::number(player.display.soundBytes)));
        QCOMPARE(guard->texts(QtCriticalMsg),
                 (QStringList{"error count: 1 why: End of file", "error count: 2 why: End of file",
                              "error count: 3 why: End of file"}));
        const QStringList lines = guard->texts(QtInfoMsg);
        QCOMPARE(lines.size(), 4);
        QCOMPARE(lines.at(0), QString("视频信息 -> 索引: 0 解码: h264 帧率: 25 宽高: 320x240 角度: 0"));
        QVERIFY2(QRegularExpression("^音频信息 -> 索引: 1 解码: aac 比特: [0-9]+ 声道: 1 采样: 44100 品质: 1$")
                     .match(lines.at(1)).hasMatch(),
                 qPrintable(lines.at(1)));
        QCOMPARE(lines.at(2), QString("格式信息 -> 源头: AV_PIX_FMT_YUV420P 目标: AV_PIX_FMT_YUV420P"));
        QCOMPARE(lines.at(3), "thread terminate -> url: " + Clips::h264AacMp4());
        QVERIFY(!player.thread.getIsOk());
        QCOMPARE(player.thread.getVideoWidth(), 0);
    }

    void play_fillsTheFields_whenOpen()
    {
        Player player(Clips::h264AacMp4());
        player.thread.setPaced(true);
        player.thread.play();
        QTRY_VERIFY(!player.display.frames.isEmpty());
        QVERIFY(player.thread.getIsOk());
        QCOMPARE(QSize(player.thread.getVideoWidth(), player.thread.getVideoHeight()), Clips::size);
        QCOMPARE(player.thread.getFrameRate(), 25);
        QVERIFY(!player.thread.getOnlyAudio());
        QVERIFY(!player.thread.isReadTimeout() && !player.thread.isOpenTimeout());
        player.thread.stopAndWait();
        QCOMPARE(player.display.events.constLast(), QString("finish"));
        QCOMPARE(guard->count(QtInfoMsg, "thread terminate -> url: " + Clips::h264AacMp4()), 1);
    }

    void play_startsFromScratch_atTheEnd_whenReopeningIsOn()
    {
        Player player(Clips::h264Mp4());
        player.thread.setReadTimeout(1000);
        player.thread.play();
        QTRY_VERIFY(player.display.events.count("start") >= 3);
        QCOMPARE(player.display.events.mid(0, 6), (QStringList{"size", "start", "finish", "size", "start", "finish"}));
        QVERIFY(player.display.wasReopening);
        QVERIFY(guard->count(QtInfoMsg, "reconnect -> url: " + Clips::h264Mp4()) >= 2);
        player.thread.stopAndWait();
        QVERIFY(!player.display.wasReopening);
        const int starts = player.display.events.count("start");
        QVERIFY(!Waiting::until([&] { return player.display.events.count("start") > starts; }, 200));
        QCOMPARE(guard->count(QtInfoMsg, "thread terminate -> url: " + Clips::h264Mp4()), 1);
    }

    void play_ignoresPlayRepeat()
    {
        Player player(Clips::h264Mp4());
        player.thread.setPlayRepeat(true);
        QVERIFY(player.playToEnd());
        QCOMPARE(player.display.events.count("start"), 1);
    }

    void play_triesAgain_whenTheHookFindsNoAddress()
    {
        guard->allow("^parseVideoUrl failed$");
        HookedPlayer player(Clips::h264Mp4());
        player.thread.isParsed = false;
        player.thread.play();
        QTRY_VERIFY(player.thread.parses >= 2);
        QVERIFY(guard->count(QtWarningMsg, "parseVideoUrl failed") >= 1);
        QVERIFY(player.display.events.isEmpty());
        player.thread.isParsed = true;
        QTRY_VERIFY(player.display.events.contains("start"));
    }

    void play_saysWhy_whenTheFileIsMissing()
    {
        const QString name = "/nowhere/film.mp4";
        const QString line = "打开出错 -> 错误: No such file or directory 地址: " + name;
        guard->allow("^打开出错 -> ");
        Player player(name);
        player.thread.play();
        QTRY_VERIFY(guard->count(QtCriticalMsg, line) >= 2);
        QVERIFY(guard->messages().constFirst().function.contains("openInput"));
        player.thread.stopAndWait();
        QVERIFY(player.display.events.isEmpty()); // never opened, so nothing was closed
    }

    void play_saysWhy_whenTheInputFormatIsUnknown()
    {
        const QString line = "打开出错 -> 错误: Demuxer not found 地址: " + Clips::h264Mp4();
        guard->allow("^打开出错 -> ");
        Player player(Clips::h264Mp4());
        player.thread.setInputFormat("no such format");
        player.thread.play();
        QTRY_VERIFY(guard->count(QtCriticalMsg, line) >= 1);
        QVERIFY(player.display.events.isEmpty());
    }

    void play_fails_whenThePicturesHaveNoSize()
    {
        const QTemporaryDir directory;
        const QString name = directory.filePath("empty.h264");
        QFile file(name);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray("\x00\x00\x00\x01\x09\xf0", 6).repeated(2000)); // delimiters without pictures
        file.close();
        const QString line = "无分辨率 -> 地址: " + name;
        guard->allow("^无分辨率 -> |^找流失败 -> ");
        Player player(name);
        player.thread.setInputFormat("h264");
        player.thread.play();
        QTRY_VERIFY(guard->count(QtCriticalMsg, line) >= 1);
        QVERIFY(!player.display.events.contains("start"));
    }

    void play_takesTheBaseFrameRate_whenTheMeanIsUnusual()
    {
        Player player(Clips::fps90Mp4());
        player.thread.play();
        QTRY_COMPARE(player.thread.getFrameRate(), 90);
    }

    void play_losesNoPicture_whenStartingFast()
    {
        for (const QString& clip : {Clips::h264AacMp4(), Clips::h264Ts(), Clips::h264AacMkv(), Clips::h265Mp4()}) {
            Player slow(clip);
            QVERIFY(slow.playToEnd());
            Player fast(clip);
            fast.thread.setFastStart(true);
            QVERIFY(fast.playToEnd());
            QVERIFY(!fast.display.frames.isEmpty());
            QCOMPARE(fast.display.numbers(), slow.display.numbers());
            QCOMPARE(fast.display.soundBytes, slow.display.soundBytes);
        }
    }

    void play_showsGeneratedSources_whenFormatIsNamed()
    {
        GeneratedPlayer player("color=c=white:size=64x48:rate=25:duration=1");
        QVERIFY(player.playToEnd());
        QCOMPARE(player.display.frames.size(), 25);
        QVERIFY(isNear(middleOf(player.display.frames.constLast()), {235, 128, 128}));
    }

    // --- hardware

    void play_fails_whenHardwareIsNotSupported_data()
    {
        QTest::addColumn<QString>("hardware");
        for (const char* name : {"cuda", "qsv", "drm", "opencl", "mediacodec", "vulkan", "no such type"})
            QTest::newRow(name) << name;
    }

    void play_fails_whenHardwareIsNotSupported()
    {
        QFETCH(QString, hardware);
        AbstractVideoThread::debugInfo = true;
        Player player(Clips::h264Mp4());
        player.thread.setHardware(hardware);
        player.thread.play();
        const QString line = "错误: 未找到对应加速类型 -> 加速失败 地址: " + Clips::h264Mp4();
        QTRY_VERIFY(guard->count(QtInfoMsg, line) >= 2);
        const int type = static_cast<int>(av_hwdevice_find_type_by_name(hardware.toUtf8().constData()));
        QVERIFY(guard->count(QtInfoMsg, QString("硬件加速 -> 名称: %1 数值: %2").arg(hardware).arg(type)) >= 2);
        QCOMPARE(player.thread.getHardware(), hardware);
        QVERIFY(player.display.events.isEmpty());
    }

    void play_fails_whenHardwareIsAbsent()
    {
        AbstractVideoThread::debugInfo = true;
        Player player(Clips::h264Mp4());
        player.thread.setHardware("d3d11va");
        player.thread.play();
        const QRegularExpression line("^加速失败 -> 错误: 创建视频解码器失败 .+ 地址: /.+h264\\.mp4$");
        QTRY_VERIFY(guard->texts(QtInfoMsg).indexOf(line) >= 0);
        QVERIFY(player.display.events.isEmpty());
    }

    void play_decodesInSoftware_whenRotated()
    {
        Player player(Clips::h264Mp4());
        player.thread.setHardware("d3d11va");
        player.thread.setRotate(90);
        player.thread.play();
        QTRY_VERIFY(!player.display.frames.isEmpty());
        QCOMPARE(player.thread.getHardware(), QString("none"));
        QCOMPARE(guard->count(QtInfoMsg, "视频信息 -> 索引: 0 解码: h264 帧率: 25 宽高: 320x240 角度: 90"), 1);
    }

    void picture_isNotSent_asPlanes_whenHardwareDecodes()
    {
        const QTemporaryDir directory;
        Player player(Clips::h264Mp4());
        player.thread.setPaced(true);
        player.thread.play();
        QTRY_VERIFY(player.display.frames.size() >= 3);
        player.thread.setHardware("vaapi"); // from here on the frames count as surfaces
        QTest::qWait(2 * millisecondsPerFrame);
        const int frames = player.display.frames.size();
        player.thread.snap(directory.filePath("a.jpg"));
        QVERIFY(!Waiting::until([&] { return player.display.frames.size() > frames; }, 300));
        QVERIFY(player.thread.getIsSnap());
        QVERIFY(!QFile::exists(directory.filePath("a.jpg")));
        QVERIFY(player.thread.isRunning());
    }

    // --- images for a display that paints them small

    void image_comesShrunk_whenItIsPaintedSmall_data()
    {
        QTest::addColumn<QSize>("painted");
        QTest::addColumn<QSize>("expected");
        QTest::newRow("unknown") << QSize() << QSize(320, 240);
        QTest::newRow("own size") << QSize(320, 240) << QSize(320, 240);
        QTest::newRow("more than half the width") << QSize(161, 120) << QSize(320, 240);
        QTest::newRow("more than half the height") << QSize(160, 121) << QSize(320, 240);
        QTest::newRow("half") << QSize(160, 120) << QSize(160, 120);
        QTest::newRow("less than half") << QSize(100, 61) << QSize(160, 120);
        QTest::newRow("a quarter") << QSize(80, 60) << QSize(80, 60);
    }

    void image_comesShrunk_whenItIsPaintedSmall()
    {
        QFETCH(QSize, painted);
        QFETCH(QSize, expected);
        Player player(Clips::h264Mp4(), VideoMode_Image);
        player.thread.setPaced(true);
        player.thread.setPaintedSize(painted);
        player.thread.play();
        QTRY_VERIFY(player.display.images.size() >= 5);
        for (const QImage& image : qAsConst(player.display.images)) {
            QCOMPARE(image.size(), expected);
            QCOMPARE(image.size() / image.devicePixelRatio(), Clips::size);
            QVERIFY(TestPicture::hasColors(image));
        }
        for (int number = 0; number < 3; ++number)
            QCOMPARE(TestPicture::number(player.display.images.at(number)), number);
    }

    void image_comesWhole_whenTheDisplayIsNotTheOnlyReceiver()
    {
        Player player(Clips::h264Mp4(), VideoMode_Image);
        int others = 0;
        connect(&player.thread, &AbstractVideoThread::receiveImage, this, [&others] { ++others; });
        player.thread.setPaced(true);
        player.thread.setPaintedSize(QSize(80, 60));
        player.thread.play();
        QTRY_VERIFY(others >= 3);
        QCOMPARE(player.display.images.constFirst().size(), Clips::size);
    }

    void image_comesWhole_whenThePictureIsTurned()
    {
        Player player(Clips::h264Mp4(), VideoMode_Image);
        player.thread.setRotate(90);
        player.thread.setPaced(true);
        player.thread.setPaintedSize(QSize(60, 80));
        player.thread.play();
        QTRY_VERIFY(!player.display.images.isEmpty());
        QCOMPARE(player.display.images.constFirst().size(), Clips::size.transposed());
    }

    void image_comesAgain_whenThePausedDisplayNeedsMoreOfIt()
    {
        Player player(Clips::h264Mp4(), VideoMode_Image);
        player.thread.setPaced(true);
        player.thread.setPaintedSize(QSize(80, 60));
        player.thread.play();
        QTRY_VERIFY(player.display.images.size() >= 3);
        player.thread.pause();
        QTest::qWait(3 * millisecondsPerFrame); // the picture under way
        const QVector<QImage> before = player.display.images;
        QCOMPARE(before.constLast().size(), QSize(80, 60));
        player.thread.setPaintedSize(QSize(160, 120));
        QTRY_COMPARE(player.display.images.size(), before.size() + 1);
        QCOMPARE(player.display.images.constLast().size(), QSize(160, 120));
        player.thread.setPaintedSize(QSize());
        QTRY_COMPARE(player.display.images.size(), before.size() + 2);
        QCOMPARE(player.display.images.constLast().size(), Clips::size);
        const int shown = TestPicture::number(before.constLast());
        QVERIFY(shown >= 2);
        QCOMPARE(TestPicture::number(player.display.images.constLast()), shown);
    }

    void image_isLeftOut_whileItsOnlyDisplayIsBusy()
    {
        constexpr int untilMs = 1000; // of the source
        constexpr int mostWaiting = 4; // the one that is looked at, and those that wait behind it
        Player player(Clips::h264Mp4(), VideoMode_Image);
        player.thread.setPaced(true);
        player.thread.setPaintedSize(QSize(80, 60));
        bool hasCome = true;
        player.display.onPicture = [&] {
            player.display.onPicture = nullptr;
            QElapsedTimer timer;
            timer.start();
            while (player.thread.getPosition() < untilMs && timer.elapsed() < 30000)
                QThread::msleep(5);
            hasCome = player.thread.getPosition() >= untilMs;
        };
        player.thread.play();
        const auto late = [&] {
            const QVector<QImage>& images = player.display.images;
            return std::find_if(images.cbegin(), images.cend(), [](const QImage& image) {
                return TestPicture::number(image) >= untilMs / millisecondsPerFrame;
            });
        };
        QTRY_VERIFY(late() != player.display.images.cend());
        QVERIFY(hasCome);
        const int early = int(late() - player.display.images.cbegin());
        QVERIFY2(early <= mostWaiting, qPrintable(QString::number(early)));
    }

    void snapshot_isWhole_whenImagesComeShrunk()
    {
        const QTemporaryDir directory;
        const QString name = directory.filePath("a.jpg");
        Player player(Clips::h264Mp4(), VideoMode_Image);
        player.thread.setPaced(true);
        player.thread.setPaintedSize(QSize(80, 60));
        player.thread.play();
        QTRY_VERIFY(!player.display.images.isEmpty());
        player.thread.snap(name);
        QTRY_VERIFY(!player.thread.getIsSnap());
        QCOMPARE(QImage(name).size(), Clips::size);
        QCOMPARE(player.display.images.constLast().size(), QSize(80, 60));
    }

    // --- pictures

    void picture_isNotSent_whenModeHasNone_data()
    {
        QTest::addColumn<int>("mode");
        for (const int mode : {0, 3, 4, 7})
            QTest::addRow("%d", mode) << mode;
    }

    void picture_isNotSent_whenModeHasNone()
    {
        QFETCH(int, mode);
        const QTemporaryDir directory;
        Player player(Clips::h264AacMp4(), static_cast<VideoMode>(mode));
        player.thread.play();
        player.thread.snap(directory.filePath("a.jpg"));
        QTRY_VERIFY(player.thread.isFinished());
        QCoreApplication::sendPostedEvents();
        QVERIFY(player.display.frames.isEmpty() && player.display.images.isEmpty());
        QCOMPARE(player.display.surfaces, 0);
        QVERIFY(player.display.soundBytes > 0); // it was decoded all the same
        QVERIFY(!QFile::exists(directory.filePath("a.jpg")));
    }

    void picture_isAnImage_inImageMode()
    {
        Player player(Clips::h264Mp4(), VideoMode_Image);
        QVERIFY(player.playToEnd());
        QCOMPARE(player.display.images.size(), Clips::frameCount);
        for (int i = 0; i < Clips::frameCount; ++i) {
            const QImage& image = player.display.images.at(i);
            QCOMPARE(image.size(), Clips::size);
            QCOMPARE(image.format(), QImage::Format_RGB32);
            QCOMPARE(TestPicture::number(image), i); // all of them, as each has pixels of its own
        }
        QVERIFY(TestPicture::hasColors(player.display.images.constLast()));
        QVERIFY(player.display.frames.isEmpty());
        QVERIFY(guard->contains("^格式信息 -> 源头: AV_PIX_FMT_YUV420P 目标: AV_PIX_FMT_BGRA$"));
    }

    void picture_isPlanes_inOpenglMode()
    {
        Player player(Clips::h264Mp4());
        QVERIFY(player.playToEnd());
        QVERIFY(TestPicture::hasColors(player.display.lastPicture()));
        for (const Display::Frame& frame : qAsConst(player.display.frames)) {
            QCOMPARE(QSize(frame.width, frame.height), Clips::size);
            QVERIFY(frame.lines[0] >= frame.width);
            QCOMPARE(frame.lines[2], frame.lines[1]);
        }
        QVERIFY(player.display.images.isEmpty());
    }

    void picture_isConverted_whenItIsNoI420_data()
    {
        QTest::addColumn<QString>("graph");
        QTest::addColumn<QVector<int>>("color");
        QTest::addColumn<QString>("source");
        const QVector<int> red{81, 90, 240};
        QTest::newRow("4:2:2") << "color=red:size=64x48:rate=25,format=yuv422p" << red << "AV_PIX_FMT_YUV422P";
        QTest::newRow("4:4:4") << "color=red:size=64x48:rate=25,format=yuv444p" << red << "5";
        QTest::newRow("rgb") << "color=red:size=64x48:rate=25,format=rgb24" << red << "AV_PIX_FMT_RGB24";
        QTest::newRow("bgra") << "color=blue:size=64x48:rate=25,format=bgra" << QVector<int>{41, 240, 110}
                              << "AV_PIX_FMT_BGRA";
        QTest::newRow("packed") << "color=red:size=64x48:rate=25,format=yuyv422" << red << "AV_PIX_FMT_YUYV422";
        QTest::newRow("10 bits") << "color=red:size=64x48:rate=25,format=yuv420p10le" << red
                                 << "AV_PIX_FMT_YUV420P10LE";
        QTest::newRow("nv12") << "color=red:size=64x48:rate=25,format=nv12" << red << "AV_PIX_FMT_NV12";
    }

    void picture_isConverted_whenItIsNoI420()
    {
        QFETCH(QString, graph);
        QFETCH(QVector<int>, color);
        QFETCH(QString, source);
        for (const DecodeType type : {DecodeType_Fast, DecodeType_Full, DecodeType_Even, static_cast<DecodeType>(3)}) {
            GeneratedPlayer player(graph + ",trim=end_frame=5");
            player.thread.setDecodeType(type);
            QVERIFY(player.playToEnd());
            QCOMPARE(player.display.frames.size(), 5);
            const Display::Frame& frame = player.display.frames.constLast();
            QVERIFY2(isNear(middleOf(frame), color), qPrintable(QString("%1 %2 %3").arg(middleOf(frame)[0])
                                                                    .arg(middleOf(frame)[1]).arg(middleOf(frame)[2])));
            QCOMPARE(player.display.damagedFrames, 0);
            QVERIFY(player.display.isLastFrameIntact());
        }
        QVERIFY(guard->count(QtInfoMsg,
                             QString("格式信息 -> 源头: %1 目标: AV_PIX_FMT_YUV420P").arg(source)) == 4);
    }

    void picture_keepsItsContent_whenCodecDecodesTo422()
    {
        Player player(Clips::yuv422Mp4());
        QVERIFY(player.playToEnd());
        QCOMPARE(player.display.numbers(), numbersUpTo(2 * Clips::frameRate));
        QVERIFY(TestPicture::hasColors(player.display.lastPicture()));
        QCOMPARE(player.display.damagedFrames, 0);
    }

    void picture_isWhole_whenItsSizeIsOdd()
    {
        for (const VideoMode mode : {VideoMode_Opengl, VideoMode_Image}) {
            Player player(Clips::oddSizeMkv(), mode);
            QVERIFY(player.playToEnd());
            const QImage last = mode == VideoMode_Image ? player.display.images.constLast()
                                                        : player.display.lastPicture();
            QCOMPARE(last.size(), QSize(321, 241));
            QVERIFY(TestPicture::hasColors(last));
            QCOMPARE(player.display.frames.size() + player.display.images.size(), 2 * Clips::frameRate);
            QCOMPARE(player.display.damagedFrames, 0);
        }
    }

    void picture_isTurned_whenRotated_data()
    {
        QTest::addColumn<int>("angle");
        QTest::addColumn<QVector<QColor>>("colors");
        const QColor red = TestPicture::topLeft();
        const QColor green = TestPicture::topRight();
        const QColor blue = TestPicture::bottomLeft();
        const QColor yellow = TestPicture::bottomRight();
        QTest::newRow("90") << 90 << QVector<QColor>{blue, red, yellow, green};
        QTest::newRow("180") << 180 << QVector<QColor>{yellow, blue, green, red};
        QTest::newRow("270") << 270 << QVector<QColor>{green, yellow, red, blue};
        QTest::newRow("0") << 0 << QVector<QColor>{red, green, blue, yellow};
    }

    void picture_isTurned_whenRotated()
    {
        QFETCH(int, angle);
        QFETCH(QVector<QColor>, colors);
        const QSize size = angle % 180 == 0 ? Clips::size : Clips::size.transposed();
        for (const QString& clip : {Clips::h264Mp4(), Clips::yuv422Mp4()}) {
            Player planes(clip);
            planes.thread.setRotate(angle);
            QVERIFY(planes.playToEnd());
            QCOMPARE(planes.display.lastPicture().size(), size);
            QVERIFY(areNear(quadrants(planes.display.lastPicture()), colors));
            QCOMPARE(planes.display.damagedFrames, 0);
            QVERIFY(planes.display.isLastFrameIntact());

            Player images(clip, VideoMode_Image);
            images.thread.setRotate(angle);
            QVERIFY(images.playToEnd());
            QCOMPARE(images.display.images.constLast().size(), size);
            QVERIFY(areNear(quadrants(images.display.images.constLast()), colors));
        }
    }

    void picture_isNotDecoded_withoutDisplay()
    {
        Player player(Clips::h264AacMp4());
        player.thread.previewRef() = 0;
        QVERIFY(player.playToEnd());
        QCOMPARE(player.display.events, (QStringList{"size", "format 44100 2 16", "start", "finish"}));
        QVERIFY(player.display.frames.isEmpty());
        QCOMPARE(player.display.soundBytes, 0);
    }

    void picture_beginsAtAKeyFrame_whenADisplayComesBack()
    {
        Player player(Clips::h264Mp4());
        player.thread.setPaced(true);
        player.thread.setSpeed(4.0);
        player.display.onPicture = [&] {
            if (player.display.frames.size() == 3)
                player.thread.previewRef() = 0;
        };
        player.thread.play();
        QTRY_VERIFY(player.display.frames.size() >= 4);
        QVERIFY(!Waiting::until([&] { return player.display.frames.size() > 4; }, 300)); // 30 pictures
        player.display.onPicture = nullptr;
        player.thread.previewRef() = 1;
        QTRY_VERIFY(player.display.frames.size() > 5);
        QVERIFY(player.display.frames.at(4).number > 25);
        QCOMPARE(player.display.frames.at(4).number % 25, 0);
    }

    void sound_isNotDecoded_withoutPictures()
    {
        Player player(Clips::soundOnlyM4a());
        player.thread.play();
        QTRY_VERIFY(player.display.events.contains("start"));
        QTRY_VERIFY(player.thread.isFinished());
        QCoreApplication::sendPostedEvents();
        QCOMPARE(player.display.events, (QStringList{"format 44100 2 16", "start", "finish"})); // no size
        QCOMPARE(player.display.soundBytes, 0);
        QCOMPARE(guard->count(QtInfoMsg, "无视频流 -> 地址: " + Clips::soundOnlyM4a()), 1);
    }

    void open_saysSo_whenThereIsNoSound()
    {
        AbstractVideoThread::debugInfo = true;
        Player player(Clips::h264Mp4());
        QVERIFY(player.playToEnd());
        QCOMPARE(guard->count(QtInfoMsg, "无音频流 地址: " + Clips::h264Mp4()), 1);
    }

    void decoder_isSkipped_whenItFails()
    {
        guard->allow("^error count: ");
        AbstractVideoThread::debugInfo = true;
        Player player(Clips::damagedH264());
        QVERIFY(player.playToEnd());
        QVERIFY(!player.display.frames.isEmpty());
        QVERIFY(guard->contains("^视频解码 -> 步骤: avcodec_(send_packet|receive_frame) 原因: .+ 地址: "));
    }

    // --- changes

    void source_isOpenedAgain_whenItsSizeChanges()
    {
        Player player(Clips::sizeChangeTs());
        player.thread.play();
        QTRY_VERIFY(player.display.events.count("start") >= 2);
        const QStringList& events = player.display.events;
        const int finish = events.indexOf("finish");
        QVERIFY(finish > events.indexOf("start"));
        QVERIFY(events.indexOf("start", finish) > finish);
        QVERIFY(player.display.wasReopening);
        QVERIFY(guard->count(QtInfoMsg, "reconnect -> url: " + Clips::sizeChangeTs()) >= 1);
        for (const Display::Frame& frame : qAsConst(player.display.frames))
            QCOMPARE(QSize(frame.width, frame.height), Clips::size); // the other size was never sent unannounced
        QCOMPARE(player.display.damagedFrames, 0);
    }

    void source_isOpenedAgain_whenTheHookReportsAnotherEncoding_data()
    {
        QTest::addColumn<bool>("isVideo");
        QTest::newRow("video") << true;
        QTest::newRow("audio") << false;
    }

    void source_isOpenedAgain_whenTheHookReportsAnotherEncoding()
    {
        QFETCH(bool, isVideo);
        HookedPlayer player(Clips::h264AacMp4());
        player.thread.setPaced(true);
        player.thread.play();
        QTRY_VERIFY(player.display.frames.size() >= 3);
        QCOMPARE(player.display.events.count("start"), 1);
        (isVideo ? player.thread.width : player.thread.sampleRate) = 0; // no valid record says nothing
        QTest::qWait(3 * millisecondsPerFrame);
        QCOMPARE(player.display.events.count("start"), 1);
        (isVideo ? player.thread.width : player.thread.sampleRate) = 480;
        QTRY_COMPARE(player.display.events.count("start"), 2);
        QCOMPARE(player.display.events.count("finish"), 1);
        QVERIFY(player.display.wasReopening);
        QTest::qWait(3 * millisecondsPerFrame);
        QCOMPARE(player.display.events.count("start"), 2); // what it reported when it was opened is the new measure
    }

    void stop2_opensTheSourceAgainInPlace()
    {
        AbstractVideoThread::debugInfo = true;
        Player player(Clips::h264Mp4());
        player.thread.setPaced(true);
        player.thread.setReadTimeout(3000);
        player.thread.play();
        QTRY_VERIFY(player.display.frames.size() >= 3);
        player.thread.stop2();
        QTRY_COMPARE(player.display.events.count("start"), 2);
        QCOMPARE(player.display.events, (QStringList{"size", "start", "finish", "size", "start"}));
        QVERIFY(player.display.wasReopening);
        QVERIFY(!guard->contains("^reconnect"));
        QCOMPARE(guard->count(QtInfoMsg, "重新打开 地址: " + Clips::h264Mp4()), 1);
    }

    // --- time-outs, on a clock that moves only where it is told

    void open_isAborted_whenItTakesTooLong_data()
    {
        QTest::addColumn<int>("setting");
        QTest::addColumn<int>("limit");
        QTest::newRow("default") << 500 << 500000;
        QTest::newRow("none") << 0 << 3000000;
        QTest::newRow("negative") << -1 << 3000000;
        QTest::newRow("long") << 5000 << 5000000;
    }

    void open_isAborted_whenItTakesTooLong()
    {
        QFETCH(int, setting);
        QFETCH(int, limit);
        guard->allow("^打开出错 -> 错误: .+ 地址: ");
        AbstractVideoThread::debugInfo = true;
        SimulatedClock clock;
        clock.setLookDuration(limit + 1);
        Player player(Clips::h264Ts());
        player.thread.setClock(&clock);
        player.thread.setConnectTimeout(setting);
        player.thread.play();
        const QString line =
            QString("打开超时 -> 设置: %1 当前: %2 地址: %3").arg(limit).arg(limit + 1).arg(Clips::h264Ts());
        QTRY_VERIFY(guard->count(QtInfoMsg, line) >= 1);
        QVERIFY(player.thread.isReadTimeout());
        QVERIFY(player.display.events.isEmpty());
        player.thread.stopAndWait();
    }

    void open_isNotAborted_atTheLimit()
    {
        SimulatedClock clock;
        Player player(Clips::h264Ts());
        player.thread.setClock(&clock);
        player.thread.setConnectTimeout(1);
        player.display.onPicture = [&] { clock.advance(1000000); };
        QVERIFY(player.playToEnd());
        QVERIFY(!player.display.frames.isEmpty()); // nor are reads by the time that displays take
        QVERIFY(!player.thread.isReadTimeout() && !player.thread.isOpenTimeout());
    }

    void read_isAborted_whenItTakesTooLong_data()
    {
        QTest::addColumn<int>("setting");
        QTest::addColumn<int>("limit");
        QTest::newRow("default") << 0 << 3000;
        QTest::newRow("negative") << -1 << 3000;
        QTest::newRow("set") << 7000 << 7000;
    }

    void read_isAborted_whenItTakesTooLong()
    {
        QFETCH(int, setting);
        QFETCH(int, limit);
        guard->allow("^error count: [123] why: Immediate exit requested$");
        AbstractVideoThread::debugInfo = true;
        SimulatedClock clock;
        Player player(Clips::h264Ts());
        player.thread.setClock(&clock);
        player.thread.setReadTimeout(setting);
        connect(&player.thread, &AbstractVideoThread::receivePlayStart, this,
                [&] { clock.setLookDuration((limit + 1) * 1000); }, Qt::DirectConnection);
        connect(&player.thread, &AbstractVideoThread::receivePlayFinsh, this,
                [&] { clock.setLookDuration(0); player.thread.stop(); }, Qt::DirectConnection);
        QVERIFY(player.playToEnd());
        const QString line =
            QString("读取超时 -> 设置: %1 当前: %2 地址: %3").arg(limit).arg(limit + 1).arg(Clips::h264Ts());
        QVERIFY(guard->count(QtInfoMsg, line) >= 1);
        QVERIFY(guard->count(QtCriticalMsg, "error count: 3 why: Immediate exit requested") == 1);
        QVERIFY(player.thread.isReadTimeout());
    }

    void open_isAborted_whenStopped()
    {
        guard->allow("^打开出错 -> 错误: .+ 地址: ");
        AbstractVideoThread::debugInfo = true;
        HookedPlayer player(Clips::h264Ts());
        player.thread.play();
        // The stop comes between the loop's own look at it and the open.
        class StoppingClock final : public Clock
        {
        public:
            QDateTime now() const override { return Clock::system().now(); }
            qint64 microseconds() const override
            {
                thread->stop();
                return Clock::system().microseconds();
            }
            void sleep(qint64 microseconds) override { Clock::system().sleep(microseconds); }
            AbstractVideoThread* thread = nullptr;
        } clock;
        player.thread.stopAndWait();
        guard->clear();
        clock.thread = &player.thread;
        player.thread.setClock(&clock);
        player.thread.play();
        QVERIFY(player.thread.wait(5000));
        QVERIFY(guard->count(QtInfoMsg, "主动停止 地址: " + Clips::h264Ts()) >= 1);
        QVERIFY(guard->contains("^打开出错 -> 错误: Immediate exit requested 地址: "));
        player.thread.setClock(nullptr);
    }

    // --- snapshots

    void snap_writesOnePicture_data()
    {
        QTest::addColumn<VideoMode>("mode");
        QTest::addColumn<QString>("name");
        QTest::newRow("image") << VideoMode_Image << "a.jpg";
        QTest::newRow("planes") << VideoMode_Opengl << "a.jpg";
        QTest::newRow("png") << VideoMode_Opengl << "a.png";
    }

    void snap_writesOnePicture()
    {
        QFETCH(VideoMode, mode);
        QFETCH(QString, name);
        const QTemporaryDir directory;
        Player player(Clips::h264Mp4(), mode);
        player.thread.setPaced(true);
        player.thread.setSnapPreview(true);
        QSignalSpy snapped(&player.thread, &AbstractVideoThread::snapImage);
        player.thread.play();
        QTRY_VERIFY(player.display.frames.size() + player.display.images.size() >= 2);
        player.thread.snap(directory.filePath("sub/" + name));
        QTRY_COMPARE(snapped.count(), 1);
        QVERIFY(!player.thread.getIsSnap());
        const QString written = directory.filePath("sub/a.jpg");
        QCOMPARE(snapped.at(0).at(1).toString(), written);
        QVERIFY(TestPicture::hasColors(snapped.at(0).at(0).value<QImage>()));
        const QImage image(written);
        QCOMPARE(image.size(), Clips::size);
        QVERIFY(TestPicture::hasColors(image));
        QVERIFY(TestPicture::number(image) >= 1);
        QVERIFY(!QFile::exists(directory.filePath("sub/a.png")));
        QVERIFY(!Waiting::until([&] { return snapped.count() > 1; }, 200));
        QVERIFY(player.display.images.isEmpty() == (mode == VideoMode_Opengl));
    }

    void snap_emitsNothing_whenPreviewIsOff()
    {
        const QTemporaryDir directory;
        Player player(Clips::h264Mp4());
        player.thread.setPaced(true);
        QSignalSpy snapped(&player.thread, &AbstractVideoThread::snapImage);
        player.thread.play();
        player.thread.snap(directory.filePath("a.jpg"));
        QTRY_VERIFY(QFile::exists(directory.filePath("a.jpg")) && !player.thread.getIsSnap());
        QCOMPARE(snapped.count(), 0);
    }

    void snap_isTurned_whenRotated()
    {
        const QTemporaryDir directory;
        Player player(Clips::h264Mp4());
        player.thread.setPaced(true);
        player.thread.setRotate(90);
        player.thread.play();
        player.thread.snap(directory.filePath("a.jpg"));
        QTRY_VERIFY(QFile::exists(directory.filePath("a.jpg")) && !player.thread.getIsSnap());
        const QImage image(directory.filePath("a.jpg"));
        QCOMPARE(image.size(), Clips::size.transposed());
        QVERIFY(areNear(quadrants(image), {TestPicture::bottomLeft(), TestPicture::topLeft(),
                                           TestPicture::bottomRight(), TestPicture::topRight()}));
    }

    // --- paced sources

    void pace_isThatOfTheFile()
    {
        Player player(Clips::h264AacMp4());
        player.thread.setPaced(true);
        player.thread.play();
        QTRY_VERIFY(player.display.frames.size() >= 61);
        const QVector<Display::Frame>& frames = player.display.frames;
        const qint64 took = frames.at(60).time - frames.at(10).time;
        QVERIFY2(qAbs(took - 2000) <= 100, qPrintable(QString::number(took)));
        QCOMPARE(player.display.numbers(), numbersUpTo(frames.size()));
    }

    void pace_followsTheSpeed_data()
    {
        QTest::addColumn<double>("speed");
        for (const double speed : {1.0, 2.0, 0.5, 16.0, 0.1})
            QTest::addRow("%.1f", speed) << speed;
    }

    void pace_followsTheSpeed()
    {
        QFETCH(double, speed);
        SimulatedClock clock;
        Player player(Clips::h264Mp4());
        player.thread.setClock(&clock);
        player.thread.setPaced(true);
        player.thread.setSpeed(speed);
        QVector<qint64> times;
        player.display.onPicture = [&] { times.append(clock.microseconds()); };
        QVERIFY(player.playToEnd());
        QCOMPARE(times.size(), Clips::frameCount);
        for (int i = 1; i < times.size(); ++i) {
            const double due = i * 1000000.0 / Clips::frameRate / speed;
            QVERIFY2(qAbs(static_cast<double>(times.at(i) - times.at(0)) - due) <= 2, qPrintable(QString::number(i)));
        }
    }

    void pace_changesAtOnce_whenTheSpeedDoes()
    {
        SimulatedClock clock;
        Player player(Clips::h264Mp4());
        player.thread.setClock(&clock);
        player.thread.setPaced(true);
        QVector<qint64> times;
        player.display.onPicture = [&] {
            times.append(clock.microseconds());
            if (times.size() == 25)
                player.thread.setSpeed(4.0);
        };
        QVERIFY(player.playToEnd());
        QVERIFY(qAbs(times.at(24) - times.at(0) - 24 * 40000) <= 2);
        QVERIFY(qAbs(times.at(100) - times.at(30) - 70 * 10000) <= 2);
    }

    void pause_holdsThePicture()
    {
        Player player(Clips::h264AacMp4());
        player.thread.setPaced(true);
        player.thread.play();
        QTRY_VERIFY(player.display.frames.size() >= 5);
        player.thread.pause();
        QTest::qWait(3 * millisecondsPerFrame);
        const int frames = player.display.frames.size();
        QVERIFY(!Waiting::until([&] { return player.display.frames.size() > frames; }, 300));
        QVERIFY(player.display.isLastFrameIntact());
        player.thread.next();
        QTRY_VERIFY(player.display.frames.size() >= frames + 10);
        QCOMPARE(player.display.numbers(), numbersUpTo(player.display.frames.size())); // none lost
        const QVector<Display::Frame>& all = player.display.frames;
        const qint64 took = all.at(frames + 9).time - all.at(frames).time; // nor hurried after the pause
        QVERIFY2(took >= 8 * millisecondsPerFrame, qPrintable(QString::number(took)));
    }

    void pause_endsThread_whenStopped()
    {
        Player player(Clips::h264Mp4());
        player.thread.setPaced(true);
        player.thread.play();
        QTRY_VERIFY(!player.display.frames.isEmpty());
        player.thread.pause();
        QTest::qWait(2 * millisecondsPerFrame);
        player.thread.stop();
        QTRY_VERIFY_WITH_TIMEOUT(player.thread.isFinished(), 1000);
        QCOMPARE(player.display.events.constLast(), QString("finish"));
    }

    void pause_skipsPictures_whenTheSourceIsLive()
    {
        GeneratedPlayer player("testsrc=size=64x48:rate=25,realtime");
        player.thread.play();
        QTRY_VERIFY(player.display.frames.size() >= 3);
        player.thread.pause();
        QTest::qWait(3 * millisecondsPerFrame);
        const int frames = player.display.frames.size();
        QVERIFY(!Waiting::until([&] { return player.display.frames.size() > frames; }, 300));
        player.thread.next();
        QTRY_VERIFY(player.display.frames.size() > frames);
    }

    void setPosition_showsThatPictureNext_data()
    {
        QTest::addColumn<QString>("clip");
        QTest::addColumn<int>("position");
        QTest::newRow("key picture") << Clips::h264AacMp4() << 2000;
        QTest::newRow("between") << Clips::h264AacMp4() << 3480;
        QTest::newRow("between pictures") << Clips::h264AacMp4() << 3500;
        QTest::newRow("start") << Clips::h264AacMp4() << 0;
        QTest::newRow("negative") << Clips::h264AacMp4() << -500;
        QTest::newRow("matroska") << Clips::h264AacMkv() << 3480;
        QTest::newRow("h265") << Clips::h265Mp4() << 3480;
    }

    void setPosition_showsThatPictureNext()
    {
        QFETCH(QString, clip);
        QFETCH(int, position);
        for (const bool isPaused : {false, true}) {
            Player player(clip);
            player.thread.setPaced(true);
            player.thread.play();
            QTRY_VERIFY(player.display.frames.size() >= 5);
            if (isPaused) {
                player.thread.pause();
                QTest::qWait(2 * millisecondsPerFrame);
            }
            const int before = player.display.frames.size();
            player.thread.setPosition(position);
            const int wanted = qMax(0, (position + millisecondsPerFrame - 1) / millisecondsPerFrame);
            // A picture or two may be under way.
            QTRY_VERIFY2(player.display.numbers().mid(before).contains(wanted),
                         qPrintable(QString("wanted %1").arg(wanted)));
            const QVector<int> after = player.display.numbers().mid(before);
            QVERIFY(after.indexOf(wanted) <= 2);
            for (int i = 1; i < after.indexOf(wanted); ++i)
                QCOMPARE(after.at(i), after.at(i - 1) + 1); // the old place
            if (isPaused) {
                QVERIFY(!Waiting::until([&] { return player.display.frames.constLast().number != wanted; }, 200));
                QVERIFY(player.display.isLastFrameIntact());
            }
            QCOMPARE(player.display.damagedFrames, 0);
        }
    }

    void setPosition_isTakenBySeekFile()
    {
        Player player(Clips::h264Mp4());
        player.thread.setPaced(true);
        player.thread.play();
        QTRY_VERIFY(player.display.frames.size() >= 3);
        QSignalSpy positions(&player.thread, &AbstractVideoThread::receivePosition);
        player.thread.seekFile(QDateTime(QDate(2024, 2, 29), QTime(0, 0, 3)));
        QCOMPARE(positions.at(0).at(0).toLongLong(), 3000);
        QTRY_VERIFY(player.display.frames.constLast().number >= 75);
        QVERIFY(player.display.frames.constLast().number < 90);
    }

    void setPosition_onlyStores_whenNotPaced()
    {
        Player player(Clips::h264Mp4());
        player.thread.play();
        player.thread.setPosition(4000);
        QTRY_VERIFY(player.thread.isFinished());
        QCOMPARE(player.display.numbers(), numbersUpTo(Clips::frameCount));
    }

    void setPosition_isForgotten_whenTheThreadHasEnded()
    {
        Player player(Clips::h264Mp4());
        player.thread.setPaced(true);
        player.thread.setSpeed(16.0);
        player.display.onPicture = [&] {
            if (player.display.frames.size() != Clips::frameCount - 1)
                return;
            player.thread.stop();
            player.thread.setPosition(4000); // too late for this run
        };
        QVERIFY(player.playToEnd());
        player.display.onPicture = nullptr;
        const int before = player.display.frames.size();
        player.thread.play();
        QTRY_VERIFY(player.display.frames.size() > before);
        QCOMPARE(player.display.frames.at(before).number, 0);
    }

    void duration_andPositionAreReported_whenPaced()
    {
        Player player(Clips::h264Mp4());
        player.thread.setPaced(true);
        player.thread.setSpeed(8.0);
        QSignalSpy durations(&player.thread, &AbstractVideoThread::receiveDuration);
        QSignalSpy positions(&player.thread, &AbstractVideoThread::receivePosition);
        player.thread.play();
        QTRY_COMPARE(durations.count(), 1);
        QCOMPARE(durations.at(0).at(0).toLongLong(), 5000);
        QCOMPARE(player.thread.getDuration(), 5000);
        QTRY_VERIFY(player.thread.isFinished());
        QCoreApplication::sendPostedEvents();
        QVERIFY(positions.count() >= 20);
        for (int i = 1; i < positions.count(); ++i)
            QVERIFY(positions.at(i).at(0).toLongLong() >= positions.at(i - 1).at(0).toLongLong() + 200);
        QCOMPARE(player.thread.getDuration(), 0); // closed
        QCOMPARE(player.thread.getPosition(), 0);
    }

    // --- memory, threads and stops

    void frame_staysReadable_whileARendererPaintsItBehindTheDecoder()
    {
        YuvWidget widget;
        widget.resize(Clips::size);
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        for (const QString& clip : {Clips::h264Mp4(), Clips::yuv422Mp4()}) {
            Player player(clip);
            connect(&player.thread,
                    QOverload<int, int, quint8*, quint8*, quint8*, quint32, quint32, quint32>::of(
                        &AbstractVideoThread::receiveFrame),
                    &widget,
                    [&widget](int width, int height, quint8* dataY, quint8* dataU, quint8* dataV, quint32 lineY,
                              quint32 lineU, quint32 lineV) {
                        widget.updateFrame(width, height, dataY, dataU, dataV, static_cast<int>(lineY),
                                           static_cast<int>(lineU), static_cast<int>(lineV));
                    },
                    Qt::BlockingQueuedConnection);
            QVERIFY(player.playToEnd());
            QCOMPARE(player.display.damagedFrames, 0);
            // The source is closed; a paint reads the planes all the same.
            widget.repaint();
            constexpr int tolerance = 72; // the renderer does not spread limited-range luma
            QVERIFY(Screen::waitForColor(&widget, QPoint(40, 30), TestPicture::topLeft(), tolerance));
            QVERIFY(Screen::waitForColor(&widget, QPoint(280, 210), TestPicture::bottomRight(), tolerance));
            widget.clear();
        }
    }

    void frame_staysReadable_whenTheSourceIsClosedAndOpenedAgain()
    {
        Player player(Clips::h264Mp4());
        player.thread.setReadTimeout(1000);
        bool wasIntact = true;
        connect(&player.thread, &AbstractVideoThread::receivePlayStart, this,
                [&] {
                    if (!player.display.frames.isEmpty())
                        wasIntact = wasIntact && player.display.isLastFrameIntact();
                },
                Qt::BlockingQueuedConnection);
        player.thread.play();
        QTRY_VERIFY(player.display.events.count("start") >= 4);
        QVERIFY(wasIntact);
        QCOMPARE(player.display.damagedFrames, 0);
    }

    void stop_endsTheThread_atAnyMoment()
    {
        guard->allow("^打开出错 -> 错误: .+ 地址: |^找流失败 -> |^error count: ");
        QRandomGenerator random(20240229);
        const auto playForAWhile = [&random](VideoMode mode, bool reopens) {
            Player player(Clips::h264AacMp4(), mode);
            player.thread.setPaced(random.bounded(2) == 1);
            player.thread.setReadTimeout(reopens ? 1000 : 0);
            player.thread.play();
            Waiting::until([] { return false; }, random.bounded(60));
            player.thread.stopAndWait();
            QCoreApplication::sendPostedEvents();
            return player.thread.isFinished() && !player.thread.getIsOk()
                && player.display.events.count("start") == player.display.events.count("finish")
                && player.display.damagedFrames == 0;
        };
        QVERIFY(playForAWhile(VideoMode_Opengl, true)); // what is made once in the process is there now
        const ResourceCount before = ResourceCount::now();
        for (int round = 0; round < 50; ++round) {
            const VideoMode mode = random.bounded(2) == 1 ? VideoMode_Image : VideoMode_Opengl;
            QVERIFY2(playForAWhile(mode, random.bounded(2) == 1), qPrintable(QString::number(round)));
        }
        QVERIFY(ResourceCount::waitUntilNotAbove(before));
    }

    void play_canBeRepeated_withTheSameThread()
    {
        Player player(Clips::h264Mp4());
        QVERIFY(player.playToEnd());
        const ResourceCount before = ResourceCount::now();
        for (int round = 2; round <= 6; ++round) {
            QVERIFY(player.playToEnd());
            QCOMPARE(player.display.events.count("start"), round);
            QCOMPARE(player.display.frames.size(), round * Clips::frameCount);
        }
        QCOMPARE(player.display.damagedFrames, 0);
        QVERIFY(ResourceCount::waitUntilNotAbove(before));
    }

private:
    std::unique_ptr<MessageGuard> guard;
};

QTEST_MAIN(TestFFmpegVideoThread)
#include "tst_ffmpegvideothread.moc"
