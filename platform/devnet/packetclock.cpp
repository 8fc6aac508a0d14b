#include "devnet/packetclock.h"

#include "core_ffmpeg/mediatime.h"

#include <algorithm>

namespace {

constexpr qint64 unknownDuration = 40000;
constexpr qint64 longestDuration = qint64(24) * 3600 * 1000000;

/// Some inputs don't say when their first pictures are decoded until they know how pictures are reordered. Pictures are
/// never reordered over more than this.
constexpr int reorderLimit = 16;

} // namespace

PacketClock::PacketClock(const AVStream* ofPackets)
    : stream(ofPackets)
{
}

qint64 PacketClock::timeOf(const AVPacket* packet)
{
    const qint64 time = packet->dts != AV_NOPTS_VALUE ? decodedTime(packet) : shownTime(packet);
    ++packets;
    next = time + durationOf(packet);
    return time;
}

qint64 PacketClock::decodedTime(const AVPacket* packet)
{
    const qint64 decoded = toMicroseconds(packet->dts);
    if (!delay)
        delay = (packets > 0 ? next : shownTime(packet)) - decoded;
    return decoded + *delay;
}

qint64 PacketClock::shownTime(const AVPacket* packet) const
{
    const bool isReordered = packets > 0 && packets < reorderLimit;
    if (packet->pts != AV_NOPTS_VALUE && !isReordered)
        return toMicroseconds(packet->pts);
    return packets > 0 || packet->dts == AV_NOPTS_VALUE ? next : toMicroseconds(packet->dts);
}

qint64 PacketClock::toMicroseconds(qint64 time) const { return MediaTime::microseconds(time, stream->time_base); }

qint64 PacketClock::durationOf(const AVPacket* packet) const
{
    if (packet->duration > 0)
        return std::min(toMicroseconds(packet->duration), longestDuration);
    const AVRational rate = stream->avg_frame_rate;
    return rate.num > 0 && rate.den > 0 ? std::min<qint64>(av_rescale(1000000, rate.den, rate.num), longestDuration)
                                          : unknownDuration;
}
