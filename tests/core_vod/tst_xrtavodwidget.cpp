#include "core_vod/xrtavodwidget.h"

#include "core_vod/xrtavodthread.h"
#include "support/clips.h"
#include "support/fakedevice.h"
#include "support/messageguard.h"
#include "support/resourcecount.h"
#include "support/screen.h"
#include "support/testpicture.h"

#include <QDir>
#include <QPointer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <functional>
#include <memory>

namespace {

constexpr int channel = 3;
constexpr int limitMs = 20000;
constexpr int colorTolerance = 80; // the renderers' colours are a little off

/// Points of the four quadrants of a picture that fills the widget.
const QPoint inTopLeft(60, 60);
const QPoint inTopRight(340, 60);
const QPoint inBottomLeft(60, 240);
const QPoint inBottomRight(340, 240);

/// Counts the calls that a widget makes by slot name.
class AudioDouble : public QObject
{
    Q_OBJECT

public:
    int opened = 0;
    int played = 0;

public Q_SLOTS:
    void openAudioOutput(int, int, int) { ++opened; }
    void play(const QByteArray&) { ++played; }
    void receiveMuted(bool) {}
};

/// A playback widget in a place of its own on the screen, whose inside can be looked at.
class VodWidgetProbe : public XRTAVodWidget
{
    Q_OBJECT

public:
    explicit VodWidgetProbe(VideoMode mode = VideoMode_Opengl)
    {
        setGeometry(100, 100, 400, 300);
        WidgetPara para;
        para.videoMode = mode;
        para.scaleMode = ScaleMode_Fill;
        setWidgetPara(para);
        VideoPara video;
        video.readTimeout = 600;
        setVideoPara(video);
    }

    XRTAVodThread* bound() const { return qobject_cast<XRTAVodThread*>(videoThread); }
    void bind(AbstractVideoThread* thread) { videoThread = thread; }
    int released() const { return oldThreads.size(); }

    using AbstractVideoWidget::audioPlayer;
};

class OtherThread : public AbstractVideoThread
{
protected:
    void run() override {}
};

} // namespace

class TestXRTAVodWidget : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<MessageGuard> guard;
    QSharedPointer<FakeDevice> device;

    FrameScript& script() { return device->playback(channel); }

    /// The test picture with its sound, in real time and without an end.
    void playLive()
    {
        script().setClip(DeviceStream::mixed(DeviceStream::h264(), DeviceStream::sound()));
        script().setPace(FrameScript::Pace::RealTime);
    }

    /// Begins and ends of playbacks, in order.
    QStringList startsAndStops() const
    {
        QStringList names;
        for (const QString& line : device->orders()) {
            if (line.startsWith("vodStart") || line.startsWith("vodStop"))
                names << line.section(' ', 0, 0);
        }
        return names;
    }

    bool waitUntilPlaying(const VodWidgetProbe& widget) const
    {
        const QPointer<XRTAVodThread> thread = widget.bound();
        return QTest::qWaitFor([&] { return thread && thread->getIsOk(); }, limitMs);
    }

