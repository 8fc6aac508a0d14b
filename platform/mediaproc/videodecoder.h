#pragma once

#include "core_ffmpeg/ffmpegcompat.h"
#include "core_ffmpeg/ffmpegptr.h"
#include "core_ffmpeg/pictureconverter.h"
#include "mediaproc/mediaproc.h"

#include <memory>

/// Decodes H.264 or H.265, one frame a call. Used by one thread at a time.
///
/// Pictures leave as I420, or as NV12 when a device decodes them; those that a graphics card draws itself stay in it.
/// Whoever shows a picture may still do so while the next one is decoded, so the last two are kept.
class VideoDecoder
{
public:
    /// Null for an unknown codec, for hardware that is not there, and for sizes that can't be.
    static std::unique_ptr<VideoDecoder> create(const _tag_vdec_param_s& param);

    /// False when the frame made no sense. True with empty records when no picture came out of it (yet). @p rgb may be
    /// null; otherwise it gets the same picture, which stays until the next call.
    bool decode(const AVPacket* frame, _tag_yuv_frame_s& yuv, _tag_rgb_frame_s* rgb);

private:
    explicit VideoDecoder(AVPixelFormat outputFormat);

    bool open(const _tag_vdec_param_s& param);
    bool wasPreparation(const AVPacket* frame) const;
    bool putOut(const AVFrame* decoded, _tag_yuv_frame_s& yuv, _tag_rgb_frame_s* rgb);
    AvFramePtr toOutput(const AVFrame* decoded);

    const AVPixelFormat format;
    CodecContextPtr context;
    PictureConverter outputConverter;
    PictureConverter rgbConverter{AV_PIX_FMT_RGB24};

    AvFramePtr picture; ///< put out last
    AvFramePtr previousPicture; ///< put out before that one
    AvFramePtr rgbPicture;
};
