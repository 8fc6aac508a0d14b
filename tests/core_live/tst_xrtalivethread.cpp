#include "core_live/xrtalivethread.h"
#include "streamchecks.h"
#include "support/faultydevice.h"

#include <QElapsedTimer>

namespace {

using Thread = AbstractVideoThread;

constexpr int waitMs = 20000;

/// With what only this family has.
class Probe final : public XRTALiveThread
{
public:
    explicit Probe(const QSharedPointer<XNetDevice>& source, int channelNumber = 0, int streamNumber = 0)
    {
        setStreamChannel(channelNumber, streamNumber);
        bindDevice(source);
    }
    Probe() = default;

    using XRTALiveThread::updateAVCodec;
    using XRTALiveThread::updateDeviceAVCodec;
};

XFrameHeader header(quint32 type, quint32 codecId, quint32 first, quint32 second, quint32 third, quint32 fourth)
{
    XFrameHeader frame{};
    frame.frameType = type;
    frame.codecId = codecId;
    frame.width = first;
    frame.height = second;
    frame.param1 = third;
    frame.param2 = fourth;
    return frame;
}

} // namespace

/// Live streams of devices of the first family.
class TestXRTALiveThread : public QObject
{
    Q_OBJECT

private:
    using Stream = StreamProbe<XRTALiveThread>;

    std::unique_ptr<MessageGuard> guard;
    StreamChecks::Camera camera;

private Q_SLOTS:
    void init()
    {
        guard.reset(new MessageGuard);
        camera = StreamChecks::makeCamera(XTransportProtocol_Rta);
    }
    void cleanup()
    {
        camera->endReads();
        VERIFY_NO_UNEXPECTED_MESSAGES(*guard);
    }

    // --- Connection

    void checkConnect_asksEveryTenthOfASecond_data()
    {
        QTest::addColumn<int>("timeout");
        QTest::addColumn<QVector<int>>("statuses");
        QTest::addColumn<int>("asked");
        QTest::addColumn<QString>("message"); // none when it is connected
        QTest::newRow("two tries") << 250 << QVector<int>{0, 0} << 2 << "connect status : 0";
        QTest::newRow("the last status is told") << 250 << QVector<int>{5, 7} << 2 << "connect status : 7";
        QTest::newRow("no try") << 50 << QVector<int>{} << 0 << "connect status : 0";
        QTest::newRow("a negative time-out") << -500 << QVector<int>{} << 0 << "connect status : 0";
        QTest::newRow("connected at once") << 100 << QVector<int>{1} << 1 << "";
        QTest::newRow("connected in the end") << 500 << QVector<int>{0, 2, 0, -1, 1} << 5 << "";
    }
    void checkConnect_asksEveryTenthOfASecond()
    {
        QFETCH(int, timeout);
        QFETCH(QVector<int>, statuses);
        QFETCH(int, asked);
        QFETCH(QString, message);
        Stream probe(camera);
        probe.setConnectTimeout(timeout);
        camera->setConnectStatus(0);
        camera->queueConnectStatus(statuses);
        QCOMPARE(probe.checkConnect(), message.isEmpty());
        QCOMPARE(camera->count("getConnectStatus"), asked);
        const int sleeps = message.isEmpty() ? asked - 1 : asked;
        QCOMPARE(probe.time.slept(), sleeps * qint64(100000));
        QCOMPARE(guard->texts(QtInfoMsg), message.isEmpty() ? QStringList{} : QStringList{message});
    }

    void hooks_fail_whenNoDeviceIsBound()
    {
        guard->allow("^dev pointer is null$");
        Stream probe;
        QVERIFY(!probe.checkConnect());
        QCOMPARE(guard->count(QtCriticalMsg, "dev pointer is null"), 1);
        QVERIFY(!probe.initInput());
        QCOMPARE(guard->count(QtCriticalMsg, "dev pointer is null"), 2);
        probe.closeVideo(); // has nothing to end, and says nothing
        QCOMPARE(guard->count(QtCriticalMsg, "dev pointer is null"), 2);
    }

    void play_triesForever_whenNoDeviceIsBound()
    {
        guard->allow("^dev pointer is null$");
        Stream probe;
        probe.play();
        QTRY_VERIFY_WITH_TIMEOUT(guard->count(QtCriticalMsg, "dev pointer is null") > 3, waitMs);
        QVERIFY(probe.isOpenTimeout());
        probe.stopAndWait();
        QVERIFY(probe.log.lines().isEmpty());
    }

