#include "core_vod/xrtavoddlthread.h"

#include "core_ffmpeg/ffmpeghelper.h"
#include "core_videosave/savemp4ffmpeg.h"

#include <QFile>
#include <QLoggingCategory>

namespace {
Q_LOGGING_CATEGORY(lcVodDownload, "vantor.vod.download")

constexpr quint64 reportStepMs = 1000;
constexpr int saverTimeoutMs = 500;
constexpr unsigned long recorderStepMs = 2;
constexpr AVRational milliseconds{1, 1000};

/// Milliseconds from @p begin to @p end, 0 when that is earlier. Both are the device's, so they may be any number.
quint64 elapsed(qint64 begin, qint64 end) { return end > begin ? quint64(end) - quint64(begin) : 0; }

QTime timeOf(qint64 pts)
{
    constexpr qint64 day = 24 * 60 * 60 * 1000;
    return QTime::fromMSecsSinceStartOfDay(static_cast<int>((pts % day + day) % day));
}

XAudioEncPara noSound()
{
    XAudioEncPara audio;
    audio.channels = 0;
    return audio;
}
} // namespace

XRTAVodDLThread::XRTAVodDLThread(QObject* parent)
    : AbstractVideoDLThread(parent)
{
    FFmpegHelper::initLib(); // or the writer's messages go to the host's error output
}

XRTAVodDLThread::~XRTAVodDLThread() { stopDL(); }

bool XRTAVodDLThread::bindDevice(const QSharedPointer<XNetDevice>& source, unsigned number)
{
    if (!source) {
        qCCritical(lcVodDownload, "pDev is null");
        return false;
    }
    device = source;
    channel = number;
    return true;
}

void XRTAVodDLThread::makeSaveSubDir()
{
    const QString folder = savePath.isEmpty() ? QString(".") : savePath;
    saveDir = QString("%1/%2/vod").arg(folder, QDate::currentDate().toString("yyyy-MM-dd"));
    AbstractVideoDLThread::makeSaveSubDir();
}

bool XRTAVodDLThread::beforeDownload()
{
    sdp = VodSdp();
    if (!device) {
        qCCritical(lcVodDownload, "pDev is null");
        announceEnd();
        Q_EMIT sig_downloadError();
        return false;
    }
    const XRetError result = device->vodDownloadStart(channel, {startTime, endTime});
    if (result == XRet::Ok)
        return true;
    qCCritical(lcVodDownload, "vodDownloadStart ret = %d", result);
    announceEnd();
    if (result == XRet::TooManyConnections)
        Q_EMIT sig_downloadErrConnExceedMax();
    else
        Q_EMIT sig_downloadError();
    return false;
}

void XRTAVodDLThread::afterDownload()
{
    device->vodDownloadStop(channel);
    if (!closeFile())
        reportDamage();
}

int XRTAVodDLThread::readFrame(XFrameHeader* frame, int timeout)
{
    switch (device->vodReadDLFrame(channel, frame, timeout)) {
    case XRet::Ok: return 0;
    case XRet::EndOfRecording: return 1;
    case XRet::Timeout: return 2;
    default: return 3;
    }
}

int XRTAVodDLThread::handleSaveMP4(XFrameHeader* frame)
{
    if (frame->frameType <= XFrameHeader::LastVideoFrame)
        followVideo(*frame);
    timeoutCount = 0;
    if (isFileOpen && !saver->getIsRunning()) // ended by itself: its disk is full, say
        return -1;
    if (frame->frameType == XFrameHeader::VideoKeyFrame && !followKeyFrame(*frame))
        return -1;
    if (isFileOpen && isWanted(*frame) && waitForRecorder())
        saver->writeData(frame);
    return 0;
}

void XRTAVodDLThread::followVideo(const XFrameHeader& frame)
{
    const auto time = static_cast<qint64>(frame.timestamp);
    if (elapsed(lastReportedPts, time) > reportStepMs) {
        lastReportedPts = time;
        if (saver->getIsRunning())
            Q_EMIT sig_downloadPts(time);
    }
    lastPts = time;
}

