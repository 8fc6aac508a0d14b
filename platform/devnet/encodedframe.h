#pragma once

#include "devnet/xencpara.h"
#include "devnet/xframeheader.h"

#include <QByteArray>

#include <cstring>
#include <memory>

/// What a stream is encoded in at one time.
struct StreamFormat
{
    XVideoEncPara video;
    XAudioEncPara audio;
};

/// One frame on its way from a source to a reader.
struct EncodedFrame
{
    XFrameHeader header{}; ///< without its payload
    QByteArray payload;
    std::shared_ptr<const StreamFormat> format; ///< of this frame, and of what comes with it

    bool isAudio() const { return header.frameType == XFrameHeader::AudioFrame; }
    bool isKey() const { return header.frameType == XFrameHeader::VideoKeyFrame; }
    bool fits() const { return payload.size() <= static_cast<qint64>(XFrameHeader::largestPayload); }

    /// Into a reader's buffer, which has room for what fits().
    void copyTo(XFrameHeader* target) const
    {
        constexpr std::size_t begin = offsetof(XFrameHeader, data);
        char* const bytes = reinterpret_cast<char*>(target);
        std::memcpy(bytes, &header, begin);
        std::memcpy(bytes + begin, payload.constData(), static_cast<std::size_t>(payload.size()));
    }
};
