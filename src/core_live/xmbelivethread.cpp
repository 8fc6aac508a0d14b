#include "core_live/xmbelivethread.h"

#include "core_live/livestream.h"
#include "core_video/recordingname.h"

#include <QLoggingCategory>

namespace {
Q_LOGGING_CATEGORY(lcMbe, "vantor.live.mbe")
}

XMBELiveThread::XMBELiveThread(QObject* parent)
    : PvProtoVideoThread(parent)
{
    setObjectName("XMBELiveThread");
}

XMBELiveThread::~XMBELiveThread() = default;

void XMBELiveThread::setMP4FileName(RecordType type)
{
    setFileName(type, RecordingName::ofStart(getSavePath(type), clock.load()->now()));
}

void XMBELiveThread::renameMP4File(RecordType type)
{
    setFileName(type, RecordingName::finish(getFileName(type), clock.load()->now(), channel));
}

void XMBELiveThread::closeVideo()
{
    if (const QSharedPointer<XNetDevice> source = device())
        source->enableMediaTransmit(channel, stream, false);
    PvProtoVideoThread::closeVideo();
}

bool XMBELiveThread::initInput()
{
    const QSharedPointer<XNetDevice> source = device();
    if (!source) {
        qCCritical(lcMbe, "dev is null");
        return false;
    }
    const XRetError result = source->enableMediaTransmit(channel, stream, true);
    if (result == XRet::AlreadyEnabled)
        return true;
    if (result != XRet::Ok) {
        qCWarning(lcMbe, "enable media transmit failed channel=%d, stream=%d, ret=%d", channel.load(), stream.load(),
                  result);
        return false;
    }
    const XRetError answer = source->requestVideoIFrame(channel, stream);
    if (answer != XRet::Ok)
        qCInfo(lcMbe, "request i frame failed! ch: %d, stream: %d, ret: %d", channel.load(), stream.load(), answer);
    return true;
}

bool XMBELiveThread::checkConnect()
{
    const QSharedPointer<XNetDevice> source = device();
    if (!source) {
        qCCritical(lcMbe, "dev pointer is null");
        return false;
    }
    const int status = waitForStatus([&] { return source->getStreamStatus(channel, stream); });
    if (status == XChannelStatus_Connected)
        return true;
    qCInfo(lcMbe, "ch%d stream%d st: %d", channel.load(), stream.load(), status);
    return false;
}

int XMBELiveThread::readFrame(XFrameHeader* frame, int timeout)
{
    return LiveStream::readFrame(device(), channel, stream, frame, timeout);
}

void XMBELiveThread::handlePreviewClose()
{
    if (stream == 0)
        freeDecoders();
}

int XMBELiveThread::getLatestRecordCodec(XVideoEncPara& video, XAudioEncPara& audio)
{
    return LiveStream::getCodecInfo(device(), channel, stream, video, audio);
}
