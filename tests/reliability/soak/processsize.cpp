#include "processsize.h"

#include <QDir>
#include <QFile>

#include <ctime>

#include <malloc.h>

qint64 ProcessSize::pssKilobytes()
{
    QFile file("/proc/self/smaps_rollup");
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray& line : lines) {
        if (line.startsWith("Pss:"))
            return line.mid(4).trimmed().split(' ').first().toLongLong();
    }
    return 0;
}

qint64 ProcessSize::heapKilobytes()
{
    const struct mallinfo2 info = mallinfo2();
    return static_cast<qint64>((info.uordblks + info.hblkhd) / 1024);
}

double ProcessSize::cpuSeconds() { return double(std::clock()) / CLOCKS_PER_SEC; }

int ProcessSize::openFiles(const char* suffix)
{
    int count = 0;
    const QDir folder("/proc/self/fd");
    const QStringList names = folder.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
    for (const QString& name : names)
        count += QFile::symLinkTarget(folder.filePath(name)).endsWith(QLatin1String(suffix)) ? 1 : 0;
    return count;
}
