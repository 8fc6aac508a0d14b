#include "core_videobase/freedmemory.h"

#include <atomic>
#include <chrono>

#ifdef __GLIBC__
#include <malloc.h>
#endif

bool FreedMemory::giveBack()
{
#ifdef __GLIBC__
    using Clock = std::chrono::steady_clock;
    constexpr Clock::duration pause = std::chrono::seconds(10);
    static std::atomic<Clock::rep> earliest{Clock::time_point::min().time_since_epoch().count()};
    const Clock::duration now = Clock::now().time_since_epoch();
    Clock::rep due = earliest;
    if (now.count() < due || !earliest.compare_exchange_strong(due, (now + pause).count()))
        return false;
    malloc_trim(0);
    return true;
#else
    return false;
#endif
}
