#include "devnet/stopsignal.h"

void StopSignal::request()
{
    const std::lock_guard<std::mutex> lock(mutex);
    requested = true;
    changed.notify_all();
}

void StopSignal::reset() { requested = false; }

bool StopSignal::isRequested() const { return requested; }

bool StopSignal::waitUntil(Time time) const
{
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_until(lock, time, [this] { return requested.load(); });
}
