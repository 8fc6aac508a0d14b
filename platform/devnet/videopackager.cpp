#include "devnet/videopackager.h"

namespace {

/// MP4, Matroska and the like write the length of a unit before it, and their extra data begin with a 1.
bool hasLengthPrefixes(const AVCodecParameters* parameters)
{
    return parameters->extradata_size > 0 && parameters->extradata[0] == 1;
}

BsfContextPtr makeFilter(const AVCodecParameters* parameters)
{
    const bool h265 = parameters->codec_id == AV_CODEC_ID_HEVC;
    const char* const name = !hasLengthPrefixes(parameters) ? "null" : h265 ? "hevc_mp4toannexb" : "h264_mp4toannexb";
    AVBSFContext* filter = nullptr;
    const AVBitStreamFilter* const kind = av_bsf_get_by_name(name);
    if (!kind || av_bsf_alloc(kind, &filter) < 0)
        return nullptr;
    BsfContextPtr owner(filter);
    if (avcodec_parameters_copy(filter->par_in, parameters) < 0 || av_bsf_init(filter) < 0)
        return nullptr;
    return owner;
}

CodecContextPtr makeContext(const AVCodecParameters* parameters)
{
    CodecContextPtr context(avcodec_alloc_context3(nullptr));
    if (!context || avcodec_parameters_to_context(context.get(), parameters) < 0)
        return nullptr;
    return context;
}

CodecParserPtr makeParser(AVCodecID codec)
{
    CodecParserPtr parser(av_parser_init(codec));
    if (parser)
        parser->flags |= PARSER_FLAG_COMPLETE_FRAMES;
    return parser;
}

QByteArray extraData(const AVCodecParameters* parameters)
{
    return {reinterpret_cast<const char*>(parameters->extradata), parameters->extradata_size};
}

} // namespace

std::optional<VideoPackager> VideoPackager::make(const AVCodecParameters* parameters)
{
    if (parameters->codec_id != AV_CODEC_ID_H264 && parameters->codec_id != AV_CODEC_ID_HEVC)
        return {};
    BsfContextPtr filter = makeFilter(parameters);
    if (!filter)
        return {};
    CodecContextPtr context = makeContext(filter->par_out);
    CodecParserPtr parser = makeParser(parameters->codec_id);
    if (!context || !parser)
        return {};
    return VideoPackager(std::move(filter), std::move(context), std::move(parser));
}

VideoPackager::VideoPackager(BsfContextPtr toAnnexB, CodecContextPtr forParser, CodecParserPtr sizeParser)
    : h265(forParser->codec_id == AV_CODEC_ID_HEVC)
    , filter(std::move(toAnnexB))
    , context(std::move(forParser))
    , parser(std::move(sizeParser))
    , filtered(makePacket())
    , sets(h265)
    , size(context->width, context->height)
{
    sets.learn(extraData(filter->par_out));
}

void VideoPackager::package(AVPacket* packet, const std::function<void(const Picture&)>& output)
{
    if (av_bsf_send_packet(filter.get(), packet) < 0) {
        av_packet_unref(packet);
        return;
    }
    while (av_bsf_receive_packet(filter.get(), filtered.get()) == 0) {
        output(picture(filtered.get()));
        av_packet_unref(filtered.get());
    }
}

VideoPackager::Picture VideoPackager::picture(const AVPacket* packet)
{
    const QByteArray stream = QByteArray::fromRawData(reinterpret_cast<const char*>(packet->data), packet->size);
    sets.learn(stream);
    Picture result;
    result.isKey = (packet->flags & AV_PKT_FLAG_KEY) && sets.areComplete();
    if (result.isKey) {
        result.payload = sets.keyFrame(stream);
        size = sizeOf(result.payload);
    } else {
        result.payload = QByteArray(stream.constData(), stream.size());
    }
    result.size = size;
    return result;
}

QSize VideoPackager::sizeOf(const QByteArray& keyFrame)
{
    // Parsers read a little past the end.
    QByteArray padded = keyFrame;
    padded.append(AV_INPUT_BUFFER_PADDING_SIZE, '\0');
    uint8_t* data = nullptr;
    int length = 0;
    av_parser_parse2(parser.get(), context.get(), &data, &length, reinterpret_cast<const uint8_t*>(padded.constData()),
                     keyFrame.size(), AV_NOPTS_VALUE, AV_NOPTS_VALUE, 0);
    return parser->width > 0 && parser->height > 0 ? QSize(parser->width, parser->height) : size;
}
