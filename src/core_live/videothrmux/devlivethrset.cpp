#include "core_live/videothrmux/devlivethrset.h"

#include "core_live/ffrtsplivethread.h"
#include "core_live/videothrmux/sharedthreads.h"
#include "core_live/xmbelivethread.h"
#include "core_live/xrtalivethread.h"

#include <QLoggingCategory>
#include <QMutexLocker>

#include <algorithm>

namespace {
Q_LOGGING_CATEGORY(lcSet, "vantor.live.set")

using Thread = QSharedPointer<AbstractVideoThread>;

std::unique_ptr<AbstractVideoThread> makeThread(XTransportProtocol protocol)
{
    switch (protocol) {
    case XTransportProtocol_Rta:
        return std::make_unique<XRTALiveThread>();
    case XTransportProtocol_Mbe:
        return std::make_unique<XMBELiveThread>();
    case XTransportProtocol_Rtsp:
        return std::make_unique<FFRtspLiveThread>();
    default:
        return nullptr;
    }
}

/// As many entries as @p count; those behind one that could not be made are null.
QVector<Thread> makeThreads(const QSharedPointer<XNetDevice>& device, XTransportProtocol protocol, int count)
{
    QVector<Thread> threads(qMax(0, count));
    for (Thread& entry : threads) {
        std::unique_ptr<AbstractVideoThread> thread = makeThread(protocol);
        if (!thread)
            break;
        if (auto* user = dynamic_cast<DeviceInterface*>(thread.get()))
            user->bindDevice(device);
        entry = SharedThreads::share(std::move(thread));
    }
    return threads;
}

} // namespace

DevLiveThrSet::DevLiveThrSet() { qRegisterMetaType<PtrDevLiveThrSet>("PtrDevLiveThrSet"); }

DevLiveThrSet::~DevLiveThrSet()
{
    quit();
    wait();
}

int DevLiveThrSet::bindDevice(const QSharedPointer<XNetDevice>& newDevice, XTransportProtocol newProtocol)
{
    if (!newDevice) {
        qCCritical(lcSet, "no device to make live threads for");
        return -1;
    }
    const XTransportProtocol spoken = newDevice->getStreamProtocol();
    if (newProtocol != spoken) {
        qCCritical(lcSet, "the device's streams have the protocol %d, not %d", spoken, newProtocol);
        return -1;
    }
    const QVector<Thread> made = makeThreads(newDevice, newProtocol, newDevice->getStreamCount());
    QVector<Thread> previous; // ended behind the lock
    {
        const QMutexLocker lock(&mutex);
        device = newDevice;
        protocol = newProtocol;
        previous = std::exchange(threads, made);
    }
    if (made.contains(Thread())) {
        qCCritical(lcSet, "there is no live thread for the protocol %d", newProtocol);
        return -1;
    }
    return 0;
}

QVector<QSharedPointer<AbstractVideoThread>> DevLiveThrSet::getChannelThreads() const
{
    const QMutexLocker lock(&mutex);
    return threads;
}

QSharedPointer<XNetDevice> DevLiveThrSet::getDevPtr() const
{
    const QMutexLocker lock(&mutex);
    return device;
}

bool DevLiveThrSet::isOwned() const
{
    const QVector<Thread> all = getChannelThreads();
    return std::any_of(all.cbegin(), all.cend(), [](const Thread& thread) { return thread && thread->isOwned(); });
}

bool DevLiveThrSet::isRunning() const
{
    const QVector<Thread> all = getChannelThreads();
    return std::any_of(all.cbegin(), all.cend(), [](const Thread& thread) { return thread && thread->isRunning(); });
}

int DevLiveThrSet::referenceCount() const
{
    int count = 0;
    for (const Thread& thread : getChannelThreads())
        count += thread ? thread->referenceCount() : 0;
    return count;
}

void DevLiveThrSet::quit()
{
    for (const Thread& thread : getChannelThreads()) {
        if (thread)
            thread->stop();
    }
}

void DevLiveThrSet::wait()
{
    for (const Thread& thread : getChannelThreads()) {
        if (thread)
            thread->stopAndWait();
    }
}

void DevLiveThrSet::unbindDevice()
{
    for (const Thread& thread : getChannelThreads()) {
        if (auto* user = dynamic_cast<DeviceInterface*>(thread.data()))
            user->unbindDevice();
    }
    // What may be the last references go behind the lock.
    QSharedPointer<XNetDevice> lastDevice;
    QVector<Thread> lastThreads;
    const QMutexLocker lock(&mutex);
    lastDevice.swap(device);
    lastThreads.swap(threads);
}
