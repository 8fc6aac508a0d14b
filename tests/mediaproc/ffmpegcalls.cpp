#include "mediaproc/ffmpegcalls.h"

#include <QMutex>

#include <dlfcn.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/hwcontext.h>
}

namespace {
QMutex mutex;
FFmpegCalls::Packet packetSeen;
FFmpegCalls::Device deviceWanted = FFmpegCalls::Device::AsItIs;
QByteArray deviceSeen;
int deviceCount = 0;

template <typename Function>
Function next(const char* name, Function)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}
} // namespace

FFmpegCalls::Packet FFmpegCalls::lastPacket()
{
    const QMutexLocker lock(&mutex);
    return packetSeen;
}

void FFmpegCalls::setDevice(Device device)
{
    const QMutexLocker lock(&mutex);
    deviceWanted = device;
    deviceSeen.clear();
    deviceCount = 0;
}

int FFmpegCalls::devicesAsked()
{
    const QMutexLocker lock(&mutex);
    return deviceCount;
}

QByteArray FFmpegCalls::lastDevice()
{
    const QMutexLocker lock(&mutex);
    return deviceSeen;
}

extern "C" Q_DECL_EXPORT int avcodec_send_packet(AVCodecContext* context, const AVPacket* packet)
{
    {
        const QMutexLocker lock(&mutex);
        packetSeen.data = QByteArray(reinterpret_cast<const char*>(packet->data), packet->size);
        packetSeen.padding
            = QByteArray(reinterpret_cast<const char*>(packet->data) + packet->size, AV_INPUT_BUFFER_PADDING_SIZE);
        packetSeen.time = packet->pts;
        packetSeen.isKeyFrame = (packet->flags & AV_PKT_FLAG_KEY) != 0;
    }
    return next("avcodec_send_packet", &avcodec_send_packet)(context, packet);
}

extern "C" Q_DECL_EXPORT int av_hwdevice_ctx_create(AVBufferRef** device, AVHWDeviceType type, const char* name,
                                                    AVDictionary* options, int flags)
{
    FFmpegCalls::Device wanted;
    {
        const QMutexLocker lock(&mutex);
        ++deviceCount;
        deviceSeen = av_hwdevice_get_type_name(type);
        wanted = deviceWanted;
    }
    if (wanted == FFmpegCalls::Device::Missing)
        return AVERROR(ENODEV);
    if (wanted == FFmpegCalls::Device::Software)
        return 0;
    return next("av_hwdevice_ctx_create", &av_hwdevice_ctx_create)(device, type, name, options, flags);
}
