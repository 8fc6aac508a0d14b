#include "core_live/videothrmux/devlivethrset.h"

#include "core_live/ffrtsplivethread.h"
#include "core_live/xmbelivethread.h"
#include "core_live/xrtalivethread.h"
#include "livebench.h"
#include "support/messageguard.h"
#include "support/waiting.h"

#include <QPointer>
#include <QTest>

#include <future>
#include <memory>
#include <thread>

namespace {

constexpr int allChannels = 8;
constexpr int streamsPerChannel = 2;
constexpr int limitMs = 10000;

/// Takes frames blocking, as a display does.
class Display : public QObject
{
    Q_OBJECT

public:
    explicit Display(AbstractVideoThread* thread)
    {
        connect(thread,
                QOverload<int, int, quint8*, quint8*, quint8*, quint32, quint32, quint32>::of(
                    &AbstractVideoThread::receiveFrame),
                this, [this] { ++frames; }, Qt::BlockingQueuedConnection);
        thread->setVideoMode(VideoMode_Opengl);
        ++thread->previewRef();
    }

    int frames = 0;
};

} // namespace

class TestDevLiveThrSet : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { messages = std::make_unique<MessageGuard>(); }
    void cleanup() { VERIFY_NO_UNEXPECTED_MESSAGES(*messages); }

    void bindDevice_makesAThreadForEachStream_data()
    {
        QTest::addColumn<int>("protocol");
        QTest::addColumn<QByteArray>("className");
        QTest::newRow("first family") << int(XTransportProtocol_Rta) << QByteArray("XRTALiveThread");
        QTest::newRow("second family") << int(XTransportProtocol_Mbe) << QByteArray("XMBELiveThread");
        QTest::newRow("RTSP") << int(XTransportProtocol_Rtsp) << QByteArray("FFRtspLiveThread");
    }

    void bindDevice_makesAThreadForEachStream()
    {
        QFETCH(int, protocol);
        QFETCH(QByteArray, className);
        const auto device
            = QSharedPointer<FakeDevice>::create(XTransportProtocol(protocol), allChannels, streamsPerChannel);
        DevLiveThrSet set;
        QCOMPARE(set.bindDevice(device, XTransportProtocol(protocol)), 0);
        QCOMPARE(set.getDevPtr().data(), device.data());
        const auto threads = set.getChannelThreads();
        QCOMPARE(threads.size(), allChannels * streamsPerChannel);
        for (const auto& thread : threads) {
            QVERIFY(thread);
            QCOMPARE(QByteArray(thread->metaObject()->className()), className);
            QVERIFY(!thread->parent());
            QVERIFY(!thread->isRunning());
            QCOMPARE(thread->thread(), QThread::currentThread());
        }
        QVERIFY(!set.isRunning());
        QVERIFY(!set.isOwned());
        QCOMPARE(set.referenceCount(), 0);
        QVERIFY(device->orders().filter("enableMediaTransmit").isEmpty());
    }

    void bindDevice_isRefused_withoutADevice()
    {
        messages->allow("no device");
        DevLiveThrSet set;
        QCOMPARE(set.bindDevice(nullptr, XTransportProtocol_Rta), -1);
        QVERIFY(!set.getDevPtr());
        QVERIFY(set.getChannelThreads().isEmpty());
        QCOMPARE(messages->texts(QtCriticalMsg).size(), 1);
    }

    void bindDevice_isRefused_whenTheProtocolIsNotTheDevices()
    {
        messages->allow("protocol");
        const auto device = QSharedPointer<FakeDevice>::create(XTransportProtocol_Rta);
        DevLiveThrSet set;
        QCOMPARE(set.bindDevice(device, XTransportProtocol_Mbe), -1);
        QVERIFY(!set.getDevPtr());
        QVERIFY(set.getChannelThreads().isEmpty());
        QCOMPARE(messages->texts(QtCriticalMsg).size(), 1);
    }

    void bindDevice_isRefused_whenTheProtocolHasNoLiveThread()
    {
        messages->allow("protocol");
        constexpr auto unknown = XTransportProtocol(3);
        const auto device = QSharedPointer<FakeDevice>::create(unknown, 2, streamsPerChannel);
        DevLiveThrSet set;
        QCOMPARE(set.bindDevice(device, unknown), -1);
        QCOMPARE(messages->texts(QtCriticalMsg).size(), 1);
        const auto threads = set.getChannelThreads();
        QCOMPARE(threads.size(), 2 * streamsPerChannel);
        for (const auto& thread : threads)
            QVERIFY(!thread);

        // Null entries are nobody's users.
        QVERIFY(!set.isOwned());
        QCOMPARE(set.referenceCount(), 0);
        set.quit();
        set.wait();
        set.unbindDevice();
    }

    void bindDevice_succeeds_whenTheDeviceHasNoStreams()
    {
        const auto device = QSharedPointer<FakeDevice>::create(XTransportProtocol_Rta, 0, streamsPerChannel);
        DevLiveThrSet set;
        QCOMPARE(set.bindDevice(device, XTransportProtocol_Rta), 0);
        QVERIFY(set.getChannelThreads().isEmpty());
    }

    void bindDevice_replacesWhatWasBound()
    {
        const auto first = LiveBench::makeDevice(XTransportProtocol_Rta);
        const auto second = LiveBench::makeDevice(XTransportProtocol_Mbe, 2);
        DevLiveThrSet set;
        QCOMPARE(set.bindDevice(first, XTransportProtocol_Rta), 0);
        LiveBench::startThread(set.getChannelThreads().first(), 0, 0);
        QVERIFY(LiveBench::waitUntilOpen(set.getChannelThreads().first()));
        const QPointer<AbstractVideoThread> old = set.getChannelThreads().first().data();
        QCOMPARE(set.bindDevice(second, XTransportProtocol_Mbe), 0);
        QVERIFY(!old);
        QCOMPARE(set.getDevPtr().data(), second.data());
        QCOMPARE(set.getChannelThreads().size(), 4);
        QVERIFY(qobject_cast<XMBELiveThread*>(set.getChannelThreads().first().data()));
    }

    void threads_areGivenTheDevice()
    {
        const auto device = LiveBench::makeDevice();
        DevLiveThrSet set;
        QCOMPARE(set.bindDevice(device, XTransportProtocol_Rta), 0);
        const auto thread = set.getChannelThreads().at(1);
        LiveBench::startThread(thread, 0, 1);
        QVERIFY(LiveBench::waitUntilOpen(thread));
        QCOMPARE(device->count("enableMediaTransmit 0 1 true"), 1);
    }

    void isOwned_isTrue_whenAThreadIs()
    {
        const auto device = QSharedPointer<FakeDevice>::create();
        DevLiveThrSet set;
        QCOMPARE(set.bindDevice(device, XTransportProtocol_Rta), 0);
        set.getChannelThreads().at(1)->isOwned() = true;
        QVERIFY(set.isOwned());
        set.getChannelThreads().at(1)->isOwned() = false;
        QVERIFY(!set.isOwned());
    }

    void referenceCount_isTheSumOfTheThreads()
    {
        const auto device = QSharedPointer<FakeDevice>::create();
        DevLiveThrSet set;
        QCOMPARE(set.bindDevice(device, XTransportProtocol_Rta), 0);
        const auto threads = set.getChannelThreads();
        threads.at(0)->previewRef() = 3;
        threads.at(1)->recordStart(AbstractVideoThread::MANUAL_RECORD);
        threads.at(1)->recordStart(AbstractVideoThread::AUTO_RECORD);
        QCOMPARE(set.referenceCount(), 5);
        threads.at(1)->recordStop(AbstractVideoThread::AUTO_RECORD);
        threads.at(0)->previewRef() = 1;
        QCOMPARE(set.referenceCount(), 2);
    }

    void quit_endsEveryThread()
    {
        const auto device = LiveBench::makeDevice();
        DevLiveThrSet set;
        QCOMPARE(set.bindDevice(device, XTransportProtocol_Rta), 0);
        const auto threads = set.getChannelThreads();
        for (int stream = 0; stream < threads.size(); ++stream) {
            LiveBench::startThread(threads.at(stream), 0, stream);
            QVERIFY(LiveBench::waitUntilOpen(threads.at(stream)));
        }
        QVERIFY(set.isRunning());
        set.quit();
        QTRY_VERIFY(!set.isRunning());
        QCOMPARE(device->count("enableMediaTransmit 0 0 false"), 2); // before it opened, and now
        QCOMPARE(device->count("enableMediaTransmit 0 1 false"), 2);
    }

    void wait_returns_whileFramesAreDelivered_data()
    {
        QTest::addColumn<bool>("elsewhere");
        QTest::newRow("in the thread that they live in") << false;
        QTest::newRow("in another thread") << true;
    }

    void wait_returns_whileFramesAreDelivered()
    {
        QFETCH(bool, elsewhere);
        const auto device = LiveBench::makeDevice();
        device->script(0, 0).setPace(FrameScript::Pace::AsRead); // as many deliveries as it takes
        DevLiveThrSet set;
        QCOMPARE(set.bindDevice(device, XTransportProtocol_Rta), 0);
        const auto thread = set.getChannelThreads().first();
        Display display(thread.data());
        LiveBench::startThread(thread, 0, 0);
        QVERIFY(Waiting::until([&] { return display.frames > 3; }, limitMs));
        if (elsewhere) {
            auto ended = std::async(std::launch::async, [&] { set.wait(); });
            QVERIFY(Waiting::until(
                [&] { return ended.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }, limitMs));
        } else {
            set.wait();
        }
        QVERIFY(!thread->isRunning());
    }

    void unbindDevice_letsGoOfDeviceAndThreads()
    {
        auto device = LiveBench::makeDevice();
        const QWeakPointer<XNetDevice> weakDevice = device;
        DevLiveThrSet set;
        QCOMPARE(set.bindDevice(device, XTransportProtocol_Rta), 0);
        const auto kept = set.getChannelThreads().at(0);
        const QPointer<AbstractVideoThread> other = set.getChannelThreads().at(1).data();
        device.reset();
        QVERIFY(weakDevice);
        set.unbindDevice();
        QVERIFY(!weakDevice); // also the thread that is kept let it go
        QVERIFY(!set.getDevPtr());
        QVERIFY(set.getChannelThreads().isEmpty());
        QVERIFY(!other);
        QVERIFY(kept);
    }

    void threads_areDeletedWhereTheyLive_whoeverLetsGoLast()
    {
        auto set = PtrDevLiveThrSet::create();
        const auto device = LiveBench::makeDevice();
        QCOMPARE(set->bindDevice(device, XTransportProtocol_Rta), 0);
        QVector<QPointer<AbstractVideoThread>> threads;
        QVector<QThread*> deletedIn;
        for (const auto& thread : set->getChannelThreads()) {
            threads.append(thread.data());
            connect(thread.data(), &QObject::destroyed, thread.data(),
                    [&] { deletedIn.append(QThread::currentThread()); }, Qt::DirectConnection);
        }
        LiveBench::startThread(set->getChannelThreads().first(), 0, 0);
        QVERIFY(LiveBench::waitUntilOpen(set->getChannelThreads().first()));
        std::thread([last = std::move(set)]() mutable { last.reset(); }).join();
        QVERIFY(threads.first());
        QVERIFY(!threads.first()->isRunning());
        QTRY_COMPARE(deletedIn.size(), 2);
        QCOMPARE(deletedIn, QVector<QThread*>(2, QThread::currentThread()));
        QVERIFY(!threads.first());
    }

    void destructor_endsRunningThreads()
    {
        const auto device = LiveBench::makeDevice();
        auto set = PtrDevLiveThrSet::create();
        QCOMPARE(set->bindDevice(device, XTransportProtocol_Rta), 0);
        const QPointer<AbstractVideoThread> thread = set->getChannelThreads().first().data();
        LiveBench::startThread(set->getChannelThreads().first(), 0, 0);
        QVERIFY(LiveBench::waitUntilOpen(set->getChannelThreads().first()));
        set.reset();
        QVERIFY(!thread);
        QCOMPARE(device->count("enableMediaTransmit 0 0 false"), 2);
    }

    void set_travelsInQueuedCalls_byItsName()
    {
        const DevLiveThrSet set;
        QVERIFY(QMetaType::type("PtrDevLiveThrSet") != QMetaType::UnknownType);
        QCOMPARE(QMetaType::type("PtrDevLiveThrSet"), qMetaTypeId<PtrDevLiveThrSet>());
    }

private:
    std::unique_ptr<MessageGuard> messages;
};

QTEST_GUILESS_MAIN(TestDevLiveThrSet)
#include "tst_devlivethrset.moc"
