#pragma once

#include <QString>
#include <QStringList>
#include <QTimer>
#include <QVector>

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <thread>

#include <pthread.h>

/// Notices when the event loop of the thread it lives in (the GUI thread) does not come round, and what held it up.
///
/// A timer ticks every millisecond in that thread. The time between two ticks is a gap. A watching thread of its own
/// sees a gap while it lasts: it has the GUI thread write down where it is, by a signal, and asks the kernel how long
/// the thread was running, how long it could have run but got no processor, and how long it waited. One watch at a time
/// in a process, as the signal (SIGUSR2) belongs to the process. Linux alone.
class GuiGapWatch
{
public:
    struct Gap
    {
        qint64 time = 0;       ///< when it ended, in milliseconds since 1970
        double lengthMs = 0;
        double runningMs = 0;  ///< of it on a processor
        double runnableMs = 0; ///< of it waiting for a processor, because of other threads and programs
        double waitingMs = 0;  ///< the rest: in a call that waited for something
        double serverRunnableMs = 0; ///< of it the X server waited for a processor
        double shortageMs = 0; ///< of the whole gap any thread or program of the computer waited for one
        qint64 pageReads = 0;  ///< parts of programs and files in memory that had to be read from the disk for it
        QString during;        ///< what Doing said, empty for nothing
        QStringList stack;     ///< innermost function first; empty when the watch itself got no processor

        /// Whether less than the limit is left without the wait for a processor.
        bool isForWantOfProcessor(double limitMs) const { return lengthMs - runnableMs - serverRunnableMs < limitMs; }
    };

    /// Names what the GUI thread is doing while it exists, for the gaps of that time.
    class Doing
    {
    public:
        explicit Doing(const char* what);
        ~Doing();
        Doing(const Doing&) = delete;
        Doing& operator=(const Doing&) = delete;

    private:
        const char* const before;
    };

    /// Gaps longer than @p limitMs are kept.
    explicit GuiGapWatch(double limitMs = 50);
    ~GuiGapWatch();
    GuiGapWatch(const GuiGapWatch&) = delete;
    GuiGapWatch& operator=(const GuiGapWatch&) = delete;

    /// @name GUI thread
    /// @{

    /// The longest gap since the last call, kept or not, in milliseconds.
    double takeLongest();

    /// The gaps that were kept since the last call.
    QVector<Gap> takeGaps();

    /// The stack of @p gap from the event loop inwards, in one line: what the loop had called.
    static QString summary(const Gap& gap);
    /// @}

private:
    using SteadyClock = std::chrono::steady_clock;
    static constexpr int mostFrames = 64;

    struct Times
    {
        qint64 at = 0; // of the steady clock, in nanoseconds
        qint64 running = 0;
        qint64 runnable = 0;
        qint64 serverRunnable = 0;
        qint64 shortage = 0;
        qint64 pageReads = 0;
    };

    struct Stack
    {
        qint64 gapBegin = 0;
        int depth = 0;
        const char* doing = nullptr;
        std::array<void*, mostFrames> frames{};
    };

    static void writeStack(int);
    static qint64 now();
    void tick();
    void keepGap(qint64 begin, qint64 end);
    void watch();
    void askForStack(qint64 gapBegin);
    Times readTimes() const;
    Times timesBefore(qint64 moment) const;

    const qint64 limit; // nanoseconds
    const pthread_t guiThread;
    int statistics = -1; // file of the GUI thread
    int faults = -1; // file of the GUI thread
    int pressure = -1; // file of the computer
    int serverStatistics = -1; // of the X server, where it is a process of this computer
    QTimer timer;
    qint64 longest = 0;
    QVector<Gap> gaps;

    std::atomic<qint64> lastTick{0};
    std::atomic<bool> ending{false};
    mutable std::mutex mutex; // guards the next two
    std::array<Times, 64> history;
    Stack stack;
    std::size_t historyNext = 0; // watching thread, under the mutex
    std::thread watcher;
};
