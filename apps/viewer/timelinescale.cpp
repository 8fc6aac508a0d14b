#include "timelinescale.h"

#include "walltime.h"

#include <algorithm>
#include <cmath>

namespace {
using namespace WallTime;

constexpr qint64 steps[] = {second,      2 * second,  5 * second,  10 * second, 15 * second, 30 * second,
                            minute,      2 * minute,  5 * minute,  10 * minute, 15 * minute, 30 * minute,
                            hour,        2 * hour,    3 * hour,    6 * hour,    12 * hour};

/// Where a time is put that was not seen, as a part of what is seen.
constexpr double behindTheEdge = 0.1;
} // namespace

void TimelineScale::setDay(qint64 begin)
{
    firstOfDay = begin;
    firstSeen = begin;
    length = day;
}

void TimelineScale::setWidth(int pixels) { width = std::max(1, pixels); }

qint64 TimelineScale::dayEnd() const { return firstOfDay + day; }

bool TimelineScale::isWholeDay() const { return length >= day; }

double TimelineScale::position(qint64 time) const { return double(time - firstSeen) * width / length; }

qint64 TimelineScale::time(double position) const
{
    const qint64 time = firstSeen + std::llround(position * length / width);
    return qBound(firstOfDay, time, dayEnd());
}

void TimelineScale::zoom(double factor, double position)
{
    if (!(factor > 0.0))
        return;
    const qint64 fixed = time(position);
    const double part = double(fixed - firstSeen) / length;
    length = qBound(shortestLength, qint64(std::llround(length / factor)), day);
    setBegin(fixed - std::llround(part * length));
}

void TimelineScale::pan(double pixels) { setBegin(firstSeen - std::llround(pixels * length / width)); }

void TimelineScale::show(qint64 time)
{
    if (time >= dayEnd() || time < firstOfDay)
        return;
    if (time < firstSeen || time >= end())
        setBegin(time - std::llround(behindTheEdge * length));
}

void TimelineScale::setBegin(qint64 begin) { firstSeen = qBound(firstOfDay, begin, dayEnd() - length); }

qint64 TimelineScale::markStep(int pixels) const
{
    const double shortest = double(pixels) * length / width;
    const auto found = std::find_if(std::begin(steps), std::end(steps), [&](qint64 step) { return step >= shortest; });
    return found == std::end(steps) ? day : *found;
}

QVector<qint64> TimelineScale::marks(qint64 step) const
{
    QVector<qint64> found;
    const qint64 skipped = (firstSeen - firstOfDay + step - 1) / step;
    for (qint64 mark = firstOfDay + skipped * step; mark <= end(); mark += step)
        found.append(mark);
    return found;
}
