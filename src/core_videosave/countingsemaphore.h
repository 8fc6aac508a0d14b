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
    ///
    /// Until @p restMilliseconds have passed releaseLater() doesn't wake the waiter: what was given back meanwhile is
    /// taken in one go. A rest is no longer than the wait, unless the wait before it got something: as more is likely
    /// to come, the waiter is not woken just to see that it has, and learns at the end of its rest if nothing did. One
    /// thread at a time may rest. The platform's own semaphore knows no rest.
    unsigned wait(int milliseconds, int restMilliseconds = 0);

    /// Gives one back; nothing when the count is at its maximum.
    void release();

    /// As release(), for what can wait until a resting waiter wakes by itself.
    void releaseLater();

private:
    struct Platform;
    const std::unique_ptr<Platform> platform;
};
