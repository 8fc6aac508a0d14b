#include "devnet/mediatimeline.h"

#include <QDateTime>

#include <algorithm>

namespace {

using namespace std::chrono_literals;

struct Tolerance
{
    std::chrono::microseconds behind;
    std::chrono::microseconds ahead;
};

// A network that stalls delivers everything later, in a burst, and right again; a player that was held up can't.
constexpr Tolerance live{10s, 10s};
constexpr Tolerance player{1s, 5s};

/// Damaged sources jump farther than the clock can count.
constexpr qint64 farthestUs = qint64(366) * 24 * 3600 * 1000000;

} // namespace

void MediaTimeline::waitFor(qint64 time, const StopSignal& stop)
{
    if (!hasBegun)
        setNow(time);
    const Tolerance& tolerance = pace == Pace::Live ? live : player;
    const auto due = begin + std::chrono::microseconds(std::clamp(time - beginTime, -farthestUs, farthestUs));
    const auto now = Clock::now();
    if (due < now - tolerance.behind || due > now + tolerance.ahead)
        setNow(time);
    else if (pace == Pace::Player)
        stop.waitUntil(due);
}

qint64 MediaTimeline::wallTime(qint64 time) const { return beginMs + (time - beginTime) / 1000; }

void MediaTimeline::setNow(qint64 time)
{
    hasBegun = true;
    beginTime = time;
    begin = Clock::now();
    beginMs = QDateTime::currentMSecsSinceEpoch();
}
