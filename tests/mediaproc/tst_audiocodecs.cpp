#include "ffmpegcommand.h"
#include "mediaproc/codechandle.h"
#include "mediaproc/guardedpages.h"

#include <QTest>

#include <array>
#include <thread>
#include <vector>

namespace {
constexpr int aLaw = 33;
constexpr int muLaw = 34;
constexpr int linear = 35;

QString nameOf(int codec) { return codec == aLaw ? "alaw" : "mulaw"; }

QByteArray allCodes()
{
    QByteArray codes;
    for (int code = 0; code < 256; ++code)
        codes.append(static_cast<char>(code));
    return codes;
}

/// Every value that a sample of 16 bits can have, lower byte first.
QByteArray allSamples()
{
    QByteArray samples;
    for (int value = 0; value < 65536; ++value) {
        samples.append(static_cast<char>(value));
        samples.append(static_cast<char>(value >> 8));
    }
    return samples;
}

QByteArray decodedByFFmpeg(int codec, int channels, const QByteArray& encoded)
{
    const CommandResult result
        = runFFmpeg({"-f", nameOf(codec), "-ar", "8000", "-ac", QString::number(channels)}, {"-f", "s16le"}, encoded);
    return result.ok ? result.output : QByteArray();
}

QByteArray encodedByFFmpeg(int codec, int channels, const QByteArray& samples)
{
    const CommandResult result
        = runFFmpeg({"-f", "s16le", "-ar", "8000", "-ac", QString::number(channels)},
                    {"-c:a", codec == aLaw ? "pcm_alaw" : "pcm_mulaw", "-f", nameOf(codec)}, samples);
    return result.ok ? result.output : QByteArray();
}

AudioDecoderHandle makeDecoder(int codec, int channels = 1, int sampleRate = 8000, int bitWidth = 16)
{
    const _tag_adec_param_s param{codec, sampleRate, bitWidth, channels};
    return AudioDecoderHandle(mediaproc_create_audio_decoder(&param));
}

AudioEncoderHandle makeEncoder(int codec, int channels = 1, int sampleRate = 8000, int bitWidth = 16)
{
    const _tag_aenc_param_s param{codec, sampleRate, bitWidth, channels};
    return AudioEncoderHandle(mediaproc_create_audio_encoder(&param));
}

const uint8_t* bytesOf(const QByteArray& data) { return reinterpret_cast<const uint8_t*>(data.constData()); }

int decode(const AudioDecoderHandle& decoder, const QByteArray& data, _tag_audio_frame_s* audio)
{
    return mediaproc_decoder_audio_frame(decoder.get(), bytesOf(data), static_cast<uint32_t>(data.size()), 40, audio);
}

int encode(const AudioEncoderHandle& encoder, const QByteArray& data, _tag_audio_frame_s* audio)
{
    return mediaproc_encoder_audio_frame(encoder.get(), bytesOf(data), static_cast<uint32_t>(data.size()), 40, audio);
}

QByteArray contentOf(const _tag_audio_frame_s& audio)
{
    return QByteArray(reinterpret_cast<const char*>(audio.data), static_cast<int>(audio.length));
}

_tag_audio_frame_s garbageSound()
{
    _tag_audio_frame_s audio;
    memset(&audio, 0x5A, sizeof audio);
    return audio;
}

bool isEmpty(const _tag_audio_frame_s& audio) { return !audio.data && audio.length == 0; }
} // namespace

class tst_AudioCodecs : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void decode_equalsFFmpeg_forAllCodes_data();
    void decode_equalsFFmpeg_forAllCodes();
    void encode_equalsFFmpeg_forAllSamples_data();
    void encode_equalsFFmpeg_forAllSamples();
    void decode_usesWholeSamplesOnly_data();
    void decode_usesWholeSamplesOnly();
    void encode_usesWholeSamplesOnly_data();
    void encode_usesWholeSamplesOnly();
    void codecs_workOnCallAfterCall();
    void codecs_takeEveryLengthOfPacket();
    void create_returnsNull_forWhatCannotBe_data();
    void create_returnsNull_forWhatCannotBe();
    void codecs_fail_withoutData_data();
    void codecs_fail_withoutData();
    void codecs_readNothingBehindTheData();
    void functions_fail_withoutHandle();
    void codecs_workInSeveralThreads();
};

