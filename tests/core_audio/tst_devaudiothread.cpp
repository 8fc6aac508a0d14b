#include "core_audio/devaudiothread.h"
#include "devnet/mediadevice.h"
#include "support/fakedevice.h"
#include "support/messageguard.h"
#include "support/soundserver.h"
#include "support/tone.h"
#include "support/waiting.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

namespace {

constexpr int rate = 8000;
constexpr double loud = 0.5;

/// Expands µ-law as G.711 has it.
QByteArray expand(const QByteArray& encoded)
{
    QByteArray samples(encoded.size() * 2, Qt::Uninitialized);
    auto* sample = reinterpret_cast<qint16*>(samples.data());
    for (const char byte : encoded) {
        const int code = ~quint8(byte) & 0xFF;
        const int magnitude = ((((code & 0x0F) << 3) + 132) << ((code & 0x70) >> 4)) - 132;
        *sample++ = qint16(code & 0x80 ? -magnitude : magnitude);
    }
    return samples;
}

/// A thread that talks to a device, and what its failures say on this thread.
struct Talk
{
    Talk()
        : device(QSharedPointer<FakeDevice>::create())
    {
        QObject::connect(&thread, &AudioThread::sig_startTalkDeviceBusy, &here, [this](QString name) { busy += name; });
        QObject::connect(&thread, &AudioThread::sig_startTalkError, &here, [this](QString name) { error += name; });
        device->setNames("gate", "SN-7");
        device->setOnCall([this](const QString&) { calledOn = QThread::currentThread(); });
    }
    void order(const char* slot) { QMetaObject::invokeMethod(&thread, slot, Qt::QueuedConnection); }

    QSharedPointer<FakeDevice> device;
    std::atomic<QThread*> calledOn{nullptr};
    DevAudioThread thread;
    QStringList busy;
    QStringList error;
    QObject here;
};

} // namespace

class TestDevAudioThread : public QObject
{
    Q_OBJECT

private:
    SoundServer server;
    std::unique_ptr<MessageGuard> guard;

private Q_SLOTS:
    void initTestCase() { QVERIFY2(server.start(), "there is no sound server to test with"); }
    void init() { guard.reset(new MessageGuard); }
    void cleanup() { VERIFY_NO_UNEXPECTED_MESSAGES(*guard); }

    void setDevice_refusesANullPointer_andKeepsTheEarlierDevice()
    {
        Talk talk;
        QCOMPARE(talk.thread.setDevice({}), -1);
        QCOMPARE(talk.thread.setDevice(talk.device), 0);
        QCOMPARE(talk.thread.setDevice({}), -1);
        talk.device->setResult("startTalk", XRet::Busy);
        talk.thread.startTalk();
        QCOMPARE(talk.device->count("startTalk 0"), 1);

        const auto other = QSharedPointer<FakeDevice>::create();
        QCOMPARE(talk.thread.setDevice(other), 0);
        other->setResult("startTalk", XRet::Busy);
        talk.thread.startTalk();
        QCOMPARE(other->countOf("startTalk"), 1);
        QCOMPARE(talk.device->countOf("startTalk"), 1);
    }

    void clearDevice_dropsTheReference()
    {
        Talk talk;
        talk.thread.setDevice(talk.device);
        const QWeakPointer<FakeDevice> weak = talk.device;
        talk.device.reset();
        QVERIFY(weak);
        talk.thread.clearDevice();
        QVERIFY(!weak);
        talk.thread.startTalk();
        talk.thread.stopTalk();
        QCOMPARE(talk.busy.count() + talk.error.count(), 0);
    }

