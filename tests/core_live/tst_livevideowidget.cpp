#include "core_live/videothrmux/devlivethrsetmanager.h"
#include "livebench.h"
#include "liveprobe.h"
#include "support/clips.h"
#include "support/messageguard.h"
#include "support/testpicture.h"
#include "support/waiting.h"
#include "vantor.h"

#include <QDir>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <memory>

namespace {

constexpr int limitMs = 10000;
constexpr int allStreams = -1;

DevLiveThrSetManager& manager() { return *DevLiveThrSetManager::Instance(); }

/// Counts the calls that a widget makes by slot name, on the GUI thread.
class AudioDouble : public QObject
{
    Q_OBJECT

public:
    int opened = 0;
    int played = 0;
    int talksStarted = 0;
    int talksStopped = 0;

public Q_SLOTS:
    void openAudioOutput(int, int, int) { ++opened; }
    void play(const QByteArray&) { ++played; }
    void receiveMuted(bool) {}
    void startTalk() { ++talksStarted; }
    void stopTalk() { ++talksStopped; }
};

} // namespace

class TestLiveVideoWidget : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void init_isRefused_withoutADeviceOrAStream();
    void start_isRefused_beforeInit();
    void start_isRefused_whenTheProtocolIsNotTheDevices();
    void start_isRefused_whenTheDeviceHasNoStreams();
    void start_saysSo_whenTheDeviceHasOtherStreamsThanItsSet();
    void start_opensTheStreamsOfTheMask_data();
    void start_opensTheStreamsOfTheMask();
    void init_withAllStreams_keepsTheOtherBits();
    void start_handsItsSettingsToTheThreads();
    void start_doesNothing_whenStarted();
    void init_counts_fromTheNextStartOn();
    void secondStart_findsTheThreadsRunning();
    void secondStart_waitsForTheOpening();
    void channelAndStream_makeTheIndex();

    void playStart_isRefused_beforeStart();
    void playStart_countsTheDisplayOnce();
    void playStart_ignoresAStream_thatTheChannelDoesNotHave();
    void playStop_leavesTheOtherDisplay();
    void playStop_doesNothing_withoutAShownStream();
    void replay_changesTheDisplayedStream();
    void playStart_takesASetAnew_thatWasReleasedMeanwhile();

    void stop_releasesTheSet_ofTheLastWidget();
    void stop_leavesTheSet_toOtherWidgets();
    void stop_leavesTheSet_toItsRecordings();
    void stop_leavesTheNextSetAlone();
    void stop_reportsEachStream();
    void stop_endsTheReports();
    void start_mayFollowAStop();
    void close_stops();
    void delete_givesTheSetBack_andReportsNothing();
    void host_mayStopOrDelete_inTheSlotOfAnySignal_data();
    void host_mayStopOrDelete_inTheSlotOfAnySignal();

    void snapshot_isNamedByTheChannel();
    void snapshot_isNotTaken_withoutAShownStream();
    void states_areFalse_withoutAShownStream();
    void openTimeout_isTheShownStreams();
    void readTimeout_isTheShownStreams();
    void refusal_isReported();
    void lostStream_comesBack();
    void endedThread_isStartedAgain_data();
    void endedThread_isStartedAgain();

    void sound_isTheShownStreams();
    void sound_isNotTaken_whenTheWidgetOnlyShows();
    void talk_isPassedOn_unlessTheWidgetOnlyShows();
    void recorderState_isTheShownStreams();

private:
    QVector<QSharedPointer<AbstractVideoThread>> threadsOf(const QSharedPointer<FakeDevice>& device) const
    {
        const PtrDevLiveThrSet set = manager().getVideoThreadSet(device);
        return set ? set->getChannelThreads() : QVector<QSharedPointer<AbstractVideoThread>>();
    }

    std::unique_ptr<MessageGuard> messages;
};

void TestLiveVideoWidget::init()
{
    messages = std::make_unique<MessageGuard>();
    QVERIFY(Vantor::init());
}

void TestLiveVideoWidget::cleanup()
{
    Vantor::release();
    VERIFY_NO_UNEXPECTED_MESSAGES(*messages);
}

// --- Starting

void TestLiveVideoWidget::init_isRefused_withoutADeviceOrAStream()
{
    messages->allow("^pDev == ");
    messages->allow("^is not init$");
    const auto device = LiveBench::makeDevice();
    LiveProbe widget;
    QVERIFY(!widget.init(nullptr, 0, 1));
    QVERIFY(!widget.init(device, 0, 0));
    const void* const none = nullptr;
    const void* const address = static_cast<XNetDevice*>(device.data());
    QCOMPARE(messages->texts(QtCriticalMsg),
             (QStringList{QString::asprintf("pDev == %p, streamSet == 1", none),
                          QString::asprintf("pDev == %p, streamSet == 0", address)}));
    QVERIFY(!widget.start()); // neither made it
    QVERIFY(widget.init(device, 0, 1));
    QVERIFY(widget.start());
}

void TestLiveVideoWidget::start_isRefused_beforeInit()
{
    messages->allow("^is not init$");
    LiveProbe widget;
    QVERIFY(!widget.start());
    QCOMPARE(messages->count(QtCriticalMsg, "is not init"), 1);
    widget.stop();
}

