#include "support/guigapwatch.h"

#include <QDateTime>
#include <QFile>
#include <QRegularExpression>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <tuple>
#include <utility>

#include <csignal>
#include <cxxabi.h>
#include <execinfo.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {
constexpr auto watchStep = std::chrono::milliseconds(10);
constexpr int stackSignal = SIGUSR2;
constexpr int answerSteps = 20; // of a millisecond

GuiGapWatch* current = nullptr;
const char* currentDoing = nullptr; // GUI thread

// Written by the handler on the GUI thread, read by the watching thread when the depth is there.
std::array<void*, 64> handlerFrames;
const char* handlerDoing = nullptr;
std::atomic<int> handlerDepth{-1};

/// Process number of the X server at the other end of one of this process's sockets, 0 for none.
pid_t serverProcess()
{
    constexpr int mostHandles = 256;
    for (int handle = 3; handle < mostHandles; ++handle) {
        struct ucred peer = {};
        socklen_t length = sizeof peer;
        if (getsockopt(handle, SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0 || peer.pid <= 0)
            continue;
        QFile name(QString("/proc/%1/comm").arg(peer.pid));
        if (name.open(QIODevice::ReadOnly) && name.readAll().startsWith('X'))
            return peer.pid;
    }
    return 0;
}

int openStatistics(const QString& process)
{
    return open(qPrintable("/proc/" + process + "/schedstat"), O_RDONLY | O_CLOEXEC);
}

/// How often a thread has waited for a page from the disk, from its stat file.
qint64 readFaults(int file)
{
    constexpr int majorFaults = 10; // the field behind the name in brackets
    char text[512] = {};
    if (file < 0 || pread(file, text, sizeof text - 1, 0) <= 0)
        return 0;
    const char* at = std::strrchr(text, ')');
    for (int field = 0; at && field < majorFaults; ++field)
        at = std::strchr(at + 1, ' ');
    return at ? std::strtoll(at, nullptr, 10) : 0;
}

/// The first two numbers of a schedstat file: nanoseconds on a processor and waiting for one.
std::pair<qint64, qint64> readStatistics(int file)
{
    char text[96] = {};
    if (file < 0 || pread(file, text, sizeof text - 1, 0) <= 0)
        return {};
    char* rest = nullptr;
    const qint64 running = std::strtoll(text, &rest, 10);
    return {running, std::strtoll(rest, nullptr, 10)};
}

QString functionName(const char* symbol)
{
    // "library.so(mangled+0x12) [0x...]"
    const QString text = QString::fromLocal8Bit(symbol);
    static const QRegularExpression pattern("([^/]*)\\(([^+)]*)\\+?([^)]*)\\)");
    const QRegularExpressionMatch match = pattern.match(text);
    if (!match.hasMatch())
        return text;
    const QByteArray mangled = match.captured(2).toLocal8Bit();
    if (mangled.isEmpty())
        return match.captured(1) + '+' + match.captured(3);
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> name(
        abi::__cxa_demangle(mangled.constData(), nullptr, nullptr, &status), &std::free);
    return status == 0 ? QString::fromLocal8Bit(name.get()) : QString::fromLocal8Bit(mangled);
}
/// How long anybody has waited for a processor, in nanoseconds: "some avg10=... total=<microseconds>".
qint64 readPressure(int file)
{
    char text[160] = {};
    if (file < 0 || pread(file, text, sizeof text - 1, 0) <= 0)
        return 0;
    const char* const total = std::strstr(text, "total=");
    return total ? std::strtoll(total + std::strlen("total="), nullptr, 10) * 1000 : 0;
}
} // namespace

GuiGapWatch::Doing::Doing(const char* what)
    : before(currentDoing)
{
    currentDoing = what;
}

GuiGapWatch::Doing::~Doing()
{
    currentDoing = before;
}

GuiGapWatch::GuiGapWatch(double limitMs)
    : limit(static_cast<qint64>(limitMs * 1e6))
    , guiThread(pthread_self())
{
    current = this;
    void* warmUp[1];
    backtrace(warmUp, 1); // loads what it needs, which a signal handler must not
    struct sigaction action = {};
    action.sa_handler = &GuiGapWatch::writeStack;
    action.sa_flags = SA_RESTART;
    sigaction(stackSignal, &action, nullptr);

    const QString task = QString("self/task/%1").arg(syscall(SYS_gettid));
    statistics = openStatistics(task);
    faults = open(qPrintable("/proc/" + task + "/stat"), O_RDONLY | O_CLOEXEC);
    pressure = open("/proc/pressure/cpu", O_RDONLY | O_CLOEXEC);
    if (const pid_t server = serverProcess())
        serverStatistics = openStatistics(QString::number(server));
    lastTick = now();
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, &timer, [this] { tick(); });
    timer.start(1);
    watcher = std::thread([this] { watch(); });
}

