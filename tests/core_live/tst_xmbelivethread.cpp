#include "core_live/xmbelivethread.h"
#include "streamchecks.h"

namespace {
using Thread = AbstractVideoThread;
constexpr int waitMs = 20000;
} // namespace

/// Live streams of devices of the second family.
class TestXMBELiveThread : public QObject
{
    Q_OBJECT

private:
    using Stream = StreamProbe<XMBELiveThread>;

    std::unique_ptr<MessageGuard> guard;
    StreamChecks::Camera camera;

private Q_SLOTS:
    void init()
    {
        guard.reset(new MessageGuard);
        camera = StreamChecks::makeCamera(XTransportProtocol_Mbe);
    }
    void cleanup()
    {
        camera->endReads();
        VERIFY_NO_UNEXPECTED_MESSAGES(*guard);
    }

    // --- Connection

    void checkConnect_asksForTheStream_data()
    {
        QTest::addColumn<int>("timeout");
        QTest::addColumn<QVector<int>>("statuses");
        QTest::addColumn<int>("asked");
        QTest::addColumn<QString>("message"); // none when it is connected
        QTest::newRow("two tries") << 250 << QVector<int>{0, 0} << 2 << "ch3 stream1 st: 0";
        QTest::newRow("the last status is told") << 250 << QVector<int>{5, 7} << 2 << "ch3 stream1 st: 7";
        QTest::newRow("no try") << 50 << QVector<int>{} << 0 << "ch3 stream1 st: 0";
        QTest::newRow("connected at once") << 100 << QVector<int>{1} << 1 << "";
        QTest::newRow("connected in the end") << 500 << QVector<int>{0, 2, 0, 0, 1} << 5 << "";
    }
    void checkConnect_asksForTheStream()
    {
        QFETCH(int, timeout);
        QFETCH(QVector<int>, statuses);
        QFETCH(int, asked);
        QFETCH(QString, message);
        Stream probe(camera, 3, 1);
        probe.setConnectTimeout(timeout);
        camera->setStreamStatus(0);
        camera->queueStreamStatus(statuses);
        QCOMPARE(probe.checkConnect(), message.isEmpty());
        QCOMPARE(camera->count("getStreamStatus 3 1"), asked);
        QCOMPARE(camera->calls().size(), asked);
        const int sleeps = message.isEmpty() ? asked - 1 : asked;
        QCOMPARE(probe.time.slept(), sleeps * qint64(100000));
        QCOMPARE(guard->texts(QtInfoMsg), message.isEmpty() ? QStringList{} : QStringList{message});
    }

    void hooks_fail_whenNoDeviceIsBound()
    {
        guard->allow("^dev (pointer )?is null$");
        Stream probe;
        QVERIFY(!probe.checkConnect());
        QVERIFY(!probe.initInput());
        probe.closeVideo();
        QCOMPARE(guard->texts(QtCriticalMsg), QStringList({"dev pointer is null", "dev is null"}));
    }

    void initInput_enablesTheStream_andAsksForAKeyFrame_data()
    {
        QTest::addColumn<int>("result");
        QTest::addColumn<int>("keyFrameResult");
        QTest::addColumn<bool>("succeeds");
        QTest::addColumn<bool>("asks");
        QTest::newRow("success") << 0 << 0 << true << true;
        QTest::newRow("success without a key frame") << 0 << 6 << true << true;
        QTest::newRow("already enabled") << 14 << 0 << true << false;
        QTest::newRow("too many") << 17 << 0 << false << false;
        QTest::newRow("another failure") << 5 << 0 << false << false;
    }
    void initInput_enablesTheStream_andAsksForAKeyFrame()
    {
        QFETCH(int, result);
        QFETCH(int, keyFrameResult);
        QFETCH(bool, succeeds);
        QFETCH(bool, asks);
        guard->allow("^enable media transmit failed ");
        Stream probe(camera, 2, 1);
        camera->setResult("enableMediaTransmit", result);
        camera->setResult("requestVideoIFrame", keyFrameResult);
        QCOMPARE(probe.initInput(), succeeds);
        QStringList calls{"enableMediaTransmit 2 1 true"};
        if (asks)
            calls << "requestVideoIFrame 2 1";
        QCOMPARE(camera->calls(), calls);
        QCOMPARE(guard->texts(QtWarningMsg),
                 succeeds
                     ? QStringList{}
                     : QStringList{QString("enable media transmit failed channel=2, stream=1, ret=%1").arg(result)});
        QCOMPARE(guard->texts(QtInfoMsg),
                 keyFrameResult == 0 ? QStringList{} : QStringList{"request i frame failed! ch: 2, stream: 1, ret: 6"});
        // This family counts no refusals.
        QCOMPARE(probe.log.count("exceed max"), 0);
        QVERIFY(!probe.isStreamExceedMax());
    }

    void closeVideo_endsTheStream_alwaysWhenADeviceIsBound()
    {
        Stream probe(camera, 1, 1);
        camera->setConnectStatus(0);
        camera->setStreamStatus(0);
        probe.closeVideo();
        QCOMPARE(camera->calls(), QStringList({"enableMediaTransmit 1 1 false"}));
    }

    // --- A whole play

