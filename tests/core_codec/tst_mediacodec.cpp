#include "core_codec/mediacodec.h"

#include "core_codec/scriptedmediaproc.h"
#include "mediaproc/codechandle.h"
#include "mediaproc/videoframes.h"
#include "support/messageguard.h"

#include <QTest>

#include <memory>
#include <thread>
#include <vector>

using VideoFrames::h264;

namespace {
constexpr QSize size(320, 240);
constexpr int frameCount = 12;
constexpr _tag_adec_param_s decoderParam{34, 8000, 16, 1};
constexpr _tag_aenc_param_s encoderParam{34, 8000, 16, 1};

unsigned char* bytesOf(QByteArray& data) { return reinterpret_cast<unsigned char*>(data.data()); }

unsigned int lengthOf(const QByteArray& data) { return static_cast<unsigned int>(data.size()); }
} // namespace

class tst_MediaCodec : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void construct_initialisesTheLibraryOnce();
    void construct_leavesNoHandle();
    void destruct_destroysWhatIsThere();

    void createVideoDecoder_isRefused_whenThereIsOne();
    void createVideoDecoder_saysSo_whenItFails();
    void createVideoDecoder_triesAgain_afterFailure();
    void createVideoDecoder_handsOnTheRecord_data();
    void createVideoDecoder_handsOnTheRecord();
    void createAudioDecoder_isRefused_whenThereIsOne();
    void createAudioDecoder_saysSo_whenItFails();
    void createAudioEncoder_isRefused_whenThereIsOne();
    void createAudioEncoder_saysSo_whenItFails();

    void decodeVideoFrame_fails_withoutDecoder();
    void decodeVideoFrame_saysSo_whenItFails();
    void decodeVideoFrame_handsOnItsArguments();
    void decodeAudioFrame_fails_withoutDecoder();
    void decodeAudioFrame_saysSo_whenItFails();
    void decodeAudioFrame_handsOnItsArguments();
    void encodeAudioFrame_fails_withoutEncoder();
    void encodeAudioFrame_saysSo_whenItFails();
    void encodeAudioFrame_handsOnItsArguments();
    void results_otherThanMinusOne_areSuccess_data();
    void results_otherThanMinusOne_areSuccess();

    void destroy_clearsTheHandle_alsoWhenItFails();
    void destroy_doesNothing_withoutHandle();
    void destroy_isAboutItsOwnHandleOnly();
    void codec_decodesAndEncodes();

private:
    std::unique_ptr<MessageGuard> guard;
    std::unique_ptr<MediaCodec> codec;
    QByteArray video;
    QVector<QByteArray> frames;
};

void tst_MediaCodec::initTestCase()
{
    video = VideoFrames::encode(h264, size, frameCount, VideoFrames::plain(h264));
    frames = VideoFrames::split(h264, video);
    QCOMPARE(frames.size(), frameCount);
}

void tst_MediaCodec::init()
{
    guard = std::make_unique<MessageGuard>();
    codec = std::make_unique<MediaCodec>();
    ScriptedMediaproc::reset();
}

void tst_MediaCodec::cleanup()
{
    codec.reset();
    QCOMPARE(ScriptedMediaproc::destroyed(), ScriptedMediaproc::created());
    VERIFY_NO_UNEXPECTED_MESSAGES(*guard);
    for (const MessageGuard::Message& message : guard->messages()) {
        QCOMPARE(message.category, QString("vantor.codec"));
        QVERIFY2(message.function.contains("MediaCodec::"), qPrintable(message.function));
    }
    guard.reset();
}

void tst_MediaCodec::construct_initialisesTheLibraryOnce()
{
    QCOMPARE(ScriptedMediaproc::inits(), 1);
    std::vector<std::thread> threads;
    for (int count = 0; count < 8; ++count)
        threads.emplace_back([] { const MediaCodec another; });
    for (std::thread& thread : threads)
        thread.join();
    QCOMPARE(ScriptedMediaproc::inits(), 1);
}

void tst_MediaCodec::construct_leavesNoHandle()
{
    QVERIFY(codec->isVideoDecoderNull());
    QVERIFY(codec->isAudioDecoderNull());
    QCOMPARE(ScriptedMediaproc::created(), 0);
}

void tst_MediaCodec::destruct_destroysWhatIsThere()
{
    QVERIFY(codec->createVideoDecoder(videoParam(h264)));
    QVERIFY(codec->createAudioDecoder(decoderParam));
    QVERIFY(codec->createAudioEncoder(encoderParam));
    QCOMPARE(ScriptedMediaproc::created(), 3);
    codec.reset();
    QCOMPARE(ScriptedMediaproc::destroyed(), 3);
}

