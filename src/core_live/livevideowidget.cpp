#include "core_live/livevideowidget.h"

#include "core_audio/devaudiothread.h"
#include "core_live/videothrmux/devlivethrsetmanager.h"
#include "core_video/deviceinterface.h"
#include "core_videobase/abstractvideothread.h"
#include "core_videobase/threaddisplay.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QDateTime>
#include <QLoggingCategory>
#include <QPointer>
#include <QTimer>

#include <utility>

namespace {
Q_LOGGING_CATEGORY(lcLive, "vantor.live.widget")

constexpr int maskBits = 32;
constexpr int allStreams = -1;

} // namespace

LiveVideoWidget::LiveVideoWidget(XTransportProtocol transport, QWidget* parent)
    : AbstractVideoWidget(parent)
    , protocol(transport)
{
}

LiveVideoWidget::~LiveVideoWidget()
{
    giveBack();
    // Lets go a thread that waits for a call to this widget.
    QCoreApplication::removePostedEvents(this, QEvent::MetaCall);
}

bool LiveVideoWidget::init(const QSharedPointer<XNetDevice>& newDevice, int newChannel, int newMask)
{
    if (!newDevice || newMask == 0) {
        qCCritical(lcLive, "pDev == %p, streamSet == %d", static_cast<void*>(newDevice.data()), newMask);
        return false;
    }
    device = newDevice;
    channel = newChannel;
    if (newMask == allStreams) {
        const int count = qBound(0, device->getStreamCountPerChannel(), maskBits);
        for (int stream = 0; stream < count; ++stream)
            streamMask = int(uint(streamMask) | 1u << stream);
    } else {
        streamMask = newMask;
    }
    initialised = true;
    return true;
}

bool LiveVideoWidget::start()
{
    if (!initialised) {
        qCCritical(lcLive, "is not init");
        return false;
    }
    if (startedFlag)
        return true;
    initWidgetHandle();
    if (!initVideoThrSet(device)) {
        qCCritical(lcLive, "init video thread set fail");
        return false;
    }
    channelThreads = threadSet->getChannelThreads();
    if (channelThreads.isEmpty()) {
        qCCritical(lcLive).noquote() << "获取视频解码线程为 0";
        releaseVideoThrSet(device);
        threadSet.reset();
        return false;
    }
    const int streamCount = device->getStreamCount();
    if (channelThreads.size() != streamCount)
        qCCritical(lcLive, "channelThreads.size[%d] != streamCount[%d]", channelThreads.size(), streamCount);
    startedChannel = channel;
    streamsPerChannel = device->getStreamCountPerChannel();
    qCDebug(lcLive, "channel %d of %d, %d streams", channel, device->getChannelCount(), streamsPerChannel);
    streamRecords = QVector<StreamRecord>(channelThreads.size());
    startedFlag = true;
    startAudioThread();
    return openStreams();
}

bool LiveVideoWidget::isSelected(int stream) const { return stream < maskBits && (uint(streamMask) >> stream & 1u); }

bool LiveVideoWidget::openStreams()
{
    const QPointer<LiveVideoWidget> self(this);
    const PtrDevLiveThrSet set = threadSet;
    const int count = streamsPerChannel;
    for (int stream = 0; stream < count; ++stream) {
        if (isSelected(stream))
            openStream(stream);
        // The host may have stopped or deleted the widget in sig_receivePlayStart().
        if (!self)
            return false;
        if (threadSet != set)
            return startedFlag;
    }
    return true;
}

void LiveVideoWidget::openStream(int stream)
{
    const int index = stream2Index(stream);
    const Thread thread = channelThreads.value(index);
    if (!thread)
        return;
    streamRecords[index].inUse = true;
    connectBaseSignalSlots(index);
    thread->isOwned() = true;
    thread->setVideoMode(widgetPara.videoMode);
    thread->setHardware(videoPara.hardware);
    if (thread->isRunning())
        joinStream(thread.data());
    else
        startStream(thread.data(), stream);
}

void LiveVideoWidget::startStream(AbstractVideoThread* thread, int stream)
{
    if (auto* user = dynamic_cast<DeviceInterface*>(thread))
        user->setStreamChannel(startedChannel, stream);
    thread->setConnectTimeout(videoPara.connectTimeout);
    thread->setReadTimeout(videoPara.readTimeout);
    thread->play();
}

