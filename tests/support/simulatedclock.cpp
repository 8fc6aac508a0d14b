#include "support/simulatedclock.h"

SimulatedClock::SimulatedClock(const QDateTime& time)
    : start(time)
{
}

QDateTime SimulatedClock::now() const
{
    const qint64 step = lookDuration;
    return start.addMSecs((elapsed.fetch_add(step) + step) / 1000);
}

qint64 SimulatedClock::microseconds() const
{
    const qint64 step = lookDuration;
    return start.toMSecsSinceEpoch() * 1000 + elapsed.fetch_add(step) + step;
}

void SimulatedClock::sleep(qint64 microseconds)
{
    if (microseconds <= 0)
        return;
    ++sleeps;
    sleptTime += microseconds;
    elapsed += microseconds;
}

void SimulatedClock::advance(qint64 microseconds) { elapsed += microseconds; }

void SimulatedClock::setLookDuration(qint64 microseconds) { lookDuration = microseconds; }

int SimulatedClock::sleepCount() const { return sleeps; }

qint64 SimulatedClock::slept() const { return sleptTime; }