void tst_MediaCodec::createVideoDecoder_isRefused_whenThereIsOne()
{
    guard->allow("^video decoder not destroy$");
    QVERIFY(codec->createVideoDecoder(videoParam(h264)));
    QVERIFY(!codec->isVideoDecoderNull());
    _tag_yuv_frame_s picture{};
    QVERIFY(codec->decodeVideoFrame(bytesOf(frames[0]), lengthOf(frames[0]), 1, 0, &picture, nullptr));
    QVERIFY(!codec->createVideoDecoder(videoParam(VideoFrames::h265)));
    QCOMPARE(guard->count(QtWarningMsg, "video decoder not destroy"), 1);
    QCOMPARE(guard->messages().size(), 1);
    QCOMPARE(ScriptedMediaproc::created(), 1);

    // The first one goes on where it was: its next frame needs the one before.
    const QByteArray expected = VideoFrames::decodedByFFmpeg(h264, video, "yuv420p");
    QVERIFY(codec->decodeVideoFrame(bytesOf(frames[1]), lengthOf(frames[1]), 0, 40, &picture, nullptr));
    QVERIFY(VideoFrames::planes(picture) == expected.mid(VideoFrames::bytesOf(size), VideoFrames::bytesOf(size)));
}

void tst_MediaCodec::createVideoDecoder_saysSo_whenItFails()
{
    guard->allow("^create video decoder failed$");
    QVERIFY(!codec->createVideoDecoder(videoParam(0)));
    QVERIFY(codec->isVideoDecoderNull());
    QCOMPARE(guard->count(QtCriticalMsg, "create video decoder failed"), 1);
    QCOMPARE(guard->messages().size(), 1);
}

void tst_MediaCodec::createVideoDecoder_triesAgain_afterFailure()
{
    guard->allow("^create video decoder failed$");
    QVERIFY(!codec->createVideoDecoder(videoParam(h264, 320, 240, "no such hardware")));
    QVERIFY(codec->createVideoDecoder(videoParam(h264)));
    QVERIFY(!codec->isVideoDecoderNull());
}

void tst_MediaCodec::createVideoDecoder_handsOnTheRecord_data()
{
    QTest::addColumn<QByteArray>("hardware");
    QTest::addColumn<QByteArray>("field");
    QTest::newRow("none") << QByteArray("none") << "none" + QByteArray(28, '\0');
    QTest::newRow("10 characters") << QByteArray("abcdefghij") << "abcdefghij" + QByteArray(22, '\0');
    QTest::newRow("31 characters") << QByteArray(31, 'x') << QByteArray(31, 'x') + QByteArray(1, '\0');
    QTest::newRow("32 characters") << QByteArray(32, 'x') << QByteArray(32, 'x');
    QTest::newRow("40 characters") << QByteArray(32, 'x') + "yyyyyyyy" << QByteArray(32, 'x');
}

void tst_MediaCodec::createVideoDecoder_handsOnTheRecord()
{
    QFETCH(QByteArray, hardware);
    QFETCH(QByteArray, field);
    guard->allow("^create video decoder failed$");
    QCOMPARE(codec->createVideoDecoder(videoParam(h264, 640, 352, hardware)), hardware == "none");
    const QByteArray record = ScriptedMediaproc::lastParam();
    QCOMPARE(record.size(), 44);
    QCOMPARE(record.mid(12), field);
    const qint32 numbers[] = {h264, 640, 352};
    QCOMPARE(record.left(12), QByteArray(reinterpret_cast<const char*>(numbers), 12));
}

void tst_MediaCodec::createAudioDecoder_isRefused_whenThereIsOne()
{
    guard->allow("^audio decoder not destroy$");
    QVERIFY(codec->createAudioDecoder(decoderParam));
    QVERIFY(!codec->isAudioDecoderNull());
    QVERIFY(!codec->createAudioDecoder({33, 8000, 16, 1}));
    QCOMPARE(guard->count(QtWarningMsg, "audio decoder not destroy"), 1);
    QCOMPARE(guard->messages().size(), 1);
    QCOMPARE(ScriptedMediaproc::created(), 1);

    QByteArray coded("\x80");
    _tag_audio_frame_s sound{};
    QVERIFY(codec->decodeAudioFrame(bytesOf(coded), 1, 0, &sound));
    QCOMPARE(*reinterpret_cast<const qint16*>(sound.data), static_cast<qint16>(32124)); // still mu-law
}

