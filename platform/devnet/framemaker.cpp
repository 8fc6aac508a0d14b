#include "devnet/framemaker.h"

namespace {

constexpr std::uint32_t magic = 0x12345678;
constexpr std::uint32_t alignment = 8;
constexpr std::uint32_t otherVideoFrame = 1;

// What a header and an encoding record call the same codec.
constexpr int videoCodecShift = 1;
constexpr int audioCodecShift = 30;

} // namespace

void FrameMaker::setVideo(const XVideoEncPara& video)
{
    format = std::make_shared<const StreamFormat>(StreamFormat{video, format->audio});
}

void FrameMaker::setAudio(const XAudioEncPara& audio)
{
    format = std::make_shared<const StreamFormat>(StreamFormat{format->video, audio});
}

EncodedFrame FrameMaker::makeVideo(bool isKey, const QByteArray& payload, qint64 timeMs) const
{
    EncodedFrame frame = make(isKey ? XFrameHeader::VideoKeyFrame : otherVideoFrame, payload, timeMs);
    const XVideoEncPara& video = format->video;
    frame.header.codecId = static_cast<std::uint32_t>(video.codec - videoCodecShift);
    frame.header.width = static_cast<std::uint32_t>(video.width);
    frame.header.height = static_cast<std::uint32_t>(video.height);
    frame.header.param1 = static_cast<std::uint32_t>(video.param1);
    frame.header.param2 = static_cast<std::uint32_t>(video.param2);
    return frame;
}

EncodedFrame FrameMaker::makeAudio(const QByteArray& payload, qint64 timeMs) const
{
    EncodedFrame frame = make(XFrameHeader::AudioFrame, payload, timeMs);
    const XAudioEncPara& audio = format->audio;
    frame.header.codecId = static_cast<std::uint32_t>(audio.codec - audioCodecShift);
    frame.header.sampleRate = static_cast<std::uint32_t>(audio.sampleRate);
    frame.header.bitWidth = static_cast<std::uint32_t>(audio.bitWidth);
    frame.header.channels = static_cast<std::uint32_t>(audio.channels);
    return frame;
}

EncodedFrame FrameMaker::make(std::uint32_t type, const QByteArray& payload, qint64 timeMs) const
{
    EncodedFrame frame;
    frame.format = format;
    frame.payload = payload;
    frame.header.reserved0 = magic;
    frame.header.frameType = type;
    frame.header.length = static_cast<std::uint32_t>(payload.size());
    frame.header.timestamp = static_cast<std::uint64_t>(timeMs);
    frame.header.reserved40 = (alignment - frame.header.length % alignment) % alignment;
    return frame;
}
