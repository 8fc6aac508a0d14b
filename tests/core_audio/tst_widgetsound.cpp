#include "core_audio/audiothread.h"
#include "core_audio/devaudiothread.h"
#include "core_live/livevideowidget.h"
#include "core_video/urlvideowidget.h"
#include "devnet/mediadevice.h"
#include "scriptedwidget.h"
#include "support/fakedevice.h"
#include "support/messageguard.h"
#include "support/resourcecount.h"
#include "support/rtspserver.h"
#include "support/soundserver.h"
#include "support/tone.h"
#include "support/waiting.h"
#include "vantor.h"

#include <QAudio>
#include <QPushButton>
#include <QSignalSpy>
#include <QtTest>

#include <memory>

namespace {

constexpr int soundRate = SoundServer::recordingRate;
constexpr int startMs = 20000;
constexpr double mostGapMs = 100;
const char* const outputLost = "the sound output is lost; the picture goes on without sound";

int listeningMs() { return qMax(5, qEnvironmentVariableIntValue("VANTOR_SOUND_SECONDS")) * 1000; }

class UrlProbe : public UrlVideoWidget
{
public:
    using UrlVideoWidget::audioPlayer;
    using UrlVideoWidget::UrlVideoWidget;
    using UrlVideoWidget::videoThread;
};

class LiveProbe : public LiveVideoWidget
{
public:
    using LiveVideoWidget::audioPlayer;
    using LiveVideoWidget::LiveVideoWidget;
};

QSharedPointer<XNetDevice> toneDevice()
{
    MediaDeviceConfig config;
    config.channels = {{"gate", {"test:320x240,tone=1000"}}};
    return QSharedPointer<MediaDevice>::create(config);
}

void addButtons(AbstractVideoWidget* widget, const QStringList& names)
{
    WidgetPara para = widget->getWidgetPara();
    para.bannerPara.names = names;
    para.bannerPara.icons.clear();
    for (int i = 0; i < names.size(); ++i)
        para.bannerPara.icons.append(":/primary/mic.svg");
    widget->setWidgetPara(para);
}

QPushButton* button(AbstractVideoWidget* widget, const QString& name) { return widget->findChild<QPushButton*>(name); }

double linear(int volume)
{
    return QAudio::convertVolume(volume / 100.0, QAudio::LogarithmicVolumeScale, QAudio::LinearVolumeScale);
}

} // namespace

class TestWidgetSound : public QObject
{
    Q_OBJECT

private:
    SoundServer server;
    RtspServer rtsp;
    std::unique_ptr<MessageGuard> guard;

    QByteArray listen(int milliseconds)
    {
        if (!server.startRecording())
            return QByteArray();
        QTest::qWait(milliseconds);
        return server.stopRecording();
    }

    bool isHeard() { return Tone::peak(listen(500)) > 0.01; }

    /// What is heard of a stream that plays, at several volumes, muted, and for a while.
    void checkSound(AbstractVideoWidget* widget)
    {
        QTRY_VERIFY_WITH_TIMEOUT(isHeard(), startMs);
        QTest::qWait(500);
        const QByteArray heard = listen(listeningMs());
        const double gap = Tone::longestGapMs(heard, soundRate, 0.01);
        qInfo("longest gap in %d s: %.1f ms", listeningMs() / 1000, gap);
        QVERIFY2(gap < mostGapMs, qPrintable(QString::number(gap)));
        const Tone::Measure full = Tone::measure(Tone::part(heard, soundRate, 0, 1000), soundRate);
        QVERIFY2(qAbs(full.frequency - 1000) < 1, qPrintable(QString::number(full.frequency)));

        widget->setVolume(50);
        QTest::qWait(500);
        const Tone::Measure half = Tone::measure(listen(1000), soundRate);
        QVERIFY2(qAbs(half.frequency - 1000) < 1, qPrintable(QString::number(half.frequency)));
        QVERIFY2(qAbs(half.amplitude / full.amplitude / linear(50) - 1) < 0.1,
                 qPrintable(QString("%1 of %2").arg(half.amplitude).arg(full.amplitude)));

        widget->setMuted(true);
        QTest::qWait(500);
        QCOMPARE(Tone::peak(listen(500)), 0.0);
        widget->setMuted(false);
        QTRY_VERIFY(isHeard());
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(Vantor::init());
        QVERIFY2(server.start(), "there is no sound server to test with");
        QVERIFY(rtsp.start());
    }
    void init()
    {
        guard.reset(new MessageGuard);
        guard->allow("^error count: [123] why: "); // a stop interrupts the read that it meets
        guard->allow("Server returned 5XX"); // a busy machine makes the pictures too late; it is tried again
    }
    void cleanup()
    {
        QVERIFY(ResourceCount::waitUntilNoneIsCalled("UrlVideoThread"));
        VERIFY_NO_UNEXPECTED_MESSAGES(*guard);
    }
    void cleanupTestCase() { Vantor::release(); }

