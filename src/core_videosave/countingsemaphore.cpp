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

unsigned CountingSemaphore::wait(int milliseconds)
{
    return WaitForSingleObject(platform->handle, static_cast<DWORD>(milliseconds));
}

void CountingSemaphore::release() { ReleaseSemaphore(platform->handle, 1, nullptr); }

#else

#include <chrono>
#include <condition_variable>
#include <mutex>

struct CountingSemaphore::Platform
{
    std::mutex mutex;
    std::condition_variable released;
    int count = 0;
};

bool CountingSemaphore::reset()
{
    const std::lock_guard<std::mutex> lock(platform->mutex);
    platform->count = 0;
    return true;
}

unsigned CountingSemaphore::wait(int milliseconds)
{
    std::unique_lock<std::mutex> lock(platform->mutex);
    const auto limit = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    if (!platform->released.wait_until(lock, limit, [this] { return platform->count > 0; }))
        return TimedOut;
    --platform->count;
    return Acquired;
}

void CountingSemaphore::release()
{
    {
        const std::lock_guard<std::mutex> lock(platform->mutex);
        if (platform->count >= maximum)
            return;
        ++platform->count;
    }
    platform->released.notify_one();
}

#endif

CountingSemaphore::CountingSemaphore()
    : platform(std::make_unique<Platform>())
{
}

CountingSemaphore::~CountingSemaphore() = default;