/// Where one file ends, the next one begins with the same frame.
bool XRTAVodDLThread::followKeyFrame(const XFrameHeader& frame)
{
    if (isFileOpen && isFileComplete() && !closeFile())
        return false;
    if (isFileOpen)
        return true;
    fileStartPts = static_cast<qint64>(frame.timestamp);
    return openFile();
}

bool XRTAVodDLThread::isFileComplete()
{
    return isCodecChanged()
        || (saveInterval >= 1 && elapsed(fileStartPts, lastPts) > static_cast<quint64>(saveInterval) * 1000);
}

bool XRTAVodDLThread::openFile()
{
    saveSdpToLocal();
    if (!sdp.hasVideo || !sdp.video.isValid())
        return false;
    if (!saveAudio || !sdp.hasAudio)
        sdp.audio = noSound();
    saver->setPara(sdp.video, sdp.audio, saverTimeoutMs);
    saver->setTimebase(milliseconds);
    saver->open(openFileName());
    isFileOpen = saver->getIsRunning();
    return isFileOpen;
}

bool XRTAVodDLThread::closeFile()
{
    if (!isFileOpen)
        return true;
    isFileOpen = false;
    saver->stop();
    return renameFile() && !saver->hasFileError();
}

/// A type that the recorder doesn't know is its business; sound that the file has no place for is none.
bool XRTAVodDLThread::isWanted(const XFrameHeader& frame) const
{
    return frame.frameType != XFrameHeader::AudioFrame || (saveAudio && saver->hasAudio());
}

/// A device may be faster than the disk, and nothing of a download may be dropped. False when that is of no use.
bool XRTAVodDLThread::waitForRecorder() const
{
    while (saver->isQueueFull() && saver->getIsRunning()) {
        if (stopped)
            return false;
        msleep(recorderStepMs);
    }
    return saver->getIsRunning();
}

bool XRTAVodDLThread::isCodecChanged()
{
    VodSdp fresh;
    if (!fetchSdp(fresh))
        return true;
    if (fresh.streamId != sdp.streamId || (fresh.video.isValid() && fresh.video != sdp.video))
        return true;
    return saveAudio && fresh.hasAudio && fresh.audio.isValid() && fresh.audio != sdp.audio;
}

bool XRTAVodDLThread::fetchSdp(VodSdp& fresh) const
{
    const XRetError result = device->vodGetDownloadSdp(channel, fresh);
    if (result != XRet::Ok)
        qCCritical(lcVodDownload, "vodGetDownloadSdp ret = %d", result);
    return result == XRet::Ok;
}

/// Without an answer the file is written as the one before it was.
void XRTAVodDLThread::saveSdpToLocal()
{
    VodSdp fresh;
    if (fetchSdp(fresh))
        sdp = fresh;
}

/// Date and time are put together as text: a time that a change to summer time leaves out has a name as well.
QString XRTAVodDLThread::ptsToString(qint64 pts) const
{
    return startTime.date().toString("yyyyMMdd") + 'T' + timeOf(pts).toString("HHmmss");
}

QString XRTAVodDLThread::openFileName() const { return QString("%1/%2.mp4").arg(saveDir, ptsToString(fileStartPts)); }

bool XRTAVodDLThread::renameFile() const
{
    const bool isOverMidnight = timeOf(fileStartPts) > timeOf(lastPts);
    const QString start = ptsToString(isOverMidnight ? 0 : fileStartPts);
    const QString name
        = QString("%1/%2_%3_%4.mp4").arg(saveDir, start, ptsToString(lastPts), QString::number(channel));
    QFile::remove(name);
    if (QFile::rename(openFileName(), name))
        return true;
    qCCritical(lcVodDownload).noquote() << QString("%1 could not be completed").arg(openFileName());
    return false;
}