    void address_isHeard()
    {
        UrlProbe widget;
        widget.setGeometry(100, 100, 320, 240);
        widget.show();
        widget.setUrl(rtsp.url("h264_pcmu"));
        QVERIFY(widget.start());
        checkSound(&widget);
        widget.stop();
        QTRY_COMPARE(server.outputStreams(), 0);
        widget.setVolume(30);
        QVERIFY(widget.start()); // as it was set while nothing played
        QTRY_VERIFY_WITH_TIMEOUT(isHeard(), startMs);
        auto* thread = qobject_cast<AudioThread*>(widget.audioPlayer.data());
        QTRY_VERIFY(qAbs(thread->getVolume() - 30) <= 1);
    }

    void device_isHeard()
    {
        LiveProbe widget(XTransportProtocol_Rta);
        widget.setVideoMode(VideoMode_Opengl);
        widget.setGeometry(100, 100, 320, 240);
        widget.show();
        QVERIFY(widget.init(toneDevice(), 0, 1));
        QVERIFY(widget.start());
        widget.playStart(0);
        checkSound(&widget);
        widget.stop();
        QTRY_COMPARE(server.outputStreams(), 0);
    }

    void sound_comesBack_withAStreamThatStalled()
    {
        UrlProbe widget;
        widget.setGeometry(100, 100, 320, 240);
        widget.show();
        VideoPara para = widget.getVideoPara();
        para.readTimeout = 1500;
        para.connectTimeout = 2000;
        widget.setVideoPara(para);
        widget.setVolume(60);
        widget.setUrl(rtsp.url("h264_pcmu"));
        QVERIFY(widget.start());
        QTRY_VERIFY_WITH_TIMEOUT(isHeard(), startMs);

        rtsp.freeze();
        QTest::qWait(800); // shorter than the time-out
        QVERIFY(!isHeard());
        rtsp.resume();
        QTRY_VERIFY_WITH_TIMEOUT(isHeard(), startMs);

        guard->allow(".*"); // of the source that is lost
        QVERIFY(rtsp.restart());
        QTRY_VERIFY_WITH_TIMEOUT(isHeard(), 2 * startMs);
        auto* thread = qobject_cast<AudioThread*>(widget.audioPlayer.data());
        QVERIFY(qAbs(thread->getVolume() - 60) <= 1);
        QCOMPARE(server.outputStreams(), 1);
    }

    void level_isReported_whenItIsWanted()
    {
        UrlProbe widget;
        widget.setGeometry(100, 100, 320, 240);
        widget.show();
        widget.setUrl(rtsp.url("h264_pcmu"));
        QSignalSpy levels(&widget, &AbstractVideoWidget::receiveLevel);
        QVERIFY(widget.start());
        QTRY_VERIFY_WITH_TIMEOUT(isHeard(), startMs);
        QCOMPARE(levels.count(), 0);
        widget.setCalcLevel(true);
        QTRY_VERIFY(levels.count() > 10);
        const double level = levels.last().at(0).toDouble();
        // A tone of half scale, eight samples a period: the highest of them is at its peak or 45 degrees beside it.
        QVERIFY2(level > 0.34 && level < 0.52, qPrintable(QString::number(level)));
        widget.setCalcLevel(false);
        QTest::qWait(300);
        levels.clear();
        QTest::qWait(300);
        QCOMPARE(levels.count(), 0);
    }

    void viewOnlyWidget_takesNoSound()
    {
        UrlProbe widget;
        widget.setViewOnly(true);
        widget.setGeometry(100, 100, 320, 240);
        widget.show();
        widget.setUrl(rtsp.url("h264_pcmu"));
        QVERIFY(widget.start());
        QTRY_VERIFY_WITH_TIMEOUT(widget.getIsRunning(), startMs);
        QVERIFY(!widget.audioPlayer);
        QVERIFY(!isHeard());
        QCOMPARE(server.outputStreams(), 0);
    }

    void buttons_doWhatTheyShow()
    {
        UrlProbe widget;
        widget.setGeometry(100, 100, 320, 240);
        addButtons(&widget, {"btnSound", "btnTalk"});
        widget.show();
        widget.setUrl(rtsp.url("h264_pcmu"));
        QVERIFY(widget.start());
        QTRY_VERIFY_WITH_TIMEOUT(isHeard(), startMs);
        button(&widget, "btnSound")->click();
        QVERIFY(widget.getWidgetPara().muted);
        QTest::qWait(500);
        QCOMPARE(Tone::peak(listen(300)), 0.0);
        button(&widget, "btnMuted")->click();
        QVERIFY(!widget.getWidgetPara().muted);
        QTRY_VERIFY(isHeard());
        widget.setMuted(true); // the button follows
        QVERIFY(button(&widget, "btnMuted"));
        widget.setMuted(false);
        QVERIFY(button(&widget, "btnSound"));
    }

