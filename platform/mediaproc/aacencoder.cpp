#include "mediaproc/aacencoder.h"

#include "core_ffmpeg/ffmpegcompat.h"

#include <utility>

namespace {
constexpr int bitsPerSample = 2; // of the result, on average
constexpr float fullScale = 32768.0F;
} // namespace

std::unique_ptr<AacEncoder> AacEncoder::create(int sampleRate, int channels)
{
    FFmpegCodec* codec = avcodec_find_encoder(AV_CODEC_ID_AAC);
    CodecContextPtr context(avcodec_alloc_context3(codec));
    if (!codec || !context || sampleRate < 1 || channels < 1 || channels > 2)
        return nullptr;
    context->sample_fmt = AV_SAMPLE_FMT_FLTP;
    context->sample_rate = sampleRate;
    context->bit_rate = int64_t(bitsPerSample) * sampleRate * channels;
    context->time_base = {1, sampleRate};
    context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    setDefaultChannels(context.get(), channels);
    if (avcodec_open2(context.get(), codec, nullptr) < 0)
        return nullptr;
    return std::unique_ptr<AacEncoder>(new AacEncoder(std::move(context)));
}

AacEncoder::AacEncoder(CodecContextPtr opened)
    : context(std::move(opened))
{
}

void AacEncoder::add(const int16_t* samples, size_t count)
{
    pending.insert(pending.end(), samples, samples + count);
    const size_t channels = static_cast<size_t>(channelsOf(context.get()));
    taken += static_cast<int64_t>(count / channels);
    const auto frameSize = static_cast<size_t>(context->frame_size);
    while (pending.size() >= frameSize * channels)
        encodeFrame(frameSize);
}

void AacEncoder::addSilence(int64_t samplesPerChannel)
{
    const std::vector<int16_t> silence(static_cast<size_t>(samplesPerChannel * channelsOf(context.get())));
    add(silence.data(), silence.size());
}

void AacEncoder::encodeFrame(size_t samplesPerChannel)
{
    const auto channels = static_cast<size_t>(channelsOf(context.get()));
    const AvFramePtr frame = makeFrame();
    if (!frame)
        return;
    frame->format = context->sample_fmt;
    frame->sample_rate = context->sample_rate;
    frame->nb_samples = static_cast<int>(samplesPerChannel);
    frame->pts = encoded;
    setDefaultChannels(frame.get(), static_cast<int>(channels));
    if (av_frame_get_buffer(frame.get(), 0) < 0)
        return;
    for (size_t channel = 0; channel < channels; ++channel) {
        auto* plane = reinterpret_cast<float*>(frame->extended_data[channel]);
        for (size_t i = 0; i < samplesPerChannel; ++i)
            plane[i] = pending[i * channels + channel] / fullScale;
    }
    pending.erase(pending.begin(), pending.begin() + static_cast<std::ptrdiff_t>(samplesPerChannel * channels));
    encoded += static_cast<int64_t>(samplesPerChannel);
    avcodec_send_frame(context.get(), frame.get());
}

void AacEncoder::finish()
{
    const auto rest = pending.size() / static_cast<size_t>(channelsOf(context.get()));
    if (rest > 0)
        encodeFrame(rest);
    avcodec_send_frame(context.get(), nullptr);
}

AvPacketPtr AacEncoder::takePacket()
{
    AvPacketPtr packet = makePacket();
    if (!packet || avcodec_receive_packet(context.get(), packet.get()) < 0)
        return nullptr;
    return packet;
}
