#include "core_ffmpeg/h264parameters.h"

#include <QByteArray>
#include <QTest>

namespace {

/// Sequence parameter sets as libx264 writes them, behind a start code.
QByteArray set(const char* hex) { return QByteArray("\0\0\0\1", 4) + QByteArray::fromHex(hex); }

const QByteArray palCamera = set("6742c01eda02c049b014a0c0c0d4a0000003002000000651e2c5d4");

std::optional<H264Parameters> read(const QByteArray& units)
{
    return H264Parameters::read(reinterpret_cast<const uint8_t*>(units.constData()), size_t(units.size()));
}

} // namespace

class TestH264Parameters : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void read_givesSizeAndRate_data()
    {
        QTest::addColumn<QByteArray>("units");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<int>("profile");
        QTest::addColumn<int>("level");
        QTest::addColumn<double>("rate");
        constexpr int constrainedBaseline = 66 + 512;
        QTest::newRow("baseline") << palCamera << QSize(704, 576) << constrainedBaseline << 30 << 25.0;
        QTest::newRow("cropped rows")
            << set("67640028acd940780227e5c044000003000400000300f03c60c658") << QSize(1920, 1080) << 100 << 40 << 30.0;
        QTest::newRow("cropped columns and rows")
            << set("674d401feca0501ef75808800001f48000ea60078c18cb") << QSize(636, 478) << 77 << 31 << 60000.0 / 1001;
        QTest::newRow("behind another unit") << QByteArray("\0\0\1\x09\x10", 5) + palCamera << QSize(704, 576)
                                             << constrainedBaseline << 30 << 25.0;
    }

    void read_givesSizeAndRate()
    {
        QFETCH(QByteArray, units);
        QFETCH(QSize, size);
        QFETCH(int, profile);
        QFETCH(int, level);
        QFETCH(double, rate);
        const std::optional<H264Parameters> parameters = read(units);
        QVERIFY(parameters.has_value());
        QCOMPARE(QSize(parameters->width, parameters->height), size);
        QCOMPARE(parameters->profile, profile);
        QCOMPARE(parameters->level, level);
        QCOMPARE(double(parameters->rateNumerator) / parameters->rateDenominator, rate);
        QVERIFY(!parameters->isFullRange);
    }

    void read_seesTheFullRange()
    {
        const std::optional<H264Parameters> parameters
            = read(set("6764001facd9405005bb016c80000003008000000f078c18cb"));
        QVERIFY(parameters.has_value());
        QVERIFY(parameters->isFullRange);
        QCOMPARE(QSize(parameters->width, parameters->height), QSize(1280, 720));
    }

    void read_refuses_whatItDoesNotKnow_data()
    {
        QTest::addColumn<QByteArray>("units");
        QTest::newRow("fields") << set("6764001eacd940b024d8088000000300800000190f8a14cb");
        QTest::newRow("4:2:2") << set("677a000dbcd94141fb011000000300100000030320f1429960");
        QTest::newRow("10 bits") << set("676e000da6cd94141fb011000003000100000300320f142996");
        QTest::newRow("nothing") << QByteArray();
        QTest::newRow("another unit") << set("68ce3880");
        QTest::newRow("no start code") << palCamera.mid(4);
        QTest::newRow("header byte alone") << set("67");
    }

    void read_refuses_whatItDoesNotKnow()
    {
        QFETCH(QByteArray, units);
        QVERIFY(!read(units).has_value());
    }

    /// Whatever is cut off or turned round, nothing is read past the end.
    void read_survives_whateverIsInTheSet()
    {
        for (int length = 0; length < palCamera.size(); ++length) {
            const std::optional<H264Parameters> cut = read(QByteArray(palCamera.constData(), length));
            QVERIFY(!cut || (cut->width > 0 && cut->height > 0));
        }
        for (int bit = 40; bit < palCamera.size() * 8; ++bit) {
            QByteArray turned = palCamera;
            turned[bit / 8] = char(turned.at(bit / 8) ^ (0x80 >> bit % 8));
            const std::optional<H264Parameters> other = read(turned);
            QVERIFY(!other || (other->width > 0 && other->height > 0 && other->rateDenominator > 0));
        }
    }
};

QTEST_GUILESS_MAIN(TestH264Parameters)
#include "tst_h264parameters.moc"
