#include "core_live/xrtalivethread.h"

#include "core_live/livestream.h"
#include "core_video/recordingname.h"

#include <QLoggingCategory>

namespace {
Q_LOGGING_CATEGORY(lcRta, "vantor.live.rta")
}

XRTALiveThread::XRTALiveThread(QObject* parent)
    : PvProtoVideoThread(parent)
{
    setObjectName("XRTALiveThread");
}

XRTALiveThread::~XRTALiveThread() = default;

void XRTALiveThread::setMP4FileName(RecordType type)
{
    setFileName(type, RecordingName::ofStart(getSavePath(type), clock.load()->now()));
}

void XRTALiveThread::renameMP4File(RecordType type)
{
    setFileName(type, RecordingName::finish(getFileName(type), clock.load()->now(), channel));
}

void XRTALiveThread::closeVideo()
{
    const QSharedPointer<XNetDevice> source = device();
    if (source && source->getConnectStatus() == XChannelStatus_Connected)
        source->enableMediaTransmit(channel, stream, false);
    PvProtoVideoThread::closeVideo();
}

/// A device that is not connected is waited for: the loop times out and calls this again until it is back.
bool XRTALiveThread::initInput()
{
    const QSharedPointer<XNetDevice> source = device();
    if (!source) {
        qCCritical(lcRta, "dev pointer is null");
        return false;
    }
    if (source->getConnectStatus() != XChannelStatus_Connected)
        return true;
    const XRetError result = source->enableMediaTransmit(channel, stream, true);
    if (result == XRet::Ok || result == XRet::AlreadyEnabled) {
        exceedCount = 0;
        return true;
    }
    qCWarning(lcRta, "enable media transmit failed channel=%d, stream=%d, ret=%d", channel.load(), stream.load(),
              result);
    if (result == XRet::TooManyConnections) {
        ++exceedCount;
        Q_EMIT sig_connExceedMax();
    }
    return false;
}

bool XRTALiveThread::checkConnect()
{
    const QSharedPointer<XNetDevice> source = device();
    if (!source) {
        qCCritical(lcRta, "dev pointer is null");
        return false;
    }
    const int status = waitForStatus([&source] { return source->getConnectStatus(); });
    if (status == XChannelStatus_Connected)
        return true;
    qCInfo(lcRta, "connect status : %d", status);
    return false;
}

int XRTALiveThread::readFrame(XFrameHeader* frame, int timeout)
{
    return LiveStream::readFrame(device(), channel, stream, frame, timeout);
}

void XRTALiveThread::handlePreviewClose()
{
    if (stream == 0)
        freeDecoders();
}

void XRTALiveThread::beforeSaveMP4(XFrameHeader* frame) { updateAVCodec(frame); }

int XRTALiveThread::getLatestRecordCodec(XVideoEncPara& video, XAudioEncPara& audio)
{
    return LiveStream::getCodecInfo(device(), channel, stream, video, audio);
}

void XRTALiveThread::updateAVCodec(XFrameHeader* frame)
{
    XVideoEncPara video;
    XAudioEncPara audio;
    if (getLatestRecordCodec(video, audio) != 0)
        return;
    if (frame->frameType == XFrameHeader::VideoKeyFrame) {
        if (frame->codecId <= 1)
            video.codec = static_cast<qint32>(frame->codecId) + 1;
        else
            qCWarning(lcRta, " code_id = %d", static_cast<int>(frame->codecId));
        video.width = static_cast<qint32>(frame->width);
        video.height = static_cast<qint32>(frame->height);
        video.param1 = static_cast<qint32>(frame->param1);
        video.param2 = static_cast<qint32>(frame->param2);
        video.param3 = 1;
    } else if (frame->frameType == XFrameHeader::AudioFrame) {
        if (frame->codecId >= 3 && frame->codecId <= 5)
            audio.codec = static_cast<qint32>(frame->codecId) + 30;
        audio.sampleRate = static_cast<qint32>(frame->sampleRate);
        audio.bitWidth = static_cast<qint32>(frame->bitWidth);
        audio.channels = static_cast<qint32>(frame->channels);
    }
    updateDeviceAVCodec(video, audio);
}

void XRTALiveThread::updateDeviceAVCodec(XVideoEncPara& video, XAudioEncPara& audio)
{
    const QSharedPointer<XNetDevice> source = device();
    if (!source) {
        qCCritical(lcRta, "dev pointer is null");
        return;
    }
    const XRetError result = source->setCodecInfo(channel, stream, video, audio);
    if (result != XRet::Ok)
        qCCritical(lcRta, "ret = %d", result);
}
