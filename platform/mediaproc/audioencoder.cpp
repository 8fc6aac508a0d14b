#include "mediaproc/audioencoder.h"

#include "mediaproc/g711.h"

#include <algorithm>
#include <utility>

namespace {
constexpr int linearBytes = 2;
} // namespace

std::unique_ptr<AudioEncoder> AudioEncoder::create(const _tag_aenc_param_s& param)
{
    if (!G711::isPossible(param.sample_rate, param.bit_width, param.channels))
        return nullptr;
    FFmpegCodec* codec = avcodec_find_encoder(G711::codecOf(param.codec));
    CodecContextPtr context = G711::makeContext(codec, param.sample_rate, param.channels);
    if (!context || avcodec_open2(context.get(), codec, nullptr) < 0)
        return nullptr;
    return std::unique_ptr<AudioEncoder>(new AudioEncoder(std::move(context)));
}

AudioEncoder::AudioEncoder(CodecContextPtr opened)
    : context(std::move(opened))
{
}

uint32_t AudioEncoder::wholeBytes(uint32_t length) const
{
    return G711::wholeBytes(length, channelsOf(context.get()), linearBytes);
}

bool AudioEncoder::encode(const uint8_t* data, uint32_t length, uint64_t timestamp, _tag_audio_frame_s& audio)
{
    encoded = makePacket();
    const AvFramePtr sound = makeSound(data, length);
    if (!encoded || !sound)
        return false;
    sound->pts = static_cast<int64_t>(timestamp);
    if (avcodec_send_frame(context.get(), sound.get()) < 0 || avcodec_receive_packet(context.get(), encoded.get()) < 0)
        return false;
    audio = {encoded->data, static_cast<uint64_t>(encoded->size)};
    return true;
}

AvFramePtr AudioEncoder::makeSound(const uint8_t* data, uint32_t length) const
{
    AvFramePtr sound = makeFrame();
    if (!sound)
        return nullptr;
    sound->format = AV_SAMPLE_FMT_S16;
    sound->sample_rate = context->sample_rate;
    sound->nb_samples = static_cast<int>(length) / (linearBytes * channelsOf(context.get()));
    setDefaultChannels(sound.get(), channelsOf(context.get()));
    if (av_frame_get_buffer(sound.get(), 0) < 0)
        return nullptr;
    std::copy_n(data, length, sound->data[0]);
    return sound;
}
