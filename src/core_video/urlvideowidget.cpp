#include "core_video/urlvideowidget.h"

#include "core_video/ffmpegvideothread.h"
#include "core_video/urladdress.h"
#include "core_video/urlvideothread.h"
#include "core_videobase/shownaddress.h"

#include <QDateTime>
#include <QLoggingCategory>
#include <QScopedValueRollback>

#include <algorithm>

namespace {
Q_LOGGING_CATEGORY(lcUrl, "vantor.url.widget")

/// After an open that failed. A camera that is back is to be seen again within three seconds, key frame included.
constexpr int pauseBetweenOpensMs = 500;
} // namespace

UrlVideoWidget::UrlVideoWidget(QWidget* parent)
    : StandardVideoWidget(parent)
    , captureFormat(UrlAddress::platformCaptureFormat())
{
    setVideoMode(VideoMode_Opengl);
}

UrlVideoWidget::~UrlVideoWidget()
{
    if (isNetworkAlone())
        leaveVideoThreads();
    else
        endVideoThreads();
}

/// Whether none of its threads has a file or a capture device.
bool UrlVideoWidget::isNetworkAlone() const
{
    const auto isNetwork = [](const AbstractVideoThread* thread) {
        const auto* player = qobject_cast<const FFmpegVideoThread*>(thread);
        return !player || (!player->getPaced() && player->getInputFormat().isEmpty());
    };
    return isNetwork(videoThread) && std::all_of(oldThreads.begin(), oldThreads.end(), isNetwork);
}

void UrlVideoWidget::setUrl(const QString& address) { url = address; }

QString UrlVideoWidget::getUrl() const { return url; }

void UrlVideoWidget::setCaptureFormat(const QString& format) { captureFormat = format; }

QString UrlVideoWidget::getCaptureFormat() const { return captureFormat; }

void UrlVideoWidget::setTransport(const QString& name) { transport = name; }

QString UrlVideoWidget::getTransport() const { return transport; }

void UrlVideoWidget::setChannel(int number) { channel = number; }

int UrlVideoWidget::getChannel() const { return channel; }

qint64 UrlVideoWidget::getDuration() const { return videoThread ? videoThread->getDuration() : 0; }

qint64 UrlVideoWidget::getPosition() const { return videoThread ? videoThread->getPosition() : 0; }

bool UrlVideoWidget::isSeekable() const { return getDuration() > 0; }

void UrlVideoWidget::setAutoRecord(const QString& path)
{
    autoRecordPath = path;
    applyRecording();
}

QString UrlVideoWidget::getAutoRecord() const { return autoRecordPath; }

void UrlVideoWidget::stop()
{
    const QScopedValueRollback<bool> rollback(stopping, true);
    StandardVideoWidget::stop();
}

void UrlVideoWidget::setPosition(qint64 milliseconds)
{
    if (isSeekable())
        videoThread->setPosition(milliseconds);
}

void UrlVideoWidget::setSpeed(double factor)
{
    if (videoThread)
        videoThread->setSpeed(factor);
}

void UrlVideoWidget::snap(QString path, bool preview)
{
    if (!videoThread)
        return;
    const QDateTime now = QDateTime::currentDateTime();
    videoThread->setSnapPreview(preview);
    videoThread->snap(QString("%1/%2/live/%3_%4.jpg")
                          .arg(path, now.toString("yyyy-MM-dd"), now.toString("yyyyMMddTHHmmss"))
                          .arg(channel));
}

void UrlVideoWidget::setSaveInterval(int seconds)
{
    saveInterval = seconds;
    StandardVideoWidget::setSaveInterval(seconds);
    applyRecording();
}

bool UrlVideoWidget::createVideoThread()
{
    const UrlAddress address = UrlAddress::parse(url, captureFormat);
    auto thread = std::make_unique<UrlVideoThread>(channel, this);
    // The thread tests the network itself, as often as it opens, and without holding the GUI thread up.
    constexpr int withoutNetworkTest = 0;
    if (!FFmpegHelper::checkSource(thread.get(), address.type, url.isEmpty() ? url : address.url, withoutNetworkTest)) {
        qCWarning(lcUrl).noquote() << QString("not a file, a device or a network address: %1").arg(shownAddress(url));
        return false;
    }
    connect(thread.get(), &AbstractVideoThread::receiveDuration, this, &UrlVideoWidget::receiveDuration);
    // Outlives the release of the thread: the end of its files comes after that.
    connect(thread.get(), &AbstractVideoThread::recorderStateChanged, this, &UrlVideoWidget::recorderStateChanged);
    thread->setVideoCore(VideoCore_FFmpeg);
    thread->setVideoUrl(address.url);
    thread->setAddressTest(address.isTested);
    thread->setInputFormat(address.inputFormat);
    thread->setPaced(address.isPaced);
    thread->setFastStart(address.type == FFmpegHelper::Source_Network);
    thread->setTransport(transport);
    thread->setVideoMode(widgetPara.videoMode);
    thread->setHardware(videoPara.hardware);
    thread->setConnectTimeout(videoPara.connectTimeout);
    thread->setOpenSleepTime(pauseBetweenOpensMs);
    thread->setReadTimeout(address.type == FFmpegHelper::Source_Network ? videoPara.readTimeout : 0);
    if (address.type == FFmpegHelper::Source_Device) {
        thread->setVideoSize(address.size);
        thread->setFrameRate(address.frameRate);
    }
    videoThread = thread.release();
    applyRecording();
    return true;
}

void UrlVideoWidget::applyRecording()
{
    if (!videoThread || getViewOnly())
        return;
    constexpr auto type = AbstractVideoThread::AUTO_RECORD;
    videoThread->setSaveInterval(type, saveInterval);
    if (autoRecordPath.isEmpty()) {
        videoThread->recordStop(type);
    } else {
        videoThread->setSavePath(type, autoRecordPath);
        videoThread->recordStart(type);
    }
}

void UrlVideoWidget::releaseVideoThread() { retireVideoThread(); }

void UrlVideoWidget::receivePlayFinsh(QObject* thread)
{
    // A source that its thread is about to open again keeps the thread, the overlays and the recording switches.
    if (!stopping && thread == videoThread && urlThread() && urlThread()->isReopening())
        AbstractVideoWidget::receivePlayFinsh(thread);
    else
        StandardVideoWidget::receivePlayFinsh(thread);
}

FFmpegVideoThread* UrlVideoWidget::urlThread() const { return qobject_cast<FFmpegVideoThread*>(videoThread); }
