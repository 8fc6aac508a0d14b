#include "core_live/videothrmux/devlivethrsetmanager.h"

#include "core_live/videothrmux/sharedthreads.h"
#include "core_videobase/abstractvideowidget.h"

#include <QCoreApplication>
#include <QEvent>
#include <QLoggingCategory>
#include <QMutexLocker>
#include <QTimer>

#include <utility>

namespace {
Q_LOGGING_CATEGORY(lcManager, "vantor.live.manager")

constexpr unsigned long waitStepMs = 5;
constexpr int pollMs = 20;

QThread* guiThread()
{
    const QCoreApplication* application = QCoreApplication::instance();
    return application ? application->thread() : nullptr;
}

/// Possibly, and waiting for the call to return.
bool isCalledByVideoThread()
{
    return QThread::currentThread() == guiThread() && AbstractVideoWidget::isAnyInQueuedCall();
}

} // namespace

QScopedPointer<DevLiveThrSetManager> DevLiveThrSetManager::self;

DevLiveThrSetManager* DevLiveThrSetManager::Instance()
{
    static QMutex instanceMutex;
    const QMutexLocker lock(&instanceMutex);
    if (!self)
        self.reset(new DevLiveThrSetManager);
    return self.data();
}

DevLiveThrSetManager::DevLiveThrSetManager()
{
    // Whoever asks first: where the worker does not run, releases are served by the GUI thread.
    if (guiThread())
        moveToThread(guiThread());
    idleThread = thread();
}

DevLiveThrSetManager::~DevLiveThrSetManager() { stop(); }

bool DevLiveThrSetManager::start()
{
    if (stopPutOff)
        stop();
    if (stopping)
        return false;
    if (worker.isRunning())
        return true;
    Q_ASSERT(QThread::currentThread() == idleThread);
    stopWithApplication();
    moveToThread(&worker);
    connect(&worker, &QThread::finished, this, &DevLiveThrSetManager::slot_quitAllVideoThreadSets,
            Qt::ConnectionType(Qt::DirectConnection | Qt::UniqueConnection));
    worker.start(QThread::InheritPriority);
    return worker.isRunning();
}

void DevLiveThrSetManager::stop()
{
    if (stopping.exchange(true) && !stopPutOff.exchange(false)) // again, in a call that is served below
        return;
    worker.quit();
    if (isCalledByVideoThread())
        putOffStop();
    else
        finishStop();
}

/// A thread that waits for this call to return can't be waited for in it.
void DevLiveThrSetManager::putOffStop()
{
    stopPutOff = true;
    QTimer::singleShot(pollMs, QCoreApplication::instance(), [this] {
        if (stopPutOff)
            stop();
    });
}

void DevLiveThrSetManager::finishStop()
{
    const bool servesCalls = QThread::currentThread() == guiThread();
    while (!worker.wait(waitStepMs)) {
        if (servesCalls)
            QCoreApplication::sendPostedEvents(nullptr, QEvent::MetaCall);
    }
    slot_quitAllVideoThreadSets(); // those that were made without a worker
    SharedThreads::deletePending();
    stopping = false;
}

bool DevLiveThrSetManager::isRunning() const { return worker.isRunning(); }

/// A host that forgets Vantor::release() would leave threads that wait for a GUI thread which has gone.
void DevLiveThrSetManager::stopWithApplication()
{
    static std::atomic<bool> isArranged{false};
    if (isArranged.exchange(true))
        return;
    qAddPostRoutine([] {
        isArranged = false;
        if (self)
            self->stop();
    });
}

PtrDevLiveThrSet DevLiveThrSetManager::getVideoThreadSet(const QSharedPointer<XNetDevice>& device)
{
    if (!device) {
        qCCritical(lcManager, "no device to find live threads of");
        return {};
    }
    const QMutexLocker lock(&mutex);
    return setsByDevice.value(device.data());
}

PtrDevLiveThrSet DevLiveThrSetManager::newVideoThreadSet(const QSharedPointer<XNetDevice>& device,
                                                         XTransportProtocol protocol)
{
    if (!device) {
        qCCritical(lcManager, "no device to make live threads for");
        return {};
    }
    const auto set = PtrDevLiveThrSet::create();
    if (set->bindDevice(device, protocol) != 0)
        return {};
    stopWithApplication();
    const QMutexLocker lock(&mutex);
    setsByDevice.insert(device.data(), set);
    allSets.insert(set.data(), set);
    return set;
}

void DevLiveThrSetManager::releaseVideoThreadSet(const QSharedPointer<XNetDevice>& device)
{
    if (!device)
        return;
    PtrDevLiveThrSet set;
    {
        const QMutexLocker lock(&mutex);
        set = setsByDevice.take(device.data());
    }
    if (set)
        QMetaObject::invokeMethod(this, [this, set] { slot_releaseVThreadSet(set); }, Qt::QueuedConnection);
}

void DevLiveThrSetManager::slot_releaseVThreadSet(QSharedPointer<DevLiveThrSet> set)
{
    if (!set)
        return;
    set->quit();
    if (QThread::currentThread() != &worker && set->isRunning()) {
        // The GUI thread does not wait: it may be in a call that one of these threads waits for.
        QTimer::singleShot(pollMs, this, [this, set] { slot_releaseVThreadSet(set); });
        return;
    }
    set->wait();
    set->unbindDevice();
    const QMutexLocker lock(&mutex);
    allSets.remove(set.data());
}

void DevLiveThrSetManager::slot_quitAllVideoThreadSets()
{
    for (QHash<DevLiveThrSet*, PtrDevLiveThrSet> sets = takeAllSets(); !sets.isEmpty(); sets = takeAllSets()) {
        for (const PtrDevLiveThrSet& set : qAsConst(sets))
            set->quit();
        for (const PtrDevLiveThrSet& set : qAsConst(sets)) {
            set->wait();
            set->unbindDevice();
        }
    }
    if (QThread::currentThread() == &worker)
        moveToThread(idleThread);
}

QHash<DevLiveThrSet*, PtrDevLiveThrSet> DevLiveThrSetManager::takeAllSets()
{
    // Nobody is waited for under the lock: the GUI thread may want it.
    const QMutexLocker lock(&mutex);
    setsByDevice.clear();
    return std::exchange(allSets, {});
}
