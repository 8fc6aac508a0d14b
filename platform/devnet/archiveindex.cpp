#include "devnet/archiveindex.h"

#include <QDirIterator>
#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>
#include <tuple>

namespace {
constexpr char timePattern[] = "yyyyMMddTHHmmss";

struct Name
{
    int channel = -1; // below 0 for another name
    ArchiveFile file;
};

Name parse(const QFileInfo& info)
{
    static const QRegularExpression pattern("^(\\d{8}T\\d{6})_(\\d{8}T\\d{6})_(\\d+)$");
    const QRegularExpressionMatch match = pattern.match(info.completeBaseName());
    if (!match.hasMatch())
        return {};
    const QDateTime start = QDateTime::fromString(match.captured(1), timePattern);
    const QDateTime end = QDateTime::fromString(match.captured(2), timePattern);
    bool isNumber = false;
    const int channel = match.captured(3).toInt(&isNumber);
    if (!isNumber || !start.date().isValid() || !end.date().isValid())
        return {};
    return {channel, {info.filePath(), ArchiveTime::of(start), ArchiveTime::of(end)}};
}
} // namespace

qint64 ArchiveTime::of(const QDateTime& wall)
{
    return QDateTime(wall.date(), wall.time(), Qt::UTC).toMSecsSinceEpoch();
}

QDateTime ArchiveTime::wall(qint64 time)
{
    const QDateTime counted = QDateTime::fromMSecsSinceEpoch(time, Qt::UTC);
    return QDateTime(counted.date(), counted.time());
}

QVector<ArchiveFile> ArchiveIndex::find(int channel, qint64 start, qint64 end) const
{
    QVector<ArchiveFile> found;
    if (root.isEmpty())
        return found;
    QDirIterator files(root, {"*.mp4"}, QDir::Files | QDir::Readable, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        files.next();
        const Name name = parse(files.fileInfo());
        if (name.channel == channel && name.file.start <= end && name.file.end >= start)
            found.append(name.file);
    }
    std::sort(found.begin(), found.end(), [](const ArchiveFile& a, const ArchiveFile& b) {
        return std::tie(a.start, a.end, a.path) < std::tie(b.start, b.end, b.path);
    });
    return found;
}
