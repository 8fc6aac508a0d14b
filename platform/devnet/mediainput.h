#pragma once

#include "core_ffmpeg/ffmpegptr.h"
#include "devnet/mediasourceaddress.h"
#include "devnet/stopsignal.h"

/// An open address or file: its packets in the order in which they come. Used by one thread; a stop ends every call.
class MediaInput
{
public:
    explicit MediaInput(const StopSignal& stopSignal)
        : stop(stopSignal)
    {
    }
    MediaInput(const MediaInput&) = delete;
    MediaInput& operator=(const MediaInput&) = delete;

    /// An empty text, or why not.
    QString open(const MediaSourceAddress& address);

    /// Borrowed; null for what the source does not have.
    AVStream* video() const { return stream(AVMEDIA_TYPE_VIDEO); }
    AVStream* audio() const { return stream(AVMEDIA_TYPE_AUDIO); }

    /// The next packet of video() or audio(); otherwise an error of FFmpeg's.
    int read(AVPacket* packet);

    /// Microseconds; where the times of the packets begin.
    qint64 startTime() const;

    /// Goes on reading at the last key frame that is not behind @p time, microseconds; at the beginning where there is
    /// none.
    void seek(qint64 time);

    QString errorText(int error) const;

private:
    static int isInterrupted(void* self);

    bool allocate();
    int openAddress(const MediaSourceAddress& address);
    void limitWait(int milliseconds);
    void discardOthers();
    AVStream* stream(AVMediaType type) const;

    const StopSignal& stop;
    StopSignal::Time deadline;
    FormatInputPtr input;
};
