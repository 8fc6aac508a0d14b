#include "mediaproc/g711.h"

namespace {
constexpr int fastestRate = 384000;
constexpr int mostChannels = 8;
constexpr int linearBits = 16;

/// What damaged sound makes FFmpeg say is told from its level "debug" on.
constexpr int quieter = 32;
} // namespace

AVCodecID G711::codecOf(int codec)
{
    switch (codec) {
    case 33: return AV_CODEC_ID_PCM_ALAW;
    case 34: return AV_CODEC_ID_PCM_MULAW;
    default: return AV_CODEC_ID_NONE;
    }
}

bool G711::isPossible(int sampleRate, int bitWidth, int channels)
{
    return sampleRate > 0 && sampleRate <= fastestRate && bitWidth == linearBits && channels > 0
           && channels <= mostChannels;
}

uint32_t G711::wholeBytes(uint32_t length, int channels, int sampleBytes)
{
    return length - length % static_cast<uint32_t>(channels * sampleBytes);
}

CodecContextPtr G711::makeContext(FFmpegCodec* codec, int sampleRate, int channels)
{
    CodecContextPtr context(codec ? avcodec_alloc_context3(codec) : nullptr);
    if (!context)
        return nullptr;
    context->sample_fmt = AV_SAMPLE_FMT_S16;
    context->sample_rate = sampleRate;
    setDefaultChannels(context.get(), channels);
    context->log_level_offset = quieter;
    return context;
}
