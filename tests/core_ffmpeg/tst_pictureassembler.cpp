#include "core_ffmpeg/pictureassembler.h"

#include <QByteArray>
#include <QTest>
#include <QVector>

#include <memory>

extern "C" {
#include <libavutil/log.h>
}

namespace {

constexpr int delimiter = 9;
constexpr int sequenceSet = 7;
constexpr int pictureSet = 8;
constexpr int keySlice = 5;
constexpr int slice = 1;
constexpr int filler = 12;

constexpr qint64 pictureTime = 3600; // at 90 kHz, 25 a second
constexpr int full = 1000;           // what a network packet holds

/// A unit of @p size bytes behind its start code. A slice that is not @p first lies further down in its picture.
QByteArray unit(int type, int size, bool first = true)
{
    QByteArray bytes("\0\0\0\1", 4);
    bytes += char(0x60 | type);
    bytes += first ? '\x88' : '\x48';
    return bytes + QByteArray(size - 2, char(0x55));
}

/// A unit as FFmpeg's RTP receiver hands it out: fragments of @p fragment bytes, the first with start code and header.
QVector<QByteArray> fragments(const QByteArray& whole, int fragment = full)
{
    QVector<QByteArray> pieces{whole.left(fragment + 5)};
    for (int at = fragment + 5; at < whole.size(); at += fragment)
        pieces.append(whole.mid(at, fragment));
    return pieces;
}

struct Feeder
{
    Feeder()
    {
        parameters.reset(avcodec_parameters_alloc());
        parameters->codec_type = AVMEDIA_TYPE_VIDEO;
        parameters->codec_id = AV_CODEC_ID_H264;
        assembler = std::make_unique<PictureAssembler>(parameters.get());
    }

    /// Hands the piece in; what came out of it is in whole and early.
    void add(const QByteArray& bytes, qint64 time)
    {
        AvPacketPtr piece = makePacket();
        QVERIFY(av_new_packet(piece.get(), bytes.size()) == 0);
        std::copy(bytes.begin(), bytes.end(), piece->data);
        piece->pts = piece->dts = time;
        piece->stream_index = 3;
        assembler->add(piece.get());
        whole = assembler->takeWhole();
        early = assembler->takeEarly();
    }

    void add(const QVector<QByteArray>& pieces, qint64 time)
    {
        for (const QByteArray& piece : pieces)
            add(piece, time);
    }

    static QByteArray bytesOf(const AvPacketPtr& packet)
    {
        return packet ? QByteArray(reinterpret_cast<const char*>(packet->data), packet->size) : QByteArray();
    }

    CodecParametersPtr parameters;
    std::unique_ptr<PictureAssembler> assembler;
    std::optional<PictureAssembler::WholePicture> whole;
    AvPacketPtr early;
};

/// A picture in packets of which the last is short, after its parameter sets.
const QByteArray sets = unit(sequenceSet, 20) + unit(pictureSet, 8);
const QByteArray keyUnit = unit(keySlice, 2500);

} // namespace