void tst_AudioCodecs::decode_equalsFFmpeg_forAllCodes_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<int>("channels");
    QTest::newRow("A-law") << aLaw << 1;
    QTest::newRow("mu-law") << muLaw << 1;
    QTest::newRow("A-law, stereo") << aLaw << 2;
    QTest::newRow("mu-law, stereo") << muLaw << 2;
    QTest::newRow("mu-law, eight channels") << muLaw << 8;
}

void tst_AudioCodecs::decode_equalsFFmpeg_forAllCodes()
{
    QFETCH(int, codec);
    QFETCH(int, channels);
    const QByteArray expected = decodedByFFmpeg(codec, channels, allCodes());
    QCOMPARE(expected.size(), 512);
    const AudioDecoderHandle decoder = makeDecoder(codec, channels);
    QVERIFY(decoder);
    _tag_audio_frame_s audio = garbageSound();
    QCOMPARE(decode(decoder, allCodes(), &audio), 0);
    QCOMPARE(contentOf(audio), expected);
}

void tst_AudioCodecs::encode_equalsFFmpeg_forAllSamples_data() { decode_equalsFFmpeg_forAllCodes_data(); }

void tst_AudioCodecs::encode_equalsFFmpeg_forAllSamples()
{
    QFETCH(int, codec);
    QFETCH(int, channels);
    const QByteArray expected = encodedByFFmpeg(codec, channels, allSamples());
    QCOMPARE(expected.size(), 65536);
    const AudioEncoderHandle encoder = makeEncoder(codec, channels);
    QVERIFY(encoder);
    _tag_audio_frame_s audio = garbageSound();
    QCOMPARE(encode(encoder, allSamples(), &audio), 0);
    QVERIFY(contentOf(audio) == expected);
}

void tst_AudioCodecs::decode_usesWholeSamplesOnly_data()
{
    QTest::addColumn<int>("channels");
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("used");
    QTest::newRow("mono") << 1 << 161 << 161;
    QTest::newRow("stereo, even") << 2 << 160 << 160;
    QTest::newRow("stereo, odd") << 2 << 161 << 160;
    QTest::newRow("stereo, one byte") << 2 << 1 << 0;
    QTest::newRow("three channels") << 3 << 161 << 159;
}

void tst_AudioCodecs::decode_usesWholeSamplesOnly()
{
    QFETCH(int, channels);
    QFETCH(int, length);
    QFETCH(int, used);
    const AudioDecoderHandle decoder = makeDecoder(muLaw, channels);
    for (int round = 0; round < 3; ++round) {
        _tag_audio_frame_s audio = garbageSound();
        QCOMPARE(decode(decoder, allCodes().left(length), &audio), used > 0 ? 0 : -1);
        QCOMPARE(contentOf(audio), decodedByFFmpeg(muLaw, 1, allCodes().left(used)));
        QCOMPARE(isEmpty(audio), used == 0);
    }
}

void tst_AudioCodecs::encode_usesWholeSamplesOnly_data()
{
    QTest::addColumn<int>("channels");
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("used");
    QTest::newRow("mono, even") << 1 << 320 << 320;
    QTest::newRow("mono, odd") << 1 << 321 << 320;
    QTest::newRow("mono, one byte") << 1 << 1 << 0;
    QTest::newRow("mono, three bytes") << 1 << 3 << 2;
    QTest::newRow("stereo, half a sample more") << 2 << 322 << 320;
    QTest::newRow("stereo, one byte less") << 2 << 319 << 316;
    QTest::newRow("stereo, half a sample") << 2 << 3 << 0;
}

void tst_AudioCodecs::encode_usesWholeSamplesOnly()
{
    QFETCH(int, channels);
    QFETCH(int, length);
    QFETCH(int, used);
    const AudioEncoderHandle encoder = makeEncoder(muLaw, channels);
    for (int round = 0; round < 3; ++round) {
        _tag_audio_frame_s audio = garbageSound();
        QCOMPARE(encode(encoder, allSamples().mid(30000, length), &audio), used > 0 ? 0 : -1);
        QCOMPARE(contentOf(audio), encodedByFFmpeg(muLaw, 1, allSamples().mid(30000, used)));
        QCOMPARE(isEmpty(audio), used == 0);
    }
}

