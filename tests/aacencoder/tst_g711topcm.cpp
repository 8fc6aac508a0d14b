#include "aacencoder/g711atopcm.h"
#include "aacencoder/g711utopcm.h"

#include "ffmpegcommand.h"
#include "support/messageguard.h"
#include "telephonesound.h"

#include <QTest>

#include <limits>
#include <memory>

namespace {
constexpr int codeCount = 256;
constexpr int codesPerSign = 128;

QByteArray allCodes()
{
    QByteArray codes(codeCount, Qt::Uninitialized);
    for (int code = 0; code < codeCount; ++code)
        codes[code] = char(code);
    return codes;
}

/// The positive output values of a G.711 table: each is the middle between two decision values, and those are
/// @p counts[k] steps of @p steps[k] apart.
QVector<int> middles(const QVector<int>& steps, const QVector<int>& counts, bool firstIsZero)
{
    QVector<int> values;
    int decision = 0;
    for (int k = 0; k < steps.size(); ++k) {
        for (int n = 0; n < counts[k]; ++n) {
            values.append(firstIsZero && values.isEmpty() ? 0 : decision + steps[k] / 2);
            decision += steps[k];
        }
    }
    return values;
}

/// Table 1 of G.711: the larger the value, the larger the code; even bits are inverted; in units of 1/4096.
QVector<qint16> aLawTable()
{
    const QVector<int> values = middles({2, 4, 8, 16, 32, 64, 128}, {32, 16, 16, 16, 16, 16, 16}, false);
    QVector<qint16> table(codeCount);
    for (int n = 0; n < codesPerSign; ++n) {
        table[(n | 0x80) ^ 0x55] = qint16(values[n] * 8);
        table[n ^ 0x55] = qint16(-values[n] * 8);
    }
    return table;
}

/// Table 2 of G.711: the larger the value, the smaller the code; in units of 1/8192.
QVector<qint16> muLawTable()
{
    const QVector<int> values = middles({1, 2, 4, 8, 16, 32, 64, 128, 256}, {1, 15, 16, 16, 16, 16, 16, 16, 16}, true);
    QVector<qint16> table(codeCount);
    for (int n = 0; n < codesPerSign; ++n) {
        table[0xFF - n] = qint16(values[n] * 4);
        table[0x7F - n] = qint16(-values[n] * 4);
    }
    return table;
}

QVector<qint16> decodeAll(IDecodeToPcm& decoder, const QByteArray& codes)
{
    QVector<qint16> samples(codes.size());
    auto bytes = unsigned(samples.size()) * unsigned(sizeof(qint16));
    const auto* input = reinterpret_cast<const unsigned char*>(codes.constData());
    const int result = decoder.decode(samples.data(), &bytes, input, unsigned(codes.size()));
    return result == samples.size() * int(sizeof(qint16)) ? samples : QVector<qint16>();
}

/// A decoder of somebody's own: the bytes are the samples.
class PlainDecoder : public DecodeToPcmBase
{
public:
    short decodeOne(unsigned char code) override { return code; }
};
} // namespace

class TestG711ToPcm : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<MessageGuard> guard;
    G711AToPcm aLaw;
    G711UToPcm muLaw;

