#include "support/cputime.h"

#include <QProcess>

#include <ctime>

#include <sys/resource.h>
#include <sys/types.h>

namespace {
constexpr int programMs = 600000;

double secondsOf(clockid_t clock)
{
    timespec time{};
    return clock_gettime(clock, &time) == 0 ? double(time.tv_sec) + double(time.tv_nsec) / 1e9 : -1;
}

double secondsOfEndedPrograms()
{
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    const auto seconds = [](const timeval& time) { return double(time.tv_sec) + double(time.tv_usec) / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}
} // namespace

double CpuTime::of(const std::function<void()>& work)
{
    const double before = secondsOf(CLOCK_PROCESS_CPUTIME_ID);
    work();
    return secondsOf(CLOCK_PROCESS_CPUTIME_ID) - before;
}

double CpuTime::ofProgram(const QString& program, const QStringList& arguments)
{
    const double before = secondsOfEndedPrograms();
    QProcess process;
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    process.start(program, arguments, QIODevice::ReadOnly);
    const bool good = process.waitForFinished(programMs) && process.exitStatus() == QProcess::NormalExit
        && process.exitCode() == 0;
    return good ? secondsOfEndedPrograms() - before : -1;
}

double CpuTime::ofProcess(qint64 id)
{
    clockid_t clock{};
    return clock_getcpuclockid(pid_t(id), &clock) == 0 ? secondsOf(clock) : -1;
}
