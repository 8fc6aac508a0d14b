#include "core_ffmpeg/ffmpegptr.h"
#include "devnet/mediatimeline.h"
#include "devnet/packetclock.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QtTest>

#include <thread>

namespace {

constexpr qint64 ms = 1000; ///< microseconds
constexpr qint64 hour = 3600 * 1000 * ms;

/// How many milliseconds @p timeline waits for @p time.
qint64 waited(MediaTimeline& timeline, qint64 time, const StopSignal& stop = StopSignal())
{
    QElapsedTimer timer;
    timer.start();
    timeline.waitFor(time, stop);
    return timer.elapsed();
}

bool isNow(qint64 wallTime) { return qAbs(wallTime - QDateTime::currentMSecsSinceEpoch()) < 60; }

/// A stream at 25 a second whose times are milliseconds.
class TestStream
{
public:
    TestStream()
        : context(avformat_alloc_context())
        , stream(avformat_new_stream(context.get(), nullptr))
    {
        stream->time_base = {1, 1000};
        stream->avg_frame_rate = {25, 1};
    }

    QVector<qint64> times(const QVector<QPair<qint64, qint64>>& shownAndDecoded)
    {
        PacketClock clock(stream);
        const AvPacketPtr packet = makePacket();
        QVector<qint64> result;
        for (const auto& [shown, decoded] : shownAndDecoded) {
            packet->pts = shown;
            packet->dts = decoded;
            result.append(clock.timeOf(packet.get()) / ms);
        }
        return result;
    }

    FormatInputPtr context;
    AVStream* stream; ///< borrowed from the context
};

constexpr qint64 none = AV_NOPTS_VALUE;

} // namespace

/// When frames are due, and which times they get.
class MediaTimelineTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void player_waitsUntilTimesAreDue();
    void player_stopsWaiting_whenStopped();
    void player_takesAJumpForNow_data();
    void player_takesAJumpForNow();
    void player_goesOn_whenItIsALittleLate();
    void live_neverWaits();
    void live_keepsTimes_whenTheNetworkStalls();
    void packets_haveTheTimeOfDecoding_andFitTheSound();
    void packets_areEven_whenDecodingIsUnknownAtFirst();
    void packets_haveTheTimeOfShowing_whenDecodingIsNeverKnown();
    void packets_goOn_whenNothingIsKnown();
};

void MediaTimelineTest::player_waitsUntilTimesAreDue()
{
    MediaTimeline timeline(MediaTimeline::Pace::Player);
    QElapsedTimer sinceBegin;
    sinceBegin.start();
    QVERIFY(waited(timeline, 5 * hour) < 60);
    QVERIFY(isNow(timeline.wallTime(5 * hour)));
    waited(timeline, 5 * hour + 200 * ms);
    const qint64 due = sinceBegin.elapsed();
    QVERIFY2(due >= 190 && due < 400, qPrintable(QString::number(due)));
    QVERIFY(waited(timeline, 5 * hour + 150 * ms) < 60);
    QCOMPARE(timeline.wallTime(5 * hour + 200 * ms), timeline.wallTime(5 * hour) + 200);
}

void MediaTimelineTest::player_stopsWaiting_whenStopped()
{
    MediaTimeline timeline(MediaTimeline::Pace::Player);
    StopSignal stop;
    timeline.waitFor(0, stop);
    std::thread stopping([&stop] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        stop.request();
    });
    const qint64 time = waited(timeline, 4000 * ms, stop);
    stopping.join();
    QVERIFY2(time < 1000, qPrintable(QString::number(time)));
}

void MediaTimelineTest::player_takesAJumpForNow_data()
{
    QTest::addColumn<qint64>("jump");
    QTest::newRow("ahead") << hour;
    QTest::newRow("back") << -hour;
    QTest::newRow("back a little") << -1500 * ms;
}

void MediaTimelineTest::player_takesAJumpForNow()
{
    QFETCH(qint64, jump);
    MediaTimeline timeline(MediaTimeline::Pace::Player);
    timeline.waitFor(0, StopSignal());
    QVERIFY(waited(timeline, jump) < 60);
    QVERIFY(isNow(timeline.wallTime(jump)));
    const qint64 next = waited(timeline, jump + 100 * ms);
    QVERIFY2(next >= 90 && next < 300, qPrintable(QString::number(next)));
}

void MediaTimelineTest::player_goesOn_whenItIsALittleLate()
{
    MediaTimeline timeline(MediaTimeline::Pace::Player);
    timeline.waitFor(0, StopSignal());
    const qint64 begin = timeline.wallTime(0);
    QTest::qSleep(300);
    QVERIFY(waited(timeline, 40 * ms) < 60);
    QCOMPARE(timeline.wallTime(40 * ms), begin + 40);
}

void MediaTimelineTest::live_neverWaits()
{
    MediaTimeline timeline(MediaTimeline::Pace::Live);
    QVERIFY(waited(timeline, 0) < 60);
    QVERIFY(waited(timeline, 3000 * ms) < 60);
    QVERIFY(waited(timeline, hour) < 60);
    QVERIFY(isNow(timeline.wallTime(hour)));
}

void MediaTimelineTest::live_keepsTimes_whenTheNetworkStalls()
{
    MediaTimeline timeline(MediaTimeline::Pace::Live);
    timeline.waitFor(0, StopSignal());
    const qint64 begin = timeline.wallTime(0);
    QTest::qSleep(1300);
    timeline.waitFor(40 * ms, StopSignal());
    QCOMPARE(timeline.wallTime(40 * ms), begin + 40);
}

void MediaTimelineTest::packets_haveTheTimeOfDecoding_andFitTheSound()
{
    TestStream stream;
    QCOMPARE(stream.times({{0, -80}, {160, -40}, {80, 0}, {40, 40}, {120, 80}}),
             (QVector<qint64>{0, 40, 80, 120, 160}));
    QCOMPARE(stream.times({{1000, 1000}, {1040, 1040}}), (QVector<qint64>{1000, 1040}));
}

void MediaTimelineTest::packets_areEven_whenDecodingIsUnknownAtFirst()
{
    TestStream stream;
    QCOMPARE(stream.times({{0, none}, {160, none}, {80, 0}, {40, 40}}), (QVector<qint64>{0, 40, 80, 120}));
}

void MediaTimelineTest::packets_haveTheTimeOfShowing_whenDecodingIsNeverKnown()
{
    TestStream stream;
    QVector<QPair<qint64, qint64>> packets;
    for (qint64 i = 0; i < 20; ++i)
        packets.append({i * 50, none});
    QCOMPARE(stream.times(packets).last(), 950);
}

void MediaTimelineTest::packets_goOn_whenNothingIsKnown()
{
    TestStream stream;
    QCOMPARE(stream.times({{none, none}, {none, none}, {none, none}}), (QVector<qint64>{0, 40, 80}));
    QCOMPARE(stream.times({{none, 100}, {none, 140}}), (QVector<qint64>{100, 140}));
}

QTEST_GUILESS_MAIN(MediaTimelineTest)
#include "tst_mediatimeline.moc"
