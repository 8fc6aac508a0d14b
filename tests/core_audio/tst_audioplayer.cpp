#include "core_audio/audioplayer.h"
#include "support/messageguard.h"
#include "support/soundserver.h"
#include "support/tone.h"
#include "support/waiting.h"

#include <QAudioInput>
#include <QAudioOutput>
#include <QElapsedTimer>
#include <QMetaMethod>
#include <QSignalSpy>
#include <QtTest>

#include <memory>

namespace {

constexpr int rate = 8000;
constexpr double loud = 0.5;

template <typename Sample>
QByteArray pcm(std::initializer_list<Sample> samples)
{
    return QByteArray(reinterpret_cast<const char*>(samples.begin()), int(samples.size() * sizeof(Sample)));
}

QByteArray bytes(int value, int count) { return QByteArray(count, char(value)); }

/// Counts receiveOutputData(), whose pointer no signal spy takes.
struct OutputCount : QObject
{
    explicit OutputCount(AudioPlayer* player)
    {
        connect(player, &AudioPlayer::receiveOutputData, this, [this] { ++count; });
    }
    int count = 0;
};

QStringList ownMethods(const QMetaObject* meta, QMetaMethod::MethodType type)
{
    QStringList names;
    for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
        if (meta->method(i).methodType() == type)
            names.append(QString::fromLatin1(meta->method(i).methodSignature()));
    }
    return names;
}

/// Plays the samples as a source does: 20 ms at a time, in real time.
void playInRealTime(AudioPlayer* player, const QByteArray& samples)
{
    constexpr int stepMs = 20;
    constexpr int stepBytes = rate * 2 * stepMs / 1000;
    QElapsedTimer elapsed;
    elapsed.start();
    for (int step = 0; step * stepBytes < samples.size(); ++step) {
        Waiting::until([&] { return elapsed.elapsed() >= step * stepMs; }, stepMs * 10);
        const QByteArray part = samples.mid(step * stepBytes, stepBytes);
        player->play(part.constData(), part.size());
    }
}

double linear(int volume)
{
    return QAudio::convertVolume(volume / 100.0, QAudio::LogarithmicVolumeScale, QAudio::LinearVolumeScale);
}

} // namespace

class TestAudioPlayer : public QObject
{
    Q_OBJECT

private:
    SoundServer server;
    std::unique_ptr<MessageGuard> guard;

    QByteArray playAndRecord(AudioPlayer* player, const QByteArray& samples)
    {
        if (!server.startRecording())
            return QByteArray();
        playInRealTime(player, samples);
        QTest::qWait(400); // what is still on its way
        return server.stopRecording();
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY2(server.start(), "there is no sound server to test with"); }

    void init() { guard.reset(new MessageGuard); }
    void cleanup() { VERIFY_NO_UNEXPECTED_MESSAGES(*guard); }
    void cleanupTestCase()
    {
        QTRY_COMPARE(server.outputStreams(), 0);
        QTRY_COMPARE(server.inputStreams(), 0);
    }

    void metaObject_listsSignalsAndSlots_inTheirOrder()
    {
        const QMetaObject* meta = &AudioPlayer::staticMetaObject;
        QCOMPARE(ownMethods(meta, QMetaMethod::Signal),
                 QStringList({"receiveInputData(QByteArray)", "receiveOutputData(const char*,int)",
                              "receiveVolume(int)", "receiveMuted(bool)", "receiveLevel(double)"}));
        QCOMPARE(ownMethods(meta, QMetaMethod::Slot),
                 QStringList({"readyRead()", "openAudioInput(int,int,int,QString)", "closeAudioInput()",
                              "resetAudioInput()", "openAudioOutput(int,int,int,QString)", "closeAudioOutput()",
                              "resetAudioOutput()", "play(const char*,int)"}));
        QVERIFY(QByteArray(meta->superClass()->className()) == "QObject");
    }

    void construction_hasNoDevices()
    {
        AudioPlayer player;
        QCOMPARE(player.getVolume(), 100);
        QVERIFY(!player.getMuted());
        QVERIFY(!player.getLevel());
        QVERIFY(!player.isPlaying());
        player.readyRead();
        player.closeAudioInput();
        player.closeAudioOutput();
        player.resetAudioInput();
        player.resetAudioOutput();
    }

