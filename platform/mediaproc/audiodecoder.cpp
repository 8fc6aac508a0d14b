#include "mediaproc/audiodecoder.h"

#include "mediaproc/g711.h"

#include <utility>

namespace {
constexpr int codedBytes = 1;
constexpr int linearBytes = 2;
} // namespace

std::unique_ptr<AudioDecoder> AudioDecoder::create(const _tag_adec_param_s& param)
{
    if (!G711::isPossible(param.sample_rate, param.bit_width, param.channels))
        return nullptr;
    FFmpegCodec* codec = avcodec_find_decoder(G711::codecOf(param.codec));
    CodecContextPtr context = G711::makeContext(codec, param.sample_rate, param.channels);
    if (!context || avcodec_open2(context.get(), codec, nullptr) < 0)
        return nullptr;
    return std::unique_ptr<AudioDecoder>(new AudioDecoder(std::move(context)));
}

AudioDecoder::AudioDecoder(CodecContextPtr opened)
    : context(std::move(opened))
{
}

uint32_t AudioDecoder::wholeBytes(uint32_t length) const
{
    return G711::wholeBytes(length, channelsOf(context.get()), codedBytes);
}

bool AudioDecoder::decode(const AVPacket* packet, _tag_audio_frame_s& audio)
{
    sound = makeFrame();
    if (!sound || avcodec_send_packet(context.get(), packet) < 0
        || avcodec_receive_frame(context.get(), sound.get()) < 0)
        return false;
    const int samples = sound->nb_samples * channelsOf(sound.get());
    audio = {sound->data[0], static_cast<uint64_t>(samples) * linearBytes};
    return true;
}
