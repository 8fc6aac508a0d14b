// One open attempt of FFmpegVideoThread, from the address to open decoders. A step that fails closes nothing: the loop
// closes the source before the next attempt.

#include "core_ffmpeg/capturedevices.h"
#include "core_ffmpeg/ffmpeghelper.h"
#include "core_ffmpeg/h264parameters.h"
#include "core_video/ffmpegvideothread_p.h"
#include "core_videobase/clock.h"
#include "core_videobase/shownaddress.h"

#include <QLoggingCategory>

#include <cstring>
#include <optional>
#include <utility>

extern "C" {
#include <libavutil/hwcontext.h>
}

namespace {
Q_LOGGING_CATEGORY(lcOpen, "vantor.ffmpeg.open")

/// Beyond what any camera has. A damaged stream says any size, and memory is taken for what it says.
constexpr int64_t mostPixels = 8192 * 8192;

constexpr int addressTestMs = 500;
constexpr int outputChannels = 2;
constexpr int outputBits = 16;
constexpr int highestFrameRate = 60;

QString failure(const char* head, const QString& message, const QString& url)
{
    return QString("%1 -> %2 地址: %3").arg(head, message, shownAddress(url));
}

int wholeRate(AVRational rate) { return rate.den == 0 ? 0 : rate.num / rate.den; }

bool isUsualRate(int rate) { return rate >= 1 && rate <= highestFrameRate; }

/// Whether FFmpeg's RTP receiver makes whole frames of this sound, without a parser.
bool comesInWholeFrames(AVCodecID codec)
{
    switch (codec) {
    case AV_CODEC_ID_PCM_MULAW:
    case AV_CODEC_ID_PCM_ALAW:
    case AV_CODEC_ID_ADPCM_G726:
    case AV_CODEC_ID_ADPCM_G726LE:
    case AV_CODEC_ID_AAC:
    case AV_CODEC_ID_OPUS: return true;
    default: return false;
    }
}

std::optional<H264Parameters> describedPicture(const AVCodecParameters* parameters)
{
    if (!parameters->extradata || parameters->extradata_size < 1)
        return std::nullopt;
    return H264Parameters::read(parameters->extradata, static_cast<size_t>(parameters->extradata_size));
}

void setPictureFormat(const H264Parameters& described, AVStream* stream)
{
    AVCodecParameters* parameters = stream->codecpar;
    parameters->width = described.width;
    parameters->height = described.height;
    parameters->profile = described.profile;
    parameters->level = described.level;
    parameters->format = described.isFullRange ? AV_PIX_FMT_YUVJ420P : AV_PIX_FMT_YUV420P;
    if (stream->avg_frame_rate.num == 0)
        stream->avg_frame_rate = {described.rateNumerator, described.rateDenominator};
}

int scalingOf(DecodeType type)
{
    switch (type) {
    case DecodeType_Full: return SWS_BICUBIC;
    case DecodeType_Even: return SWS_BILINEAR;
    default: return SWS_FAST_BILINEAR;
    }
}
} // namespace

bool FFmpegVideoThread::isHardwareDecoding() const { return getHardware() != "none"; }

bool FFmpegVideoThread::openVideo()
{
    openTimeout = 0;
    if (!parseVideoUrl()) {
        qCWarning(lcOpen).noquote() << "parseVideoUrl failed";
        return false;
    }
    if (addressTest && !FFmpegHelper::checkUrl(getVideoUrl(), addressTestMs))
        return false;

    setOpenOptions();
    if (!initInput() || !initVideo() || !initAudio())
        return false;
    initFrames();
    onlyAudio = source->videoIndex < 0 && source->audioIndex >= 0;

    updateTime();
    isOk = true;
    Q_EMIT receivePlayStart(0);
    return true;
}

