#include "mediaproc/codechandle.h"
#include "mediaproc/ffmpegcalls.h"
#include "mediaproc/guardedpages.h"
#include "mediaproc/videoframes.h"
#include "support/testpicture.h"

#include <QTest>

#include <cmath>
#include <thread>
#include <vector>

using VideoFrames::h264;
using VideoFrames::h265;

namespace {
constexpr QSize size(320, 240);
constexpr QSize otherSize(640, 352);
constexpr int frameCount = 25;

_tag_yuv_frame_s garbagePicture()
{
    _tag_yuv_frame_s picture;
    memset(&picture, 0x5A, sizeof picture);
    return picture;
}

/// Everything that the decoder puts out for those frames.
QByteArray decodeAll(const VideoDecoderHandle& decoder, const QVector<QByteArray>& frames)
{
    QByteArray all;
    for (const QByteArray& frame : frames) {
        _tag_yuv_frame_s picture = garbagePicture();
        if (decode(decoder, frame, &picture) != 0)
            return QByteArray();
        if (!VideoFrames::isEmpty(picture))
            all += VideoFrames::planes(picture);
    }
    return all;
}

/// The mean of the differences of two blocks of samples of the same size; huge for others.
double difference(const QByteArray& left, const QByteArray& right)
{
    if (left.size() != right.size() || left.isEmpty())
        return 1000;
    qint64 sum = 0;
    for (int at = 0; at < left.size(); ++at)
        sum += std::abs(static_cast<quint8>(left.at(at)) - static_cast<quint8>(right.at(at)));
    return static_cast<double>(sum) / left.size();
}

QStringList options(const QString& parameters, const QString& pixelFormat = "yuv420p")
{
    return {"-preset", "veryfast", "-x264-params", "aud=1:keyint=10:scenecut=0:" + parameters, "-pix_fmt", pixelFormat};
}

QStringList options265(const QString& parameters, const QString& pixelFormat)
{
    return {"-preset",      "ultrafast",
            "-x265-params", "aud=1:keyint=10:pools=none:frame-threads=1:log-level=none:" + parameters,
            "-pix_fmt",     pixelFormat};
}

const QStringList toFullRange{"-vf", "scale=in_range=limited:out_range=full"};
} // namespace

class tst_VideoDecoder : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void create_returnsNull_forWhatCannotBe_data();
    void create_returnsNull_forWhatCannotBe();
    void create_readsTheHardwareNameToItsEndOnly();
    void create_asksForTheDeviceNamed();
    void create_returnsNull_whenDeviceIsMissing();
    void create_takesNoNameForSoftware();

    void decode_equalsFFmpeg_data();
    void decode_equalsFFmpeg();
    void decode_givesPictureAtOnce_withoutBFrames_data();
    void decode_givesPictureAtOnce_withoutBFrames();
    void decode_givesEmptyRecord_whileItWaits();
    void decode_converts_data();
    void decode_converts();
    void decode_givesNv12_withHardware();
    void decode_givesRgb_data();
    void decode_givesRgb();
    void decode_givesRgbOfOnePictureOnly();
    void decode_followsSizeOfStream_data();
    void decode_followsSizeOfStream();
    void decode_handsOnTimestampAndKeyFlag();

    void picture_staysWhileNextIsDecoded_data();
    void picture_staysWhileNextIsDecoded();
    void picture_stays_whenNextHasAnotherSize();
    void picture_stays_whenFramesGiveNothing();

    void decode_fails_withoutData_data();
    void decode_fails_withoutData();
    void decode_readsNothingBehindTheData();
    void decode_fails_beforeFirstKeyFrame();
    void decode_succeeds_forParameterSetsAlone_data();
    void decode_succeeds_forParameterSetsAlone();
    void decode_goesOn_afterGarbage_data();
    void decode_goesOn_afterGarbage();
    void functions_fail_withoutHandle();
    void decode_worksInSeveralThreads();

private:
    QByteArray video264;
    QVector<QByteArray> frames264;
};

void tst_VideoDecoder::initTestCase()
{
    mediaproc_init();
    video264 = VideoFrames::encode(h264, size, frameCount, VideoFrames::plain(h264));
    frames264 = VideoFrames::split(h264, video264);
    QCOMPARE(frames264.size(), frameCount);
}

