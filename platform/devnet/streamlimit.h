#pragma once

#include <mutex>

/// How many streams of a device may be open at once. Thread-safe.
class StreamLimit
{
public:
    /// 0 for any number.
    explicit StreamLimit(int count)
        : limit(count)
    {
    }

    /// False when all are taken.
    bool take()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        if (limit > 0 && taken >= limit)
            return false;
        ++taken;
        return true;
    }

    void giveBack()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        --taken;
    }

private:
    const int limit;
    std::mutex mutex;
    int taken = 0; ///< guarded by mutex
};
