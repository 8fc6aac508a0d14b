#pragma once

#include <memory>

/// A counting semaphore with an upper limit: starts at 0, counts to 1024, is released by one. Any thread.
class CountingSemaphore
{
public:
    static constexpr int maximum = 1024;

    /// What wait() returns, the values of the platform's own.
    enum Result : unsigned {
        Acquired = 0,
        TimedOut = 258,
        Failed = 0xFFFFFFFF
    };

    CountingSemaphore();
    ~CountingSemaphore();
    CountingSemaphore(const CountingSemaphore&) = delete;
    CountingSemaphore& operator=(const CountingSemaphore&) = delete;

    /// Sets the count back to 0; false when the platform gives no semaphore.
    bool reset();

    /// Takes one, waiting for at most @p milliseconds.
    unsigned wait(int milliseconds);

    /// Gives one back; nothing when the count is at its maximum.
    void release();

private:
    struct Platform;
    const std::unique_ptr<Platform> platform;
};
