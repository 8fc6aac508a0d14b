#include "core_live/ffrtsplivethread.h"
#include "streamchecks.h"
#include "support/rtspserver.h"

namespace {

using Thread = AbstractVideoThread;

constexpr int playMs = 20000;
const QString interruptedRead = "^error count: [123] why: .+";

/// Live streams take their time; so this thread goes by the real one, but for what a test says the date is.
class Probe final : public FFRtspLiveThread
{
public:
    explicit Probe(const QSharedPointer<XNetDevice>& camera = {}, int channelNumber = 0, int streamNumber = 0)
        : log(this)
    {
        setVideoMode(VideoMode_Opengl);
        setConnectTimeout(5000);
        setOpenSleepTime(300);
        previewRef() = 1;
        setStreamChannel(channelNumber, streamNumber);
        if (camera)
            bindDevice(camera);
    }
    ~Probe() override { stopAndWait(); }

    ThreadLog log;

    using FFRtspLiveThread::getLatestRecordCodec;
    using FFRtspLiveThread::parseVideoUrl;
    using FFRtspLiveThread::renameMP4File;
    using FFRtspLiveThread::setMP4FileName;
};

/// The real clock with another beginning.
class ShiftedClock final : public Clock
{
public:
    explicit ShiftedClock(const QDateTime& now)
        : shift(QDateTime::currentDateTime().msecsTo(now))
    {
    }
    QDateTime now() const override { return QDateTime::currentDateTime().addMSecs(shift); }
    qint64 microseconds() const override { return system().microseconds() + shift * 1000; }
    void sleep(qint64 microseconds) override { system().sleep(microseconds); }
    void advance(qint64 milliseconds) { shift += milliseconds; }

private:
    std::atomic<qint64> shift;
};

} // namespace

/// Live streams of devices that are carried over RTSP.
class TestFFRtspLiveThread : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<MessageGuard> guard;
    StreamChecks::Camera camera;
    RtspServer server;

    QString terminated(const QString& mount) { return "thread terminate -> url: " + server.url(mount); }

