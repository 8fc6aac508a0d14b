#pragma once

#include "devnet/archiveindex.h"
#include "devnet/framemaker.h"
#include "devnet/mediainput.h"
#include "devnet/packetclock.h"
#include "devnet/soundpackager.h"
#include "devnet/videopackager.h"

#include <deque>

/// One recording that is being read. Used by one thread.
class ArchiveMovie
{
public:
    explicit ArchiveMovie(const StopSignal& stopSignal) : input(stopSignal) {}

    /// For a recording that follows one whose pictures end at archive time @p behind, and may begin in the middle of a
    /// group of pictures: until a key frame says otherwise they are encoded like those before. To be called before
    /// open().
    void goOn(qint64 behind, const XVideoEncPara& encoding);

    /// An empty text, or why not. Reading begins with the last key frame that is not behind archive time @p begin.
    QString open(const ArchiveFile& file, qint64 begin);

    /// Appends the frames of the next packet, which may be none; false at the end.
    bool read(std::deque<EncodedFrame>& frames);

private:
    QString openStreams();
    void findStart(qint64 named);
    void takePicture(const VideoPackager::Picture& picture, qint64 time, std::deque<EncodedFrame>& frames);
    qint64 archiveTime(qint64 microseconds) const { return start + (microseconds - firstTime) / 1000; }

    MediaInput input;
    std::optional<qint64> previous; ///< archive time of the last picture before this recording
    qint64 start = 0; ///< archive time of the first picture
    qint64 firstTime = 0; ///< microseconds of that in the file
    AVStream* video = nullptr; ///< borrowed from the input, as audio
    AVStream* audio = nullptr;
    std::optional<PacketClock> videoClock;
    std::optional<PacketClock> audioClock;
    std::optional<VideoPackager> videoPackager;
    std::optional<SoundPackager> soundPackager;
    FrameMaker maker;
};
