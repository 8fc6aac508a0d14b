#pragma once

#include "devnet/archivereader.h"
#include "devnet/xnettypes.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

/// One playback of an archive: hands out frames when they are due. Thread-safe; control operations never wait for the
/// disk.
///
/// Time in which nothing was recorded is jumped over. At another speed than the normal one there is no sound, and from
/// eight times on there are key frames alone.
class ArchivePlayback
{
public:
    /// The speeds that there are: n times, and -n for the n-th part.
    static constexpr int slowest = -4;
    static constexpr int fastest = 16;

    ArchivePlayback(const QVector<ArchiveFile>& recordings, qint64 begin, qint64 end);

    void pause();
    void resume();
    void seek(qint64 time);

    /// BadParameter for a speed that there is not.
    XRetError setSpeed(int speed);

    /// Ends waiting reads; every later one fails.
    void stop();

    XRetError read(XFrameHeader* target, int timeout);

private:
    using Clock = std::chrono::steady_clock;
    using Lock = std::unique_lock<std::mutex>;

    bool followControls(Lock& lock);
    XRetError fetch(Lock& lock);
    bool isLeftOut(const EncodedFrame& frame) const;
    Clock::time_point dueTime();
    void beginAnew() { hasBegun = false; }

    StopSignal stopSignal;
    std::mutex reading; ///< one reader at a time; taken before mutex
    ArchiveReader reader; ///< guarded by reading, as what follows
    std::optional<EncodedFrame> pending;

    std::mutex mutex; ///< guards all of the following
    std::condition_variable changed;
    bool isPaused = false;
    bool isStopped = false;
    double factor = 1.0;
    std::optional<qint64> target;
    bool hasBegun = false; ///< whether times are related to the clock; not yet after every change
    Clock::time_point begin;
    qint64 beginTime = 0;
    qint64 lastTime = 0;
};
