#pragma once

#include "core_ffmpeg/ffmpegptr.h"

#include <vector>

/// Holds back the pictures that come before the first key frame of a file whose parameter sets are in that key frame.
///
/// A recording that begins in the middle of a group of pictures keeps them, although no player can show them: what the
/// file before it was cut off from is not lost. But the muxer looks for the parameter sets in the first picture it is
/// given, and without them no player would open the file. So they are put in front of that one as soon as they are
/// known. In H.265 they are left out: its decoders don't skip them, as those of H.264 do, but show them broken. So
/// are pictures whose H.265 parameter sets are broken: the muxer may count in them for hours. Used by one thread at a
/// time.
class LeadingPackets
{
public:
    /// A new file. @p codecId is that of its video; nothing is held when its parameter sets are @p known.
    void begin(AVCodecID codecId, bool known);

    /// Takes a picture (Annex B); what may be written now, in order.
    std::vector<AvPacketPtr> pass(AvPacketPtr packet);

    /// The end of a file: what is still held.
    std::vector<AvPacketPtr> takeRest();

private:
    AVCodecID codec = AV_CODEC_ID_NONE;
    bool isHolding = false;
    std::vector<AvPacketPtr> held;
};
