#include "core_videobase/abstractvideothread.h"

#include "core_videobase/probethread.h"
#include "support/messageguard.h"
#include "support/simulatedclock.h"
#include "support/waiting.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QMetaMethod>
#include <QResizeEvent>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <cstring>
#include <memory>

namespace {

constexpr int shortlyMs = 100;

/// Signatures of the methods that AbstractVideoThread adds, in the order of its meta-object.
QStringList ownMethods(QMetaMethod::MethodType type)
{
    QStringList result;
    const QMetaObject& meta = AbstractVideoThread::staticMetaObject;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        if (meta.method(i).methodType() == type)
            result.append(QString::fromLatin1(meta.method(i).methodSignature()));
    }
    return result;
}

#if defined(__x86_64__) && defined(__GXX_ABI_VERSION)
/// The index of a virtual function in the table of its class: the Itanium ABI stores it in the member pointer as
/// 1 plus the offset in bytes.
template <typename Function>
int slotOf(Function function)
{
    qptrdiff words[2] = {};
    static_assert(sizeof function == sizeof words, "a member pointer is an offset and an adjustment");
    std::memcpy(words, &function, sizeof function);
    return words[0] % 2 == 1 ? static_cast<int>((words[0] - 1) / static_cast<qptrdiff>(sizeof(void*))) : -1;
}
#endif

QImage plainImage(const QColor& color)
{
    QImage image(32, 16, QImage::Format_RGB32);
    image.fill(color);
    return image;
}

bool isNear(const QColor& seen, const QColor& wanted)
{
    constexpr int tolerance = 12;
    return qAbs(seen.red() - wanted.red()) <= tolerance && qAbs(seen.green() - wanted.green()) <= tolerance
        && qAbs(seen.blue() - wanted.blue()) <= tolerance;
}

} // namespace

