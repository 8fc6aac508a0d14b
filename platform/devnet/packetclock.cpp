#include "devnet/packetclock.h"

namespace {

constexpr AVRational microseconds{1, 1000000};
constexpr qint64 unknownDuration = 40000;

} // namespace

PacketClock::PacketClock(const AVStream* ofPackets) : stream(ofPackets) {}

qint64 PacketClock::timeOf(const AVPacket* packet)
{
    const qint64 decoded = packet->dts != AV_NOPTS_VALUE ? packet->dts : packet->pts;
    if (!hasBegun && decoded != AV_NOPTS_VALUE && packet->pts != AV_NOPTS_VALUE)
        delay = packet->pts - decoded;
    const qint64 time = decoded != AV_NOPTS_VALUE ? toMicroseconds(decoded + delay) : next;
    hasBegun = true;
    next = time + durationOf(packet);
    return time;
}

qint64 PacketClock::toMicroseconds(qint64 time) const { return av_rescale_q(time, stream->time_base, microseconds); }

qint64 PacketClock::durationOf(const AVPacket* packet) const
{
    if (packet->duration > 0)
        return toMicroseconds(packet->duration);
    const AVRational rate = stream->avg_frame_rate;
    return rate.num > 0 && rate.den > 0 ? av_rescale(1000000, rate.den, rate.num) : unknownDuration;
}