void tst_AudioCodecs::codecs_workOnCallAfterCall()
{
    // Talk-back: 20 ms of microphone at a time, a device that decodes it again.
    const AudioEncoderHandle encoder = makeEncoder(muLaw);
    const AudioDecoderHandle decoder = makeDecoder(muLaw);
    const QByteArray expected = decodedByFFmpeg(muLaw, 1, encodedByFFmpeg(muLaw, 1, allSamples()));
    QByteArray all;
    for (int at = 0; at < allSamples().size(); at += 320) {
        _tag_audio_frame_s coded{};
        QCOMPARE(encode(encoder, allSamples().mid(at, 320), &coded), 0);
        _tag_audio_frame_s sound{};
        QCOMPARE(decode(decoder, contentOf(coded), &sound), 0);
        all += contentOf(sound);
    }
    QVERIFY(all == expected);
}

void tst_AudioCodecs::codecs_takeEveryLengthOfPacket()
{
    const AudioDecoderHandle decoder = makeDecoder(aLaw, 1, 16000);
    const AudioEncoderHandle encoder = makeEncoder(aLaw, 1, 48000);
    for (const int length : {1, 2, 3, 160, 1000, 65536, 4 << 20}) {
        _tag_audio_frame_s sound{};
        QCOMPARE(decode(decoder, QByteArray(length, '\xD5'), &sound), 0);
        QCOMPARE(sound.length, static_cast<uint64_t>(length) * 2);
        _tag_audio_frame_s coded{};
        QCOMPARE(encode(encoder, QByteArray(length * 2, '\0'), &coded), 0);
        QCOMPARE(contentOf(coded), QByteArray(length, '\xD5'));
    }
}

void tst_AudioCodecs::create_returnsNull_forWhatCannotBe_data()
{
    QTest::addColumn<int>("codec");
    QTest::addColumn<int>("sampleRate");
    QTest::addColumn<int>("bitWidth");
    QTest::addColumn<int>("channels");
    QTest::newRow("no codec") << 0 << 8000 << 16 << 1;
    QTest::newRow("video") << 1 << 8000 << 16 << 1;
    QTest::newRow("linear") << linear << 8000 << 16 << 1;
    QTest::newRow("codec -33") << -33 << 8000 << 16 << 1;
    QTest::newRow("no rate") << aLaw << 0 << 16 << 1;
    QTest::newRow("negative rate") << aLaw << -8000 << 16 << 1;
    QTest::newRow("absurd rate") << aLaw << INT_MAX << 16 << 1;
    QTest::newRow("no bits") << muLaw << 8000 << 0 << 1;
    QTest::newRow("8 bits") << muLaw << 8000 << 8 << 1;
    QTest::newRow("negative bits") << muLaw << 8000 << -16 << 1;
    QTest::newRow("no channels") << muLaw << 8000 << 16 << 0;
    QTest::newRow("negative channels") << muLaw << 8000 << 16 << -1;
    QTest::newRow("nine channels") << muLaw << 8000 << 16 << 9;
    QTest::newRow("absurd channels") << muLaw << 8000 << 16 << INT_MAX;
}

void tst_AudioCodecs::create_returnsNull_forWhatCannotBe()
{
    QFETCH(int, codec);
    QFETCH(int, sampleRate);
    QFETCH(int, bitWidth);
    QFETCH(int, channels);
    QVERIFY(!makeDecoder(codec, channels, sampleRate, bitWidth));
    QVERIFY(!makeEncoder(codec, channels, sampleRate, bitWidth));
    QVERIFY(!mediaproc_create_audio_decoder(nullptr));
    QVERIFY(!mediaproc_create_audio_encoder(nullptr));
}

