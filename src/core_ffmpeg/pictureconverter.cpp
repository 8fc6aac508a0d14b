#include "core_ffmpeg/pictureconverter.h"

extern "C" {
#include <libavutil/imgutils.h>
}

namespace {
/// Rows are padded for the converters' vector code, and the buffer for what they write behind the last row.
constexpr int rowAlignment = 64;
constexpr int bufferPadding = 64;
} // namespace

PictureConverter::PictureConverter(AVPixelFormat format)
    : target(format)
    , scaling(SWS_FAST_BILINEAR)
{
}

void PictureConverter::setScaling(int flags) { scaling = flags; }

AvFramePtr PictureConverter::convert(const AVFrame* source)
{
    context.reset(sws_getCachedContext(context.release(), source->width, source->height,
                                       static_cast<AVPixelFormat>(source->format), source->width, source->height, target,
                                       scaling, nullptr, nullptr, nullptr));
    AvFramePtr result = context ? makePicture(source->width, source->height) : nullptr;
    if (!result)
        return nullptr;
    sws_scale(context.get(), source->data, source->linesize, 0, source->height, result->data, result->linesize);
    av_frame_copy_props(result.get(), source);
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
