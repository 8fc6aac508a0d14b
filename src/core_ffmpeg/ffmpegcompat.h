#pragma once

// Where FFmpeg releases differ. The code is written for the 4.4 interface; each difference has a name here, and no
// other file asks for a version.

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libswresample/swresample.h>
}

// Since libavformat 59 (FFmpeg 5.0) the RTSP demuxer's socket time-out is the option "timeout"; before, that name meant
// the wait for an incoming connection, and the socket time-out was "stimeout".
#if LIBAVFORMAT_VERSION_MAJOR >= 59
#define VANTOR_FFMPEG_SOCKET_TIMEOUT_OPTION "timeout"
#else
#define VANTOR_FFMPEG_SOCKET_TIMEOUT_OPTION "stimeout"
#endif

// Since libavformat 59 a stream has no codec context of its own, and codec look-ups hand out const codecs.
#if LIBAVFORMAT_VERSION_MAJOR >= 59
#define VANTOR_FFMPEG_STREAM_HAS_CODEC_CONTEXT 0
using FFmpegCodec = const AVCodec;
using FFmpegInputFormat = const AVInputFormat;
#else
#define VANTOR_FFMPEG_STREAM_HAS_CODEC_CONTEXT 1
using FFmpegCodec = AVCodec;
using FFmpegInputFormat = AVInputFormat;
#endif

// Since libavutil 57.24 (FFmpeg 5.1) a channel layout is a structure, and the fields channels and channel_layout are
// deprecated.
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(57, 24, 100)
#define VANTOR_FFMPEG_CHANNEL_LAYOUT_STRUCT 1
#else
#define VANTOR_FFMPEG_CHANNEL_LAYOUT_STRUCT 0
#endif

/// Number of channels of a codec context or a frame.
template <typename T>
int channelsOf(const T* sound)
{
#if VANTOR_FFMPEG_CHANNEL_LAYOUT_STRUCT
    return sound->ch_layout.nb_channels;
#else
    return sound->channels;
#endif
}

/// An uninitialised converter from the default layout of @p channels to interleaved 16-bit sound in the default layout
/// of @p outputChannels.
inline SwrContext* allocConverter(int channels, AVSampleFormat format, int inputRate, int outputChannels,
                                  int outputRate)
{
#if VANTOR_FFMPEG_CHANNEL_LAYOUT_STRUCT
    AVChannelLayout input;
    av_channel_layout_default(&input, channels);
    AVChannelLayout output;
    av_channel_layout_default(&output, outputChannels);
    SwrContext* converter = nullptr;
    swr_alloc_set_opts2(&converter, &output, AV_SAMPLE_FMT_S16, outputRate, &input, format, inputRate, 0, nullptr);
    av_channel_layout_uninit(&input);
    return converter;
#else
    return swr_alloc_set_opts(nullptr, av_get_default_channel_layout(outputChannels), AV_SAMPLE_FMT_S16, outputRate,
                              av_get_default_channel_layout(channels), format, inputRate, 0, nullptr);
#endif
}

/// As allocConverter(), to stereo.
inline SwrContext* allocStereoConverter(int channels, AVSampleFormat format, int inputRate, int outputRate)
{
    return allocConverter(channels, format, inputRate, 2, outputRate);
}

/// Gives a codec context or a frame the usual layout of that many channels.
template <typename T>
void setDefaultChannels(T* sound, int channels)
{
#if VANTOR_FFMPEG_CHANNEL_LAYOUT_STRUCT
    av_channel_layout_default(&sound->ch_layout, channels);
#else
    sound->channels = channels;
    sound->channel_layout = static_cast<uint64_t>(av_get_default_channel_layout(channels));
#endif
}

/// Front left and front right, however many channels there are: the sound's own header tells the decoder.
inline void setFrontChannels(AVCodecParameters* parameters, [[maybe_unused]] int channels)
{
#if VANTOR_FFMPEG_CHANNEL_LAYOUT_STRUCT
    av_channel_layout_from_mask(&parameters->ch_layout, AV_CH_LAYOUT_STEREO);
#else
    parameters->channels = channels;
    parameters->channel_layout = AV_CH_LAYOUT_STEREO;
#endif
}
