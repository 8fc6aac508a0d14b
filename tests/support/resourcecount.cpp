#include "support/resourcecount.h"

#include "support/waiting.h"

#include <QDir>

namespace {

int entries(const QString& path)
{
    return QDir(path).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size();
}

} // namespace

ResourceCount ResourceCount::now() { return {entries("/proc/self/task"), entries("/proc/self/fd")}; }

bool ResourceCount::waitUntilNotAbove(const ResourceCount& before, int slack, int milliseconds)
{
    return Waiting::until(
        [&] {
            const ResourceCount current = now();
            return current.threads <= before.threads + slack && current.handles <= before.handles + slack;
        },
        milliseconds);
}
