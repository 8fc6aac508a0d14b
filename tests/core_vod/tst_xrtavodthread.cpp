#include "core_vod/xrtavodthread.h"

#include "support/clips.h"
#include "support/faultydevice.h"
#include "support/messageguard.h"
#include "support/testpicture.h"
#include "support/timezone.h"
#include "vodprobe.h"

#include <QDir>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

constexpr int waitMs = 20000;

const QStringList openCalls{"> getConnectStatus", "> vodStop 3",        "> getConnectStatus",
                            "> getConnectStatus", "> vodStart 3 - - -"};
const QStringList closeCalls{"> getConnectStatus", "> vodStop 3"};

QVector<int> range(int first, int count)
{
    QVector<int> numbers;
    for (int i = 0; i < count; ++i)
        numbers << first + i;
    return numbers;
}

/// Pictures with these times instead of their own.
DeviceFrames timed(const QVector<quint64>& times)
{
    DeviceFrames frames = DeviceStream::h264().mid(0, times.size());
    for (int i = 0; i < times.size(); ++i)
        frames[i].timestamp = times.at(i);
    return frames;
}

} // namespace

class TestXRTAVodThread : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<MessageGuard> guard;
    QSharedPointer<FakeDevice> device;

    FrameScript& script() { return device->playback(VodProbe::channelNumber); }
    void addEnd() { script().addResult(XRet::EndOfRecording); }

