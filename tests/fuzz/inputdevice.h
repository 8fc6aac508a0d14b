#pragma once

#include "fuzz/fuzzing.h"
#include "support/fakedevice.h"

#include <functional>

/// A device that hands out what an input says, frame by frame; at the end of the input it calls @p atEnd, and reads
/// bring nothing any more.
///
/// A frame is a byte for its kind and, for most kinds, another for its type, a 16-bit length and the payload. Kinds
/// give it a plausible header, the whole header from the input, a length that is not that of the payload, or no frame
/// but another result.
class InputDevice final : public FakeDevice
{
public:
    InputDevice(FuzzInput& frames, std::function<void()> atEnd);

    /// All reads are reads of the same frames.
    XRetError readFrame(int channel, int stream, XFrameHeader* frame, int timeout) override;
    XRetError vodReadFrame(unsigned id, XFrameHeader* frame, int timeout) override;
    XRetError vodReadDLFrame(unsigned id, XFrameHeader* frame, int timeout) override;

    /// Fills @p frame, a buffer of XFrameHeader::bufferSize bytes, from the front of @p input.
    static XRetError takeFrame(FuzzInput& input, XFrameHeader* frame, quint64 time);

private:
    XRetError next(XFrameHeader* frame);

    FuzzInput& input;
    const std::function<void()> reportEnd;
    int taken = 0;
};
