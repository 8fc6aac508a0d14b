#include "core_ffmpeg/h265parameters.h"

#include <QByteArray>
#include <QTest>

namespace {
const QByteArray startCode("\0\0\0\1", 4);
const QByteArray videoSet = QByteArray::fromHex("40010c01ffff01600000030090000003000003003c959409");
const QByteArray sequenceSet = QByteArray::fromHex("42010101600000030090000003000003003ca00a080f16595952930bc05a020000030002000003003210");
const QByteArray pictureSet = QByteArray::fromHex("4401c073c189");

QByteArray units(const QList<QByteArray>& list)
{
    QByteArray result;
    for (const QByteArray& unit : list)
        result += startCode + unit;
    return result;
}

bool areReadable(const QByteArray& bytes)
{
    return H265Parameters::areReadable(reinterpret_cast<const uint8_t*>(bytes.constData()), size_t(bytes.size()));
}
} // namespace

/// Sets as libx265 writes them.
class TestH265Parameters : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void areReadable_isSaidOfSets_thatADecoderTakes_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("expected");
        QTest::newRow("whole") << units({videoSet, sequenceSet, pictureSet}) << true;
        QTest::newRow("without a picture set") << units({videoSet, sequenceSet}) << true;
        QTest::newRow("without a video set") << units({sequenceSet, pictureSet}) << false;
        QTest::newRow("no sequence set") << units({videoSet, pictureSet}) << true;
        QTest::newRow("nothing") << QByteArray() << true;
        QTest::newRow("no start code") << sequenceSet << true;
        QTest::newRow("a good one and a broken one")
            << units({videoSet, sequenceSet, sequenceSet.left(20), pictureSet}) << false;
    }

    void areReadable_isSaidOfSets_thatADecoderTakes()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, expected);
        QCOMPARE(areReadable(bytes), expected);
    }

    void areReadable_isNotSaid_ofASetThatWasCutOff()
    {
        for (int size = 1; size < sequenceSet.size() - 1; ++size)
            QVERIFY2(!areReadable(units({videoSet, sequenceSet.left(size), pictureSet})), qPrintable(QString::number(size)));
    }
};

QTEST_GUILESS_MAIN(TestH265Parameters)
#include "tst_h265parameters.moc"
