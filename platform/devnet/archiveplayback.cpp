#include "devnet/archiveplayback.h"

#include <algorithm>

namespace {
constexpr double keyFramesOnly = 8.0;

/// A longer step between two frames is a gap between recordings.
constexpr qint64 longestStepMs = 2000;

/// Nobody plays for longer without a stop; damaged recordings jump farther.
constexpr qint64 longestPlayMs = qint64(366) * 24 * 3600 * 1000;
} // namespace

ArchivePlayback::ArchivePlayback(const QVector<ArchiveFile>& recordings, qint64 beginAt, qint64 end)
    : reader(recordings, end, stopSignal), target(beginAt)
{
}

void ArchivePlayback::pause()
{
    const Lock lock(mutex);
    isPaused = true;
    changed.notify_all();
}

void ArchivePlayback::resume()
{
    const Lock lock(mutex);
    isPaused = false;
    beginAnew();
    changed.notify_all();
}

void ArchivePlayback::seek(qint64 time)
{
    const Lock lock(mutex);
    target = time;
    changed.notify_all();
}

XRetError ArchivePlayback::setSpeed(int speed)
{
    if (speed == 0 || speed < slowest || speed > fastest)
        return XRet::BadParameter;
    const Lock lock(mutex);
    factor = speed > 0 ? speed : 1.0 / -speed;
    beginAnew();
    changed.notify_all();
    return XRet::Ok;
}

void ArchivePlayback::stop()
{
    stopSignal.request();
    const Lock lock(mutex);
    isStopped = true;
    changed.notify_all();
}

XRetError ArchivePlayback::read(XFrameHeader* frame, int timeout)
{
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(std::max(0, timeout));
    const Lock readerLock(reading);
    Lock lock(mutex);
    while (!isStopped) {
        if (followControls(lock) || !pending) {
            const XRetError result = fetch(lock);
            if (result != XRet::Ok)
                return result;
            continue; // the controls may have changed meanwhile
        }
        const Clock::time_point now = Clock::now();
        const Clock::time_point due = isPaused ? Clock::time_point::max() : dueTime();
        if (due <= now) {
            lastTime = static_cast<qint64>(pending->header.timestamp);
            pending->copyTo(frame);
            pending.reset();
            return XRet::Ok;
        }
        if (now >= deadline)
            return XRet::Timeout;
        changed.wait_until(lock, std::min(due, deadline));
    }
    return XRet::BadParameter;
}

/// Whether the position has been changed, so that what is pending is not what comes next.
bool ArchivePlayback::followControls(Lock& lock)
{
    if (!target)
        return false;
    const qint64 time = *std::exchange(target, std::nullopt);
    beginAnew();
    pending.reset();
    lock.unlock(); // the disk may be slow
    reader.seek(time);
    lock.lock();
    return true;
}

XRetError ArchivePlayback::fetch(Lock& lock)
{
    lock.unlock();
    std::optional<EncodedFrame> frame = reader.next();
    lock.lock();
    if (isStopped)
        return XRet::BadParameter;
    if (!frame)
        return target ? XRet::Ok : XRet::EndOfRecording;
    if (frame->fits() && !isLeftOut(*frame))
        pending = std::move(frame);
    return XRet::Ok;
}

bool ArchivePlayback::isLeftOut(const EncodedFrame& frame) const
{
    if (frame.isAudio())
        return factor != 1.0;
    return factor >= keyFramesOnly && !frame.isKey();
}

ArchivePlayback::Clock::time_point ArchivePlayback::dueTime()
{
    const auto time = static_cast<qint64>(pending->header.timestamp);
    const bool isGap = hasBegun && time - lastTime > longestStepMs * std::max(1.0, factor);
    if (!hasBegun || isGap) {
        hasBegun = true;
        begin = Clock::now();
        beginTime = time;
        lastTime = time;
    }
    const qint64 played = std::clamp(time - beginTime, -longestPlayMs, longestPlayMs);
    return begin + std::chrono::microseconds(static_cast<qint64>(played * 1000 / factor));
}
