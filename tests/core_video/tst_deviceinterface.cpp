#include "core_video/deviceinterface.h"
#include "support/fakedevice.h"
#include "support/messageguard.h"

#include <QTest>
#include <QWeakPointer>

#include <memory>
#include <thread>
#include <type_traits>

namespace {

class Probe final : public DeviceInterface
{
public:
    using DeviceInterface::channel;
    using DeviceInterface::device;
    using DeviceInterface::exceedCount;
    using DeviceInterface::stream;
};

} // namespace

static_assert(!std::is_polymorphic_v<DeviceInterface>);
static_assert(!std::is_base_of_v<QObject, DeviceInterface>);

/// What ties a thread to a stream of a device.
class TestDeviceInterface : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<MessageGuard> guard;

private Q_SLOTS:
    void init() { guard.reset(new MessageGuard); }
    void cleanup() { VERIFY_NO_UNEXPECTED_MESSAGES(*guard); }

    void construction_setsEverythingToNothing()
    {
        const Probe probe;
        QCOMPARE(probe.channel.load(), 0);
        QCOMPARE(probe.stream.load(), 0);
        QCOMPARE(probe.exceedCount.load(), 0);
        QVERIFY(probe.device().isNull());
        QVERIFY(!probe.isStreamExceedMax());
    }

    void setStreamChannel_storesBoth_inThisOrder()
    {
        Probe probe;
        probe.setStreamChannel(7, 2);
        QCOMPARE(probe.channel.load(), 7);
        QCOMPARE(probe.stream.load(), 2);
    }

    void bindDevice_sharesTheDevice_until_unbindDevice()
    {
        QSharedPointer<FakeDevice> camera(new FakeDevice);
        const QWeakPointer<FakeDevice> watched = camera;
        Probe probe;
        QCOMPARE(probe.bindDevice(camera), 0);
        camera.reset();
        QVERIFY(watched);
        QCOMPARE(probe.device().data(), static_cast<XNetDevice*>(watched.toStrongRef().data()));
        probe.unbindDevice();
        QVERIFY(!watched);
        QVERIFY(probe.device().isNull());
        probe.unbindDevice(); // once more is nothing
    }

    void bindDevice_refusesNull_andKeepsWhatItHas()
    {
        guard->allow("^null$");
        const QSharedPointer<FakeDevice> camera(new FakeDevice);
        Probe probe;
        QCOMPARE(probe.bindDevice(camera), 0);
        QCOMPARE(probe.bindDevice(QSharedPointer<XNetDevice>()), -1);
        QCOMPARE(guard->texts(QtCriticalMsg), QStringList("null"));
        QCOMPARE(probe.device().data(), static_cast<XNetDevice*>(camera.data()));
    }

    void bindDevice_releasesTheOneBefore()
    {
        QSharedPointer<FakeDevice> first(new FakeDevice);
        const QWeakPointer<FakeDevice> watched = first;
        Probe probe;
        probe.bindDevice(first);
        first.reset();
        QCOMPARE(probe.bindDevice(QSharedPointer<FakeDevice>::create()), 0);
        QVERIFY(!watched);
    }

    void destructor_releasesTheDevice()
    {
        QSharedPointer<FakeDevice> camera(new FakeDevice);
        const QWeakPointer<FakeDevice> watched = camera;
        {
            Probe probe;
            probe.bindDevice(camera);
            camera.reset();
            QVERIFY(watched);
        }
        QVERIFY(!watched);
    }

    void isStreamExceedMax_isTrue_aboveZero()
    {
        Probe probe;
        probe.exceedCount = 1;
        QVERIFY(probe.isStreamExceedMax());
        probe.exceedCount = 9;
        QVERIFY(probe.isStreamExceedMax());
        probe.exceedCount = 0;
        QVERIFY(!probe.isStreamExceedMax());
    }

    void device_mayBeUnboundAndAsked_fromDifferentThreads()
    {
        const QSharedPointer<FakeDevice> camera(new FakeDevice);
        Probe probe;
        std::atomic<bool> done{false};
        std::thread user([&] {
            while (!done) {
                if (const QSharedPointer<XNetDevice> device = probe.device())
                    device->getChannelCount();
                if (probe.isStreamExceedMax())
                    done = true;
            }
        });
        for (int i = 0; i < 500; ++i) {
            probe.bindDevice(camera);
            probe.unbindDevice();
        }
        done = true;
        user.join();
        QVERIFY(probe.device().isNull());
    }
};

QTEST_GUILESS_MAIN(TestDeviceInterface)
#include "tst_deviceinterface.moc"