    void startTalk_givesExactlyOneSignal_whenTheDeviceRefuses_data()
    {
        QTest::addColumn<int>("result");
        QTest::addColumn<int>("busy");
        QTest::newRow("busy") << int(XRet::Busy) << 1;
        QTest::newRow("not supported") << int(XRet::NotSupported) << 0;
        QTest::newRow("time-out") << int(XRet::Timeout) << 0;
        QTest::newRow("unknown") << -5 << 0;
        QTest::newRow("next to busy") << 17 << 0;
    }
    void startTalk_givesExactlyOneSignal_whenTheDeviceRefuses()
    {
        QFETCH(int, result);
        QFETCH(int, busy);
        Talk talk;
        talk.device->setResult("startTalk", result);
        talk.thread.setDevice(talk.device);
        talk.thread.start();
        talk.order("startTalk");
        QTRY_COMPARE(talk.busy.count() + talk.error.count(), 1);
        QTest::qWait(100);
        QCOMPARE(talk.busy.count(), busy);
        QCOMPARE(talk.error.count(), 1 - busy);
        QCOMPARE((busy ? talk.busy : talk.error).at(0), QString("SN-7"));
        QCOMPARE(server.inputStreams(), 0);
        QCOMPARE(talk.device->countOf("sendTalkData"), 0);
        QVERIFY(talk.calledOn == talk.thread.thread());
        talk.thread.stop();
        QCOMPARE(talk.device->countOf("stopTalk"), 0); // somebody else may be talking
    }

    void receiveInputData_sendsNothing_withoutPlayerOrDevice()
    {
        Talk talk;
        talk.thread.setDevice(talk.device);
        talk.thread.receiveInputData(QByteArray(320, 'x'));
        QCOMPARE(talk.device->countOf("sendTalkData"), 0);

        talk.thread.clearDevice();
        talk.thread.start();
        QMetaObject::invokeMethod(&talk.thread, "receiveInputData", Qt::BlockingQueuedConnection,
                                  Q_ARG(QByteArray, QByteArray(320, 'x')));
        QCOMPARE(talk.device->countOf("sendTalkData"), 0);

        talk.thread.setDevice(talk.device);
        QMetaObject::invokeMethod(&talk.thread, "receiveInputData", Qt::BlockingQueuedConnection,
                                  Q_ARG(QByteArray, QByteArray(320, 'x')));
        QCOMPARE(talk.device->orders(), QStringList({"sendTalkData 160 0"}));
    }

    void sending_isOnlyLogged_whenItFails()
    {
        guard->allow("^ret = 5$");
        Talk talk;
        talk.device->setResult("sendTalkData", 5);
        talk.thread.setDevice(talk.device);
        talk.thread.start();
        for (int i = 0; i < 3; ++i)
            QMetaObject::invokeMethod(&talk.thread, "receiveInputData", Qt::BlockingQueuedConnection,
                                      Q_ARG(QByteArray, QByteArray(320, 'x')));
        QCOMPARE(talk.device->countOf("sendTalkData"), 3);
        QCOMPARE(guard->count(QtWarningMsg, "ret = 5"), 3);
        QCOMPARE(talk.busy.count() + talk.error.count(), 0);
    }

    void speech_reachesTheDevice()
    {
        Talk talk;
        talk.thread.setDevice(talk.device);
        talk.thread.start();
        talk.order("startTalk");
        QTRY_VERIFY(talk.device->talkData().size() > 800);
        QCOMPARE(server.inputStreams(), 1);
        QVERIFY(server.speak(Tone::sine(1000, 48000, 1500, loud), 48000));
        const auto heard = [&] { return Tone::trimmed(expand(talk.device->talkData()), loud / 4); };
        QTRY_VERIFY_WITH_TIMEOUT(heard().size() >= rate * 2 * 14 / 10, 10000);
        const Tone::Measure measure = Tone::measure(Tone::part(heard(), rate, 100, 1300), rate);
        QVERIFY2(qAbs(measure.frequency - 1000) < 1, qPrintable(QString::number(measure.frequency)));
        QVERIFY2(qAbs(measure.amplitude / loud - 1) < 0.1, qPrintable(QString::number(measure.amplitude)));
        QVERIFY2(measure.rest < measure.amplitude / 4, qPrintable(QString::number(measure.rest)));
        QVERIFY(talk.calledOn == talk.thread.thread());

        talk.order("stopTalk");
        QTRY_COMPARE(talk.device->countOf("stopTalk"), 1);
        QTRY_COMPARE(server.inputStreams(), 0);
        const int sent = talk.device->talkData().size();
        QTest::qWait(200);
        QCOMPARE(talk.device->talkData().size(), sent);
        QCOMPARE(talk.busy.count() + talk.error.count(), 0);
    }

