#include "devicereader.h"
#include "devnet/g711.h"

#include <QtTest>

#include <cstring>
#include <numeric>
#include <vector>

class G711Test : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void encode_isAsCloseAsTheLawAllows_data();
    void encode_isAsCloseAsTheLawAllows();
    void encode_knowsSilence();
};

namespace {

std::vector<std::int16_t> everySample()
{
    std::vector<std::int16_t> samples(65536);
    std::iota(samples.begin(), samples.end(), std::int16_t(-32768));
    return samples;
}

} // namespace

void G711Test::encode_isAsCloseAsTheLawAllows_data()
{
    QTest::addColumn<bool>("aLaw");
    QTest::newRow("A-law") << true;
    QTest::newRow("mu-law") << false;
}

/// Whatever another decoder makes of a sample lies within the step that the sample's size has.
void G711Test::encode_isAsCloseAsTheLawAllows()
{
    QFETCH(bool, aLaw);
    const std::vector<std::int16_t> samples = everySample();
    const QByteArray encoded
        = aLaw ? G711::encodeALaw(samples.data(), samples.size()) : G711::encodeULaw(samples.data(), samples.size());
    QCOMPARE(encoded.size(), 65536);
    const QByteArray pcm
        = DeviceReader::ffmpeg({"-f", aLaw ? "alaw" : "mulaw", "-ar", "8000", "-i", "-", "-f", "s16le", "-"}, encoded);
    QCOMPARE(pcm.size(), 2 * 65536);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        std::int16_t decoded = 0;
        std::memcpy(&decoded, pcm.constData() + 2 * i, 2);
        // Sixteen steps between two powers of two, and the loudest are cut off.
        const int size = std::abs(static_cast<int>(samples.at(i)));
        const int halfStep = aLaw ? std::max(8, size / 32) : std::max(4, (size + 132) / 32);
        const int allowed = halfStep + (size > 32100 ? 700 : 1);
        const int error = std::abs(decoded - samples.at(i));
        QVERIFY2(error <= allowed, qPrintable(QString("%1 became %2").arg(samples.at(i)).arg(decoded)));
    }
}

void G711Test::encode_knowsSilence()
{
    const std::int16_t silence = 0;
    QCOMPARE(G711::encodeULaw(&silence, 1), QByteArray("\xff"));
    QCOMPARE(G711::encodeALaw(&silence, 1), QByteArray("\xd5"));
    QCOMPARE(G711::encodeULaw(&silence, 0), QByteArray());
}

QTEST_GUILESS_MAIN(G711Test)
#include "tst_g711.moc"
