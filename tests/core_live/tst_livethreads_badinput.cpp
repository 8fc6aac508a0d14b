#include "core_live/xmbelivethread.h"
#include "core_live/xrtalivethread.h"
#include "streamchecks.h"
#include "support/faultydevice.h"

#include <QElapsedTimer>

Q_DECLARE_METATYPE(VideoMode)

namespace {

using Thread = AbstractVideoThread;

constexpr int waitMs = 100000;
constexpr int goodFrames = 4;
constexpr int seeds = 60;

/// A picture that needs no other, its sound, and so on.
DeviceFrames keyFramesAndSound()
{
    DeviceFrames frames;
    for (int i = 0; i < 5; ++i)
        frames << DeviceStream::h264().at(i * DeviceStream::keyDistance) << DeviceStream::sound().at(i);
    for (int i = 0; i < frames.size(); ++i)
        frames[i].timestamp = quint64(i) * 20;
    return frames;
}

/// Every fault for a picture and a sound, and enough good ones behind it to see that the thread is well.
QVector<Fault> everyFault()
{
    QVector<Fault> faults{Fault::none(2 * goodFrames)};
    for (const Fault& fault : Fault::badFrames(2))
        faults << fault << Fault::none(goodFrames);
    for (quint32 seed = 10; seed < 10 + seeds; ++seed)
        faults << Fault::garbagePayload(seed, 3) << Fault::none(1) << Fault::garbageHeader(seed, 3) << Fault::none(1);
    faults << Fault::timeouts(7) << Fault::none(2) << Fault::errors(99, 3) << Fault::none(2) << Fault::errors(14, 3)
           << Fault::none(2) << Fault::errors(17, 3) << Fault::none(2) << Fault::block(50) << Fault::disconnect()
           << Fault::timeouts(3) << Fault::reconnect() << Fault::timeouts(1) << Fault::none(2);
    return faults;
}

template <typename Live>
void surviveBadFrames(VideoMode mode, XTransportProtocol protocol, const DeviceFrames& clip)
{
    const QTemporaryDir folder;
    const StreamChecks::Camera camera = StreamChecks::makeCamera(protocol);
    camera->script(0, 0).setClip(clip);
    const QSharedPointer<FaultyDevice> faulty(new FaultyDevice(camera));
    StreamProbe<Live> probe(faulty);
    faulty->setClock(&probe.time);
    faulty->add(everyFault());
    probe.setVideoMode(mode);
    for (const auto type : {Thread::MANUAL_RECORD, Thread::AUTO_RECORD}) {
        probe.setSavePath(type, folder.filePath(QString::number(type)));
        probe.recordStart(type);
    }
    probe.setSaveAudio(Thread::AUTO_RECORD, false);
    probe.play();
    QTRY_VERIFY_WITH_TIMEOUT(faulty->isDone() || probe.isFinished(), waitMs);
    QVERIFY(!probe.isFinished());

    // Everything is as before: pictures, a snapshot, a recording.
    probe.recordStop(Thread::MANUAL_RECORD);
    probe.recordStop(Thread::AUTO_RECORD);
    QTRY_VERIFY_WITH_TIMEOUT(!probe.hasOpenFile(), waitMs);
    probe.log.clear();
    const QString snapshot = folder.filePath("a.jpg");
    if (mode != VideoMode_Hwnd) {
        probe.snap(snapshot);
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(snapshot), waitMs);
    }
    if (mode == VideoMode_Image || mode == VideoMode_Opengl)
        QTRY_VERIFY_WITH_TIMEOUT(probe.log.numbers().contains(0) && probe.log.numbers().contains(100), waitMs);
    QCOMPARE(probe.log.damagedPlanes(), 0);
    QElapsedTimer timer;
    timer.start();
    probe.stopAndWait();
    QVERIFY(timer.elapsed() < 10000);
    QCOMPARE(probe.log.lines().last(), QString("finish"));
    QVERIFY(!probe.getIsOk());
}

} // namespace