void tst_VideoDecoder::cleanup() { FFmpegCalls::setDevice(FFmpegCalls::Device::AsItIs); }

void tst_VideoDecoder::create_returnsNull_forWhatCannotBe_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<QByteArray>("hardware");
    QTest::newRow("no codec") << 0 << 320 << 240 << QByteArray("none");
    QTest::newRow("codec 3") << 3 << 320 << 240 << QByteArray("none");
    QTest::newRow("codec -1") << -1 << 320 << 240 << QByteArray("none");
    QTest::newRow("sound") << 33 << 320 << 240 << QByteArray("none");
    QTest::newRow("no width") << 1 << 0 << 240 << QByteArray("none");
    QTest::newRow("no height") << 2 << 320 << 0 << QByteArray("none");
    QTest::newRow("negative width") << 1 << -320 << 240 << QByteArray("none");
    QTest::newRow("negative height") << 2 << 320 << -240 << QByteArray("none");
    QTest::newRow("both negative") << 1 << -320 << -240 << QByteArray("none");
    QTest::newRow("largest numbers") << 1 << INT_MAX << INT_MAX << QByteArray("none");
    QTest::newRow("too wide") << 1 << 16385 << 16 << QByteArray("none");
    QTest::newRow("too many pixels") << 1 << 16384 << 16384 << QByteArray("none");
    QTest::newRow("unknown hardware") << 1 << 320 << 240 << QByteArray("no such device");
    QTest::newRow("hardware in capitals") << 1 << 320 << 240 << QByteArray("NONE");
    QTest::newRow("hardware begins like none") << 1 << 320 << 240 << QByteArray("nonesuch");
}

void tst_VideoDecoder::create_returnsNull_forWhatCannotBe()
{
    QFETCH(int, codec);
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(QByteArray, hardware);
    QVERIFY(!makeVideoDecoder(videoParam(codec, width, height, hardware)));
    QVERIFY(!mediaproc_create_video_decoder(nullptr));
}

void tst_VideoDecoder::create_readsTheHardwareNameToItsEndOnly()
{
    const _tag_vdec_param_s param = videoParam(h264, 320, 240, QByteArray(32, 'x'));
    const GuardedPages pages(QByteArray(reinterpret_cast<const char*>(&param), sizeof param));
    QVERIFY(!mediaproc_create_video_decoder(reinterpret_cast<const _tag_vdec_param_s*>(pages.begin())));

    // A name that goes on behind "none" is another name, also where only zeros are missing.
    _tag_vdec_param_s padded = videoParam(h264);
    memset(padded.hardware + 4, ' ', sizeof padded.hardware - 4);
    QVERIFY(!makeVideoDecoder(padded));
}

void tst_VideoDecoder::create_asksForTheDeviceNamed()
{
    for (const char* name : {"vaapi", "cuda"}) {
        FFmpegCalls::setDevice(FFmpegCalls::Device::Software);
        QVERIFY(makeVideoDecoder(videoParam(h265, 320, 240, name)));
        QCOMPARE(FFmpegCalls::devicesAsked(), 1);
        QCOMPARE(FFmpegCalls::lastDevice(), QByteArray(name));
    }
}

void tst_VideoDecoder::create_returnsNull_whenDeviceIsMissing()
{
    FFmpegCalls::setDevice(FFmpegCalls::Device::Missing);
    QVERIFY(!makeVideoDecoder(videoParam(h264, 320, 240, "vaapi")));
    QVERIFY(!makeVideoDecoder(videoParam(h265, 320, 240, "cuda")));
    QCOMPARE(FFmpegCalls::devicesAsked(), 2);
}

void tst_VideoDecoder::create_takesNoNameForSoftware()
{
    const VideoDecoderHandle decoder = makeVideoDecoder(videoParam(h264, 320, 240, ""));
    QVERIFY(decoder);
    _tag_yuv_frame_s picture = garbagePicture();
    QCOMPARE(decode(decoder, frames264.first(), &picture), 0);
    QVERIFY(picture.plane[2]);
    QCOMPARE(FFmpegCalls::devicesAsked(), 0);
}