void FFmpegVideoThread::setOpenOptions()
{
    AvDictionary& options = source->options;
    options.set("buffer_size", "8192000");
    options.set("rtsp_transport", getTransport().toUtf8().constData());
    options.set(VANTOR_FFMPEG_SOCKET_TIMEOUT_OPTION, "3000000");
    options.set("max_delay", "1000000");
    options.set("threads", "auto");
    if (!getInputFormat().isEmpty())
        setCaptureOptions();
}

void FFmpegVideoThread::setCaptureOptions()
{
    QString size;
    {
        const QMutexLocker lock(&mutex);
        size = videoSize;
    }
    if (size != "0x0")
        source->options.set("video_size", size.replace('*', 'x').toUtf8().constData());
    if (frameRate > 0)
        source->options.set("framerate", QByteArray::number(frameRate).constData());
}

bool FFmpegVideoThread::initInput()
{
    if (!openInput())
        return false;
    AVFormatContext* input = source->formatCtx.get();
    if (fastStart)
        limitAnalysis();
    if (fastStart && believeDescription())
        input->flags |= AVFMT_FLAG_NOPARSE;
    const int result = avformat_find_stream_info(input, nullptr);
    if (result < 0) {
        qCCritical(lcOpen).noquote() << failure("找流失败", "错误: " + FFmpegHelper::getError(result), getVideoUrl());
        return false;
    }
    if (paced && input->duration > 0) {
        duration = input->duration / 1000;
        Q_EMIT receiveDuration(duration);
    }
    return true;
}

void FFmpegVideoThread::limitAnalysis()
{
    // A mean frame rate and the first decode time take several pictures to tell; a live picture shouldn't wait for
    // them. What was read stays queued in the input, so nothing is lost.
    source->formatCtx->fps_probe_size = 0;
    source->formatCtx->max_ts_probe = 0;
}

/// Takes the picture's format from the server's description, so that the analysis has nothing to wait for, and has this
/// thread put the pictures together. False where the description doesn't say enough, or was wrong the last time.
bool FFmpegVideoThread::believeDescription()
{
    const AVFormatContext* input = source->formatCtx.get();
    const bool wasWrong = std::exchange(source->isMisdescribed, false);
    if (wasWrong || std::strcmp(input->iformat->name, "rtsp") != 0)
        return false;

    AVStream* video = nullptr;
    for (unsigned i = 0; i < input->nb_streams; ++i) {
        AVStream* stream = input->streams[i];
        const AVCodecParameters* parameters = stream->codecpar;
        if (parameters->codec_id == AV_CODEC_ID_H264 && !video)
            video = stream;
        else if (parameters->codec_type != AVMEDIA_TYPE_DATA && !comesInWholeFrames(parameters->codec_id))
            return false;
    }
    const std::optional<H264Parameters> described = video ? describedPicture(video->codecpar) : std::nullopt;
    if (!described)
        return false;
    setPictureFormat(*described, video);
    source->assembler = std::make_unique<PictureAssembler>(video->codecpar);
    return true;
}

bool FFmpegVideoThread::openInput()
{
    const auto fail = [this](int result) {
        qCCritical(lcOpen).noquote() << failure("打开出错", "错误: " + FFmpegHelper::getError(result), getVideoUrl());
        return false;
    };
    FFmpegInputFormat* format = nullptr;
    const QString formatName = getInputFormat();
    if (!formatName.isEmpty()) {
        CaptureDevices::registerAll();
        format = av_find_input_format(formatName.toUtf8().constData());
        // Without a format FFmpeg would guess one, and read a device as if it were a file.
        if (!format)
            return fail(AVERROR_DEMUXER_NOT_FOUND);
    }

    AVFormatContext* input = avformat_alloc_context();
    if (!input)
        return false;
    input->interrupt_callback = {&FFmpegVideoThread::interrupted, this};
    source->openStartTime = clock.load()->microseconds();
    source->opening = true;
    // A failed open frees the context that it was given.
    const int result = avformat_open_input(&input, FFmpegHelper::encodeUrl(getVideoUrl()).toUtf8().constData(), format,
                                           source->options.address());
    source->opening = false;
    source->formatCtx.reset(input);
    return result >= 0 || fail(result);
}