void TestLiveVideoWidget::start_isRefused_whenTheProtocolIsNotTheDevices()
{
    messages->allow("^init video thread set fail$");
    messages->allow("protocol");
    messages->allow("^is not start$");
    const auto device = LiveBench::makeDevice(XTransportProtocol_Rta);
    LiveProbe widget(XTransportProtocol_Mbe);
    QVERIFY(widget.init(device, 0, allStreams));
    QVERIFY(!widget.start());
    QCOMPARE(messages->count(QtCriticalMsg, "init video thread set fail"), 1);
    QVERIFY(!manager().getVideoThreadSet(device));
    widget.playStart(0);
    QCOMPARE(messages->count(QtCriticalMsg, "is not start"), 1);
    QVERIFY(!widget.bound());
}

void TestLiveVideoWidget::start_isRefused_whenTheDeviceHasNoStreams()
{
    messages->allow("^获取视频解码线程为 0$");
    const auto device = QSharedPointer<FakeDevice>::create(XTransportProtocol_Rta, 0, 2);
    LiveProbe widget;
    QVERIFY(widget.init(device, 0, allStreams));
    QVERIFY(!widget.start());
    QCOMPARE(messages->count(QtCriticalMsg, "获取视频解码线程为 0"), 1);
    QVERIFY(!manager().getVideoThreadSet(device));
}

void TestLiveVideoWidget::start_saysSo_whenTheDeviceHasOtherStreamsThanItsSet()
{
    messages->allow("^channelThreads.size");
    const auto device = LiveBench::makeDevice(XTransportProtocol_Rta, 1, 2);
    LiveProbe first;
    QVERIFY(first.init(device, 0, allStreams));
    QVERIFY(first.start());
    device->setCounts(2, 2);
    LiveProbe second;
    QVERIFY(second.init(device, 1, allStreams));
    QVERIFY(second.start()); // with the streams that there are: none of this channel
    QCOMPARE(messages->count(QtCriticalMsg, "channelThreads.size[2] != streamCount[4]"), 1);
    second.playStart(0);
    QVERIFY(!second.bound());
    device->setCounts(1, 1);
    LiveProbe third;
    QVERIFY(third.init(device, 0, allStreams));
    QVERIFY(third.start());
    QCOMPARE(messages->count(QtCriticalMsg, "channelThreads.size[2] != streamCount[1]"), 1);
    third.playStart(0);
    QCOMPARE(third.bound(), threadsOf(device).at(0).data());
}

void TestLiveVideoWidget::start_opensTheStreamsOfTheMask_data()
{
    QTest::addColumn<int>("mask");
    QTest::addColumn<bool>("opensMain");
    QTest::addColumn<bool>("opensSub");
    QTest::newRow("main") << 1 << true << false;
    QTest::newRow("sub") << 2 << false << true;
    QTest::newRow("both") << 3 << true << true;
    QTest::newRow("all") << allStreams << true << true;
    QTest::newRow("one that is not there") << 4 << false << false;
}

void TestLiveVideoWidget::start_opensTheStreamsOfTheMask()
{
    QFETCH(int, mask);
    QFETCH(bool, opensMain);
    QFETCH(bool, opensSub);
    const auto device = LiveBench::makeDevice(XTransportProtocol_Rta, 2, 2);
    LiveProbe widget;
    QVERIFY(widget.init(device, 1, mask));
    QVERIFY(widget.start());
    const auto threads = threadsOf(device);
    const QVector<bool> opened{false, false, opensMain, opensSub};
    for (int index = 0; index < threads.size(); ++index) {
        QCOMPARE(threads.at(index)->isRunning(), opened.at(index));
        QCOMPARE(threads.at(index)->isOwned().load(), opened.at(index));
    }
    QTRY_COMPARE(device->count("enableMediaTransmit 1 0 true"), int(opensMain));
    QTRY_COMPARE(device->count("enableMediaTransmit 1 1 true"), int(opensSub));
    QVERIFY(device->orders().filter("enableMediaTransmit 0").isEmpty());
}

void TestLiveVideoWidget::init_withAllStreams_keepsTheOtherBits()
{
    const auto device = LiveBench::makeDevice(XTransportProtocol_Rta, 1, 4);
    const auto small = LiveBench::makeDevice(XTransportProtocol_Rta, 1, 2);
    LiveProbe widget;
    QVERIFY(widget.init(small, 0, 8));
    QVERIFY(widget.init(small, 0, allStreams)); // 8 and 3
    QVERIFY(widget.init(device, 0, 4));
    QVERIFY(widget.init(small, 0, allStreams)); // 4 and 3
    small->setCounts(1, 4);
    QVERIFY(widget.start());
    const auto threads = threadsOf(small);
    QCOMPARE(threads.size(), 4);
    QVERIFY(threads.at(0)->isRunning());
    QVERIFY(threads.at(1)->isRunning());
    QVERIFY(threads.at(2)->isRunning());
    QVERIFY(!threads.at(3)->isRunning());
}

void TestLiveVideoWidget::start_handsItsSettingsToTheThreads()
{
    const auto device = LiveBench::makeDevice();
    LiveProbe widget;
    VideoPara para;
    para.hardware = "vaapi";
    para.connectTimeout = 700;
    para.readTimeout = 1800;
    widget.setVideoPara(para);
    widget.setVideoMode(VideoMode_Image);
    QVERIFY(widget.init(device, 0, 1));
    QVERIFY(widget.start());
    const auto thread = threadsOf(device).at(0);
    QCOMPARE(thread->getVideoMode(), VideoMode_Image);
    QCOMPARE(thread->getHardware(), QString("vaapi"));
    QCOMPARE(thread->getConnectTimeout(), 700);
    QCOMPARE(thread->getReadTimeout(), 300); // one read's share
    QTRY_VERIFY(device->count("readFrame 0 0 300") > 0);
}