void tst_VideoDecoder::decode_equalsFFmpeg_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<QSize>("pictureSize");
    QTest::addColumn<QStringList>("encoderOptions");
    QTest::addColumn<int>("held");
    QTest::newRow("H.264") << h264 << size << VideoFrames::plain(h264) << 0;
    QTest::newRow("H.264, B frames") << h264 << size << VideoFrames::withBFrames(h264) << 2;
    QTest::newRow("H.264, one B frame") << h264 << size << options("bframes=1:b-adapt=0:b-pyramid=none") << 1;
    QTest::newRow("H.264, slices") << h264 << size << options("bframes=0:slices=4") << 0;
    QTest::newRow("H.264, intra refresh") << h264 << size << options("bframes=0:intra-refresh=1") << 0;
    QTest::newRow("H.264, open groups") << h264 << size << options("bframes=2:b-adapt=0:open-gop=1") << 2;
    QTest::newRow("H.264, interlaced") << h264 << size << options("bframes=0:tff=1") << 0;
    QTest::newRow("H.264, cropped") << h264 << QSize(322, 182) << VideoFrames::plain(h264) << 0;
    QTest::newRow("H.264, tiny") << h264 << QSize(16, 16) << VideoFrames::plain(h264) << 0;
    QTest::newRow("H.264, full range") << h264 << size << options("bframes=0:fullrange=on", "yuvj420p") << 0;
    QTest::newRow("H.265") << h265 << size << VideoFrames::plain(h265) << 0;
    QTest::newRow("H.265, B frames") << h265 << size << VideoFrames::withBFrames(h265) << 2;
    QTest::newRow("H.265, cropped") << h265 << QSize(322, 182) << VideoFrames::plain(h265) << 0;
    QTest::newRow("H.265, full range") << h265 << size << options265("bframes=0:range=full", "yuvj420p") << 0;
}

void tst_VideoDecoder::decode_equalsFFmpeg()
{
    QFETCH(int, codec);
    QFETCH(QSize, pictureSize);
    QFETCH(QStringList, encoderOptions);
    QFETCH(int, held);
    const QByteArray video = VideoFrames::encode(codec, pictureSize, frameCount, encoderOptions);
    const QVector<QByteArray> frames = VideoFrames::split(codec, video);
    QCOMPARE(frames.size(), frameCount);
    const QString format = encoderOptions.contains("yuvj420p") ? "yuvj420p" : "yuv420p";
    const QByteArray expected = VideoFrames::decodedByFFmpeg(codec, video, format);
    const int bytes = VideoFrames::bytesOf(pictureSize);
    QCOMPARE(expected.size(), frameCount * bytes);

    // The size that a decoder is made for is what a frame's header said, and need not be the stream's.
    const VideoDecoderHandle decoder = makeVideoDecoder(videoParam(codec, 1920, 1080));
    QVERIFY(decoder);
    int shown = 0;
    for (const QByteArray& frame : frames) {
        _tag_yuv_frame_s picture = garbagePicture();
        QCOMPARE(decode(decoder, frame, &picture), 0);
        if (VideoFrames::isEmpty(picture))
            continue;
        QCOMPARE(QSize(picture.width, picture.height), pictureSize);
        QVERIFY2(VideoFrames::planes(picture) == expected.mid(shown * bytes, bytes),
                 qPrintable(QString("picture %1").arg(shown)));
        ++shown;
    }
    QCOMPARE(shown, frameCount - held);
}

void tst_VideoDecoder::decode_givesPictureAtOnce_withoutBFrames_data()
{
    QTest::addColumn<int>("codec");
    QTest::newRow("H.264") << h264;
    QTest::newRow("H.265") << h265;
}

void tst_VideoDecoder::decode_givesPictureAtOnce_withoutBFrames()
{
    QFETCH(int, codec);
    const QVector<QByteArray> frames = VideoFrames::split(
        codec, VideoFrames::encodeTestPictures(codec, size, frameCount, VideoFrames::plain(codec)));
    QCOMPARE(frames.size(), frameCount);
    const VideoDecoderHandle decoder = makeVideoDecoder(videoParam(codec));
    for (int number = 0; number < frameCount; ++number) {
        _tag_yuv_frame_s picture = garbagePicture();
        QCOMPARE(decode(decoder, frames.at(number), &picture), 0);
        QVERIFY(picture.plane[0]);
        QCOMPARE(TestPicture::number(picture.plane[0], picture.width, picture.height, picture.y_stride), number);
    }
}