/// Another widget started it; whether it is open by now is what this one missed.
void LiveVideoWidget::joinStream(AbstractVideoThread* thread)
{
    if (!thread->getIsOk())
        return;
    QMetaObject::invokeMethod(thread, "receiveSizeChanged");
    QMetaObject::invokeMethod(thread, "receiveDuration", Q_ARG(qint64, thread->getDuration()));
    handleThrStarted(thread);
    joinedThread = thread;
    QMetaObject::invokeMethod(this, "receivePlayStart", Q_ARG(int, 0)); // last: the host may delete this widget
}

bool LiveVideoWidget::initVideoThrSet(const QSharedPointer<XNetDevice>& owner)
{
    DevLiveThrSetManager* manager = DevLiveThrSetManager::Instance();
    threadSet = manager->getVideoThreadSet(owner);
    if (!threadSet)
        threadSet = manager->newVideoThreadSet(owner, protocol);
    return !threadSet.isNull();
}

bool LiveVideoWidget::isSetRegistered() const
{
    const QSharedPointer<XNetDevice> owner = threadSet ? threadSet->getDevPtr() : nullptr;
    return owner && DevLiveThrSetManager::Instance()->getVideoThreadSet(owner) == threadSet;
}

void LiveVideoWidget::releaseVideoThrSet(const QSharedPointer<XNetDevice>& owner)
{
    // A set that was released before may have been followed by another one, which is not this widget's to release.
    if (threadSet->referenceCount() <= 0 && isSetRegistered())
        DevLiveThrSetManager::Instance()->releaseVideoThreadSet(owner);
}

void LiveVideoWidget::stop(bool clearPicture)
{
    if (!startedFlag)
        return;
    const QPointer<LiveVideoWidget> self(this);
    const QVector<Thread> returned = giveBack();
    setRecorderState(RecorderIdle, QString());
    setDigitalZoom(false);
    if (clearPicture)
        clear();
    stopAudioThread();
    for (const Thread& thread : returned) {
        returnedThread = thread.data();
        QMetaObject::invokeMethod(this, "receivePlayFinsh", Qt::DirectConnection, Q_ARG(QObject*, thread.data()));
        if (!self || startedFlag) // the host has deleted it or started it again
            return;
    }
}

/// Lets go of the set, and answers with the threads that this widget had in use. Nothing of them reaches it any more.
QVector<LiveVideoWidget::Thread> LiveVideoWidget::giveBack()
{
    startedFlag = false;
    clearRenderers();
    QVector<Thread> returned;
    for (int index = 0; index < channelThreads.size(); ++index) {
        if (streamRecords.at(index).isShown)
            hideStream(index);
        if (!streamRecords.at(index).inUse)
            continue;
        const Thread thread = channelThreads.at(index);
        disconnectBaseSignalSlots(index);
        thread->isOwned() = false;
        if (thread->referenceCount() < 1)
            handleThrFinished(thread.data());
        returned.append(thread);
    }
    videoThread = nullptr;
    isRunning = false;
    if (threadSet)
        releaseVideoThrSet(threadSet->getDevPtr());
    threadSet.reset();
    channelThreads.clear();
    streamRecords.clear();
    return returned;
}

void LiveVideoWidget::playStart(int stream)
{
    if (!startedFlag) {
        qCCritical(lcLive, "is not start");
        return;
    }
    if (!rejoinSet() || stream < 0 || stream >= streamsPerChannel)
        return;
    const int index = stream2Index(stream);
    if (!channelThreads.value(index))
        return;
    if (videoThread && videoThread != channelThreads.at(index))
        playStop(false);
    showStream(index);
}

/// A set is torn down when nobody shows or records anything of it, also under a widget that only started. Whether the
/// widget is started on a living set.
bool LiveVideoWidget::rejoinSet()
{
    if (isSetRegistered())
        return true;
    const QPointer<LiveVideoWidget> self(this);
    stop(false);
    return self && start();
}

void LiveVideoWidget::showStream(int index)
{
    StreamRecord& record = streamRecords[index];
    if (!record.inUse) { // opened by others alone; the end of its planes is this widget's business all the same
        record.inUse = true;
        connectBaseSignalSlots(index);
    }
    videoThread = threadAt(index);
    isRunning = videoThread->isRunning();
    if (!record.isShown) {
        connectStreamSignalSlots(index);
        ++videoThread->previewRef();
        record.isShown = true;
        resizeEvent(nullptr);
    }
    if (videoThread->getIsOk() && !isPictureStarted)
        startPicture(0);
    if (videoThread->hasOpenFile())
        setRecorderState(RecorderRecording, videoThread->getFileName(AbstractVideoThread::MANUAL_RECORD));
    const AbstractVideoThread::AudioFormat sound = videoThread->getAudioFormat();
    if (sound.sampleRate > 0 && !getViewOnly())
        AbstractVideoWidget::openAudioOutput(sound.sampleRate, sound.channelCount, sound.sampleSize);
}

