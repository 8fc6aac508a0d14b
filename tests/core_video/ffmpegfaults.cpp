#include "core_video/ffmpegfaults.h"

#include "core_ffmpeg/ffmpegcompat.h"

#include <qglobal.h>

#include <dlfcn.h>

#include <atomic>

using FFmpegFaults::Call;

namespace {

std::atomic<Call> failing{Call::None};
thread_local bool isAnalysed = false;
thread_local AVMediaType lastFound = AVMEDIA_TYPE_UNKNOWN;

bool fails(Call call) { return isAnalysed && failing == call; }

/// Which of two calls fails for a decoder of that type.
bool fails(AVMediaType type, Call video, Call audio) { return fails(type == AVMEDIA_TYPE_VIDEO ? video : audio); }

template <typename Function>
Function next(const char* name, Function)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

} // namespace

void FFmpegFaults::set(Call call) { failing = call; }

extern "C" Q_DECL_EXPORT int avformat_open_input(AVFormatContext** context, const char* url, FFmpegInputFormat* format,
                                                 AVDictionary** options)
{
    isAnalysed = false;
    return next("avformat_open_input", &avformat_open_input)(context, url, format, options);
}

extern "C" Q_DECL_EXPORT int avformat_find_stream_info(AVFormatContext* context, AVDictionary** options)
{
    lastFound = AVMEDIA_TYPE_UNKNOWN;
    const int result = next("avformat_find_stream_info", &avformat_find_stream_info)(context, options);
    isAnalysed = true;
    return fails(Call::FindStreamInfo) ? AVERROR(EIO) : result;
}

extern "C" Q_DECL_EXPORT FFmpegCodec* avcodec_find_decoder(AVCodecID id)
{
    if (isAnalysed)
        lastFound = avcodec_get_type(id);
    if (fails(avcodec_get_type(id), Call::FindVideoDecoder, Call::FindAudioDecoder))
        return nullptr;
    return next("avcodec_find_decoder", &avcodec_find_decoder)(id);
}

extern "C" Q_DECL_EXPORT AVCodecContext* avcodec_alloc_context3(const AVCodec* codec)
{
    if (fails(lastFound, Call::AllocateVideoContext, Call::AllocateAudioContext))
        return nullptr;
    return next("avcodec_alloc_context3", &avcodec_alloc_context3)(codec);
}

extern "C" Q_DECL_EXPORT int avcodec_parameters_to_context(AVCodecContext* context, const AVCodecParameters* parameters)
{
    if (fails(lastFound, Call::SetVideoParameters, Call::SetAudioParameters))
        return AVERROR(EIO);
    return next("avcodec_parameters_to_context", &avcodec_parameters_to_context)(context, parameters);
}

extern "C" Q_DECL_EXPORT int avcodec_open2(AVCodecContext* context, const AVCodec* codec, AVDictionary** options)
{
    if (fails(lastFound, Call::OpenVideoDecoder, Call::OpenAudioDecoder))
        return AVERROR(EIO);
    return next("avcodec_open2", &avcodec_open2)(context, codec, options);
}

extern "C" Q_DECL_EXPORT int swr_init(SwrContext* context)
{
    if (fails(Call::InitResampler))
        return AVERROR(EIO);
    return next("swr_init", &swr_init)(context);
}