    void play_doesNothing_beforeAnOutputIsOpen()
    {
        AudioPlayer player;
        OutputCount output(&player);
        QSignalSpy levels(&player, &AudioPlayer::receiveLevel);
        player.setLevel(true);
        player.play("abcd", 4);
        QCOMPARE(output.count, 0);
        QCOMPARE(levels.count(), 0);
    }

    void play_saysWhatItPlays()
    {
        AudioPlayer player;
        player.openAudioOutput(rate, 1, 16);
        QVERIFY(player.isPlaying());
        QByteArray seen;
        connect(&player, &AudioPlayer::receiveOutputData, this,
                [&](const char* data, int len) { seen = QByteArray(data, len); });
        player.play("abcd", 4);
        QCOMPARE(seen, QByteArray("abcd"));
        player.closeAudioOutput();
        QVERIFY(!player.isPlaying());
        seen.clear();
        player.play("abcd", 4);
        QVERIFY(seen.isEmpty());
    }

    void peak_isToTheLastDigit_data()
    {
        QTest::addColumn<int>("sampleSize");
        QTest::addColumn<int>("channels");
        QTest::addColumn<QByteArray>("samples");
        QTest::addColumn<double>("expected");
        QTest::newRow("full scale, 16 bits") << 16 << 1 << pcm<qint16>({32767, -32767}) << 1.0;
        QTest::newRow("lowest value, 16 bits") << 16 << 1 << pcm<qint16>({0, -32768}) << 1.0;
        QTest::newRow("half scale, 16 bits") << 16 << 1 << pcm<qint16>({100, -16384, 5}) << 16384 / 32767.0;
        QTest::newRow("one, 16 bits") << 16 << 1 << pcm<qint16>({1, 0, -1}) << 1 / 32767.0;
        QTest::newRow("silence, 16 bits") << 16 << 1 << pcm<qint16>({0, 0}) << 0.0;
        QTest::newRow("right channel, 16 bits") << 16 << 2 << pcm<qint16>({1, 2, 3, -4000}) << 4000 / 32767.0;
        QTest::newRow("half a frame is not looked at") << 16 << 2 << pcm<qint16>({1, 2, 4000}) << 2 / 32767.0;
        QTest::newRow("no whole frame, 16 bits") << 16 << 2 << pcm<qint16>({4000}) << 0.0;
        QTest::newRow("silence, 8 bits") << 8 << 1 << bytes(128, 6) << 128 / 255.0 - 0.5;
        QTest::newRow("zeros, 8 bits") << 8 << 1 << bytes(0, 6) << -0.5;
        QTest::newRow("full scale, 8 bits") << 8 << 1 << bytes(255, 6) << 0.5;
        QTest::newRow("no whole frame, 8 bits") << 8 << 2 << bytes(255, 1) << 0.0;
        QTest::newRow("full scale, 32 bits") << 32 << 1 << pcm<qint32>({2147483647}) << 1.0;
        QTest::newRow("lowest value, 32 bits") << 32 << 1 << pcm<qint32>({-2147483647 - 1}) << 1.0;
        QTest::newRow("half scale, 32 bits") << 32 << 1 << pcm<qint32>({-1073741824, 7}) << 1073741824 / 2147483647.0;
    }
    void peak_isToTheLastDigit()
    {
        QFETCH(int, sampleSize);
        QFETCH(int, channels);
        QFETCH(QByteArray, samples);
        QFETCH(double, expected);
        AudioPlayer player;
        QSignalSpy levels(&player, &AudioPlayer::receiveLevel);
        player.openAudioOutput(rate, channels, sampleSize);
        player.play(samples.constData(), samples.size());
        QCOMPARE(levels.count(), 0);
        player.setLevel(true);
        player.play(samples.constData(), samples.size());
        QCOMPARE(levels.count(), 1);
        QVERIFY2(levels[0][0].toDouble() == expected, qPrintable(QString::number(levels[0][0].toDouble(), 'g', 17)));
    }

