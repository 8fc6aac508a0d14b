#pragma once

extern "C" {
#include <libavformat/avformat.h>
}

#include <QtGlobal>

/// The times of the packets of one stream of an input, microseconds.
///
/// Frames of devices have one time only and come in the order of decoding, so this is the time of decoding, later by as
/// much as the first picture is shown after it is decoded: it goes up steadily, and fits the sound.
class PacketClock
{
public:
    explicit PacketClock(const AVStream* ofPackets);

    qint64 timeOf(const AVPacket* packet);

    /// Where the packets so far end.
    qint64 end() const { return next; }

private:
    qint64 toMicroseconds(qint64 time) const;
    qint64 durationOf(const AVPacket* packet) const;

    const AVStream* const stream;
    bool hasBegun = false;
    qint64 delay = 0;
    qint64 next = 0;
};
