#include "devnet/videoencoding.h"

#include <algorithm>

namespace {
constexpr int h264 = 1;
constexpr int h265 = 2;
} // namespace

XVideoEncPara videoEncodingOf(const VideoPackager::Picture& picture, const AVStream* stream, bool isH265)
{
    XVideoEncPara video;
    video.codec = isH265 ? h265 : h264;
    video.width = picture.size.width();
    video.height = picture.size.height();
    const AVRational rate = stream->avg_frame_rate;
    video.param1 = rate.num > 0 && rate.den > 0 ? qRound(av_q2d(rate)) : 0;
    video.param2 = static_cast<std::int32_t>(std::min<int64_t>(stream->codecpar->bit_rate, INT32_MAX));
    video.param3 = 1;
    return video;
}