void tst_VideoDecoder::decode_givesEmptyRecord_whileItWaits()
{
    for (const int codec : {h264, h265}) {
        const QVector<QByteArray> frames
            = VideoFrames::split(codec, VideoFrames::encode(codec, size, 6, VideoFrames::withBFrames(codec)));
        QCOMPARE(frames.size(), 6);
        const VideoDecoderHandle decoder = makeVideoDecoder(videoParam(codec));
        _tag_yuv_frame_s picture = garbagePicture();
        _tag_rgb_frame_s colors;
        memset(&colors, 0x5A, sizeof colors);
        QCOMPARE(decode(decoder, frames.first(), &picture, &colors, true), 0);
        QVERIFY(VideoFrames::isEmpty(picture));
        QVERIFY(!colors.data && colors.width == 0 && colors.height == 0 && colors.stride == 0);
    }
}

void tst_VideoDecoder::decode_converts_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<QStringList>("encoderOptions");
    QTest::newRow("H.264 4:2:2") << h264 << options("bframes=0", "yuv422p");
    QTest::newRow("H.264 4:4:4") << h264 << options("bframes=0", "yuv444p");
    QTest::newRow("H.264 10 bits") << h264 << options("bframes=0", "yuv420p10");
    QTest::newRow("H.265 10 bits") << h265 << options265("bframes=0", "yuv420p10");
    QTest::newRow("H.265 12 bits 4:2:2") << h265 << options265("bframes=0", "yuv422p12");
    QTest::newRow("H.265 gray") << h265
                                << QStringList{"-vf", "extractplanes=y"}
            + options265("bframes=0:range=limited", "gray");
    QTest::newRow("H.264 4:4:4 full range") << h264 << options("bframes=0:fullrange=on", "yuvj444p");
    QTest::newRow("H.265 10 bits full range") << h265 << toFullRange + options265("bframes=0:range=full", "yuv420p10");
}

void tst_VideoDecoder::decode_converts()
{
    QFETCH(int, codec);
    QFETCH(QStringList, encoderOptions);
    constexpr int count = 3;
    const bool isGray = encoderOptions.contains("gray");
    const QByteArray video = VideoFrames::encodeTestPictures(codec, size, count, encoderOptions);
    const QVector<QByteArray> frames = VideoFrames::split(codec, video);
    QCOMPARE(frames.size(), count);

    const VideoDecoderHandle decoder = makeVideoDecoder(videoParam(codec));
    for (int number = 0; number < count; ++number) {
        _tag_yuv_frame_s picture = garbagePicture();
        QCOMPARE(decode(decoder, frames.at(number), &picture), 0);
        QVERIFY(picture.plane[0] && picture.plane[1] && picture.plane[2]);
        const QByteArray expected = TestPicture::i420(size, number);
        const QByteArray shown = VideoFrames::planes(picture);
        const int luma = size.width() * size.height();
        QVERIFY2(difference(shown.left(luma), expected.left(luma)) < 2,
                 qPrintable(QString::number(difference(shown.left(luma), expected.left(luma)))));
        const QByteArray chroma = isGray ? QByteArray(luma / 2, '\x80') : expected.mid(luma);
        QVERIFY2(difference(shown.mid(luma), chroma) < 3,
                 qPrintable(QString::number(difference(shown.mid(luma), chroma))));
    }
}

void tst_VideoDecoder::decode_givesNv12_withHardware()
{
    FFmpegCalls::setDevice(FFmpegCalls::Device::Software);
    const QByteArray expected = VideoFrames::decodedByFFmpeg(h264, video264, "nv12");
    const int bytes = VideoFrames::bytesOf(size);
    QCOMPARE(expected.size(), frameCount * bytes);
    const VideoDecoderHandle decoder = makeVideoDecoder(videoParam(h264, 320, 240, "vaapi"));
    QVERIFY(decoder);
    for (int number = 0; number < frameCount; ++number) {
        _tag_yuv_frame_s picture = garbagePicture();
        QCOMPARE(decode(decoder, frames264.at(number), &picture), 0);
        QVERIFY(picture.plane[0] && picture.plane[1] && !picture.plane[2]);
        QVERIFY2(VideoFrames::planesNv12(picture) == expected.mid(number * bytes, bytes),
                 qPrintable(QString("picture %1").arg(number)));
    }
}

