#include "support/deviceframe.h"
#include "support/fakedevice.h"
#include "support/faultydevice.h"
#include "support/simulatedclock.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <cstddef>
#include <thread>
#include <vector>

namespace {

/// The buffer that threads read into.
class Buffer
{
public:
    Buffer()
        : bytes(XFrameHeader::bufferSize, '\0')
    {
    }
    XFrameHeader* frame() { return reinterpret_cast<XFrameHeader*>(bytes.data()); }
    QByteArray payload() { return QByteArray(bytes.data() + offsetof(XFrameHeader, data), int(frame()->length)); }

private:
    std::vector<char> bytes;
};

/// What ffmpeg decodes from the payloads, one behind the other: the numbers of the pictures as raw luma.
int decodedPictures(const DeviceFrames& frames, const QString& format)
{
    QByteArray stream;
    for (const DeviceFrame& frame : frames)
        stream += frame.payload;
    QProcess ffmpeg;
    ffmpeg.start("ffmpeg",
                 {"-v", "error", "-f", format, "-i", "-", "-f", "rawvideo", "-pix_fmt", "gray", "-s", "16x16", "-"});
    ffmpeg.write(stream);
    ffmpeg.closeWriteChannel();
    if (!ffmpeg.waitForFinished() || !ffmpeg.readAllStandardError().isEmpty())
        return -1;
    return ffmpeg.readAllStandardOutput().size() / 256;
}

} // namespace

/// The devices that other tests play from do what they are told.
class TestFakeDevice : public QObject
{
    Q_OBJECT

private:
    Buffer buffer;

    void verifyIsStream(const DeviceFrames& frames, const QString& format, quint32 codecId, const QSize& size)
    {
        QCOMPARE(frames.size(), DeviceStream::frameCount);
        for (int i = 0; i < frames.size(); ++i) {
            QCOMPARE(frames.at(i).isKeyFrame(), i % DeviceStream::keyDistance == 0);
            QCOMPARE(frames.at(i).codecId, codecId);
            QCOMPARE(frames.at(i).width, quint32(size.width()));
            QCOMPARE(frames.at(i).height, quint32(size.height()));
            QCOMPARE(frames.at(i).timestamp, quint64(i) * 40);
        }
        QCOMPARE(decodedPictures(frames, format), frames.size());
        // Parameter sets stand before every key frame, so a stream may begin at any of them.
        QCOMPARE(decodedPictures(frames.mid(2 * DeviceStream::keyDistance), format), 75);
    }

private Q_SLOTS:
    void frames_areThoseOfRealStreams()
    {
        verifyIsStream(DeviceStream::h264(), "h264", 0, QSize(320, 240));
        verifyIsStream(DeviceStream::h264OtherSize(), "h264", 0, QSize(400, 304));
        verifyIsStream(DeviceStream::h265(), "hevc", 1, QSize(320, 240));
        verifyIsStream(DeviceStream::h265OtherSize(), "hevc", 1, QSize(400, 304));
        const DeviceFrames sound = DeviceStream::sound();
        QCOMPARE(sound.size(), 125);
        QCOMPARE(sound.last().payload.size(), 320);
        QCOMPARE(sound.last().timestamp, quint64(124 * 40));
        QCOMPARE(DeviceStream::sound(DeviceStream::pcm).first().payload.size(), 640);
    }

    void mixedAndJoined_keepTheOrderOfTimes()
    {
        const DeviceFrames both = DeviceStream::mixed(DeviceStream::h264(), DeviceStream::sound());
        QCOMPARE(both.size(), 250);
        QVERIFY(both.at(0).isKeyFrame());
        QCOMPARE(both.at(1).type, quint32(XFrameHeader::AudioFrame));
        const DeviceFrames twice = DeviceStream::joined(both, DeviceStream::h265());
        QCOMPARE(twice.at(250).timestamp, quint64(5000));
        QCOMPARE(DeviceStream::duration(twice), quint64(10000));
    }

    void read_takesStepAfterStep()
    {
        FrameScript script;
        QStringList seen;
        const DeviceFrames frames = DeviceStream::h264();
        script.add(frames.mid(0, 2));
        script.addAction([&] { seen << "action"; });
        script.addResult(5, 2);
        script.setClip(frames.mid(50, 2));
        QVector<int> results;
        QVector<quint64> times;
        for (int i = 0; i < 7; ++i) {
            results << script.read(buffer.frame(), 0);
            if (results.last() == 0)
                times << buffer.frame()->timestamp;
            seen << QString::number(results.last());
        }
        QCOMPARE(results, QVector<int>({0, 0, 5, 5, 0, 0, 0}));
        QCOMPARE(seen.at(2), QString("action"));
        QCOMPARE(times, QVector<quint64>({0, 40, 80, 120, 160}));
        QCOMPARE(script.taken(), 5);
        QCOMPARE(buffer.payload(), frames.at(50).payload);
    }

    void read_waitsForTheTimeout_whenThereIsNothing()
    {
        FrameScript script;
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(script.read(buffer.frame(), 60), XRet::Timeout);
        QVERIFY(timer.elapsed() >= 60);
        script.end(7);
        QCOMPARE(script.read(buffer.frame(), 60000), 7);
        QVERIFY(timer.elapsed() < 10000);
    }

    void timeouts_passOnTheClock()
    {
        SimulatedClock clock;
        FrameScript script;
        script.setClock(&clock);
        script.addResult(XRet::Timeout, 3);
        for (int i = 0; i < 3; ++i)
            QCOMPARE(script.read(buffer.frame(), 500), XRet::Timeout);
        QCOMPARE(clock.slept(), qint64(1500000));
    }