    void decibel_isToTheLastDigit_data()
    {
        QTest::addColumn<QByteArray>("samples");
        QTest::addColumn<double>("expected");
        QTest::newRow("nothing") << QByteArray() << 0.0;
        QTest::newRow("half a sample") << QByteArray("a") << 0.0;
        QTest::newRow("silence") << pcm<qint16>({0, 0, 0}) << 0.0;
        QTest::newRow("a mean below one") << pcm<qint16>({1, 0}) << 0.0;
        QTest::newRow("one") << pcm<qint16>({1, 1}) << 0.0;
        QTest::newRow("ten") << pcm<qint16>({10}) << 20.0;
        QTest::newRow("just below ten") << pcm<qint16>({9, 10}) << 19.0;
        QTest::newRow("a hundred, and half a sample") << pcm<qint16>({50, 150}) + 'x' << 40.0;
        QTest::newRow("full scale") << pcm<qint16>({32767}) << 90.0;
        QTest::newRow("negative samples are large numbers") << pcm<qint16>({-1}) << 96.0;
        QTest::newRow("lowest value") << pcm<qint16>({-32768}) << 90.0;
        QTest::newRow("mean of signs") << pcm<qint16>({1, -1}) << 90.0;
        QTest::newRow("more than 32 bits") << bytes(255, 400000) << 96.0;
    }
    void decibel_isToTheLastDigit()
    {
        QFETCH(QByteArray, samples);
        QFETCH(double, expected);
        QVERIFY(AudioPlayer::getDecibel(samples.constData(), samples.size()) == expected);
    }

    void getVolume_isThatOfTheOutput_onTheLogarithmicScale()
    {
        AudioPlayer player;
        QSignalSpy volumes(&player, &AudioPlayer::receiveVolume);
        player.openAudioOutput(rate, 1, 16);
        for (const int volume : {0, 1, 30, 50, 80, 99}) {
            player.setVolume(volume);
            QCOMPARE(volumes.takeFirst().at(0).toInt(), volume);
            QVERIFY(qAbs(player.getVolume() - volume) <= 1); // there and back, and cut to a whole number
        }
        player.resetAudioOutput();
        QCOMPARE(player.getVolume(), 99); // the scale ends at 0.99
        player.closeAudioOutput();
        player.setVolume(20);
        QCOMPARE(volumes.takeFirst().at(0).toInt(), 20);
        QCOMPARE(player.getVolume(), 100);
        player.openAudioOutput(rate, 1, 16); // as it is when a source was opened again
        QVERIFY(qAbs(player.getVolume() - 20) <= 1);
    }

    void getMuted_asksForTheVolume_andNotForTheFlag()
    {
        AudioPlayer player;
        QSignalSpy changes(&player, &AudioPlayer::receiveMuted);
        player.openAudioOutput(rate, 1, 16);
        player.setVolume(0);
        QVERIFY(player.getMuted());
        player.setVolume(50);
        player.setMuted(true);
        QVERIFY(!player.getMuted());
        QCOMPARE(changes.count(), 1);
        QCOMPARE(changes[0][0].toBool(), true);
    }

    void openAudioOutput_takesTheNamedDevice_andNoneForAnUnknownName()
    {
        AudioPlayer player;
        player.openAudioOutput(rate, 1, 16, SoundServer::speakerName());
        QVERIFY(player.isPlaying());
        QTRY_COMPARE(server.outputStreams(), 1);

        guard->allow("using null output device");
        guard->allow("no sound output can be opened");
        OutputCount output(&player);
        player.openAudioOutput(rate, 1, 16, "cellar");
        QVERIFY(!player.isPlaying());
        player.play("abcd", 4);
        QCOMPARE(output.count, 0);
        QTRY_COMPARE(server.outputStreams(), 0);
        QCOMPARE(guard->count(QtWarningMsg, "no sound output can be opened"), 1);

        player.openAudioOutput(rate, 1, 16, QString());
        QVERIFY(player.isPlaying());
    }

