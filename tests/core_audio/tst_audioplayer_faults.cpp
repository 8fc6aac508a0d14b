#include "core_audio/audioplayer.h"
#include "support/messageguard.h"
#include "support/resourcecount.h"
#include "support/soundserver.h"
#include "support/tone.h"
#include "support/waiting.h"

#include <QElapsedTimer>
#include <QTimer>
#include <QtTest>

#include <ctime>
#include <memory>

namespace {

constexpr int rate = 8000;
constexpr double loud = 0.5;
constexpr int stepMs = 20;
constexpr int backMs = 20000; // until what was lost is tried again

const char* const noOutput = "no sound output can be opened";
const char* const noMicrophone = "no microphone can be opened";
const char* const outputLost = "the sound output is lost; the picture goes on without sound";
const char* const microphoneLost = "the microphone is lost";

/// A source that never ends, and what of the microphone is heard.
class Talk : public QObject
{
public:
    Talk()
    {
        connect(&player, &AudioPlayer::receiveInputData, this, [this](const QByteArray& data) { heard += data; });
        connect(&player, &AudioPlayer::receiveOutputData, this, [this] { ++played; });
        connect(&timer, &QTimer::timeout, this, [this] { player.play(tone.constData(), tone.size()); });
        timer.setTimerType(Qt::PreciseTimer);
        timer.start(stepMs);
    }
    void open()
    {
        player.openAudioOutput(rate, 1, 16);
        player.openAudioInput(rate, 1, 16);
    }

    AudioPlayer player;
    QByteArray heard;
    int played = 0;

private:
    const QByteArray tone = Tone::sine(1000, rate, stepMs, loud);
    QTimer timer;
};

} // namespace

/// In this order: the process has one connection to the server, from the first test to the last.
class TestAudioPlayerFaults : public QObject
{
    Q_OBJECT

private:
    SoundServer server;
    std::unique_ptr<MessageGuard> guard;
    std::unique_ptr<Talk> talk;

    bool isHeard()
    {
        if (!server.startRecording())
            return false;
        QTest::qWait(500);
        return Tone::peak(server.stopRecording()) > loud * 0.9;
    }

    int warnings() const
    {
        int count = 0;
        for (const MessageGuard::Message& message : guard->messages())
            count += message.category.startsWith("vantor.audio") && message.type == QtWarningMsg;
        return count;
    }

private Q_SLOTS:
    void init()
    {
        guard.reset(new MessageGuard);
        guard->allow("^\"?(PulseAudioService: |Stream error: |pa_stream_peek\\(\\) failed|using null )");
    }
    void cleanup() { VERIFY_NO_UNEXPECTED_MESSAGES(*guard); }

    void opening_saysItOnce_withoutAServer()
    {
        guard->allow(noOutput);
        guard->allow(noMicrophone);
        talk.reset(new Talk);
        talk->open();
        talk->open();
        QTest::qWait(5000); // it was tried again meanwhile
        talk->open();
        QVERIFY(!talk->player.isPlaying());
        QCOMPARE(talk->played, 0);
        QCOMPARE(guard->count(QtWarningMsg, noOutput), 1);
        QCOMPARE(guard->count(QtWarningMsg, noMicrophone), 1);
        QCOMPARE(guard->texts(QtWarningMsg).size(), 2); // Qt has nothing to add
    }

    void sound_comes_whenAServerCame()
    {
        QVERIFY(server.start());
        QTRY_VERIFY_WITH_TIMEOUT(talk->player.isPlaying(), backMs);
        QVERIFY(isHeard());
        QTRY_VERIFY_WITH_TIMEOUT(!talk->heard.isEmpty(), backMs);
        QCOMPARE(warnings(), 0);
    }

    void nothingElseHappens_whenTheServerDies()
    {
        guard->allow(outputLost);
        guard->allow(microphoneLost);
        server.kill();
        QTRY_VERIFY_WITH_TIMEOUT(!talk->player.isPlaying(), 3000);
        QTRY_COMPARE_WITH_TIMEOUT(guard->count(QtWarningMsg, microphoneLost), 1, 8000);
        // Neither a busy loop nor a flood of messages.
        const std::clock_t before = std::clock();
        QElapsedTimer elapsed;
        elapsed.start();
        const int messagesBefore = guard->messages().size();
        QTest::qWait(8000);
        const double busy = double(std::clock() - before) / CLOCKS_PER_SEC * 1000 / elapsed.elapsed();
        QVERIFY2(busy < 0.1, qPrintable(QString::number(busy)));
        QVERIFY(guard->messages().size() - messagesBefore < 10);
        QCOMPARE(guard->count(QtWarningMsg, outputLost), 1);
        QCOMPARE(guard->count(QtWarningMsg, microphoneLost), 1);
        QCOMPARE(warnings(), 2);
    }

    void sound_comesBack_withTheServer()
    {
        talk->heard.clear();
        talk->player.setVolume(100);
        QVERIFY(server.start());
        QTRY_VERIFY_WITH_TIMEOUT(talk->player.isPlaying(), backMs);
        QVERIFY(isHeard());
        QTRY_VERIFY_WITH_TIMEOUT(!talk->heard.isEmpty(), backMs);
    }

    void opening_ends_whenTheServerHasNoDevices()
    {
        guard->allow(outputLost);
        guard->allow(microphoneLost);
        server.kill();
        QTRY_VERIFY_WITH_TIMEOUT(!talk->player.isPlaying(), 3000);
        QTRY_COMPARE_WITH_TIMEOUT(guard->count(QtWarningMsg, microphoneLost), 1, 8000);
        server.setSpeaker(false);
        server.setMicrophone(false);
        QVERIFY(server.start());
        QTest::qWait(8000);
        QVERIFY(!talk->player.isPlaying());
        talk->open();
        QVERIFY(!talk->player.isPlaying());
        QCOMPARE(warnings(), 2);
    }

    void frozenServer_holdsNobodyUp()
    {
        server.kill();
        server.setSpeaker(true);
        server.setMicrophone(true);
        QVERIFY(server.start());
        QTRY_VERIFY_WITH_TIMEOUT(talk->player.isPlaying(), backMs);
        talk->player.closeAudioInput();
        server.freeze();
        const int before = talk->played;
        QElapsedTimer elapsed;
        elapsed.start();
        QTRY_VERIFY(talk->played > before + 100);
        QVERIFY(elapsed.elapsed() < 4000);
        server.resume();
        QTest::qWait(500);
        QVERIFY(isHeard());
        talk->player.closeAudioOutput();
        QTRY_COMPARE(server.outputStreams(), 0);
    }
};

QTEST_GUILESS_MAIN(TestAudioPlayerFaults)
#include "tst_audioplayer_faults.moc"