void tst_VideoDecoder::decode_givesRgb_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<QStringList>("encoderOptions");
    QTest::newRow("H.264") << h264 << VideoFrames::plain(h264);
    QTest::newRow("H.265") << h265 << VideoFrames::plain(h265);
    QTest::newRow("full range") << h264 << options("bframes=0:fullrange=on", "yuvj420p");
    QTest::newRow("full range 4:4:4") << h264 << options("bframes=0:fullrange=on", "yuvj444p");
    QTest::newRow("10 bits") << h265 << options265("bframes=0", "yuv420p10");
    QTest::newRow("10 bits full range") << h265 << toFullRange + options265("bframes=0:range=full", "yuv420p10");
    QTest::newRow("BT.709") << h264
                            << QStringList{"-vf", "scale=in_color_matrix=bt601:out_color_matrix=bt709"}
            + options("bframes=0:colormatrix=bt709");
}

void tst_VideoDecoder::decode_givesRgb()
{
    QFETCH(int, codec);
    QFETCH(QStringList, encoderOptions);
    constexpr int count = 3;
    const QVector<QByteArray> frames
        = VideoFrames::split(codec, VideoFrames::encodeTestPictures(codec, size, count, encoderOptions));
    QCOMPARE(frames.size(), count);
    const VideoDecoderHandle decoder = makeVideoDecoder(videoParam(codec));
    for (int number = 0; number < count; ++number) {
        _tag_yuv_frame_s picture = garbagePicture();
        _tag_rgb_frame_s colors{};
        QCOMPARE(decode(decoder, frames.at(number), &picture, &colors), 0);
        QVERIFY(picture.plane[0]);
        QVERIFY(colors.data);
        QCOMPARE(QSize(colors.width, colors.height), size);
        QVERIFY(colors.stride >= 3 * colors.width);
        const QImage image(colors.data, colors.width, colors.height, colors.stride, QImage::Format_RGB888);
        QCOMPARE(TestPicture::number(image), number);
        QVERIFY(TestPicture::hasColors(image, 8));
    }
}

void tst_VideoDecoder::decode_givesRgbOfOnePictureOnly()
{
    const VideoDecoderHandle decoder = makeVideoDecoder(videoParam(h264));
    _tag_yuv_frame_s picture{};
    _tag_rgb_frame_s colors{};
    QCOMPARE(decode(decoder, frames264.at(0), &picture, &colors), 0);
    QVERIFY(colors.data);
    QCOMPARE(decode(decoder, QByteArray("no frame"), &picture, &colors), -1);
    QVERIFY(!colors.data && colors.width == 0);
    QCOMPARE(decode(decoder, frames264.at(1), &picture, nullptr), 0);
    QVERIFY(picture.plane[0]);
    QCOMPARE(decode(decoder, frames264.at(2), &picture, &colors), 0);
    const QByteArray expected = VideoFrames::decodedByFFmpeg(h264, video264, "rgb24");
    const int bytes = size.width() * size.height() * 3;
    QVERIFY(difference(VideoFrames::pixels(colors), expected.mid(2 * bytes, bytes)) < 2);
}

void tst_VideoDecoder::decode_followsSizeOfStream_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<QString>("hardware");
    QTest::newRow("H.264") << h264 << "none";
    QTest::newRow("H.265") << h265 << "none";
    QTest::newRow("H.264 to NV12") << h264 << "vaapi";
}