private Q_SLOTS:
    void initTestCase() { QVERIFY(server.start()); }
    void init()
    {
        guard.reset(new MessageGuard);
        guard->allow(interruptedRead); // a stop interrupts the read that it meets
        camera = StreamChecks::makeCamera(XTransportProtocol_Rtsp);
        camera->setCodecs(0, 0, {1, 320, 240, 0, 1, 0}, {33, 8000, 16, 1});
    }
    void cleanup() { VERIFY_NO_UNEXPECTED_MESSAGES(*guard); }

    // --- The address

    void parseVideoUrl_takesTheAddressOfTheStream_data()
    {
        QTest::addColumn<int>("streamsPerChannel");
        QTest::addColumn<int>("channel");
        QTest::addColumn<int>("stream");
        QTest::addColumn<int>("index"); // -1 where there is none
        QTest::addColumn<QString>("message");
        QTest::newRow("the first") << 2 << 0 << 0 << 0 << "";
        QTest::newRow("the second channel") << 2 << 1 << 0 << 2 << "";
        QTest::newRow("the last") << 3 << 1 << 2 << 5 << "";
        QTest::newRow("beyond the list") << 3 << 2 << 0 << -1 << "urls.size=6, stream=6";
        QTest::newRow("far beyond the list") << 2 << 0 << 99 << -1 << "urls.size=6, stream=99";
        QTest::newRow("before the list") << 2 << 0 << -1 << -1 << "urls.size=6, stream=-1";
    }
    void parseVideoUrl_takesTheAddressOfTheStream()
    {
        QFETCH(int, streamsPerChannel);
        QFETCH(int, channel);
        QFETCH(int, stream);
        QFETCH(int, index);
        QFETCH(QString, message);
        guard->allow("^urls\\.size=");
        camera->setCounts(3, streamsPerChannel);
        camera->setRtspUrls({"rtsp://h/0", "rtsp://h/1", "rtsp://h/2", "rtsp://h/3", "rtsp://h/4", "rtsp://h/5"});
        Probe probe(camera, channel, stream);
        probe.setVideoUrl("before");
        QCOMPARE(probe.parseVideoUrl(), index >= 0);
        QCOMPARE(probe.getVideoUrl(), index >= 0 ? QString("rtsp://h/%1").arg(index) : QString("before"));
        QCOMPARE(guard->texts(QtCriticalMsg), message.isEmpty() ? QStringList{} : QStringList{message});
    }

    void hooks_fail_whenNoDeviceIsBound()
    {
        guard->allow("^dev pointer is null$");
        Probe probe;
        XVideoEncPara video;
        XAudioEncPara audio;
        QVERIFY(!probe.parseVideoUrl());
        QCOMPARE(probe.getLatestRecordCodec(video, audio), -1);
        QCOMPARE(guard->texts(QtCriticalMsg), QStringList({"dev pointer is null", "dev pointer is null"}));
    }

    void getLatestRecordCodec_asksTheDevice()
    {
        guard->allow("^ret = 7$");
        camera->setCodecs(2, 1, {2, 640, 480, 3, 4, 5}, {34, 16000, 16, 2});
        Probe probe(camera, 2, 1);
        XVideoEncPara video;
        XAudioEncPara audio;
        QCOMPARE(probe.getLatestRecordCodec(video, audio), 0);
        QCOMPARE(video, (XVideoEncPara{2, 640, 480, 3, 4, 5}));
        QCOMPARE(audio, (XAudioEncPara{34, 16000, 16, 2}));
        camera->setResult("getCodecInfo", 7);
        QCOMPARE(probe.getLatestRecordCodec(video, audio), -1);
        QCOMPARE(guard->texts(QtCriticalMsg), QStringList("ret = 7"));
        QCOMPARE(camera->calls(), QStringList({"getCodecInfo 2 1", "getCodecInfo 2 1"}));
    }

    void play_triesAgain_untilTheDeviceHasTheAddress()
    {
        guard->allow("^urls\\.size=1, stream=3$");
        guard->allow("^parseVideoUrl failed$");
        camera->setRtspUrls({server.url("h264")});
        Probe probe(camera, 1, 1);
        probe.play();
        QTRY_VERIFY_WITH_TIMEOUT(guard->count(QtCriticalMsg, "urls.size=1, stream=3") >= 3, playMs);
        QVERIFY(probe.isRunning());
        QVERIFY(!probe.getIsOk());
        camera->setRtspUrls({"", "", "", server.url("h264")});
        QTRY_VERIFY_WITH_TIMEOUT(probe.log.numbers().size() >= 10, playMs);
        probe.stopAndWait();
        QCOMPARE(guard->count(QtInfoMsg, terminated("h264")), 1);
        QCOMPARE(probe.log.only({"start", "finish"}), QStringList({"start 0", "finish"}));
    }

    // --- Playing

    void play_showsTheStream_ofTheDevice_data()
    {
        QTest::addColumn<QString>("mount");
        QTest::addColumn<int>("codec");
        QTest::newRow("H.264") << "h264" << 1;
        QTest::newRow("H.264 and A-law") << "h264_pcma" << 1;
        QTest::newRow("H.265") << "h265" << 2;
    }
    void play_showsTheStream_ofTheDevice()
    {
        QFETCH(QString, mount);
        QFETCH(int, codec);
        camera->setRtspUrls({server.url(mount)});
        camera->setCodecs(0, 0, {codec, 320, 240, 0, 1, 0}, {33, 8000, 16, 1});
        Probe probe(camera);
        probe.play();
        QTRY_VERIFY_WITH_TIMEOUT(probe.log.numbers().size() >= 20, playMs);
        if (mount == "h264_pcma")
            QTRY_VERIFY_WITH_TIMEOUT(!probe.log.sound().isEmpty(), playMs);
        probe.stopAndWait();
        const QVector<int> numbers = probe.log.numbers();
        QVERIFY(!numbers.contains(-1));
        QCOMPARE(probe.log.only({"start", "finish"}), QStringList({"start 0", "finish"}));
        // Enabling and reading are not for devices that are reached over RTSP.
        QCOMPARE(camera->countOf("enableMediaTransmit") + camera->countOf("readFrame"), 0);
    }

    void play_opensAgain_atTheCurrentAddress_whenTheDeviceReportsAnotherEncoding()
    {
        camera->setRtspUrls({server.url("h264")});
        Probe probe(camera);
        probe.play();
        QTRY_VERIFY_WITH_TIMEOUT(probe.log.numbers().size() >= 10, playMs);
        camera->setRtspUrls({server.url("h265")});
        QTest::qWait(200); // another address alone is no reason
        QCOMPARE(probe.log.count("finish"), 0);
        camera->setCodecs(0, 0, {2, 320, 240, 0, 1, 0}, {33, 8000, 16, 1});
        QTRY_VERIFY_WITH_TIMEOUT(probe.log.count("start") == 2, playMs);
        probe.log.clear();
        QTRY_VERIFY_WITH_TIMEOUT(probe.log.numbers().size() >= 10, playMs);
        QCOMPARE(probe.getVideoUrl(), server.url("h265"));
        QCOMPARE(guard->count(QtInfoMsg, "reconnect -> url: " + server.url("h264")), 1);
        probe.stopAndWait();
        QCOMPARE(guard->count(QtInfoMsg, terminated("h265")), 1);
    }

    void play_goesOn_whenTheDeviceStopsSayingItsEncoding()
    {
        guard->allow("^ret = 7$");
        camera->setRtspUrls({server.url("h264")});
        Probe probe(camera);
        probe.play();
        QTRY_VERIFY_WITH_TIMEOUT(probe.log.numbers().size() >= 5, playMs);
        camera->setResult("getCodecInfo", 7);
        const int before = probe.log.numbers().size();
        QTRY_VERIFY_WITH_TIMEOUT(probe.log.numbers().size() >= before + 10, playMs);
        QCOMPARE(probe.log.count("finish"), 0);
    }

    // --- Recordings

    void recording_isNamedByItsTimes_andTakesTheDevicesEncoding()
    {
        const QTemporaryDir folder;
        ShiftedClock clock(QDateTime(QDate(2024, 5, 1), QTime(10, 0, 0)));
        camera->setCounts(4, 1);
        camera->setRtspUrls({"", "", "", server.url("h264_pcma")});
        camera->setCodecs(3, 0, {1, 320, 240, 0, 1, 0}, {33, 8000, 16, 1});
        Probe probe(camera, 3, 0);
        probe.setClock(&clock);
        probe.setSavePath(Thread::MANUAL_RECORD, folder.filePath("rec"));
        probe.recordStart(Thread::MANUAL_RECORD);
        probe.play();
        QTRY_VERIFY_WITH_TIMEOUT(probe.hasOpenFile(), playMs);
        const int before = probe.log.numbers().size();
        QTRY_VERIFY_WITH_TIMEOUT(probe.log.numbers().size() >= before + 30, playMs);
        const QStringList open = StreamChecks::filesBelow(folder.path());
        QCOMPARE(open.size(), 1);
        QVERIFY2(open.first().startsWith("rec/2024-05-01/live/20240501T1000"), qPrintable(open.first()));
        probe.recordStop(Thread::MANUAL_RECORD);
        QTRY_VERIFY_WITH_TIMEOUT(!probe.hasOpenFile(), playMs);
        QTRY_VERIFY_WITH_TIMEOUT(probe.log.count("state 0") == 1, playMs);
        const QStringList files = StreamChecks::filesBelow(folder.path());
        QCOMPARE(files.size(), 1);
        const QString start = open.first().section('/', -1).section('.', 0, 0);
        QVERIFY2(files.first().startsWith("rec/2024-05-01/live/" + start + "_20240501T1000"),
                 qPrintable(files.first()));
        QVERIFY(files.first().endsWith("_3.mp4"));
        const MovieFile movie(folder.filePath(files.first()));
        QVERIFY(movie.decodes());
        QCOMPARE(movie.audioStreams(), 1);
        QVERIFY(movie.pictureCount() >= 20);
        probe.stopAndWait();
    }

    void finishedRecording_bearsStartEndAndChannel()
    {
        const QTemporaryDir folder;
        SimulatedClock clock(QDateTime(QDate(2024, 5, 1), QTime(10, 0, 0)));
        Probe probe(camera, 3, 0);
        probe.setClock(&clock);
        probe.setSavePath(Thread::AUTO_RECORD, folder.path());
        probe.setMP4FileName(Thread::AUTO_RECORD);
        const QString name = probe.getFileName(Thread::AUTO_RECORD);
        QCOMPARE(name, folder.filePath("2024-05-01/live/20240501T100000.mp4"));
        QVERIFY(QDir().mkpath(folder.filePath("2024-05-01/live")));
        QFile file(name);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        clock.advance(5 * 60 * qint64(1000000));
        probe.renameMP4File(Thread::AUTO_RECORD);
        QCOMPARE(StreamChecks::filesBelow(folder.path()),
                 QStringList("2024-05-01/live/20240501T100000_20240501T100500_3.mp4"));
    }

    void renameMP4File_onlyReports_whenThereIsNoFile()
    {
        const QTemporaryDir folder;
        guard->allow(" is not exists$");
        Probe probe(camera);
        const QString name = folder.filePath("20240305T091011.mp4");
        probe.setFileName(Thread::MANUAL_RECORD, name);
        probe.renameMP4File(Thread::MANUAL_RECORD);
        QCOMPARE(guard->texts(QtCriticalMsg), QStringList(name + " is not exists"));
        QVERIFY(StreamChecks::filesBelow(folder.path()).isEmpty());
    }

    void metaObject_addsNothing()
    {
        const FFRtspLiveThread thread;
        QCOMPARE(thread.objectName(), QString("FFRtspLiveThread"));
        QCOMPARE(FFRtspLiveThread::staticMetaObject.methodCount(), FFmpegVideoThread::staticMetaObject.methodCount());
    }
};

QTEST_GUILESS_MAIN(TestFFRtspLiveThread)
#include "tst_ffrtsplivethread.moc"