void TestLiveVideoWidget::start_doesNothing_whenStarted()
{
    const auto device = LiveBench::makeDevice();
    LiveProbe widget;
    QVERIFY(widget.init(device, 0, allStreams));
    QVERIFY(widget.start());
    const auto threads = threadsOf(device);
    widget.playStart(0);
    QVERIFY(widget.start());
    QCOMPARE(threadsOf(device), threads);
    QCOMPARE(widget.bound(), threads.at(0).data());
    QCOMPARE(threads.at(0)->previewRef().load(), 1);
}

void TestLiveVideoWidget::init_counts_fromTheNextStartOn()
{
    const auto first = LiveBench::makeDevice(XTransportProtocol_Rta, 2, 2);
    const auto second = LiveBench::makeDevice();
    LiveProbe widget;
    QVERIFY(widget.init(first, 1, allStreams));
    QVERIFY(widget.start());
    QVERIFY(widget.init(second, 0, allStreams));
    widget.playStart(0);
    QCOMPARE(widget.bound(), threadsOf(first).at(2).data());
    widget.stop();
    QVERIFY(!manager().getVideoThreadSet(first));
    QVERIFY(widget.start());
    widget.playStart(0);
    QCOMPARE(widget.bound(), threadsOf(second).at(0).data());
}

void TestLiveVideoWidget::secondStart_findsTheThreadsRunning()
{
    const auto device = LiveBench::makeDevice();
    LiveProbe first;
    LiveProbe second;
    QVERIFY(first.init(device, 0, 1));
    QVERIFY(second.init(device, 0, 1));
    QSignalSpy firstPlaying(&first, &AbstractVideoWidget::sig_receivePlayStart);
    QSignalSpy secondPlaying(&second, &AbstractVideoWidget::sig_receivePlayStart);
    QVERIFY(first.start());
    QTRY_COMPARE(firstPlaying.count(), 1);
    const auto thread = threadsOf(device).at(0);
    QTRY_VERIFY(device->script(0, 0).taken() > 3);

    // Nobody shows it, so the video thread sends neither of these.
    QSignalSpy sizes(thread.data(), &AbstractVideoThread::receiveSizeChanged);
    QSignalSpy durations(thread.data(), &AbstractVideoThread::receiveDuration);
    QVERIFY(second.start());
    QCOMPARE(secondPlaying.count(), 1); // at once
    QCOMPARE(secondPlaying.at(0).at(0).toInt(), 0);
    QCOMPARE(sizes.count(), 1);
    QCOMPARE(durations.count(), 1);
    QCOMPARE(durations.at(0).at(0).toLongLong(), 0);
    QCOMPARE(firstPlaying.count(), 1);
    QCOMPARE(threadsOf(device).at(0), thread);
    first.playStart(0);
    second.playStart(0);
    QVERIFY(first.bound());
    QCOMPARE(second.bound(), first.bound());
    QCOMPARE(thread->previewRef().load(), 2);
    QCOMPARE(device->count("enableMediaTransmit 0 0 true"), 1);
}

void TestLiveVideoWidget::secondStart_waitsForTheOpening()
{
    const auto device = LiveBench::makeDevice();
    device->setConnectStatus(XChannelStatus_Disconnected);
    LiveProbe first;
    LiveProbe second;
    QVERIFY(first.init(device, 0, 1));
    QVERIFY(second.init(device, 0, 1));
    QVERIFY(first.start());
    threadsOf(device).at(0)->setOpenSleepTime(0);
    QSignalSpy playing(&second, &AbstractVideoWidget::sig_receivePlayStart);
    QVERIFY(second.start());
    QTRY_VERIFY(device->countOf("getConnectStatus") > 2);
    QCOMPARE(playing.count(), 0);
    device->setConnectStatus(XChannelStatus_Connected);
    QTRY_COMPARE(playing.count(), 1);
}

void TestLiveVideoWidget::channelAndStream_makeTheIndex()
{
    const auto device = LiveBench::makeDevice(XTransportProtocol_Mbe, 2, 2);
    LiveProbe widget(XTransportProtocol_Mbe);
    QVERIFY(widget.init(device, 1, allStreams));
    QVERIFY(widget.start());
    const auto threads = threadsOf(device);
    widget.playStart(0);
    QCOMPARE(widget.bound(), threads.at(2).data());
    widget.replay(1);
    QCOMPARE(widget.bound(), threads.at(3).data());
}

// --- Showing

void TestLiveVideoWidget::playStart_isRefused_beforeStart()
{
    messages->allow("^is not start$");
    const auto device = LiveBench::makeDevice();
    LiveProbe widget;
    QVERIFY(widget.init(device, 0, allStreams));
    widget.playStart(0);
    QCOMPARE(messages->count(QtCriticalMsg, "is not start"), 1);
    widget.replay(0);
    QCOMPARE(messages->count(QtCriticalMsg, "is not start"), 2);
    QVERIFY(!widget.bound());
    QVERIFY(!manager().getVideoThreadSet(device));
}