class TestPictureAssembler : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { av_log_set_level(AV_LOG_QUIET); }

    void takeEarly_givesThePicture_whenItsLastFragmentIsShort()
    {
        Feeder feeder;
        feeder.add(sets, 0);
        QVERIFY(!feeder.early);
        const QVector<QByteArray> pieces = fragments(keyUnit);
        QCOMPARE(pieces.size(), 3);
        feeder.add(pieces.at(0), 0);
        QVERIFY(!feeder.early);
        feeder.add(pieces.at(1), 0);
        QVERIFY(!feeder.early);
        feeder.add(pieces.at(2), 0);
        QCOMPARE(Feeder::bytesOf(feeder.early), sets + keyUnit);
        QVERIFY((feeder.early->flags & AV_PKT_FLAG_KEY) != 0);
        QCOMPARE(feeder.early->stream_index, 3);
        QVERIFY(!feeder.whole);
        QVERIFY(!feeder.assembler->takeEarly()); // once
    }

    void takeWhole_givesThePicture_whenTheNextBegins_data()
    {
        QTest::addColumn<QByteArray>("next");
        QTest::newRow("slice") << unit(slice, 300);
        QTest::newRow("delimiter") << unit(delimiter, 2);
        QTest::newRow("parameter sets") << sets;
        QTest::newRow("supplemental information") << unit(6, 40);
    }

    void takeWhole_givesThePicture_whenTheNextBegins()
    {
        QFETCH(QByteArray, next);
        Feeder feeder;
        feeder.add(sets, 100);
        feeder.add(fragments(keyUnit), 100);
        QVERIFY(!feeder.whole);
        feeder.add(next, 100 + pictureTime);
        QVERIFY(feeder.whole.has_value());
        QCOMPARE(Feeder::bytesOf(feeder.whole->packet), sets + keyUnit);
        QVERIFY(feeder.whole->wasEarly && !feeder.whole->wasTooSoon);
        QCOMPARE(feeder.whole->packet->pts, qint64(100));
        QCOMPARE(feeder.whole->packet->dts, qint64(100));
        QVERIFY((feeder.whole->packet->flags & AV_PKT_FLAG_KEY) != 0);
        QVERIFY(!feeder.assembler->takeWhole());
    }

    void takeEarly_givesEachPicture_ofOnePacket()
    {
        Feeder feeder;
        feeder.add(sets, 0);
        feeder.add(fragments(keyUnit), 0);
        for (int i = 1; i < 50; ++i) {
            const QByteArray picture = unit(slice, 100 + i);
            feeder.add(picture, i * pictureTime);
            QCOMPARE(Feeder::bytesOf(feeder.early), picture);
            QVERIFY((feeder.early->flags & AV_PKT_FLAG_KEY) == 0);
            QVERIFY(feeder.whole && feeder.whole->wasEarly && !feeder.whole->wasTooSoon);
        }
    }

    void takeEarly_waits_whenTheLastFragmentFillsItsPacket()
    {
        Feeder feeder;
        const QByteArray picture = unit(keySlice, 1 + 3 * full);
        feeder.add(fragments(picture), 0);
        QVERIFY(!feeder.early);
        feeder.add(fragments(unit(slice, 1500)), pictureTime);
        QVERIFY(feeder.early);
        feeder.add(unit(slice, 100), 2 * pictureTime);
        QVERIFY(feeder.whole->wasEarly);
    }

    void takeEarly_waits_whenAPacketCouldBeAFirstFragment()
    {
        Feeder feeder;
        feeder.add(fragments(keyUnit), 0);
        feeder.add(unit(slice, full + 1), pictureTime);
        QVERIFY(!feeder.early);
        feeder.add(unit(slice, 100), 2 * pictureTime);
        QVERIFY(feeder.whole && !feeder.whole->wasEarly);
        QVERIFY(feeder.early);
    }

    void takeEarly_waitsForAllSlices_onceTheirNumberIsKnown()
    {
        Feeder feeder;
        QVERIFY(feeder.assembler->isFirst());
        feeder.add(fragments(keyUnit), 0);
        QVERIFY(feeder.early); // nothing is known yet
        const QByteArray lower = unit(keySlice, 1700, false);
        feeder.add(fragments(lower), 0);
        QVERIFY(!feeder.early);

        feeder.add(unit(slice, 200), pictureTime);
        QVERIFY(feeder.whole && feeder.whole->wasEarly && feeder.whole->wasTooSoon);
        QCOMPARE(Feeder::bytesOf(feeder.whole->packet), keyUnit + lower);
        QVERIFY(!feeder.assembler->isFirst());
        QVERIFY(!feeder.early);
        feeder.add(unit(slice, 210, false), pictureTime);
        QCOMPARE(Feeder::bytesOf(feeder.early), unit(slice, 200) + unit(slice, 210, false));

        feeder.add(unit(slice, 200), 2 * pictureTime);
        QVERIFY(feeder.whole && feeder.whole->wasEarly && !feeder.whole->wasTooSoon);
    }

    void takeEarly_givesNothingMore_whenTheSenderDoesNotFillItsPackets()
    {
        Feeder feeder;
        const QByteArray picture = unit(keySlice, 1000 + 600 + 600);
        const QVector<QByteArray> uneven{picture.left(1005), picture.mid(1005, 600), picture.mid(1605)};
        feeder.add(uneven, 0);
        for (int i = 1; i < 20; ++i) {
            feeder.add(fragments(unit(slice, 1300)), i * pictureTime);
            QVERIFY(!feeder.early);
            feeder.add(unit(slice, 300), (i + 100) * pictureTime);
            QVERIFY(!feeder.early);
            QVERIFY(feeder.whole && !feeder.whole->wasTooSoon);
        }
    }

    void takeWhole_saysThatItWasTooSoon_whenTheSenderDoesNotFillItsPackets()
    {
        Feeder feeder;
        const QByteArray picture = unit(keySlice, 1000 + 600 + 600);
        feeder.add(QVector<QByteArray>{picture.left(1005), picture.mid(1005, 600)}, 0);
        QVERIFY(feeder.early);
        feeder.add(picture.mid(1605), 0);
        feeder.add(unit(slice, 300), pictureTime);
        QVERIFY(feeder.whole && feeder.whole->wasEarly && feeder.whole->wasTooSoon);
        QCOMPARE(Feeder::bytesOf(feeder.whole->packet), picture);
    }

    void takeEarly_givesNothingMore_whenTheNumberOfSlicesKeepsChanging()
    {
        Feeder feeder;
        feeder.add(fragments(keyUnit), 0);
        int early = 0;
        for (int i = 1; i < 20; ++i) {
            const int count = i % 2 == 0 ? 3 : 1;
            for (int part = 0; part < count; ++part) {
                feeder.add(unit(slice, 200, part == 0), i * pictureTime);
                early += feeder.early ? 1 : 0;
            }
        }
        QVERIFY2(early < 8, qPrintable(QString::number(early)));
    }

    void filler_belongsToThePicture_andIsNoMistake()
    {
        Feeder feeder;
        feeder.add(fragments(keyUnit), 0);
        QVERIFY(feeder.early);
        feeder.add(unit(filler, 50), 0);
        feeder.add(unit(slice, 300), pictureTime);
        QVERIFY(feeder.early);
        QVERIFY(feeder.whole && feeder.whole->wasEarly && !feeder.whole->wasTooSoon);
        QCOMPARE(Feeder::bytesOf(feeder.whole->packet), keyUnit + unit(filler, 50));
    }

    void takeEarly_goesOn_afterPacketsWereLost_data()
    {
        QTest::addColumn<QVector<int>>("lost"); // of the fragments of a picture
        QTest::newRow("first") << QVector<int>{0};
        QTest::newRow("middle") << QVector<int>{1};
        QTest::newRow("last") << QVector<int>{2};
        QTest::newRow("first and last") << QVector<int>{0, 2};
        QTest::newRow("all but the last") << QVector<int>{0, 1};
    }

    void takeEarly_goesOn_afterPacketsWereLost()
    {
        QFETCH(QVector<int>, lost);
        Feeder feeder;
        feeder.add(fragments(keyUnit), 0);
        for (int i = 1; i < 10; ++i) {
            const QVector<QByteArray> pieces = fragments(unit(slice, 2400));
            for (int part = 0; part < pieces.size(); ++part) {
                if (i % 2 == 0 || !lost.contains(part))
                    feeder.add(pieces.at(part), i * pictureTime);
            }
            if (i % 2 == 0)
                QCOMPARE(Feeder::bytesOf(feeder.early), unit(slice, 2400));
        }
    }

    void aPictureIsOne_whenReportsOfTheSenderMoveItsTime()
    {
        Feeder feeder;
        const QVector<QByteArray> pieces = fragments(keyUnit);
        feeder.add(pieces.at(0), 0);
        feeder.add(pieces.at(1), 20);
        feeder.add(pieces.at(2), 20);
        QCOMPARE(Feeder::bytesOf(feeder.early), keyUnit);
    }

    void unitsWithoutAPicture_areDropped_beforeTheyFillTheMemory()
    {
        constexpr int megabyte = 1024 * 1024;
        constexpr int most = 32;
        Feeder feeder;
        const QByteArray endless = unit(filler, megabyte);
        for (int i = 0; i < 2 * most + most / 2; ++i) {
            feeder.add(endless, 0);
            QVERIFY(!feeder.whole);
            QVERIFY(!feeder.early);
        }
        feeder.add(keyUnit, 0);
        feeder.add(unit(slice, 300), pictureTime);
        QVERIFY(feeder.whole);
        const QByteArray picture = Feeder::bytesOf(feeder.whole->packet);
        QVERIFY2(picture.size() <= most * megabyte, qPrintable(QString::number(picture.size())));
        QVERIFY(picture.endsWith(keyUnit));
    }

    void finish_givesTheLastPicture()
    {
        Feeder feeder;
        feeder.assembler->finish();
        QVERIFY(!feeder.assembler->takeWhole());
        feeder.add(fragments(keyUnit), 7);
        feeder.assembler->finish();
        const std::optional<PictureAssembler::WholePicture> last = feeder.assembler->takeWhole();
        QVERIFY(last && last->wasEarly && !last->wasTooSoon);
        QCOMPARE(Feeder::bytesOf(last->packet), keyUnit);
        QVERIFY(!feeder.assembler->takeEarly());
    }
};

QTEST_GUILESS_MAIN(TestPictureAssembler)
#include "tst_pictureassembler.moc"