    void talk_reachesTheDevice_fromTheButton()
    {
        const auto device = QSharedPointer<FakeDevice>::create();
        device->setNames("gate", "SN-9");
        LiveProbe widget(XTransportProtocol_Rta);
        addButtons(&widget, {"btnSound", "btnTalk"});
        QSignalSpy busy(&widget, &AbstractVideoWidget::sig_startTalkDeviceBusy);
        QSignalSpy error(&widget, &AbstractVideoWidget::sig_startTalkError);
        QVERIFY(widget.init(device, 0, 1));
        QVERIFY(widget.start());
        QVERIFY(button(&widget, "btnTalkMuted")); // nobody talks yet
        button(&widget, "btnTalkMuted")->click();
        QTRY_VERIFY(device->talkData().size() > 800);
        QCOMPARE(device->countOf("startTalk"), 1);
        QVERIFY(button(&widget, "btnTalk"));
        button(&widget, "btnTalk")->click();
        QTRY_COMPARE(device->countOf("stopTalk"), 1);
        QTRY_COMPARE(server.inputStreams(), 0);
        QVERIFY(button(&widget, "btnTalkMuted"));

        device->setResult("startTalk", XRet::Busy);
        widget.talkStart();
        QTRY_COMPARE(busy.count(), 1);
        QCOMPARE(busy.at(0).at(0).toString(), QString("SN-9"));
        QVERIFY(button(&widget, "btnTalkMuted"));
        device->setResult("startTalk", XRet::NotSupported);
        widget.talkStart();
        QTRY_COMPARE(error.count(), 1);
        QVERIFY(button(&widget, "btnTalkMuted"));
        QCOMPARE(busy.count(), 1);

        device->setResult("startTalk", XRet::Ok);
        widget.talkStart(); // the button follows
        QVERIFY(button(&widget, "btnTalk"));
        QTRY_COMPARE(server.inputStreams(), 1);
        device->endReads();
        widget.stop();
        QTRY_COMPARE(device->countOf("stopTalk"), 2); // a talk ends with the widget's streams
        QVERIFY(button(&widget, "btnTalkMuted"));
        QTRY_COMPARE(server.inputStreams(), 0);
    }

    void picture_goesOn_whenTheServerDies()
    {
        guard->allow(outputLost);
        guard->allow("Stream error: ");
        UrlProbe widget;
        widget.setGeometry(100, 100, 320, 240);
        widget.show();
        widget.setUrl(rtsp.url("h264_pcmu"));
        int pictures = 0;
        QVERIFY(widget.start());
        connect(widget.videoThread, &AbstractVideoThread::receiveAudio, this, [&] { ++pictures; });
        QTRY_VERIFY_WITH_TIMEOUT(isHeard(), startMs);
        server.kill();
        QTRY_COMPARE_WITH_TIMEOUT(guard->count(QtWarningMsg, outputLost), 1, 5000);
        const int before = pictures;
        QTRY_VERIFY(pictures > before + 50);
        QVERIFY(widget.getIsRunning());
        QVERIFY(server.start());
        QTRY_VERIFY_WITH_TIMEOUT(isHeard(), startMs);
        QCOMPARE(guard->count(QtWarningMsg, outputLost), 1);
    }

    void startAndStop_leakNothing_onFourWidgets()
    {
        std::vector<std::unique_ptr<ScriptedWidget>> widgets;
        for (int i = 0; i < 4; ++i) {
            widgets.push_back(std::make_unique<ScriptedWidget>());
            widgets.back()->useMode(VideoMode_Image);
            widgets.back()->script = [](ScriptedThread* thread) { thread->emitsSound = true; };
            widgets.back()->show();
        }
        const auto round = [&](int number) {
            for (const auto& widget : widgets) {
                QVERIFY(widget->start());
                widget->setMuted(number % 2 == 0);
            }
            QTest::qWait(number % 30);
            for (const auto& widget : widgets)
                widget->stop();
        };
        for (int i = 0; i < 10; ++i)
            round(i);
        QTRY_COMPARE(server.outputStreams(), 0);
        const ResourceCount before = ResourceCount::now();
        for (int i = 0; i < 200; ++i)
            round(i);
        QVERIFY(ResourceCount::waitUntilNotAbove(before, 0, 20000));
        QTRY_COMPARE(server.outputStreams(), 0);
    }
};

QTEST_MAIN(TestWidgetSound)
#include "tst_widgetsound.moc"
