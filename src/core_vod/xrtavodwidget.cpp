#include "core_vod/xrtavodwidget.h"

#include "core_videobase/abstractvideothread.h"
#include "core_vod/xrtavodthread.h"

#include <QLoggingCategory>

namespace {
Q_LOGGING_CATEGORY(lcVodWidget, "vantor.vod.widget")
}

XRTAVodWidget::XRTAVodWidget(QWidget* parent)
    : StandardVideoWidget(parent)
    , turn(std::make_shared<std::mutex>())
{
}

XRTAVodWidget::~XRTAVodWidget() { endVideoThreads(); }

bool XRTAVodWidget::init(QSharedPointer<XNetDevice> source, int number)
{
    if (!source || number < 0) {
        qCCritical(lcVodWidget, "pDev == %p, channel == %d", static_cast<void*>(source.data()), number);
        return false;
    }
    device = source;
    channel = number;
    return true;
}

void XRTAVodWidget::setVodStartPara(VodStartPara para) { startPara = para; }

bool XRTAVodWidget::isReadStreamTimeout() const { return !videoThread || videoThread->isReadTimeout(); }

bool XRTAVodWidget::createVideoThread()
{
    if (!videoThread)
        videoThread = new XRTAVodThread(this);
    auto* thread = qobject_cast<XRTAVodThread*>(videoThread);
    if (!thread)
        return false;
    thread->bindDevice(device);
    thread->setVideoMode(getVideoMode());
    thread->setHardware(videoPara.hardware);
    thread->setReadTimeout(videoPara.readTimeout);
    thread->setConnectTimeout(videoPara.connectTimeout);
    thread->setStreamChannel(channel, 0);
    thread->setVodStartPara(startPara);
    thread->setTurn(turn);
    return true;
}

void XRTAVodWidget::releaseVideoThread() { retireVideoThread(); }

void XRTAVodWidget::snap(QString path, bool preview)
{
    if (!videoThread)
        return;
    const QDateTime now = QDateTime::currentDateTime();
    const QString name = QString("%1/%2/vod/%3_%4.jpg")
                             .arg(path, now.toString("yyyy-MM-dd"), now.toString("yyyyMMddTHHmmss"),
                                  QString::number(channel));
    videoThread->setSnapPreview(preview);
    videoThread->snap(name);
}
