#include "fuzz/inputdevice.h"

#include <cstring>
#include <utility>

namespace {
constexpr int mostFrames = 300;
constexpr quint64 pictureMs = 40;
constexpr quint32 magic = 0x12345678;

enum Kind { Plausible, WholeHeader, WrongLength, OtherResult, OtherTime };

constexpr XRetError otherResults[] = {XRet::Timeout,
                                      XRet::NotSupported,
                                      XRet::BadParameter,
                                      XRet::AlreadyEnabled,
                                      XRet::EndOfRecording,
                                      XRet::TooManyConnections,
                                      -1};

/// Types 0 to 3 are video, 4 is sound, others are neither; the upper bits choose codec and form.
void describe(XFrameHeader* frame, quint8 type)
{
    frame->frameType = type % 8;
    if (frame->frameType <= XFrameHeader::LastVideoFrame) {
        frame->codecId = type >> 3 & 1;
        frame->width = frame->height = type & 0x10 ? 96 : 64;
        frame->param1 = 25;
        return;
    }
    frame->codecId = 3 + (type >> 3 & 3);
    frame->sampleRate = type & 0x20 ? 16000 : 8000;
    frame->bitWidth = 16;
    frame->channels = 1 + (type >> 6);
}

void setPayload(XFrameHeader* frame, const QByteArray& payload)
{
    std::memcpy(reinterpret_cast<char*>(frame) + offsetof(XFrameHeader, data), payload.constData(),
                std::size_t(payload.size()));
}
} // namespace

InputDevice::InputDevice(FuzzInput& frames, std::function<void()> atEnd)
    : input(frames)
    , reportEnd(std::move(atEnd))
{
    endReads();
}

XRetError InputDevice::readFrame(int, int, XFrameHeader* frame, int) { return next(frame); }

XRetError InputDevice::vodReadFrame(unsigned, XFrameHeader* frame, int) { return next(frame); }

XRetError InputDevice::vodReadDLFrame(unsigned, XFrameHeader* frame, int) { return next(frame); }

XRetError InputDevice::next(XFrameHeader* frame)
{
    if (input.isEmpty() || taken >= mostFrames) {
        reportEnd();
        return XRet::EndOfRecording;
    }
    return takeFrame(input, frame, quint64(taken++) * pictureMs);
}

XRetError InputDevice::takeFrame(FuzzInput& input, XFrameHeader* frame, quint64 time)
{
    *frame = {};
    frame->reserved0 = magic;
    frame->timestamp = time;
    const int kind = input.byte() % 8;
    if (kind == OtherResult)
        return otherResults[input.byte() % (sizeof otherResults / sizeof *otherResults)];
    if (kind == WholeHeader) {
        const QByteArray head = input.bytes(offsetof(XFrameHeader, data));
        std::memcpy(static_cast<void*>(frame), head.constData(), std::size_t(head.size()));
    } else {
        describe(frame, input.byte());
    }
    if (kind == OtherTime)
        frame->timestamp = quint64(input.number()) << 32 | input.number();
    const QByteArray payload = input.bytes(input.word());
    setPayload(frame, payload);
    if (kind == WrongLength)
        frame->length = input.number();
    else if (kind != WholeHeader)
        frame->length = quint32(payload.size());
    return XRet::Ok;
}