class TestAbstractVideoThread : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        guard = std::make_unique<MessageGuard>();
        AbstractVideoThread::debugInfo = false;
    }

    void cleanup()
    {
        AbstractVideoThread::debugInfo = false;
        VERIFY_NO_UNEXPECTED_MESSAGES(*guard);
        guard.reset();
    }

    void switches_areOff_whenLoaded()
    {
        QVERIFY(!AbstractVideoThread::debugInfo);
        QVERIFY(!AbstractVideoThread::sharedData);
    }

    void enums_haveTheirValues()
    {
        QCOMPARE(int(AbstractVideoThread::MANUAL_RECORD), 0);
        QCOMPARE(int(AbstractVideoThread::AUTO_RECORD), 1);
        QCOMPARE(int(AbstractVideoThread::RECORD_TYPE_MAX), 2);
        const QMetaEnum meta = QMetaEnum::fromType<AbstractVideoThread::RecordType>();
        QCOMPARE(meta.valueToKey(1), "AUTO_RECORD");
        QCOMPARE(int(VideoCore_None), 0);
        QCOMPARE(int(VideoCore_FFmpeg), 1);
        QCOMPARE(int(VideoCore_Device), 2);
        QCOMPARE(int(VideoMode_Hwnd), 0);
        QCOMPARE(int(VideoMode_Image), 1);
        QCOMPARE(int(VideoMode_Opengl), 2);
        QCOMPARE(int(VideoMode_D3d9), 3);
        QCOMPARE(int(VideoMode_D3d11), 4);
        QCOMPARE(int(DecodeType_Fast), 0);
        QCOMPARE(int(DecodeType_Full), 1);
        QCOMPARE(int(DecodeType_Even), 2);
        QCOMPARE(int(RecorderIdle), 0);
        QCOMPARE(int(RecorderRecording), 1);
        QCOMPARE(int(RecorderPaused), 2);
        QCOMPARE(int(RecorderFailed), 3);
        QCOMPARE(sizeof(VideoCore), sizeof(int));
        QCOMPARE(sizeof(VideoMode), sizeof(int));
        QCOMPARE(sizeof(DecodeType), sizeof(int));
    }

    void constructor_registersRecorderState()
    {
        const ProbeThread thread;
        QVERIFY(QMetaType::type("RecorderState") != QMetaType::UnknownType);
    }

    void constructor_givesDefaults_toSettings()
    {
        const ProbeThread thread;
        QCOMPARE(thread.getVideoUrl(), QString());
        QCOMPARE(thread.getBufferSize(), QString("0x0"));
        QCOMPARE(thread.getCaching(), 500);
        QCOMPARE(thread.getConnectTimeout(), 500);
        QCOMPARE(thread.getReadTimeout(), 0);
        QCOMPARE(thread.getOpenSleepTime(), 3000);
        QCOMPARE(int(thread.getDecodeType()), 0);
        QCOMPARE(int(thread.getVideoCore()), 0);
        QCOMPARE(int(thread.getVideoMode()), 0);
        QCOMPARE(thread.getHardware(), QString("none"));
        QCOMPARE(thread.getTransport(), QString("tcp"));
        QCOMPARE(thread.getFrameRate(), 0);
        QCOMPARE(thread.getRotate(), 0);
        QCOMPARE(thread.getPlayRepeat(), false);
        QCOMPARE(thread.getSnapName(), QString());
    }

    void constructor_givesDefaults_toState()
    {
        const QDateTime before = QDateTime::currentDateTime();
        QObject parent;
        auto& thread = *new ProbeThread(&parent);
        QCOMPARE(thread.owner, &parent);
        QCOMPARE(thread.parent(), &parent);
        QVERIFY(thread.mutex.tryLock());
        thread.mutex.unlock();
        QVERIFY(!thread.stopped && !thread.getIsOk() && !thread.getIsPause() && !thread.getIsSnap());
        QCOMPARE(thread.flag, QString());
        QCOMPARE(thread.errorCount, 0);
        QVERIFY(thread.lastTime >= before && thread.lastTime <= QDateTime::currentDateTime());
        QVERIFY(!thread.getTimer().isValid());
        QCOMPARE(thread.videoSize, QString("0x0"));
        QCOMPARE(thread.getVideoWidth(), 0);
        QCOMPARE(thread.getVideoHeight(), 0);
        QCOMPARE(thread.sampleRate.load(), 8000);
        QCOMPARE(thread.channelCount.load(), 1);
        QCOMPARE(thread.audioProfile.load(), 1);
        QCOMPARE(thread.getOnlyAudio(), false);
        QCOMPARE(thread.getDuration(), 0);
        QCOMPARE(thread.getPosition(), 0);
        QCOMPARE(thread.getSpeed(), 1.0);
        QCOMPARE(thread.openTimeout.load(), 0);
        QVERIFY(!thread.isOpenTimeout() && !thread.isReadTimeout());
        QVERIFY(!thread.keyFrameSeen && !thread.snapPreview && !thread.opened);
        QCOMPARE(thread.previewRef().load(), 0);
        QCOMPARE(thread.isOwned().load(), false);
        QCOMPARE(thread.referenceCount(), 0);
    }

    void constructor_givesDefaults_toEveryRecordType()
    {
        ProbeThread thread;
        constexpr size_t types = AbstractVideoThread::RECORD_TYPE_MAX;
        QCOMPARE(size_t(thread.saveInterval.size()), types);
        QCOMPARE(size_t(thread.savePath.size()), types);
        QCOMPARE(size_t(thread.recording.size()), types);
        QCOMPARE(size_t(thread.saveAudio.size()), types);
        QCOMPARE(size_t(thread.recordTimers.size()), types);
        QCOMPARE(size_t(thread.fileName.size()), types);
        for (const auto type : {AbstractVideoThread::MANUAL_RECORD, AbstractVideoThread::AUTO_RECORD}) {
            QCOMPARE(thread.getSaveInterval(type), -1);
            QCOMPARE(thread.savePath.at(type), QString(""));
            QCOMPARE(thread.isRecording(type), false);
            QCOMPARE(thread.saveAudio[type].load(), true);
            QVERIFY(!thread.recordTimers.at(type).isValid());
            QCOMPARE(thread.getFileName(type), QString(""));
        }
    }

    void setters_areReadBack()
    {
        ProbeThread thread;
        thread.setVideoUrl("rtsp://camera/1");
        thread.setBufferSize("640x480");
        thread.setCaching(250);
        thread.setConnectTimeout(1500);
        thread.setReadTimeout(4000);
        thread.setOpenSleepTime(700);
        thread.setDecodeType(DecodeType_Even);
        thread.setVideoCore(VideoCore_FFmpeg);
        thread.setVideoMode(VideoMode_D3d11);
        thread.setHardware("vaapi");
        thread.setTransport("udp");
        thread.setFrameRate(25);
        thread.setRotate(270);
        thread.setPlayRepeat(true);
        thread.setSnapName("a.jpg");
        thread.setFlag("door");
        thread.setSnapPreview(true);
        QCOMPARE(thread.getVideoUrl(), QString("rtsp://camera/1"));
        QCOMPARE(thread.getBufferSize(), QString("640x480"));
        QCOMPARE(thread.getCaching(), 250);
        QCOMPARE(thread.getConnectTimeout(), 1500);
        QCOMPARE(thread.getReadTimeout(), 4000);
        QCOMPARE(thread.getOpenSleepTime(), 700);
        QCOMPARE(thread.getDecodeType(), DecodeType_Even);
        QCOMPARE(thread.getVideoCore(), VideoCore_FFmpeg);
        QCOMPARE(thread.getVideoMode(), VideoMode_D3d11);
        QCOMPARE(thread.getHardware(), QString("vaapi"));
        QCOMPARE(thread.getTransport(), QString("udp"));
        QCOMPARE(thread.getFrameRate(), 25);
        QCOMPARE(thread.getRotate(), 270);
        QCOMPARE(thread.getPlayRepeat(), true);
        QCOMPARE(thread.getSnapName(), QString("a.jpg"));
        QCOMPARE(thread.flag, QString("door"));
        QVERIFY(thread.snapPreview);
        thread.isOk = true;
        thread.onlyAudio = true;
        thread.openTimeout = 1;
        thread.timeoutHit = true;
        QVERIFY(thread.getIsOk() && thread.getOnlyAudio() && thread.isOpenTimeout() && thread.isReadTimeout());
    }

    void recordSettings_areKeptPerType()
    {
        ProbeThread thread;
        thread.setSaveInterval(AbstractVideoThread::AUTO_RECORD, 60);
        thread.setSavePath(AbstractVideoThread::AUTO_RECORD, "/records");
        thread.setSaveAudio(AbstractVideoThread::AUTO_RECORD, false);
        thread.setFileName(AbstractVideoThread::AUTO_RECORD, "auto.mp4");
        QCOMPARE(thread.getSaveInterval(AbstractVideoThread::AUTO_RECORD), 60);
        QCOMPARE(thread.getSaveInterval(AbstractVideoThread::MANUAL_RECORD), -1);
        QCOMPARE(thread.savePath, (QVector<QString>{"", "/records"}));
        QVERIFY(thread.saveAudio[AbstractVideoThread::MANUAL_RECORD]);
        QVERIFY(!thread.saveAudio[AbstractVideoThread::AUTO_RECORD]);
        QCOMPARE(thread.getFileName(AbstractVideoThread::AUTO_RECORD), QString("auto.mp4"));
        QCOMPARE(thread.getFileName(AbstractVideoThread::MANUAL_RECORD), QString(""));
    }

    void recordSettings_areIgnored_whenTypeIsOutOfRange_data()
    {
        QTest::addColumn<int>("index");
        QTest::newRow("below") << -1;
        QTest::newRow("maximum") << int(AbstractVideoThread::RECORD_TYPE_MAX);
        QTest::newRow("far above") << 1000;
    }

    void recordSettings_areIgnored_whenTypeIsOutOfRange()
    {
        QFETCH(int, index);
        const auto type = static_cast<AbstractVideoThread::RecordType>(index);
        ProbeThread thread;
        thread.setSaveInterval(type, 60);
        thread.setSavePath(type, "/records");
        thread.setSaveAudio(type, false);
        thread.setFileName(type, "a.mp4");
        thread.recordStart(type);
        QCOMPARE(thread.getSaveInterval(type), -1);
        QCOMPARE(thread.getFileName(type), QString());
        QVERIFY(!thread.isRecording(type));
        thread.recordStop(type);
        QCOMPARE(thread.referenceCount(), 0);
        QCOMPARE(thread.getSaveInterval(AbstractVideoThread::MANUAL_RECORD), -1);
        QCOMPARE(thread.getSaveInterval(AbstractVideoThread::AUTO_RECORD), -1);
        QCOMPARE(thread.savePath, (QVector<QString>{"", ""}));
        QCOMPARE(thread.fileName, (QVector<QString>{"", ""}));
    }

    void referenceCount_addsDisplaysAndRecordings()
    {
        ProbeThread thread;
        thread.previewRef() += 2;
        thread.recordStart(AbstractVideoThread::MANUAL_RECORD);
        QCOMPARE(thread.referenceCount(), 3);
        thread.recordStart(AbstractVideoThread::AUTO_RECORD);
        QCOMPARE(thread.referenceCount(), 4);
        QVERIFY(thread.isRecording(AbstractVideoThread::AUTO_RECORD));
        thread.recordStop(AbstractVideoThread::MANUAL_RECORD);
        QCOMPARE(thread.referenceCount(), 3);
        thread.previewRef() = 0;
        QCOMPARE(thread.referenceCount(), 1);
    }

    void signals_areDeclaredInOrder()
    {
        QCOMPARE(ownMethods(QMetaMethod::Signal),
                 (QStringList{"receivePlayStart(int)", "receivePlayFinsh(QObject*)", "receiveImage(QImage,int)",
                              "snapImage(QImage,QString)", "receiveSizeChanged()",
                              "recorderStateChanged(RecorderState,QString)", "receiveCodecChanged()",
                              "receiveFrame(int,int,quint8*,quint8*,quint8*,uint,uint,uint)",
                              "receiveFrame(int,int,quint8*,quint8*,uint,uint)",
                              "receiveFrame(int,int,quint8*,bool)", "receiveFrame(int,int,quint8*,int,bool)",
                              "receiveAudioFormat(int,int,int)", "receiveAudio(QByteArray)", "receiveVolume(int)",
                              "receiveMuted(bool)", "receiveDuration(qlonglong)", "receivePosition(qlonglong)",
                              "sig_decoderDestroyed()", "sig_connExceedMax()", "sig_otherError()"}));
    }

    void slots_areDeclaredInOrder()
    {
        QCOMPARE(ownMethods(QMetaMethod::Slot),
                 (QStringList{"debug(QString,QString,QString)", "setImage(QImage)",
                              "setYuv(quint8*,quint8*,quint8*,int,int)", "setPcm(const char*,int)", "readMediaInfo()",
                              "getDuration()", "getPosition()", "setPosition(qlonglong)", "getSpeed()",
                              "setSpeed(double)", "stop2()", "play()", "stop()", "pause()", "next()",
                              "snap(QString)", "snap()", "snapFinsh()"}));
        const QMetaObject& meta = AbstractVideoThread::staticMetaObject;
        for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
            QCOMPARE(meta.method(i).access(), QMetaMethod::Public);
    }