private Q_SLOTS:
    void init()
    {
        guard.reset(new MessageGuard);
        device.reset(new FakeDevice);
    }

    void cleanup()
    {
        device->endReads();
        device->setOnCall({});
        VERIFY_NO_UNEXPECTED_MESSAGES(*guard);
    }

    void constructor_namesTheThread() { QCOMPARE(XRTAVodThread().objectName(), QString("XRTAVodThread")); }

    // --- The way of a playback

    void play_showsTheRecordingToItsEnd()
    {
        VodProbe probe(device);
        probe.logCalls(device);
        script().add(DeviceStream::h264());
        addEnd();
        QVERIFY(probe.playToEnd());
        QCOMPARE(probe.log.numbers(), range(0, 125));
        QCOMPARE(probe.log.damagedPlanes(), 0);
        QCOMPARE(probe.log.without({"i420", "position"}),
                 openCalls + QStringList({"start 0", "size 320x240", "codec changed"}) + closeCalls
                     + QStringList({"decoder destroyed", "finish"}));
        QCOMPARE(guard->count(QtInfoMsg, "END OF FILE!!!"), 1);
        QVERIFY(!probe.getIsOk());
        QCOMPARE(device->countOf("vodReadFrame"), 126);
    }

    void play_asksForThePeriod()
    {
        VodProbe probe(device);
        VodStartPara para;
        para.startTime = QDateTime(QDate(2024, 5, 6), QTime(7, 0));
        para.endTime = QDateTime(QDate(2024, 5, 6), QTime(8, 0));
        para.playTime = QDateTime(QDate(2024, 5, 6), QTime(7, 30, 15));
        probe.setVodStartPara(para);
        addEnd();
        QVERIFY(probe.playToEnd());
        QCOMPARE(device->count("vodStart 3 20240506T070000 20240506T080000 20240506T073015"), 1);
        QCOMPARE(device->count("vodReadFrame 3 500"), 1); // a sixth of the time-out
    }

    void play_decodesSound()
    {
        VodProbe probe(device);
        script().add(DeviceStream::mixed(DeviceStream::h264(), DeviceStream::sound()));
        addEnd();
        QVERIFY(probe.playToEnd());
        QCOMPARE(probe.log.count("format"), 1);
        QCOMPARE(probe.log.count("format 8000 1 16"), 1);
        QCOMPARE(probe.log.count("sound 640"), 125);
        QCOMPARE(probe.log.numbers(), range(0, 125));
    }

    void play_beginsAtAKeyFrame()
    {
        VodProbe probe(device);
        script().add(DeviceStream::mixed(DeviceStream::h264(), DeviceStream::sound()).mid(20, 60));
        addEnd();
        QVERIFY(probe.playToEnd());
        QCOMPARE(probe.log.numbers(), range(25, 15));
        QCOMPARE(probe.log.count("sound"), 15);
    }

    void play_decodesNothing_withoutADisplay()
    {
        VodProbe probe(device);
        const DeviceFrames frames = DeviceStream::mixed(DeviceStream::h264(), DeviceStream::sound());
        script().add(frames.mid(0, 20)); // pictures 0 to 9
        script().addAction([&] { probe.previewRef() = 0; });
        script().add(frames.mid(20, 20));
        script().addAction([&] { probe.previewRef() = 1; });
        script().add(frames.mid(40, 40)); // up to picture 39; a key frame is 25
        addEnd();
        QVERIFY(probe.playToEnd());
        QCOMPARE(probe.log.numbers(), range(0, 10) + range(25, 15));
        QCOMPARE(probe.log.count("sound"), 25);
        QCOMPARE(probe.log.count("codec changed"), 1);
    }

    void play_ignoresFramesOfOtherTypes()
    {
        VodProbe probe(device);
        DeviceFrames frames = DeviceStream::h264().mid(0, 10);
        DeviceFrame other = frames.at(5);
        other.type = 7;
        frames.insert(5, other);
        script().add(frames);
        addEnd();
        QVERIFY(probe.playToEnd());
        QCOMPARE(probe.log.numbers(), range(0, 10));
    }

    void play_canBeRepeated()
    {
        VodProbe probe(device);
        probe.logCalls(device);
        for (int round = 0; round < 2; ++round) {
            script().add(DeviceStream::h264().mid(0, 30));
            addEnd();
        }
        QVERIFY(probe.playToEnd());
        const QStringList once = probe.log.lines();
        probe.log.clear();
        QVERIFY(probe.playToEnd());
        QCOMPARE(probe.log.lines(), once);
    }

    void play_doesNotRecord()
    {
        const QTemporaryDir folder;
        VodProbe probe(device);
        probe.setSavePath(AbstractVideoThread::MANUAL_RECORD, folder.path());
        probe.recordStart(AbstractVideoThread::MANUAL_RECORD);
        script().add(DeviceStream::h264().mid(0, 30));
        addEnd();
        QVERIFY(probe.playToEnd());
        QCOMPARE(probe.log.count("state"), 0);
        QVERIFY(QDir(folder.path()).isEmpty());
    }

    void stop_endsAPlaybackThatWaits()
    {
        VodProbe probe(device);
        probe.logCalls(device);
        script().add(DeviceStream::h264().mid(0, 30));
        script().setClock(nullptr);
        probe.play();
        QVERIFY(script().waitUntilConsumed());
        probe.stopAndWait();
        QCOMPARE(probe.log.lines().mid(probe.log.lines().size() - 4),
                 closeCalls + QStringList({"decoder destroyed", "finish"}));
        QCOMPARE(guard->count(QtInfoMsg, "END OF FILE!!!"), 0);
    }

    /// A stop that came before the thread had looked for the first time.
    void stop_beforeTheFirstLook_opensNothing()
    {
        VodProbe probe(device);
        std::mutex turn;
        const std::shared_ptr<std::mutex> shared(&turn, [](std::mutex*) {});
        turn.lock();
        probe.setTurn(shared);
        probe.play();
        probe.stop();
        QVERIFY(probe.wait(waitMs));
        turn.unlock();
        QVERIFY(device->calls().isEmpty());
        QVERIFY(probe.log.lines().isEmpty());
    }

    // --- Connection and start

    void checkConnect_asksEveryTenthOfASecond_data()
    {
        QTest::addColumn<int>("timeout");
        QTest::addColumn<QVector<int>>("statuses");
        QTest::addColumn<int>("asked");
        QTest::addColumn<QString>("message");
        QTest::newRow("two tries") << 250 << QVector<int>{0, 0} << 2 << "[Front] connect status : [0]";
        QTest::newRow("the last status") << 250 << QVector<int>{5, 7} << 2 << "[Front] connect status : [7]";
        QTest::newRow("no try") << 99 << QVector<int>{} << 0 << "[Front] connect status : [0]";
        QTest::newRow("at once") << 100 << QVector<int>{1} << 1 << "";
        QTest::newRow("in the end") << 500 << QVector<int>{0, 2, 0, -1, 1} << 5 << "";
    }

    void checkConnect_asksEveryTenthOfASecond()
    {
        QFETCH(int, timeout);
        QFETCH(QVector<int>, statuses);
        QFETCH(int, asked);
        QFETCH(QString, message);
        VodProbe probe(device);
        device->setNames("Front", "SN1");
        probe.setConnectTimeout(timeout);
        device->setConnectStatus(0);
        device->queueConnectStatus(statuses);
        QCOMPARE(probe.checkConnect(), message.isEmpty());
        QCOMPARE(device->count("getConnectStatus"), asked);
        QCOMPARE(probe.time.slept(), (message.isEmpty() ? asked - 1 : asked) * qint64(100000));
        QCOMPARE(guard->texts(QtInfoMsg), message.isEmpty() ? QStringList{} : QStringList{message});
    }

    void play_endsAtOnce_whenTheDeviceIsNotConnected()
    {
        VodProbe probe(device);
        probe.setConnectTimeout(300);
        device->setConnectStatus(0);
        QVERIFY(probe.playToEnd());
        QCOMPARE(probe.log.lines(), QStringList{"finish"});
        QCOMPARE(device->orders(), QStringList{"getAlias"}); // neither started nor ended
        QCOMPARE(device->countOf("vodReadFrame"), 0);
    }

    void play_endsAtOnce_whenNoDeviceIsBound()
    {
        guard->allow("^dev pointer is null$");
        VodProbe probe;
        QVERIFY(probe.playToEnd());
        QCOMPARE(probe.log.lines(), QStringList{"finish"});
        QCOMPARE(guard->texts(QtCriticalMsg), QStringList{"dev pointer is null"});
        QVERIFY(!probe.initInput());
        XFrameHeader frame{};
        QCOMPARE(probe.readFrame(&frame, 5), -1);
        QCOMPARE(guard->count(QtCriticalMsg, "dev pointer is null"), 3);
    }

    void play_isRefused_data()
    {
        QTest::addColumn<int>("result");
        QTest::addColumn<QString>("signal");
        QTest::newRow("too many connections") << 17 << "exceed max";
        QTest::newRow("a time-out") << 8 << "other error";
        QTest::newRow("not supported") << 1 << "other error";
        QTest::newRow("another") << -3 << "other error";
    }

    void play_isRefused()
    {
        QFETCH(int, result);
        QFETCH(QString, signal);
        const QString message = QString("vodStart failed channel=3, ret=%1").arg(result);
        guard->allow("^vodStart failed ");
        VodProbe probe(device);
        probe.logCalls(device);
        device->setResult("vodStart", result);
        QVERIFY(probe.playToEnd());
        QCOMPARE(probe.log.lines(), openCalls + QStringList{signal} + closeCalls + QStringList{"finish"});
        QCOMPARE(guard->texts(QtWarningMsg), QStringList{message});
        QCOMPARE(device->countOf("vodReadFrame"), 0);
    }

    void play_goesOn_whenThePlaybackIsStartedAlready()
    {
        VodProbe probe(device);
        device->setResult("vodStart", XRet::AlreadyEnabled);
        script().add(DeviceStream::h264().mid(0, 5));
        addEnd();
        QVERIFY(probe.playToEnd());
        QCOMPARE(probe.log.numbers(), range(0, 5));
    }

    void initInput_doesNothing_whileTheDeviceIsNotConnected()
    {
        VodProbe probe(device);
        device->setConnectStatus(2);
        QVERIFY(probe.initInput());
        QCOMPARE(device->calls(), QStringList{"getConnectStatus"});
    }

    void closeVideo_asksAConnectedDeviceOnly()
    {
        VodProbe probe(device);
        device->setConnectStatus(0);
        probe.closeVideo();
        QCOMPARE(device->calls(), QStringList{"getConnectStatus"});
        device->setConnectStatus(1);
        probe.closeVideo();
        QCOMPARE(device->orders(), QStringList{"vodStop 3"});
    }

    void readFrame_mapsTheResults()
    {
        guard->allow("^ret = ");
        VodProbe probe(device);
        std::vector<char> buffer(XFrameHeader::bufferSize);
        auto* frame = reinterpret_cast<XFrameHeader*>(buffer.data());
        script().add(DeviceStream::h264().first());
        for (const int result : {8, 18, 17, -1, 1})
            script().addResult(result);
        QVector<int> results;
        for (int i = 0; i < 6; ++i)
            results << probe.readFrame(frame, 7);
        QCOMPARE(results, (QVector<int>{0, 1, 2, -1, -1, -1}));
        QCOMPARE(guard->texts(QtCriticalMsg), (QStringList{"ret = 17", "ret = -1", "ret = 1"}));
        QCOMPARE(device->count("vodReadFrame 3 7"), 6);
    }

    // --- Time-outs and errors

    void timeouts_areReported_afterSix()
    {
        VodProbe probe(device);
        QVector<bool> seen;
        const auto look = [&] { seen << probe.isReadTimeout(); };
        script().addResult(XRet::Timeout, 5);
        script().addAction(look);
        script().addResult(XRet::Timeout, 1);
        script().addAction(look);
        script().add(DeviceStream::h264().first());
        script().addResult(XRet::Timeout, 5); // counted anew
        script().addAction(look);
        addEnd();
        QVERIFY(probe.playToEnd());
        QCOMPARE(seen, (QVector<bool>{false, true, false}));
        QCOMPARE(guard->count(QtInfoMsg, "read frame timeout"), 11);
        QCOMPARE(device->countOf("vodStart"), 1); // a playback is not begun again for them
        QCOMPARE(probe.log.count("finish"), 1);
    }

    void timeouts_sleepALittle_whenReadsDontWait()
    {
        VodProbe probe(device);
        probe.setReadTimeout(5);
        script().addResult(XRet::Timeout, 4);
        addEnd();
        QVERIFY(probe.playToEnd());
        QCOMPARE(device->count("vodReadFrame 3 0"), 5);
        QCOMPARE(probe.time.slept(), qint64(40000));
    }

    void errors_endThePlayback_data()
    {
        QTest::addColumn<QVector<int>>("results"); // 0 is a frame
        QTest::addColumn<int>("reads");
        QTest::newRow("four") << QVector<int>{5, 5, 5, 5, 18} << 4;
        QTest::newRow("a time-out between") << QVector<int>{5, 5, 5, 8, 5, 18} << 5;
        QTest::newRow("a frame between") << QVector<int>{5, 5, 5, 0, 5, 5, 5, 18} << 8;
        QTest::newRow("three") << QVector<int>{5, 5, 5, 18} << 4;
    }

    void errors_endThePlayback()
    {
        QFETCH(QVector<int>, results);
        QFETCH(int, reads);
        guard->allow("^ret = 5$");
        guard->allow("^read frame error$");
        VodProbe probe(device);
        for (const int result : results) {
            if (result == 0)
                script().add(DeviceStream::h264().first());
            else
                script().addResult(result);
        }
        QVERIFY(probe.playToEnd());
        QCOMPARE(device->countOf("vodReadFrame"), reads);
        QCOMPARE(guard->count(QtWarningMsg, "read frame error"), results.mid(0, reads).count(5));
        QCOMPARE(guard->count(QtCriticalMsg, "ret = 5"), results.mid(0, reads).count(5));
        QCOMPARE(probe.log.count("finish"), 1);
        QCOMPARE(guard->count(QtInfoMsg, "END OF FILE!!!"), results.mid(0, reads).count(18));
    }

    /// Whatever a device sends: nothing is read or written where it must not be.
    void play_survivesBadFrames()
    {
        guard->allow(".");
        VodProbe probe;
        const QSharedPointer<FaultyDevice> faulty(new FaultyDevice(device));
        script().setClock(&probe.time);
        probe.bindDevice(faulty);
        for (const Fault& fault : Fault::badFrames(2))
            faulty->add({Fault::none(60), fault});
        const DeviceFrames clip = DeviceStream::mixed(DeviceStream::h264(), DeviceStream::sound());
        for (int round = 0; round < 16; ++round)
            script().add(DeviceStream::shifted(clip, quint64(round) * 5000));
        addEnd();
        script().addResult(XRet::EndOfRecording); // in case a fault took the first one
        QVERIFY(probe.playToEnd());
        QVERIFY(faulty->isDone());
        QVERIFY(probe.log.numbers().size() > 1000);
        QCOMPARE(probe.log.damagedPlanes(), 0);
    }

    // --- Pause, seek, speed

    void pause_holdsThePlayback()
    {
        VodProbe probe(device);
        probe.setClock(nullptr);
        script().add(DeviceStream::h264().mid(0, 10));
        script().addAction([&] { probe.pause(); });
        script().add(DeviceStream::h264().mid(10, 10));
        addEnd();
        probe.play();
        QTRY_VERIFY_WITH_TIMEOUT(probe.getIsPause(), waitMs);
        QTRY_COMPARE_WITH_TIMEOUT(probe.log.numbers(), range(0, 11), waitMs); // one read was on its way
        QTest::qWait(200);
        QCOMPARE(probe.log.numbers(), range(0, 11));
        QVERIFY(probe.isRunning());
        QCOMPARE(device->count("vodPause 3"), 1);
        probe.next();
        QVERIFY(!probe.getIsPause());
        QTRY_VERIFY_WITH_TIMEOUT(probe.isFinished(), waitMs);
        QCOMPARE(device->count("vodResume 3"), 1);
        QCOMPARE(probe.log.numbers(), range(0, 20));
    }

    void stop_endsAPausedPlayback()
    {
        VodProbe probe(device);
        probe.setClock(nullptr);
        script().setIdle(FrameScript::Idle::Hold);
        script().add(DeviceStream::h264().mid(0, 10));
        script().addAction([&] { probe.pause(); });
        script().add(DeviceStream::h264().mid(10, 1));
        probe.play();
        QTRY_COMPARE_WITH_TIMEOUT(probe.log.numbers(), range(0, 11), waitMs);
        probe.stopAndWait();
        QCOMPARE(probe.log.lines().last(), QString("finish"));
        QCOMPARE(device->orders().last(), QString("vodStop 3"));
    }

    void pauseAndNext_doNothing_whenThePlaybackHasFinished()
    {
        VodProbe probe(device);
        const auto both = [&] {
            probe.pause();
            QVERIFY(!probe.getIsPause());
            probe.next();
            QVERIFY(!probe.getIsPause());
        };
        both(); // before the first one as well
        addEnd();
        QVERIFY(probe.playToEnd());
        both();
        QCOMPARE(device->countOf("vodPause"), 0);
        QCOMPARE(device->countOf("vodResume"), 0);
    }

    void pauseAndNext_reportWhatTheDeviceRefuses()
    {
        guard->allow("^vod (pause|resume) ret = ");
        VodProbe probe(device);
        device->setResult("vodPause", 4);
        device->setResult("vodResume", 6);
        script().addAction([&] {
            probe.pause();
            QVERIFY(probe.getIsPause()); // all the same
            probe.next();
            QVERIFY(!probe.getIsPause());
        });
        addEnd();
        QVERIFY(probe.playToEnd());
        QCOMPARE(guard->texts(QtCriticalMsg), (QStringList{"vod pause ret = 4", "vod resume ret = 6"}));
    }

    void seekFile_asksTheDevice()
    {
        guard->allow("^vod seek ret = 9$");
        VodProbe probe(device);
        const QDateTime to(QDate(2024, 5, 6), QTime(7, 8, 9));
        probe.seekFile(to); // also while it does not run
        device->setResult("vodSeek", 9);
        QVERIFY(QMetaObject::invokeMethod(&probe, "seekFile", Q_ARG(QDateTime, to.addSecs(1))));
        QCOMPARE(device->calls(), (QStringList{"vodSeek 3 20240506T070809", "vodSeek 3 20240506T070810"}));
        QCOMPARE(guard->texts(QtCriticalMsg), QStringList{"vod seek ret = 9"});
    }

    void setSpeed_asksTheDevice()
    {
        guard->allow("^vod set speed ret = 9$");
        VodProbe probe(device);
        probe.setSpeed(4);
        probe.setSpeed(-2);
        device->setResult("vodSetSpeed", 9);
        QVERIFY(QMetaObject::invokeMethod(&probe, "setSpeed", Q_ARG(int, 8)));
        QCOMPARE(device->calls(), (QStringList{"vodSetSpeed 3 4", "vodSetSpeed 3 -2", "vodSetSpeed 3 8"}));
        QCOMPARE(guard->texts(QtCriticalMsg), QStringList{"vod set speed ret = 9"});
    }

    void setSpeed_takesFactors_data()
    {
        QTest::addColumn<double>("factor");
        QTest::addColumn<QStringList>("calls");
        QTest::newRow("1") << 1.0 << QStringList{"vodSetSpeed 3 1"};
        QTest::newRow("2") << 2.0 << QStringList{"vodSetSpeed 3 2"};
        QTest::newRow("16") << 16.0 << QStringList{"vodSetSpeed 3 16"};
        QTest::newRow("half") << 0.5 << QStringList{"vodSetSpeed 3 -2"};
        QTest::newRow("eighth") << 0.125 << QStringList{"vodSetSpeed 3 -8"};
        QTest::newRow("nearly 1") << 0.9 << QStringList{"vodSetSpeed 3 1"};
        QTest::newRow("beyond all numbers") << 1e300 << QStringList{"vodSetSpeed 3 1024"};
        QTest::newRow("next to nothing") << 1e-300 << QStringList{"vodSetSpeed 3 -1024"};
        QTest::newRow("0") << 0.0 << QStringList{};
        QTest::newRow("negative") << -1.0 << QStringList{};
        QTest::newRow("not a number") << qQNaN() << QStringList{};
    }

    void setSpeed_takesFactors()
    {
        QFETCH(double, factor);
        QFETCH(QStringList, calls);
        VodProbe probe(device);
        probe.setSpeed(factor);
        QCOMPARE(device->calls(), calls);
    }

    void controls_doNothing_withoutADevice()
    {
        VodProbe probe;
        probe.seekFile(QDateTime::currentDateTime());
        probe.setSpeed(2);
        probe.pause();
        probe.next();
        QVERIFY(!probe.getIsPause());
    }

    // --- Position

    void position_movesInSteps_data()
    {
        QTest::addColumn<QVector<quint64>>("times");
        QTest::addColumn<QStringList>("positions");
        QTest::newRow("just over a second")
            << QVector<quint64>{10000, 10500, 11000, 11001} << QStringList{"position 10000", "position 11001"};
        QTest::newRow("from the beginning of time")
            << QVector<quint64>{0, 1000, 1001, 2001, 2002} << QStringList{"position 1001", "position 2002"};
        QTest::newRow("back, after a seek") << QVector<quint64>{50000, 20000, 19000, 21000, 21001}
                                            << QStringList{"position 50000", "position 20000", "position 21001"};
        QTest::newRow("numbers that are no times")
            << QVector<quint64>{10000, 0x7fffffffffffffff, 0x8000000000000000, 10500}
            << QStringList{"position 10000", "position 9223372036854775807", "position -9223372036854775808",
                           "position 10500"};
    }

    void position_movesInSteps()
    {
        QFETCH(QVector<quint64>, times);
        QFETCH(QStringList, positions);
        VodProbe probe(device);
        qint64 last = -1;
        script().add(timed(times));
        script().addAction([&] { last = probe.getPosition(); });
        addEnd();
        QVERIFY(probe.playToEnd());
        QCOMPARE(probe.log.only({"position"}), positions);
        QCOMPARE(QString("position %1").arg(last), positions.last());
        QCOMPARE(probe.getPosition(), qint64(0)); // of no playback
        // The picture first, then where it is.
        QCOMPARE(probe.log.lines().indexOf(positions.first()) - 1,
                 probe.log.lines().indexOf(QString("i420 320x240 %1").arg(times.first() == 0 ? 2 : 0)));
    }

    // --- Snapshots

    void snapshot_isNamedByItsPicture_data()
    {
        QTest::addColumn<QByteArray>("zone");
        QTest::addColumn<quint64>("time");
        QTest::addColumn<int>("mode");
        QTest::addColumn<QString>("name");
        const int opengl = VideoMode_Opengl;
        QTest::newRow("UTC") << QByteArray("UTC") << quint64(0) << opengl << "19700101T000000_3.jpg";
        QTest::newRow("east") << QByteArray("Asia/Shanghai") << quint64(0) << opengl << "19700101T000000_3.jpg";
        QTest::newRow("west") << QByteArray("America/New_York") << quint64(0) << opengl << "19700101T000000_3.jpg";
        QTest::newRow("summer time") << QByteArray("Europe/Berlin") << quint64(1714979289000) << opengl
                                     << "20240506T070809_3.jpg";
        QTest::newRow("time that summer time leaves out")
            << QByteArray("Europe/Berlin") << quint64(1711852200999) << opengl << "20240331T023000_3.jpg";
        QTest::newRow("images") << QByteArray("UTC") << quint64(999) << int(VideoMode_Image)
                                << "19700101T000000_3.jpg";
    }

    void snapshot_isNamedByItsPicture()
    {
        QFETCH(QByteArray, zone);
        QFETCH(quint64, time);
        QFETCH(int, mode);
        QFETCH(QString, name);
        const TimeZone local(zone);
        const QTemporaryDir folder;
        VodProbe probe(device);
        probe.setVideoMode(VideoMode(mode));
        QSignalSpy previews(&probe, &AbstractVideoThread::snapImage);
        script().setIdle(FrameScript::Idle::Hold);
        script().addAction([&] {
            probe.setSnapPreview(true);
            probe.snap(folder.filePath("below/asked for.jpg"));
        });
        script().add(timed({time}));
        probe.play();
        QTRY_COMPARE_WITH_TIMEOUT(previews.count(), 1, waitMs);
        const QString path = folder.filePath("below/" + name);
        QCOMPARE(previews.at(0).at(1).toString(), path);
        QCOMPARE(QDir(folder.filePath("below")).entryList(QDir::Files), QStringList{name});
        const QImage picture(path);
        QCOMPARE(picture.size(), Clips::size);
        QCOMPARE(TestPicture::number(picture), 0);
        QVERIFY(TestPicture::hasColors(picture));
        QVERIFY(!probe.getIsSnap());
        QCOMPARE(probe.getSnapName(), path);
        QCOMPARE(probe.log.count("image"), mode == VideoMode_Image ? 1 : 0);
        script().end(XRet::EndOfRecording);
        QVERIFY(probe.wait(waitMs));
    }

    void snapshot_isThatOfTheNextPicture()
    {
        const QTemporaryDir folder;
        VodProbe probe(device);
        QSignalSpy previews(&probe, &AbstractVideoThread::snapImage);
        probe.setSnapPreview(true);
        script().setIdle(FrameScript::Idle::Hold);
        script().add(DeviceStream::h264().mid(0, 60));
        script().addAction([&] { probe.snap(folder.filePath("x.jpg")); });
        script().add(DeviceStream::h264().mid(60, 1));
        probe.play();
        QTRY_COMPARE_WITH_TIMEOUT(previews.count(), 1, waitMs);
        QCOMPARE(QDir(folder.path()).entryList(QDir::Files), QStringList{"19700101T000002_3.jpg"}); // at 2.4 s
        QCOMPARE(TestPicture::number(previews.at(0).at(0).value<QImage>()), 60);
        script().end(XRet::EndOfRecording);
        QVERIFY(probe.wait(waitMs));
    }

    void snapshot_isNotTaken_whereNothingIsShown()
    {
        const QTemporaryDir folder;
        VodProbe probe(device);
        probe.setVideoMode(VideoMode_Hwnd);
        script().addAction([&] { probe.snap(folder.filePath("x.jpg")); });
        script().add(DeviceStream::h264().mid(0, 30));
        addEnd();
        QVERIFY(probe.playToEnd());
        QVERIFY(QDir(folder.path()).isEmpty());
    }

    // --- One after the other

    void turn_isTakenByOneAtATime()
    {
        const auto turn = std::make_shared<std::mutex>();
        VodProbe first(device);
        VodProbe second(device);
        first.setTurn(turn);
        second.setTurn(turn);
        script().setIdle(FrameScript::Idle::Hold);
        script().add(DeviceStream::h264().mid(0, 5));
        first.play();
        QVERIFY(script().waitUntilConsumed());
        second.play();
        QTest::qWait(50);
        QCOMPARE(device->countOf("vodStart"), 1);
        first.stop();
        addEnd(); // the read that waits returns
        addEnd();
        QTRY_VERIFY_WITH_TIMEOUT(first.isFinished() && second.isFinished(), waitMs);
        QCOMPARE(device->orders(),
                 (QStringList{"vodStop 3", "vodStart 3 - - -", "vodStop 3", //
                              "vodStop 3", "vodStart 3 - - -", "vodStop 3"}));
        QCOMPARE(second.log.lines(), (QStringList{"start 0", "finish"}));
    }
};

QTEST_GUILESS_MAIN(TestXRTAVodThread)

#include "tst_xrtavodthread.moc"
