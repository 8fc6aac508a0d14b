#include "mediaproc/hardware.h"

extern "C" {
#include <libavutil/hwcontext.h>
#include <libavutil/pixfmt.h>
}

namespace {
/// Surfaces that are held here while the decoder needs its own: the last two, and one on its way.
constexpr int heldSurfaces = 3;

bool supports(FFmpegCodec* codec, AVHWDeviceType type)
{
    for (int index = 0;; ++index) {
        const AVCodecHWConfig* config = avcodec_get_hw_config(codec, index);
        if (!config)
            return false;
        if (config->device_type == type && (config->methods & AV_CODEC_HW_CONFIG_METHOD_HW_DEVICE_CTX))
            return true;
    }
}
} // namespace

bool Hardware::use(AVCodecContext* context, FFmpegCodec* codec, const std::string& name)
{
    const AVHWDeviceType type = av_hwdevice_find_type_by_name(name.c_str());
    if (type == AV_HWDEVICE_TYPE_NONE || !supports(codec, type))
        return false;
    // With a device FFmpeg's own choice of a format is the device's, or one in memory for a stream it can't decode.
    if (av_hwdevice_ctx_create(&context->hw_device_ctx, type, nullptr, nullptr, 0) < 0)
        return false;
    context->extra_hw_frames = heldSurfaces;
    return true;
}

bool Hardware::isSurface(int format) { return format == AV_PIX_FMT_DXVA2_VLD || format == AV_PIX_FMT_D3D11; }
