#pragma once

extern "C" {
#include <libavformat/avformat.h>
}

#include <QtGlobal>

#include <optional>

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
    qint64 shownTime(const AVPacket* packet) const;
    qint64 decodedTime(const AVPacket* packet);
    qint64 toMicroseconds(qint64 time) const;
    qint64 durationOf(const AVPacket* packet) const;

    const AVStream* const stream;
    int packets = 0;
    std::optional<qint64> delay; ///< known with the first packet that says when it is decoded
    qint64 next = 0;
};