void TestLiveVideoWidget::playStart_countsTheDisplayOnce()
{
    const auto device = LiveBench::makeDevice();
    LiveProbe widget;
    QVERIFY(widget.init(device, 0, allStreams));
    QVERIFY(widget.start());
    const auto thread = threadsOf(device).at(0);
    widget.playStart(0);
    widget.playStart(0);
    QCOMPARE(thread->previewRef().load(), 1);
    widget.playStop(true);
    widget.playStop(true);
    QCOMPARE(thread->previewRef().load(), 0);
    QVERIFY(!widget.bound());
    QVERIFY(thread->isRunning());
    widget.playStart(0);
    widget.playStart(1); // shows one at a time
    QCOMPARE(thread->previewRef().load(), 0);
    QCOMPARE(threadsOf(device).at(1)->previewRef().load(), 1);
    widget.stop();
    QCOMPARE(thread->previewRef().load(), 0);
}

void TestLiveVideoWidget::playStart_ignoresAStream_thatTheChannelDoesNotHave()
{
    const auto device = LiveBench::makeDevice(XTransportProtocol_Rta, 2, 2);
    LiveProbe widget;
    QVERIFY(widget.init(device, 0, allStreams));
    QVERIFY(widget.start());
    widget.playStart(0);
    AbstractVideoThread* const shown = widget.bound();
    for (const int stream : {-1, 2, 3, 4, 1000}) {
        widget.playStart(stream);
        QCOMPARE(widget.bound(), shown);
    }
    QCOMPARE(manager().getVideoThreadSet(device)->referenceCount(), 1);
}

void TestLiveVideoWidget::playStop_leavesTheOtherDisplay()
{
    const auto device = LiveBench::makeDevice();
    LiveProbe first;
    LiveProbe second;
    for (LiveProbe* widget : {&first, &second}) {
        QVERIFY(widget->init(device, 0, 1));
        QVERIFY(widget->start());
        widget->playStart(0);
    }
    const auto thread = threadsOf(device).at(0);
    QCOMPARE(thread->previewRef().load(), 2);
    std::atomic<int> frames{0};
    connect(thread.data(),
            QOverload<int, int, quint8*, quint8*, quint8*, quint32, quint32, quint32>::of(
                &AbstractVideoThread::receiveFrame),
            thread.data(), [&] { ++frames; }, Qt::DirectConnection);
    QTRY_VERIFY(frames > 3);
    second.playStop(true);
    QCOMPARE(thread->previewRef().load(), 1);
    const int seen = frames;
    QTRY_VERIFY(frames > seen + 5);
    QVERIFY(!second.getIsRunning());
    QVERIFY(first.getIsRunning());
    first.stop();
    second.stop();
    QTRY_VERIFY(thread->isFinished()); // the counter goes first otherwise
}

void TestLiveVideoWidget::playStop_doesNothing_withoutAShownStream()
{
    const auto device = LiveBench::makeDevice();
    LiveProbe widget;
    widget.setDigitalZoom(true);
    widget.playStop(false);
    QVERIFY(!widget.isDigitalZoom());
    QVERIFY(widget.init(device, 0, allStreams));
    QVERIFY(widget.start());
    widget.setDigitalZoom(true);
    widget.playStop(true);
    QVERIFY(!widget.isDigitalZoom());
    widget.playStart(0);
    widget.setDigitalZoom(true);
    widget.playStop(false);
    QVERIFY(!widget.isDigitalZoom());
}

void TestLiveVideoWidget::replay_changesTheDisplayedStream()
{
    const auto device = LiveBench::makeDevice();
    LiveProbe widget;
    QVERIFY(widget.init(device, 0, allStreams));
    QVERIFY(widget.start());
    widget.playStart(0);
    const auto threads = threadsOf(device);
    widget.replay(1);
    QCOMPARE(widget.bound(), threads.at(1).data());
    QCOMPARE(threads.at(0)->previewRef().load(), 0);
    QCOMPARE(threads.at(1)->previewRef().load(), 1);
    QVERIFY(threads.at(0)->isRunning());
    widget.replay(0);
    QCOMPARE(threads.at(0)->previewRef().load(), 1);
    QCOMPARE(threads.at(1)->previewRef().load(), 0);
    QTRY_COMPARE(device->count("enableMediaTransmit 0 0 true"), 1);
    QTRY_COMPARE(device->count("enableMediaTransmit 0 1 true"), 1);
}

/// Only displays and recordings keep a set; a widget that just started does not.
void TestLiveVideoWidget::playStart_takesASetAnew_thatWasReleasedMeanwhile()
{
    const auto device = LiveBench::makeDevice();
    LiveProbe waiting;
    QVERIFY(waiting.init(device, 0, allStreams));
    QVERIFY(waiting.start());
    LiveProbe brief;
    QVERIFY(brief.init(device, 0, allStreams));
    QVERIFY(brief.start());
    brief.playStart(0);
    const PtrDevLiveThrSet first = manager().getVideoThreadSet(device);
    brief.stop();
    QVERIFY(!manager().getVideoThreadSet(device));
    QTRY_VERIFY(!first->getDevPtr());

    waiting.playStart(1);
    QVERIFY(waiting.bound());
    QVERIFY(manager().getVideoThreadSet(device) != first);
    QCOMPARE(waiting.bound(), threadsOf(device).at(1).data());
    QTRY_VERIFY(waiting.bound()->getIsOk());
}

// --- Stopping

