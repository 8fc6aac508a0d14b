#include "aacencoder/g711atopcm.h"
#include "aacencoder/g711utopcm.h"
#include "aacencoder/g726topcm.h"
#include "aacencoder/g7toaac.h"

#include "encoderptr.h"
#include "faacstream.h"
#include "support/messageguard.h"
#include "telephonesound.h"

#include <QTest>

#include <functional>
#include <memory>
#include <thread>

namespace {
constexpr int chunkBytes = 160;
constexpr int inputBufferBytes = 131072;
constexpr int frameSamples = 1024;

Easy_AACEncoder_Record recordFor(unsigned codec, unsigned channels = 1, unsigned rateCode = 0)
{
    Easy_AACEncoder_Record record{};
    record.audioCodec = std::uint8_t(codec);
    record.channels = std::uint8_t(channels);
    record.sampleRate = 8000;
    record.pcmBitSize = 16;
    record.g726Rate = rateCode;
    return record;
}

EncoderPtr makeEncoder(const Easy_AACEncoder_Record& record) { return EncoderPtr(Easy_AACEncoder_Init(record)); }

const unsigned char* bytes(const QByteArray& data) { return reinterpret_cast<const unsigned char*>(data.constData()); }

/// What one call gave out; fails the test where the two results of the call disagree.
QByteArray encode(const EncoderPtr& encoder, const QByteArray& input)
{
    QByteArray output(1 << 20, Qt::Uninitialized);
    unsigned length = 12345;
    const int result = Easy_AACEncoder_Encode(encoder.get(), bytes(input), unsigned(input.size()),
                                              reinterpret_cast<unsigned char*>(output.data()), &length);
    if (result < 0 || unsigned(result) != length)
        QTest::qFail("the result and the output length differ", __FILE__, __LINE__);
    return output.left(int(length));
}

QByteArray encodeInPieces(const EncoderPtr& encoder, const QByteArray& input, int pieceBytes)
{
    QByteArray output;
    for (int at = 0; at < input.size(); at += pieceBytes)
        output += encode(encoder, input.mid(at, pieceBytes));
    return output;
}

QVector<qint16> decodeWhole(IDecodeToPcm& decoder, const Easy_AACEncoder_Record& record, const QByteArray& input)
{
    decoder.init(record);
    QVector<qint16> samples(input.size() * 4 + 1);
    auto length = unsigned(samples.size()) * 2;
    samples.resize(decoder.decode(samples.data(), &length, bytes(input), unsigned(input.size())) / 2);
    return samples;
}

/// A decoder that gives the samples 1, 2, 3... in chunks of any size, and fails when it is told to.
class CountingDecoder : public IDecodeToPcm
{
public:
    CountingDecoder(int samplesPerChunk, int failingChunk)
        : samples(samplesPerChunk)
        , failing(failingChunk)
    {
    }

    int init(const Easy_AACEncoder_Record&) override { return 0; }

    int decode(short* pcm, unsigned int* pcmBytes, const unsigned char*, unsigned int) override
    {
        if (++chunk == failing)
            return -2;
        for (int n = 0; n < samples; ++n)
            pcm[n] = short(++value);
        *pcmBytes = unsigned(pcmSize());
        return pcmSize();
    }

    int pcmSize() override { return samples * 2; }

    int chunkSize() override { return 10; }

private:
    const int samples;
    const int failing;
    int chunk = 0;
    int value = 0;
};

QVector<qint16> counting(int count)
{
    QVector<qint16> samples(count);
    for (int n = 0; n < count; ++n)
        samples[n] = qint16(n + 1);
    return samples;
}
} // namespace

class TestG7ToAac : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<MessageGuard> guard;