#if defined(__x86_64__) && defined(__GXX_ABI_VERSION)
    void virtualFunctions_followThoseOfQThread_inOrder()
    {
        int next = slotOf(&QThread::eventFilter) + 7; // timerEvent to run of QThread come between
        QCOMPARE(slotOf(&AbstractVideoThread::eventFilter), slotOf(&QThread::eventFilter));
        QCOMPARE(slotOf(&AbstractVideoThread::setReadTimeout), next++);
        QCOMPARE(slotOf(static_cast<void (AbstractVideoThread::*)()>(&ProbeThread::setGeometry)), next++);
        QCOMPARE(slotOf(&ProbeThread::checkOpen), next++);
        QCOMPARE(slotOf(&ProbeThread::setMP4FileName), next++);
        QCOMPARE(slotOf(&ProbeThread::renameMP4File), next++);
        QCOMPARE(slotOf(&AbstractVideoThread::readMediaInfo), next++);
        QCOMPARE(slotOf(&AbstractVideoThread::getDuration), next++);
        QCOMPARE(slotOf(&AbstractVideoThread::getPosition), next++);
        QCOMPARE(slotOf(&AbstractVideoThread::setPosition), next++);
        QCOMPARE(slotOf(&AbstractVideoThread::getSpeed), next++);
        QCOMPARE(slotOf(&AbstractVideoThread::setSpeed), next++);
        QCOMPARE(slotOf(&AbstractVideoThread::stop2), next++);
        QCOMPARE(slotOf(&AbstractVideoThread::play), next++);
        QCOMPARE(slotOf(&AbstractVideoThread::stop), next++);
        QCOMPARE(slotOf(&AbstractVideoThread::pause), next++);
        QCOMPARE(slotOf(&AbstractVideoThread::next), next++);
        QCOMPARE(slotOf(&AbstractVideoThread::snap), next++);
        QCOMPARE(slotOf(&AbstractVideoThread::snapFinsh), next++);
    }