private Q_SLOTS:
    void init()
    {
        guard.reset(new MessageGuard);
        device.reset(new FakeDevice);
        QCursor::setPos(1270, 1010);
    }

    void cleanup()
    {
        device->endReads();
        VERIFY_NO_UNEXPECTED_MESSAGES(*guard);
    }

    // --- Setting up

    void init_refusesWhatCannotBePlayed()
    {
        guard->allow("^pDev == ");
        VodWidgetProbe widget;
        const void* const none = nullptr;
        const void* const address = static_cast<XNetDevice*>(device.data());
        QVERIFY(!widget.init(nullptr, 0));
        QVERIFY(!widget.init(device, -1));
        QVERIFY(!widget.init(nullptr, -7));
        QCOMPARE(guard->texts(QtCriticalMsg),
                 (QStringList{QString::asprintf("pDev == %p, channel == 0", none),
                              QString::asprintf("pDev == %p, channel == -1", address),
                              QString::asprintf("pDev == %p, channel == -7", none)}));
        const QVector<MessageGuard::Message> messages = guard->messages();
        QVERIFY2(messages.first().file.contains("core_vod/xrtavodwidget"), qPrintable(messages.first().file));
    }

    void init_keepsWhatItHad_whenItRefuses()
    {
        guard->allow("^pDev == ");
        playLive();
        VodWidgetProbe widget;
        QVERIFY(widget.init(device, channel));
        QVERIFY(!widget.init(nullptr, 5));
        QVERIFY(!widget.init(QSharedPointer<FakeDevice>::create(), -1));
        QVERIFY(widget.start());
        QTRY_COMPARE_WITH_TIMEOUT(device->count("vodStart 3 - - -"), 1, limitMs);
    }

    void init_takesChannel0()
    {
        VodWidgetProbe widget;
        QVERIFY(widget.init(device, 0));
        QVERIFY(widget.start());
        QTRY_COMPARE_WITH_TIMEOUT(device->count("vodStart 0 - - -"), 1, limitMs);
    }

    void start_handsItsSettingsToTheThread()
    {
        VodWidgetProbe widget(VideoMode_Image);
        VideoPara video;
        video.hardware = "vaapi";
        video.readTimeout = 1200;
        video.connectTimeout = 700;
        widget.setVideoPara(video);
        VodStartPara para;
        para.startTime = QDateTime(QDate(2024, 5, 6), QTime(7, 0));
        para.endTime = QDateTime(QDate(2024, 5, 6), QTime(8, 0));
        para.playTime = QDateTime(QDate(2024, 5, 6), QTime(7, 30, 15));
        widget.setVodStartPara(para);
        QVERIFY(widget.init(device, channel));
        QVERIFY(!widget.bound());
        QVERIFY(widget.start());
        XRTAVodThread* thread = widget.bound();
        QVERIFY(thread);
        QCOMPARE(thread->parent(), &widget);
        QCOMPARE(thread->getVideoMode(), VideoMode_Image);
        QCOMPARE(thread->getHardware(), QString("vaapi"));
        QCOMPARE(thread->getReadTimeout(), 200);
        QCOMPARE(thread->getConnectTimeout(), 700);
        QCOMPARE(thread->previewRef().load(), 1);
        QTRY_COMPARE_WITH_TIMEOUT(device->count("vodStart 3 20240506T070000 20240506T080000 20240506T073015"), 1,
                                  limitMs);
        QVERIFY(widget.start()); // again
        QCOMPARE(widget.bound(), thread);
    }

    void start_fails_whenAnotherThreadIsBound()
    {
        guard->allow("^create video thread fail$");
        VodWidgetProbe widget;
        QVERIFY(widget.init(device, channel));
        OtherThread other;
        widget.bind(&other);
        QVERIFY(!widget.start());
        QCOMPARE(guard->texts(QtCriticalMsg), QStringList{"create video thread fail"});
        widget.bind(nullptr);
        QVERIFY(widget.start());
    }

    // --- Playing

    void start_showsThePicture_data()
    {
        QTest::addColumn<int>("mode");
        QTest::newRow("opengl") << int(VideoMode_Opengl);
        QTest::newRow("painted") << int(VideoMode_Image);
    }

    void start_showsThePicture()
    {
        QFETCH(int, mode);
        playLive();
        VodWidgetProbe widget{VideoMode(mode)};
        QSignalSpy starts(&widget, &AbstractVideoWidget::sig_receivePlayStart);
        QVERIFY(widget.init(device, channel));
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        QVERIFY(widget.start());
        QVERIFY(Screen::waitForColor(&widget, inTopLeft, TestPicture::topLeft(), colorTolerance));
        QVERIFY(Screen::waitForColor(&widget, inTopRight, TestPicture::topRight(), colorTolerance));
        QVERIFY(Screen::waitForColor(&widget, inBottomLeft, TestPicture::bottomLeft(), colorTolerance));
        QVERIFY(Screen::waitForColor(&widget, inBottomRight, TestPicture::bottomRight(), colorTolerance));
        const int number = TestPicture::number(Screen::grab(&widget));
        QVERIFY(number >= 0);
        QTRY_VERIFY_WITH_TIMEOUT(TestPicture::number(Screen::grab(&widget)) > number + 5, limitMs); // it goes on
        QCOMPARE(starts.count(), 1);
        QCOMPARE(starts.at(0).at(0).toInt(), 0);
        if (const QString shots = qEnvironmentVariable("VANTOR_TEST_SCREENSHOTS"); !shots.isEmpty())
            Screen::grab(&widget).save(QString("%1/vodwidget-%2.png").arg(shots).arg(mode));
    }

    void start_playsTheSound()
    {
        playLive();
        VodWidgetProbe widget;
        QVERIFY(widget.init(device, channel));
        widget.show();
        QVERIFY(widget.start());
        const auto player = QSharedPointer<AudioDouble>::create();
        widget.audioPlayer = player;
        QTRY_VERIFY_WITH_TIMEOUT(player->opened == 1 && player->played > 5, limitMs);
        widget.stop();
    }

    void receivePosition_isThatOfThePlayback()
    {
        script().add(DeviceStream::h264());
        VodWidgetProbe widget;
        QSignalSpy positions(&widget, &StandardVideoWidget::receivePosition);
        QVERIFY(widget.init(device, channel));
        widget.show();
        QVERIFY(widget.start());
        QTRY_COMPARE_WITH_TIMEOUT(positions.count(), 4, limitMs);
        QVector<qint64> seen;
        for (const QList<QVariant>& position : positions)
            seen << position.at(0).toLongLong();
        QCOMPARE(seen, (QVector<qint64>{1040, 2080, 3120, 4160}));
    }

    void endOfTheRecording_stopsTheWidget()
    {
        script().add(DeviceStream::h264().mid(0, 30));
        script().addResult(XRet::EndOfRecording);
        VodWidgetProbe widget;
        QSignalSpy ends(&widget, &AbstractVideoWidget::sig_receivePlayFinsh);
        QVERIFY(widget.init(device, channel));
        widget.show();
        for (int round = 1; round <= 3; ++round) {
            QVERIFY(widget.start());
            QTRY_COMPARE_WITH_TIMEOUT(ends.count(), round, limitMs);
            QVERIFY(!widget.bound());
            QVERIFY(!widget.getIsRunning());
            script().add(DeviceStream::h264().mid(0, 30));
            script().addResult(XRet::EndOfRecording);
        }
        QCOMPARE(startsAndStops().count("vodStart"), 3);
    }

    void refusal_isReported_data()
    {
        QTest::addColumn<int>("result");
        QTest::addColumn<int>("exceeded");
        QTest::newRow("too many connections") << 17 << 1;
        QTest::newRow("another") << 5 << 0;
    }

    void refusal_isReported()
    {
        QFETCH(int, result);
        QFETCH(int, exceeded);
        guard->allow("^vodStart failed channel=3, ret=");
        device->setResult("vodStart", result);
        VodWidgetProbe widget;
        QSignalSpy max(&widget, &AbstractVideoWidget::sig_connExceedMax);
        QSignalSpy other(&widget, &AbstractVideoWidget::sig_otherError);
        QSignalSpy starts(&widget, &AbstractVideoWidget::sig_receivePlayStart);
        QSignalSpy ends(&widget, &AbstractVideoWidget::sig_receivePlayFinsh);
        QVERIFY(widget.init(device, channel));
        QVERIFY(widget.start());
        QTRY_COMPARE_WITH_TIMEOUT(ends.count(), 1, limitMs);
        QTRY_COMPARE_WITH_TIMEOUT(max.count() + other.count(), 1, limitMs);
        QCOMPARE(max.count(), exceeded);
        QCOMPARE(starts.count(), 0);
        device->setResult("vodStart", 0); // the widget may try again
        playLive();
        QVERIFY(widget.start());
        QTRY_COMPARE_WITH_TIMEOUT(starts.count(), 1, limitMs);
    }

    void start_withoutInit_ends()
    {
        guard->allow("^null$");
        guard->allow("^dev pointer is null$");
        VodWidgetProbe widget;
        QSignalSpy ends(&widget, &AbstractVideoWidget::sig_receivePlayFinsh);
        QVERIFY(widget.start());
        QTRY_COMPARE_WITH_TIMEOUT(ends.count(), 1, limitMs);
    }

    // --- Control

    void controls_reachTheDevice()
    {
        playLive();
        VodWidgetProbe widget;
        QVERIFY(widget.init(device, channel));
        widget.seekFile(QDateTime(QDate(2024, 5, 6), QTime(7, 0))); // nothing plays yet
        widget.setSpeed(2);
        widget.pause();
        widget.resume();
        QVERIFY(widget.start());
        QVERIFY(waitUntilPlaying(widget));
        device->forgetCalls();
        widget.pause();
        QVERIFY(widget.bound()->getIsPause());
        widget.seekFile(QDateTime(QDate(2024, 5, 6), QTime(7, 8, 9)));
        widget.setSpeed(-4);
        QCOMPARE(device->orders(), QStringList{"vodPause 3"}); // the others are queued
        const QStringList orders{"vodPause 3", "vodSeek 3 20240506T070809", "vodSetSpeed 3 -4"};
        QTRY_COMPARE_WITH_TIMEOUT(device->orders(), orders, limitMs);
        widget.resume();
        QVERIFY(!widget.bound()->getIsPause());
        QCOMPARE(device->orders(), orders + QStringList{"vodResume 3"});
    }

    void pause_holdsThePicture()
    {
        playLive();
        VodWidgetProbe widget;
        QVERIFY(widget.init(device, channel));
        widget.show();
        QVERIFY(widget.start());
        QVERIFY(Screen::waitForColor(&widget, inTopLeft, TestPicture::topLeft(), colorTolerance));
        widget.pause();
        QTest::qWait(300);
        const int number = TestPicture::number(Screen::grab(&widget));
        QVERIFY(number >= 0);
        QTest::qWait(300);
        QCOMPARE(TestPicture::number(Screen::grab(&widget)), number);
        widget.resume();
        QTRY_VERIFY_WITH_TIMEOUT(TestPicture::number(Screen::grab(&widget)) != number, limitMs);
    }

    void isReadStreamTimeout_isThatOfThePlayback()
    {
        script().add(DeviceStream::h264().mid(0, 30));
        VodWidgetProbe widget;
        QVERIFY(widget.isReadStreamTimeout()); // nothing plays
        QVERIFY(widget.init(device, channel));
        QVERIFY(widget.start());
        QVERIFY(waitUntilPlaying(widget));
        QVERIFY(!widget.isReadStreamTimeout());
        QTRY_VERIFY_WITH_TIMEOUT(widget.isReadStreamTimeout(), limitMs); // six reads of a tenth of a second
        script().add(DeviceStream::h264().mid(30, 1));
        QTRY_VERIFY_WITH_TIMEOUT(!widget.isReadStreamTimeout(), limitMs);
        widget.stop();
        QVERIFY(widget.isReadStreamTimeout());
    }

    // --- Stopping

    void stop_releasesTheThread()
    {
        playLive();
        VodWidgetProbe widget;
        QSignalSpy ends(&widget, &AbstractVideoWidget::sig_receivePlayFinsh);
        QVERIFY(widget.init(device, channel));
        QVERIFY(widget.start());
        QVERIFY(waitUntilPlaying(widget));
        const QPointer<XRTAVodThread> thread = widget.bound();
        widget.stop();
        QVERIFY(!widget.bound());
        QCOMPARE(widget.released(), 1);
        QVERIFY(thread); // it is not waited for
        QCOMPARE(thread->previewRef().load(), 0);
        QCOMPARE(ends.count(), 1);
        QTRY_VERIFY_WITH_TIMEOUT(thread->isFinished(), limitMs);
        QCOMPARE(device->orders().last(), QString("vodStop 3"));
        QVERIFY(widget.start());
        QTRY_VERIFY_WITH_TIMEOUT(!thread, limitMs); // deleted by the next start
    }

    /// The device tells playbacks apart by the channel alone: the end of the old one must not be the end of the new.
    void start_afterStop_waitsForTheOldPlayback()
    {
        VodWidgetProbe widget;
        QVERIFY(widget.init(device, channel));
        constexpr int rounds = 4;
        for (int round = 0; round < rounds; ++round) {
            QVERIFY(widget.start());
            QVERIFY(waitUntilPlaying(widget));
            widget.stop();
        }
        QVERIFY(widget.start());
        QVERIFY(waitUntilPlaying(widget));
        QStringList expected{"vodStop", "vodStart"};
        for (int round = 0; round < rounds; ++round)
            expected << QStringList{"vodStop", "vodStop", "vodStart"};
        QCOMPARE(startsAndStops(), expected);
    }

    void start_afterStop_neverWaitsOnTheGuiThread()
    {
        playLive();
        VodWidgetProbe widget;
        QVERIFY(widget.init(device, channel));
        widget.show();
        for (int round = 0; round < 30; ++round) {
            QVERIFY(widget.start());
            QTest::qWait(round % 7);
            widget.stop();
        }
        QVERIFY(widget.start());
        QVERIFY(Screen::waitForColor(&widget, inTopLeft, TestPicture::topLeft(), colorTolerance, limitMs));
    }

    void close_stops()
    {
        playLive();
        VodWidgetProbe widget;
        QSignalSpy ends(&widget, &AbstractVideoWidget::sig_receivePlayFinsh);
        QVERIFY(widget.init(device, channel));
        widget.show();
        QVERIFY(widget.start());
        QVERIFY(waitUntilPlaying(widget));
        widget.close();
        QCOMPARE(ends.count(), 1);
        QVERIFY(!widget.bound());
    }

    void delete_endsThePlayback_data()
    {
        QTest::addColumn<QString>("state");
        for (const char* state : {"not started", "just started", "playing", "paused", "stopped", "reading", "ended"})
            QTest::newRow(state) << QString(state);
    }

    void delete_endsThePlayback()
    {
        QFETCH(QString, state);
        const ResourceCount before = ResourceCount::now();
        if (state == "ended")
            script().addResult(XRet::EndOfRecording);
        else if (state != "reading")
            playLive();
        auto widget = std::make_unique<VodWidgetProbe>();
        QVERIFY(widget->init(device, channel));
        widget->show();
        if (state != "not started")
            QVERIFY(widget->start());
        if (state == "playing" || state == "paused" || state == "stopped")
            QVERIFY(Screen::waitForColor(widget.get(), inTopLeft, TestPicture::topLeft(), colorTolerance));
        if (state == "reading")
            QVERIFY(waitUntilPlaying(*widget));
        if (state == "paused")
            widget->pause();
        if (state == "stopped")
            widget->stop();
        if (state == "ended")
            QTRY_VERIFY_WITH_TIMEOUT(!widget->bound(), limitMs);
        widget.reset();
        if (state != "not started" && state != "just started")
            QVERIFY(startsAndStops().contains("vodStart"));
        if (!startsAndStops().isEmpty())
            QCOMPARE(startsAndStops().last(), QString("vodStop"));
        const int reads = device->countOf("vodReadFrame");
        QTest::qWait(50);
        QCOMPARE(device->countOf("vodReadFrame"), reads); // nobody reads any more
        if (state != "playing") // a first picture leaves what OpenGL keeps for the process
            QVERIFY(ResourceCount::waitUntilNotAbove(before, 3));
    }

    void host_mayStopOrDelete_inTheSlotOfAnySignal_data()
    {
        QTest::addColumn<QString>("signal");
        QTest::addColumn<bool>("deletes");
        for (const char* signal : {"start", "finish", "position", "exceed", "snap"}) {
            QTest::newRow(QByteArray(signal) + ", stop") << QString(signal) << false;
            QTest::newRow(QByteArray(signal) + ", delete") << QString(signal) << true;
        }
    }

    void host_mayStopOrDelete_inTheSlotOfAnySignal()
    {
        QFETCH(QString, signal);
        QFETCH(bool, deletes);
        guard->allow("^vodStart failed ");
        const QTemporaryDir folder;
        playLive();
        QPointer<VodWidgetProbe> widget = new VodWidgetProbe;
        QVERIFY(widget->init(device, channel));
        widget->show();
        int acts = 0;
        const auto act = [&] {
            if (acts++ > 0 || !widget)
                return;
            if (deletes)
                delete widget.data();
            else
                widget->stop();
        };
        if (signal == "start")
            connect(widget, &AbstractVideoWidget::sig_receivePlayStart, this, act);
        else if (signal == "finish")
            connect(widget, &AbstractVideoWidget::sig_receivePlayFinsh, this, act);
        else if (signal == "position")
            connect(widget, &StandardVideoWidget::receivePosition, this, act);
        else if (signal == "exceed")
            connect(widget, &AbstractVideoWidget::sig_connExceedMax, this, act);
        else
            connect(widget, &AbstractVideoWidget::snapImage, this, act);
        if (signal == "exceed")
            device->setResult("vodStart", 17);
        if (signal == "finish")
            script().clear(), script().addResult(XRet::EndOfRecording);
        QVERIFY(widget->start());
        if (signal == "snap") {
            QVERIFY(waitUntilPlaying(*widget));
            widget->snap(folder.path(), true);
        }
        QTRY_VERIFY_WITH_TIMEOUT(acts > 0, limitMs);
        QTest::qWait(50);
        QCOMPARE(widget.isNull(), deletes);
        delete widget.data();
    }

    // --- Snapshots

    void snap_doesNothing_whileNothingPlays()
    {
        const QTemporaryDir folder;
        VodWidgetProbe widget;
        QVERIFY(widget.init(device, channel));
        widget.snap(folder.path(), true);
        QVERIFY(QDir(folder.path()).isEmpty());
    }

    void snap_asksForANameOfNow()
    {
        const QTemporaryDir folder;
        VodWidgetProbe widget;
        QVERIFY(widget.init(device, channel));
        QVERIFY(widget.start());
        QVERIFY(waitUntilPlaying(widget));
        const QDateTime before = QDateTime::currentDateTime();
        widget.snap(folder.filePath("D %1"), false);
        const QDateTime after = QDateTime::currentDateTime();
        const QString name = widget.bound()->getSnapName();
        QStringList possible;
        for (const QDateTime& time : {before, after})
            possible << folder.filePath(QString("D %1/") + time.toString("yyyy-MM-dd") + "/vod/"
                                        + time.toString("yyyyMMddTHHmmss") + "_3.jpg");
        QVERIFY2(possible.contains(name), qPrintable(name));
        QVERIFY(widget.bound()->getIsSnap());
        QVERIFY(QFileInfo(QFileInfo(name).absolutePath()).isDir());
    }

    void snap_writesThePicture_data()
    {
        QTest::addColumn<bool>("preview");
        QTest::newRow("with a preview") << true;
        QTest::newRow("without") << false;
    }

    void snap_writesThePicture()
    {
        QFETCH(bool, preview);
        const QTemporaryDir folder;
        const quint64 time = 1714979289000; // 2024-05-06 07:08:09
        VodWidgetProbe widget;
        QSignalSpy previews(&widget, &AbstractVideoWidget::snapImage);
        QVERIFY(widget.init(device, channel));
        widget.show();
        QVERIFY(widget.start());
        QVERIFY(waitUntilPlaying(widget));
        widget.snap(folder.path(), preview);
        const QString today = QDate::currentDate().toString("yyyy-MM-dd");
        script().add(DeviceStream::shifted(DeviceStream::h264().mid(0, 1), time));
        const QString path = folder.path() + '/' + today + "/vod/20240506T070809_3.jpg";
        QTRY_VERIFY_WITH_TIMEOUT(!widget.bound()->getIsSnap() && QFile::exists(path), limitMs);
        QTRY_COMPARE_WITH_TIMEOUT(TestPicture::number(QImage(path)), 0, limitMs);
        QVERIFY(TestPicture::hasColors(QImage(path)));
        QTest::qWait(50);
        QCOMPARE(previews.count(), preview ? 1 : 0);
        if (preview) {
            QCOMPARE(previews.at(0).at(1).toString(), path);
            QCOMPARE(previews.at(0).at(0).value<QImage>().size(), Clips::size);
        }
    }
};

QTEST_MAIN(TestXRTAVodWidget)

#include "tst_xrtavodwidget.moc"