    void openAudioInput_takesTheNamedDevice_andNoneForAnUnknownName()
    {
        AudioPlayer player;
        QSignalSpy input(&player, &AudioPlayer::receiveInputData);
        player.openAudioInput(rate, 1, 16, SoundServer::microphoneName());
        QTRY_VERIFY(input.count() > 2);

        guard->allow("using null input device");
        guard->allow("no microphone can be opened");
        player.openAudioInput(rate, 1, 16, "cellar");
        QTRY_COMPARE(server.inputStreams(), 0);
        input.clear();
        QTest::qWait(200);
        QCOMPARE(input.count(), 0);
        QCOMPARE(guard->count(QtWarningMsg, "no microphone can be opened"), 1);
    }

    void opening_replacesTheDeviceThatWasOpen()
    {
        AudioPlayer player;
        for (int i = 0; i < 5; ++i) {
            player.openAudioOutput(rate, 1 + i % 2, 16);
            player.openAudioInput(rate, 1, 16);
        }
        QTRY_COMPARE(server.outputStreams(), 1);
        QTRY_COMPARE(server.inputStreams(), 1);
        player.closeAudioOutput();
        QTRY_COMPARE(server.outputStreams(), 0);
        QCOMPARE(server.inputStreams(), 1); // one has nothing to do with the other
    }

    void tone_isHeard_atTheSetVolume_data()
    {
        QTest::addColumn<int>("volume");
        QTest::newRow("full") << 100;
        QTest::newRow("80") << 80;
        QTest::newRow("50") << 50;
        QTest::newRow("20") << 20;
    }
    void tone_isHeard_atTheSetVolume()
    {
        QFETCH(int, volume);
        AudioPlayer player;
        player.openAudioOutput(rate, 1, 16);
        player.setVolume(volume);
        const QByteArray heard
            = Tone::trimmed(playAndRecord(&player, Tone::sine(1000, rate, 1500, loud)), loud * linear(volume) / 4);
        const double heardMs = heard.size() / 2 * 1000.0 / SoundServer::recordingRate;
        // A machine that is busy brings some of it so late, and then at once, that it is left out.
        QVERIFY2(heardMs > 1350 && heardMs < 1550, qPrintable(QString::number(heardMs)));
        const QByteArray middle = Tone::part(heard, SoundServer::recordingRate, 100, 1300);
        const Tone::Measure measure = Tone::measure(middle, SoundServer::recordingRate);
        QVERIFY2(qAbs(measure.frequency - 1000) < 1, qPrintable(QString::number(measure.frequency)));
        QVERIFY2(qAbs(measure.amplitude / (loud * linear(volume)) - 1) < 0.05,
                 qPrintable(QString::number(measure.amplitude)));
        QVERIFY2(measure.rest < measure.amplitude / 5, qPrintable(QString::number(measure.rest)));
    }

    void tone_isSilent_whileMuted()
    {
        AudioPlayer player;
        player.openAudioOutput(rate, 1, 16);
        player.setMuted(true);
        OutputCount output(&player);
        const QByteArray tone = Tone::sine(1000, rate, 600, loud);
        QCOMPARE(Tone::peak(playAndRecord(&player, tone)), 0.0);
        QCOMPARE(output.count, 30);
        player.setMuted(false);
        QVERIFY(Tone::peak(playAndRecord(&player, tone)) > loud * 0.9);
        QCOMPARE(output.count, 60);
    }

    void tone_isSilent_atVolumeZero()
    {
        AudioPlayer player;
        player.openAudioOutput(rate, 1, 16);
        player.setVolume(0);
        QCOMPARE(Tone::peak(playAndRecord(&player, Tone::sine(1000, rate, 600, loud))), 0.0);
    }

