#include "switchingcamera.h"

#include "devnet/xframeheader.h"

SwitchingCamera::SwitchingCamera(const QSharedPointer<XNetDevice>& source, const QVector<Part>& senders)
    : device(source)
    , parts(senders)
{
}

QVector<qint64> SwitchingCamera::times() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return QVector<qint64>(stamps.begin(), stamps.end());
}

int SwitchingCamera::pictureCount() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return static_cast<int>(stamps.size());
}

XChannelStatus SwitchingCamera::getConnectStatus() { return device->getConnectStatus(); }

XTransportProtocol SwitchingCamera::getStreamProtocol() { return device->getStreamProtocol(); }

int SwitchingCamera::getChannelCount() { return 1; }

int SwitchingCamera::getStreamCount() { return 1; }

int SwitchingCamera::getStreamCountPerChannel() { return 1; }

XRetError SwitchingCamera::enableMediaTransmit(int, int, bool enable)
{
    return device->enableMediaTransmit(sender(), 0, enable);
}

XRetError SwitchingCamera::readFrame(int, int, XFrameHeader* frame, int timeout)
{
    const XRetError result = device->readFrame(sender(), 0, frame, timeout);
    if (result != XRet::Ok || frame->frameType > XFrameHeader::LastVideoFrame)
        return result;
    bool isLast = false;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        stamps.push_back(static_cast<qint64>(frame->timestamp));
        isLast = ++sent == parts.at(part).pictures && part + 1 < parts.size();
    }
    if (isLast)
        switchOver();
    return result;
}

void SwitchingCamera::switchOver()
{
    device->enableMediaTransmit(sender(), 0, false);
    {
        const std::lock_guard<std::mutex> lock(mutex);
        ++part;
        sent = 0;
    }
    device->enableMediaTransmit(sender(), 0, true);
}

XRetError SwitchingCamera::getCodecInfo(int, int, XVideoEncPara& video, XAudioEncPara& audio)
{
    return device->getCodecInfo(sender(), 0, video, audio);
}

XRetError SwitchingCamera::setCodecInfo(int, int, XVideoEncPara& video, XAudioEncPara& audio)
{
    return device->setCodecInfo(sender(), 0, video, audio);
}

int SwitchingCamera::sender() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return parts.at(part).channel;
}