    void play_asksTheDevice_inThisOrder()
    {
        camera->script(2, 0).add(DeviceStream::mixed(DeviceStream::h264(), DeviceStream::sound()).mid(0, 3));
        Stream probe(camera, 2, 0);
        QVERIFY(probe.playScript(*camera));
        const QStringList calls{"enableMediaTransmit 2 0 false", // nothing is left from before
                                "getStreamStatus 2 0", //
                                "enableMediaTransmit 2 0 true",
                                "requestVideoIFrame 2 0",
                                "readFrame 2 0 500",
                                "readFrame 2 0 500",
                                "readFrame 2 0 500",
                                "readFrame 2 0 500", // a time-out behind the last frame
                                "enableMediaTransmit 2 0 true",
                                "requestVideoIFrame 2 0",
                                "enableMediaTransmit 2 0 false"};
        QCOMPARE(camera->calls(), calls);
        QCOMPARE(probe.log.lines(),
                 QStringList({"start 0", "size 320x240", "codec changed", "i420 320x240 0", "format 8000 1 16",
                              "sound 640", "i420 320x240 1", "decoder destroyed", "finish"}));
    }

    void play_opensAfterEachSleep_whileTheStreamIsNotConnected()
    {
        Stream probe(camera);
        probe.setOpenSleepTime(2000);
        camera->queueStreamStatus({0, 0, 0, 0, 0, 0, 0, 0, 0, 0}); // two attempts of five tries
        camera->script(0, 0).add(DeviceStream::h264().mid(0, 2));
        bool wasOpenTimeout = false;
        camera->setOnCall([&](const QString& line) {
            if (line == "enableMediaTransmit 0 0 true" && probe.log.count("start") == 0)
                wasOpenTimeout = probe.isOpenTimeout();
        });
        QVERIFY(probe.playScript(*camera));
        QVERIFY(wasOpenTimeout);
        QVERIFY(!probe.isOpenTimeout());
        QCOMPARE(guard->count(QtInfoMsg, "ch0 stream0 st: 0"), 2);
        QCOMPARE(probe.time.slept(), qint64(2 * (500 + 2000) * 1000));
        QCOMPARE(probe.log.numbers(), QVector<int>({0, 1}));
    }

    void play_armsTheStreamAgain_afterATimeout()
    {
        FrameScript& script = camera->script(0, 1);
        Stream probe(camera, 0, 1);
        script.setClock(&probe.time);
        script.add(DeviceStream::h264().mid(0, 2));
        script.addAction([&] { camera->forgetCalls(); });
        script.addResult(8, 2);
        script.addAction([&] {
            QCOMPARE(camera->orders(),
                     QStringList({"enableMediaTransmit 0 1 true", "requestVideoIFrame 0 1",
                                  "enableMediaTransmit 0 1 true", "requestVideoIFrame 0 1"}));
        });
        script.add(DeviceStream::h264().mid(2, 2));
        QVERIFY(probe.playScript(*camera));
        QCOMPARE(probe.log.numbers(), StreamChecks::range(0, 4));
    }

    void recording_followsTheDevice() { StreamChecks::recording_followsTheStream<XMBELiveThread>(camera, true); }

    void frames_tellTheDeviceNothing()
    {
        camera->script(0, 0).add(DeviceStream::h265().mid(0, 30));
        Stream probe(camera);
        QVERIFY(probe.playScript(*camera));
        QCOMPARE(probe.log.numbers(), StreamChecks::range(0, 30));
        QCOMPARE(camera->countOf("setCodecInfo"), 0);
        QCOMPARE(camera->countOf("getCodecInfo"), 0);
    }

    // --- As both families do it

    void readFrame_mapsTheResults() { StreamChecks::readFrame_mapsTheResults<XMBELiveThread>(*guard, camera); }
    void getLatestRecordCodec_asksTheDevice()
    {
        StreamChecks::getLatestRecordCodec_asksTheDevice<XMBELiveThread>(*guard, camera);
    }
    void handlePreviewClose_freesTheDecoders_ofTheMainStream()
    {
        StreamChecks::handlePreviewClose_freesTheDecoders<XMBELiveThread>(camera, 0);
    }
    void handlePreviewClose_keepsTheDecoders_ofOtherStreams()
    {
        StreamChecks::handlePreviewClose_freesTheDecoders<XMBELiveThread>(camera, 1);
    }
    void recording_isNamedByItsTimes() { StreamChecks::recording_isNamedByItsTimes<XMBELiveThread>(camera); }
    void recording_staysInTheFolderOfItsStart()
    {
        StreamChecks::recording_staysInTheFolderOfItsStart<XMBELiveThread>(camera);
    }
    void recording_neverReplacesAnother() { StreamChecks::recording_neverReplacesAnother<XMBELiveThread>(camera); }
    void renameMP4File_onlyReports_whenThereIsNoFile()
    {
        StreamChecks::renameMP4File_onlyReports_whenThereIsNoFile<XMBELiveThread>(*guard, camera);
    }
    void metaObject_addsNothing() { StreamChecks::metaObject_addsNothing<XMBELiveThread>("XMBELiveThread"); }
};

QTEST_GUILESS_MAIN(TestXMBELiveThread)
#include "tst_xmbelivethread.moc"
