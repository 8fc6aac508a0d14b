#pragma once

#include "devnet/encodedframe.h"

#include <QString>

#include <functional>

class StopSignal;

/// Where the frames of a stream come from. Made when the device is made, run each time the stream is enabled.
class FrameSource
{
public:
    using Output = std::function<void(EncodedFrame&&)>;

    virtual ~FrameSource() = default;

    /// Delivers frames at the time they are due until @p stop is requested, or until there are no more to be had; then
    /// the reason is returned. Runs on the thread of the stream, and @p output is called there.
    virtual QString run(const Output& output, const StopSignal& stop) = 0;

    /// Makes the next picture a key frame; false when that can't be had. Called from any thread.
    virtual bool requestKeyFrame() { return false; }
};
