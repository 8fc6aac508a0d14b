#include "core_ffmpeg/annexb.h"

#include <QByteArray>
#include <QTest>
#include <QVector>

#include <random>

namespace {
const QByteArray code3("\0\0\1", 3);
const QByteArray code4("\0\0\0\1", 4);

const uint8_t* bytesOf(const QByteArray& data) { return reinterpret_cast<const uint8_t*>(data.constData()); }

QVector<QByteArray> unitsOf(const QByteArray& data)
{
    QVector<QByteArray> units;
    for (const AnnexB::Unit& unit : AnnexB::split(bytesOf(data), size_t(data.size())))
        units.append(QByteArray(reinterpret_cast<const char*>(unit.data), int(unit.size)));
    return units;
}

/// The definition, byte by byte.
QVector<QByteArray> unitsByDefinition(const QByteArray& data)
{
    QVector<QByteArray> units;
    for (int code = data.indexOf(code3); code >= 0;) {
        const int begin = code + code3.size();
        code = data.indexOf(code3, begin);
        QByteArray unit = data.mid(begin, code < 0 ? -1 : code - begin);
        while (code >= 0 && unit.endsWith('\0'))
            unit.chop(1);
        if (!unit.isEmpty())
            units.append(unit);
    }
    return units;
}
} // namespace

class TestAnnexB : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void split_givesTheUnitsBehindStartCodes_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QVector<QByteArray>>("units");
        QTest::newRow("nothing") << QByteArray() << QVector<QByteArray>();
        QTest::newRow("no start code") << QByteArray("\x65\1\2\3") << QVector<QByteArray>();
        QTest::newRow("a start code alone") << code3 << QVector<QByteArray>();
        QTest::newRow("half a start code") << QByteArray("\0\0", 2) << QVector<QByteArray>();
        QTest::newRow("one unit") << code3 + "e" << QVector<QByteArray>{"e"};
        QTest::newRow("a start code of four bytes") << code4 + "g" + code4 + "hi" << QVector<QByteArray>{"g", "hi"};
        QTest::newRow("bytes before the first") << "xyz" + code3 + "e" << QVector<QByteArray>{"e"};
        QTest::newRow("start codes without units") << code3 + code3 + code4 + "e" + code3 << QVector<QByteArray>{"e"};
        QTest::newRow("zeros at the end belong to the unit") << code3 + QByteArray("e\0\0", 3)
                                                             << QVector<QByteArray>{QByteArray("e\0\0", 3)};
    }

    void split_givesTheUnitsBehindStartCodes()
    {
        QFETCH(QByteArray, data);
        QFETCH(QVector<QByteArray>, units);
        QCOMPARE(unitsOf(data), units);
    }

    void split_isAsTheDefinition_forBytesThatAreOftenStartCodes()
    {
        std::mt19937 random(1);
        for (int i = 0; i < 20000; ++i) {
            QByteArray data;
            for (unsigned length = random() % 40; length > 0; --length)
                data.append(char(random() % 4 < 3 ? random() % 2 : random() % 4));
            QCOMPARE(unitsOf(data), unitsByDefinition(data));
        }
    }

    void reader_leavesTheEndOpen_untilItIsAskedFor()
    {
        const QByteArray data = code4 + "g" + code3 + "e..." + code3 + "A";
        AnnexB::Reader reader(bytesOf(data), size_t(data.size()));
        QVERIFY(reader.next());
        QCOMPARE(int(reader.openUnit().size), data.size() - 4);
        QCOMPARE(reader.unit().size, size_t(1));
        QVERIFY(reader.next());
        QVERIFY(reader.openUnit().isSlice());
        QCOMPARE(reader.unit().size, size_t(4));
        QVERIFY(reader.next());
        QCOMPARE(reader.unit().size, size_t(1));
        QVERIFY(!reader.next());
        QVERIFY(!reader.next());
    }
};

QTEST_GUILESS_MAIN(TestAnnexB)
#include "tst_annexb.moc"
