#pragma once

#include "core_ffmpeg/ffmpegptr.h"

#include <cstdint>

/// What a caller handed in, as FFmpeg wants it.
namespace CodecInput {

/// Whether there is anything, and no more than a stream can hold: nothing else is looked at before that.
bool isUsable(const uint8_t* data, uint32_t length);

/// A copy of @p length bytes, which FFmpeg may read past; @p timestamp in milliseconds. Null without memory.
AvPacketPtr packet(const uint8_t* data, uint32_t length, uint64_t timestamp);

} // namespace CodecInput
