#pragma once

#include "core_videobase/clock.h"
#include "devnet/xnettypes.h"
#include "support/deviceframe.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>

/// What the reads of one stream of a FakeDevice bring, one after the other: frames, results, and actions in between.
///
/// Behind the last step comes the clip, over and over with its times going on, and without a clip nothing: reads wait.
/// All operations may be called from any thread.
class FrameScript
{
public:
    enum class Pace {
        AsRead, ///< a frame for every read
        RealTime, ///< each frame when its time has come by the clock; the first one at once
        Released ///< as many frames as release() allowed
    };
    enum class Idle {
        Timeout, ///< a read that brings nothing ends after its time-out
        Hold ///< it waits for more steps until end(), so that a slow machine adds no time-outs
    };

    void add(const DeviceFrame& frame);
    void add(const DeviceFrames& frames);

    /// Reads that end with @p result; XRet::Timeout ones pass their time-out on the clock first.
    void addResult(XRetError result, int count = 1);

    /// Called on the reading thread between two steps, before the read that follows goes on.
    void addAction(std::function<void()> action);

    void setClip(const DeviceFrames& frames);

    /// Forgets steps and clip.
    void clear();

    void setPace(Pace pace);

    /// Allows that many more frames with Pace::Released.
    void release(int frames);

    void setIdle(Idle idle);

    /// From now on reads that would wait end at once, after a millisecond of real time, with @p result.
    void end(XRetError result = XRet::Timeout);

    /// What Pace::RealTime and timeouts go by; null for the real time, which they then wait for.
    void setClock(Clock* clock);

    /// Frames that were handed out.
    int taken() const;

    /// Whether everything that may be handed out was, and the reader has come back for more: it is done with the last
    /// one.
    bool isConsumed() const;

    /// Waits for isConsumed(), in an event loop; whether it came within that time.
    bool waitUntilConsumed(int milliseconds = 10000) const;

    /// release(), then waitUntilConsumed().
    bool play(int frames, int milliseconds = 10000);

    /// The device's side: fills @p frame or says why not. Waits @p timeout milliseconds at most, but for Idle::Hold.
    XRetError read(XFrameHeader* frame, int timeout);

private:
    struct Step
    {
        enum Kind { Frame, Result, Action } kind;
        DeviceFrame frame;
        XRetError result;
        std::function<void()> action;
    };
    using Lock = std::unique_lock<std::mutex>;

    void addStep(Step step);
    const Step* next() const;
    void drop();
    void moveClip();
    bool mayHandOut() const;
    qint64 untilDue(const DeviceFrame& frame);
    void runAction(Lock& lock);
    XRetError takeResult(Lock& lock, int timeout);
    XRetError handOut(XFrameHeader* frame);
    XRetError endAtOnce(Lock& lock) const;
    Clock& time() const;

    mutable std::mutex mutex; // guards all of the following
    std::condition_variable changed;
    std::deque<Step> steps;
    DeviceFrames clip;
    int clipPosition = -1; // before the first frame of the first round
    Step clipStep{Step::Frame, {}, XRet::Ok, {}};
    quint64 clipBegin = 0; // time of the present round
    Pace pace = Pace::AsRead;
    Idle idle = Idle::Timeout;
    int allowed = 0; // of Pace::Released
    bool ended = false;
    XRetError endResult = XRet::Timeout;
    Clock* clock = nullptr;
    int handedOut = 0;
    quint64 lastTimestamp = 0;
    bool isReaderBack = false;
    qint64 beginUs = -1; // of Pace::RealTime: when time 0 of the frames would have been
};
