#include "screenwatch.h"

#include "virtualscreen.h"

#include <chrono>

namespace {
constexpr unsigned long intervalUs = 500;
}

ScreenWatch::ScreenWatch(const VirtualScreen& screen)
    : watched(screen)
{
    start();
}

ScreenWatch::~ScreenWatch()
{
    isEnding = true;
    wait();
}

qint64 ScreenWatch::nowUs()
{
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

QVector<Sighting> ScreenWatch::take()
{
    const QMutexLocker lock(&mutex);
    QVector<Sighting> taken;
    taken.swap(sightings);
    return taken;
}

bool ScreenWatch::isPictureThere() const { return look().has_value(); }

std::optional<Stamp> ScreenWatch::look() const
{
    const auto read = [this] { return Stamp::read([this](int x, int y) { return watched.brightness(x, y); }); };
    const std::optional<Stamp> first = read();
    // A picture that is being drawn is neither the one nor the other.
    return first && first == read() ? first : std::nullopt;
}

void ScreenWatch::run()
{
    std::optional<Stamp> last;
    for (; !isEnding; usleep(intervalUs)) {
        const std::optional<Stamp> stamp = look();
        if (!stamp || stamp == last)
            continue;
        last = stamp;
        const qint64 now = nowUs();
        const QMutexLocker lock(&mutex);
        sightings.append({stamp->number, now, stamp->ageMs(now)});
    }
}
