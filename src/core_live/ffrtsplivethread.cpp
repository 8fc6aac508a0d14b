#include "core_live/ffrtsplivethread.h"

#include "core_live/livestream.h"
#include "core_video/recordingname.h"

#include <QLoggingCategory>

namespace {
Q_LOGGING_CATEGORY(lcRtsp, "vantor.live.rtsp")
}

FFRtspLiveThread::FFRtspLiveThread(QObject* parent)
    : FFmpegVideoThread(parent)
{
    setObjectName("FFRtspLiveThread");
}

FFRtspLiveThread::~FFRtspLiveThread() = default;

void FFRtspLiveThread::setMP4FileName(RecordType type)
{
    setFileName(type, RecordingName::ofStart(getSavePath(type), clock.load()->now()));
}

void FFRtspLiveThread::renameMP4File(RecordType type)
{
    setFileName(type, RecordingName::finish(getFileName(type), clock.load()->now(), channel));
}

bool FFRtspLiveThread::parseVideoUrl()
{
    const QSharedPointer<XNetDevice> bound = device();
    if (!bound) {
        qCCritical(lcRtsp, "dev pointer is null");
        return false;
    }
    const int index = bound->getStreamCountPerChannel() * channel + stream;
    const QStringList urls = bound->getRtspUrls();
    if (index < 0 || index >= urls.size()) {
        qCCritical(lcRtsp).noquote() << QString("urls.size=%1, stream=%2").arg(urls.size()).arg(index);
        return false;
    }
    setVideoUrl(urls.at(index));
    return true;
}

int FFRtspLiveThread::getLatestRecordCodec(XVideoEncPara& video, XAudioEncPara& audio)
{
    return LiveStream::getCodecInfo(device(), channel, stream, video, audio);
}
