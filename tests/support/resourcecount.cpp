#include "support/resourcecount.h"

#include "support/waiting.h"

#include <QDir>
#include <QFile>

#include <algorithm>

namespace {

int entries(const QString& path)
{
    return QDir(path).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size();
}

} // namespace

ResourceCount ResourceCount::now() { return {entries("/proc/self/task"), entries("/proc/self/fd")}; }

bool ResourceCount::waitUntilNoneIsCalled(const char* className, int milliseconds)
{
    constexpr int longestName = 15; // Linux cuts it
    const QByteArray name = QByteArray(className).left(longestName);
    const auto isNoneLeft = [&name] {
        const QDir tasks("/proc/self/task");
        const QStringList ids = tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
        return std::none_of(ids.cbegin(), ids.cend(), [&](const QString& id) {
            QFile file(tasks.filePath(id + "/comm"));
            return file.open(QFile::ReadOnly) && file.readAll().trimmed() == name;
        });
    };
    return Waiting::until(isNoneLeft, milliseconds);
}

bool ResourceCount::waitUntilNotAbove(const ResourceCount& before, int slack, int milliseconds)
{
    return Waiting::until(
        [&] {
            const ResourceCount current = now();
            return current.threads <= before.threads + slack && current.handles <= before.handles + slack;
        },
        milliseconds);
}
