#pragma once

#include "core_ffmpeg/ffmpegptr.h"

/// Converts pictures of any size and format to one pixel format at their own size.
///
/// Colours are taken as the picture says, by its matrix and its range of values; converted planes have the limited
/// range.
///
/// Each result has a buffer of its own, taken from a pool and given back when its last reference goes, so that a
/// picture that somebody still shows is never written over. Used by one thread at a time; results may be released
/// anywhere.
class PictureConverter
{
public:
    explicit PictureConverter(AVPixelFormat target);

    /// One of the SWS_… scaling flags, for the conversions that follow.
    void setScaling(int flags);

    /// @p source in the target format, with its properties; null when it can't be converted.
    AvFramePtr convert(const AVFrame* source);

    /// An empty picture in the target format from the pool; null for a size that can't be had.
    AvFramePtr makePicture(int width, int height);

private:
    /// What a context converts from, and how.
    struct Input
    {
        int width = 0;
        int height = 0;
        AVPixelFormat format = AV_PIX_FMT_NONE;
        AVColorSpace matrix = AVCOL_SPC_UNSPECIFIED;
        bool isFullRange = false;
        int scaling = 0;

        bool operator==(const Input& other) const;
    };

    Input inputOf(const AVFrame* source) const;
    bool prepare(const Input& next);
    SwsContextPtr makeContext(const Input& from) const;
    bool reservePool(int width, int height);

    const AVPixelFormat target;
    int scaling;
    Input input;
    SwsContextPtr context;
    BufferPoolPtr pool;
    int poolWidth = 0;
    int poolHeight = 0;
};