void TestLiveVideoWidget::stop_releasesTheSet_ofTheLastWidget()
{
    const auto device = LiveBench::makeDevice();
    LiveProbe widget;
    QVERIFY(widget.init(device, 0, allStreams));
    QSignalSpy playing(&widget, &AbstractVideoWidget::sig_receivePlayStart);
    QVERIFY(widget.start());
    const auto threads = threadsOf(device);
    QTRY_COMPARE(playing.count(), 2); // nothing of theirs waits for the GUI thread from now on
    widget.stop();
    QVERIFY(!manager().getVideoThreadSet(device));
    QVERIFY(!widget.bound());
    for (const auto& thread : threads) {
        QCOMPARE(thread->previewRef().load(), 0);
        QVERIFY(!thread->isOwned());
        QVERIFY(thread->wait(limitMs)); // on the manager's thread: no events are served here
    }
    QCOMPARE(device->count("enableMediaTransmit 0 0 false"), 2); // before it opened, and now
    widget.stop();
}

void TestLiveVideoWidget::stop_leavesTheSet_toOtherWidgets()
{
    const auto device = LiveBench::makeDevice();
    LiveProbe first;
    LiveProbe second;
    for (LiveProbe* widget : {&first, &second}) {
        QVERIFY(widget->init(device, 0, allStreams));
        QVERIFY(widget->start());
        widget->playStart(0);
    }
    const PtrDevLiveThrSet set = manager().getVideoThreadSet(device);
    first.stop();
    QCOMPARE(manager().getVideoThreadSet(device), set);
    QCOMPARE(set->referenceCount(), 1);
    QVERIFY(set->isRunning());
    QVERIFY(second.getIsRunning());
    second.stop();
    QVERIFY(!manager().getVideoThreadSet(device));
}

void TestLiveVideoWidget::stop_leavesTheSet_toItsRecordings()
{
    const QTemporaryDir folder;
    const auto device = LiveBench::makeDevice();
    LiveProbe widget;
    QVERIFY(widget.init(device, 0, allStreams));
    QVERIFY(widget.start());
    widget.playStart(0);
    const auto threads = threadsOf(device);
    widget.recordStart(folder.path());
    QTRY_VERIFY(threads.at(0)->hasOpenFile());
    widget.stop();
    QVERIFY(manager().getVideoThreadSet(device));
    QVERIFY(threads.at(0)->isRunning());
    QVERIFY(threads.at(0)->hasOpenFile());

    // Another widget finds the recording, ends it, and is the last one then.
    LiveProbe other;
    QVERIFY(other.init(device, 0, allStreams));
    QVERIFY(other.start());
    other.playStart(0);
    QCOMPARE(other.bound(), threads.at(0).data());
    other.recordStop();
    QTRY_VERIFY(!threads.at(0)->hasOpenFile());
    other.stop();
    QVERIFY(!manager().getVideoThreadSet(device));
    QTRY_VERIFY(threads.at(0)->isFinished());
    QCOMPARE(QDir(folder.path()).entryList({"2*"}).size(), 1);
}

void TestLiveVideoWidget::stop_leavesTheNextSetAlone()
{
    const auto device = LiveBench::makeDevice();
    LiveProbe late;
    QVERIFY(late.init(device, 0, allStreams));
    QVERIFY(late.start());
    manager().releaseVideoThreadSet(device); // by the host, say
    LiveProbe next;
    QVERIFY(next.init(device, 0, allStreams));
    QVERIFY(next.start());
    const PtrDevLiveThrSet set = manager().getVideoThreadSet(device);
    QVERIFY(set);
    late.stop();
    QCOMPARE(manager().getVideoThreadSet(device), set);
}

void TestLiveVideoWidget::stop_reportsEachStream()
{
    const auto device = LiveBench::makeDevice(XTransportProtocol_Rta, 4, 2);
    LiveProbe widget;
    QVERIFY(widget.init(device, 2, allStreams));
    QSignalSpy playing(&widget, &AbstractVideoWidget::sig_receivePlayStart);
    QSignalSpy ended(&widget, &AbstractVideoWidget::sig_receivePlayFinsh);
    QVERIFY(widget.start());
    widget.playStart(0);
    QTRY_COMPARE(playing.count(), 2);
    widget.stop();
    QCOMPARE(ended.count(), 2);
    QVERIFY(!widget.getIsRunning());
}

void TestLiveVideoWidget::stop_endsTheReports()
{
    const auto device = LiveBench::makeDevice();
    LiveProbe widget;
    QVERIFY(widget.init(device, 0, allStreams));
    QVERIFY(widget.start());
    widget.playStart(0);
    const auto thread = threadsOf(device).at(0);
    QTRY_VERIFY(widget.getIsRunning());
    widget.stop();
    QSignalSpy playing(&widget, &AbstractVideoWidget::sig_receivePlayStart);
    QSignalSpy ended(&widget, &AbstractVideoWidget::sig_receivePlayFinsh);
    QSignalSpy errors(&widget, &AbstractVideoWidget::sig_otherError);
    QTRY_VERIFY(!thread->isRunning());
    QTest::qWait(20);
    Q_EMIT thread->sig_otherError();
    QCOMPARE(playing.count(), 0);
    QCOMPARE(ended.count(), 0);
    QCOMPARE(errors.count(), 0);
    QVERIFY(!widget.getIsRunning());
}

