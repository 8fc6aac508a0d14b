#pragma once

#include "core_ffmpeg/ffmpegcompat.h"
#include "core_ffmpeg/ffmpegptr.h"

#include <string>

/// Decoding on a device of its own instead of the processor.
namespace Hardware {

/// Lets @p context decode on the device that FFmpeg calls @p name, before it is opened. False when FFmpeg or @p codec
/// doesn't know the device, and when this machine has none.
bool use(AVCodecContext* context, FFmpegCodec* codec, const std::string& name);

/// Whether pictures of that format are drawn from where they are, the memory of a graphics card.
bool isSurface(int format);

} // namespace Hardware
