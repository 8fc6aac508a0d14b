// What an RTSP server sends of H.264: the parameter sets of its description, and pictures in pieces.

#include "core_ffmpeg/h264parameters.h"
#include "core_ffmpeg/pictureassembler.h"
#include "fuzz/fuzzing.h"

extern "C" {
#include <libavutil/log.h>
}

namespace {

CodecParametersPtr parametersWith(const QByteArray& sets)
{
    CodecParametersPtr parameters(avcodec_parameters_alloc());
    parameters->codec_type = AVMEDIA_TYPE_VIDEO;
    parameters->codec_id = AV_CODEC_ID_H264;
    parameters->extradata = static_cast<std::uint8_t*>(av_mallocz(size_t(sets.size()) + AV_INPUT_BUFFER_PADDING_SIZE));
    parameters->extradata_size = sets.size();
    std::copy(sets.begin(), sets.end(), parameters->extradata);
    return parameters;
}

AvPacketPtr pieceOf(const QByteArray& bytes, qint64 time)
{
    AvPacketPtr piece = makePacket();
    require(av_new_packet(piece.get(), bytes.size()) == 0, "a packet is made");
    std::copy(bytes.begin(), bytes.end(), piece->data);
    piece->pts = piece->dts = time;
    return piece;
}

/// Nothing that was added is lost, and nothing comes twice.
class Account
{
public:
    void add(PictureAssembler& assembler, const QByteArray& bytes, qint64 time)
    {
        in += bytes.size();
        assembler.add(pieceOf(bytes, time).get());
        take(assembler);
    }

    void take(PictureAssembler& assembler)
    {
        const std::optional<PictureAssembler::WholePicture> whole = assembler.takeWhole();
        out += whole ? whole->packet->size : 0;
        require(out <= in, "no more comes out than went in");
        require(!whole || whole->wasEarly || !whole->wasTooSoon, "only what was early can be too soon");
        const AvPacketPtr early = assembler.takeEarly();
        require(!early || (early->size > 0 && early->size <= in - out),
                "an early picture is what has not come out yet");
        require(!early || !assembler.takeEarly(), "a picture is early once");
    }

    bool isBalanced() const { return in == out; }

private:
    qint64 in = 0;
    qint64 out = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    av_log_set_level(AV_LOG_QUIET);
    FuzzInput input(data, size);
    const QByteArray sets = input.bytes(input.byte());
    const auto described
        = H264Parameters::read(reinterpret_cast<const std::uint8_t*>(sets.constData()), size_t(sets.size()));
    require(!described || (described->width > 0 && described->height > 0), "a picture that is described has a size");
    require(!described || described->rateDenominator > 0, "a rate can be divided");

    PictureAssembler assembler(parametersWith(sets).get());
    Account account;
    qint64 time = 0;
    while (!input.isEmpty()) {
        time += input.byte() * 50;
        const std::uint8_t kind = input.byte();
        QByteArray piece = input.bytes(input.byte());
        if (kind % 2 == 0)
            piece.prepend("\0\0\0\1", 4);
        account.add(assembler, piece, time);
    }
    assembler.finish();
    account.take(assembler);
    require(account.isBalanced(), "everything comes out");
    return 0;
}
