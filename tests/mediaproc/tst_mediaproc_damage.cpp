// Streams that no encoder made. What the decoder then shows is its own business; that it touches only memory of its
// own, in the records as well, is what these tests are about. They say most under AddressSanitizer.

#include "mediaproc/codechandle.h"
#include "mediaproc/videoframes.h"

#include <QRandomGenerator>
#include <QTest>

#include <vector>

namespace {
constexpr QSize size(176, 144);
constexpr int seedFrames = 20;
constexpr int rounds = 2000;

quint64 readAll(const quint8* plane, int stride, int bytes, int rows)
{
    quint64 sum = 0;
    for (int row = 0; row < rows; ++row) {
        for (int at = 0; at < bytes; ++at)
            sum += plane[static_cast<qptrdiff>(row) * stride + at];
    }
    return sum;
}

quint64 readAll(const _tag_yuv_frame_s& picture)
{
    if (!picture.plane[0])
        return 0;
    const int chromaWidth = (picture.width + 1) / 2;
    const int chromaHeight = (picture.height + 1) / 2;
    return readAll(picture.plane[0], picture.y_stride, picture.width, picture.height)
        + readAll(picture.plane[1], picture.uv_stride, chromaWidth, chromaHeight)
        + readAll(picture.plane[2], picture.uv_stride, chromaWidth, chromaHeight);
}

quint64 readAll(const _tag_rgb_frame_s& picture)
{
    return picture.data ? readAll(picture.data, picture.stride, picture.width * 3, picture.height) : 0;
}

/// Some bits and bytes changed, mostly few, sometimes many.
QByteArray altered(QByteArray frame, QRandomGenerator& random)
{
    const int changes = 1 + random.bounded(random.bounded(4) == 0 ? 200 : 6);
    for (int change = 0; change < changes && !frame.isEmpty(); ++change) {
        char& byte = frame.data()[random.bounded(frame.size())];
        byte = random.bounded(2) ? static_cast<char>(byte ^ (1 << random.bounded(8)))
                                 : static_cast<char>(random.bounded(256));
    }
    return frame;
}

QByteArray noise(QRandomGenerator& random)
{
    QByteArray bytes(1 + static_cast<int>(random.bounded(600)), '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(random.bounded(256));
    return random.bounded(2) ? QByteArray("\0\0\1", 3) + bytes : bytes;
}

/// What a device with a bad cable sends: altered, cut, spliced and foreign frames among good ones.
QByteArray damaged(const QVector<QByteArray>& frames, const QByteArray& next, QRandomGenerator& random)
{
    const auto anyOf = [&] { return frames.at(static_cast<int>(random.bounded(frames.size()))); };
    switch (random.bounded(8)) {
    case 0:
        return next;
    case 1:
        return next.left(1 + static_cast<int>(random.bounded(next.size())));
    case 2:
        return next.mid(static_cast<int>(random.bounded(next.size())));
    case 3:
        return next.left(next.size() / 2) + anyOf();
    case 4:
        return noise(random);
    case 5:
        return altered(anyOf(), random);
    default:
        return altered(next, random);
    }
}
} // namespace

class tst_MediaprocDamage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void video_touchesOnlyItsOwnMemory_data();
    void video_touchesOnlyItsOwnMemory();
    void video_survivesEveryCut_data();
    void video_survivesEveryCut();
    void video_survivesFramesOfTheOtherCodec();
    void sound_survivesNoise();
};

void tst_MediaprocDamage::video_touchesOnlyItsOwnMemory_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<QStringList>("encoderOptions");
    QTest::addColumn<quint32>("seed");
    for (const int codec : {VideoFrames::h264, VideoFrames::h265}) {
        const QByteArray name = codec == VideoFrames::h264 ? "H.264" : "H.265";
        QTest::newRow(name + ", plain") << codec << VideoFrames::plain(codec) << 20240501u;
        QTest::newRow(name + ", B frames") << codec << VideoFrames::withBFrames(codec) << 20240502u;
    }
    QTest::newRow("H.264, slices and fields")
        << VideoFrames::h264
        << QStringList{"-preset", "veryfast", "-x264-params", "aud=1:keyint=5:slices=3:tff=1", "-pix_fmt", "yuv420p"}
        << 20240503u;
    QTest::newRow("H.264, converted") << VideoFrames::h264
                                      << QStringList{"-preset",  "veryfast", "-x264-params", "aud=1:keyint=5:bframes=1",
                                                     "-pix_fmt", "yuv422p10"}
                                      << 20240504u;
}

