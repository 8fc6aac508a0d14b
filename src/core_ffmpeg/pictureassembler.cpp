#include "core_ffmpeg/pictureassembler.h"

#include <algorithm>

extern "C" {
#include <libavutil/common.h>
}

namespace {
constexpr int mostMistakes = 3;
// A first fragment is longer than those that follow it by its start code and header, which FFmpeg has put there.
constexpr size_t headBytes = 5;
// Reports of the sender move the time within a picture by less, the next picture is further away. At 90 kHz.
constexpr qint64 sameTime = 450;
constexpr size_t mostBytes = 32 * 1024 * 1024; // a picture of 3840x2160 without compression has 12 MB
} // namespace

PictureAssembler::Piece::Piece(const AVPacket* received)
    : packet(received)
    , size(static_cast<size_t>(received->size))
    , isFragment(!AnnexB::beginsUnit(received->data, size))
{
    if (!isFragment)
        units = AnnexB::split(received->data, size);
}

PictureAssembler::PictureAssembler(const AVCodecParameters* parameters)
    : context(avcodec_alloc_context3(nullptr))
    , parser(av_parser_init(parameters->codec_id))
    , first(makePacket())
{
    if (context)
        avcodec_parameters_to_context(context.get(), parameters);
    if (parser)
        parser->flags |= PARSER_FLAG_COMPLETE_FRAMES;
}

void PictureAssembler::add(const AVPacket* packet)
{
    whole.reset();
    if (packet->size < 1)
        return;
    const Piece piece(packet);
    if (!data.empty() && beginsPicture(piece))
        endPicture();
    if (data.size() + piece.size > mostBytes)
        forgetPicture();
    append(piece);
}

void PictureAssembler::finish()
{
    whole.reset();
    if (!data.empty())
        endPicture();
}

bool PictureAssembler::beginsPicture(const Piece& piece) const
{
    const bool isHeadless = !AnnexB::beginsUnit(data.data(), data.size()); // its beginning was lost
    if (isHeadless && isOfAnotherTime(piece.packet))
        return true;
    if (piece.isFragment)
        return slices > 0 && isOfAnotherTime(piece.packet);
    if (slices == 0 || piece.units.empty())
        return false;
    constexpr int firstLeading = 6; // supplemental information, parameter sets, delimiter
    constexpr int lastLeading = 9;
    const AnnexB::Unit& unit = piece.units.front();
    const bool leads = unit.type() >= firstLeading && unit.type() <= lastLeading;
    return leads || unit.isFirstSlice() || (unit.isSlice() && isOfAnotherTime(piece.packet));
}

bool PictureAssembler::isOfAnotherTime(const AVPacket* piece) const
{
    if (piece->pts == AV_NOPTS_VALUE || first->pts == AV_NOPTS_VALUE)
        return false;
    const qint64 later = av_sat_sub64(piece->pts, first->pts);
    return later > sameTime || later < -sameTime;
}

void PictureAssembler::append(const Piece& piece)
{
    if (data.empty())
        av_packet_copy_props(first.get(), piece.packet);
    if (piece.isFragment)
        appendFragment(piece.size);
    else
        appendUnits(piece);
    data.insert(data.end(), piece.packet->data, piece.packet->data + piece.size);
}

void PictureAssembler::appendUnits(const Piece& piece)
{
    for (const AnnexB::Unit& unit : piece.units)
        slices += unit.isSlice() ? 1 : 0;
    if (isEarly && !piece.units.empty() && piece.units.back().isSlice())
        noticeLateSlice();
    unitBytes = piece.size;
    // What is as long as a first fragment, or could be, may be one.
    isUnitOpen = fullBytes == 0 || piece.size == fullBytes;
}

void PictureAssembler::noticeLateSlice()
{
    if (!isTooSoon)
        ++mistakes;
    isTooSoon = true;
}

void PictureAssembler::appendFragment(size_t bytes)
{
    // The sender doesn't fill its packets, and so nothing can be told from their lengths.
    if (unitBytes == 0) // the unit's beginning was lost
        return;
    const bool isUneven = !isUnitOpen || bytes + headBytes > unitBytes || (fullBytes != 0 && unitBytes != fullBytes);
    if ((isEarly && !isTooSoon) || (isUneven && fullBytes != 0 && slices > 0))
        mistakes = mostMistakes;
    if (isEarly)
        isTooSoon = true;
    fullBytes = unitBytes;
    isUnitOpen = bytes + headBytes >= unitBytes;
}

bool PictureAssembler::looksWhole() const
{
    return slices > 0 && slices >= usualSlices && !isUnitOpen && mistakes < mostMistakes;
}

std::optional<PictureAssembler::WholePicture> PictureAssembler::takeWhole()
{
    std::optional<WholePicture> taken;
    taken.swap(whole);
    return taken;
}

AvPacketPtr PictureAssembler::takeEarly()
{
    if (isEarly || !looksWhole())
        return nullptr;
    isEarly = true;
    return makePicture();
}

void PictureAssembler::endPicture()
{
    if (AvPacketPtr picture = makePicture())
        whole = WholePicture{std::move(picture), isEarly, isTooSoon};
    if (slices > 0) {
        usualSlices = slices;
        knowsSlices = true;
    }
    forgetPicture();
}

void PictureAssembler::forgetPicture()
{
    data.clear();
    av_packet_unref(first.get());
    isDescribed = false;
    unitBytes = 0;
    slices = 0;
    isUnitOpen = false;
    isEarly = false;
    isTooSoon = false;
}

AvPacketPtr PictureAssembler::makePicture()
{
    AvPacketPtr picture = makePacket();
    if (!picture || av_new_packet(picture.get(), static_cast<int>(data.size())) < 0)
        return nullptr;
    std::copy(data.begin(), data.end(), picture->data);
    if (!isDescribed)
        describe(picture.get());
    av_packet_copy_props(picture.get(), first.get());
    return picture;
}

void PictureAssembler::describe(const AVPacket* picture)
{
    isDescribed = true;
    if (!parser || !context)
        return;
    quint8* parsed = nullptr;
    int parsedBytes = 0;
    av_parser_parse2(parser.get(), context.get(), &parsed, &parsedBytes, picture->data, picture->size, first->pts,
                     first->dts, -1);
    const bool isKey = parser->key_frame == 1 || (parser->key_frame == -1 && parser->pict_type == AV_PICTURE_TYPE_I);
    first->flags = isKey ? AV_PKT_FLAG_KEY : 0;
    // Pictures that are not shown in the order of their sending have decode times of their own.
    if (parser->pict_type == AV_PICTURE_TYPE_B)
        first->dts = AV_NOPTS_VALUE;
}