    void realTime_handsFramesOutWhenTheyAreDue()
    {
        SimulatedClock clock;
        FrameScript script;
        script.setClock(&clock);
        script.setPace(FrameScript::Pace::RealTime);
        script.setClip(DeviceStream::shifted(DeviceStream::h264(), 7000));
        for (int i = 0; i < 300; ++i)
            QCOMPARE(script.read(buffer.frame(), 500), XRet::Ok);
        QCOMPARE(clock.slept(), qint64(299 * 40000));
        QCOMPARE(script.read(buffer.frame(), 30), XRet::Timeout);
        QCOMPARE(script.read(buffer.frame(), 30), XRet::Ok);
        QCOMPARE(clock.slept(), qint64(300 * 40000));
        QCOMPARE(buffer.frame()->timestamp, quint64(7000 + 300 * 40));
    }

    void release_letsFramesThroughOneByOne()
    {
        FrameScript script;
        script.setPace(FrameScript::Pace::Released);
        script.setIdle(FrameScript::Idle::Hold);
        script.setClip(DeviceStream::h264());
        std::atomic<int> frames{0};
        std::thread reader([&] {
            Buffer own;
            while (script.read(own.frame(), 1) == XRet::Ok)
                ++frames;
        });
        QVERIFY(script.waitUntilConsumed());
        QCOMPARE(frames.load(), 0);
        QVERIFY(script.play(1));
        QCOMPARE(frames.load(), 1);
        QVERIFY(script.play(150));
        QCOMPARE(frames.load(), 151);
        script.end();
        reader.join();
        QCOMPARE(script.taken(), 151);
    }

    void device_writesDownWhatItIsAsked()
    {
        FakeDevice camera(XTransportProtocol_Mbe, 2, 3);
        camera.queueConnectStatus({0, 5});
        QCOMPARE(int(camera.getConnectStatus()), 0);
        QCOMPARE(int(camera.getConnectStatus()), 5);
        QCOMPARE(camera.getConnectStatus(), XChannelStatus_Connected);
        camera.queueResults("enableMediaTransmit", {17, 14});
        QCOMPARE(camera.enableMediaTransmit(1, 2, true), 17);
        QCOMPARE(camera.enableMediaTransmit(1, 2, true), 14);
        QCOMPARE(camera.enableMediaTransmit(1, 2, false), 0);
        camera.script(1, 2).add(DeviceStream::h264().first());
        QCOMPARE(camera.readFrame(1, 2, buffer.frame(), 500), 0);
        XVideoEncPara video;
        XAudioEncPara audio;
        QCOMPARE(camera.getCodecInfo(1, 2, video, audio), 0);
        QCOMPARE(video.width, 320);
        video.param1 = 7;
        QCOMPARE(camera.setCodecInfo(1, 2, video, audio), 0);
        QCOMPARE(camera.video(1, 2).param1, 7);
        QCOMPARE(camera.getStreamCount(), 6);
        QCOMPARE(camera.calls({"getConnectStatus"}),
                 QStringList({"enableMediaTransmit 1 2 true", "enableMediaTransmit 1 2 true",
                              "enableMediaTransmit 1 2 false", "readFrame 1 2 500", "getCodecInfo 1 2",
                              "setCodecInfo 1 2 video 1 320x240 7 1 0 audio 33 8000 16 1", "getStreamCount"}));
        QCOMPARE(camera.countOf("enableMediaTransmit"), 3);
        QCOMPARE(camera.count("getConnectStatus"), 3);
        QCOMPARE(camera.orders().size(), 6);
    }

    void faults_comeInTurn()
    {
        const QSharedPointer<FakeDevice> camera(new FakeDevice);
        camera->script(0, 0).setClip(DeviceStream::h264());
        FaultyDevice faulty(camera);
        SimulatedClock clock;
        faulty.setClock(&clock);
        faulty.add({Fault::none(1), Fault::timeouts(2), Fault::errors(99), Fault::disconnect(),
                    Fault::length(0x7fffffff), Fault::reconnect(), Fault::size(7, 9, 2)});
        QVector<int> results;
        for (int i = 0; i < 7; ++i)
            results << faulty.readFrame(0, 0, buffer.frame(), 500);
        QCOMPARE(results, QVector<int>({0, 8, 8, 99, 0, 0, 0}));
        QCOMPARE(buffer.frame()->width, 7u);
        QVERIFY(faulty.isDone());
        QCOMPARE(clock.slept(), qint64(1000000));
        QCOMPARE(faulty.readFrame(0, 0, buffer.frame(), 500), 0);
        QCOMPARE(buffer.frame()->width, 320u);
        QCOMPARE(faulty.getConnectStatus(), XChannelStatus_Connected);
        faulty.refuseEnable(17, 2);
        QCOMPARE(faulty.enableMediaTransmit(0, 0, true), 17);
        QCOMPARE(faulty.enableMediaTransmit(0, 0, false), 0);
        QCOMPARE(faulty.enableMediaTransmit(0, 0, true), 17);
        QCOMPARE(faulty.enableMediaTransmit(0, 0, true), 0);
    }

    void badFrames_areEachOfTheirKind()
    {
        for (const Fault& fault : Fault::badFrames()) {
            QVERIFY(fault.change);
            DeviceStream::h264().first().writeTo(buffer.frame());
            fault.change(buffer.frame());
        }
    }
};

QTEST_GUILESS_MAIN(TestFakeDevice)
#include "tst_fakedevice.moc"
