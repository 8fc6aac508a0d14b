#pragma once

#include <QDate>
#include <QMetaType>
#include <QSet>
#include <QVector>

#include <optional>

/// A time, from begin up to end; see WallTime.
struct RecordedSpan
{
    qint64 begin = 0;
    qint64 end = 0;

    bool contains(qint64 time) const { return time >= begin && time < end; }
};

inline bool operator==(const RecordedSpan& one, const RecordedSpan& other)
{
    return one.begin == other.begin && one.end == other.end;
}

/// All recordings of one channel, in order of their beginnings. A plain value.
class RecordingList
{
public:
    RecordingList() = default;

    /// In any order. A recording that ends before it begins, because the clock was put back meanwhile, or at once,
    /// lasts a second here, so that it can be seen and found.
    explicit RecordingList(QVector<RecordedSpan> recordings);

    bool isEmpty() const { return spans.isEmpty(); }
    int count() const { return spans.size(); }

    /// Those of which a part lies from @p begin up to @p end.
    QVector<RecordedSpan> within(qint64 begin, qint64 end) const;

    /// The days from @p first to @p last of which something is recorded.
    QSet<QDate> days(const QDate& first, const QDate& last) const;

    /// The one that is recorded at @p time, the latest where there are several.
    std::optional<RecordedSpan> at(qint64 time) const;

    /// The first one that begins behind @p time.
    std::optional<RecordedSpan> next(qint64 time) const;

    /// The last one that begins before @p time.
    std::optional<RecordedSpan> previous(qint64 time) const;

    /// The last one.
    std::optional<RecordedSpan> last() const;

    bool operator==(const RecordingList& other) const { return spans == other.spans; }
    bool operator!=(const RecordingList& other) const { return !(*this == other); }

private:
    QVector<RecordedSpan> spans;
};

Q_DECLARE_METATYPE(RecordingList)
