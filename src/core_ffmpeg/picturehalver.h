#pragma once

#include "core_ffmpeg/pictureconverter.h"

/// Shrinks planar 4:2:0 pictures of 8 bits to half their width and height, as often as wanted. Every pixel is the mean
/// of the four that it stands for.
///
/// For pictures that are painted small: the colours of a quarter of the pixels are converted in a quarter of the time.
/// Used by one thread at a time; results may be released anywhere.
class PictureHalver
{
public:
    /// How often @p picture can be halved and still be as large as @p least in both directions. Never for other
    /// formats, and only while all its planes have even sizes.
    static int timesFor(const AVFrame* picture, int leastWidth, int leastHeight);

    /// @p picture halved @p times times, at least once and no more often than timesFor() says for any size, with its
    /// properties; null when there is no memory for it.
    AvFramePtr halve(const AVFrame* picture, int times);

private:
    AvFramePtr halveOnce(const AVFrame* picture, PictureConverter* pool);

    PictureConverter first{AV_PIX_FMT_YUV420P}; // of pictures of half the size
    PictureConverter further{AV_PIX_FMT_YUV420P};
};
