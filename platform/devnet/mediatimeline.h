#pragma once

#include "devnet/stopsignal.h"

#include <QtGlobal>

/// Relates the times of a source, microseconds from any beginning, to the clock on the wall.
///
/// The first time that is seen is now. A source that falls far behind, or whose times jump, is taken to be now again
/// rather than caught up with or waited for.
class MediaTimeline
{
public:
    enum class Pace {
        Live, ///< the other side sends in real time
        Player ///< frames are there before their time
    };

    explicit MediaTimeline(Pace ofSource)
        : pace(ofSource)
    {
    }

    /// For Player, returns when @p time is due, or earlier when @p stop is requested.
    void waitFor(qint64 time, const StopSignal& stop);

    /// Milliseconds since 1970. Also for times a little away from the last one waited for.
    qint64 wallTime(qint64 time) const;

private:
    using Clock = std::chrono::steady_clock;

    void setNow(qint64 time);

    const Pace pace;
    bool hasBegun = false;
    qint64 beginTime = 0;
    qint64 beginMs = 0;
    Clock::time_point begin;
};