    void initInput_enablesTheStream_data()
    {
        QTest::addColumn<int>("result");
        QTest::addColumn<bool>("succeeds");
        QTest::addColumn<int>("exceeded");
        QTest::newRow("success") << 0 << true << 0;
        QTest::newRow("already enabled") << 14 << true << 0;
        QTest::newRow("too many") << 17 << false << 1;
        QTest::newRow("another failure") << 5 << false << 0;
        QTest::newRow("a time-out") << 8 << false << 0;
    }
    void initInput_enablesTheStream()
    {
        QFETCH(int, result);
        QFETCH(bool, succeeds);
        QFETCH(int, exceeded);
        guard->allow("^enable media transmit failed ");
        Stream probe(camera, 3, 1);
        camera->queueResults("enableMediaTransmit", {result});
        QCOMPARE(probe.initInput(), succeeds);
        QCOMPARE(camera->calls(), QStringList({"getConnectStatus", "enableMediaTransmit 3 1 true"}));
        QCOMPARE(guard->texts(QtWarningMsg),
                 succeeds
                     ? QStringList{}
                     : QStringList{QString("enable media transmit failed channel=3, stream=1, ret=%1").arg(result)});
        QCOMPARE(probe.log.count("exceed max"), exceeded);
        QCOMPARE(probe.isStreamExceedMax(), exceeded > 0);
    }

    void initInput_doesNothing_whileTheDeviceIsNotConnected()
    {
        Stream probe(camera);
        camera->setConnectStatus(0);
        QVERIFY(probe.initInput());
        camera->setConnectStatus(2);
        QVERIFY(probe.initInput());
        QCOMPARE(camera->orders(), QStringList{});
    }

    void exceedMax_isTold_untilTheStreamIsEnabled_data()
    {
        QTest::addColumn<int>("success");
        QTest::newRow("enabled") << 0;
        QTest::newRow("already enabled") << 14;
    }
    void exceedMax_isTold_untilTheStreamIsEnabled()
    {
        QFETCH(int, success);
        guard->allow("^enable media transmit failed channel=0, stream=0, ret=(17|5)$");
        Stream probe(camera);
        // Those of closing come in between.
        QVector<XRetError> opening;
        camera->setOnCall([&](const QString& line) {
            if (line != "enableMediaTransmit 0 0 true")
                return;
            opening << 0;
            const QVector<XRetError> answers{17, 17, 5, 17, success};
            camera->queueResults("enableMediaTransmit", {answers.value(opening.size() - 1, 0)});
        });
        QVector<bool> states;
        probe.log.onLine = [&](const QString& line) {
            if (line == "exceed max" || line == "start 0")
                states << probe.isStreamExceedMax();
        };
        camera->script(0, 0).add(DeviceStream::h264().mid(0, 2));
        QVERIFY(probe.playScript(*camera));
        QCOMPARE(states, QVector<bool>({true, true, true, false}));
        QCOMPARE(
            probe.log.only({"exceed max", "start", "i420"}),
            QStringList({"exceed max", "exceed max", "exceed max", "start 0", "i420 320x240 0", "i420 320x240 1"}));
        QVERIFY(!probe.isStreamExceedMax());
        // Another refusal neither counts nor forgets.
        QCOMPARE(guard->count(QtWarningMsg, "enable media transmit failed channel=0, stream=0, ret=17"), 3);
        QCOMPARE(guard->count(QtWarningMsg, "enable media transmit failed channel=0, stream=0, ret=5"), 1);
    }

    void closeVideo_endsTheStream_onlyWhileConnected()
    {
        Stream probe(camera, 1, 1);
        probe.closeVideo();
        QCOMPARE(camera->calls(), QStringList({"getConnectStatus", "enableMediaTransmit 1 1 false"}));
        camera->forgetCalls();
        camera->setConnectStatus(0);
        probe.closeVideo();
        QCOMPARE(camera->calls(), QStringList({"getConnectStatus"}));
    }

    // --- A whole play

    void play_asksTheDevice_inThisOrder()
    {
        const DeviceFrames frames = DeviceStream::mixed(DeviceStream::h264(), DeviceStream::sound()).mid(0, 3);
        camera->script(2, 0).add(frames);
        Stream probe(camera, 2, 0);
        QVERIFY(probe.playScript(*camera));
        const QString codecs = "setCodecInfo 2 0 video 1 320x240 0 1 0 audio 33 8000 16 1";
        const QStringList calls{"getConnectStatus",
                                "enableMediaTransmit 2 0 false", // nothing is left from before
                                "getConnectStatus", // connected
                                "getConnectStatus",
                                "enableMediaTransmit 2 0 true", // armed
                                "readFrame 2 0 500",
                                "getCodecInfo 2 0",
                                codecs, //
                                "readFrame 2 0 500",
                                "getCodecInfo 2 0",
                                codecs, //
                                "readFrame 2 0 500",
                                "getCodecInfo 2 0",
                                codecs, //
                                "readFrame 2 0 500",
                                "getConnectStatus",
                                "enableMediaTransmit 2 0 true", // a time-out behind the last frame
                                "getConnectStatus",
                                "enableMediaTransmit 2 0 false"};
        QCOMPARE(camera->calls(), calls);
        QCOMPARE(probe.log.lines(),
                 QStringList({"start 0", "size 320x240", "codec changed", "i420 320x240 0", "format 8000 1 16",
                              "sound 640", "i420 320x240 1", "decoder destroyed", "finish"}));
    }

