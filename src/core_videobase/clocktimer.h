#pragma once

#include "core_videobase/clock.h"

/// Measures time by a Clock: as QElapsedTimer, for time that a test can move.
class ClockTimer
{
public:
    bool isValid() const { return startTime >= 0; }

    void start(const Clock& clock) { startTime = clock.microseconds(); }

    void invalidate() { startTime = -1; }

    /// Whether more than @p milliseconds have passed; never for a negative number.
    bool hasExpired(const Clock& clock, qint64 milliseconds) const
    {
        return milliseconds >= 0 && clock.microseconds() - startTime > milliseconds * 1000;
    }

private:
    qint64 startTime = -1; // microseconds
};