    void talk_becomesAFile_andASecondTalkerHearsThatItIsBusy()
    {
        QTemporaryDir folder;
        MediaDeviceConfig config;
        config.serialNumber = "SN-8";
        config.talkFolder = folder.filePath("talks");
        config.channels = {{"gate", {""}}};
        guard->allow("has no source"); // nobody looks at it
        const auto device = QSharedPointer<MediaDevice>::create(config);
        Talk first;
        Talk second;
        for (Talk* talk : {&first, &second}) {
            talk->thread.setDevice(device);
            talk->thread.start();
        }
        first.order("startTalk");
        QTRY_COMPARE(server.inputStreams(), 1);
        second.order("startTalk");
        QTRY_COMPARE(second.busy, QStringList("SN-8"));
        QVERIFY(server.speak(Tone::sine(1000, 48000, 1500, loud), 48000));
        QTest::qWait(4000);
        first.order("stopTalk");
        QTRY_COMPARE(server.inputStreams(), 0);
        QVERIFY(first.busy.isEmpty() && first.error.isEmpty() && second.error.isEmpty());

        const QFileInfoList files = QDir(config.talkFolder).entryInfoList({"*.wav"}, QDir::Files);
        QCOMPARE(files.size(), 1);
        QProcess ffmpeg; // as any player reads it
        ffmpeg.start("ffmpeg", {"-v", "error", "-i", files.first().filePath(), "-f", "s16le", "-"});
        QVERIFY(ffmpeg.waitForFinished());
        const QByteArray heard = Tone::trimmed(ffmpeg.readAllStandardOutput(), loud / 4);
        QVERIFY2(heard.size() > rate * 2 * 13 / 10, qPrintable(QString::number(heard.size())));
        const Tone::Measure measure = Tone::measure(Tone::part(heard, rate, 100, 1200), rate);
        QVERIFY2(qAbs(measure.frequency - 1000) < 1, qPrintable(QString::number(measure.frequency)));

        second.order("startTalk"); // now it is free
        QTRY_COMPARE(server.inputStreams(), 1);
        QCOMPARE(second.busy.size(), 1);
    }

    void talk_endsWithTheThread()
    {
        Talk talk;
        talk.thread.setDevice(talk.device);
        talk.thread.start();
        talk.order("startTalk");
        QTRY_VERIFY(talk.device->talkData().size() > 160);
        talk.thread.stop();
        QCOMPARE(talk.device->countOf("stopTalk"), 1);
        QTRY_COMPARE(server.inputStreams(), 0);
    }

    void microphone_staysClosed_whenTheThreadIsToldToStopFirst()
    {
        Talk talk;
        talk.thread.setDevice(talk.device);
        talk.thread.start();
        talk.order("stopTalk");
        QTRY_COMPARE(talk.device->countOf("stopTalk"), 1);
        QCOMPARE(server.inputStreams(), 0);
    }

    void destruction_mayComeInMidTalk()
    {
        for (int i = 0; i < 10; ++i) {
            Talk talk;
            talk.thread.setDevice(talk.device);
            talk.thread.start();
            talk.order("startTalk");
            QTest::qWait(10 * i);
        }
        QTRY_COMPARE(server.inputStreams(), 0);
    }
};

QTEST_GUILESS_MAIN(TestDevAudioThread)
#include "tst_devaudiothread.moc"