private Q_SLOTS:
    void init() { guard = std::make_unique<MessageGuard>(); }

    void cleanup() { VERIFY_NO_UNEXPECTED_MESSAGES(*guard); }

    void encode_completesAFrameWithTheSeventhChunk()
    {
        const QByteArray input = TelephoneSound::noise(100 * chunkBytes);
        const auto encoder = makeEncoder(recordFor(EASY_AACENCODER_G711A));
        G711AToPcm decoder;
        const QVector<qint16> samples = decodeWhole(decoder, {}, input);
        FaacStream faac(8000, 1);
        QCOMPARE(faac.frameSamples(), frameSamples);

        int frame = 0;
        int nonEmpty = 0;
        for (int chunk = 1; chunk <= 100; ++chunk) {
            // The chunk that goes beyond a frame's 2048 bytes completes it; the 32nd, which only fills one, does not.
            const bool completes = chunk * 320 > (frame + 1) * 2048;
            const QByteArray expected
                = completes ? faac.encode(samples, frame++ * frameSamples, frameSamples) : QByteArray();
            QCOMPARE(encode(encoder, input.mid((chunk - 1) * chunkBytes, chunkBytes)), expected);
            nonEmpty += expected.isEmpty() ? 0 : 1;
            if (chunk == 6 || chunk == 32)
                QCOMPARE(frame, chunk == 6 ? 0 : 4);
            if (chunk == 7 || chunk == 33)
                QCOMPARE(frame, chunk == 7 ? 1 : 5);
        }
        QVERIFY(nonEmpty > 10);
    }

    void encode_equalsDecoderAndFaac_data()
    {
        QTest::addColumn<unsigned>("codec");
        QTest::addColumn<unsigned>("channels");
        QTest::addColumn<unsigned>("rateCode");
        QTest::newRow("mu-law") << 0U << 1U << 0U;
        QTest::newRow("A-law") << 1U << 1U << 0U;
        QTest::newRow("A-law, stereo") << 1U << 2U << 0U;
        QTest::newRow("G.726, 16 kbit/s") << 3U << 1U << 2U;
        QTest::newRow("G.726, 24 kbit/s") << 3U << 1U << 3U;
        QTest::newRow("G.726, 32 kbit/s") << 3U << 1U << 4U;
        QTest::newRow("G.726, 40 kbit/s") << 3U << 1U << 5U;
        QTest::newRow("G.726, unknown rate") << 3U << 1U << 77U;
    }

    void encode_equalsDecoderAndFaac()
    {
        QFETCH(unsigned, codec);
        QFETCH(unsigned, channels);
        QFETCH(unsigned, rateCode);
        const auto record = recordFor(codec, channels, rateCode);
        const QByteArray input = TelephoneSound::noise(200 * chunkBytes);
        G711AToPcm aLaw;
        G711UToPcm muLaw;
        G726ToPcm g726;
        IDecodeToPcm* const decoders[] = {&muLaw, &aLaw, nullptr, &g726};

        FaacStream faac(8000, channels);
        const QByteArray expected = faac.encodeFrames(decodeWhole(*decoders[codec], record, input));
        const auto encoder = makeEncoder(record);
        QCOMPARE(encodeInPieces(encoder, input, chunkBytes), expected);
        QVERIFY(adtsFrames(expected).size() >= 10);
    }

    void encode_expandsLikeALaw_whenTheCodecIsPcmOrUnknown()
    {
        const QByteArray input = TelephoneSound::noise(100 * chunkBytes);
        const QByteArray aLaw = encode(makeEncoder(recordFor(1)), input);
        QVERIFY(!aLaw.isEmpty());
        QCOMPARE(encode(makeEncoder(recordFor(2)), input), aLaw);
        QCOMPARE(encode(makeEncoder(recordFor(4)), input), aLaw);
        QCOMPARE(encode(makeEncoder(recordFor(255)), input), aLaw);
        QVERIFY(encode(makeEncoder(recordFor(0)), input) != aLaw);
    }

    void encode_keepsTheRest_whenInputIsShorterThanAChunk()
    {
        const QByteArray input = TelephoneSound::noise(100 * chunkBytes);
        const QByteArray whole = encode(makeEncoder(recordFor(1)), input);
        QCOMPARE(adtsFrames(whole).size() > 1, true);
        QCOMPARE(encodeInPieces(makeEncoder(recordFor(1)), input, 1), whole);
        QCOMPARE(encodeInPieces(makeEncoder(recordFor(1)), input, 159), whole);
        QCOMPARE(encodeInPieces(makeEncoder(recordFor(1)), input, 161), whole);
    }

    void encode_returnsNothing_whenLessThanAChunkIsThere()
    {
        const auto encoder = makeEncoder(recordFor(1));
        const QByteArray stream = TelephoneSound::noise(100 * chunkBytes);
        encode(encoder, stream);
        for (int n = 0; n < chunkBytes - 1; ++n)
            QCOMPARE(encode(encoder, QByteArray(1, '\x55')), QByteArray());
        QCOMPARE(encode(encoder, QByteArray()), QByteArray());
    }

    void encode_dropsTheInputWhole_whenItIsLargerThanTheRoom()
    {
        const QByteArray first = TelephoneSound::noise(100 * chunkBytes + 159);
        const QByteArray second = TelephoneSound::noise(50 * chunkBytes);
        const auto undisturbed = makeEncoder(recordFor(1));
        const auto encoder = makeEncoder(recordFor(1));
        QCOMPARE(encode(encoder, first), encode(undisturbed, first));
        QCOMPARE(encode(encoder, TelephoneSound::noise(inputBufferBytes - 159 + 1)), QByteArray());
        QCOMPARE(encode(encoder, QByteArray(inputBufferBytes * 2, 'x')), QByteArray());
        const QByteArray expected = encode(undisturbed, second);
        QVERIFY(!expected.isEmpty());
        QCOMPARE(encode(encoder, second), expected);
    }

    void encode_takesTheInput_whenItFillsTheRoomExactly()
    {
        const QByteArray input = TelephoneSound::noise(inputBufferBytes);
        G711AToPcm decoder;
        FaacStream faac(8000, 1);
        const QByteArray expected
            = faac.encodeFrames(decodeWhole(decoder, {}, input.left(inputBufferBytes / 160 * 160)));
        QCOMPARE(encode(makeEncoder(recordFor(1)), input), expected);
        QVERIFY(adtsFrames(expected).size() > 100);

        const auto encoder = makeEncoder(recordFor(1));
        QCOMPARE(encode(encoder, input.left(159)), QByteArray());
        QCOMPARE(encode(encoder, input.mid(159)), expected);
    }

    void encode_givesFramesOfMpeg2LowComplexity()
    {
        const QByteArray input = TelephoneSound::noise(100 * chunkBytes);
        const QVector<QByteArray> frames = adtsFrames(encode(makeEncoder(recordFor(1)), input));
        QVERIFY(frames.size() > 10);
        for (const QByteArray& frame : frames) {
            QCOMPARE(uchar(frame[1]) & 0xFE, 0xF8); // MPEG-2
            QCOMPARE(uchar(frame[2]) >> 6, 1); // low complexity
            QCOMPARE((uchar(frame[2]) >> 2) & 15, 11); // 8000 Hz
            QCOMPARE((uchar(frame[2]) & 1) << 2 | uchar(frame[3]) >> 6, 1);
        }
    }

    void encode_staysBelow1024BytesPerFrame_whenTheSoundIsTheLoudestNoise()
    {
        QByteArray input = TelephoneSound::noise(1000 * chunkBytes);
        for (char& byte : input)
            byte = (byte & 1) ? '\x2A' : '\xAA';
        const QVector<QByteArray> frames = adtsFrames(encodeInPieces(makeEncoder(recordFor(1)), input, chunkBytes));
        QVERIFY(frames.size() > 100);
        for (const QByteArray& frame : frames)
            QVERIFY2(frame.size() < 1024, qPrintable(QString::number(frame.size())));
    }

    void encode_returnsMinusOne_whenAnArgumentIsMissing()
    {
        const auto encoder = makeEncoder(recordFor(1));
        const unsigned char input[chunkBytes] = {};
        unsigned char output[16384];
        unsigned length = 7;
        QCOMPARE(Easy_AACEncoder_Encode(nullptr, input, chunkBytes, output, &length), -1);
        QCOMPARE(length, 0U);
        QCOMPARE(Easy_AACEncoder_Encode(nullptr, nullptr, 0, nullptr, nullptr), -1);
        QCOMPARE(Easy_AACEncoder_Encode(encoder.get(), nullptr, chunkBytes, output, &length), -1);
        QCOMPARE(Easy_AACEncoder_Encode(encoder.get(), input, chunkBytes, nullptr, &length), -1);
        QCOMPARE(Easy_AACEncoder_Encode(encoder.get(), input, chunkBytes, output, nullptr), -1);
        QCOMPARE(Easy_AACEncoder_Encode(encoder.get(), nullptr, 0, output, &length), 0);
    }

    void release_doesNothing_whenTheHandleIsNull() { Easy_AACEncoder_Release(nullptr); }

    void init_returnsNull_whenNoEncoderCanBeMade_data()
    {
        QTest::addColumn<unsigned>("channels");
        QTest::addColumn<unsigned>("sampleRate");
        QTest::addColumn<unsigned>("pcmBitSize");
        QTest::newRow("no channel") << 0U << 8000U << 16U;
        QTest::newRow("nine channels") << 9U << 8000U << 16U;
        QTest::newRow("more channels than FAAC has") << 255U << 8000U << 16U;
        QTest::newRow("no sample rate") << 1U << 0U << 16U;
        QTest::newRow("no bits") << 1U << 8000U << 0U;
        QTest::newRow("8 bits") << 1U << 8000U << 8U;
        QTest::newRow("32 bits") << 1U << 8000U << 32U;
        QTest::newRow("all bits") << 1U << 8000U << 0xFFFFFFFFU;
    }

    void init_returnsNull_whenNoEncoderCanBeMade()
    {
        QFETCH(unsigned, channels);
        QFETCH(unsigned, sampleRate);
        QFETCH(unsigned, pcmBitSize);
        auto record = recordFor(1, channels);
        record.sampleRate = sampleRate;
        record.pcmBitSize = pcmBitSize;
        QVERIFY(!makeEncoder(record));
    }

    void init_takesEveryChannelCountAndRate_thatFaacTakes()
    {
        const QByteArray input = TelephoneSound::noise(500 * chunkBytes);
        for (unsigned channels = 1; channels <= 8; ++channels) {
            for (unsigned sampleRate : {1U, 7350U, 8000U, 16000U, 44100U, 96000U, 0xFFFFFFFFU}) {
                auto record = recordFor(1, channels);
                record.sampleRate = sampleRate;
                const auto encoder = makeEncoder(record);
                QVERIFY(encoder);
                QVERIFY(!adtsFrames(encode(encoder, input)).isEmpty());
            }
        }
    }

    void record_isOneChannelOfALaw_whenFresh()
    {
        const G7ToAac encoder;
        QCOMPARE(int(encoder.record().audioCodec), 1);
        QCOMPARE(int(encoder.record().channels), 1);
        QCOMPARE(encoder.record().sampleRate, 8000U);
        QCOMPARE(encoder.record().pcmBitSize, 16U);
    }

    void encode_returnsZero_whenNoDecoderIsSet()
    {
        G7ToAac encoder;
        const unsigned char input[chunkBytes] = {};
        unsigned char output[16384];
        unsigned length = 7;
        QCOMPARE(encoder.encode(input, chunkBytes, output, &length), 0);
        QCOMPARE(length, 0U);
    }

    void encode_makesAShortFrame_whenAChunkHasFewSamples()
    {
        constexpr int samplesPerChunk = 159; // 318 bytes, just below the limit
        G7ToAac encoder;
        QVERIFY(encoder.init(recordFor(1), std::make_unique<CountingDecoder>(samplesPerChunk, 0)));
        FaacStream faac(8000, 1);
        const QVector<qint16> samples = counting(20 * samplesPerChunk);
        const QByteArray chunk(10, 'x');
        QByteArray output(16384, Qt::Uninitialized);
        int frames = 0;
        for (int n = 0; n < 20; ++n) {
            unsigned length = 0;
            encoder.encode(bytes(chunk), 10, reinterpret_cast<unsigned char*>(output.data()), &length);
            const QByteArray expected = faac.encode(samples, n * samplesPerChunk, samplesPerChunk);
            QCOMPARE(output.left(int(length)), expected);
            frames += expected.isEmpty() ? 0 : 1;
        }
        QVERIFY(frames > 10);
    }

    void encode_makesNoShortFrame_whenAChunkHas320Bytes()
    {
        G7ToAac encoder;
        QVERIFY(encoder.init(recordFor(1), std::make_unique<CountingDecoder>(160, 0)));
        FaacStream faac(8000, 1);
        const QByteArray chunks(10 * 100, 'x');
        QByteArray output(1 << 17, Qt::Uninitialized);
        unsigned length = 0;
        encoder.encode(bytes(chunks), 1000, reinterpret_cast<unsigned char*>(output.data()), &length);
        QCOMPARE(output.left(int(length)), faac.encodeFrames(counting(100 * 160)));
    }

    void encode_returnsMinusOneWithTheFramesSoFar_whenDecodingFails()
    {
        G7ToAac encoder;
        QVERIFY(encoder.init(recordFor(1), std::make_unique<CountingDecoder>(160, 50)));
        FaacStream faac(8000, 1);
        const QByteArray chunks(10 * 100, 'x');
        QByteArray output(1 << 17, Qt::Uninitialized);
        unsigned length = 0;
        QCOMPARE(encoder.encode(bytes(chunks), 1000, reinterpret_cast<unsigned char*>(output.data()), &length), -1);
        QCOMPARE(output.left(int(length)), faac.encodeFrames(counting(49 * 160)));
    }

    void init_fails_whenAChunkIsLongerThanAFrame()
    {
        G7ToAac encoder;
        QVERIFY(!encoder.init(recordFor(1), std::make_unique<CountingDecoder>(frameSamples + 1, 0)));
        QVERIFY(encoder.init(recordFor(1), std::make_unique<CountingDecoder>(frameSamples, 0)));
    }

    void encode_isIndependent_whenTwoThreadsHaveAnEncoderEach()
    {
        const QByteArray input = TelephoneSound::noise(500 * chunkBytes);
        const auto run = [&input](unsigned codec, QByteArray& output) {
            output = encodeInPieces(makeEncoder(recordFor(codec)), input, chunkBytes);
        };
        QByteArray alone[2];
        run(0, alone[0]);
        run(1, alone[1]);
        QByteArray together[2];
        std::thread first(run, 0, std::ref(together[0]));
        std::thread second(run, 1, std::ref(together[1]));
        first.join();
        second.join();
        QVERIFY(together[0] == alone[0]);
        QVERIFY(together[1] == alone[1]);
    }
};

QTEST_GUILESS_MAIN(TestG7ToAac)
#include "tst_g7toaac.moc"