/// The renderers give up the planes of a thread that goes on without this widget.
void LiveVideoWidget::hideStream(int index)
{
    AbstractVideoThread* thread = threadAt(index);
    disconnectStreamSignalSlots(index);
    ThreadDisplay::countOut(thread);
    streamRecords[index].isShown = false;
    clearRenderers();
}

void LiveVideoWidget::playStop(bool clearPicture)
{
    const int index = indexOf(videoThread);
    if (index >= 0) {
        videoThread = nullptr;
        isRunning = false;
        if (streamRecords.at(index).isShown)
            hideStream(index);
        setRecorderState(RecorderIdle, QString());
    }
    setDigitalZoom(false);
    if (clearPicture)
        clear();
}

void LiveVideoWidget::replay(int stream)
{
    const QPointer<LiveVideoWidget> self(this);
    playStop(false);
    playStart(stream);
    if (self)
        AbstractVideoWidget::receiveSizeChanged();
}

void LiveVideoWidget::snap(QString path, bool preview)
{
    if (!videoThread)
        return;
    const QDateTime now = QDateTime::currentDateTime();
    videoThread->setSnapPreview(preview);
    videoThread->snap(QString("%1/%2/live/%3_%4.jpg")
                          .arg(path, now.toString("yyyy-MM-dd"), now.toString("yyyyMMddTHHmmss"))
                          .arg(startedChannel));
}

void LiveVideoWidget::talkStart()
{
    if (!audioPlayer || getViewOnly())
        return;
    showTalk(true);
    QMetaObject::invokeMethod(audioPlayer.data(), "startTalk", Qt::QueuedConnection);
}

void LiveVideoWidget::talkStop()
{
    if (!audioPlayer || getViewOnly())
        return;
    showTalk(false);
    QMetaObject::invokeMethod(audioPlayer.data(), "stopTalk", Qt::QueuedConnection);
}

bool LiveVideoWidget::isOpenStreamTimeout() const { return videoThread && videoThread->isOpenTimeout(); }

bool LiveVideoWidget::isReadStreamTimeout() const { return videoThread && videoThread->isReadTimeout(); }

bool LiveVideoWidget::isStreamExceedMax() const
{
    const auto* user = dynamic_cast<const DeviceInterface*>(videoThread);
    return user && user->isStreamExceedMax();
}

void LiveVideoWidget::started() { handleThrStarted(sender()); }

void LiveVideoWidget::finished()
{
    const int index = indexOf(sender());
    if (index < 0)
        return;
    const Thread thread = channelThreads.at(index);
    handleThrFinished(thread.data());
    // Too many read errors ended it, which is no reason to show nothing for good.
    if (thread->getReadTimeout() > 0)
        QTimer::singleShot(thread->getOpenSleepTime(), this,
                           [this, weak = thread.toWeakRef()] { startAgain(weak.lock()); });
}

void LiveVideoWidget::startAgain(const Thread& thread)
{
    const int index = indexOf(thread.data());
    if (index >= 0 && streamRecords.at(index).inUse && !thread->isRunning() && isSetRegistered())
        thread->play();
}

void LiveVideoWidget::handleThrStarted(void* thread)
{
    if (thread && thread == static_cast<QObject*>(videoThread))
        isRunning = true;
}

void LiveVideoWidget::handleThrFinished(void* thread)
{
    if (thread && thread == static_cast<QObject*>(videoThread))
        isRunning = false;
}

void LiveVideoWidget::receivePlayStart(int time)
{
    const QObject* from = joinedThread ? std::exchange(joinedThread, nullptr) : sender();
    const bool isBorrowed = indexOf(from) >= 0;
    if (isInQueuedCall() && !isBorrowed) // given back while the call was on its way
        return;
    const bool isOther = isBorrowed && videoThread && from != videoThread;
    if (!isOther) {
        isRunning = videoThread != nullptr;
        startPicture(time);
    }
    Q_EMIT sig_receivePlayStart(time); // last: the host may delete this widget
}

