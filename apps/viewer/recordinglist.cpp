#include "recordinglist.h"

#include "walltime.h"

#include <algorithm>
#include <tuple>

namespace {

bool beginsBefore(const RecordedSpan& span, qint64 time) { return span.begin < time; }
bool beginsBehind(qint64 time, const RecordedSpan& span) { return time < span.begin; }

} // namespace

RecordingList::RecordingList(QVector<RecordedSpan> recordings)
    : spans(std::move(recordings))
{
    for (RecordedSpan& span : spans)
        span.end = qMax(span.end, span.begin + WallTime::second);
    std::sort(spans.begin(), spans.end(), [](const RecordedSpan& one, const RecordedSpan& other) {
        return std::tie(one.begin, one.end) < std::tie(other.begin, other.end);
    });
}

QVector<RecordedSpan> RecordingList::within(qint64 begin, qint64 end) const
{
    QVector<RecordedSpan> found;
    const auto behind = std::lower_bound(spans.begin(), spans.end(), end, beginsBefore);
    std::copy_if(spans.begin(), behind, std::back_inserter(found),
                 [begin](const RecordedSpan& span) { return span.end > begin; });
    return found;
}

QSet<QDate> RecordingList::days(const QDate& first, const QDate& last) const
{
    QSet<QDate> found;
    const qint64 begin = WallTime::startOf(first);
    const qint64 end = WallTime::startOf(last.addDays(1));
    for (const RecordedSpan& span : within(begin, end)) {
        const QDate lastDay = WallTime::dateOf(qMin(span.end, end) - 1);
        for (QDate day = WallTime::dateOf(qMax(span.begin, begin)); day <= lastDay; day = day.addDays(1))
            found.insert(day);
    }
    return found;
}

std::optional<RecordedSpan> RecordingList::at(qint64 time) const
{
    const auto behind = std::upper_bound(spans.begin(), spans.end(), time, beginsBehind);
    const auto found = std::find_if(std::make_reverse_iterator(behind), spans.rend(),
                                    [time](const RecordedSpan& span) { return span.contains(time); });
    return found == spans.rend() ? std::nullopt : std::make_optional(*found);
}

std::optional<RecordedSpan> RecordingList::next(qint64 time) const
{
    const auto found = std::upper_bound(spans.begin(), spans.end(), time, beginsBehind);
    return found == spans.end() ? std::nullopt : std::make_optional(*found);
}

std::optional<RecordedSpan> RecordingList::previous(qint64 time) const
{
    const auto behind = std::lower_bound(spans.begin(), spans.end(), time, beginsBefore);
    return behind == spans.begin() ? std::nullopt : std::make_optional(*std::prev(behind));
}

std::optional<RecordedSpan> RecordingList::last() const
{
    return spans.isEmpty() ? std::nullopt : std::make_optional(spans.last());
}