void tst_VideoDecoder::decode_followsSizeOfStream()
{
    QFETCH(int, codec);
    QFETCH(QString, hardware);
    constexpr int count = 5;
    FFmpegCalls::setDevice(FFmpegCalls::Device::Software);
    const VideoDecoderHandle decoder = makeVideoDecoder(videoParam(codec, 320, 240, hardware.toLatin1()));
    QVERIFY(decoder);
    for (const QSize& next : {size, otherSize, QSize(64, 48), size}) {
        const QByteArray video = VideoFrames::encode(codec, next, count, VideoFrames::plain(codec));
        const QByteArray expected = VideoFrames::decodedByFFmpeg(codec, video, hardware == "none" ? "yuv420p" : "nv12");
        const QVector<QByteArray> frames = VideoFrames::split(codec, video);
        QCOMPARE(frames.size(), count);
        for (int number = 0; number < count; ++number) {
            _tag_yuv_frame_s picture = garbagePicture();
            _tag_rgb_frame_s colors{};
            QCOMPARE(decode(decoder, frames.at(number), &picture, &colors), 0);
            QCOMPARE(QSize(picture.width, picture.height), next);
            QCOMPARE(QSize(colors.width, colors.height), next);
            const QByteArray shown
                = hardware == "none" ? VideoFrames::planes(picture) : VideoFrames::planesNv12(picture);
            QVERIFY(shown == expected.mid(number * VideoFrames::bytesOf(next), VideoFrames::bytesOf(next)));
        }
    }
}

void tst_VideoDecoder::decode_handsOnTimestampAndKeyFlag()
{
    const VideoDecoderHandle decoder = makeVideoDecoder(videoParam(h264));
    _tag_yuv_frame_s picture{};
    QCOMPARE(decode(decoder, frames264.at(0), &picture, nullptr, true, 1714557600123u), 0);
    QCOMPARE(FFmpegCalls::lastPacket().time, 1714557600123);
    QVERIFY(FFmpegCalls::lastPacket().isKeyFrame);
    QCOMPARE(FFmpegCalls::lastPacket().data, frames264.at(0));
    QCOMPARE(decode(decoder, frames264.at(1), &picture, nullptr, false, 1714557600163u), 0);
    QCOMPARE(FFmpegCalls::lastPacket().time, 1714557600163);
    QVERIFY(!FFmpegCalls::lastPacket().isKeyFrame);
    QCOMPARE(FFmpegCalls::lastPacket().padding, QByteArray(FFmpegCalls::lastPacket().padding.size(), '\0'));
}

void tst_VideoDecoder::picture_staysWhileNextIsDecoded_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<QStringList>("encoderOptions");
    QTest::newRow("H.264") << h264 << VideoFrames::plain(h264);
    QTest::newRow("H.264, key frames only") << h264 << options("keyint=1");
    QTest::newRow("H.264, one reference") << h264 << options("bframes=0:ref=1");
    QTest::newRow("H.264, B frames") << h264 << VideoFrames::withBFrames(h264);
    QTest::newRow("H.264, converted") << h264 << options("bframes=0", "yuv422p");
    QTest::newRow("H.265") << h265 << VideoFrames::plain(h265);
    QTest::newRow("H.265, B frames") << h265 << VideoFrames::withBFrames(h265);
    QTest::newRow("H.265, converted") << h265 << options265("bframes=0", "yuv420p10");
}

void tst_VideoDecoder::picture_staysWhileNextIsDecoded()
{
    QFETCH(int, codec);
    QFETCH(QStringList, encoderOptions);
    const QVector<QByteArray> frames
        = VideoFrames::split(codec, VideoFrames::encode(codec, size, frameCount, encoderOptions));
    QCOMPARE(frames.size(), frameCount);
    const VideoDecoderHandle decoder = makeVideoDecoder(videoParam(codec));
    _tag_yuv_frame_s previous{};
    QByteArray content;
    int compared = 0;
    for (const QByteArray& frame : frames) {
        _tag_yuv_frame_s picture{};
        QCOMPARE(decode(decoder, frame, &picture), 0);
        if (VideoFrames::isEmpty(picture))
            continue;
        if (previous.plane[0]) {
            QVERIFY(VideoFrames::planes(previous) == content);
            QVERIFY(picture.plane[0] != previous.plane[0]);
            ++compared;
        }
        previous = picture;
        content = VideoFrames::planes(picture);
    }
    QVERIFY(compared >= frameCount - 3);
}

void tst_VideoDecoder::picture_stays_whenNextHasAnotherSize()
{
    // Another size makes the decoder give its memory back, not only keep it for the next picture.
    const QVector<QByteArray> small = frames264;
    const QVector<QByteArray> large
        = VideoFrames::split(h264, VideoFrames::encode(h264, otherSize, 3, VideoFrames::plain(h264)));
    const VideoDecoderHandle decoder = makeVideoDecoder(videoParam(h264));
    _tag_yuv_frame_s first{};
    _tag_yuv_frame_s second{};
    for (int round = 0; round < 4; ++round) {
        QCOMPARE(decode(decoder, round % 2 ? small.first() : large.first(), &first), 0);
        const QByteArray content = VideoFrames::planes(first);
        QCOMPARE(decode(decoder, round % 2 ? large.first() : small.first(), &second), 0);
        QVERIFY(second.width != first.width);
        QVERIFY(VideoFrames::planes(first) == content);
    }
}

