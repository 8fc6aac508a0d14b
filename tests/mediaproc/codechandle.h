#pragma once

#include "mediaproc/mediaproc.h"

#include <QByteArray>

#include <memory>

/// Handles of the library that destroy themselves.
template <int32_t (*destroy)(void*)>
struct DestroyHandle
{
    void operator()(void* handle) const { destroy(handle); }
};

using VideoDecoderHandle = std::unique_ptr<void, DestroyHandle<mediaproc_destroy_video_decoder>>;
using AudioDecoderHandle = std::unique_ptr<void, DestroyHandle<mediaproc_destroy_audio_decoder>>;
using AudioEncoderHandle = std::unique_ptr<void, DestroyHandle<mediaproc_destroy_audio_encoder>>;

/// The hardware name as threads write it: 32 characters at most, zeros behind a shorter one.
inline _tag_vdec_param_s videoParam(int codec, int width = 320, int height = 240, const QByteArray& hardware = "none")
{
    _tag_vdec_param_s param{};
    param.codec = codec;
    param.width = width;
    param.height = height;
    qstrncpy(param.hardware, hardware.constData(), sizeof param.hardware);
    if (hardware.size() >= static_cast<int>(sizeof param.hardware))
        memcpy(param.hardware, hardware.constData(), sizeof param.hardware);
    return param;
}

inline VideoDecoderHandle makeVideoDecoder(const _tag_vdec_param_s& param)
{
    return VideoDecoderHandle(mediaproc_create_video_decoder(&param));
}

inline int decode(const VideoDecoderHandle& decoder, const QByteArray& frame, _tag_yuv_frame_s* yuv,
                  _tag_rgb_frame_s* rgb = nullptr, bool isKeyFrame = false, quint64 timestamp = 0)
{
    return mediaproc_decoder_video_frame(decoder.get(), reinterpret_cast<const uint8_t*>(frame.constData()),
                                         static_cast<uint32_t>(frame.size()), isKeyFrame ? 1 : 0, timestamp, yuv, rgb);
}
