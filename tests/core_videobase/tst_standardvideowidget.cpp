#include "scriptedwidget.h"

#include "support/messageguard.h"
#include "support/screen.h"
#include "support/testpicture.h"
#include "support/waiting.h"

#include <QMetaMethod>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include <memory>

namespace {

const QPoint inTopRight(300, 50);

/// Answers to the calls that a widget makes by slot name.
class SeekableThread : public ScriptedThread
{
    Q_OBJECT

public:
    using ScriptedThread::ScriptedThread;
    QDateTime sought;
    int speed = 0;

public Q_SLOTS:
    void seekFile(QDateTime time) { sought = time; }
    void setSpeed(int times) { speed = times; }

public:
    using AbstractVideoThread::setSpeed;
};

class RealSpeedThread : public ScriptedThread
{
public:
    using ScriptedThread::ScriptedThread;
    void setSpeed(double times) override { speed = times; }
    double speed = 0;
};

class SeekableWidget : public ScriptedWidget
{
public:
    AbstractVideoThread* next = nullptr;

protected:
    bool createVideoThread() override
    {
        next->setParent(this);
        videoThread = next;
        return true;
    }
};

class SlotCounter : public QObject
{
    Q_OBJECT

public:
    std::atomic<int> opened{0};
    std::atomic<int> played{0};

public Q_SLOTS:
    void openAudioOutput(int, int, int) { ++opened; }
    void play(const QByteArray&) { ++played; }
    void receiveVolume(int) { }
    void receiveMuted(bool) { }
};

} // namespace

class TestStandardVideoWidget : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<MessageGuard> guard;

