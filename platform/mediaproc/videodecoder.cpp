#include "mediaproc/videodecoder.h"

#include "mediaproc/hardware.h"
#include "mediaproc/parameterunits.h"

extern "C" {
#include <libavutil/hwcontext.h>
}

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

namespace {
/// Both are beyond the highest levels of H.264 and H.265 that cameras and recorders have.
constexpr int longestEdge = 16384;
constexpr int64_t mostPixels = 8192 * 8192;

/// Most of what a damaged stream makes FFmpeg say is told from its level "debug" on.
constexpr int quieter = 32;

constexpr AVRational milliseconds{1, 1000};

AVCodecID codecOf(const _tag_vdec_param_s& param)
{
    switch (param.codec) {
    case 1: return AV_CODEC_ID_H264;
    case 2: return AV_CODEC_ID_HEVC;
    default: return AV_CODEC_ID_NONE;
    }
}

bool isPossibleSize(int width, int height)
{
    return width > 0 && height > 0 && width <= longestEdge && height <= longestEdge
           && static_cast<int64_t>(width) * height <= mostPixels;
}

/// A name that fills its field has no terminating zero.
std::string hardwareOf(const _tag_vdec_param_s& param)
{
    const char* end = std::find(std::begin(param.hardware), std::end(param.hardware), '\0');
    return std::string(std::begin(param.hardware), end);
}

bool isSoftware(const _tag_vdec_param_s& param)
{
    const std::string name = hardwareOf(param);
    return name == "none" || name.empty();
}

/// FFmpeg's planes of I420 are the same whether they use the full range of values or not.
bool hasPlanesOf(int format, AVPixelFormat output)
{
    return format == output || (output == AV_PIX_FMT_YUV420P && format == AV_PIX_FMT_YUVJ420P);
}

AvFramePtr toMemory(const AVFrame* surface)
{
    AvFramePtr picture = makeFrame();
    if (!picture || av_hwframe_transfer_data(picture.get(), surface, 0) < 0)
        return nullptr;
    av_frame_copy_props(picture.get(), surface);
    return picture;
}

_tag_yuv_frame_s describe(const AVFrame* picture)
{
    _tag_yuv_frame_s yuv{};
    yuv.width = picture->width;
    yuv.height = picture->height;
    if (picture->format == AV_PIX_FMT_DXVA2_VLD) {
        yuv.plane[0] = picture->data[3];
    } else if (picture->format == AV_PIX_FMT_D3D11) {
        yuv.plane[0] = picture->data[0];
        yuv.y_stride = static_cast<int32_t>(reinterpret_cast<intptr_t>(picture->data[1]));
    } else {
        std::copy_n(picture->data, 3, yuv.plane);
        yuv.y_stride = picture->linesize[0];
        yuv.uv_stride = picture->linesize[1];
    }
    return yuv;
}
} // namespace

std::unique_ptr<VideoDecoder> VideoDecoder::create(const _tag_vdec_param_s& param)
{
    if (!isPossibleSize(param.width, param.height))
        return nullptr;
    std::unique_ptr<VideoDecoder> decoder(new VideoDecoder(isSoftware(param) ? AV_PIX_FMT_YUV420P : AV_PIX_FMT_NV12));
    return decoder->open(param) ? std::move(decoder) : nullptr;
}

VideoDecoder::VideoDecoder(AVPixelFormat outputFormat)
    : format(outputFormat)
    , outputConverter(outputFormat)
{
}

bool VideoDecoder::open(const _tag_vdec_param_s& param)
{
    FFmpegCodec* codec = avcodec_find_decoder(codecOf(param));
    context.reset(codec ? avcodec_alloc_context3(codec) : nullptr);
    if (!context)
        return false;
    if (!isSoftware(param) && !Hardware::use(context.get(), codec, hardwareOf(param)))
        return false;
    // A picture is wanted from the very frame that it came in; threads would each keep one back.
    context->thread_count = 1;
    context->flags |= AV_CODEC_FLAG_LOW_DELAY;
    context->pkt_timebase = milliseconds;
    context->max_pixels = mostPixels;
    context->log_level_offset = quieter;
    return avcodec_open2(context.get(), codec, nullptr) >= 0;
}

bool VideoDecoder::decode(const AVPacket* frame, _tag_yuv_frame_s& yuv, _tag_rgb_frame_s* rgb)
{
    rgbPicture.reset();
    const AvFramePtr decoded = makeFrame();
    if (!decoded)
        return false;
    if (avcodec_send_packet(context.get(), frame) < 0)
        return wasPreparation(frame);
    const int result = avcodec_receive_frame(context.get(), decoded.get());
    if (result == AVERROR(EAGAIN))
        return true;
    return result >= 0 && putOut(decoded.get(), yuv, rgb);
}

bool VideoDecoder::wasPreparation(const AVPacket* frame) const
{
    // FFmpeg's decoder of H.264 takes parameter sets that come by themselves, and then complains of a missing picture.
    return context->codec_id == AV_CODEC_ID_H264 && areParameterUnits(frame->data, frame->size);
}

bool VideoDecoder::putOut(const AVFrame* decoded, _tag_yuv_frame_s& yuv, _tag_rgb_frame_s* rgb)
{
    AvFramePtr output = toOutput(decoded);
    if (!output)
        return false;
    if (rgb) {
        const AvFramePtr inMemory = Hardware::isSurface(output->format) ? toMemory(output.get()) : nullptr;
        rgbPicture = rgbConverter.convert(inMemory ? inMemory.get() : output.get());
        if (!rgbPicture)
            return false;
        *rgb = {rgbPicture->data[0], rgbPicture->width, rgbPicture->height, rgbPicture->linesize[0]};
    }
    yuv = describe(output.get());
    previousPicture = std::exchange(picture, std::move(output));
    return true;
}

AvFramePtr VideoDecoder::toOutput(const AVFrame* decoded)
{
    if (Hardware::isSurface(decoded->format) || hasPlanesOf(decoded->format, format))
        return AvFramePtr(av_frame_clone(decoded));
    if (!decoded->hw_frames_ctx)
        return outputConverter.convert(decoded);
    AvFramePtr inMemory = toMemory(decoded);
    return !inMemory || hasPlanesOf(inMemory->format, format) ? std::move(inMemory)
                                                              : outputConverter.convert(inMemory.get());
}
