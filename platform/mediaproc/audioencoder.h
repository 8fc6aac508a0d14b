#pragma once

#include "core_ffmpeg/ffmpegptr.h"
#include "mediaproc/mediaproc.h"

#include <memory>

/// Encodes 16-bit PCM as G.711. Used by one thread at a time.
class AudioEncoder
{
public:
    /// Null for an unknown codec and for sound that can't be.
    static std::unique_ptr<AudioEncoder> create(const _tag_aenc_param_s& param);

    /// How many of @p length bytes it can encode: whole samples of all channels.
    uint32_t wholeBytes(uint32_t length) const;

    /// Encodes @p length bytes, whole samples. False when they can't be encoded. The result stays until the next call.
    bool encode(const uint8_t* data, uint32_t length, uint64_t timestamp, _tag_audio_frame_s& audio);

private:
    explicit AudioEncoder(CodecContextPtr opened);
    AvFramePtr makeSound(const uint8_t* data, uint32_t length) const;

    const CodecContextPtr context;
    AvPacketPtr encoded;
};
