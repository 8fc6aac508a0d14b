#include "devnet/archiveindex.h"

#include <QDirIterator>
#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>
#include <optional>
#include <tuple>

namespace {

/// Archive time; nothing where there is no such date or time. Date and time on their own: together they would be a
/// local time, which the clock of this computer may never have shown.
std::optional<qint64> timeOf(const QString& text)
{
    const QDate date = QDate::fromString(text.left(8), "yyyyMMdd");
    const QTime time = QTime::fromString(text.mid(9), "HHmmss");
    if (!date.isValid() || !time.isValid())
        return std::nullopt;
    return QDateTime(date, time, Qt::UTC).toMSecsSinceEpoch();
}

/// The clock may have been put back while it was recorded, as it is at the end of summer time.
qint64 endBehind(qint64 start, qint64 end)
{
    constexpr qint64 hour = 3600 * 1000;
    return end >= start ? end : std::max(start, end + hour);
}

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
    const std::optional<qint64> start = timeOf(match.captured(1));
    const std::optional<qint64> end = timeOf(match.captured(2));
    bool isNumber = false;
    const int channel = match.captured(3).toInt(&isNumber);
    if (!isNumber || !start || !end)
        return {};
    return {channel, {info.filePath(), *start, endBehind(*start, *end)}};
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
        if (name.channel == channel && name.file.start <= end && name.file.latestEnd() >= start)
            found.append(name.file);
    }
    std::sort(found.begin(), found.end(), [](const ArchiveFile& a, const ArchiveFile& b) {
        return std::tie(a.start, a.end, a.path) < std::tie(b.start, b.end, b.path);
    });
    return found;
}
