#pragma once

#include "devnet/archivedownload.h"
#include "devnet/archiveplayback.h"

#include <map>
#include <memory>
#include <mutex>

class StreamLimit;

/// The recordings of a device: what is played back and downloaded at the moment, by the numbers that callers give.
/// Thread-safe.
class MediaArchive
{
public:
    /// Recordings are below @p folder; none for an empty name. @p openStreams outlives this.
    MediaArchive(const QString& folder, StreamLimit& openStreams);
    ~MediaArchive();

    /// The channel is @p id.
    XRetError startPlayback(unsigned id, const VodStartPara& para);
    XRetError stopPlayback(unsigned id);
    std::shared_ptr<ArchivePlayback> playback(unsigned id) const;

    XRetError startDownload(unsigned id, const VodDownloadPara& para);
    XRetError stopDownload(unsigned id);
    std::shared_ptr<ArchiveDownload> download(unsigned id) const;

    QVector<ArchiveFile> find(int channel, const QDateTime& from, const QDateTime& to) const;

private:
    QVector<ArchiveFile> filesFor(int channel, qint64 begin, qint64 end) const;
    bool isServed() const { return !root.isEmpty(); }

    const QString root;
    const ArchiveIndex index;
    StreamLimit& limit;
    mutable std::mutex mutex; ///< guards both tables
    std::map<unsigned, std::shared_ptr<ArchivePlayback>> playbacks;
    std::map<unsigned, std::shared_ptr<ArchiveDownload>> downloads;
};
