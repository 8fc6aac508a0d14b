#include "devnet/mediaarchive.h"

#include "devnet/streamlimit.h"

#include <limits>

namespace {

constexpr qint64 always = std::numeric_limits<qint64>::max();

qint64 endOf(const QDateTime& time) { return time.isValid() ? ArchiveTime::of(time) : always; }

/// Adds what @p make makes under @p id, unless there is something already or the limit is reached.
template <typename Entry, typename Make>
XRetError add(std::map<unsigned, std::shared_ptr<Entry>>& table, unsigned id, StreamLimit& limit, Make make)
{
    if (table.count(id) > 0)
        return XRet::AlreadyEnabled;
    if (!limit.take())
        return XRet::TooManyConnections;
    table.emplace(id, make());
    return XRet::Ok;
}

template <typename Entry>
XRetError remove(std::map<unsigned, std::shared_ptr<Entry>>& table, unsigned id, StreamLimit& limit)
{
    const auto found = table.find(id);
    if (found == table.end())
        return XRet::Ok;
    found->second->stop();
    table.erase(found);
    limit.giveBack();
    return XRet::Ok;
}

template <typename Entry>
std::shared_ptr<Entry> entryOf(const std::map<unsigned, std::shared_ptr<Entry>>& table, unsigned id)
{
    const auto found = table.find(id);
    return found == table.end() ? nullptr : found->second;
}

} // namespace

MediaArchive::MediaArchive(const QString& folder, StreamLimit& openStreams)
    : root(folder), index(folder), limit(openStreams)
{
}

MediaArchive::~MediaArchive() = default;

XRetError MediaArchive::startPlayback(unsigned id, const VodStartPara& para)
{
    if (!isServed())
        return XRet::NotSupported;
    if (!para.startTime.isValid())
        return XRet::BadParameter;
    const qint64 begin = ArchiveTime::of(para.playTime.isValid() ? para.playTime : para.startTime);
    const qint64 end = endOf(para.endTime);
    const QVector<ArchiveFile> files = filesFor(static_cast<int>(id), ArchiveTime::of(para.startTime), end);
    const std::lock_guard<std::mutex> lock(mutex);
    return add(playbacks, id, limit, [&] { return std::make_shared<ArchivePlayback>(files, begin, end); });
}

XRetError MediaArchive::stopPlayback(unsigned id)
{
    const std::lock_guard<std::mutex> lock(mutex);
    return remove(playbacks, id, limit);
}

std::shared_ptr<ArchivePlayback> MediaArchive::playback(unsigned id) const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return entryOf(playbacks, id);
}

XRetError MediaArchive::startDownload(unsigned id, const VodDownloadPara& para)
{
    if (!isServed())
        return XRet::NotSupported;
    if (!para.startTime.isValid())
        return XRet::BadParameter;
    const qint64 begin = ArchiveTime::of(para.startTime);
    const qint64 end = endOf(para.endTime);
    const QVector<ArchiveFile> files = filesFor(static_cast<int>(id), begin, end);
    const std::lock_guard<std::mutex> lock(mutex);
    return add(downloads, id, limit, [&] { return std::make_shared<ArchiveDownload>(files, begin, end); });
}

XRetError MediaArchive::stopDownload(unsigned id)
{
    const std::lock_guard<std::mutex> lock(mutex);
    return remove(downloads, id, limit);
}

std::shared_ptr<ArchiveDownload> MediaArchive::download(unsigned id) const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return entryOf(downloads, id);
}

/// With the recording before, to which the first group of pictures may belong.
QVector<ArchiveFile> MediaArchive::filesFor(int channel, qint64 begin, qint64 end) const
{
    return index.find(channel, begin - ArchiveFile::roundingMs, end);
}

QVector<ArchiveFile> MediaArchive::find(int channel, const QDateTime& from, const QDateTime& to) const
{
    return index.find(channel, ArchiveTime::of(from), ArchiveTime::of(to));
}
