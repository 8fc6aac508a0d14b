#include "support/soundserver.h"

#include "support/waiting.h"

#include <QFile>
#include <QtDebug>

#include <csignal>

#include <sys/prctl.h>

namespace {
constexpr int startMs = 20000;
constexpr int stopMs = 5000;

bool ends(QProcess& process, int milliseconds)
{
    return Waiting::until([&] { return process.state() == QProcess::NotRunning; }, milliseconds);
}

void endNow(QProcess& process)
{
    if (process.state() == QProcess::NotRunning)
        return;
    process.kill();
    ends(process, stopMs);
}

} // namespace

void SoundServer::Child::setupChildProcess() { prctl(PR_SET_PDEATHSIG, SIGKILL); }

SoundServer::SoundServer()
{
    qputenv("PULSE_SERVER", ("unix:" + folder.filePath("native")).toUtf8());
    qputenv("PULSE_RUNTIME_PATH", folder.path().toUtf8());
    qputenv("PULSE_STATE_PATH", folder.path().toUtf8());
    qputenv("PULSE_COOKIE", folder.filePath("cookie").toUtf8());
    qputenv("XDG_RUNTIME_DIR", folder.path().toUtf8());
    for (Child* process : {&daemon, &recorder, &speaker})
        process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
}

SoundServer::~SoundServer() { kill(); }

void SoundServer::setSpeaker(bool exists) { hasSpeaker = exists; }

void SoundServer::setMicrophone(bool exists) { hasMicrophone = exists; }

bool SoundServer::writeScript()
{
    QFile script(folder.filePath("script.pa"));
    if (!script.open(QIODevice::WriteOnly))
        return false;
    QString text
        = "load-module module-native-protocol-unix auth-anonymous=1 socket=" + folder.filePath("native") + '\n';
    const QString sink = "load-module module-null-sink rate=%1 channels=%2 sink_name=%3\n";
    if (hasSpeaker)
        text += sink.arg(recordingRate).arg(2).arg(speakerName()) + "set-default-sink " + speakerName() + '\n';
    if (hasMicrophone) {
        // What is played on this one is what the microphone hears. Nobody plays there unless told to.
        text += sink.arg(recordingRate).arg(1).arg("mouth") + "load-module module-remap-source source_name="
            + microphoneName() + " master=mouth.monitor\nset-default-source " + microphoneName() + '\n';
    }
    return script.write(text.toUtf8()) > 0;
}

bool SoundServer::start()
{
    if (!folder.isValid() || !writeScript()) {
        qWarning("SoundServer: no folder for the daemon");
        return false;
    }
    QFile::remove(folder.filePath("native"));
    daemon.start("pulseaudio",
                 {"-n", "--daemonize=no", "--use-pid-file=no", "--exit-idle-time=-1", "--realtime=no",
                  "--high-priority=no", "--disable-shm=yes", "--log-level=error", "-F", folder.filePath("script.pa")});
    const auto answers = [] {
        QProcess question;
        question.start("pactl", {"info"});
        return ends(question, stopMs) && question.exitCode() == 0;
    };
    const bool came = Waiting::until(
        [&] { return !isRunning() || (QFile::exists(folder.filePath("native")) && answers()); }, startMs);
    if (came && isRunning())
        return true;
    qWarning("SoundServer: PulseAudio did not start (%s); tools/setup installs it", qPrintable(daemon.errorString()));
    kill();
    return false;
}

void SoundServer::kill()
{
    endNow(recorder);
    endNow(speaker);
    endNow(daemon);
}

void SoundServer::freeze()
{
    if (isRunning())
        ::kill(static_cast<pid_t>(daemon.processId()), SIGSTOP);
}

void SoundServer::resume()
{
    if (isRunning())
        ::kill(static_cast<pid_t>(daemon.processId()), SIGCONT);
}

bool SoundServer::isRunning() const { return daemon.state() != QProcess::NotRunning; }

QString SoundServer::speakerName() { return "loudspeaker"; }

QString SoundServer::microphoneName() { return "microphone"; }

bool SoundServer::startRecording()
{
    endNow(recorder);
    samples.clear();
    recorder.start("parec",
                   {"--device=" + speakerName() + ".monitor", "--raw", "--format=s16le", "--channels=1",
                    "--rate=" + QString::number(recordingRate), "--latency-msec=20"});
    return Waiting::until([this] { return !recorded().isEmpty(); }, stopMs);
}

QByteArray SoundServer::stopRecording()
{
    recorded();
    endNow(recorder);
    return recorded();
}

QByteArray SoundServer::recorded()
{
    samples += recorder.readAllStandardOutput();
    return samples;
}

bool SoundServer::speak(const QByteArray& words, int sampleRate)
{
    endNow(speaker);
    speaker.start("pacat",
                  {"--playback", "--device=mouth", "--raw", "--format=s16le", "--channels=1",
                   "--rate=" + QString::number(sampleRate), "--latency-msec=100"});
    speaker.write(words);
    speaker.closeWriteChannel();
    return Waiting::until([this] { return speaker.state() == QProcess::Running; }, stopMs);
}

int SoundServer::outputStreams() { return countStreams("sink-inputs"); }

int SoundServer::inputStreams() { return countStreams("source-outputs"); }

int SoundServer::countStreams(const QString& kind)
{
    QProcess question;
    question.start("pactl", {"list", kind});
    if (!ends(question, stopMs) || question.exitCode() != 0)
        return -1;
    return question.readAllStandardOutput().count("QtmPulseStream");
}
