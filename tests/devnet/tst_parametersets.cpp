#include "devnet/parametersets.h"

#include <QtTest>

namespace {

const QByteArray code3("\0\0\1", 3);
const QByteArray code4("\0\0\0\1", 4);

// Units of H.264 by their first byte, and of H.265 by their first two.
const QByteArray sps = "\x67sps";
const QByteArray otherSps = "\x67other";
const QByteArray pps = "\x68pps";
const QByteArray secondPps = "\x68second";
const QByteArray sei = "\x06sei";
const QByteArray delimiter = "\x09\x10";
const QByteArray slice = "\x65slice";
const QByteArray vps265 = "\x40\x01vps";
const QByteArray sps265 = "\x42\x01sps";
const QByteArray pps265 = "\x44\x01pps";
const QByteArray delimiter265 = "\x46\x01P";
const QByteArray slice265 = "\x26\x01slice";

QByteArray stream(const QList<QByteArray>& units)
{
    QByteArray all;
    for (const QByteArray& unit : units)
        all += code4 + unit;
    return all;
}

} // namespace

class ParameterSetsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void areComplete_whenEveryKindWasSeen();
    void keyFrame_getsTheSetsFromBefore();
    void keyFrame_hasItsOwnSetsFirst();
    void keyFrame_hasEachSetOnce();
    void keyFrame_keepsSeveralSetsOfAKind();
    void keyFrame_takesEveryStartCode();
    void keyFrame_isOfH265();
    void split_findsNothing_whereThereIsNothing();
    void learn_replacesSetsOfItsKindAlone();
};

void ParameterSetsTest::areComplete_whenEveryKindWasSeen()
{
    ParameterSets sets(false);
    QVERIFY(!sets.areComplete());
    sets.learn(stream({sps}));
    QVERIFY(!sets.areComplete());
    sets.learn(stream({pps}));
    QVERIFY(sets.areComplete());

    ParameterSets sets265(true);
    sets265.learn(stream({sps265, pps265}));
    QVERIFY(!sets265.areComplete());
    sets265.learn(stream({vps265}));
    QVERIFY(sets265.areComplete());
}

void ParameterSetsTest::keyFrame_getsTheSetsFromBefore()
{
    ParameterSets sets(false);
    sets.learn(stream({sps, pps}));
    QCOMPARE(sets.keyFrame(stream({slice, slice})), stream({sps, pps, slice, slice}));
}

void ParameterSetsTest::keyFrame_hasItsOwnSetsFirst()
{
    ParameterSets sets(false);
    const QByteArray frame = stream({delimiter, sei, pps, otherSps, slice});
    sets.learn(stream({sps, pps}));
    sets.learn(frame);
    QCOMPARE(sets.keyFrame(frame), stream({otherSps, pps, sei, slice}));
}

void ParameterSetsTest::keyFrame_hasEachSetOnce()
{
    ParameterSets sets(false);
    const QByteArray frame = stream({sps, pps, sps, pps, slice});
    sets.learn(frame);
    QCOMPARE(sets.keyFrame(frame), stream({sps, pps, slice}));
}

void ParameterSetsTest::keyFrame_keepsSeveralSetsOfAKind()
{
    ParameterSets sets(false);
    sets.learn(stream({sps, pps, secondPps}));
    QCOMPARE(sets.keyFrame(stream({slice})), stream({sps, pps, secondPps, slice}));
}

void ParameterSetsTest::keyFrame_takesEveryStartCode()
{
    ParameterSets sets(false);
    const QByteArray frame = code3 + sps + code3 + pps + QByteArray("\0\0", 2) + code4 + slice + QByteArray("\0\0", 2);
    sets.learn(frame);
    QCOMPARE(sets.keyFrame(frame), stream({sps, pps, slice}));
}

void ParameterSetsTest::keyFrame_isOfH265()
{
    ParameterSets sets(true);
    const QByteArray frame = stream({delimiter265, slice265});
    sets.learn(stream({vps265, sps265, pps265}));
    sets.learn(frame);
    QCOMPARE(sets.keyFrame(frame), stream({vps265, sps265, pps265, slice265}));
}

void ParameterSetsTest::split_findsNothing_whereThereIsNothing()
{
    for (const QByteArray& empty : {QByteArray(), QByteArray("no start code"), code3, code4 + code4})
        QVERIFY(AnnexB::split(empty, false).empty());
}

void ParameterSetsTest::learn_replacesSetsOfItsKindAlone()
{
    ParameterSets sets(false);
    sets.learn(stream({sps, pps, secondPps}));
    sets.learn(stream({otherSps, slice}));
    QCOMPARE(sets.keyFrame(stream({slice})), stream({otherSps, pps, secondPps, slice}));
}

QTEST_GUILESS_MAIN(ParameterSetsTest)
#include "tst_parametersets.moc"