#endif

    void setVideoSize_readsBothNumbers_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QSize>("size");
        QTest::newRow("star") << "1280*720" << QSize(1280, 720);
        QTest::newRow("x") << "1280x720" << QSize(1280, 720);
        QTest::newRow("word") << "auto" << QSize(352, 288);
        QTest::newRow("empty") << "" << QSize(352, 288);
        QTest::newRow("three parts") << "1x2x3" << QSize(352, 288);
        QTest::newRow("star before x") << "1x2*3" << QSize(0, 3);
        QTest::newRow("no number") << "wide*720" << QSize(0, 720);
        QTest::newRow("max") << "max" << QSize(0, 0);
    }

    void setVideoSize_readsBothNumbers()
    {
        QFETCH(QString, text);
        QFETCH(QSize, size);
        ProbeThread thread;
        thread.setVideoSize("352x288");
        thread.setVideoSize(text);
        QCOMPARE(thread.videoSize, text);
        QCOMPARE(QSize(thread.getVideoWidth(), thread.getVideoHeight()), size);
    }

    void checkVideoSize_doesNothing_whenNoSizeIsKnown()
    {
        ProbeThread thread;
        QSignalSpy changed(&thread, &AbstractVideoThread::receiveSizeChanged);
        thread.checkVideoSize(1920, 1080);
        QCOMPARE(QSize(thread.getVideoWidth(), thread.getVideoHeight()), QSize(0, 0));
        QCOMPARE(changed.count(), 0);
    }

    void checkVideoSize_storesAndSignals_whenSizeDiffers()
    {
        ProbeThread thread;
        thread.setVideoSize("640x480");
        QSignalSpy changed(&thread, &AbstractVideoThread::receiveSizeChanged);
        thread.checkVideoSize(640, 480);
        thread.checkVideoSize(0, 1080);
        thread.checkVideoSize(1920, 0);
        thread.checkVideoSize(-1, -1);
        QCOMPARE(changed.count(), 0);
        thread.checkVideoSize(640, 360);
        QCOMPARE(changed.count(), 1);
        thread.checkVideoSize(1920, 360);
        QCOMPARE(changed.count(), 2);
        QCOMPARE(QSize(thread.getVideoWidth(), thread.getVideoHeight()), QSize(1920, 360));
    }

    void checkVideoSize_doesNothing_whenOneStoredNumberIsZero()
    {
        ProbeThread thread;
        thread.setVideoSize("640x0");
        QSignalSpy changed(&thread, &AbstractVideoThread::receiveSizeChanged);
        thread.checkVideoSize(1920, 1080);
        QCOMPARE(QSize(thread.getVideoWidth(), thread.getVideoHeight()), QSize(640, 0));
        QCOMPARE(changed.count(), 0);
    }

    void checkVideoSize_signalsInTheOwningThread_whenCalledByTheWorker()
    {
        ProbeThread thread;
        thread.setVideoSize("640x480");
        thread.work = [](ProbeThread& self) { self.checkVideoSize(1280, 720); };
        QThread* signalling = nullptr;
        connect(&thread, &AbstractVideoThread::receiveSizeChanged, &thread,
                [&] { signalling = QThread::currentThread(); }, Qt::DirectConnection);
        thread.play();
        QVERIFY(thread.wait());
        QVERIFY(!signalling);
        QTRY_COMPARE(signalling, QThread::currentThread());
    }

    void checkCameraUrl_takesTheAddressApart_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("resolution");
        QTest::addColumn<int>("rate");
        QTest::newRow("all three") << "cam|1280*720|25" << "cam" << "1280x720" << 25;
        QTest::newRow("x") << "cam|1280x720|25" << "cam" << "1280x720" << 25;
        QTest::newRow("no size") << "cam|big" << "cam" << "640x480" << 7;
        QTest::newRow("size zero") << "cam|0x0" << "cam" << "640x480" << 7;
        QTest::newRow("no number") << "cam|ax720" << "cam" << "0x720" << 7;
        QTest::newRow("name alone") << "cam" << "cam" << "1x1" << 7;
        QTest::newRow("empty size") << "cam||30" << "cam" << "640x480" << 30;
        QTest::newRow("four parts") << "cam|2*3|30|x" << "cam" << "2x3" << 30;
        QTest::newRow("rate no number") << "cam|2*3|fast" << "cam" << "2x3" << 0;
    }

    void checkCameraUrl_takesTheAddressApart()
    {
        QFETCH(QString, url);
        QString name;
        QString resolution = "1x1";
        int rate = 7;
        AbstractVideoThread::checkCameraUrl(url, name, resolution, rate);
        QTEST(name, "name");
        QTEST(resolution, "resolution");
        QTEST(rate, "rate");
    }

    void checkCameraUrl_replacesTheCallersZeroSize_whenAddressHasNone()
    {
        QString name;
        QString resolution = "0x0";
        int rate = 7;
        AbstractVideoThread::checkCameraUrl("cam", name, resolution, rate);
        QCOMPARE(resolution, QString("640x480"));
        QCOMPARE(rate, 7);
    }

    void checkPath_removesAllDots_whenPathIsRelativeToTheProgram()
    {
        const QString made = QCoreApplication::applicationDirPath() + "/snapv1";
        QDir(made).removeRecursively();
        AbstractVideoThread::checkPath("./snap.v1/a.jpg");
        QVERIFY(QFileInfo(made).isDir());
        QVERIFY(QDir(made).removeRecursively());
    }

    void checkPath_makesAllParents()
    {
        const QTemporaryDir directory;
        AbstractVideoThread::checkPath(directory.filePath("a.b/c/d/e.jpg"));
        QVERIFY(QFileInfo(directory.filePath("a.b/c/d")).isDir());
        QVERIFY(!QFileInfo::exists(directory.filePath("a.b/c/d/e.jpg")));
        AbstractVideoThread::checkPath(directory.filePath("a.b/c/d/e.jpg")); // exists now
        QVERIFY(QFileInfo(directory.filePath("a.b/c/d")).isDir());
    }

    void play_startsOnce_whenCalledTwice()
    {
        ProbeThread thread;
        thread.stopped = true;
        thread.isPause = true;
        thread.isSnap = true;
        thread.play();
        QVERIFY(thread.isRunning());
        QVERIFY(!thread.stopped && !thread.getIsPause() && !thread.getIsSnap());
        thread.pause();
        thread.play();
        QVERIFY(thread.getIsPause()); // a second play() that did anything would have cleared it
        thread.stop();
        QVERIFY(thread.wait());
        QCOMPARE(thread.runs.load(), 1);
    }

    void play_startsAgain_whenStopped()
    {
        ProbeThread thread;
        for (int run = 1; run <= 3; ++run) {
            thread.play();
            QTRY_COMPARE(thread.runs.load(), run);
            thread.stop();
            QVERIFY(thread.wait());
        }
    }

    void stopPauseNext_changeNothing_whenNotRunning()
    {
        ProbeThread thread;
        thread.pause();
        QVERIFY(!thread.getIsPause());
        thread.isPause = true;
        thread.isSnap = true;
        thread.next();
        QVERIFY(thread.getIsPause());
        thread.stop();
        QVERIFY(!thread.stopped && thread.getIsPause() && thread.getIsSnap());
    }

    void pauseAndNext_switch_whenRunning()
    {
        ProbeThread thread;
        thread.play();
        thread.pause();
        QVERIFY(thread.getIsPause());
        thread.next();
        QVERIFY(!thread.getIsPause());
        thread.pause();
        thread.isSnap = true;
        thread.stop();
        QVERIFY(thread.stopped && !thread.getIsPause() && !thread.getIsSnap());
        QVERIFY(thread.wait());
    }

    void checkOpen_waitsInSteps_whenSourceDoesNotOpen_data()
    {
        QTest::addColumn<int>("sleepTime");
        QTest::addColumn<int>("steps");
        QTest::newRow("default") << 3000 << 30;
        QTest::newRow("cut") << 299 << 2;
        QTest::newRow("too short") << 99 << 0;
        QTest::newRow("negative") << -500 << 0;
    }

    void checkOpen_waitsInSteps_whenSourceDoesNotOpen()
    {
        QFETCH(int, sleepTime);
        QFETCH(int, steps);
        SimulatedClock clock;
        ProbeThread thread;
        thread.setClock(&clock);
        thread.setOpenSleepTime(sleepTime);
        thread.opened = true;
        thread.checkOpen();
        QCOMPARE(clock.sleepCount(), steps);
        QCOMPARE(clock.slept(), steps * 100000);
        QVERIFY(!thread.opened);
    }

    void checkOpen_returnsAtOnce_whenSourceIsOpen()
    {
        SimulatedClock clock;
        ProbeThread thread;
        thread.setClock(&clock);
        thread.isOk = true;
        thread.checkOpen();
        QCOMPARE(clock.sleepCount(), 0);
        QVERIFY(thread.opened);
    }

    void checkOpen_copiesTheOutcome_whenStopped()
    {
        SimulatedClock clock;
        ProbeThread thread;
        thread.setClock(&clock);
        thread.stopped = true;
        thread.checkOpen();
        QVERIFY(!thread.opened);
        thread.isOk = true;
        thread.checkOpen();
        QVERIFY(thread.opened);
        QCOMPARE(clock.sleepCount(), 0);
    }

    void checkOpen_endsEarly_whenSourceOpensOrIsStoppedMeanwhile()
    {
        for (const bool opens : {true, false}) {
            ProbeThread thread;
            thread.setOpenSleepTime(600000);
            thread.work = [](ProbeThread& self) { self.checkOpen(); };
            thread.play();
            (opens ? thread.isOk : thread.stopped) = true;
            QVERIFY(thread.wait(5000));
            QCOMPARE(thread.opened.load(), opens);
        }
    }

    void stop2_reopensInPlace_whenReopeningIsOn()
    {
        AbstractVideoThread::debugInfo = true;
        VideoWidget widget;
        auto& thread = *new ProbeThread(&widget);
        thread.setVideoUrl("rtsp://camera/1");
        thread.setReadTimeout(1);
        thread.play();
        thread.isOk = true;
        thread.stop2();
        QVERIFY(!thread.getIsOk());
        QVERIFY(thread.isRunning() && !thread.stopped);
        QCOMPARE(widget.stops, 0);
        QCOMPARE(guard->count(QtInfoMsg, "重新打开 地址: rtsp://camera/1"), 1);
    }

    void stop2_stopsTheWidget_whenReopeningIsImpossible_data()
    {
        QTest::addColumn<int>("readTimeout");
        QTest::addColumn<bool>("isOk");
        QTest::addColumn<bool>("runs");
        QTest::newRow("no reopening") << 0 << true << true;
        QTest::newRow("not open") << 1000 << false << true;
        QTest::newRow("not running") << 1000 << true << false;
    }

    void stop2_stopsTheWidget_whenReopeningIsImpossible()
    {
        QFETCH(int, readTimeout);
        QFETCH(bool, isOk);
        QFETCH(bool, runs);
        DerivedVideoWidget outer;
        DerivedVideoWidget inner(&outer);
        QObject between(&inner);
        auto& thread = *new ProbeThread(&between);
        thread.setReadTimeout(readTimeout);
        if (runs)
            thread.play();
        thread.isOk = isOk;
        thread.stop2();
        QCOMPARE(inner.stops, 1);
        QCOMPARE(outer.stops, 0);
        QCOMPARE(thread.getIsOk(), isOk);
    }

    void stop2_doesNothing_whenNoWidgetIsAbove()
    {
        QObject parent;
        auto& thread = *new ProbeThread(&parent);
        thread.isOk = true;
        thread.stop2();
        QVERIFY(thread.getIsOk());
        ProbeThread orphan;
        orphan.stop2();
    }

    void eventFilter_setsGeometry_onResizeAlone()
    {
        ProbeThread thread;
        QObject watched;
        watched.installEventFilter(&thread);
        QEvent other(QEvent::Move);
        QCoreApplication::sendEvent(&watched, &other);
        QCOMPARE(thread.geometryCalls, 0);
        QResizeEvent resize(QSize(2, 2), QSize(1, 1));
        QCoreApplication::sendEvent(&watched, &resize);
        QCOMPARE(thread.geometryCalls, 1);
        QCOMPARE(thread.eventFilter(&watched, &resize), false);
    }

    void debug_isSilent_whenSwitchedOff()
    {
        ProbeThread thread;
        thread.debug("head", "message");
        thread.debug("head", "message", "url");
        QCOMPARE(guard->messages().size(), 0);
    }

    void debug_writesOneLine_whenSwitchedOn()
    {
        AbstractVideoThread::debugInfo = true;
        ProbeThread thread;
        thread.setVideoUrl("rtsp://camera/1");
        thread.debug("打开超时", "message");
        thread.debug("打开超时", "message", "other");
        thread.debug("", "message");
        thread.setFlag("door");
        thread.debug("打开超时", "message \"quoted\"");
        QCOMPARE(guard->texts(QtInfoMsg),
                 (QStringList{"打开超时 -> message 地址: rtsp://camera/1", "打开超时 -> message 地址: other",
                              "message 地址: rtsp://camera/1",
                              "打开超时 -> 标识[door] message \"quoted\" 地址: rtsp://camera/1"}));
        QVERIFY(guard->messages().constFirst().function.contains("AbstractVideoThread::debug"));
    }

    void updateTime_takesTheClocksTime()
    {
        SimulatedClock clock;
        ProbeThread thread;
        thread.setClock(&clock);
        clock.advance(5000000);
        thread.updateTime();
        QCOMPARE(thread.lastTime, clock.now());
    }

    void setImage_showsTheImage()
    {
        SimulatedClock clock;
        ProbeThread thread;
        thread.setClock(&clock);
        QSignalSpy images(&thread, &AbstractVideoThread::receiveImage);
        thread.setImage(plainImage(Qt::red));
        QCOMPARE(images.count(), 1);
        QCOMPARE(images.at(0).at(0).value<QImage>(), plainImage(Qt::red));
        QCOMPARE(images.at(0).at(1).toInt(), 0);
        QCOMPARE(thread.lastTime, clock.now());
    }

    void setYuv_showsThePlanes()
    {
        SimulatedClock clock;
        ProbeThread thread;
        thread.setClock(&clock);
        quint8 y = 1;
        quint8 u = 2;
        quint8 v = 3;
        QVector<quint32> lines;
        QVector<quint8*> planes;
        QSize size;
        connect(&thread,
                QOverload<int, int, quint8*, quint8*, quint8*, quint32, quint32, quint32>::of(
                    &AbstractVideoThread::receiveFrame),
                this,
                [&](int width, int height, quint8* dataY, quint8* dataU, quint8* dataV, quint32 lineY, quint32 lineU,
                    quint32 lineV) {
                    size = QSize(width, height);
                    planes = {dataY, dataU, dataV};
                    lines = {lineY, lineU, lineV};
                });
        thread.setYuv(&y, &u, &v, 321, 240);
        QCOMPARE(size, QSize(321, 240));
        QCOMPARE(planes, (QVector<quint8*>{&y, &u, &v}));
        QCOMPARE(lines, (QVector<quint32>{321, 160, 160}));
        QCOMPARE(thread.lastTime, clock.now());
    }

    void setPcm_playsACopy()
    {
        SimulatedClock clock;
        ProbeThread thread;
        thread.setClock(&clock);
        QSignalSpy sound(&thread, &AbstractVideoThread::receiveAudio);
        char samples[] = {1, 0, 2, 0, 9};
        thread.setPcm(samples, 4);
        samples[0] = 7;
        QCOMPARE(sound.count(), 1);
        QCOMPARE(sound.at(0).at(0).toByteArray(), QByteArray("\1\0\2\0", 4));
        QCOMPARE(thread.lastTime, clock.now());
    }

    void setPosition_storesAndSignals()
    {
        ProbeThread thread;
        QSignalSpy positions(&thread, &AbstractVideoThread::receivePosition);
        thread.setPosition(qint64(1) << 40);
        QCOMPARE(thread.getPosition(), qint64(1) << 40);
        QCOMPARE(positions.count(), 1);
        QCOMPARE(positions.at(0).at(0).toLongLong(), qint64(1) << 40);
        thread.setSpeed(2.0);
        QCOMPARE(thread.getSpeed(), 1.0);
    }

    void snap_doesNothing_withoutDisplayOrWhileNotRunning()
    {
        const QTemporaryDir directory;
        ProbeThread thread;
        thread.setSnapName("before.jpg");
        thread.previewRef() = 1;
        thread.snap(directory.filePath("a/b.jpg"));
        QVERIFY(!thread.getIsSnap());
        thread.previewRef() = 0;
        thread.play();
        thread.snap(directory.filePath("a/b.jpg"));
        QVERIFY(!thread.getIsSnap());
        QCOMPARE(thread.getSnapName(), QString("before.jpg"));
        QVERIFY(!QFileInfo::exists(directory.filePath("a")));
    }

    void snap_asksForAPicture_whenShown()
    {
        const QTemporaryDir directory;
        ProbeThread thread;
        thread.previewRef() = 1;
        thread.play();
        thread.snap(directory.filePath("a/b.jpg"));
        QVERIFY(thread.getIsSnap());
        QCOMPARE(thread.getSnapName(), directory.filePath("a/b.jpg"));
        QVERIFY(QFileInfo(directory.filePath("a")).isDir());
    }

    void snapFinsh_emitsTheWrittenImage_whenPreviewIsOn()
    {
        const QTemporaryDir directory;
        const QString name = directory.filePath("a.jpg");
        QVERIFY(plainImage(Qt::blue).save(name, "jpg"));
        ProbeThread thread;
        QSignalSpy snapped(&thread, &AbstractVideoThread::snapImage);
        thread.setSnapName(name);
        thread.isSnap = true;
        thread.snapFinsh();
        QVERIFY(!thread.getIsSnap());
        QCOMPARE(snapped.count(), 0);

        thread.setSnapPreview(true);
        thread.snapFinsh();
        QCOMPARE(snapped.count(), 1);
        QVERIFY(isNear(snapped.at(0).at(0).value<QImage>().pixelColor(5, 5), Qt::blue));
        QCOMPARE(snapped.at(0).at(1).toString(), name);
    }

    void snapFinsh_replacesPngByJpg()
    {
        const QTemporaryDir directory;
        const QString name = directory.filePath("a.png");
        QVERIFY(plainImage(Qt::blue).save(name, "jpg")); // what the worker writes, whatever the name says
        ProbeThread thread;
        thread.setSnapPreview(true);
        QSignalSpy snapped(&thread, &AbstractVideoThread::snapImage);
        thread.setSnapName(name);
        thread.isSnap = true;
        thread.snapFinsh();
        const QString renamed = directory.filePath("a.jpg");
        QVERIFY(!QFile::exists(name));
        QCOMPARE(thread.getSnapName(), renamed);
        QFile written(renamed);
        QVERIFY(written.open(QIODevice::ReadOnly));
        QCOMPARE(written.read(3), QByteArray("\xff\xd8\xff"));
        QVERIFY(isNear(QImage(renamed).pixelColor(5, 5), Qt::blue));
        QVERIFY(!thread.getIsSnap());
        QCOMPARE(snapped.count(), 1);
        QCOMPARE(snapped.at(0).at(0).value<QImage>().size(), QSize(32, 16));
        QCOMPARE(snapped.at(0).at(1).toString(), renamed);
    }

    void restart_startsAgain_whenRunHasEnded()
    {
        ProbeThread thread;
        thread.work = [](ProbeThread& self) {
            if (self.runs == 1)
                self.restart();
            else
                self.waitForStop();
        };
        thread.play();
        QVERIFY(thread.wait()); // the request waits in the queue of this thread meanwhile
        QCOMPARE(thread.runs.load(), 1);
        QTRY_COMPARE(thread.runs.load(), 2);
        QVERIFY(thread.isRunning());
    }

    void restart_isNotLost_whenRunIsStillReturning()
    {
        ProbeThread thread;
        thread.work = [](ProbeThread& self) {
            if (self.runs > 5)
                return self.waitForStop();
            self.restart();
            QThread::msleep(20); // the request is served now, while the thread still runs
        };
        thread.play();
        QTRY_COMPARE(thread.runs.load(), 6);
    }

    void restart_isDropped_whenStoppedBefore()
    {
        ProbeThread thread;
        thread.work = [](ProbeThread& self) { self.restart(); };
        thread.play();
        QVERIFY(thread.wait());
        thread.stop();
        QVERIFY(!Waiting::until([&] { return thread.runs > 1; }, shortlyMs));
        QCOMPARE(thread.runs.load(), 1);
    }

    // The request must not wait for the run that play() started: nobody would be left to stop it.
    void restart_startsOnlyOnce_whenPlayComesFirst()
    {
        ProbeThread thread;
        thread.work = [](ProbeThread& self) {
            if (self.runs == 1)
                self.restart();
            else
                self.waitForStop();
        };
        thread.play();
        QVERIFY(thread.wait());
        thread.play();
        QTRY_COMPARE(thread.runs.load(), 2);
        thread.stop();
        QVERIFY(!Waiting::until([&] { return thread.runs > 2; }, shortlyMs));
    }

    void stopAndWait_endsRestartsToo()
    {
        ProbeThread thread;
        thread.work = [](ProbeThread& self) { self.restart(); };
        thread.play();
        QTRY_VERIFY(thread.runs > 3);
        thread.stopAndWait();
        const int runs = thread.runs;
        QVERIFY(!thread.isRunning());
        QVERIFY(!Waiting::until([&] { return thread.runs > runs; }, shortlyMs));
    }

    void stopAndWait_returns_whenThreadNeverRan()
    {
        ProbeThread thread;
        thread.stopAndWait();
        QVERIFY(!thread.isRunning());
    }

    void stopAndWait_servesTheWorker_whenItWaitsInABlockingSignal()
    {
        ProbeThread thread;
        std::atomic<int> sent{0};
        int received = 0;
        connect(&thread, &AbstractVideoThread::receiveImage, this, [&] { ++received; }, Qt::BlockingQueuedConnection);
        thread.work = [&sent](ProbeThread& self) {
            const QImage image = plainImage(Qt::red);
            do {
                ++sent;
                Q_EMIT self.receiveImage(image, 0);
            } while (!self.stopped);
        };
        thread.play();
        while (sent == 0)
            QThread::yieldCurrentThread(); // no events: the worker has to be stuck in its signal now or soon
        QThread::msleep(20);
        QCOMPARE(received, 0);
        thread.stopAndWait();
        QVERIFY(!thread.isRunning());
        QCOMPARE(received, sent.load());
    }

    void stopAndWait_stopsAgain_whenTheWorkerClearedTheFlag()
    {
        ProbeThread thread;
        std::atomic<int> seen{0};
        thread.work = [&seen](ProbeThread& self) {
            for (; seen < 3; ++seen) {
                self.waitForStop();
                self.stopped = false; // as a closing source does
            }
        };
        thread.play();
        thread.stopAndWait();
        QVERIFY(!thread.isRunning());
        QCOMPARE(seen.load(), 3);
    }

    void stopAndWait_waits_whenCalledFromAnotherThread()
    {
        ProbeThread thread;
        thread.play();
        const std::unique_ptr<QThread> other(QThread::create([&thread] { thread.stopAndWait(); }));
        other->start();
        QVERIFY(other->wait(5000));
        QVERIFY(!thread.isRunning());
    }

private:
    std::unique_ptr<MessageGuard> guard;
};

QTEST_GUILESS_MAIN(TestAbstractVideoThread)
#include "tst_abstractvideothread.moc"
