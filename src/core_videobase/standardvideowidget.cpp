#include "core_videobase/standardvideowidget.h"

#include "core_videobase/abstractvideothread.h"
#include "core_videobase/retiredthreads.h"
#include "core_videobase/threaddisplay.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QLoggingCategory>
#include <QPointer>

namespace {
Q_LOGGING_CATEGORY(lcStandard, "vantor.widget.standard")

bool hasSlot(const QObject* object, const char* signature) { return object->metaObject()->indexOfSlot(signature) >= 0; }

} // namespace

StandardVideoWidget::StandardVideoWidget(QWidget* parent)
    : AbstractVideoWidget(parent)
{
}

StandardVideoWidget::~StandardVideoWidget() { endVideoThreads(); }

bool StandardVideoWidget::start()
{
    if (startedFlag)
        return true;
    removeStoppedVideoThreads();
    initWidgetHandle();
    if (!createVideoThread() || !videoThread) {
        qCCritical(lcStandard).noquote() << "create video thread fail";
        return false;
    }
    connectBaseSignalSlots();
    connectStreamSignalSlots();
    ++videoThread->previewRef();
    videoThread->start(QThread::InheritPriority);
    startAudioThread();
    startedFlag = 1;
    return true;
}

void StandardVideoWidget::stop()
{
    if (startedFlag && videoThread)
        QMetaObject::invokeMethod(this, "receivePlayFinsh", Qt::DirectConnection, Q_ARG(QObject*, videoThread));
}

void StandardVideoWidget::pause()
{
    if (videoThread)
        videoThread->pause();
}

void StandardVideoWidget::resume()
{
    if (videoThread)
        videoThread->next();
}

void StandardVideoWidget::seekFile(QDateTime time)
{
    if (!videoThread || !videoThread->isRunning())
        return;
    if (hasSlot(videoThread, "seekFile(QDateTime)"))
        QMetaObject::invokeMethod(videoThread, "seekFile", Qt::QueuedConnection, Q_ARG(QDateTime, time));
    else
        qCDebug(lcStandard) << "the thread can't seek by date and time";
}

void StandardVideoWidget::setSpeed(int speed)
{
    if (!videoThread || !videoThread->isRunning())
        return;
    if (hasSlot(videoThread, "setSpeed(int)"))
        QMetaObject::invokeMethod(videoThread, "setSpeed", Qt::QueuedConnection, Q_ARG(int, speed));
    else
        QMetaObject::invokeMethod(videoThread, "setSpeed", Qt::QueuedConnection, Q_ARG(double, speed));
}

void StandardVideoWidget::receivePlayStart(int time)
{
    const auto* from = qobject_cast<AbstractVideoThread*>(sender());
    if (from && from != videoThread) // released while the call was on its way
        return;
    isRunning = true;
    AbstractVideoWidget::receivePlayStart(time);
    Q_EMIT sig_receivePlayStart(0); // last: the host may delete this widget
}

void StandardVideoWidget::receivePlayFinsh(QObject* finishedThread)
{
    if (finishedThread && finishedThread != videoThread) // released while the call was on its way
        return;
    const QPointer<StandardVideoWidget> self(this);
    disconnectStreamSignalSlots();
    disconnectBaseSignalSlots();
    clearRenderers();
    releaseVideoThread();
    startedFlag = 0;
    isRunning = false;
    setRecorderState(RecorderIdle, QString());
    clear();
    AbstractVideoWidget::receivePlayFinsh(finishedThread);
    if (!self)
        return;
    if (!startedFlag) // the host may have started it again
        stopAudioThread();
    setDigitalZoom(false);
}

void StandardVideoWidget::closeEvent(QCloseEvent* event)
{
    const QPointer<StandardVideoWidget> self(this);
    stop();
    if (self)
        AbstractVideoWidget::closeEvent(event);
}

void StandardVideoWidget::connectBaseSignalSlots()
{
    if (!videoThread)
        return;
    ThreadDisplay::connectPlaying(videoThread, this);
    ThreadDisplay::connectReports(videoThread, this);
    connect(videoThread, &AbstractVideoThread::receivePosition, this, &StandardVideoWidget::receivePosition,
            Qt::UniqueConnection);
    if (!getViewOnly())
        ThreadDisplay::connectSound(videoThread, this);
    recorderConnection = connect(videoThread, &AbstractVideoThread::recorderStateChanged, this,
                                 &StandardVideoWidget::setRecorderState);
}

void StandardVideoWidget::connectStreamSignalSlots()
{
    if (videoThread)
        ThreadDisplay::connectPictures(videoThread, this);
}

void StandardVideoWidget::disconnectBaseSignalSlots()
{
    if (!videoThread)
        return;
    // Its end, late errors and positions are still news.
    ThreadDisplay::disconnectPlaying(videoThread, this);
    if (!getViewOnly())
        ThreadDisplay::disconnectSound(videoThread, this);
    disconnect(recorderConnection);
}

void StandardVideoWidget::disconnectStreamSignalSlots()
{
    if (videoThread)
        ThreadDisplay::disconnectPictures(videoThread, this);
}

void StandardVideoWidget::retireVideoThread()
{
    if (!videoThread)
        return;
    ThreadDisplay::countOut(videoThread);
    videoThread->stop();
    oldThreads.append(videoThread);
    videoThread = nullptr;
}

void StandardVideoWidget::removeStoppedVideoThreads()
{
    for (auto thread = oldThreads.begin(); thread != oldThreads.end();) {
        if ((*thread)->isRunning()) {
            ++thread;
            continue;
        }
        (*thread)->deleteLater(); // what it still has to tell is on its way
        thread = oldThreads.erase(thread);
    }
}

void StandardVideoWidget::endVideoThreads()
{
    const QList<AbstractVideoThread*> threads = takeVideoThreads();
    for (AbstractVideoThread* thread : threads) {
        if (isInQueuedCall()) {
            RetiredThreads::take(thread);
        } else {
            thread->stopAndWait();
            delete thread;
        }
    }
}

void StandardVideoWidget::leaveVideoThreads()
{
    const QList<AbstractVideoThread*> threads = takeVideoThreads();
    for (AbstractVideoThread* thread : threads)
        RetiredThreads::take(thread);
}

/// The bound one and the released ones; nothing of them reaches this widget any more, and none waits for it.
QList<AbstractVideoThread*> StandardVideoWidget::takeVideoThreads()
{
    clearRenderers();
    isRunning = false;
    startedFlag = 0;
    QList<AbstractVideoThread*> threads;
    threads.swap(oldThreads);
    if (videoThread)
        threads.append(videoThread);
    videoThread = nullptr;

    for (AbstractVideoThread* thread : qAsConst(threads))
        QObject::disconnect(thread, nullptr, this, nullptr);
    // Lets go a thread that waits for a call to this widget.
    QCoreApplication::removePostedEvents(this, QEvent::MetaCall);
    return threads;
}