    void play_goesOn_whenTheDeviceIsBack()
    {
        FrameScript& script = camera->script(0, 0);
        Stream probe(camera);
        const DeviceFrames pictures = DeviceStream::h264();
        int enabledBefore = 0;
        script.setClock(&probe.time);
        script.add(pictures.mid(0, 2));
        script.addAction([&] {
            camera->setConnectStatus(0);
            enabledBefore = camera->count("enableMediaTransmit 0 0 true");
        });
        script.addResult(8, 7);
        script.addAction([&] {
            QCOMPARE(camera->count("enableMediaTransmit 0 0 true"), enabledBefore);
            QVERIFY(probe.isReadTimeout());
            QVERIFY(probe.getIsOk());
            camera->setConnectStatus(1);
        });
        script.addResult(8);
        script.addAction([&] { QCOMPARE(camera->count("enableMediaTransmit 0 0 true"), enabledBefore + 1); });
        script.add(pictures.mid(25, 2));
        QVERIFY(probe.playScript(*camera));
        QCOMPARE(probe.log.only({"i420", "start", "finish"}),
                 QStringList(
                     {"start 0", "i420 320x240 0", "i420 320x240 1", "i420 320x240 25", "i420 320x240 26", "finish"}));
        QVERIFY(!probe.isReadTimeout());
    }

    void play_ends_afterTheFourthError()
    {
        guard->allow("^(ret = 5|read frame error)$");
        camera->script(0, 0).add(DeviceStream::h264().mid(0, 2));
        camera->script(0, 0).addResult(5, 4);
        Stream probe(camera);
        probe.play();
        QTRY_VERIFY_WITH_TIMEOUT(probe.isFinished(), waitMs);
        QCOMPARE(guard->texts(QtCriticalMsg),
                 QStringList({"ret = 5", "read frame error", "ret = 5", "read frame error", "ret = 5",
                              "read frame error", "ret = 5", "read frame error"}));
        QCOMPARE(probe.log.lines().last(), QString("finish"));
        QCOMPARE(camera->calls().last(), QString("enableMediaTransmit 0 0 false"));
    }

    void stopAndWait_returns_whenTheDeviceBlocksInARead()
    {
        const QSharedPointer<FaultyDevice> slow(new FaultyDevice(camera));
        camera->script(0, 0).setClip(DeviceStream::h264());
        slow->add(Fault::none(3));
        slow->add(Fault::block(700));
        Stream probe(slow);
        probe.play();
        QTRY_COMPARE_WITH_TIMEOUT(probe.log.numbers().size(), 3, waitMs);
        QElapsedTimer timer;
        timer.start();
        probe.stopAndWait();
        QVERIFY(timer.elapsed() < 5000);
        QCOMPARE(probe.log.lines().last(), QString("finish"));
    }

    void play_showsEverything_whenStreamsOfOneDeviceRunAtOnce()
    {
        std::vector<std::unique_ptr<Stream>> probes;
        for (int channel = 0; channel < 4; ++channel) {
            camera->script(channel, 0).add(DeviceStream::joined(DeviceStream::h264(), DeviceStream::h264OtherSize()));
            probes.emplace_back(new Stream(camera, channel, 0));
        }
        camera->endReads();
        for (const auto& probe : probes)
            probe->play();
        for (const auto& probe : probes) {
            QTRY_VERIFY_WITH_TIMEOUT(probe->log.numbers().size() == 250, waitMs);
            probe->stopAndWait();
            QCOMPARE(probe->log.numbers(), StreamChecks::range(0, 125) + StreamChecks::range(0, 125));
            QCOMPARE(probe->log.damagedPlanes(), 0);
        }
    }

    // --- What the device knows of its codecs

