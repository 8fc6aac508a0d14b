#include "devnet/pictureencoder.h"

#include <mutex>

namespace {

constexpr const char* quality = "26";

// On one thread: several test devices share the machine with whoever shows them.
constexpr const char* x264Options = "scenecut=0";
constexpr const char* x265Options = "log-level=none:pools=none:frame-threads=1:wpp=0:scenecut=0:info=0";

/// The tables of the H.265 encoder are set up by whoever opens one first, without a lock.
std::mutex& openingMutex()
{
    static std::mutex mutex;
    return mutex;
}

void configure(AVCodecContext* encoder, const TestPictureOptions& options)
{
    encoder->width = options.width;
    encoder->height = options.height;
    encoder->pix_fmt = AV_PIX_FMT_YUV420P;
    encoder->time_base = {1, options.rate};
    encoder->framerate = {options.rate, 1};
    encoder->gop_size = options.rate;
    encoder->max_b_frames = 0;
    encoder->thread_count = 1;
}

int openEncoder(AVCodecContext* encoder, const AVCodec* codec, bool h265)
{
    AvDictionary options;
    options.set("preset", "ultrafast");
    options.set("tune", "zerolatency");
    options.set("crf", quality);
    options.set("forced-idr", "1");
    options.set(h265 ? "x265-params" : "x264-params", h265 ? x265Options : x264Options);
    const std::lock_guard<std::mutex> lock(openingMutex());
    return avcodec_open2(encoder, codec, options.address());
}

} // namespace

QString PictureEncoder::open(const TestPictureOptions& options)
{
    const char* const name = options.h265 ? "libx265" : "libx264";
    const AVCodec* const codec = avcodec_find_encoder_by_name(name);
    if (!codec)
        return QString("this FFmpeg has no encoder %1").arg(QLatin1String(name));
    encoder.reset(avcodec_alloc_context3(codec));
    described.reset(avcodec_parameters_alloc());
    encoded = makePacket();
    if (!encoder || !described || !encoded || !makeFrame(options))
        return QStringLiteral("no memory");
    configure(encoder.get(), options);
    if (openEncoder(encoder.get(), codec, options.h265) < 0
        || avcodec_parameters_from_context(described.get(), encoder.get()) < 0)
        return QString("the encoder %1 does not take %2x%3").arg(name).arg(options.width).arg(options.height);
    return {};
}

bool PictureEncoder::encode(qint64 number, bool asKeyFrame)
{
    picture->pts = number;
    picture->pict_type = asKeyFrame ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
    av_packet_unref(encoded.get());
    return avcodec_send_frame(encoder.get(), picture.get()) == 0
        && avcodec_receive_packet(encoder.get(), encoded.get()) == 0 && av_frame_make_writable(picture.get()) == 0;
}

bool PictureEncoder::makeFrame(const TestPictureOptions& options)
{
    picture = ::makeFrame();
    if (!picture)
        return false;
    picture->format = AV_PIX_FMT_YUV420P;
    picture->width = options.width;
    picture->height = options.height;
    return av_frame_get_buffer(picture.get(), 0) == 0;
}