void tst_MediaCodec::createAudioDecoder_saysSo_whenItFails()
{
    guard->allow("^create audio decoder failed$");
    QVERIFY(!codec->createAudioDecoder({35, 8000, 16, 1}));
    QVERIFY(codec->isAudioDecoderNull());
    QCOMPARE(guard->count(QtCriticalMsg, "create audio decoder failed"), 1);
    QCOMPARE(guard->messages().size(), 1);
    QVERIFY(codec->createAudioDecoder(decoderParam));
}

void tst_MediaCodec::createAudioEncoder_isRefused_whenThereIsOne()
{
    guard->allow("^audio encoder not destroy$");
    QVERIFY(codec->createAudioEncoder(encoderParam));
    QVERIFY(!codec->createAudioEncoder({33, 8000, 16, 1}));
    QCOMPARE(guard->count(QtWarningMsg, "audio encoder not destroy"), 1);
    QCOMPARE(guard->messages().size(), 1);
    QCOMPARE(ScriptedMediaproc::created(), 1);

    QByteArray silence(2, '\0');
    _tag_audio_frame_s coded{};
    QVERIFY(codec->encodeAudioFrame(bytesOf(silence), 2, 0, &coded));
    QCOMPARE(coded.data[0], static_cast<uint8_t>(0xFF)); // still mu-law
}

void tst_MediaCodec::createAudioEncoder_saysSo_whenItFails()
{
    guard->allow("^create audio encoder failed$");
    QVERIFY(!codec->createAudioEncoder({1, 8000, 16, 1}));
    QCOMPARE(guard->count(QtCriticalMsg, "create audio encoder failed"), 1);
    QCOMPARE(guard->messages().size(), 1);
    QVERIFY(codec->createAudioEncoder(encoderParam));
}

void tst_MediaCodec::decodeVideoFrame_fails_withoutDecoder()
{
    guard->allow("^video decoder is null$");
    _tag_yuv_frame_s picture{};
    QVERIFY(!codec->decodeVideoFrame(bytesOf(frames[0]), lengthOf(frames[0]), 1, 0, &picture, nullptr));
    QCOMPARE(guard->count(QtWarningMsg, "video decoder is null"), 1);
    QCOMPARE(guard->messages().size(), 1);
    QVERIFY(!ScriptedMediaproc::lastCall().output);
}

void tst_MediaCodec::decodeVideoFrame_saysSo_whenItFails()
{
    guard->allow("^video decoder failed$");
    QVERIFY(codec->createVideoDecoder(videoParam(h264)));
    ScriptedMediaproc::setResult(-1);
    _tag_yuv_frame_s picture{};
    QVERIFY(!codec->decodeVideoFrame(bytesOf(frames[0]), lengthOf(frames[0]), 1, 0, &picture, nullptr));
    QCOMPARE(guard->count(QtWarningMsg, "video decoder failed"), 1);
    QCOMPARE(guard->messages().size(), 1);
    ScriptedMediaproc::setResult(0);
}

void tst_MediaCodec::decodeVideoFrame_handsOnItsArguments()
{
    QVERIFY(codec->createVideoDecoder(videoParam(h264)));
    ScriptedMediaproc::setResult(0);
    _tag_yuv_frame_s picture{};
    _tag_rgb_frame_s colors{};
    unsigned char data[] = {1, 2, 3};
    QVERIFY(codec->decodeVideoFrame(data, 3, 1, 0xFEDCBA9876543210u, &picture, &colors));
    const ScriptedMediaproc::Call call = ScriptedMediaproc::lastCall();
    QVERIFY(call.handle);
    QCOMPARE(call.data, data);
    QCOMPARE(call.length, 3u);
    QCOMPARE(call.keyFrame, 1);
    QCOMPARE(call.timestamp, 0xFEDCBA9876543210u);
    QCOMPARE(call.output, static_cast<void*>(&picture));
    QCOMPARE(call.rgb, static_cast<void*>(&colors));
    QVERIFY(codec->decodeVideoFrame(data, 3, 0, 1, &picture, nullptr));
    QCOMPARE(ScriptedMediaproc::lastCall().keyFrame, 0);
    QVERIFY(!ScriptedMediaproc::lastCall().rgb);
}