void TestLiveVideoWidget::start_mayFollowAStop()
{
    const auto device = LiveBench::makeDevice();
    LiveProbe widget;
    widget.show();
    QVERIFY(widget.init(device, 0, allStreams));
    for (int round = 0; round < 10; ++round) {
        QVERIFY(widget.start());
        widget.playStart(round % 2);
        QTRY_VERIFY(widget.getIsRunning());
        widget.stop();
        QVERIFY(!widget.getIsRunning());
    }
    QVERIFY(!manager().getVideoThreadSet(device));
}

void TestLiveVideoWidget::close_stops()
{
    const auto device = LiveBench::makeDevice();
    LiveProbe widget;
    widget.show();
    QVERIFY(widget.init(device, 0, allStreams));
    QVERIFY(widget.start());
    widget.playStart(0);
    QTRY_VERIFY(widget.getIsRunning());
    widget.close();
    QVERIFY(!widget.bound());
    QVERIFY(!manager().getVideoThreadSet(device));
}

void TestLiveVideoWidget::delete_givesTheSetBack_andReportsNothing()
{
    const auto device = LiveBench::makeDevice();
    auto widget = std::make_unique<LiveProbe>();
    QVERIFY(widget->init(device, 0, allStreams));
    int reports = 0;
    connect(widget.get(), &AbstractVideoWidget::sig_receivePlayFinsh, this, [&] { ++reports; });
    QVERIFY(widget->start());
    widget->playStart(0);
    QTRY_VERIFY(widget->getIsRunning());
    const auto thread = threadsOf(device).at(0);
    widget.reset();
    QCOMPARE(reports, 0);
    QCOMPARE(thread->previewRef().load(), 0);
    QVERIFY(!thread->isOwned());
    QVERIFY(!manager().getVideoThreadSet(device));
    QVERIFY(thread->wait(limitMs));
}

void TestLiveVideoWidget::host_mayStopOrDelete_inTheSlotOfAnySignal_data()
{
    QTest::addColumn<QString>("signal");
    QTest::addColumn<QString>("action");
    for (const char* signal : {"start", "joined", "finish"}) {
        for (const char* action : {"stop", "delete", "close", "restart", "show", "replay"})
            QTest::addRow("%s in %s", action, signal) << signal << action;
    }
}

void TestLiveVideoWidget::host_mayStopOrDelete_inTheSlotOfAnySignal()
{
    QFETCH(QString, signal);
    QFETCH(QString, action);
    messages->allow("^is not start$");
    const auto device = LiveBench::makeDevice();
    LiveProbe other;
    if (signal == "joined") {
        QVERIFY(other.init(device, 0, allStreams));
        QVERIFY(other.start());
        other.playStart(0);
        QTRY_VERIFY(threadsOf(device).at(0)->getIsOk() && threadsOf(device).at(1)->getIsOk());
    }
    for (int round = 0; round < 3; ++round) {
        QPointer<LiveProbe> widget = new LiveProbe;
        widget->show();
        QVERIFY(widget->init(device, 0, allStreams));
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
            else if (action == "show")
                widget->playStart(0);
            else if (action == "replay")
                widget->replay(1);
            else {
                widget->stop();
                widget->start();
            }
        };
        if (signal == "finish")
            connect(widget, &AbstractVideoWidget::sig_receivePlayFinsh, this, act);
        else
            connect(widget, &AbstractVideoWidget::sig_receivePlayStart, this, act);
        widget->start();
        if (widget && signal == "finish") {
            widget->playStart(0);
            QTest::qWait(20);
            widget->stop();
        }
        QTRY_VERIFY(called > 0);
        if (action == "delete")
            QVERIFY(!widget);
        QTest::qWait(5);
        delete widget;
    }
}

// --- The shown stream

void TestLiveVideoWidget::snapshot_isNamedByTheChannel()
{
    const QTemporaryDir folder;
    const auto device = LiveBench::makeDevice(XTransportProtocol_Rta, 4, 2);
    LiveProbe widget;
    QVERIFY(widget.init(device, 3, allStreams));
    QSignalSpy previews(&widget, &AbstractVideoWidget::snapImage);
    QVERIFY(widget.start());
    widget.playStart(0);
    const QString today = QDate::currentDate().toString("yyyy-MM-dd");
    QTRY_VERIFY(widget.bound()->getVideoWidth() > 0);
    widget.snap(folder.path(), true);
    QTRY_COMPARE(previews.count(), 1);
    const QString name = previews.at(0).at(1).toString();
    const QRegularExpression pattern(QString("^%1/%2/live/\\d{8}T\\d{6}_3\\.jpg$").arg(folder.path(), today));
    QVERIFY2(pattern.match(name).hasMatch(), qPrintable(name));
    const QImage image(name);
    QCOMPARE(image.size(), Clips::size);
    QVERIFY(TestPicture::hasColors(image));

    widget.snap(folder.path(), false);
    QTRY_VERIFY(!widget.bound()->getIsSnap());
    QTest::qWait(20);
    QCOMPARE(previews.count(), 1);
}

void TestLiveVideoWidget::snapshot_isNotTaken_withoutAShownStream()
{
    const QTemporaryDir folder;
    const auto device = LiveBench::makeDevice();
    LiveProbe widget;
    widget.snap(folder.path(), true);
    QVERIFY(widget.init(device, 0, allStreams));
    QVERIFY(widget.start());
    widget.snap(folder.path(), true);
    QTRY_VERIFY(threadsOf(device).at(0)->getIsOk());
    QVERIFY(QDir(folder.path()).isEmpty());
    QVERIFY(!threadsOf(device).at(0)->getIsSnap());
}

