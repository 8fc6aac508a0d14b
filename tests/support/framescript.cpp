#include "support/framescript.h"

#include "support/waiting.h"

#include <chrono>
#include <thread>

namespace {
using Steady = std::chrono::steady_clock;
constexpr std::chrono::milliseconds shortestWait(1); // or threads without a time-out would do nothing else
constexpr std::chrono::seconds longestHold(60);
} // namespace

void FrameScript::addStep(Step step)
{
    const Lock lock(mutex);
    steps.push_back(std::move(step));
    changed.notify_all();
}

void FrameScript::add(const DeviceFrame& frame) { addStep({Step::Frame, frame, XRet::Ok, {}}); }

void FrameScript::add(const DeviceFrames& frames)
{
    for (const DeviceFrame& frame : frames)
        add(frame);
}

void FrameScript::addResult(XRetError result, int count)
{
    for (int i = 0; i < count; ++i)
        addStep({Step::Result, {}, result, {}});
}

void FrameScript::addAction(std::function<void()> action) { addStep({Step::Action, {}, XRet::Ok, std::move(action)}); }

void FrameScript::setClip(const DeviceFrames& frames)
{
    const Lock lock(mutex);
    clip = frames;
    clipPosition = -1;
    if (steps.empty())
        moveClip();
    changed.notify_all();
}

void FrameScript::clear()
{
    const Lock lock(mutex);
    steps.clear();
    clip.clear();
}

void FrameScript::setPace(Pace newPace)
{
    const Lock lock(mutex);
    pace = newPace;
    beginUs = -1;
    changed.notify_all();
}

void FrameScript::release(int frames)
{
    const Lock lock(mutex);
    allowed += frames;
    changed.notify_all();
}

void FrameScript::setIdle(Idle newIdle)
{
    const Lock lock(mutex);
    idle = newIdle;
    changed.notify_all();
}

void FrameScript::end(XRetError result)
{
    const Lock lock(mutex);
    ended = true;
    endResult = result;
    changed.notify_all();
}

void FrameScript::setClock(Clock* newClock)
{
    const Lock lock(mutex);
    clock = newClock;
    beginUs = -1;
}

int FrameScript::taken() const
{
    const Lock lock(mutex);
    return handedOut;
}

bool FrameScript::isConsumed() const
{
    const Lock lock(mutex);
    return isReaderBack && !mayHandOut();
}

bool FrameScript::waitUntilConsumed(int milliseconds) const
{
    return Waiting::until([this] { return isConsumed(); }, milliseconds);
}

bool FrameScript::play(int frames, int milliseconds)
{
    release(frames);
    return waitUntilConsumed(milliseconds);
}

XRetError FrameScript::read(XFrameHeader* frame, int timeout)
{
    Lock lock(mutex);
    isReaderBack = true;
    const auto deadline = Steady::now() + std::max(shortestWait, std::chrono::milliseconds(timeout));
    qint64 left = qint64(timeout) * 1000; // another reader may take what this one waits for, again and again
    while (true) {
        const Step* step = next();
        if (step && step->kind == Step::Action) {
            runAction(lock);
            continue;
        }
        if (step && step->kind == Step::Result)
            return takeResult(lock, timeout);
        if (step && mayHandOut()) {
            const qint64 wait = untilDue(step->frame);
            if (wait <= 0)
                return handOut(frame);
            if (ended)
                return endAtOnce(lock);
            const qint64 slice = std::min(wait, left);
            lock.unlock();
            time().sleep(slice);
            lock.lock();
            left -= slice;
            if (wait > slice)
                return XRet::Timeout;
            continue;
        }
        if (ended)
            return endAtOnce(lock);
        const auto limit = idle == Idle::Hold ? Steady::now() + longestHold : deadline;
        if (changed.wait_until(lock, limit) == std::cv_status::timeout)
            return XRet::Timeout;
    }
}

const FrameScript::Step* FrameScript::next() const
{
    if (!steps.empty())
        return &steps.front();
    return clip.isEmpty() ? nullptr : &clipStep;
}

/// Whether a read would get something now, or when its time has come.
bool FrameScript::mayHandOut() const
{
    const Step* step = next();
    return step && !(step->kind == Step::Frame && pace == Pace::Released && allowed <= 0);
}

void FrameScript::drop()
{
    const bool wasOfClip = steps.empty();
    if (!wasOfClip)
        steps.pop_front();
    if (wasOfClip || (steps.empty() && clipPosition < 0))
        moveClip();
}

void FrameScript::moveClip()
{
    if (clip.isEmpty())
        return;
    if (clipPosition < 0) {
        const quint64 follows = handedOut > 0 ? lastTimestamp + DeviceStream::pictureMs : clip.first().timestamp;
        clipBegin = follows - clip.first().timestamp;
    }
    if (++clipPosition == clip.size()) {
        clipPosition = 0;
        clipBegin += DeviceStream::duration(clip);
    }
    clipStep.frame = clip.at(clipPosition);
    clipStep.frame.timestamp += clipBegin;
}

/// Microseconds until the frame's time has come, 0 where there is none.
qint64 FrameScript::untilDue(const DeviceFrame& frame)
{
    if (pace != Pace::RealTime)
        return 0;
    const qint64 frameUs = qint64(frame.timestamp) * 1000;
    const qint64 now = time().microseconds();
    if (beginUs < 0)
        beginUs = now - frameUs;
    return beginUs + frameUs - now;
}

void FrameScript::runAction(Lock& lock)
{
    const std::function<void()> action = steps.front().action;
    drop();
    isReaderBack = false;
    lock.unlock();
    action();
    lock.lock();
    isReaderBack = true;
}

XRetError FrameScript::takeResult(Lock& lock, int timeout)
{
    const XRetError result = steps.front().result;
    drop();
    isReaderBack = false;
    lock.unlock();
    if (result == XRet::Timeout)
        time().sleep(qint64(timeout) * 1000);
    return result;
}

XRetError FrameScript::handOut(XFrameHeader* frame)
{
    const DeviceFrame& next = this->next()->frame;
    next.writeTo(frame);
    lastTimestamp = next.timestamp;
    ++handedOut;
    if (pace == Pace::Released)
        --allowed;
    isReaderBack = false;
    drop();
    return XRet::Ok;
}

XRetError FrameScript::endAtOnce(Lock& lock) const
{
    const XRetError result = endResult;
    lock.unlock();
    std::this_thread::sleep_for(shortestWait);
    return result;
}

Clock& FrameScript::time() const { return clock ? *clock : Clock::system(); }