void tst_MediaprocDamage::video_touchesOnlyItsOwnMemory()
{
    QFETCH(int, codec);
    QFETCH(QStringList, encoderOptions);
    QFETCH(quint32, seed);
    const QVector<QByteArray> frames
        = VideoFrames::split(codec, VideoFrames::encode(codec, size, seedFrames, encoderOptions));
    QCOMPARE(frames.size(), seedFrames);

    QRandomGenerator random(seed);
    const VideoDecoderHandle decoder = makeVideoDecoder(videoParam(codec));
    _tag_yuv_frame_s last{};
    quint64 sum = 0;
    int pictures = 0;
    for (int round = 0; round < rounds; ++round) {
        const QByteArray frame = damaged(frames, frames.at(round % seedFrames), random);
        _tag_yuv_frame_s picture{};
        _tag_rgb_frame_s colors{};
        const bool wantsColors = random.bounded(3) == 0;
        const int result = decode(decoder, frame, &picture, wantsColors ? &colors : nullptr, random.bounded(2) == 0);
        QVERIFY(result == 0 || result == -1);
        QVERIFY(result == 0 || VideoFrames::isEmpty(picture));
        QCOMPARE(colors.data != nullptr, wantsColors && picture.plane[0]);
        sum += readAll(picture) + readAll(colors) + readAll(last);
        if (!picture.plane[0])
            continue;
        last = picture;
        ++pictures;
    }
    QVERIFY2(pictures > rounds / 10, qPrintable(QString::number(pictures)));
    QVERIFY(sum > 0);

    // An undamaged key frame brings the picture back.
    _tag_yuv_frame_s picture{};
    for (int round = 0; round < 2 * seedFrames; ++round) {
        picture = {};
        decode(decoder, frames.at(round % seedFrames), &picture, nullptr, round % seedFrames == 0);
    }
    QCOMPARE(QSize(picture.width, picture.height), size);
}

void tst_MediaprocDamage::video_survivesEveryCut_data()
{
    QTest::addColumn<int>("codec");
    QTest::newRow("H.264") << VideoFrames::h264;
    QTest::newRow("H.265") << VideoFrames::h265;
}

void tst_MediaprocDamage::video_survivesEveryCut()
{
    QFETCH(int, codec);
    const QVector<QByteArray> frames
        = VideoFrames::split(codec, VideoFrames::encode(codec, QSize(64, 64), 2, VideoFrames::plain(codec)));
    QCOMPARE(frames.size(), 2);
    const VideoDecoderHandle decoder = makeVideoDecoder(videoParam(codec));
    const QByteArray& keyFrame = frames.first();
    quint64 sum = 0;
    for (int length = 1; length < qMin(keyFrame.size(), 3000); ++length) {
        // A heap block of exactly that size, as a reader that allocates per frame has it.
        const std::vector<uint8_t> part(keyFrame.begin(), keyFrame.begin() + length);
        _tag_yuv_frame_s picture{};
        mediaproc_decoder_video_frame(decoder.get(), part.data(), static_cast<uint32_t>(part.size()), 1, 0, &picture,
                                      nullptr);
        sum += readAll(picture);
    }
    _tag_yuv_frame_s picture{};
    QCOMPARE(decode(decoder, keyFrame, &picture, nullptr, true), 0);
    QVERIFY(sum + readAll(picture) > 0);
}

void tst_MediaprocDamage::video_survivesFramesOfTheOtherCodec()
{
    for (const int codec : {VideoFrames::h264, VideoFrames::h265}) {
        const int other = codec == VideoFrames::h264 ? VideoFrames::h265 : VideoFrames::h264;
        const VideoDecoderHandle decoder = makeVideoDecoder(videoParam(codec));
        const QVector<QByteArray> frames
            = VideoFrames::split(other, VideoFrames::encode(other, size, 10, VideoFrames::plain(other)));
        QCOMPARE(frames.size(), 10);
        for (const QByteArray& frame : frames) {
            _tag_yuv_frame_s picture{};
            decode(decoder, frame, &picture);
            QVERIFY(VideoFrames::isEmpty(picture));
        }
    }
}

void tst_MediaprocDamage::sound_survivesNoise()
{
    QRandomGenerator random(20240505);
    for (int round = 0; round < rounds; ++round) {
        const _tag_adec_param_s param{33 + static_cast<int>(random.bounded(2)), 8000, 16,
                                      1 + static_cast<int>(random.bounded(8))};
        const AudioDecoderHandle decoder(mediaproc_create_audio_decoder(&param));
        QVERIFY(decoder);
        const QByteArray sound = noise(random);
        _tag_audio_frame_s audio{};
        const int result
            = mediaproc_decoder_audio_frame(decoder.get(), reinterpret_cast<const uint8_t*>(sound.constData()),
                                            static_cast<uint32_t>(sound.size()), 0, &audio);
        QCOMPARE(result, sound.size() < param.channels ? -1 : 0);
        QCOMPARE(audio.length, static_cast<uint64_t>(sound.size() / param.channels * param.channels) * 2);
    }
}

QTEST_GUILESS_MAIN(tst_MediaprocDamage)
#include "tst_mediaproc_damage.moc"
