#include "aacencoder/g726topcm.h"

#include "ffmpegcommand.h"
#include "g726reference.h"
#include "support/messageguard.h"
#include "telephonesound.h"

#include <QTest>

#include <memory>

namespace {
constexpr int seconds = 64;
constexpr int chunkBytes = 160;

const char* const soundNames[] = {"speech", "sine", "silence", "square", "random"};

QVector<qint16> sound(const QString& name)
{
    if (name == "speech")
        return TelephoneSound::speech(seconds);
    if (name == "sine")
        return TelephoneSound::sine(seconds, 440, 12000);
    if (name == "square")
        return TelephoneSound::square(seconds, 200);
    return TelephoneSound::silence(seconds);
}

/// The named sound as FFmpeg encodes it, or bytes without a pattern for "random"; whole packets of FFmpeg's, which
/// would complain of a short one at the end.
QByteArray packed(const QString& name, int bits)
{
    constexpr int packetBytes = 1020;
    if (name == "random")
        return TelephoneSound::noise(seconds * 1000 * bits / packetBytes * packetBytes);
    const CommandResult result = runFFmpeg({"-f", "s16le", "-ar", "8000", "-ac", "1"},
                                           {"-c:a", "g726le", "-code_size", QString::number(bits), "-f", "g726le"},
                                           TelephoneSound::bytesOf(sound(name)));
    return result.ok ? result.output.chopped(result.output.size() % packetBytes) : QByteArray();
}

Easy_AACEncoder_Record recordFor(unsigned rateCode)
{
    Easy_AACEncoder_Record record{};
    record.audioCodec = EASY_AACENCODER_G726;
    record.g726Rate = rateCode;
    return record;
}

QVector<qint16> decodeInPieces(unsigned rateCode, const QByteArray& input, int pieceBytes)
{
    G726ToPcm decoder;
    decoder.init(recordFor(rateCode));
    QVector<qint16> samples;
    std::vector<short> pcm(std::size_t(pieceBytes) * 4 + 1);
    for (int at = 0; at < input.size(); at += pieceBytes) {
        auto bytes = unsigned(pcm.size() * sizeof(short));
        const int length = qMin(pieceBytes, input.size() - at);
        const auto* piece = reinterpret_cast<const unsigned char*>(input.constData()) + at;
        const int result = decoder.decode(pcm.data(), &bytes, piece, unsigned(length));
        if (result < 0 || unsigned(result) != bytes)
            return {};
        std::copy(pcm.data(), pcm.data() + result / 2, std::back_inserter(samples));
    }
    return samples;
}
} // namespace

class TestG726ToPcm : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<MessageGuard> guard;

    void addSoundsAtAllRates()
    {
        QTest::addColumn<int>("bits");
        QTest::addColumn<QString>("name");
        for (int bits = 2; bits <= 5; ++bits) {
            for (const char* name : soundNames)
                QTest::addRow("%d kbit/s, %s", bits * 8, name) << bits << QString(name);
        }
    }

