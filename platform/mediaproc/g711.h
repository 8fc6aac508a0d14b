#pragma once

#include "core_ffmpeg/ffmpegcompat.h"
#include "core_ffmpeg/ffmpegptr.h"

#include <cstdint>

/// What the decoders and encoders of telephone sound have in common.
namespace G711 {

/// FFmpeg's codec for 33 (A-law) and 34 (mu-law), AV_CODEC_ID_NONE for others.
AVCodecID codecOf(int codec);

/// Whether there is such sound, with samples of 16 bits when it is not encoded.
bool isPossible(int sampleRate, int bitWidth, int channels);

/// How many of @p length bytes are whole samples of all channels.
uint32_t wholeBytes(uint32_t length, int channels, int sampleBytes);

/// An unopened context for that sound; null without memory.
CodecContextPtr makeContext(FFmpegCodec* codec, int sampleRate, int channels);

} // namespace G711
