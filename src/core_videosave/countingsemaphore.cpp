#include "core_videosave/countingsemaphore.h"

#if defined(_WIN32)

#include <windows.h>

struct CountingSemaphore::Platform
{
    ~Platform() { close(); }

    void close()
    {
        if (handle)
            CloseHandle(handle);
        handle = nullptr;
    }

    HANDLE handle = nullptr;
};

bool CountingSemaphore::reset()
{
    platform->close();
    platform->handle = CreateSemaphoreW(nullptr, 0, maximum, nullptr);
    return platform->handle != nullptr;
}

unsigned CountingSemaphore::wait(int milliseconds, int)
{
    return WaitForSingleObject(platform->handle, static_cast<DWORD>(milliseconds));
}

void CountingSemaphore::release() { ReleaseSemaphore(platform->handle, 1, nullptr); }

void CountingSemaphore::releaseLater() { release(); }

#else

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>

struct CountingSemaphore::Platform
{
    using Time = std::chrono::steady_clock::time_point;

    std::mutex mutex;
    std::condition_variable released;
    int count = 0;
    bool isResting = false;
    bool isHurried = false; // during a rest: something that can't wait was given back
    bool isFlowing = false; // the last wait got one

    void rest(std::unique_lock<std::mutex>& lock, Time limit)
    {
        isResting = true;
        isHurried = false;
        released.wait_until(lock, limit, [this] { return isHurried; });
        isResting = false;
    }

    void add(bool canWait)
    {
        {
            const std::lock_guard<std::mutex> lock(mutex);
            if (count >= maximum)
                return;
            ++count;
            isHurried = isHurried || !canWait;
            if (isResting && canWait)
                return;
        }
        released.notify_one();
    }
};

bool CountingSemaphore::reset()
{
    const std::lock_guard<std::mutex> lock(platform->mutex);
    platform->count = 0;
    platform->isFlowing = false;
    return true;
}

unsigned CountingSemaphore::wait(int milliseconds, int restMilliseconds)
{
    std::unique_lock<std::mutex> lock(platform->mutex);
    const auto start = std::chrono::steady_clock::now();
    const auto limit = start + std::chrono::milliseconds(milliseconds);
    if (platform->count == 0 && restMilliseconds > 0) {
        const auto restLimit = start + std::chrono::milliseconds(restMilliseconds);
        platform->rest(lock, platform->isFlowing ? restLimit : std::min(limit, restLimit));
    }
    platform->isFlowing = platform->released.wait_until(lock, limit, [this] { return platform->count > 0; });
    if (!platform->isFlowing)
        return TimedOut;
    --platform->count;
    return Acquired;
}

void CountingSemaphore::release() { platform->add(false); }

void CountingSemaphore::releaseLater() { platform->add(true); }

#endif

CountingSemaphore::CountingSemaphore()
    : platform(std::make_unique<Platform>())
{
}

CountingSemaphore::~CountingSemaphore() = default;
