#pragma once

#include "core_videobase/clock.h"

#include <atomic>

/// A clock that stands still but for what it is told: a sleep returns at once and moves it on, and each look at it may
/// take a set time. All operations may be called from any thread.
class SimulatedClock final : public Clock
{
public:
    explicit SimulatedClock(const QDateTime& start = QDateTime(QDate(2024, 2, 29), QTime(12, 0)));

    QDateTime now() const override;
    qint64 microseconds() const override;
    void sleep(qint64 microseconds) override;

    /// Moves the time on.
    void advance(qint64 microseconds);

    /// How far every call of now() and microseconds() moves the time on, before it answers. Default 0.
    void setLookDuration(qint64 microseconds);

    /// Number of sleeps of more than no time, and their sum in microseconds.
    int sleepCount() const;
    qint64 slept() const;

private:
    const QDateTime start;
    mutable std::atomic<qint64> elapsed{0};
    std::atomic<qint64> lookDuration{0};
    std::atomic<int> sleeps{0};
    std::atomic<qint64> sleptTime{0};
};
