#include "core_audio/audioplayer.h"
#include "core_audio/audiothread.h"
#include "support/messageguard.h"
#include "support/resourcecount.h"
#include "support/soundserver.h"
#include "support/tone.h"
#include "support/waiting.h"

#include <QAudio>
#include <QElapsedTimer>
#include <QMetaMethod>
#include <QtTest>

#include <memory>

namespace {

constexpr int rate = 8000;
constexpr double loud = 0.5;
constexpr int stepMs = 20;

QStringList ownMethods(const QMetaObject* meta, QMetaMethod::MethodType type)
{
    QStringList names;
    for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
        if (meta->method(i).methodType() == type)
            names.append(QString::fromLatin1(meta->method(i).methodSignature()));
    }
    return names;
}

/// As widgets call it.
template <typename... Arguments>
void call(AudioThread* thread, const char* slot, Arguments... arguments)
{
    QVERIFY(QMetaObject::invokeMethod(thread, slot, Qt::QueuedConnection, arguments...));
}

void open(AudioThread* thread) { call(thread, "openAudioOutput", Q_ARG(int, rate), Q_ARG(int, 1), Q_ARG(int, 16)); }

void playInRealTime(AudioThread* thread, const QByteArray& samples)
{
    constexpr int stepBytes = rate * 2 * stepMs / 1000;
    QElapsedTimer elapsed;
    elapsed.start();
    for (int step = 0; step * stepBytes < samples.size(); ++step) {
        Waiting::until([&] { return elapsed.elapsed() >= step * stepMs; }, stepMs * 10);
        call(thread, "play", Q_ARG(QByteArray, samples.mid(step * stepBytes, stepBytes)));
    }
}

/// Where the microphone's samples and the talk calls arrive.
class ListeningThread : public AudioThread
{
public:
    ~ListeningThread() override { stop(); }
    void receiveInputData(const QByteArray& data) override
    {
        bytes += data.size();
        calledOn = QThread::currentThread();
    }
    void startTalk() override { calls += 1; }
    void stopTalk() override { calls += 100; }

    std::atomic<int> bytes{0};
    std::atomic<int> calls{0};
    std::atomic<QThread*> calledOn{nullptr};
};

} // namespace

class TestAudioThread : public QObject
{
    Q_OBJECT

private:
    SoundServer server;
    std::unique_ptr<MessageGuard> guard;

private Q_SLOTS:
    void initTestCase() { QVERIFY2(server.start(), "there is no sound server to test with"); }
    void init() { guard.reset(new MessageGuard); }
    void cleanup() { VERIFY_NO_UNEXPECTED_MESSAGES(*guard); }

    void metaObject_listsSignalsAndSlots_inTheirOrder()
    {
        const QMetaObject* meta = &AudioThread::staticMetaObject;
        QCOMPARE(
            ownMethods(meta, QMetaMethod::Signal),
            QStringList({"receiveLevel(double)", "sig_startTalkDeviceBusy(QString)", "sig_startTalkError(QString)"}));
        QCOMPARE(
            ownMethods(meta, QMetaMethod::Slot),
            QStringList({"openAudioOutput(int,int,int)", "closeAudioOutput()", "play(QByteArray)", "receiveVolume(int)",
                         "receiveMuted(bool)", "openAudioInput(int,int,int)", "closeAudioInput()",
                         "receiveInputData(QByteArray)", "startTalk()", "stopTalk()", "onStarted()", "onStoped()"}));
        QVERIFY(QByteArray(meta->superClass()->className()) == "QObject");
    }

    void slots_doNothing_beforeThereIsAPlayer()
    {
        AudioThread thread;
        thread.openAudioOutput(rate, 1, 16);
        thread.openAudioInput(rate, 1, 16);
        thread.play(QByteArray(320, 'x'));
        thread.receiveInputData(QByteArray(320, 'x'));
        thread.startTalk();
        thread.stopTalk();
        thread.closeAudioOutput();
        thread.closeAudioInput();
        thread.onStoped();
        thread.stop();
        QVERIFY(!thread.getLevel());
        QVERIFY(!thread.getMuted());
        QCOMPARE(thread.getVolume(), 0);
        QCOMPARE(server.outputStreams(), 0);
    }

    void player_existsFromStartToStop_onThePrivateThread()
    {
        AudioThread thread;
        thread.start();
        QVERIFY(thread.thread() != QThread::currentThread());
        QTRY_COMPARE(thread.getVolume(), 100);
        thread.stop();
        QVERIFY(!thread.isRunning());
        QCOMPARE(thread.getVolume(), 0);
        thread.start();
        QTRY_COMPARE(thread.getVolume(), 100);
    }

    void getters_sayWhatTheCallsLedTo()
    {
        AudioThread thread;
        thread.start();
        open(&thread);
        QTRY_COMPARE(thread.getVolume(), 99);
        call(&thread, "receiveVolume", Q_ARG(int, 0));
        QTRY_COMPARE(thread.getVolume(), 0);
        QVERIFY(thread.getMuted());
        thread.setLevel(true);
        QTRY_VERIFY(thread.getLevel());
        call(&thread, "receiveVolume", Q_ARG(int, 40));
        QTRY_VERIFY(qAbs(thread.getVolume() - 40) <= 1);
        QVERIFY(!thread.getMuted());
    }