void tst_AudioCodecs::codecs_fail_withoutData_data()
{
    QTest::addColumn<bool>("isNull");
    QTest::addColumn<quint32>("length");
    QTest::newRow("null") << true << 160u;
    QTest::newRow("null and empty") << true << 0u;
    QTest::newRow("empty") << false << 0u;
    QTest::newRow("more than a stream holds") << false << (64u << 20) + 1;
    QTest::newRow("negative as unsigned") << false << 0xFFFFFFFFu;
    QTest::newRow("most for a signed number") << false << 0x7FFFFFFFu;
}

void tst_AudioCodecs::codecs_fail_withoutData()
{
    QFETCH(bool, isNull);
    QFETCH(quint32, length);
    const GuardedPages pages{QByteArray(1, 'x')};
    const auto* data = isNull ? nullptr : reinterpret_cast<const uint8_t*>(pages.untouchable());
    const AudioDecoderHandle decoder = makeDecoder(aLaw);
    const AudioEncoderHandle encoder = makeEncoder(aLaw);
    _tag_audio_frame_s audio = garbageSound();
    QCOMPARE(mediaproc_decoder_audio_frame(decoder.get(), data, length, 0, &audio), -1);
    QVERIFY(isEmpty(audio));
    audio = garbageSound();
    QCOMPARE(mediaproc_encoder_audio_frame(encoder.get(), data, length, 0, &audio), -1);
    QVERIFY(isEmpty(audio));

    // Nothing of that was the end of the stream.
    QCOMPARE(decode(decoder, allCodes(), &audio), 0);
    QCOMPARE(encode(encoder, allSamples(), &audio), 0);
}

void tst_AudioCodecs::codecs_readNothingBehindTheData()
{
    const AudioDecoderHandle decoder = makeDecoder(aLaw, 2);
    const AudioEncoderHandle encoder = makeEncoder(aLaw, 2);
    for (const int length : {4, 63, 161, 4096}) {
        const GuardedPages pages(QByteArray(length, '\x2A'));
        const auto* data = reinterpret_cast<const uint8_t*>(pages.begin());
        _tag_audio_frame_s audio{};
        QCOMPARE(mediaproc_decoder_audio_frame(decoder.get(), data, static_cast<uint32_t>(length), 0, &audio), 0);
        QCOMPARE(mediaproc_encoder_audio_frame(encoder.get(), data, static_cast<uint32_t>(length), 0, &audio), 0);
    }
}

void tst_AudioCodecs::functions_fail_withoutHandle()
{
    _tag_audio_frame_s audio = garbageSound();
    QCOMPARE(decode(AudioDecoderHandle(), allCodes(), &audio), -1);
    QVERIFY(isEmpty(audio));
    audio = garbageSound();
    QCOMPARE(encode(AudioEncoderHandle(), allSamples(), &audio), -1);
    QVERIFY(isEmpty(audio));
    QCOMPARE(mediaproc_destroy_audio_decoder(nullptr), -1);
    QCOMPARE(mediaproc_destroy_audio_encoder(nullptr), -1);

    QCOMPARE(decode(makeDecoder(aLaw), allCodes(), nullptr), -1);
    QCOMPARE(encode(makeEncoder(aLaw), allSamples(), nullptr), -1);
    QCOMPARE(mediaproc_destroy_audio_decoder(makeDecoder(aLaw).release()), 0);
    QCOMPARE(mediaproc_destroy_audio_encoder(makeEncoder(aLaw).release()), 0);
}

void tst_AudioCodecs::codecs_workInSeveralThreads()
{
    const QByteArray expected = encodedByFFmpeg(aLaw, 1, allSamples());
    std::array<QByteArray, 4> coded;
    std::vector<std::thread> threads;
    for (QByteArray& result : coded) {
        threads.emplace_back([&result] {
            for (int round = 0; round < 20; ++round) {
                _tag_audio_frame_s audio{};
                const AudioEncoderHandle encoder = makeEncoder(aLaw);
                encode(encoder, allSamples(), &audio);
                result = contentOf(audio);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (const QByteArray& result : coded)
        QVERIFY(result == expected);
}

QTEST_GUILESS_MAIN(tst_AudioCodecs)
#include "tst_audiocodecs.moc"
