#include "core_videobase/standardvideowidget.h"

#include "core_videobase/abstractvideothread.h"
#include "core_videobase/retiredthreads.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QLoggingCategory>
#include <QPointer>

namespace {
Q_LOGGING_CATEGORY(lcStandard, "vantor.widget.standard")

constexpr auto automatic = Qt::ConnectionType(Qt::AutoConnection | Qt::UniqueConnection);
constexpr auto blocking = Qt::ConnectionType(Qt::BlockingQueuedConnection | Qt::UniqueConnection);
constexpr auto plain = Qt::AutoConnection;

/// A connection from the thread's signal to a slot or signal of the widget.
struct Wire
{
    const char* signal;
    const char* member;
    Qt::ConnectionType type;
};

// Taken away when the thread is released.
const Wire baseWires[] = {
    {SIGNAL(started()), SLOT(started()), automatic},
    {SIGNAL(receivePlayStart(int)), SLOT(receivePlayStart(int)), blocking},
    {SIGNAL(receivePlayFinsh(QObject*)), SLOT(receivePlayFinsh(QObject*)), blocking},
    {SIGNAL(sig_decoderDestroyed()), SLOT(onDecoderDestroyed()), blocking},
};

// Kept until the thread is deleted: the end, the late errors and positions of a released thread are still news.
const Wire lastingWires[] = {
    {SIGNAL(finished()), SLOT(finished()), automatic},
    {SIGNAL(sig_connExceedMax()), SIGNAL(sig_connExceedMax()), automatic},
    {SIGNAL(sig_otherError()), SIGNAL(sig_otherError()), automatic},
    {SIGNAL(receivePosition(qint64)), SIGNAL(receivePosition(qint64)), automatic},
};

const Wire audioWires[] = {
    {SIGNAL(receiveAudioFormat(int, int, int)), SLOT(openAudioOutput(int, int, int)), automatic},
    {SIGNAL(receiveAudio(QByteArray)), SLOT(playAudio(QByteArray)), automatic},
};

const Wire streamWires[] = {
    {SIGNAL(receiveImage(QImage, int)), SLOT(receiveImage(QImage, int)), automatic},
    {SIGNAL(snapImage(QImage, QString)), SIGNAL(snapImage(QImage, QString)), automatic},
    {SIGNAL(receiveFrame(int, int, quint8*, quint8*, quint8*, quint32, quint32, quint32)),
     SLOT(receiveFrame(int, int, quint8*, quint8*, quint8*, quint32, quint32, quint32)), blocking},
    {SIGNAL(receiveFrame(int, int, quint8*, quint8*, quint32, quint32)),
     SLOT(receiveFrame(int, int, quint8*, quint8*, quint32, quint32)), blocking},
    {SIGNAL(receiveFrame(int, int, quint8*, bool)), SLOT(receiveFrame(int, int, quint8*, bool)), blocking},
    {SIGNAL(receiveFrame(int, int, quint8*, int, bool)), SLOT(receiveFrame(int, int, quint8*, int, bool)), blocking},
    {SIGNAL(receiveSizeChanged()), SLOT(receiveSizeChanged()), plain},
    {SIGNAL(receiveCodecChanged()), SLOT(receiveCodecChanged()), blocking},
};

template <size_t Count>
void connectAll(const Wire (&wires)[Count], QObject* from, QObject* to)
{
    for (const Wire& wire : wires)
        QObject::connect(from, wire.signal, to, wire.member, wire.type);
}

template <size_t Count>
void disconnectAll(const Wire (&wires)[Count], QObject* from, QObject* to)
{
    for (const Wire& wire : wires)
        QObject::disconnect(from, wire.signal, to, wire.member);
}

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
    connectAll(baseWires, videoThread, this);
    connectAll(lastingWires, videoThread, this);
    if (!getViewOnly())
        connectAll(audioWires, videoThread, this);
    recorderConnection = connect(videoThread, &AbstractVideoThread::recorderStateChanged, this,
                                 &StandardVideoWidget::setRecorderState);
}

void StandardVideoWidget::connectStreamSignalSlots()
{
    if (videoThread)
        connectAll(streamWires, videoThread, this);
}

void StandardVideoWidget::disconnectBaseSignalSlots()
{
    if (!videoThread)
        return;
    disconnectAll(baseWires, videoThread, this);
    if (!getViewOnly())
        disconnectAll(audioWires, videoThread, this);
    disconnect(recorderConnection);
}

void StandardVideoWidget::disconnectStreamSignalSlots()
{
    if (videoThread)
        disconnectAll(streamWires, videoThread, this);
}

void StandardVideoWidget::retireVideoThread()
{
    if (!videoThread)
        return;
    int count = videoThread->previewRef();
    while (count > 0 && !videoThread->previewRef().compare_exchange_weak(count, count - 1)) { }
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

    for (AbstractVideoThread* thread : qAsConst(threads)) {
        if (isInQueuedCall()) {
            RetiredThreads::take(thread);
        } else {
            thread->stopAndWait();
            delete thread;
        }
    }
}