void tst_VideoDecoder::picture_stays_whenFramesGiveNothing()
{
    const QVector<QByteArray> large
        = VideoFrames::split(h264, VideoFrames::encode(h264, otherSize, 3, VideoFrames::plain(h264)));
    const VideoDecoderHandle decoder = makeVideoDecoder(videoParam(h264));
    _tag_yuv_frame_s first{};
    _tag_yuv_frame_s second{};
    QCOMPARE(decode(decoder, large.at(0), &first), 0);
    QCOMPARE(decode(decoder, frames264.at(0), &second), 0);
    const QByteArray firstContent = VideoFrames::planes(first);
    const QByteArray secondContent = VideoFrames::planes(second);
    for (int count = 0; count < 5; ++count) {
        _tag_yuv_frame_s none = garbagePicture();
        QCOMPARE(decode(decoder, QByteArray(200, static_cast<char>('a' + count)), &none), -1);
        QVERIFY(VideoFrames::isEmpty(none));
        QCOMPARE(decode(decoder, frames264.at(0).left(60), &none), 0); // parameter sets
        QVERIFY(VideoFrames::isEmpty(none));
    }
    QVERIFY(VideoFrames::planes(first) == firstContent);
    QVERIFY(VideoFrames::planes(second) == secondContent);
}

void tst_VideoDecoder::decode_fails_withoutData_data()
{
    QTest::addColumn<bool>("isNull");
    QTest::addColumn<quint32>("length");
    QTest::newRow("null") << true << 100u;
    QTest::newRow("null and empty") << true << 0u;
    QTest::newRow("empty") << false << 0u;
    QTest::newRow("more than a stream holds") << false << (64u << 20) + 1;
    QTest::newRow("negative as unsigned") << false << 0xFFFFFFFFu;
    QTest::newRow("most for a signed number") << false << 0x7FFFFFFFu;
    QTest::newRow("padding would overflow") << false << 0xFFFFFFFFu - 32;
}

void tst_VideoDecoder::decode_fails_withoutData()
{
    QFETCH(bool, isNull);
    QFETCH(quint32, length);
    const GuardedPages pages{QByteArray(1, 'x')};
    const auto* data = reinterpret_cast<const uint8_t*>(pages.untouchable());
    const VideoDecoderHandle decoder = makeVideoDecoder(videoParam(h264));
    _tag_yuv_frame_s picture = garbagePicture();
    _tag_rgb_frame_s colors;
    memset(&colors, 0x5A, sizeof colors);
    QCOMPARE(mediaproc_decoder_video_frame(decoder.get(), isNull ? nullptr : data, length, 1, 0, &picture, &colors),
             -1);
    QVERIFY(VideoFrames::isEmpty(picture));
    QVERIFY(!colors.data && colors.width == 0 && colors.height == 0 && colors.stride == 0);

    // An empty packet would have ended the stream for the decoder.
    QCOMPARE(decode(decoder, frames264.first(), &picture), 0);
    QVERIFY(picture.plane[0]);
}

void tst_VideoDecoder::decode_readsNothingBehindTheData()
{
    const VideoDecoderHandle decoder = makeVideoDecoder(videoParam(h264));
    for (int number = 0; number < 3; ++number) {
        const GuardedPages pages(frames264.at(number));
        _tag_yuv_frame_s picture{};
        QCOMPARE(mediaproc_decoder_video_frame(decoder.get(), reinterpret_cast<const uint8_t*>(pages.begin()),
                                               static_cast<uint32_t>(frames264.at(number).size()), 0, 0, &picture,
                                               nullptr),
                 0);
        QVERIFY(picture.plane[0]);
    }
}