    void tone_isHeard_andItsLevelCrossesToTheGuiThread()
    {
        AudioThread thread;
        QVector<double> levels;
        QThread* levelThread = nullptr;
        connect(&thread, &AudioThread::receiveLevel, this, [&](double level) {
            levels.append(level);
            levelThread = QThread::currentThread();
        });
        call(&thread, "receiveVolume", Q_ARG(int, 50)); // before there is a player
        thread.setLevel(true);
        thread.start();
        open(&thread);
        QVERIFY(server.startRecording());
        playInRealTime(&thread, Tone::sine(1000, rate, 1000, loud));
        QTest::qWait(300);
        const QByteArray heard = Tone::trimmed(server.stopRecording(), loud / 40);
        const Tone::Measure measure
            = Tone::measure(Tone::part(heard, SoundServer::recordingRate, 100, 900), SoundServer::recordingRate);
        const double half = QAudio::convertVolume(0.5, QAudio::LogarithmicVolumeScale, QAudio::LinearVolumeScale);
        QVERIFY2(qAbs(measure.frequency - 1000) < 1, qPrintable(QString::number(measure.frequency)));
        QVERIFY2(qAbs(measure.amplitude / (loud * half) - 1) < 0.03, qPrintable(QString::number(measure.amplitude)));
        QCOMPARE(levels.count(), 1000 / stepMs);
        QVERIFY(qAbs(levels.last() - loud) < 0.001); // of the buffer, not of what is heard
        QVERIFY(levelThread == QThread::currentThread());
    }

    void mute_silences_alsoWhenItCameFirst()
    {
        AudioThread thread;
        call(&thread, "receiveMuted", Q_ARG(bool, true));
        thread.start();
        open(&thread);
        QVERIFY(server.startRecording());
        playInRealTime(&thread, Tone::sine(1000, rate, 500, loud));
        QCOMPARE(Tone::peak(server.stopRecording()), 0.0);
    }

    void virtualSlots_areCalledOnThePrivateThread()
    {
        ListeningThread thread;
        thread.start();
        call(&thread, "startTalk");
        call(&thread, "stopTalk");
        call(&thread, "openAudioInput", Q_ARG(int, rate), Q_ARG(int, 1), Q_ARG(int, 16));
        QTRY_COMPARE(thread.calls.load(), 101);
        QTRY_VERIFY(thread.bytes > 1000);
        QVERIFY(thread.calledOn == thread.thread());
        call(&thread, "closeAudioInput");
        QTRY_COMPARE(server.inputStreams(), 0);
    }

    void stop_closesTheDevices()
    {
        AudioThread thread;
        thread.start();
        open(&thread);
        call(&thread, "openAudioInput", Q_ARG(int, rate), Q_ARG(int, 1), Q_ARG(int, 16));
        QTRY_COMPARE(server.outputStreams(), 1);
        QTRY_COMPARE(server.inputStreams(), 1);
        call(&thread, "closeAudioOutput");
        QTRY_COMPARE(server.outputStreams(), 0);
        QCOMPARE(server.inputStreams(), 1);
        open(&thread);
        thread.stop();
        QTRY_COMPARE(server.outputStreams(), 0);
        QTRY_COMPARE(server.inputStreams(), 0);
    }

    void stop_mayComeAtAnyMoment()
    {
        const QByteArray tone = Tone::sine(1000, rate, stepMs, loud);
        for (int i = 0; i < 40; ++i) {
            AudioThread thread;
            thread.start();
            if (i % 4 == 3)
                thread.stop();
            open(&thread);
            for (int part = 0; part < i; ++part)
                call(&thread, "play", Q_ARG(QByteArray, tone));
            if (i % 4 == 1)
                QTest::qWait(i);
        }
        QTRY_COMPARE(server.outputStreams(), 0);
    }

    void startAndStop_leakNothing()
    {
        const auto round = [] {
            AudioThread thread;
            thread.start();
            open(&thread);
            call(&thread, "openAudioInput", Q_ARG(int, rate), Q_ARG(int, 1), Q_ARG(int, 16));
            call(&thread, "play", Q_ARG(QByteArray, QByteArray(320, 'x')));
            QTRY_COMPARE(thread.getVolume(), 99);
        };
        for (int i = 0; i < 10; ++i)
            round();
        const ResourceCount before = ResourceCount::now();
        for (int i = 0; i < 200; ++i)
            round();
        QVERIFY(ResourceCount::waitUntilNotAbove(before));
        QTRY_COMPARE(server.outputStreams(), 0);
        QTRY_COMPARE(server.inputStreams(), 0);
    }
};

QTEST_GUILESS_MAIN(TestAudioThread)
#include "tst_audiothread.moc"