    void updateAVCodec_tellsTheDevice_whatFramesSay_data()
    {
        QTest::addColumn<QVector<quint32>>("frame"); // type, codecId, and four fields
        QTest::addColumn<QString>("told");
        QTest::addColumn<QString>("warning");
        const auto row = [](const char* name, const QVector<quint32>& frame, const QString& told,
                            const QString& warning = QString()) { QTest::newRow(name) << frame << told << warning; };
        const QString sound = " audio 34 16000 8 2";
        const QString video = "video 2 640x480 7 8 9";
        row("H.264 key frame", {0, 0, 320, 240, 5, 6}, "video 1 320x240 5 1 6" + sound);
        row("H.265 key frame", {0, 1, 320, 240, 5, 6}, "video 2 320x240 5 1 6" + sound);
        row("key frame of an unknown codec", {0, 2, 320, 240, 5, 6}, "video 2 320x240 5 1 6" + sound, " code_id = 2");
        row("other video", {1, 0, 320, 240, 5, 6}, video + sound);
        row("other video, type 3", {3, 0, 320, 240, 5, 6}, video + sound);
        row("A-law", {4, 3, 8000, 16, 1, 9}, video + " audio 33 8000 16 1");
        row("mu-law", {4, 4, 8000, 16, 1, 9}, video + " audio 34 8000 16 1");
        row("PCM", {4, 5, 8000, 16, 1, 9}, video + " audio 35 8000 16 1");
        row("sound of an unknown codec", {4, 6, 8000, 16, 1, 9}, video + " audio 34 8000 16 1");
        row("unknown type", {7, 0, 320, 240, 5, 6}, video + sound);
    }
    void updateAVCodec_tellsTheDevice_whatFramesSay()
    {
        QFETCH(QVector<quint32>, frame);
        QFETCH(QString, told);
        QFETCH(QString, warning);
        guard->allow("^ code_id = 2$");
        camera->setCodecs(1, 1, {2, 640, 480, 7, 8, 9}, {34, 16000, 8, 2});
        Probe probe(camera, 1, 1);
        XFrameHeader head = header(frame.at(0), frame.at(1), frame.at(2), frame.at(3), frame.at(4), frame.at(5));
        probe.updateAVCodec(&head);
        QCOMPARE(camera->calls(), QStringList({"getCodecInfo 1 1", "setCodecInfo 1 1 " + told}));
        QCOMPARE(guard->texts(QtWarningMsg), warning.isEmpty() ? QStringList{} : QStringList{warning});
    }

    void updateAVCodec_tellsNothing_whenTheDeviceDoesNotSayWhatItKnows()
    {
        guard->allow("^ret = 9$");
        camera->setResult("getCodecInfo", 9);
        Probe probe(camera);
        XFrameHeader head = header(0, 0, 320, 240, 0, 0);
        probe.updateAVCodec(&head);
        QCOMPARE(camera->calls(), QStringList("getCodecInfo 0 0"));
        QCOMPARE(guard->texts(QtCriticalMsg), QStringList("ret = 9"));
    }

    void updateDeviceAVCodec_reportsFailures()
    {
        guard->allow("^(ret = 3|dev pointer is null)$");
        camera->setResult("setCodecInfo", 3);
        Probe probe(camera);
        XVideoEncPara video{1, 320, 240, 0, 1, 0};
        XAudioEncPara audio{33, 8000, 16, 1};
        probe.updateDeviceAVCodec(video, audio);
        Probe unbound;
        unbound.updateDeviceAVCodec(video, audio);
        QCOMPARE(guard->texts(QtCriticalMsg), QStringList({"ret = 3", "dev pointer is null"}));
    }

    void recording_followsTheFrames() { StreamChecks::recording_followsTheStream<XRTALiveThread>(camera, false); }

    // --- As both families do it

    void readFrame_mapsTheResults() { StreamChecks::readFrame_mapsTheResults<XRTALiveThread>(*guard, camera); }
    void getLatestRecordCodec_asksTheDevice()
    {
        StreamChecks::getLatestRecordCodec_asksTheDevice<XRTALiveThread>(*guard, camera);
    }
    void handlePreviewClose_freesTheDecoders_ofTheMainStream()
    {
        StreamChecks::handlePreviewClose_freesTheDecoders<XRTALiveThread>(camera, 0);
    }
    void handlePreviewClose_keepsTheDecoders_ofOtherStreams()
    {
        StreamChecks::handlePreviewClose_freesTheDecoders<XRTALiveThread>(camera, 1);
    }
    void recording_isNamedByItsTimes() { StreamChecks::recording_isNamedByItsTimes<XRTALiveThread>(camera); }
    void recording_staysInTheFolderOfItsStart()
    {
        StreamChecks::recording_staysInTheFolderOfItsStart<XRTALiveThread>(camera);
    }
    void recording_neverReplacesAnother() { StreamChecks::recording_neverReplacesAnother<XRTALiveThread>(camera); }
    void renameMP4File_onlyReports_whenThereIsNoFile()
    {
        StreamChecks::renameMP4File_onlyReports_whenThereIsNoFile<XRTALiveThread>(*guard, camera);
    }
    void metaObject_addsNothing() { StreamChecks::metaObject_addsNothing<XRTALiveThread>("XRTALiveThread"); }
};

QTEST_GUILESS_MAIN(TestXRTALiveThread)
#include "tst_xrtalivethread.moc"