void tst_VideoDecoder::decode_fails_beforeFirstKeyFrame()
{
    const VideoDecoderHandle decoder = makeVideoDecoder(videoParam(h264));
    _tag_yuv_frame_s picture = garbagePicture();
    QCOMPARE(decode(decoder, frames264.at(3), &picture), -1);
    QVERIFY(VideoFrames::isEmpty(picture));
    QCOMPARE(decode(decoder, frames264.at(10), &picture, nullptr, true), 0);
    QVERIFY(picture.plane[0]);
}

void tst_VideoDecoder::decode_succeeds_forParameterSetsAlone_data() { decode_givesPictureAtOnce_withoutBFrames_data(); }

void tst_VideoDecoder::decode_succeeds_forParameterSetsAlone()
{
    QFETCH(int, codec);
    const QByteArray video = VideoFrames::encode(codec, size, 2, VideoFrames::plain(codec));
    const QByteArray keyFrame = VideoFrames::split(codec, video).first();
    // The unit of the picture itself is the last one, behind the supplemental information.
    const int pictureAt = keyFrame.lastIndexOf(QByteArray("\0\0\1", 3));
    const VideoDecoderHandle decoder = makeVideoDecoder(videoParam(codec));
    _tag_yuv_frame_s picture = garbagePicture();
    QCOMPARE(decode(decoder, keyFrame.left(pictureAt), &picture), 0);
    QVERIFY(VideoFrames::isEmpty(picture));
    QCOMPARE(decode(decoder, keyFrame.mid(pictureAt), &picture), 0);
    QCOMPARE(QSize(picture.width, picture.height), size);
}

void tst_VideoDecoder::decode_goesOn_afterGarbage_data() { decode_givesPictureAtOnce_withoutBFrames_data(); }

void tst_VideoDecoder::decode_goesOn_afterGarbage()
{
    QFETCH(int, codec);
    const QByteArray video = VideoFrames::encode(codec, size, frameCount, VideoFrames::plain(codec));
    const QVector<QByteArray> frames = VideoFrames::split(codec, video);
    const QByteArray expected = VideoFrames::decodedByFFmpeg(codec, video, "yuv420p");
    const VideoDecoderHandle decoder = makeVideoDecoder(videoParam(codec));
    _tag_yuv_frame_s picture = garbagePicture();
    QCOMPARE(decode(decoder, "this is no frame, and has no start code", &picture), -1);
    QVERIFY(VideoFrames::isEmpty(picture));
    decode(decoder, frames.at(0).left(frames.at(0).size() / 2), &picture);
    decode(decoder, QByteArray(5000, '\xA5'), &picture);
    // From a key frame on the pictures are those of an undisturbed decoder.
    const QByteArray shown = decodeAll(decoder, frames.mid(10));
    QVERIFY(shown == expected.mid(10 * VideoFrames::bytesOf(size)));
}

void tst_VideoDecoder::functions_fail_withoutHandle()
{
    _tag_yuv_frame_s picture = garbagePicture();
    _tag_rgb_frame_s colors;
    memset(&colors, 0x5A, sizeof colors);
    const QByteArray& frame = frames264.first();
    QCOMPARE(decode(VideoDecoderHandle(), frame, &picture, &colors), -1);
    QVERIFY(VideoFrames::isEmpty(picture));
    QVERIFY(!colors.data);
    QCOMPARE(mediaproc_destroy_video_decoder(nullptr), -1);

    const VideoDecoderHandle decoder = makeVideoDecoder(videoParam(h264));
    QCOMPARE(decode(decoder, frame, nullptr), -1);

    const _tag_vdec_param_s param = videoParam(h264);
    QCOMPARE(mediaproc_destroy_video_decoder(mediaproc_create_video_decoder(&param)), 0);
}

void tst_VideoDecoder::decode_worksInSeveralThreads()
{
    const QByteArray expected = VideoFrames::decodedByFFmpeg(h264, video264, "yuv420p");
    std::array<QByteArray, 6> shown;
    std::vector<std::thread> threads;
    for (QByteArray& result : shown) {
        threads.emplace_back([this, &result] {
            for (int round = 0; round < 3; ++round) {
                const VideoDecoderHandle decoder = makeVideoDecoder(videoParam(h264));
                result = decodeAll(decoder, frames264);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (const QByteArray& result : shown)
        QVERIFY(result == expected);
}

QTEST_GUILESS_MAIN(tst_VideoDecoder)
#include "tst_videodecoder.moc"