void TestLiveVideoWidget::states_areFalse_withoutAShownStream()
{
    const auto device = LiveBench::makeDevice();
    device->setConnectStatus(XChannelStatus_Disconnected);
    LiveProbe widget;
    QVERIFY(widget.init(device, 0, 1));
    QVERIFY(widget.start());
    const auto thread = threadsOf(device).at(0);
    thread->setOpenSleepTime(0);
    QTRY_VERIFY(thread->isOpenTimeout());
    QVERIFY(!widget.isOpenStreamTimeout());
    QVERIFY(!widget.isReadStreamTimeout());
    QVERIFY(!widget.isStreamExceedMax());
}

void TestLiveVideoWidget::openTimeout_isTheShownStreams()
{
    const auto device = LiveBench::makeDevice();
    device->setConnectStatus(XChannelStatus_Disconnected);
    LiveProbe widget;
    VideoPara para = widget.getVideoPara();
    para.connectTimeout = 100;
    widget.setVideoPara(para);
    QVERIFY(widget.init(device, 0, 1));
    QVERIFY(widget.start());
    threadsOf(device).at(0)->setOpenSleepTime(0);
    widget.playStart(0);
    QTRY_VERIFY(widget.isOpenStreamTimeout());
    device->setConnectStatus(XChannelStatus_Connected);
    QTRY_VERIFY(!widget.isOpenStreamTimeout());
}

void TestLiveVideoWidget::readTimeout_isTheShownStreams()
{
    const auto device = QSharedPointer<FakeDevice>::create(); // sends nothing
    LiveProbe widget;
    VideoPara para = widget.getVideoPara();
    para.readTimeout = 120;
    widget.setVideoPara(para);
    QVERIFY(widget.init(device, 0, allStreams));
    QVERIFY(widget.start());
    widget.playStart(0);
    QVERIFY(!widget.isReadStreamTimeout());
    QTRY_VERIFY(widget.isReadStreamTimeout());
    device->script(0, 0).setClip(DeviceStream::h264());
    device->script(0, 0).setPace(FrameScript::Pace::RealTime);
    QTRY_VERIFY(!widget.isReadStreamTimeout());
}

void TestLiveVideoWidget::refusal_isReported()
{
    messages->allow("^enable media transmit failed channel=0, stream=0, ret=17$");
    const auto device = LiveBench::makeDevice();
    device->setResult("enableMediaTransmit", XRet::TooManyConnections);
    LiveProbe widget;
    QSignalSpy refused(&widget, &AbstractVideoWidget::sig_connExceedMax);
    QVERIFY(widget.init(device, 0, 1));
    QVERIFY(widget.start());
    threadsOf(device).at(0)->setOpenSleepTime(100);
    QVERIFY(!widget.isStreamExceedMax());
    widget.playStart(0);
    QTRY_VERIFY(refused.count() > 0);
    QVERIFY(widget.isStreamExceedMax());
    device->setResult("enableMediaTransmit", XRet::Ok);
    QTRY_VERIFY(!widget.isStreamExceedMax());
    QTRY_VERIFY(widget.getIsRunning());
}

/// A device that is gone for a while.
void TestLiveVideoWidget::lostStream_comesBack()
{
    const auto device = LiveBench::makeDevice(XTransportProtocol_Rta);
    LiveProbe widget;
    VideoPara para = widget.getVideoPara();
    para.readTimeout = 60;
    widget.setVideoPara(para);
    QVERIFY(widget.init(device, 0, 1));
    QVERIFY(widget.start());
    widget.playStart(0);
    QTRY_VERIFY(widget.bound()->getVideoWidth() > 0);
    device->script(0, 0).clear();
    device->setConnectStatus(XChannelStatus_Disconnected);
    QTRY_VERIFY(widget.isReadStreamTimeout());
    device->script(0, 0).setClip(DeviceStream::h264());
    device->setConnectStatus(XChannelStatus_Connected);
    QTRY_VERIFY(!widget.isReadStreamTimeout());
    QVERIFY(widget.getIsRunning());
}

void TestLiveVideoWidget::endedThread_isStartedAgain_data()
{
    QTest::addColumn<int>("readTimeout");
    QTest::addColumn<bool>("comesBack");
    QTest::newRow("with a read time-out") << 600 << true;
    QTest::newRow("without") << 0 << false;
}

void TestLiveVideoWidget::endedThread_isStartedAgain()
{
    QFETCH(int, readTimeout);
    QFETCH(bool, comesBack);
    messages->allow("^ret = 5$");
    messages->allow("^read frame error$");
    const auto device = LiveBench::makeDevice();
    LiveProbe widget;
    VideoPara para = widget.getVideoPara();
    para.readTimeout = readTimeout;
    widget.setVideoPara(para);
    QVERIFY(widget.init(device, 0, 1));
    QSignalSpy playing(&widget, &AbstractVideoWidget::sig_receivePlayStart);
    QSignalSpy ended(&widget, &AbstractVideoWidget::sig_receivePlayFinsh);
    QVERIFY(widget.start());
    widget.playStart(0);
    QTRY_VERIFY(widget.bound()->getVideoWidth() > 0);
    widget.bound()->setOpenSleepTime(100);
    device->script(0, 0).addResult(5, 4); // the fourth ends the thread
    QTRY_COMPARE(ended.count(), 1);
    QVERIFY(!widget.getIsRunning());
    if (comesBack) {
        QTRY_COMPARE(playing.count(), 2);
        QVERIFY(widget.getIsRunning());
        QTRY_VERIFY(widget.bound()->getVideoWidth() > 0);
    } else {
        QTest::qWait(300);
        QCOMPARE(playing.count(), 1);
        QVERIFY(!widget.bound()->isRunning());
    }
    QCOMPARE(widget.bound()->previewRef().load(), 1);
}

