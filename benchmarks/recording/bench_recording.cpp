// What recording one stream costs beside ffmpeg's own copying.
//
// A clip of 1280x720 pictures at 25 a second is made with the ffmpeg command. In one run, alternating so that both see
// the same machine, it is recorded by an FFmpegVideoThread without a display and copied by "ffmpeg -c copy" with the same
// way of making fragments, both at the same multiple of real time. Each is a process of its own. Prints the median CPU
// time of each, the part of one core that a stream takes at normal speed, and the ratio.
//
//     bench_recording [seconds of clip] [rounds]

#include "core_video/ffmpegvideothread.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QVector>

#include <algorithm>
#include <cstdio>

#include <sys/resource.h>

namespace {
constexpr int speed = 10;
constexpr int programMs = 600000;

double childSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    const auto seconds = [](const timeval& time) { return double(time.tv_sec) + double(time.tv_usec) / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

/// CPU seconds of a program, -1 when it failed.
double cpuOf(const QString& program, const QStringList& arguments)
{
    const double before = childSeconds();
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(program, arguments, QIODevice::ReadOnly);
    const bool good = process.waitForFinished(programMs) && process.exitStatus() == QProcess::NormalExit
        && process.exitCode() == 0;
    return good ? childSeconds() - before : -1;
}

/// The child process: records the clip and ends.
int record(const QString& clip, const QString& file)
{
    qputenv("QT_LOGGING_RULES", "*=false");
    FFmpegVideoThread thread;
    thread.setVideoUrl(clip);
    thread.setAddressTest(false);
    thread.setOpenSleepTime(100);
    thread.setPaced(true);
    thread.setSpeed(double(speed));
    thread.setFileName(AbstractVideoThread::MANUAL_RECORD, file);
    thread.recordStart(AbstractVideoThread::MANUAL_RECORD);
    QObject::connect(&thread, &QThread::finished, qApp, &QCoreApplication::quit);
    thread.play();
    return QCoreApplication::exec();
}

double median(QVector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

bool isWhole(const QString& clip, const QString& file)
{
    // Fragments weigh a little.
    return QFileInfo(file).size() > QFileInfo(clip).size() * 95 / 100;
}
} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    if (arguments.value(1) == "--record")
        return record(arguments.value(2), arguments.value(3));

    const int seconds = arguments.size() > 1 ? arguments.at(1).toInt() : 60;
    const int rounds = arguments.size() > 2 ? arguments.at(2).toInt() : 5;
    const QTemporaryDir folder;
    const QString clip = folder.filePath("clip.mp4");
    const QString ours = folder.filePath("ours.mp4");
    const QString theirs = folder.filePath("theirs.mp4");
    if (seconds < 1 || rounds < 1
        || cpuOf("ffmpeg", {"-v", "error", "-f", "lavfi", "-i",
                            QString("testsrc2=size=1280x720:rate=25:duration=%1").arg(seconds), "-c:v", "libx264",
                            "-preset", "ultrafast", "-b:v", "3M", "-g", "50", clip})
            < 0)
        return 2;

    QVector<double> ourTimes;
    QVector<double> theirTimes;
    for (int round = 0; round < rounds; ++round) {
        ourTimes << cpuOf(application.applicationFilePath(), {"--record", clip, ours});
        theirTimes << cpuOf("ffmpeg", {"-v", "error", "-y", "-nostdin", "-readrate", QString::number(speed), "-i", clip,
                                       "-c", "copy", "-movflags", "frag_keyframe+delay_moov", theirs});
        if (ourTimes.last() < 0 || theirTimes.last() < 0 || !isWhole(clip, ours) || !isWhole(clip, theirs))
            return 2;
    }
    const double our = median(ourTimes);
    const double their = median(theirTimes);
    std::printf("%d s of 1280x720 at %d times its speed, median of %d rounds\n", seconds, speed, rounds);
    std::printf("libvantor       %.3f s CPU, %.2f %% of a core a stream\n", our, our / seconds * 100);
    std::printf("ffmpeg -c copy  %.3f s CPU, %.2f %% of a core a stream\n", their, their / seconds * 100);
    std::printf("ratio           %.2f\n", our / their);
    return 0;
}