bool FFmpegVideoThread::initVideo()
{
    source->videoIndex = av_find_best_stream(source->formatCtx.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (source->videoIndex < 0) {
        source->videoIndex = -1;
        qCInfo(lcOpen).noquote() << QString("%1 -> 地址: %2").arg("无视频流", shownAddress(getVideoUrl()));
        return true;
    }
    // Pictures are turned in memory, so they have to be there.
    if (rotate != 0)
        setHardware("none");
    return openVideoDecoder() && readPictureFormat();
}

bool FFmpegVideoThread::openVideoDecoder()
{
    const auto fail = [this](const QString& message) {
        qCCritical(lcOpen).noquote() << failure("无解码器", message, getVideoUrl());
        return false;
    };
    const AVCodecParameters* parameters = source->videoStream()->codecpar;
    source->videoCodec = avcodec_find_decoder(parameters->codec_id);
    if (!source->videoCodec)
        return fail("错误: 查找视频解码器失败");
    source->videoCtx.reset(avcodec_alloc_context3(nullptr));
    AVCodecContext* context = source->videoCtx.get();
    if (!context)
        return fail("错误: 创建视频解码器上下文失败");
    int result = avcodec_parameters_to_context(context, parameters);
    if (result < 0)
        return fail("错误: 设置视频解码器参数失败 " + FFmpegHelper::getError(result));
    if (!initHardware())
        return false;
    context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER | AV_CODEC_FLAG_LOW_DELAY;
    context->flags2 |= AV_CODEC_FLAG2_FAST;
    context->max_pixels = mostPixels;
    result = avcodec_open2(context, source->videoCodec, nullptr);
    if (result < 0)
        return fail("错误: 打开视频解码器失败 " + FFmpegHelper::getError(result));
    source->videoCodecId = context->codec_id;
    return true;
}

bool FFmpegVideoThread::readPictureFormat()
{
    const AVStream* stream = source->videoStream();
    int width = 0;
    int height = 0;
    FFmpegHelper::getResolution(stream, width, height);
    videoWidth = width;
    videoHeight = height;
    if (width == 0 || height == 0) {
        qCCritical(lcOpen).noquote() << QString("%1 -> 地址: %2").arg("无分辨率", shownAddress(getVideoUrl()));
        return false;
    }
    frameRate = wholeRate(stream->avg_frame_rate);
    if (!isUsualRate(frameRate))
        frameRate = wholeRate(stream->r_frame_rate);

    Q_EMIT receiveSizeChanged();
    const QString message = QString("索引: %1 解码: %2 帧率: %3 宽高: %4x%5 角度: %6")
                                .arg(source->videoIndex)
                                .arg(source->videoCodec->name)
                                .arg(frameRate)
                                .arg(width)
                                .arg(height)
                                .arg(rotate);
    qCInfo(lcOpen).noquote() << QString("%1 -> %2").arg("视频信息", message);
    return true;
}

bool FFmpegVideoThread::initHardware()
{
    const QString name = getHardware();
    if (name == "none")
        return true;
    const AVHWDeviceType type = av_hwdevice_find_type_by_name(name.toUtf8().constData());
    qCInfo(lcOpen).noquote()
        << QString("%1 -> %2").arg("硬件加速", QString("名称: %1 数值: %2").arg(name).arg(static_cast<int>(type)));

    FFmpegHelper::setHwPixelFormat(FFmpegHelper::hwPixelFormatOf(type));
    if (FFmpegHelper::hwPixelFormat() == AV_PIX_FMT_NONE) {
        debug("错误: 未找到对应加速类型", "加速失败");
        return false;
    }
    source->videoCtx->get_format = &FFmpegHelper::getFormat;

    AVBufferRef* created = nullptr;
    const int result = av_hwdevice_ctx_create(&created, type, nullptr, nullptr, 0);
    const BufferRefPtr device(created);
    if (result < 0) {
        debug("加速失败", "错误: 创建视频解码器失败 " + FFmpegHelper::getError(result));
        return false;
    }
    source->videoCtx->hw_device_ctx = av_buffer_ref(device.get());
    return true;
}

bool FFmpegVideoThread::initAudio()
{
    source->audioIndex = av_find_best_stream(source->formatCtx.get(), AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    if (source->audioIndex < 0) {
        source->audioIndex = -1;
        debug("", "无音频流");
        return true;
    }
    if (!openAudioDecoder())
        return false;

    const AVCodecContext* context = source->audioCtx.get();
    source->audioCodecId = context->codec_id;
    sampleRate = context->sample_rate;
    channelCount = outputChannels;
    audioProfile = context->profile;
    announceAudioFormat(sampleRate, outputChannels, outputBits);

    if (!buildResampler({channelsOf(context), context->sample_fmt, context->sample_rate}))
        return false;
    source->audioBuffer.reset(new quint8[audioBufferBytes]); // make_unique() would touch every page of it
    const QString message = QString("索引: %1 解码: %2 比特: %3 声道: %4 采样: %5 品质: %6")
                                .arg(source->audioIndex)
                                .arg(source->audioCodec->name)
                                .arg(context->bit_rate)
                                .arg(channelsOf(context))
                                .arg(sampleRate)
                                .arg(audioProfile);
    qCInfo(lcOpen).noquote() << QString("%1 -> %2").arg("音频信息", message);
    return true;
}

bool FFmpegVideoThread::openAudioDecoder()
{
    const auto fail = [this](const char* head, const QString& message) {
        debug(head, message);
        return false;
    };
    const AVCodecParameters* parameters = source->audioStream()->codecpar;
    source->audioCodec = avcodec_find_decoder(parameters->codec_id);
    if (!source->audioCodec)
        return fail("无解码器", "错误: 查找音频解码器失败");
    source->audioCtx.reset(avcodec_alloc_context3(source->audioCodec));
    if (!source->audioCtx)
        return fail("无解码器", "错误: 创建音频解码器上下文失败");
    if (avcodec_parameters_to_context(source->audioCtx.get(), parameters) < 0)
        return fail("无解码器", "错误: 设置音频解码器参数失败");
    if (avcodec_open2(source->audioCtx.get(), source->audioCodec, nullptr) < 0)
        return fail("打开解码", "错误: 打开音频解码器失败");
    return true;
}

bool FFmpegVideoThread::buildResampler(const AudioInput& input)
{
    source->resampler.reset(allocStereoConverter(input.channels, static_cast<AVSampleFormat>(input.format),
                                                 input.sampleRate, sampleRate));
    source->resamplerInput = input;
    return source->resampler && swr_init(source->resampler.get()) >= 0;
}

void FFmpegVideoThread::initFrames()
{
    source->packet = makePacket();
    if (source->audioIndex >= 0)
        source->audioFrame = makeFrame();
    if (source->videoIndex < 0)
        return;
    source->decodedFrame = makeFrame();
    source->transferFrame = makeFrame();

    const int scaling = scalingOf(decodeType);
    source->yuvConverter.setScaling(scaling);
    source->rgbConverter.setScaling(scaling);

    // Hardware frames are transferred to NV12 before they are converted.
    const int sourceFormat = isHardwareDecoding() ? AV_PIX_FMT_NV12 : source->videoCtx->pix_fmt;
    const int targetFormat = videoMode == VideoMode_Image ? AV_PIX_FMT_BGRA : AV_PIX_FMT_YUV420P;
    const QString message = QString("源头: %1 目标: %2")
                                .arg(FFmpegHelper::getPixFormatName(sourceFormat),
                                     FFmpegHelper::getPixFormatName(targetFormat));
    qCInfo(lcOpen).noquote() << QString("%1 -> %2").arg("格式信息", message);
}
