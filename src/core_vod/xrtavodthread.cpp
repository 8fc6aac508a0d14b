#include "core_vod/xrtavodthread.h"

#include <QFileInfo>
#include <QLoggingCategory>

namespace {
Q_LOGGING_CATEGORY(lcVod, "vantor.vod")

constexpr qint64 pauseSliceUs = 50000;
constexpr qint64 idleSliceUs = 10000;
constexpr unsigned long turnStepMs = 5;
constexpr int timeoutsReported = 6;
constexpr int mostReadErrors = 3;
constexpr quint64 positionStepMs = 1001;
constexpr int fastestSpeed = 1024;

/// Time stamps are the device's, so they may be any number.
quint64 distance(qint64 a, qint64 b) { return a > b ? quint64(a) - quint64(b) : quint64(b) - quint64(a); }
} // namespace

XRTAVodThread::XRTAVodThread(QObject* parent)
    : PvProtoVideoThread(parent)
{
    setObjectName("XRTAVodThread");
}

XRTAVodThread::~XRTAVodThread() = default;

void XRTAVodThread::setVodStartPara(const VodStartPara& para)
{
    const QMutexLocker lock(&mutex);
    startPara = para;
}

void XRTAVodThread::setTurn(const std::shared_ptr<std::mutex>& turn) { sharedTurn = turn; }

void XRTAVodThread::pause()
{
    if (!isRunning())
        return;
    isPause = true;
    const QSharedPointer<XNetDevice> source = device();
    const XRetError result = source ? source->vodPause(playbackId()) : XRet::Ok;
    if (result != XRet::Ok)
        qCCritical(lcVod, "vod pause ret = %d", result);
}

void XRTAVodThread::next()
{
    if (!isRunning())
        return;
    isPause = false;
    const QSharedPointer<XNetDevice> source = device();
    const XRetError result = source ? source->vodResume(playbackId()) : XRet::Ok;
    if (result != XRet::Ok)
        qCCritical(lcVod, "vod resume ret = %d", result);
}

void XRTAVodThread::seekFile(const QDateTime& at)
{
    const QSharedPointer<XNetDevice> source = device();
    const XRetError result = source ? source->vodSeek(playbackId(), at) : XRet::Ok;
    if (result != XRet::Ok)
        qCCritical(lcVod, "vod seek ret = %d", result);
}

void XRTAVodThread::setSpeed(int speed)
{
    const QSharedPointer<XNetDevice> source = device();
    const XRetError result = source ? source->vodSetSpeed(playbackId(), speed) : XRet::Ok;
    if (result != XRet::Ok)
        qCCritical(lcVod, "vod set speed ret = %d", result);
}

void XRTAVodThread::setSpeed(double speed)
{
    if (!(speed > 0.0))
        return;
    const int times = qRound(qMin(qMax(speed, 1.0 / speed), double(fastestSpeed)));
    setSpeed(speed < 1.0 && times > 1 ? -times : times);
}

void XRTAVodThread::run()
{
    beginRun();
    const std::unique_lock<std::mutex> turn = waitForTurn();
    if (!sharedTurn || turn)
        playBack();
}

/// Holds nothing when there is no turn to wait for, or when the thread was stopped meanwhile.
std::unique_lock<std::mutex> XRTAVodThread::waitForTurn()
{
    if (!sharedTurn)
        return {};
    std::unique_lock<std::mutex> turn(*sharedTurn, std::try_to_lock);
    while (!turn && !isStopAsked()) {
        msleep(turnStepMs);
        turn.try_lock();
    }
    return turn;
}

void XRTAVodThread::playBack()
{
    errorCount = 0;
    const std::unique_ptr<unsigned char[]> buffer = makeFrameBuffer();
    auto* frame = reinterpret_cast<XFrameHeader*>(buffer.get());

    Loop loop = Loop::Continue;
    while (loop == Loop::Continue && !isStopAsked()) {
        if (isPause)
            clock.load()->sleep(pauseSliceUs);
        else if (isOk || openPlayback())
            loop = readPlayback(frame);
        else
            loop = Loop::End;
    }
    closeVideo();
    isOk = false;
}

/// A playback counts as playing before it is open, so that its end is reported also when it could not be opened.
bool XRTAVodThread::openPlayback()
{
    closeVideo();
    opened = true;
    return openVideo();
}

