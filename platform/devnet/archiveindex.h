#pragma once

#include <QDateTime>
#include <QString>
#include <QVector>

/// One complete recording of an archive.
struct ArchiveFile
{
    QString path;
    qint64 start = 0; ///< archive time, as end
    qint64 end = 0;

    /// Names have whole seconds: it may have ended as late as that.
    qint64 latestEnd() const { return end + 999; }

    /// For the same reason a recording that follows another without a gap may seem to begin somewhat before or after
    /// that has ended.
    static constexpr qint64 roundingMs = 2000;
    bool follows(const ArchiveFile& other) const { return start < other.end + roundingMs; }
};

/// The times of recordings: milliseconds of what the clock on the wall showed, counted as if it had been UTC. So a
/// recording has the time that its name says, whatever the time zone of the reader and whatever summer time does.
namespace ArchiveTime {
qint64 of(const QDateTime& wall);
QDateTime wall(qint64 time);
} // namespace ArchiveTime

/// Finds recordings by their names, `<start>_<end>_<channel>.mp4` with times as yyyyMMddTHHmmss, anywhere below a
/// folder. A recording that is still being written has no end in its name yet, and is not found.
class ArchiveIndex
{
public:
    explicit ArchiveIndex(const QString& folder) : root(folder) {}

    /// The recordings of @p channel that touch the period, by their start. Looks at the disk with every call.
    QVector<ArchiveFile> find(int channel, qint64 start, qint64 end) const;

private:
    const QString root;
};
