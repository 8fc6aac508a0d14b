#include "core_ffmpeg/pictureconverter.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

namespace {
/// Rows are padded for the converters' vector code, and the buffer for what they write behind the last row.
constexpr int rowAlignment = 64;
constexpr int bufferPadding = 64;

constexpr int neutral = 1 << 16; ///< contrast and saturation that change nothing

/// FFmpeg has formats of their own for planes of the full range, and warns of them.
AVPixelFormat withoutRange(AVPixelFormat format)
{
    switch (format) {
    case AV_PIX_FMT_YUVJ411P: return AV_PIX_FMT_YUV411P;
    case AV_PIX_FMT_YUVJ420P: return AV_PIX_FMT_YUV420P;
    case AV_PIX_FMT_YUVJ422P: return AV_PIX_FMT_YUV422P;
    case AV_PIX_FMT_YUVJ440P: return AV_PIX_FMT_YUV440P;
    case AV_PIX_FMT_YUVJ444P: return AV_PIX_FMT_YUV444P;
    default: return format;
    }
}

bool isGray(AVPixelFormat format)
{
    const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(format);
    return descriptor && descriptor->nb_components <= 2;
}

bool isRgb(AVPixelFormat format)
{
    const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(format);
    return descriptor && (descriptor->flags & AV_PIX_FMT_FLAG_RGB) != 0;
}

bool hasFullRange(const AVFrame* source)
{
    const auto format = static_cast<AVPixelFormat>(source->format);
    if (source->color_range == AVCOL_RANGE_UNSPECIFIED && isGray(format))
        return true;
    return source->color_range == AVCOL_RANGE_JPEG || withoutRange(format) != format;
}
} // namespace

bool PictureConverter::Input::operator==(const Input& other) const
{
    return width == other.width && height == other.height && format == other.format && matrix == other.matrix
           && isFullRange == other.isFullRange && scaling == other.scaling;
}

PictureConverter::PictureConverter(AVPixelFormat format)
    : target(format)
    , scaling(SWS_FAST_BILINEAR)
{
}

void PictureConverter::setScaling(int flags) { scaling = flags; }

AvFramePtr PictureConverter::convert(const AVFrame* source)
{
    AvFramePtr result = prepare(inputOf(source)) ? makePicture(source->width, source->height) : nullptr;
    if (!result)
        return nullptr;
    sws_scale(context.get(), source->data, source->linesize, 0, source->height, result->data, result->linesize);
    av_frame_copy_props(result.get(), source);
    result->color_range = isRgb(target) ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
    return result;
}

PictureConverter::Input PictureConverter::inputOf(const AVFrame* source) const
{
    return {source->width,      source->height,       withoutRange(static_cast<AVPixelFormat>(source->format)),
            source->colorspace, hasFullRange(source), scaling};
}

bool PictureConverter::prepare(const Input& next)
{
    if (context && input == next)
        return true;
    context = makeContext(next);
    input = next;
    return context != nullptr;
}

SwsContextPtr PictureConverter::makeContext(const Input& from) const
{
    SwsContextPtr result(sws_alloc_context());
    if (!result)
        return nullptr;
    const auto set = [&](const char* option, int64_t value) { av_opt_set_int(result.get(), option, value, 0); };
    set("srcw", from.width);
    set("srch", from.height);
    set("src_format", from.format);
    set("src_range", from.isFullRange);
    set("dstw", from.width);
    set("dsth", from.height);
    set("dst_format", target);
    set("sws_flags", from.scaling);
    if (sws_init_context(result.get(), nullptr, nullptr) < 0)
        return nullptr;
    const int* matrix = sws_getCoefficients(from.matrix);
    sws_setColorspaceDetails(result.get(), matrix, from.isFullRange, matrix, 0, 0, neutral, neutral);
    return result;
}

AvFramePtr PictureConverter::makePicture(int width, int height)
{
    AvFramePtr picture = makeFrame();
    if (!picture || !reservePool(width, height))
        return nullptr;
    picture->buf[0] = av_buffer_pool_get(pool.get());
    if (!picture->buf[0])
        return nullptr;
    picture->format = target;
    picture->width = width;
    picture->height = height;
    av_image_fill_arrays(picture->data, picture->linesize, picture->buf[0]->data, target, width, height, rowAlignment);
    return picture;
}

bool PictureConverter::reservePool(int width, int height)
{
    if (pool && width == poolWidth && height == poolHeight)
        return true;
    const int size = av_image_get_buffer_size(target, width, height, rowAlignment);
    if (size <= 0)
        return false;
    pool.reset(av_buffer_pool_init(static_cast<size_t>(size) + bufferPadding, nullptr));
    poolWidth = width;
    poolHeight = height;
    return pool != nullptr;
}
