#include "core_live/videothrmux/devlivethrsetmanager.h"

#include "core_videobase/abstractvideothread.h"
#include "livebench.h"
#include "support/messageguard.h"
#include "support/resourcecount.h"
#include "support/waiting.h"

#include <QElapsedTimer>
#include <QPointer>
#include <QRandomGenerator>
#include <QTest>
#include <QTimer>

#include <atomic>
#include <future>
#include <memory>
#include <thread>
#include <vector>

namespace {

constexpr unsigned long limitMs = 10000;

DevLiveThrSetManager& manager() { return *DevLiveThrSetManager::Instance(); }

/// A device whose first stream stays inside a read until it is let go.
class StalledDevice
{
public:
    StalledDevice()
        : device(LiveBench::makeDevice())
    {
        device->script(0, 0).addAction([this] {
            entered.set_value();
            letGo.get_future().wait();
        });
    }
    ~StalledDevice() { go(); }

    void waitUntilInside() { entered.get_future().wait(); }

    void go()
    {
        if (!std::exchange(isGone, true))
            letGo.set_value();
    }

    const QSharedPointer<FakeDevice> device;

private:
    std::promise<void> entered;
    std::promise<void> letGo;
    bool isGone = false;
};

} // namespace

class TestDevLiveThrSetManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { messages = std::make_unique<MessageGuard>(); }

    void cleanup()
    {
        if (!isLeftRunning)
            manager().stop();
        VERIFY_NO_UNEXPECTED_MESSAGES(*messages);
    }

    // --- Before the first start

    void instance_isOne_forAllThreads()
    {
        DevLiveThrSetManager* first = nullptr;
        std::thread([&] { first = DevLiveThrSetManager::Instance(); }).join();
        QVERIFY(first);
        QCOMPARE(DevLiveThrSetManager::Instance(), first);
        QVERIFY(!first->parent());
        QVERIFY(!first->isRunning());
        QCOMPARE(first->thread(), QCoreApplication::instance()->thread());
    }

    void stop_doesNothing_whenNeverStarted()
    {
        manager().stop();
        QVERIFY(!manager().isRunning());
    }

    void release_endsTheThreads_withoutAWorker()
    {
        const auto device = LiveBench::makeDevice();
        PtrDevLiveThrSet set = manager().newVideoThreadSet(device, XTransportProtocol_Rta);
        const auto thread = set->getChannelThreads().first();
        LiveBench::startThread(thread, 0, 0);
        QVERIFY(LiveBench::waitUntilOpen(thread));
        manager().releaseVideoThreadSet(device);
        QVERIFY(!manager().getVideoThreadSet(device));
        QVERIFY(thread->isRunning()); // queued
        QTRY_VERIFY(!thread->isRunning());
        QTRY_VERIFY(!set->getDevPtr());
        QVERIFY(set->getChannelThreads().isEmpty());
    }

    /// The GUI thread is in a call of a thread that it is to release, and serves events there.
    void release_waitsForNobody_withoutAWorker()
    {
        const auto device = LiveBench::makeDevice();
        PtrDevLiveThrSet set = manager().newVideoThreadSet(device, XTransportProtocol_Rta);
        const auto thread = set->getChannelThreads().first();
        bool servedInside = false;
        connect(thread.data(), &AbstractVideoThread::receivePlayStart, this, [&] {
            manager().releaseVideoThreadSet(device);
            QTest::qWait(100);
            servedInside = thread->isRunning(); // it waits for this very call
        }, Qt::BlockingQueuedConnection);
        LiveBench::startThread(thread, 0, 0);
        QTRY_VERIFY(servedInside);
        QTRY_VERIFY(!thread->isRunning());
        QTRY_VERIFY(!set->getDevPtr());
    }

    void stop_tearsDown_whatWasMadeWithoutAWorker()
    {
        const auto device = LiveBench::makeDevice();
        const QPointer<AbstractVideoThread> thread
            = manager().newVideoThreadSet(device, XTransportProtocol_Rta)->getChannelThreads().first().data();
        LiveBench::startThread(manager().getVideoThreadSet(device)->getChannelThreads().first(), 0, 0);
        QTRY_VERIFY(thread->getIsOk());
        manager().stop();
        QVERIFY(!thread);
        QVERIFY(!manager().getVideoThreadSet(device));
    }

    void set_madeWithoutAWorker_isReleasedByTheWorker()
    {
        const auto device = LiveBench::makeDevice();
        const PtrDevLiveThrSet set = manager().newVideoThreadSet(device, XTransportProtocol_Rta);
        QVERIFY(manager().start());
        QCOMPARE(manager().getVideoThreadSet(device), set);
        const auto thread = set->getChannelThreads().first();
        LiveBench::startThread(thread, 0, 0);
        QVERIFY(LiveBench::waitUntilOpen(thread));
        manager().releaseVideoThreadSet(device);
        QVERIFY(thread->wait(limitMs)); // no events are served here
    }

    // --- Finding and making

    void start_runsTheWorker_andTheManagerInIt()
    {
        QVERIFY(manager().start());
        QVERIFY(manager().isRunning());
        QVERIFY(manager().start());
        QVERIFY(manager().thread() != QCoreApplication::instance()->thread());
        manager().stop();
        QVERIFY(!manager().isRunning());
    }

    void null_isNoDevice()
    {
        messages->allow("no device");
        QVERIFY(!manager().getVideoThreadSet(nullptr));
        QCOMPARE(messages->texts(QtCriticalMsg).size(), 1);
        QVERIFY(!manager().newVideoThreadSet(nullptr, XTransportProtocol_Rta));
        QCOMPARE(messages->texts(QtCriticalMsg).size(), 2);
        manager().releaseVideoThreadSet(nullptr);
        QCOMPARE(messages->texts(QtCriticalMsg).size(), 2);
    }

    void set_isFoundByItsDevice()
    {
        QVERIFY(manager().start());
        const auto device = LiveBench::makeDevice();
        const auto other = LiveBench::makeDevice(XTransportProtocol_Mbe);
        QVERIFY(!manager().getVideoThreadSet(device));
        const PtrDevLiveThrSet set = manager().newVideoThreadSet(device, XTransportProtocol_Rta);
        QVERIFY(set);
        QCOMPARE(manager().getVideoThreadSet(device), set);
        QCOMPARE(manager().getVideoThreadSet(device)->getChannelThreads(), set->getChannelThreads());
        QVERIFY(!manager().getVideoThreadSet(other));
        const PtrDevLiveThrSet otherSet = manager().newVideoThreadSet(other, XTransportProtocol_Mbe);
        QVERIFY(otherSet != set);
        QCOMPARE(manager().getVideoThreadSet(device), set);
    }

    void set_isNotMade_whenTheProtocolIsNotTheDevices()
    {
        messages->allow("protocol");
        QVERIFY(manager().start());
        const auto device = LiveBench::makeDevice(XTransportProtocol_Rta);
        QVERIFY(!manager().newVideoThreadSet(device, XTransportProtocol_Mbe));
        QVERIFY(!manager().getVideoThreadSet(device));
        QCOMPARE(messages->texts(QtCriticalMsg).size(), 1);
    }

    void set_isReplaced_byAnotherOfTheDevice()
    {
        QVERIFY(manager().start());
        const auto device = LiveBench::makeDevice();
        PtrDevLiveThrSet first = manager().newVideoThreadSet(device, XTransportProtocol_Rta);
        const QPointer<AbstractVideoThread> thread = first->getChannelThreads().first().data();
        LiveBench::startThread(first->getChannelThreads().first(), 0, 0);
        QTRY_VERIFY(thread->getIsOk());
        const PtrDevLiveThrSet second = manager().newVideoThreadSet(device, XTransportProtocol_Rta);
        QVERIFY(second != first);
        QCOMPARE(manager().getVideoThreadSet(device), second);
        first.reset();
        QVERIFY(thread->isRunning());
        manager().stop(); // knows the first one, too
        QVERIFY(!thread);
    }

    // --- Releasing

    void release_doesNothing_whenThereIsNoSet()
    {
        QVERIFY(manager().start());
        manager().releaseVideoThreadSet(LiveBench::makeDevice());
    }

    void set_isGoneAtOnce_whileItsThreadsStillRun()
    {
        QVERIFY(manager().start());
        StalledDevice stalled;
        PtrDevLiveThrSet first = manager().newVideoThreadSet(stalled.device, XTransportProtocol_Rta);
        const auto thread = first->getChannelThreads().first();
        LiveBench::startThread(thread, 0, 0);
        stalled.waitUntilInside();

        manager().releaseVideoThreadSet(stalled.device);
        QVERIFY(!manager().getVideoThreadSet(stalled.device));
        const PtrDevLiveThrSet second = manager().newVideoThreadSet(stalled.device, XTransportProtocol_Rta);
        QVERIFY(second);
        QCOMPARE(manager().getVideoThreadSet(stalled.device), second);
        QVERIFY(second->getChannelThreads().first() != thread);
        QVERIFY(thread->isRunning());
        QVERIFY(first->getDevPtr());

        LiveBench::startThread(second->getChannelThreads().at(1), 0, 1);
        QVERIFY(LiveBench::waitUntilOpen(second->getChannelThreads().at(1)));
        stalled.go();
        QVERIFY(thread->wait(limitMs));
        QTRY_VERIFY(!first->getDevPtr());
        QVERIFY(first->getChannelThreads().isEmpty());
        QVERIFY(second->getChannelThreads().at(1)->isRunning());
    }

    void release_endsTheThreads_onTheWorker()
    {
        QVERIFY(manager().start());
        auto device = LiveBench::makeDevice(XTransportProtocol_Mbe);
        const QWeakPointer<FakeDevice> weakDevice = device;
        PtrDevLiveThrSet set = manager().newVideoThreadSet(device, XTransportProtocol_Mbe);
        const QPointer<AbstractVideoThread> thread = set->getChannelThreads().first().data();
        LiveBench::startThread(set->getChannelThreads().first(), 0, 0);
        QTRY_VERIFY(thread->getIsOk());
        manager().releaseVideoThreadSet(device);
        QElapsedTimer time;
        time.start();
        while (set->getDevPtr() && time.elapsed() < int(limitMs)) // no events are served here
            QThread::msleep(1);
        QVERIFY(!set->getDevPtr());
        set.reset();
        device.reset();
        QTRY_VERIFY(!thread);
        QTRY_VERIFY(!weakDevice);
    }

    // --- Stopping

    void stop_endsEverything_beforeItReturns()
    {
        QVERIFY(manager().start());
        auto first = LiveBench::makeDevice(XTransportProtocol_Rta);
        auto second = LiveBench::makeDevice(XTransportProtocol_Mbe);
        const QWeakPointer<FakeDevice> weakDevice = second;
        QVector<QPointer<AbstractVideoThread>> threads;
        for (const QSharedPointer<FakeDevice>& device : {first, second}) {
            const PtrDevLiveThrSet set = manager().newVideoThreadSet(device, device->getStreamProtocol());
            for (int stream = 0; stream < 2; ++stream) {
                const auto thread = set->getChannelThreads().at(stream);
                LiveBench::startThread(thread, 0, stream);
                QVERIFY(LiveBench::waitUntilOpen(thread));
                threads.append(thread.data());
            }
        }
        second.reset();
        manager().releaseVideoThreadSet(first); // may be on its way still
        manager().stop();
        for (const auto& thread : threads)
            QVERIFY(!thread);
        QVERIFY(!weakDevice);
        QVERIFY(!manager().isRunning());
        QVERIFY(!manager().getVideoThreadSet(first));
    }

    void stop_servesThreads_thatWaitForTheGuiThread()
    {
        QVERIFY(manager().start());
        const auto device = LiveBench::makeDevice();
        device->script(0, 0).setPace(FrameScript::Pace::AsRead);
        auto thread = manager().newVideoThreadSet(device, XTransportProtocol_Rta)->getChannelThreads().first();
        int frames = 0;
        connect(thread.data(),
                QOverload<int, int, quint8*, quint8*, quint8*, quint32, quint32, quint32>::of(
                    &AbstractVideoThread::receiveFrame),
                this, [&] { ++frames; }, Qt::BlockingQueuedConnection);
        int ends = 0;
        connect(thread.data(), &AbstractVideoThread::receivePlayFinsh, this, [&] { ++ends; },
                Qt::BlockingQueuedConnection);
        thread->setVideoMode(VideoMode_Opengl);
        ++thread->previewRef();
        LiveBench::startThread(thread, 0, 0);
        QTRY_VERIFY(frames > 3);
        manager().stop();
        QVERIFY(!thread->isRunning());
        QCOMPARE(ends, 1);
    }

    void stop_mayBeCalledAgain_inACallThatItServes()
    {
        QVERIFY(manager().start());
        const auto device = LiveBench::makeDevice();
        auto thread = manager().newVideoThreadSet(device, XTransportProtocol_Rta)->getChannelThreads().first();
        int ends = 0;
        connect(thread.data(), &AbstractVideoThread::receivePlayFinsh, this, [&] {
            ++ends;
            manager().stop();
            QVERIFY(!manager().start());
        }, Qt::BlockingQueuedConnection);
        LiveBench::startThread(thread, 0, 0);
        QVERIFY(LiveBench::waitUntilOpen(thread));
        manager().stop();
        QCOMPARE(ends, 1);
        QVERIFY(!thread->isRunning());
    }

    void manager_startsAgain_afterAStop()
    {
        const ResourceCount before = ResourceCount::now();
        for (int round = 0; round < 5; ++round) {
            QVERIFY(manager().start());
            const auto device = LiveBench::makeDevice();
            PtrDevLiveThrSet set = manager().newVideoThreadSet(device, XTransportProtocol_Rta);
            const auto thread = set->getChannelThreads().first();
            LiveBench::startThread(thread, 0, 0);
            QVERIFY(LiveBench::waitUntilOpen(thread));
            manager().releaseVideoThreadSet(device);
            QVERIFY(thread->wait(limitMs));
            QVERIFY(manager().newVideoThreadSet(device, XTransportProtocol_Rta));
            manager().stop();
            QVERIFY(!manager().isRunning());
        }
        QVERIFY(ResourceCount::waitUntilNotAbove(before));
    }

    void anyThread_mayFindMakeAndRelease()
    {
        QVERIFY(manager().start());
        QVector<QSharedPointer<FakeDevice>> devices;
        for (int i = 0; i < 3; ++i)
            devices.append(LiveBench::makeDevice());
        std::atomic<int> made{0};
        std::atomic<int> deleted{0};
        std::vector<std::thread> callers;
        for (uint seed = 1; seed <= 4; ++seed) {
            callers.emplace_back([&devices, &made, &deleted, seed] {
                QRandomGenerator random(seed);
                for (int i = 0; i < 100; ++i) {
                    const auto& device = devices.at(random.bounded(devices.size()));
                    PtrDevLiveThrSet set = manager().getVideoThreadSet(device);
                    if (!set) {
                        set = manager().newVideoThreadSet(device, XTransportProtocol_Rta);
                        ++made;
                        const auto thread = set->getChannelThreads().first();
                        connect(thread.data(), &QObject::destroyed, [&deleted] { ++deleted; });
                    }
                    set->referenceCount();
                    set->isOwned();
                    if (random.bounded(3) == 0)
                        manager().releaseVideoThreadSet(device);
                }
            });
        }
        for (std::thread& caller : callers)
            caller.join();
        manager().stop();
        for (const auto& device : qAsConst(devices))
            QVERIFY(!manager().getVideoThreadSet(device));
        // The threads that the objects lived in are gone, and yet nothing is left of them.
        QVERIFY(made > 0);
        QCOMPARE(deleted.load(), made.load());
    }

    /// The last one: nobody stops the manager, as in a host that forgets to.
    void processEnds_inOrder_whileAThreadRuns()
    {
        QVERIFY(manager().start());
        const auto device = LiveBench::makeDevice();
        const auto thread = manager().newVideoThreadSet(device, XTransportProtocol_Rta)->getChannelThreads().first();
        LiveBench::startThread(thread, 0, 0);
        QVERIFY(LiveBench::waitUntilOpen(thread));
        isLeftRunning = true;
    }

private:
    bool isLeftRunning = false;
    std::unique_ptr<MessageGuard> messages;
};

QTEST_GUILESS_MAIN(TestDevLiveThrSetManager)
#include "tst_devlivethrsetmanager.moc"
