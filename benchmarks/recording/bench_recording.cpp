// What recording one live stream costs beside ffmpeg's own copying. README.md in benchmarks/ says what is compared.
//
//     bench_recording [seconds measured] [rounds]
//
// Exit status 2 when a system failed or wrote less than it was sent.

#include "core_video/ffmpegvideothread.h"
#include "support/cputime.h"
#include "support/pythonserver.h"
#include "support/spread.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <cstdio>
#include <vector>

namespace {
constexpr int secondsBefore = 4; // the start of the program and the analysis of the stream
constexpr int secondsAfter = 4;
constexpr int stopMs = 5000;
constexpr double leastPart = 0.7; // of what was sent; the last fragment is still in memory

constexpr char fastStart[] = "fast";

struct System
{
    const char* name;
    QString program;
    QStringList arguments;
    QString file;
    double latest = -1;
    Spread parts; // of a core
    Spread ratios;
};

/// The child process: records until it is ended.
int record(const QString& url, const QString& file, bool isFast)
{
    qputenv("QT_LOGGING_RULES", "*=false");
    FFmpegVideoThread thread;
    thread.setFastStart(isFast);
    thread.setVideoUrl(url);
    thread.setFileName(AbstractVideoThread::MANUAL_RECORD, file);
    thread.recordStart(AbstractVideoThread::MANUAL_RECORD);
    thread.play();
    const int result = QCoreApplication::exec();
    thread.stopAndWait();
    return result;
}

QStringList copyArguments(const QString& url, const QString& file)
{
    return {"-v", "error", "-y", "-nostdin", "-rtsp_transport", "tcp", "-i", url, "-c", "copy", "-movflags",
            "frag_keyframe+delay_moov", file};
}

bool makeClip(const QString& clip, int seconds)
{
    const QString picture = QString("testsrc2=size=1280x720:rate=25:duration=%1").arg(seconds);
    return CpuTime::ofProgram("ffmpeg",
                              {"-v", "error", "-y", "-f", "lavfi", "-i", picture, "-c:v", "libx264", "-preset",
                               "ultrafast", "-b:v", "3M", "-g", "50", "-bf", "0", clip})
        >= 0;
}

/// Part of a core that the program takes while the stream flows, without its start and its end; -1 when it failed.
double measure(const System& system, int seconds, qint64 leastBytes)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedChannels);
    process.start(system.program, system.arguments, QIODevice::ReadOnly);
    if (!process.waitForStarted(stopMs))
        return -1;
    QThread::sleep(secondsBefore);
    QElapsedTimer timer;
    timer.start();
    const double before = CpuTime::ofProcess(process.processId());
    QThread::sleep(static_cast<unsigned long>(seconds));
    const double after = CpuTime::ofProcess(process.processId());
    const double passed = double(timer.nsecsElapsed()) / 1e9;
    const bool isGood = process.state() == QProcess::Running && QFileInfo(system.file).size() >= leastBytes;
    process.kill();
    process.waitForFinished(stopMs);
    return isGood && before > 0 && after > before ? (after - before) / passed : -1;
}

/// Each system once, everybody the first in turn; false when one failed.
bool measureAll(std::vector<System>& systems, size_t round, int seconds, qint64 leastBytes)
{
    for (size_t i = 0; i < systems.size(); ++i) {
        System& system = systems.at((round + i) % systems.size());
        system.latest = measure(system, seconds, leastBytes);
        if (system.latest < 0)
            return false;
    }
    for (System& system : systems) {
        system.parts.add(system.latest);
        system.ratios.add(system.latest / systems.back().latest);
    }
    return true;
}

void print(const System& system)
{
    std::printf("%-26s %6.3f %% of a core (%.3f to %.3f), ratio %.3f (%.3f to %.3f)\n", system.name,
                system.parts.median() * 100, system.parts.lowest() * 100, system.parts.highest() * 100,
                system.ratios.median(), system.ratios.lowest(), system.ratios.highest());
}
} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    if (arguments.value(1) == "--record")
        return record(arguments.value(2), arguments.value(3), arguments.value(4) == fastStart);

    const int seconds = arguments.size() > 1 ? arguments.at(1).toInt() : 20;
    const int rounds = arguments.size() > 2 ? arguments.at(2).toInt() : 7;
    const QTemporaryDir folder;
    const QString clip = folder.filePath("clip.mp4");
    const int clipSeconds = secondsBefore + seconds + secondsAfter;
    PythonServer server;
    if (seconds < 5 || rounds < 1 || !makeClip(clip, clipSeconds)
        || !server.start(RTSP_SERVER_SCRIPT, {"--file", clip}))
        return 2;

    const QString url = server.url("file");
    const QString self = application.applicationFilePath();
    const QString fast = folder.filePath("fast.mp4");
    const QString plain = folder.filePath("plain.mp4");
    const QString copied = folder.filePath("copied.mp4");
    std::vector<System> systems{{"libvantor, fast start", self, {"--record", url, fast, fastStart}, fast},
                                {"libvantor", self, {"--record", url, plain}, plain},
                                {"ffmpeg -c copy", "ffmpeg", copyArguments(url, copied), copied}};
    const auto leastBytes = qint64(double(QFileInfo(clip).size()) * seconds / clipSeconds * leastPart);
    for (int round = 0; round < rounds; ++round) {
        if (!measureAll(systems, size_t(round), seconds, leastBytes))
            return 2;
    }
    std::printf("live 1280x720, 25 a second, %d s each, median of %d rounds (lowest to highest), ratios to %s\n",
                seconds, rounds, systems.back().name);
    for (const System& system : systems)
        print(system);
    return 0;
}
