#pragma once

#include "devnet/archiveindex.h"
#include "devnet/encodedframe.h"
#include "devnet/stopsignal.h"

#include <deque>
#include <memory>
#include <optional>

class ArchiveMovie;

/// The frames of recordings, one file after the other. Used by one thread at a time.
///
/// Where recordings overlap, the earlier one is read to its end and the later one goes on from its first key frame
/// behind that. Recordings without a gap between them are read as one stream. A file that can't be read is left out,
/// with a warning.
class ArchiveReader
{
public:
    /// Reads @p recordings, which are in order, up to archive time @p lastTime. @p stopSignal outlives this.
    ArchiveReader(const QVector<ArchiveFile>& recordings, qint64 lastTime, const StopSignal& stopSignal);
    ~ArchiveReader();

    /// The next frame is the last key frame that is not behind @p time, or the first one behind it where there is none.
    void seek(qint64 time);

    /// The next frame; nothing at the end. Its time stamp is archive time.
    std::optional<EncodedFrame> next();

private:
    void findGroup();
    std::optional<EncodedFrame> read();
    bool openNext();
    bool goesOnAt(qint64 start) const;
    bool isWanted(const EncodedFrame& frame);

    const QVector<ArchiveFile> files;
    const qint64 end;
    const StopSignal& stop;

    int index = 0;         ///< of the file to open next
    qint64 beginIn = 0;    ///< archive time in that file
    std::unique_ptr<ArchiveMovie> movie;
    std::deque<EncodedFrame> frames; ///< of the movie
    std::optional<qint64> sought; ///< until its key frame is found
    std::deque<EncodedFrame> group; ///< from that key frame on
    bool needsKeyFrame = true;
    XVideoEncPara encoding; ///< of the latest picture
    qint64 behind = 0; ///< pictures up to that time have been read
    bool isFinished = false;
};