void tst_MediaCodec::decodeAudioFrame_fails_withoutDecoder()
{
    guard->allow("^audio decoder is null$");
    QVERIFY(codec->createAudioEncoder(encoderParam));
    unsigned char data[] = {1};
    _tag_audio_frame_s sound{};
    QVERIFY(!codec->decodeAudioFrame(data, 1, 0, &sound));
    QCOMPARE(guard->count(QtWarningMsg, "audio decoder is null"), 1);
    QCOMPARE(guard->messages().size(), 1);
}

void tst_MediaCodec::decodeAudioFrame_saysSo_whenItFails()
{
    guard->allow("^decode audio frame failed$");
    QVERIFY(codec->createAudioDecoder(decoderParam));
    unsigned char data[] = {1};
    _tag_audio_frame_s sound{};
    QVERIFY(!codec->decodeAudioFrame(data, 0, 0, &sound));
    QCOMPARE(guard->count(QtWarningMsg, "decode audio frame failed"), 1);
    QCOMPARE(guard->messages().size(), 1);
}

void tst_MediaCodec::decodeAudioFrame_handsOnItsArguments()
{
    QVERIFY(codec->createAudioDecoder(decoderParam));
    ScriptedMediaproc::setResult(0);
    unsigned char data[] = {1, 2, 3};
    _tag_audio_frame_s sound{};
    QVERIFY(codec->decodeAudioFrame(data, 3, 0xFEDCBA9876543210u, &sound));
    const ScriptedMediaproc::Call call = ScriptedMediaproc::lastCall();
    QVERIFY(call.handle);
    QCOMPARE(call.data, data);
    QCOMPARE(call.length, 3u);
    QCOMPARE(call.timestamp, 0xFEDCBA9876543210u);
    QCOMPARE(call.output, static_cast<void*>(&sound));
}

void tst_MediaCodec::encodeAudioFrame_fails_withoutEncoder()
{
    guard->allow("^audio encoder is null$");
    QVERIFY(codec->createAudioDecoder(decoderParam));
    unsigned char data[] = {1, 2};
    _tag_audio_frame_s coded{};
    QVERIFY(!codec->encodeAudioFrame(data, 2, 0, &coded));
    QCOMPARE(guard->count(QtWarningMsg, "audio encoder is null"), 1);
    QCOMPARE(guard->messages().size(), 1);
}

void tst_MediaCodec::encodeAudioFrame_saysSo_whenItFails()
{
    guard->allow("^encode audio frame failed$");
    QVERIFY(codec->createAudioEncoder(encoderParam));
    unsigned char data[] = {1};
    _tag_audio_frame_s coded{};
    QVERIFY(!codec->encodeAudioFrame(data, 1, 0, &coded));
    QCOMPARE(guard->count(QtCriticalMsg, "encode audio frame failed"), 1);
    QCOMPARE(guard->messages().size(), 1);
}

void tst_MediaCodec::encodeAudioFrame_handsOnItsArguments()
{
    QVERIFY(codec->createAudioEncoder(encoderParam));
    ScriptedMediaproc::setResult(0);
    unsigned char data[] = {1, 2, 3, 4};
    _tag_audio_frame_s coded{};
    QVERIFY(codec->encodeAudioFrame(data, 4, 0xFEDCBA9876543210u, &coded));
    const ScriptedMediaproc::Call call = ScriptedMediaproc::lastCall();
    QVERIFY(call.handle);
    QCOMPARE(call.data, data);
    QCOMPARE(call.length, 4u);
    QCOMPARE(call.timestamp, 0xFEDCBA9876543210u);
    QCOMPARE(call.output, static_cast<void*>(&coded));
}

void tst_MediaCodec::results_otherThanMinusOne_areSuccess_data()
{
    QTest::addColumn<int>("result");
    for (const int result : {0, 1, 8, INT_MAX, -2, INT_MIN})
        QTest::newRow(qPrintable(QString::number(result))) << result;
}

void tst_MediaCodec::results_otherThanMinusOne_areSuccess()
{
    QFETCH(int, result);
    QVERIFY(codec->createVideoDecoder(videoParam(h264)));
    QVERIFY(codec->createAudioDecoder(decoderParam));
    QVERIFY(codec->createAudioEncoder(encoderParam));
    ScriptedMediaproc::setResult(result);
    unsigned char data[] = {1, 2};
    _tag_yuv_frame_s picture{};
    _tag_audio_frame_s sound{};
    QVERIFY(codec->decodeVideoFrame(data, 2, 0, 0, &picture, nullptr));
    QVERIFY(codec->decodeAudioFrame(data, 2, 0, &sound));
    QVERIFY(codec->encodeAudioFrame(data, 2, 0, &sound));
    codec->destroyVideoDecoder();
    codec->destroyAudioDecoder();
    codec->destroyAudioEncoder();
    QVERIFY(guard->messages().isEmpty());
}

