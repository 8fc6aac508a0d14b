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

namespace {
constexpr int secondsBefore = 4; // the start of the program and the analysis of the stream
constexpr int secondsAfter = 4;
constexpr int stopMs = 5000;
constexpr double leastPart = 0.7; // of what was sent; the last fragment is still in memory

struct Figures
{
    Spread ours;
    Spread theirs;
    Spread ratio;
};

/// The child process: records until it is ended.
int record(const QString& url, const QString& file)
{
    qputenv("QT_LOGGING_RULES", "*=false");
    FFmpegVideoThread thread;
    thread.setFastStart(true); // as UrlVideoWidget has it
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
    return CpuTime::ofProgram("ffmpeg", {"-v", "error", "-y", "-f", "lavfi", "-i", picture, "-c:v", "libx264", "-preset",
                                         "ultrafast", "-b:v", "3M", "-g", "50", "-bf", "0", clip})
        >= 0;
}

/// Part of a core that the program takes while the stream flows, without its start and its end; -1 when it failed.
double measure(const QString& program, const QStringList& arguments, const QString& file, int seconds, qint64 leastBytes)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedChannels);
    process.start(program, arguments, QIODevice::ReadOnly);
    if (!process.waitForStarted(stopMs))
        return -1;
    QThread::sleep(secondsBefore);
    QElapsedTimer timer;
    timer.start();
    const double before = CpuTime::ofProcess(process.processId());
    QThread::sleep(static_cast<unsigned long>(seconds));
    const double after = CpuTime::ofProcess(process.processId());
    const double passed = double(timer.nsecsElapsed()) / 1e9;
    const bool isGood = process.state() == QProcess::Running && QFileInfo(file).size() >= leastBytes;
    process.kill();
    process.waitForFinished(stopMs);
    return isGood && before > 0 && after > before ? (after - before) / passed : -1;
}

void print(const char* what, const Spread& spread, double factor, const char* unit)
{
    std::printf("%-20s %6.3f%s  (%.3f to %.3f)\n", what, spread.median() * factor, unit, spread.lowest() * factor,
                spread.highest() * factor);
}
} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    if (arguments.value(1) == "--record")
        return record(arguments.value(2), arguments.value(3));

    const int seconds = arguments.size() > 1 ? arguments.at(1).toInt() : 20;
    const int rounds = arguments.size() > 2 ? arguments.at(2).toInt() : 7;
    const QTemporaryDir folder;
    const QString clip = folder.filePath("clip.mp4");
    const QString ours = folder.filePath("ours.mp4");
    const QString theirs = folder.filePath("theirs.mp4");
    const int clipSeconds = secondsBefore + seconds + secondsAfter;
    PythonServer server;
    if (seconds < 5 || rounds < 1 || !makeClip(clip, clipSeconds) || !server.start(RTSP_SERVER_SCRIPT, {"--file", clip}))
        return 2;

    const QString url = server.url("file");
    const auto leastBytes = qint64(double(QFileInfo(clip).size()) * seconds / clipSeconds * leastPart);
    Figures figures;
    for (int round = 0; round < rounds; ++round) {
        double our = 0;
        const auto measureOurs = [&] {
            our = measure(application.applicationFilePath(), {"--record", url, ours}, ours, seconds, leastBytes);
        };
        if (round % 2 == 0)
            measureOurs();
        const double their = measure("ffmpeg", copyArguments(url, theirs), theirs, seconds, leastBytes);
        if (round % 2 != 0)
            measureOurs();
        if (our < 0 || their < 0)
            return 2;
        figures.ours.add(our);
        figures.theirs.add(their);
        figures.ratio.add(our / their);
    }
    std::printf("live 1280x720, 25 a second, %d s each, median of %d paired rounds (lowest to highest)\n", seconds, rounds);
    print("libvantor", figures.ours, 100, " % of a core");
    print("ffmpeg -c copy", figures.theirs, 100, " % of a core");
    print("ratio", figures.ratio, 1, "");
    return 0;
}
