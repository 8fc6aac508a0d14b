#include "faacstream.h"
#include "ffmpegcommand.h"
#include "support/messageguard.h"
#include "telephonesound.h"

#include "aacencoder/g711atopcm.h"
#include "aacencoder/g711utopcm.h"

#include <QTest>

#include <cmath>
#include <memory>

namespace {
constexpr double amplitude = 8000;
constexpr double toneHertz = 440;
constexpr int seconds = 3600;
constexpr int frameSamples = 1024;
constexpr int keptFrames = 6;
constexpr int mostGrowthKib = 1024; // a leak of 40 bytes a frame is more

/// The codes whose samples come nearest to @p samples.
QByteArray compress(DecodeToPcmBase& decoder, const QVector<qint16>& samples)
{
    QByteArray codes;
    for (const qint16 sample : samples) {
        int best = 0;
        for (int code = 1; code < 256; ++code) {
            const auto distance = [&](int candidate) { return std::abs(decoder.decodeOne(uchar(candidate)) - sample); };
            best = distance(code) < distance(best) ? code : best;
        }
        codes.append(char(best));
    }
    return codes;
}

int risingCrossings(const QVector<qint16>& samples)
{
    int count = 0;
    for (int n = 1; n < samples.size(); ++n)
        count += samples[n - 1] < 0 && samples[n] >= 0;
    return count;
}

double rms(const QVector<qint16>& samples, int first, int count)
{
    double sum = 0;
    for (int n = first; n < first + count; ++n)
        sum += double(samples[n]) * samples[n];
    return std::sqrt(sum / count);
}

/// The part of the power that is not the tone, in dB below it.
double residueDb(const QVector<qint16>& samples, int first, int count)
{
    double power = 0;
    double real = 0;
    double imaginary = 0;
    for (int n = first; n < first + count; ++n) {
        const double angle = 2 * M_PI * toneHertz * n / TelephoneSound::sampleRate;
        real += samples[n] * std::cos(angle);
        imaginary += samples[n] * std::sin(angle);
        power += double(samples[n]) * samples[n];
    }
    const double tone = 2 * (real * real + imaginary * imaginary) / count;
    return 10 * std::log10(tone / std::max(1.0, power - tone));
}
} // namespace

class TestEasyAACEncoder : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<MessageGuard> guard;

    static void checkGrowth(const CommandResult& result)
    {
        QVERIFY2(result.ok, result.messages.constData());
        const QList<QByteArray> words = result.messages.trimmed().split(' ');
        QCOMPARE(words.value(0), QByteArray("grown"));
        bool isNumber = false;
        const int kib = words.value(1).toInt(&isNumber);
        qInfo("grown by %d KiB", kib);
        QVERIFY(isNumber && kib < mostGrowthKib);
    }

private Q_SLOTS:
    void initTestCase()
    {
        // AddressSanitizer keeps freed memory for a while, which is no growth of the encoder's.
        qputenv("ASAN_OPTIONS", qgetenv("ASAN_OPTIONS") + ":quarantine_size_mb=0:thread_local_quarantine_size_kb=0");
    }

    void init() { guard = std::make_unique<MessageGuard>(); }

    void cleanup() { VERIFY_NO_UNEXPECTED_MESSAGES(*guard); }

    void anHour_playsAsTheSameTone_whenACProgramEncodedIt_data()
    {
        QTest::addColumn<int>("codec");
        QTest::addColumn<int>("callBytes");
        QTest::newRow("A-law") << 1 << 160;
        QTest::newRow("mu-law") << 0 << 1000;
    }

    void anHour_playsAsTheSameTone_whenACProgramEncodedIt()
    {
        QFETCH(int, codec);
        QFETCH(int, callBytes);
        G711AToPcm aLaw;
        G711UToPcm muLaw;
        DecodeToPcmBase& decoder = codec == 1 ? static_cast<DecodeToPcmBase&>(aLaw) : muLaw;
        const QByteArray second = compress(decoder, TelephoneSound::sine(1, toneHertz, amplitude));
        const CommandResult encoded = runCommand(
            G711TOAAC_PROGRAM, {QString::number(codec), QString::number(callBytes)}, second.repeated(seconds));
        QVERIFY2(encoded.ok, encoded.messages.constData());

        constexpr int totalSamples = seconds * TelephoneSound::sampleRate;
        const int frames = adtsFrames(encoded.output).size();
        // FAAC keeps some frames to look ahead, and what doesn't go beyond a frame stays in the encoder.
        QVERIFY2(qAbs(frames - totalSamples / frameSamples) <= keptFrames, qPrintable(QString::number(frames)));

        const CommandResult decoded = runFFmpeg({"-f", "aac"}, {"-f", "s16le"}, encoded.output);
        QVERIFY2(decoded.ok && decoded.messages.isEmpty(), decoded.messages.constData());
        const QVector<qint16> samples = TelephoneSound::samplesOf(decoded.output);
        QVERIFY2(qAbs(samples.size() - totalSamples) <= keptFrames * frameSamples,
                 qPrintable(QString::number(samples.size())));

        const double expectedCrossings = toneHertz * samples.size() / TelephoneSound::sampleRate;
        QVERIFY(std::abs(risingCrossings(samples) - expectedCrossings) <= 100);
        constexpr int part = 10 * TelephoneSound::sampleRate;
        for (const int first : {part, totalSamples / 2, totalSamples - 2 * part}) {
            const double level = 20 * std::log10(rms(samples, first, part) * M_SQRT2 / amplitude);
            QVERIFY2(std::abs(level) < 1, qPrintable(QString::number(level)));
            const double residue = residueDb(samples, first, part);
            QVERIFY2(residue > 25, qPrintable(QString::number(residue)));
        }
    }

    void memory_doesNotGrow_whenAnHourIsEncoded()
    {
        const QByteArray hour = TelephoneSound::noise(1 << 16).repeated(440);
        checkGrowth(runCommand(G711TOAAC_PROGRAM, {"1", "320"}, hour));
    }

    void memory_doesNotGrow_whenManyEncodersComeAndGo()
    {
        checkGrowth(runCommand(G711TOAAC_PROGRAM, {"churn", "2000"}, QByteArray()));
    }
};

QTEST_GUILESS_MAIN(TestEasyAACEncoder)
#include "tst_easyaacencoder.moc"