private Q_SLOTS:
    void init()
    {
        guard = std::make_unique<MessageGuard>();
        QCOMPARE(aLaw.init({}), 0);
        QCOMPARE(muLaw.init({}), 0);
    }

    void cleanup() { VERIFY_NO_UNEXPECTED_MESSAGES(*guard); }

    void decodeOne_givesSmallestValues_whenCodeIsNextToZero()
    {
        QCOMPARE(aLaw.decodeOne(0xD5), short(8));
        QCOMPARE(aLaw.decodeOne(0x55), short(-8));
        QCOMPARE(muLaw.decodeOne(0xFF), short(0));
        QCOMPARE(muLaw.decodeOne(0x7F), short(0));
    }

    void decodeOne_givesLargestValues_whenCodeIsAtTheEnd()
    {
        QCOMPARE(aLaw.decodeOne(0xAA), short(32256));
        QCOMPARE(aLaw.decodeOne(0x2A), short(-32256));
        QCOMPARE(muLaw.decodeOne(0x80), short(32124));
        QCOMPARE(muLaw.decodeOne(0x00), short(-32124));
    }

    void decode_equalsTheTableOfG711_whenGivenEveryCode()
    {
        QCOMPARE(decodeAll(aLaw, allCodes()), aLawTable());
        QCOMPARE(decodeAll(muLaw, allCodes()), muLawTable());
    }

    void decode_equalsDecodeOne_whenGivenEveryCode()
    {
        const QVector<qint16> a = decodeAll(aLaw, allCodes());
        const QVector<qint16> mu = decodeAll(muLaw, allCodes());
        QCOMPARE(a.size(), codeCount);
        QCOMPARE(mu.size(), codeCount);
        for (int code = 0; code < codeCount; ++code) {
            QCOMPARE(a[code], aLaw.decodeOne(uchar(code)));
            QCOMPARE(mu[code], muLaw.decodeOne(uchar(code)));
        }
    }

    void decode_callsDecodeOneForEveryByte_whenSubclassHasNoTable()
    {
        PlainDecoder plain;
        plain.init({});
        QCOMPARE(decodeAll(plain, QByteArray("\x01\xFF\x00", 3)), (QVector<qint16>{1, 255, 0}));
    }

    void decode_equalsFFmpeg_whenGivenEveryCode()
    {
        const QStringList input{"-ar", "8000", "-ac", "1"};
        const CommandResult a = runFFmpeg(QStringList{"-f", "alaw"} + input, {"-f", "s16le"}, allCodes());
        QVERIFY2(a.ok, a.messages.constData());
        QCOMPARE(decodeAll(aLaw, allCodes()), TelephoneSound::samplesOf(a.output));
        const CommandResult mu = runFFmpeg(QStringList{"-f", "mulaw"} + input, {"-f", "s16le"}, allCodes());
        QVERIFY2(mu.ok, mu.messages.constData());
        QCOMPARE(decodeAll(muLaw, allCodes()), TelephoneSound::samplesOf(mu.output));
    }

    void decode_setsBothResults_whenPcmIsLargerThanNeeded()
    {
        short pcm[4] = {};
        unsigned bytes = sizeof pcm;
        const unsigned char input[] = {0xD5, 0x55};
        QCOMPARE(aLaw.decode(pcm, &bytes, input, 2), 4);
        QCOMPARE(bytes, 4U);
        QCOMPARE(pcm[2], short(0));
    }

    void decode_returnsMinusOne_whenAnArgumentIsMissing()
    {
        short pcm[1] = {77};
        unsigned bytes = sizeof pcm;
        const unsigned char input[] = {0xD5};
        QCOMPARE(aLaw.decode(nullptr, &bytes, input, 1), -1);
        QCOMPARE(aLaw.decode(pcm, nullptr, input, 1), -1);
        QCOMPARE(aLaw.decode(pcm, &bytes, nullptr, 1), -1);
        QCOMPARE(aLaw.decode(pcm, &bytes, input, 0), -1);
        QCOMPARE(bytes, 2U);
        QCOMPARE(pcm[0], short(77));
    }

    void decode_returnsMinusTwoAndWritesNothing_whenPcmIsOneByteTooSmall()
    {
        short pcm[2] = {77, 77};
        unsigned bytes = 3;
        const unsigned char input[] = {0xD5, 0x55};
        QCOMPARE(aLaw.decode(pcm, &bytes, input, 2), -2);
        QCOMPARE(bytes, 3U);
        QCOMPARE(pcm[0], short(77));
        QCOMPARE(pcm[1], short(77));
        QCOMPARE(muLaw.decode(pcm, &bytes, input, 2), -2);
        QCOMPARE(pcm[0], short(77));
    }

    void decode_returnsMinusTwo_whenTwiceTheLengthWouldWrap()
    {
        short pcm[2] = {77, 77};
        unsigned bytes = sizeof pcm;
        const unsigned char input[] = {0xD5, 0x55};
        QCOMPARE(aLaw.decode(pcm, &bytes, input, 0x80000001U), -2);
        bytes = std::numeric_limits<unsigned>::max();
        QCOMPARE(aLaw.decode(pcm, &bytes, input, 0x40000000U), -2);
        QCOMPARE(pcm[0], short(77));
    }

    void sizes_areThoseOf20Milliseconds()
    {
        QCOMPARE(aLaw.chunkSize(), 160);
        QCOMPARE(aLaw.pcmSize(), 320);
        QCOMPARE(muLaw.chunkSize(), 160);
        QCOMPARE(muLaw.pcmSize(), 320);
    }
};

QTEST_GUILESS_MAIN(TestG711ToPcm)
#include "tst_g711topcm.moc"
