#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

/// Tells a thread to end, also while it waits for a time. Thread-safe.
class StopSignal
{
public:
    using Time = std::chrono::steady_clock::time_point;

    void request();

    /// For the next run; nobody may be waiting.
    void reset();

    bool isRequested() const;

    /// Returns at @p time, or at once when the end is asked for; whether it is.
    bool waitUntil(Time time) const;

private:
    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    std::atomic<bool> requested{false};
};