// --- Sound, talk, recording

void TestLiveVideoWidget::sound_isTheShownStreams()
{
    const auto device = LiveBench::makeDevice();
    for (int stream = 0; stream < 2; ++stream) {
        const DeviceFrames pictures = stream == 0 ? DeviceStream::h264() : DeviceStream::h264OtherSize();
        device->script(0, stream).clear();
        device->script(0, stream).setClip(DeviceStream::mixed(pictures, DeviceStream::sound()));
    }
    LiveProbe widget;
    LiveProbe other;
    const auto player = QSharedPointer<AudioDouble>::create();
    widget.audioPlayer = player;
    for (LiveProbe* probe : {&widget, &other}) {
        QVERIFY(probe->init(device, 0, allStreams));
        QVERIFY(probe->start());
    }
    other.playStart(1); // decodes sound that the widget is connected to and does not show
    QTRY_VERIFY(other.bound()->getVideoWidth() > 0);
    QTest::qWait(100);
    QCOMPARE(player->opened, 0);
    QCOMPARE(player->played, 0);
    widget.playStart(0);
    QTRY_COMPARE(player->opened, 1);
    QTRY_VERIFY(player->played > 3);
    widget.replay(1); // whose format came before
    QTRY_COMPARE(player->opened, 2);
    const int played = player->played;
    QTRY_VERIFY(player->played > played + 3);

    // One that comes when everything plays already.
    LiveProbe late;
    const auto latePlayer = QSharedPointer<AudioDouble>::create();
    late.audioPlayer = latePlayer;
    QVERIFY(late.init(device, 0, allStreams));
    QVERIFY(late.start());
    late.playStart(1);
    QTRY_COMPARE(latePlayer->opened, 1);
    QTRY_VERIFY(latePlayer->played > 3);
}

void TestLiveVideoWidget::sound_isNotTaken_whenTheWidgetOnlyShows()
{
    const auto device = LiveBench::makeDevice();
    device->script(0, 0).clear();
    device->script(0, 0).setClip(DeviceStream::mixed(DeviceStream::h264(), DeviceStream::sound()));
    LiveProbe widget;
    widget.setViewOnly(true);
    const auto player = QSharedPointer<AudioDouble>::create();
    widget.audioPlayer = player;
    QVERIFY(widget.init(device, 0, 1));
    QVERIFY(widget.start());
    widget.playStart(0);
    std::atomic<int> sounds{0};
    connect(widget.bound(), &AbstractVideoThread::receiveAudio, widget.bound(), [&] { ++sounds; },
            Qt::DirectConnection);
    QTRY_VERIFY(sounds > 5);
    QTest::qWait(20);
    QCOMPARE(player->opened, 0);
    QCOMPARE(player->played, 0);
    const auto thread = threadsOf(device).at(0);
    widget.stop();
    QTRY_VERIFY(thread->isFinished());
}

void TestLiveVideoWidget::talk_isPassedOn_unlessTheWidgetOnlyShows()
{
    LiveProbe widget;
    widget.talkStart(); // nobody there
    widget.talkStop();
    const auto player = QSharedPointer<AudioDouble>::create();
    widget.audioPlayer = player;
    widget.talkStart();
    QCOMPARE(player->talksStarted, 0); // queued
    QTRY_COMPARE(player->talksStarted, 1);
    widget.talkStop();
    QTRY_COMPARE(player->talksStopped, 1);
    widget.setViewOnly(true);
    widget.talkStart();
    widget.talkStop();
    QTest::qWait(10);
    QCOMPARE(player->talksStarted, 1);
    QCOMPARE(player->talksStopped, 1);
}

void TestLiveVideoWidget::recorderState_isTheShownStreams()
{
    const QTemporaryDir folder;
    const auto device = LiveBench::makeDevice();
    LiveProbe widget;
    QVERIFY(widget.init(device, 0, allStreams));
    QVERIFY(widget.start());
    widget.playStart(0);
    auto* label
        = widget.findChild<QWidget*>("bannerWidget")->findChild<QObject*>(QString(), Qt::FindDirectChildrenOnly);
    QVERIFY(label);
    const auto isRecordingShown = [label] { return label->property("text").toString().contains("录制中"); };
    widget.recordStart(folder.path());
    QTRY_VERIFY(isRecordingShown());
    widget.replay(1);
    QVERIFY(!isRecordingShown());
    widget.replay(0);
    QVERIFY(isRecordingShown());
    widget.recordStop();
    QTRY_VERIFY(!isRecordingShown());
    widget.recordStart(folder.path());
    QTRY_VERIFY(isRecordingShown());
    const auto thread = threadsOf(device).at(0);
    widget.stop();
    QVERIFY(!isRecordingShown());
    thread->recordStop(AbstractVideoThread::MANUAL_RECORD);
    Vantor::release(); // the file gets its name while the folder is there
}

QTEST_MAIN(TestLiveVideoWidget)
#include "tst_livevideowidget.moc"