private Q_SLOTS:
    void init() { guard = std::make_unique<MessageGuard>(); }

    void cleanup() { VERIFY_NO_UNEXPECTED_MESSAGES(*guard); }

    void decode_equalsTheRecommendation_data() { addSoundsAtAllRates(); }

    void decode_equalsTheRecommendation()
    {
        QFETCH(int, bits);
        QFETCH(QString, name);
        const QByteArray input = packed(name, bits);
        QVERIFY(input.size() >= 60 * 1000 * bits);

        G726Reference recommendation(bits, G726Reference::Variant::Recommendation);
        const QVector<qint16> expected = recommendation.decode(input);
        QVERIFY(decodeInPieces(unsigned(bits), input, chunkBytes) == expected);
    }

    void recommendation_equalsFFmpeg_whenItsDeparturesAreMade_data() { addSoundsAtAllRates(); }

    void recommendation_equalsFFmpeg_whenItsDeparturesAreMade()
    {
        QFETCH(int, bits);
        QFETCH(QString, name);
        const QByteArray input = packed(name, bits);
        const CommandResult ffmpeg
            = runFFmpeg({"-f", "g726le", "-code_size", QString::number(bits)}, {"-f", "s16le"}, input);
        QVERIFY2(ffmpeg.ok && ffmpeg.messages.isEmpty(), ffmpeg.messages.constData());
        QVERIFY(ffmpeg.output.size() >= 60 * TelephoneSound::sampleRate * 2);

        G726Reference sameAsFFmpeg(bits, G726Reference::Variant::FFmpeg);
        QVERIFY(sameAsFFmpeg.decode(input) == TelephoneSound::samplesOf(ffmpeg.output));
    }

    void decode_givesTheSoundBack_data()
    {
        QTest::addColumn<int>("bits");
        QTest::addColumn<QString>("name");
        QTest::addColumn<double>("leastDb");
        QTest::newRow("16 kbit/s, speech") << 2 << "speech" << 24.0;
        QTest::newRow("24 kbit/s, speech") << 3 << "speech" << 34.0;
        QTest::newRow("32 kbit/s, speech") << 4 << "speech" << 41.0;
        QTest::newRow("40 kbit/s, speech") << 5 << "speech" << 41.0;
        QTest::newRow("16 kbit/s, sine") << 2 << "sine" << 22.0;
        QTest::newRow("24 kbit/s, sine") << 3 << "sine" << 33.0;
        QTest::newRow("32 kbit/s, sine") << 4 << "sine" << 41.0;
        QTest::newRow("40 kbit/s, sine") << 5 << "sine" << 47.0;
    }

    void decode_givesTheSoundBack()
    {
        QFETCH(int, bits);
        QFETCH(QString, name);
        QFETCH(double, leastDb);
        const QVector<qint16> original = sound(name);
        G726Reference encoder(bits, G726Reference::Variant::Recommendation);
        const QVector<qint16> copy = decodeInPieces(unsigned(bits), encoder.encode(original), chunkBytes);
        QCOMPARE(copy.size(), original.size());
        const double db = TelephoneSound::signalToNoise(original, copy, TelephoneSound::sampleRate);
        qInfo("%.1f dB", db);
        QVERIFY(db >= leastDb);
    }

    void decode_isTheSame_whenTheInputIsCutAnywhere_data()
    {
        QTest::addColumn<int>("bits");
        for (int bits = 2; bits <= 5; ++bits)
            QTest::addRow("%d kbit/s", bits * 8) << bits;
    }

    void decode_isTheSame_whenTheInputIsCutAnywhere()
    {
        QFETCH(int, bits);
        const QByteArray input = TelephoneSound::noise(3001);
        const QVector<qint16> whole = decodeInPieces(unsigned(bits), input, input.size());
        QCOMPARE(whole.size(), input.size() * 8 / bits);
        QVERIFY(decodeInPieces(unsigned(bits), input, 1) == whole);
        QVERIFY(decodeInPieces(unsigned(bits), input, 7) == whole);
        QVERIFY(decodeInPieces(unsigned(bits), input, chunkBytes) == whole);
    }

    void decode_limitsTheSample_whenItLeavesTheRange()
    {
        const QVector<qint16> samples = decodeInPieces(4, packed("square", 4), chunkBytes);
        QCOMPARE(*std::max_element(samples.begin(), samples.end()), qint16(32764));
        QCOMPARE(*std::min_element(samples.begin(), samples.end()), qint16(-32768));
    }

    void sizes_followTheRateCode_data()
    {
        QTest::addColumn<unsigned>("rateCode");
        QTest::addColumn<int>("pcmSize");
        QTest::newRow("16 kbit/s") << 2U << 1281;
        QTest::newRow("24 kbit/s") << 3U << 854;
        QTest::newRow("32 kbit/s") << 4U << 641;
        QTest::newRow("40 kbit/s") << 5U << 513;
        QTest::newRow("0") << 0U << 1281;
        QTest::newRow("6") << 6U << 1281;
        QTest::newRow("largest") << 0xFFFFFFFFU << 1281;
    }

    void sizes_followTheRateCode()
    {
        QFETCH(unsigned, rateCode);
        QFETCH(int, pcmSize);
        G726ToPcm decoder;
        QCOMPARE(decoder.init(recordFor(rateCode)), 0);
        QCOMPARE(decoder.chunkSize(), chunkBytes);
        QCOMPARE(decoder.pcmSize(), pcmSize);
    }

    void decode_fitsPcmSize_whenSamplesStraddleChunks()
    {
        G726ToPcm decoder;
        decoder.init(recordFor(3));
        const QByteArray chunk = TelephoneSound::noise(chunkBytes);
        std::vector<short> pcm(std::size_t(decoder.pcmSize() + 1) / 2);
        QVector<int> sizes;
        for (int n = 0; n < 6; ++n) {
            auto bytes = unsigned(decoder.pcmSize());
            const auto* input = reinterpret_cast<const unsigned char*>(chunk.constData());
            sizes.append(decoder.decode(pcm.data(), &bytes, input, chunkBytes));
        }
        QCOMPARE(sizes, (QVector<int>{852, 854, 854, 852, 854, 854}));
    }

    void decode_takes16KbitPerSecond_whenTheRateCodeIsUnknown()
    {
        const QByteArray input = TelephoneSound::noise(1600);
        QVERIFY(decodeInPieces(9, input, chunkBytes) == decodeInPieces(2, input, chunkBytes));
        QVERIFY(decodeInPieces(9, input, chunkBytes) != decodeInPieces(4, input, chunkBytes));
    }

    void init_startsAnew_whenCalledAgain()
    {
        const QByteArray input = TelephoneSound::noise(chunkBytes);
        const auto* bytes = reinterpret_cast<const unsigned char*>(input.constData());
        std::vector<short> first(640);
        std::vector<short> second(640);
        G726ToPcm decoder;
        unsigned length = 1280;
        decoder.init(recordFor(3));
        const int samples = decoder.decode(first.data(), &length, bytes, chunkBytes);
        decoder.init(recordFor(3));
        QCOMPARE(decoder.decode(second.data(), &length, bytes, chunkBytes), samples);
        QVERIFY(first == second);
    }

    void decode_returnsMinusOne_whenNotInitialised()
    {
        G726ToPcm decoder;
        short pcm[640];
        unsigned length = sizeof pcm;
        const unsigned char input[1] = {0};
        QCOMPARE(decoder.decode(pcm, &length, input, 1), -1);
    }
};

QTEST_GUILESS_MAIN(TestG726ToPcm)
#include "tst_g726topcm.moc"
