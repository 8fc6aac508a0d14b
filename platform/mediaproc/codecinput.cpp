#include "mediaproc/codecinput.h"

#include <algorithm>

namespace {
/// Many times the key frame of the largest picture; more is a damaged length.
constexpr uint32_t mostBytes = 64u << 20;
} // namespace

bool CodecInput::isUsable(const uint8_t* data, uint32_t length) { return data && length > 0 && length <= mostBytes; }

AvPacketPtr CodecInput::packet(const uint8_t* data, uint32_t length, uint64_t timestamp)
{
    AvPacketPtr packet = makePacket();
    if (!packet || av_new_packet(packet.get(), static_cast<int>(length)) < 0)
        return nullptr;
    std::copy_n(data, length, packet->data);
    packet->pts = static_cast<int64_t>(timestamp);
    return packet;
}
