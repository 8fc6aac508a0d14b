#pragma once

#include "devnet/encodedframe.h"

/// Fills in the headers of the frames of one source.
class FrameMaker
{
public:
    /// From the next frame on.
    void setVideo(const XVideoEncPara& video);
    void setAudio(const XAudioEncPara& audio);

    const XVideoEncPara& video() const { return format->video; }

    /// @p timeMs since 1970.
    EncodedFrame makeVideo(bool isKey, const QByteArray& payload, qint64 timeMs) const;
    EncodedFrame makeAudio(const QByteArray& payload, qint64 timeMs) const;

private:
    EncodedFrame make(std::uint32_t type, const QByteArray& payload, qint64 timeMs) const;

    std::shared_ptr<const StreamFormat> format = std::make_shared<StreamFormat>();
};
