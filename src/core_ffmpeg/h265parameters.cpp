#include "core_ffmpeg/h265parameters.h"

#include "core_ffmpeg/annexb.h"
#include "core_ffmpeg/ffmpegptr.h"

#include <vector>

namespace {
constexpr int videoSet = 32;
constexpr int sequenceSet = 33;

using Bytes = std::vector<uint8_t>;

void append(Bytes& bytes, const AnnexB::Unit& unit)
{
    bytes.insert(bytes.end(), {0, 0, 0, 1});
    bytes.insert(bytes.end(), unit.data, unit.data + unit.size);
}

/// A decoder reads its sets when it is opened, and then knows the size of the pictures.
bool canDecode(const Bytes& sets)
{
    const AVCodec* decoder = avcodec_find_decoder(AV_CODEC_ID_HEVC);
    const CodecContextPtr context(avcodec_alloc_context3(decoder));
    if (!decoder || !context || !setExtradata(context.get(), sets.data(), sets.size()))
        return false;
    context->thread_count = 1;
    return avcodec_open2(context.get(), decoder, nullptr) >= 0 && context->coded_width > 0;
}
} // namespace

bool H265Parameters::areReadable(const uint8_t* units, size_t size)
{
    Bytes videoSets;
    for (AnnexB::Reader reader(units, size); reader.next();) {
        const int type = reader.openUnit().h265Type();
        if (type == videoSet) {
            append(videoSets, reader.unit());
        } else if (type == sequenceSet) {
            Bytes sets = videoSets;
            append(sets, reader.unit());
            if (!canDecode(sets))
                return false;
        }
    }
    return true;
}