XRTAVodThread::Loop XRTAVodThread::readPlayback(XFrameHeader* frame)
{
    switch (readFrame(frame, readTimeout)) {
    case 0:
        errorCount = 0;
        timeoutHit = false;
        timeoutCount = 0;
        takeFrame(frame);
        return Loop::Continue;
    case 1:
        qCInfo(lcVod, "read frame timeout");
        if (++timeoutCount >= timeoutsReported)
            timeoutHit = true;
        if (readTimeout < 1) // the device does not wait, so somebody has to
            clock.load()->sleep(idleSliceUs);
        return Loop::Continue;
    case 2:
        qCInfo(lcVod, "END OF FILE!!!");
        return Loop::End;
    default:
        qCWarning(lcVod, "read frame error");
        return ++errorCount > mostReadErrors ? Loop::End : Loop::Continue;
    }
}

void XRTAVodThread::takeFrame(XFrameHeader* frame)
{
    if (!isInBuffer(*frame))
        return;
    if (displayCount < 1) {
        keyFrameSeen = false;
        return;
    }
    if (!isBehindKeyFrame(*frame))
        return;
    if (frame->frameType <= XFrameHeader::LastVideoFrame)
        showVideo(frame);
    else if (frame->frameType == XFrameHeader::AudioFrame)
        decodeAudio(frame);
}

void XRTAVodThread::showVideo(XFrameHeader* frame)
{
    lastFrameTime = static_cast<qint64>(frame->timestamp);
    decodeVideo(frame);
    if (distance(lastFrameTime, getPosition()) >= positionStepMs) // backwards after a seek
        setPosition(lastFrameTime);
}

unsigned XRTAVodThread::playbackId() const { return static_cast<unsigned>(channel.load()); }

void XRTAVodThread::closeVideo()
{
    const QSharedPointer<XNetDevice> source = device();
    if (source && source->getConnectStatus() == XChannelStatus_Connected)
        source->vodStop(playbackId());
    PvProtoVideoThread::closeVideo();
}

bool XRTAVodThread::initInput()
{
    const QSharedPointer<XNetDevice> source = device();
    if (!source) {
        qCCritical(lcVod, "dev pointer is null");
        return false;
    }
    if (source->getConnectStatus() != XChannelStatus_Connected)
        return true;
    VodStartPara para;
    {
        const QMutexLocker lock(&mutex);
        para = startPara;
    }
    const XRetError result = source->vodStart(playbackId(), para);
    if (result == XRet::Ok || result == XRet::AlreadyEnabled)
        return true;
    qCWarning(lcVod, "vodStart failed channel=%d, ret=%d", channel.load(), result);
    if (result == XRet::TooManyConnections)
        Q_EMIT sig_connExceedMax();
    else
        Q_EMIT sig_otherError();
    return false;
}

bool XRTAVodThread::checkConnect()
{
    const QSharedPointer<XNetDevice> source = device();
    if (!source) {
        qCCritical(lcVod, "dev pointer is null");
        return false;
    }
    const int status = waitForStatus([&source] { return source->getConnectStatus(); });
    if (status == XChannelStatus_Connected)
        return true;
    qCInfo(lcVod).noquote() << QString("[%1] connect status : [%2]").arg(source->getAlias()).arg(status);
    return false;
}

int XRTAVodThread::readFrame(XFrameHeader* frame, int timeout)
{
    const QSharedPointer<XNetDevice> source = device();
    if (!source) {
        qCCritical(lcVod, "dev pointer is null");
        return -1;
    }
    const XRetError result = source->vodReadFrame(playbackId(), frame, timeout);
    switch (result) {
    case XRet::Ok: return 0;
    case XRet::Timeout: return 1;
    case XRet::EndOfRecording: return 2;
    default: qCCritical(lcVod, "ret = %d", result); return -1;
    }
}

void XRTAVodThread::decodeImage()
{
    if (!rgbFrame.data)
        return;
    if (isSnap.exchange(false)) {
        setSnapName(snapshotName());
        writeSnapshot();
    }
    if (videoMode == VideoMode_Image)
        showImage();
}

/// Beside the name that was asked for, by the device's own time of day.
QString XRTAVodThread::snapshotName() const
{
    const QString folder = QFileInfo(getSnapName()).absolutePath();
    const QString time = QDateTime::fromMSecsSinceEpoch(lastFrameTime, Qt::UTC).toString("yyyyMMddTHHmmss");
    return QString("%1/%2_%3.jpg").arg(folder, time, QString::number(playbackId()));
}