    void tone_hasNoGap_whenItComesInLargeBuffers()
    {
        AudioPlayer player;
        player.openAudioOutput(rate, 1, 16);
        const QByteArray tone = Tone::sine(1000, rate, 2500, loud);
        constexpr int stepMs = 500;
        constexpr int stepBytes = rate * 2 * stepMs / 1000;
        QVERIFY(server.startRecording());
        QElapsedTimer elapsed;
        elapsed.start();
        for (int step = 0; step < 5; ++step) {
            Waiting::until([&] { return elapsed.elapsed() >= step * stepMs; }, 2 * stepMs);
            player.play(tone.constData() + step * stepBytes, stepBytes);
        }
        QTest::qWait(stepMs + 400);
        const QByteArray heard = Tone::trimmed(server.stopRecording(), loud / 4);
        QVERIFY2(Tone::longestGapMs(heard, SoundServer::recordingRate, loud / 4) < 2,
                 qPrintable(QString::number(Tone::longestGapMs(heard, SoundServer::recordingRate, loud / 4))));
        QVERIFY(qAbs(heard.size() / 2 * 1000.0 / SoundServer::recordingRate - 2500) < 30);
    }

    void play_staysCloseToThePicture_whenABurstArrives()
    {
        AudioPlayer player;
        player.openAudioOutput(rate, 1, 16);
        QVERIFY(server.startRecording());
        const QByteArray tone = Tone::sine(1000, rate, 20, loud);
        for (int i = 0; i < 150; ++i) // 3 s at once, then no more
            player.play(tone.constData(), tone.size());
        QTest::qWait(800);
        const QByteArray heard = Tone::trimmed(server.stopRecording(), loud / 4);
        const double heardMs = heard.size() / 2 * 1000.0 / SoundServer::recordingRate;
        QVERIFY2(heardMs > 20 && heardMs < 300, qPrintable(QString::number(heardMs)));
    }

    void play_takesBuffersOfAnyLength()
    {
        AudioPlayer player;
        player.openAudioOutput(rate, 2, 16);
        player.setVolume(50);
        const QByteArray noise = Tone::sine(440, rate, 1000, loud);
        for (const int len : {0, 1, 2, 3, 4, 5, 7, 4001, 16000, 1, 16000})
            player.play(noise.constData(), len);
        QTest::qWait(50);
        player.play(noise.constData(), noise.size());
        QVERIFY(player.isPlaying());
        QVERIFY(server.outputStreams() == 1);
    }

    void microphone_isHeard()
    {
        AudioPlayer player;
        QByteArray heard;
        connect(&player, &AudioPlayer::receiveInputData, this, [&](const QByteArray& data) { heard += data; });
        player.openAudioInput(rate, 1, 16);
        QTRY_VERIFY(heard.size() > 1000);
        QVERIFY(server.speak(Tone::sine(1000, 48000, 1500, loud), 48000));
        QTRY_VERIFY_WITH_TIMEOUT(Tone::trimmed(heard, loud / 4).size() >= rate * 2 * 14 / 10, 10000);
        const QByteArray spoken = Tone::part(Tone::trimmed(heard, loud / 4), rate, 100, 1300);
        const Tone::Measure measure = Tone::measure(spoken, rate);
        QVERIFY2(qAbs(measure.frequency - 1000) < 1, qPrintable(QString::number(measure.frequency)));
        QVERIFY2(qAbs(measure.amplitude / loud - 1) < 0.1, qPrintable(QString::number(measure.amplitude)));
        QVERIFY2(measure.rest < measure.amplitude / 4, qPrintable(QString::number(measure.rest)));
    }

    void microphone_isNotDelivered_whileMuted()
    {
        AudioPlayer player;
        QSignalSpy input(&player, &AudioPlayer::receiveInputData);
        player.openAudioInput(rate, 1, 16);
        QTRY_VERIFY(input.count() > 2);
        player.setMuted(true);
        input.clear();
        QTest::qWait(300);
        QCOMPARE(input.count(), 0);
        player.setMuted(false);
        QTRY_VERIFY(input.count() > 2);
        player.closeAudioInput();
        input.clear();
        QTest::qWait(300);
        QCOMPARE(input.count(), 0);
    }

    void destruction_closesTheDevices()
    {
        {
            AudioPlayer player;
            player.openAudioOutput(rate, 1, 16);
            player.openAudioInput(rate, 1, 16);
            QTRY_COMPARE(server.outputStreams(), 1);
        }
        QTRY_COMPARE(server.outputStreams(), 0);
        QTRY_COMPARE(server.inputStreams(), 0);
    }
};

QTEST_GUILESS_MAIN(TestAudioPlayer)
#include "tst_audioplayer.moc"