void LiveVideoWidget::startPicture(int time)
{
    isPictureStarted = true;
    AbstractVideoWidget::receivePlayStart(time);
}

void LiveVideoWidget::receivePlayFinsh(QObject* finishedThread)
{
    const bool isReturned = finishedThread && finishedThread == std::exchange(returnedThread, nullptr);
    if (finishedThread && !isReturned && indexOf(finishedThread) < 0) // given back while the call was on its way
        return;
    if (finishedThread && videoThread && finishedThread != videoThread) { // a stream that is not shown
        Q_EMIT sig_receivePlayFinsh();
        return;
    }
    isRunning = false;
    isPictureStarted = false;
    clearRenderers();
    AbstractVideoWidget::receivePlayFinsh(finishedThread); // last: the host may delete this widget
}

void LiveVideoWidget::onDecoderDestroyed()
{
    // The decoder of a stream that is not shown goes without taking the picture of another along.
    if (sender() == videoThread)
        AbstractVideoWidget::onDecoderDestroyed();
}

void LiveVideoWidget::openAudioOutput(int sampleRate, int channelCount, int sampleSize)
{
    if (sender() == videoThread) // another one's counts when it is shown
        AbstractVideoWidget::openAudioOutput(sampleRate, channelCount, sampleSize);
}

void LiveVideoWidget::playAudio(QByteArray samples)
{
    if (sender() == videoThread) // one stream's sound at a time
        AbstractVideoWidget::playAudio(samples);
}

void LiveVideoWidget::followRecorder(RecorderState state, const QString& file)
{
    if (videoThread && sender() == videoThread)
        setRecorderState(state, file);
}

void LiveVideoWidget::closeEvent(QCloseEvent* event)
{
    const QPointer<LiveVideoWidget> self(this);
    stop();
    if (self)
        AbstractVideoWidget::closeEvent(event);
}

void LiveVideoWidget::startAudioThread()
{
    if (getViewOnly() || audioPlayer)
        return;
    auto* audioThread = new DevAudioThread;
    audioThread->setDevice(device);
    takeAudioThread(audioThread);
    showTalk(false);
}

void LiveVideoWidget::stopAudioThread()
{
    AbstractVideoWidget::stopAudioThread();
    showTalk(false);
}

void LiveVideoWidget::connectBaseSignalSlots(int index)
{
    AbstractVideoThread* thread = threadAt(index);
    if (!thread)
        return;
    ThreadDisplay::connectPlaying(thread, this);
    ThreadDisplay::connectReports(thread, this);
    if (!getViewOnly())
        ThreadDisplay::connectSound(thread, this);
}

void LiveVideoWidget::disconnectBaseSignalSlots(int index)
{
    AbstractVideoThread* thread = threadAt(index);
    if (!thread)
        return;
    ThreadDisplay::disconnectPlaying(thread, this);
    ThreadDisplay::disconnectReports(thread, this);
    ThreadDisplay::disconnectSound(thread, this);
}

void LiveVideoWidget::connectStreamSignalSlots(int index)
{
    AbstractVideoThread* thread = threadAt(index);
    if (!thread)
        return;
    ThreadDisplay::connectPictures(thread, this);
    connect(thread, &AbstractVideoThread::recorderStateChanged, this, &LiveVideoWidget::followRecorder,
            Qt::UniqueConnection);
}

void LiveVideoWidget::disconnectStreamSignalSlots(int index)
{
    AbstractVideoThread* thread = threadAt(index);
    if (!thread)
        return;
    ThreadDisplay::disconnectPictures(thread, this);
    disconnect(thread, &AbstractVideoThread::recorderStateChanged, this, &LiveVideoWidget::followRecorder);
}

AbstractVideoThread* LiveVideoWidget::threadAt(int index) const
{
    if (index < 0 || index >= channelThreads.size()) {
        qCCritical(lcLive, "index=%d, size=%d", index, channelThreads.size());
        return nullptr;
    }
    AbstractVideoThread* thread = channelThreads.at(index).data();
    if (!thread)
        qCCritical(lcLive, "index:%d is nullptr", index);
    return thread;
}

int LiveVideoWidget::indexOf(const QObject* thread) const
{
    for (int index = 0; thread && index < channelThreads.size(); ++index) {
        if (channelThreads.at(index) == thread)
            return index;
    }
    return -1;
}

int LiveVideoWidget::stream2Index(int stream) const { return streamsPerChannel * startedChannel + stream; }
