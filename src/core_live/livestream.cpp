#include "core_live/livestream.h"

#include <QLoggingCategory>

namespace {
Q_LOGGING_CATEGORY(lcStream, "vantor.live.stream")
}

int LiveStream::readFrame(const QSharedPointer<XNetDevice>& device, int channel, int stream, XFrameHeader* frame,
                          int timeout)
{
    if (!device) {
        qCCritical(lcStream, "dev pointer is null");
        return -1;
    }
    const XRetError result = device->readFrame(channel, stream, frame, timeout);
    if (result == XRet::Ok)
        return 0;
    if (result == XRet::Timeout)
        return -2;
    qCCritical(lcStream, "ret = %d", result);
    return -1;
}

int LiveStream::getCodecInfo(const QSharedPointer<XNetDevice>& device, int channel, int stream, XVideoEncPara& video,
                             XAudioEncPara& audio)
{
    if (!device) {
        qCCritical(lcStream, "dev pointer is null");
        return -1;
    }
    const XRetError result = device->getCodecInfo(channel, stream, video, audio);
    if (result == XRet::Ok)
        return 0;
    qCCritical(lcStream, "ret = %d", result);
    return -1;
}
