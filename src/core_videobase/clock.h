#pragma once

#include "core_videobase/vantorexport.h"

#include <QDateTime>

/// The time that video threads go by: date and time of day, a count of microseconds, and a sleep.
///
/// Threads use system() unless they are given another one. A simulated clock, whose sleep returns at once and moves
/// its time on, makes pacing, time-outs and file names testable without waiting. All operations may be called from
/// any thread.
class VANTOR_EXPORT Clock
{
public:
    virtual ~Clock();

    /// Local date and time.
    virtual QDateTime now() const = 0;

    /// Microseconds since the epoch.
    virtual qint64 microseconds() const = 0;

    /// Blocks the calling thread for that many microseconds; returns at once for 0 or less.
    virtual void sleep(qint64 microseconds) = 0;

    /// The real time.
    static Clock& system();
};
