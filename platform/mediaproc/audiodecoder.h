#pragma once

#include "core_ffmpeg/ffmpegptr.h"
#include "mediaproc/mediaproc.h"

#include <memory>

/// Decodes G.711 to 16-bit PCM. Used by one thread at a time.
class AudioDecoder
{
public:
    /// Null for an unknown codec and for sound that can't be.
    static std::unique_ptr<AudioDecoder> create(const _tag_adec_param_s& param);

    /// How many of @p length bytes it can decode: whole samples of all channels.
    uint32_t wholeBytes(uint32_t length) const;

    /// False when it can't be decoded. The sound stays until the next call.
    bool decode(const AVPacket* packet, _tag_audio_frame_s& audio);

private:
    explicit AudioDecoder(CodecContextPtr opened);

    const CodecContextPtr context;
    AvFramePtr sound;
};