void tst_MediaCodec::destroy_clearsTheHandle_alsoWhenItFails()
{
    guard->allow("^destroy (video decoder|audio decoder|audio encoder) failed$");
    QVERIFY(codec->createVideoDecoder(videoParam(h264)));
    QVERIFY(codec->createAudioDecoder(decoderParam));
    QVERIFY(codec->createAudioEncoder(encoderParam));
    ScriptedMediaproc::setResult(-1);
    codec->destroyVideoDecoder();
    QVERIFY(codec->isVideoDecoderNull());
    codec->destroyAudioDecoder();
    QVERIFY(codec->isAudioDecoderNull());
    codec->destroyAudioEncoder();
    QCOMPARE(
        guard->texts(QtWarningMsg),
        QStringList({"destroy video decoder failed", "destroy audio decoder failed", "destroy audio encoder failed"}));

    // Without a handle there is nothing that could fail again; a new one may be made.
    codec->destroyVideoDecoder();
    codec->destroyAudioDecoder();
    codec->destroyAudioEncoder();
    QCOMPARE(guard->messages().size(), 3);
    QCOMPARE(ScriptedMediaproc::destroyed(), 3);
    ScriptedMediaproc::setResult(0);
    QVERIFY(codec->createVideoDecoder(videoParam(h264)));
    QVERIFY(codec->createAudioDecoder(decoderParam));
    QVERIFY(codec->createAudioEncoder(encoderParam));
}

void tst_MediaCodec::destroy_doesNothing_withoutHandle()
{
    codec->destroyVideoDecoder();
    codec->destroyAudioDecoder();
    codec->destroyAudioEncoder();
    QCOMPARE(ScriptedMediaproc::destroyed(), 0);
    QVERIFY(guard->messages().isEmpty());
}

void tst_MediaCodec::destroy_isAboutItsOwnHandleOnly()
{
    QVERIFY(codec->createVideoDecoder(videoParam(h264)));
    QVERIFY(codec->createAudioDecoder(decoderParam));
    QVERIFY(codec->createAudioEncoder(encoderParam));
    codec->destroyAudioDecoder();
    QVERIFY(codec->isAudioDecoderNull());
    QVERIFY(!codec->isVideoDecoderNull());
    codec->destroyVideoDecoder();
    QVERIFY(codec->isVideoDecoderNull());
    unsigned char data[] = {0, 0};
    _tag_audio_frame_s coded{};
    QVERIFY(codec->encodeAudioFrame(data, 2, 0, &coded));
    codec->destroyAudioEncoder();
    QCOMPARE(ScriptedMediaproc::destroyed(), 3);
}

void tst_MediaCodec::codec_decodesAndEncodes()
{
    const QByteArray expected = VideoFrames::decodedByFFmpeg(h264, video, "yuv420p");
    QVERIFY(codec->createVideoDecoder(videoParam(h264)));
    QVERIFY(codec->createAudioDecoder(decoderParam));
    QVERIFY(codec->createAudioEncoder(encoderParam));
    QByteArray shown;
    for (int number = 0; number < frameCount; ++number) {
        _tag_yuv_frame_s picture{};
        _tag_rgb_frame_s colors{};
        QVERIFY(codec->decodeVideoFrame(bytesOf(frames[number]), lengthOf(frames[number]), number == 0,
                                        static_cast<quint64>(number) * 40, &picture, &colors));
        QVERIFY(colors.data);
        shown += VideoFrames::planes(picture);
    }
    QVERIFY(shown == expected);

    QByteArray samples("\x7C\x7D\x84\x86", 4); // what the codes 0x80 and 0x01 stand for
    _tag_audio_frame_s coded{};
    QVERIFY(codec->encodeAudioFrame(bytesOf(samples), 4, 0, &coded));
    QCOMPARE(QByteArray(reinterpret_cast<const char*>(coded.data), 2), QByteArray("\x80\x01"));
    _tag_audio_frame_s sound{};
    QVERIFY(codec->decodeAudioFrame(coded.data, static_cast<unsigned int>(coded.length), 0, &sound));
    QCOMPARE(QByteArray(reinterpret_cast<const char*>(sound.data), static_cast<int>(sound.length)), samples);
}

QTEST_GUILESS_MAIN(tst_MediaCodec)
#include "tst_mediacodec.moc"
