#include "core_ffmpeg/picturehalver.h"

#include <cstdint>

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#define VANTOR_HALVER_SSE2 1
#else
#define VANTOR_HALVER_SSE2 0
#endif

namespace {
constexpr int planes = 3;
constexpr int mostTimes = 8;

bool isPlanar420(const AVFrame* picture)
{
    return picture->format == AV_PIX_FMT_YUV420P || picture->format == AV_PIX_FMT_YUVJ420P;
}

// The mean of two rows is rounded up and that of two columns down, so that pictures get neither lighter nor darker.
uint8_t meanOf(const uint8_t* upper, const uint8_t* lower)
{
    const int left = (upper[0] + lower[0] + 1) >> 1;
    const int right = (upper[1] + lower[1] + 1) >> 1;
    return static_cast<uint8_t>((left + right) >> 1);
}

#if VANTOR_HALVER_SSE2
constexpr int blockWidth = 16; // pixels of the result

__m128i load(const uint8_t* pixels) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(pixels)); }

/// Eight means, in 16 bits each.
__m128i meansOf(const uint8_t* upper, const uint8_t* lower)
{
    const __m128i rows = _mm_avg_epu8(load(upper), load(lower));
    const __m128i left = _mm_and_si128(rows, _mm_set1_epi16(0xff));
    const __m128i right = _mm_srli_epi16(rows, 8);
    return _mm_srli_epi16(_mm_add_epi16(left, right), 1);
}

int halveBlocks(const uint8_t* upper, const uint8_t* lower, uint8_t* target, int width)
{
    int x = 0;
    for (; x + blockWidth <= width; x += blockWidth) {
        const __m128i left = meansOf(upper + 2 * x, lower + 2 * x);
        const __m128i right = meansOf(upper + 2 * x + blockWidth, lower + 2 * x + blockWidth);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(target + x), _mm_packus_epi16(left, right));
    }
    return x;
}
#else
int halveBlocks(const uint8_t*, const uint8_t*, uint8_t*, int) { return 0; }
#endif

void halvePlane(const uint8_t* source, int sourceLine, uint8_t* target, int targetLine, int width, int height)
{
    for (int y = 0; y < height; ++y) {
        const uint8_t* upper = source + y * 2 * ptrdiff_t(sourceLine);
        const uint8_t* lower = upper + sourceLine;
        uint8_t* row = target + y * ptrdiff_t(targetLine);
        for (int x = halveBlocks(upper, lower, row, width); x < width; ++x)
            row[x] = meanOf(upper + 2 * x, lower + 2 * x);
    }
}
} // namespace

int PictureHalver::timesFor(const AVFrame* picture, int leastWidth, int leastHeight)
{
    if (!isPlanar420(picture) || leastWidth < 1 || leastHeight < 1)
        return 0;
    int times = 0;
    int width = picture->width;
    int height = picture->height;
    while (times < mostTimes && width % 4 == 0 && height % 4 == 0 && width / 2 >= leastWidth
           && height / 2 >= leastHeight) {
        width /= 2;
        height /= 2;
        ++times;
    }
    return times;
}

AvFramePtr PictureHalver::halve(const AVFrame* picture, int times)
{
    AvFramePtr result = halveOnce(picture, &first);
    for (int done = 1; done < times && result; ++done)
        result = halveOnce(result.get(), &further);
    return result;
}

AvFramePtr PictureHalver::halveOnce(const AVFrame* picture, PictureConverter* pool)
{
    AvFramePtr half = pool->makePicture(picture->width / 2, picture->height / 2);
    if (!half)
        return nullptr;
    for (int plane = 0; plane < planes; ++plane) {
        const int shift = plane == 0 ? 0 : 1;
        halvePlane(picture->data[plane], picture->linesize[plane], half->data[plane], half->linesize[plane],
                   half->width >> shift, half->height >> shift);
    }
    av_frame_copy_props(half.get(), picture);
    half->format = picture->format; // says the range of values, too
    return half;
}