private Q_SLOTS:
    void init()
    {
        guard.reset(new MessageGuard);
        QCursor::setPos(1270, 1010);
    }

    void cleanup()
    {
        VERIFY_NO_UNEXPECTED_MESSAGES(*guard);
        QTRY_COMPARE(ScriptedThread::alive.load(), 0);
    }

    void metaObject_addsOneSignal()
    {
        const QMetaObject& meta = StandardVideoWidget::staticMetaObject;
        QCOMPARE(meta.methodCount() - meta.methodOffset(), 1);
        QCOMPARE(meta.method(meta.methodOffset()).methodSignature(), QByteArray("receivePosition(qlonglong)"));
    }

    void start_showsThePictures_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<QString>("hardware");
        QTest::newRow("painted") << int(VideoMode_Image) << "none";
        QTest::newRow("opengl, software") << int(VideoMode_Opengl) << "none";
        QTest::newRow("opengl, hardware") << int(VideoMode_Opengl) << "vaapi";
    }

    void start_showsThePictures()
    {
        QFETCH(int, mode);
        QFETCH(QString, hardware);
        ScriptedWidget widget;
        widget.useMode(VideoMode(mode), hardware);
        widget.show();
        QSignalSpy playing(&widget, &AbstractVideoWidget::sig_receivePlayStart);
        QVERIFY(widget.start());
        QTRY_COMPARE(playing.count(), 1);
        QCOMPARE(playing.at(0).at(0).toInt(), 0); // whatever the thread reported
        QVERIFY(widget.getIsRunning());
        QVERIFY(Screen::waitForColor(&widget, inTopRight, TestPicture::topRight(), 60));
        QVERIFY(TestPicture::hasColors(Screen::grab(&widget), 64));

        QSignalSpy ended(&widget, &AbstractVideoWidget::sig_receivePlayFinsh);
        widget.stop();
        QCOMPARE(ended.count(), 1);
        QVERIFY(!widget.getIsRunning());
        QVERIFY(!widget.bound());
        QCOMPARE(widget.old().size(), 1);
        QVERIFY(Screen::waitForColor(&widget, inTopRight, Qt::black, 2));
        QTRY_VERIFY(widget.old().first()->isFinished());
        QCOMPARE(ended.count(), 1); // the thread's own report came after the release
    }

    void start_isTrueAndCreatesNothing_whenStarted()
    {
        ScriptedWidget widget;
        QVERIFY(widget.start());
        QCOMPARE(widget.bound()->previewRef().load(), 1);
        QVERIFY(widget.start());
        QCOMPARE(widget.created, 1);
        QCOMPARE(widget.bound()->previewRef().load(), 1);
        AbstractVideoThread* thread = widget.bound();
        widget.stop();
        QCOMPARE(thread->previewRef().load(), 0);
        widget.stop();
        QCOMPARE(widget.old().size(), 1);
    }

    void start_fails_whenThereIsNoThread()
    {
        ScriptedWidget widget;
        guard->allow("^create video thread fail$");
        widget.fails = true;
        QVERIFY(!widget.start());
        QCOMPARE(guard->count(QtCriticalMsg, "create video thread fail"), 1);
        for (const MessageGuard::Message& message : guard->messages()) {
            if (message.text == "create video thread fail")
                QVERIFY(message.file.contains("core_videobase/standardvideowidget"));
        }
        QVERIFY(!widget.getIsRunning());
        widget.stop();
        widget.fails = false;
        QVERIFY(widget.start());
    }

    void connections_areAllMade()
    {
        ScriptedWidget widget;
        widget.script = [](ScriptedThread* thread) { thread->holdsPictures = true; };
        QVERIFY(widget.start());
        const QList<QByteArray> connected{"receivePlayStart(int)",
                                          "receivePlayFinsh(QObject*)",
                                          "sig_decoderDestroyed()",
                                          "sig_connExceedMax()",
                                          "sig_otherError()",
                                          "receivePosition(qint64)",
                                          "receiveAudioFormat(int,int,int)",
                                          "receiveAudio(QByteArray)",
                                          "receiveImage(QImage,int)",
                                          "snapImage(QImage,QString)",
                                          "receiveFrame(int,int,quint8*,quint8*,quint8*,quint32,quint32,quint32)",
                                          "receiveFrame(int,int,quint8*,quint8*,quint32,quint32)",
                                          "receiveFrame(int,int,quint8*,bool)",
                                          "receiveFrame(int,int,quint8*,int,bool)",
                                          "receiveSizeChanged()",
                                          "receiveCodecChanged()",
                                          "started()",
                                          "finished()"};
        struct Open : AbstractVideoThread
        {
            using QObject::receivers;
        };
        AbstractVideoThread* thread = widget.bound();
        const auto count = [thread](const QByteArray& signature) {
            return (thread->*(&Open::receivers))(("2" + signature).constData());
        };
        for (const QByteArray& signature : connected)
            QVERIFY2(count(signature) == 1, signature.constData());

        widget.stop();
        const QList<QByteArray> kept{"sig_connExceedMax()", "sig_otherError()", "receivePosition(qint64)",
                                     "finished()"};
        for (const QByteArray& signature : connected)
            QVERIFY2(count(signature) == (kept.contains(signature) ? 1 : 0), signature.constData());
    }

    void sound_isNotConnected_whenTheWidgetOnlyShows()
    {
        for (const bool viewOnly : {true, false}) {
            ScriptedWidget widget;
            widget.setViewOnly(viewOnly);
            widget.script = [](ScriptedThread* thread) { thread->emitsSound = true; };
            const auto player = QSharedPointer<SlotCounter>::create();
            widget.audioPlayer = player;
            QVERIFY(widget.start());
            QTRY_VERIFY(widget.scripted()->delivered > 5);
            QTest::qWait(20);
            QCOMPARE(player->opened.load(), viewOnly ? 0 : 1);
            QCOMPARE(player->played > 0, !viewOnly);
        }
    }

    void receivePlayStart_emitsZero_whateverTheThreadReported()
    {
        ScriptedWidget widget;
        QSignalSpy playing(&widget, &AbstractVideoWidget::sig_receivePlayStart);
        widget.receivePlayStart(1234);
        QCOMPARE(playing.count(), 1);
        QCOMPARE(playing.at(0).at(0).toInt(), 0);
        widget.receivePlayFinsh(nullptr);
    }

    void resume_callsNext()
    {
        ScriptedWidget widget;
        widget.pause();
        widget.resume();
        QVERIFY(widget.start());
        ScriptedThread* thread = widget.scripted();
        widget.pause();
        QVERIFY(thread->getIsPause());
        widget.resume();
        QVERIFY(!thread->getIsPause());
        QCOMPARE(thread->resumed.load(), 1);
    }

    void seekFile_callsTheThreadsSlot_whileItRuns()
    {
        SeekableWidget widget;
        auto* thread = new SeekableThread;
        widget.next = thread;
        const QDateTime time(QDate(2024, 5, 6), QTime(7, 8, 9));
        widget.seekFile(time);
        widget.setSpeed(4);
        QVERIFY(widget.start());
        widget.seekFile(time);
        widget.setSpeed(4);
        QVERIFY(!thread->sought.isValid()); // queued
        QTRY_COMPARE(thread->sought, time);
        QCOMPARE(thread->speed, 4);
    }

    void seekFile_isDropped_whenTheThreadCannot()
    {
        SeekableWidget widget;
        auto* thread = new RealSpeedThread;
        widget.next = thread;
        QVERIFY(widget.start());
        widget.seekFile(QDateTime::currentDateTime());
        widget.setSpeed(2);
        QTRY_COMPARE(thread->speed, 2.0);
    }

    void seekFile_isDropped_whenTheThreadHasEnded()
    {
        SeekableWidget widget;
        auto* thread = new SeekableThread;
        thread->openFails = true;
        widget.next = thread;
        QVERIFY(widget.start());
        QTRY_VERIFY(thread->isFinished());
        widget.seekFile(QDateTime::currentDateTime());
        widget.setSpeed(3);
        QTest::qWait(20);
        QVERIFY(!thread->sought.isValid());
        QCOMPARE(thread->speed, 0);
        QTRY_VERIFY(!widget.getIsRunning());
    }

    void lateReports_reachTheWidget_afterAStop()
    {
        ScriptedWidget widget;
        QVERIFY(widget.start());
        AbstractVideoThread* thread = widget.bound();
        QTRY_VERIFY(widget.getIsRunning());
        widget.stop();
        QSignalSpy errors(&widget, &AbstractVideoWidget::sig_otherError);
        QSignalSpy exceeded(&widget, &AbstractVideoWidget::sig_connExceedMax);
        QSignalSpy positions(&widget, &StandardVideoWidget::receivePosition);
        QSignalSpy frames(&widget, &AbstractVideoWidget::snapImage);
        Q_EMIT thread->sig_otherError();
        Q_EMIT thread->sig_connExceedMax();
        Q_EMIT thread->receivePosition(42);
        Q_EMIT thread->snapImage(QImage(), "x");
        QCOMPARE(errors.count(), 1);
        QCOMPARE(exceeded.count(), 1);
        QCOMPARE(positions.count(), 1);
        QCOMPARE(positions.at(0).at(0).toLongLong(), 42);
        QCOMPARE(frames.count(), 0);
    }

    void lateEnd_leavesTheNextThreadAlone()
    {
        ScriptedWidget widget;
        widget.show();
        for (int round = 0; round < 10; ++round) {
            QVERIFY(widget.start());
            QTRY_VERIFY(widget.getIsRunning());
            widget.stop();
            QVERIFY(widget.start());
            AbstractVideoThread* second = widget.bound();
            QTRY_VERIFY(widget.getIsRunning());
            QTest::qWait(10);
            QCOMPARE(widget.bound(), second);
            QVERIFY(widget.getIsRunning());
            widget.stop();
        }
    }

    void oldThreads_areDeletedByTheNextStart_whenTheyHaveEnded()
    {
        ScriptedWidget widget;
        QVERIFY(widget.start());
        widget.stop();
        const QPointer<AbstractVideoThread> first = widget.old().first();
        QVERIFY(Waiting::until([&] { return !first->isRunning(); }, 5000));
        widget.removeStoppedVideoThreads();
        QVERIFY(widget.old().isEmpty());
        QTRY_VERIFY(!first);

        widget.script = [](ScriptedThread* thread) { thread->lingers = true; };
        QVERIFY(widget.start());
        auto* lingering = widget.scripted();
        QTRY_VERIFY(widget.getIsRunning());
        widget.stop();
        QVERIFY(widget.start());
        QCOMPARE(widget.old(), QList<AbstractVideoThread*>{lingering}); // running ones stay
        lingering->lingers = false;
        widget.scripted()->lingers = false;
    }

    void playing_ends_whenTheSourceEnds()
    {
        ScriptedWidget widget;
        widget.show();
        widget.script = [](ScriptedThread* thread) { thread->pictureCount = 20; };
        QSignalSpy ended(&widget, &AbstractVideoWidget::sig_receivePlayFinsh);
        QVERIFY(widget.start());
        QTRY_COMPARE(ended.count(), 1);
        QVERIFY(!widget.bound());
        QVERIFY(!widget.getIsRunning());
        QVERIFY(widget.start());
        QTRY_COMPARE(ended.count(), 2);
    }

    void decoder_mayBeMadeAnew_whilePlaying()
    {
        for (const QString& hardware : {QString("none"), QString("vaapi")}) {
            ScriptedWidget widget;
            widget.useMode(VideoMode_Opengl, hardware);
            widget.show();
            widget.script = [](ScriptedThread* thread) {
                thread->decoderLife = 3;
                thread->intervalUs = 500;
            };
            QVERIFY(widget.start());
            QVERIFY(Waiting::until([&] { return widget.scripted()->delivered > 100; }, 10000));
            for (int i = 0; i < 10; ++i) {
                widget.resize(widget.width() + (i % 2 ? 20 : -20), 300);
                QTest::qWait(10);
            }
        }
    }

    void close_stops()
    {
        ScriptedWidget widget;
        widget.show();
        QVERIFY(widget.start());
        QTRY_VERIFY(widget.getIsRunning());
        widget.close();
        QVERIFY(!widget.bound());
        QVERIFY(!widget.getIsRunning());
    }

    void digitalZoom_isOff_afterAStop()
    {
        ScriptedWidget widget;
        QVERIFY(widget.start());
        widget.setDigitalZoom(true);
        widget.stop();
        QVERIFY(!widget.isDigitalZoom());
    }

    void recorderState_followsTheBoundThread()
    {
        ScriptedWidget widget;
        widget.script = [](ScriptedThread* thread) { thread->holdsPictures = true; };
        QVERIFY(widget.start());
        auto* label
            = widget.findChild<QWidget*>("bannerWidget")->findChild<QObject*>(QString(), Qt::FindDirectChildrenOnly);
        QVERIFY(label);
        QPointer<AbstractVideoThread> thread = widget.bound();
        Q_EMIT thread->recorderStateChanged(RecorderRecording, "a.mp4");
        QTRY_VERIFY(label->property("text").toString().contains("录制中"));
        Q_EMIT thread->recorderStateChanged(RecorderFailed, "a.mp4");
        QTRY_VERIFY(!label->property("text").toString().contains("录制中"));
        widget.stop();
        Q_EMIT thread->recorderStateChanged(RecorderRecording, "a.mp4");
        QTest::qWait(10);
        QVERIFY(!label->property("text").toString().contains("录制中"));
    }

    // --- Whatever the host does, and whenever

    void host_mayStopOrDelete_inTheSlotOfAnySignal_data()
    {
        QTest::addColumn<QString>("signal");
        QTest::addColumn<QString>("action");
        for (const char* signal : {"start", "finish"}) {
            for (const char* action : {"stop", "delete", "close", "hide", "restart"})
                QTest::addRow("%s in %s", action, signal) << signal << action;
        }
    }

    void host_mayStopOrDelete_inTheSlotOfAnySignal()
    {
        QFETCH(QString, signal);
        QFETCH(QString, action);
        for (int round = 0; round < 5; ++round) {
            QPointer<ScriptedWidget> widget = new ScriptedWidget;
            widget->show();
            widget->script = [](ScriptedThread* thread) { thread->pictureCount = 10; };
            int called = 0;
            const auto act = [&] {
                if (called++ > 0)
                    return;
                if (action == "stop")
                    widget->stop();
                else if (action == "delete")
                    delete widget;
                else if (action == "close")
                    widget->close();
                else if (action == "hide")
                    widget->hide();
                else {
                    widget->stop();
                    widget->start();
                }
            };
            if (signal == "start")
                connect(widget, &AbstractVideoWidget::sig_receivePlayStart, this, act);
            else
                connect(widget, &AbstractVideoWidget::sig_receivePlayFinsh, this, act);
            QVERIFY(widget->start());
            QTRY_VERIFY(called > 0);
            if (action == "delete")
                QVERIFY(!widget);
            QTest::qWait(5);
            delete widget;
        }
    }

    void widget_mayBeDeleted_atAnyMoment_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<QString>("hardware");
        QTest::newRow("painted") << int(VideoMode_Image) << "none";
        QTest::newRow("opengl, software") << int(VideoMode_Opengl) << "none";
        QTest::newRow("opengl, hardware") << int(VideoMode_Opengl) << "vaapi";
    }

    void widget_mayBeDeleted_atAnyMoment()
    {
        QFETCH(int, mode);
        QFETCH(QString, hardware);
        QRandomGenerator random(7);
        for (int round = 0; round < 25; ++round) {
            auto widget = std::make_unique<ScriptedWidget>();
            widget->useMode(VideoMode(mode), hardware);
            widget->script = [](ScriptedThread* thread) {
                thread->intervalUs = 100;
                thread->emitsSound = true;
            };
            widget->show();
            QVERIFY(widget->start());
            const int actions = random.bounded(4);
            for (int i = 0; i < actions; ++i) {
                QTest::qWait(random.bounded(12));
                switch (random.bounded(5)) {
                case 0:
                    widget->stop();
                    break;
                case 1:
                    widget->start();
                    break;
                case 2:
                    widget->hide();
                    break;
                case 3:
                    widget->show();
                    break;
                default:
                    widget->resize(300 + random.bounded(200), 250);
                    break;
                }
            }
            if (random.bounded(2))
                QThread::usleep(500); // the worker waits in a delivery meanwhile
        }
        QCOMPARE(ScriptedThread::alive.load(), 0);
    }

    void delete_endsThreads_thatAreStillWindingDown()
    {
        auto widget = std::make_unique<ScriptedWidget>();
        widget->script = [](ScriptedThread* thread) { thread->intervalUs = 30000; };
        for (int i = 0; i < 5; ++i) {
            QVERIFY(widget->start());
            QTest::qWait(5);
            widget->stop();
        }
        QVERIFY(widget->old().size() > 1);
        widget.reset();
        QCOMPARE(ScriptedThread::alive.load(), 0);
    }

    void delete_waitsForAThread_thatClearedAStop()
    {
        auto widget = std::make_unique<ScriptedWidget>();
        widget->script = [](ScriptedThread* thread) { thread->losesStops = 2; };
        QVERIFY(widget->start());
        QTRY_VERIFY(widget->scripted()->delivered > 0);
        widget.reset();
        QCOMPARE(ScriptedThread::alive.load(), 0);
    }

    void delete_inASlotOfAnotherWidget_isSafe()
    {
        ScriptedWidget first;
        QPointer<ScriptedWidget> second = new ScriptedWidget;
        second->show();
        QVERIFY(second->start());
        QTRY_VERIFY(second->scripted()->delivered > 3);
        connect(&first, &AbstractVideoWidget::sig_receivePlayStart, this, [&] { delete second; });
        QVERIFY(first.start());
        QTRY_VERIFY(!second);
        QTRY_VERIFY(first.scripted()->delivered > 3);
    }
};

QTEST_MAIN(TestStandardVideoWidget)
#include "tst_standardvideowidget.moc"