/// Frames that nobody should send, in all video modes, with recordings under way.
class TestLiveThreadsBadInput : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<MessageGuard> guard;

    static void addModes()
    {
        QTest::addColumn<VideoMode>("mode");
        QTest::newRow("native window") << VideoMode_Hwnd;
        QTest::newRow("images") << VideoMode_Image;
        QTest::newRow("planes") << VideoMode_Opengl;
        QTest::newRow("Direct3D 9") << VideoMode_D3d9;
        QTest::newRow("Direct3D 11") << VideoMode_D3d11;
    }

private Q_SLOTS:
    void init()
    {
        guard.reset(new MessageGuard);
        guard->allow("."); // what is said about each is another test's; connections are never allowed to fail
    }
    void cleanup() { VERIFY_NO_UNEXPECTED_MESSAGES(*guard); }

    void firstFamily_survivesEveryFault_data() { addModes(); }
    void firstFamily_survivesEveryFault()
    {
        QFETCH(VideoMode, mode);
        surviveBadFrames<XRTALiveThread>(mode, XTransportProtocol_Rta, keyFramesAndSound());
    }

    void secondFamily_survivesEveryFault_data() { addModes(); }
    void secondFamily_survivesEveryFault()
    {
        QFETCH(VideoMode, mode);
        const DeviceFrames clip = DeviceStream::mixed(DeviceStream::h264(), DeviceStream::sound());
        surviveBadFrames<XMBELiveThread>(mode, XTransportProtocol_Mbe, clip);
    }

    void secondFamily_survivesEveryFault_ofH265()
    {
        const DeviceFrames clip = DeviceStream::mixed(DeviceStream::h265(), DeviceStream::sound(DeviceStream::muLaw));
        surviveBadFrames<XMBELiveThread>(VideoMode_Opengl, XTransportProtocol_Mbe, clip);
    }

    void length_isNotBelieved_whenItIsBeyondTheBuffer_data()
    {
        QTest::addColumn<quint32>("length");
        QTest::newRow("a byte more") << XFrameHeader::largestPayload + 1;
        QTest::newRow("0x7fffffff") << 0x7fffffffu;
        QTest::newRow("0xffffffff") << 0xffffffffu;
    }
    void length_isNotBelieved_whenItIsBeyondTheBuffer()
    {
        QFETCH(quint32, length);
        const QTemporaryDir folder;
        const StreamChecks::Camera camera = StreamChecks::makeCamera(XTransportProtocol_Rta);
        const QSharedPointer<FaultyDevice> faulty(new FaultyDevice(camera));
        faulty->add(Fault::none(3));
        faulty->add(Fault::length(length, 2));
        StreamChecks::slowDown(camera);
        camera->script(0, 0).add(DeviceStream::h264().mid(0, 3));
        camera->script(0, 0).add(DeviceStream::h264().mid(3, 2)); // these are spoilt
        camera->script(0, 0).add(DeviceStream::h264().mid(25, 25));
        StreamProbe<XRTALiveThread> probe(faulty);
        probe.setSavePath(Thread::MANUAL_RECORD, folder.path());
        probe.recordStart(Thread::MANUAL_RECORD);
        QVERIFY(probe.playScript(*camera));
        QCOMPARE(probe.log.numbers(), StreamChecks::range(0, 3) + StreamChecks::range(25, 25));
        QCOMPARE(guard->count(QtWarningMsg, QString("a frame of %1 bytes does not fit its buffer").arg(length)), 2);
        const QStringList files = StreamChecks::filesBelow(folder.path());
        QCOMPARE(files.size(), 1);
        StreamChecks::verifyHas(folder.filePath(files.first()), probe.log.numbers());
    }
};

QTEST_GUILESS_MAIN(TestLiveThreadsBadInput)
#include "tst_livethreads_badinput.moc"