GuiGapWatch::~GuiGapWatch()
{
    ending = true;
    watcher.join();
    std::signal(stackSignal, SIG_IGN);
    for (const int file : {statistics, faults, serverStatistics, pressure}) {
        if (file >= 0)
            close(file);
    }
    current = nullptr;
}

qint64 GuiGapWatch::now()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(SteadyClock::now().time_since_epoch()).count();
}

double GuiGapWatch::takeLongest()
{
    const double result = double(longest) / 1e6;
    longest = 0;
    return result;
}

QVector<GuiGapWatch::Gap> GuiGapWatch::takeGaps()
{
    QVector<Gap> taken;
    taken.swap(gaps);
    return taken;
}

void GuiGapWatch::tick()
{
    const qint64 end = now();
    const qint64 begin = lastTick.exchange(end);
    longest = std::max(longest, end - begin);
    if (end - begin > limit)
        keepGap(begin, end);
}

void GuiGapWatch::keepGap(qint64 begin, qint64 end)
{
    const Times after = readTimes();
    const Times before = timesBefore(begin);
    Gap gap;
    gap.time = QDateTime::currentMSecsSinceEpoch();
    gap.lengthMs = double(end - begin) / 1e6;
    // The times before it are a little older than its begin: what is too much was running or waiting, not the gap's.
    gap.runnableMs = std::min(double(after.runnable - before.runnable) / 1e6, gap.lengthMs);
    gap.runningMs = std::min(double(after.running - before.running) / 1e6, gap.lengthMs - gap.runnableMs);
    gap.waitingMs = gap.lengthMs - gap.runnableMs - gap.runningMs;
    gap.serverRunnableMs = std::min(double(after.serverRunnable - before.serverRunnable) / 1e6, gap.waitingMs);
    gap.shortageMs = std::min(double(after.shortage - before.shortage) / 1e6, gap.lengthMs);
    gap.pageReads = after.pageReads - before.pageReads;
    Stack taken;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        taken = stack;
    }
    if (taken.gapBegin == begin && taken.depth > 0) {
        gap.during = QString::fromUtf8(taken.doing ? taken.doing : "");
        const std::unique_ptr<char*, decltype(&std::free)> symbols(
            backtrace_symbols(taken.frames.data(), taken.depth), &std::free);
        for (int i = 0; symbols && i < taken.depth; ++i)
            gap.stack << functionName(symbols.get()[i]);
    }
    gaps << gap;
}

/// On the GUI thread, in the middle of whatever it does.
void GuiGapWatch::writeStack(int)
{
    const int savedErrno = errno;
    handlerDoing = currentDoing;
    handlerDepth = backtrace(handlerFrames.data(), mostFrames);
    errno = savedErrno;
}

void GuiGapWatch::watch()
{
    qint64 seenGap = 0;
    while (!ending) {
        std::this_thread::sleep_for(watchStep);
        const qint64 begin = lastTick;
        const Times times = readTimes();
        {
            const std::lock_guard<std::mutex> lock(mutex);
            history[historyNext++ % history.size()] = times;
        }
        if (now() - begin > limit && seenGap != begin) {
            seenGap = begin;
            askForStack(begin);
        }
    }
}

void GuiGapWatch::askForStack(qint64 gapBegin)
{
    handlerDepth = -1;
    if (pthread_kill(guiThread, stackSignal) != 0)
        return;
    for (int step = 0; handlerDepth < 0 && step < answerSteps; ++step)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    const int depth = handlerDepth;
    if (depth < 0 || lastTick != gapBegin)
        return;
    const std::lock_guard<std::mutex> lock(mutex);
    stack.gapBegin = gapBegin;
    stack.depth = depth;
    stack.doing = handlerDoing;
    stack.frames = handlerFrames;
}

GuiGapWatch::Times GuiGapWatch::readTimes() const
{
    Times times;
    std::tie(times.running, times.runnable) = readStatistics(statistics);
    times.serverRunnable = readStatistics(serverStatistics).second;
    times.shortage = readPressure(pressure);
    times.pageReads = readFaults(faults);
    times.at = now();
    return times;
}

/// The last times that were read before @p moment.
GuiGapWatch::Times GuiGapWatch::timesBefore(qint64 moment) const
{
    const std::lock_guard<std::mutex> lock(mutex);
    Times found;
    for (const Times& times : history) {
        if (times.at <= moment && times.at > found.at)
            found = times;
    }
    return found;
}

QString GuiGapWatch::summary(const Gap& gap)
{
    QStringList names;
    for (const QString& name : gap.stack) {
        const QString plain = name.section('(', 0, 0);
        if (!plain.contains("writeStack") && !plain.contains('+'))
            names.prepend(plain);
    }
    return names.join(" > ");
}
