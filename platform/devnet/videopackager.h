#pragma once

#include "core_ffmpeg/ffmpegptr.h"
#include "devnet/parametersets.h"

#include <QSize>

#include <functional>
#include <optional>

/// Makes device frames of the video packets of one source: Annex B, parameter sets before every key frame, the size as
/// the parameter sets have it.
class VideoPackager
{
public:
    struct Picture
    {
        bool isKey = false;
        QByteArray payload;
        QSize size; ///< pixels; of the last key frame
    };

    /// Nothing for a codec that devices don't send, or that this FFmpeg does not know.
    static std::optional<VideoPackager> make(const AVCodecParameters* parameters);

    /// Takes the data out of @p packet. An undecodable key frame, without parameter sets, is none.
    void package(AVPacket* packet, const std::function<void(const Picture&)>& output);

    bool isH265() const { return h265; }

private:
    VideoPackager(BsfContextPtr toAnnexB, CodecContextPtr forParser, CodecParserPtr sizeParser);

    Picture picture(const AVPacket* packet);
    QSize sizeOf(const QByteArray& keyFrame);

    bool h265;
    BsfContextPtr filter; ///< from length prefixes to start codes; none for streams that have these
    CodecContextPtr context; ///< for the parser
    CodecParserPtr parser; ///< reads sizes
    AvPacketPtr filtered;
    ParameterSets sets;
    QSize size;
};
