#include "core_videosave/leadingpackets.h"

#include "core_ffmpeg/h265parameters.h"

#include <QLoggingCategory>

#include <cstring>
#include <utility>

namespace {
Q_LOGGING_CATEGORY(lcMp4, "vantor.save.mp4")

/// A stream without key frames can't be played anyway; some minutes of it are enough to hold.
constexpr size_t mostHeld = 5000;

BsfContextPtr openExtractor(AVCodecID codecId)
{
    const AVBitStreamFilter* filter = av_bsf_get_by_name("extract_extradata");
    AVBSFContext* context = nullptr;
    if (!filter || av_bsf_alloc(filter, &context) < 0)
        return nullptr;
    BsfContextPtr owned(context);
    context->par_in->codec_type = AVMEDIA_TYPE_VIDEO;
    context->par_in->codec_id = codecId;
    return av_bsf_init(context) < 0 ? nullptr : std::move(owned);
}

/// The packet as it is, with its parameter sets beside it where it has any.
AvPacketPtr withParameterSets(AVCodecID codecId, const AVPacket* packet)
{
    const BsfContextPtr extractor = openExtractor(codecId);
    AvPacketPtr copy(av_packet_clone(packet));
    if (!extractor || !copy || av_bsf_send_packet(extractor.get(), copy.get()) < 0
        || av_bsf_receive_packet(extractor.get(), copy.get()) < 0)
        return nullptr;
    return copy;
}

/// @p packet with @p size bytes more in front of it; null without memory.
AvPacketPtr prefixed(const AVPacket* packet, const uint8_t* bytes, size_t size)
{
    AvPacketPtr longer = makePacket();
    if (!longer || av_new_packet(longer.get(), static_cast<int>(size) + packet->size) < 0
        || av_packet_copy_props(longer.get(), packet) < 0)
        return nullptr;
    std::memcpy(longer->data, bytes, size);
    std::memcpy(longer->data + size, packet->data, static_cast<size_t>(packet->size));
    longer->stream_index = packet->stream_index;
    return longer;
}
} // namespace

void LeadingPackets::begin(AVCodecID codecId, bool known)
{
    codec = codecId;
    isHolding = !known;
    held.clear();
}

std::vector<AvPacketPtr> LeadingPackets::pass(AvPacketPtr packet)
{
    std::vector<AvPacketPtr> ready;
    if (isHolding && codec == AV_CODEC_ID_HEVC
        && !H265Parameters::areReadable(packet->data, static_cast<size_t>(packet->size))) {
        qCWarning(lcMp4, "a picture with broken H.265 parameter sets was left out at the beginning of a file");
        return ready;
    }
    const bool isKey = (packet->flags & AV_PKT_FLAG_KEY) != 0;
    if (isHolding && !isKey && held.size() < mostHeld) {
        held.push_back(std::move(packet));
        return ready;
    }
    if (codec == AV_CODEC_ID_HEVC && isKey)
        held.clear();
    if (!held.empty() && isKey) {
        const AvPacketPtr key = withParameterSets(codec, packet.get());
        size_t size = 0;
        const uint8_t* sets = key ? av_packet_get_side_data(key.get(), AV_PKT_DATA_NEW_EXTRADATA, &size) : nullptr;
        AvPacketPtr first = sets ? prefixed(held.front().get(), sets, size) : nullptr;
        if (first)
            held.front() = std::move(first);
    }
    ready = takeRest();
    ready.push_back(std::move(packet));
    return ready;
}

std::vector<AvPacketPtr> LeadingPackets::takeRest()
{
    isHolding = false;
    return std::exchange(held, {});
}
