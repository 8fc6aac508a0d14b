#include "core_video/pvprotovideothread.h"

#include "core_ffmpeg/ffmpeghelper.h"
#include "core_videobase/freedmemory.h"
#include "devnet/xnettypes.h"

#include <QLoggingCategory>

#include <cstring>

namespace {
Q_LOGGING_CATEGORY(lcLoop, "vantor.device.loop")

constexpr int timeoutsReported = 6;
constexpr int mostReadErrors = 3;
constexpr qint64 pauseSliceUs = 50000;
constexpr int connectStepMs = 100;
constexpr qint64 idleSliceUs = 10000;

/// How long renderers are given to let go of a decoder that is replaced.
constexpr int decoderChangeMs = 100;

unsigned char* payloadOf(XFrameHeader* frame)
{
    return reinterpret_cast<unsigned char*>(frame) + offsetof(XFrameHeader, data);
}

int videoCodecOf(quint32 codecId)
{
    switch (codecId) {
    case 0: return 1;
    case 1: return 2;
    default: qCWarning(lcLoop, " code_id = %d", static_cast<int>(codecId)); return 0;
    }
}

int audioCodecOf(quint32 codecId)
{
    switch (codecId) {
    case 3: return 33;
    case 4: return 34;
    default: qCWarning(lcLoop, " code_id = %d", static_cast<int>(codecId)); return 0;
    }
}

/// The name as far as the record of a decoder holds it.
QByteArray storedName(const QString& hardware)
{
    return hardware.toUtf8().left(sizeof(_tag_vdec_param_s::hardware));
}

QByteArray nameIn(const _tag_vdec_param_s& param)
{
    return QByteArray(param.hardware, static_cast<int>(qstrnlen(param.hardware, sizeof param.hardware)));
}

/// An empty name is software as well, for mediaproc and so for whoever reads its planes.
bool isSoftware(const _tag_vdec_param_s& param)
{
    const QByteArray name = nameIn(param);
    return name.isEmpty() || name == "none";
}
} // namespace

PvProtoVideoThread::PvProtoVideoThread(QObject* parent)
    : AbstractVideoThread(parent)
{
    recordAudio.channels = 0;
}

PvProtoVideoThread::~PvProtoVideoThread() = default;

void PvProtoVideoThread::setReadTimeout(int milliseconds)
{
    AbstractVideoThread::setReadTimeout(milliseconds / timeoutsReported);
}

void PvProtoVideoThread::pause()
{
    if (isRunning())
        isPause = true;
}

void PvProtoVideoThread::next()
{
    if (isRunning())
        isPause = false;
}

void PvProtoVideoThread::run()
{
    beginRun();
    FFmpegHelper::initLib(); // the recorders' FFmpeg speaks through the library's log alone
    openTimeout = 0;
    errorCount = 0;
    const std::unique_ptr<unsigned char[]> buffer = makeFrameBuffer();
    auto* frame = reinterpret_cast<XFrameHeader*>(buffer.get());

    Loop loop = Loop::Continue;
    while (loop == Loop::Continue && !isStopAsked()) {
        if (isPause)
            clock.load()->sleep(pauseSliceUs);
        else if (!isOk)
            openStream();
        else
            loop = readStream(frame);
    }

    closeAllMP4();
    closeVideo();
    isOk = false;
}

std::unique_ptr<unsigned char[]> PvProtoVideoThread::makeFrameBuffer()
{
    // Left unwritten but for the header, so that only the pages that frames reach become memory of the process.
    std::unique_ptr<unsigned char[]> buffer(new unsigned char[XFrameHeader::bufferSize]);
    std::memset(buffer.get(), 0, sizeof(XFrameHeader));
    return buffer;
}

void PvProtoVideoThread::beginRun() { stopsSeen = stopCount; }

bool PvProtoVideoThread::isStopAsked() const
{
    // Closing a stream clears the flag, also that of a stop which arrives at that very moment; the count keeps it.
    return stopped || stopCount != stopsSeen;
}

void PvProtoVideoThread::openStream()
{
    closeVideo();
    openVideo();
    checkOpen();
    if (isOk)
        openTimeout = 0;
    else
        ++openTimeout;
}

PvProtoVideoThread::Loop PvProtoVideoThread::readStream(XFrameHeader* frame)
{
    switch (readFrame(frame, readTimeout)) {
    case 0:
        timeoutHit = false;
        timeoutCount = 0;
        errorCount = 0;
        takeFrame(frame);
        return Loop::Continue;
    case -2:
        waitAgain();
        return Loop::Continue;
    default:
        qCCritical(lcLoop, "read frame error");
        return ++errorCount > mostReadErrors ? Loop::End : Loop::Continue;
    }
}

void PvProtoVideoThread::waitAgain()
{
    qCInfo(lcLoop, "read frame timeout");
    if (++timeoutCount >= timeoutsReported)
        timeoutHit = true;
    if (readTimeout < 1) // the device does not wait, so somebody has to
        clock.load()->sleep(idleSliceUs);
    initInput();
}

void PvProtoVideoThread::takeFrame(XFrameHeader* frame)
{
    if (!isInBuffer(*frame))
        return;
    if (displayCount < 1) {
        keyFrameSeen = false;
        handlePreviewClose();
    } else {
        decodeFrame(frame);
    }
    beforeSaveMP4(frame);
    saveMP4(frame);
}

bool PvProtoVideoThread::isInBuffer(const XFrameHeader& frame)
{
    if (frame.length <= XFrameHeader::largestPayload)
        return true;
    qCWarning(lcLoop, "a frame of %u bytes does not fit its buffer", frame.length);
    return false;
}

void PvProtoVideoThread::decodeFrame(XFrameHeader* frame)
{
    if (!isBehindKeyFrame(*frame))
        return;
    if (frame->frameType <= XFrameHeader::LastVideoFrame)
        decodeVideo(frame);
    else if (frame->frameType == XFrameHeader::AudioFrame)
        decodeAudio(frame);
}

bool PvProtoVideoThread::isBehindKeyFrame(const XFrameHeader& frame)
{
    if (!keyFrameSeen)
        keyFrameSeen = frame.frameType == XFrameHeader::VideoKeyFrame;
    return keyFrameSeen;
}

bool PvProtoVideoThread::openVideo()
{
    if (!checkConnect())
        return false;
    initOption();
    if (!initInput())
        return false;
    initOther();
    isOk = true;
    Q_EMIT receivePlayStart(0);
    return true;
}

void PvProtoVideoThread::closeVideo()
{
    if (codec) {
        freeDecoders();
        codec->destroyAudioEncoder();
    }
    const bool wasOpen = opened.exchange(false);
    if (wasOpen) {
        recordDate = QDate();
        duration = 0;
        position = 0;
        videoWidth = 0;
        videoHeight = 0;
        rotate = 0;
        forgetSnapName();
        stopped = false;
        isOk = false;
        isPause = false;
        isSnap = false;
        Q_EMIT receivePlayFinsh(this);
    }
    keyFrameSeen = false;
    if (wasOpen)
        FreedMemory::giveBack();
}

void PvProtoVideoThread::initOption() { codec = std::make_unique<MediaCodec>(); }

bool PvProtoVideoThread::initInput() { return true; }

void PvProtoVideoThread::initOther()
{
    videoParam = {};
    audioParam = {};
    recordVideo = XVideoEncPara{};
    recordAudio = XAudioEncPara{};
    recordAudio.channels = 0;
    parameterSets.clear();
    yuvFrame = {};
    rgbFrame = {};
    pcmFrame = {};
    lastVideoHeader = {};
    lastAudioHeader = {};
}

bool PvProtoVideoThread::checkConnect() { return true; }

int PvProtoVideoThread::waitForStatus(const std::function<int()>& ask)
{
    int status = 0;
    for (int tries = connectTimeout / connectStepMs; tries > 0 && !isStopAsked(); --tries) {
        status = ask();
        if (status == XChannelStatus_Connected)
            break;
        clock.load()->sleep(connectStepMs * 1000);
    }
    return status;
}

void PvProtoVideoThread::handlePreviewClose() {}

void PvProtoVideoThread::beforeSaveMP4(XFrameHeader*) {}

int PvProtoVideoThread::getLatestRecordCodec(XVideoEncPara&, XAudioEncPara&) { return -1; }

void PvProtoVideoThread::decodeVideo(XFrameHeader* frame)
{
    if (!codec) {
        qCWarning(lcLoop, "codec is null");
        return;
    }
    const bool isKey = frame->frameType == XFrameHeader::VideoKeyFrame;
    const bool codecChanged = isKey && !isVideoDecoderFitting(*frame);
    if (codecChanged)
        createVideoDecoder(*frame);

    const bool isImageWanted = isSnap || videoMode == VideoMode_Image;
    rgbFrame = {};
    if (codec->decodeVideoFrame(payloadOf(frame), frame->length, isKey ? 1 : 0, frame->timestamp, &yuvFrame,
                                isImageWanted ? &rgbFrame : nullptr))
        afterDecodeVideo(codecChanged);
    else
        qCWarning(lcLoop, "decode video frame failed");
}

bool PvProtoVideoThread::isVideoDecoderFitting(const XFrameHeader& frame) const
{
    return frame.codecId == lastVideoHeader.codecId && frame.width == lastVideoHeader.width
        && frame.height == lastVideoHeader.height && storedName(getHardware()) == nameIn(videoParam)
        && !codec->isVideoDecoderNull();
}

void PvProtoVideoThread::createVideoDecoder(const XFrameHeader& frame)
{
    if (!codec->isVideoDecoderNull())
        destroyVideoDecoder(decoderChangeMs);
    const QByteArray hardwareName = storedName(getHardware());
    videoParam = {};
    videoParam.codec = videoCodecOf(frame.codecId);
    videoParam.width = static_cast<qint32>(frame.width);
    videoParam.height = static_cast<qint32>(frame.height);
    std::memcpy(videoParam.hardware, hardwareName.constData(), static_cast<size_t>(hardwareName.size()));
    if (!codec->createVideoDecoder(videoParam)) {
        qCCritical(lcLoop, "mediaproc_create_video_decoder failed");
        return;
    }
    if (videoParam.width != videoWidth || videoParam.height != videoHeight) {
        videoWidth = videoParam.width;
        videoHeight = videoParam.height;
        Q_EMIT receiveSizeChanged();
    }
    lastVideoHeader = frame;
    Q_EMIT receiveCodecChanged();
}

void PvProtoVideoThread::destroyVideoDecoder(int pauseMs)
{
    planesDelivered = false;
    Q_EMIT sig_decoderDestroyed();
    clock.load()->sleep(pauseMs * qint64(1000));
    codec->destroyVideoDecoder();
}

void PvProtoVideoThread::freeDecoders()
{
    if (!codec)
        return;
    if (!codec->isVideoDecoderNull())
        destroyVideoDecoder();
    codec->destroyAudioDecoder();
}

void PvProtoVideoThread::afterDecodeVideo(bool codecChanged)
{
    if (!yuvFrame.plane[0]) // the decoder waits for more
        return;
    const VideoMode mode = videoMode;
    if (mode == VideoMode_Image) {
        takeBackPlanes();
        decodeImage();
    } else if (mode == VideoMode_Opengl || mode == VideoMode_D3d9 || mode == VideoMode_D3d11) {
        deliverPlanes(mode, codecChanged);
        if (isSnap)
            decodeImage();
    } else {
        takeBackPlanes();
    }
}

/// The form is that of the decoder in use: a new hardware name counts from the next key frame on.
void PvProtoVideoThread::deliverPlanes(VideoMode mode, bool codecChanged)
{
    const _tag_yuv_frame_s& picture = yuvFrame;
    const auto lumaSize = static_cast<quint32>(picture.y_stride);
    const auto chromaSize = static_cast<quint32>(picture.uv_stride);
    const bool inSoftware = isSoftware(videoParam);
    if (inSoftware && mode != VideoMode_Opengl) {
        takeBackPlanes();
        return;
    }
    planesDelivered = true;
    if (mode == VideoMode_D3d9)
        Q_EMIT receiveFrame(picture.width, picture.height, picture.plane[0], codecChanged);
    else if (mode == VideoMode_D3d11)
        Q_EMIT receiveFrame(picture.width, picture.height, picture.plane[0], picture.y_stride, codecChanged);
    else if (inSoftware)
        Q_EMIT receiveFrame(picture.width, picture.height, picture.plane[0], picture.plane[1], picture.plane[2],
                            lumaSize, chromaSize, chromaSize);
    else
        Q_EMIT receiveFrame(picture.width, picture.height, picture.plane[0], picture.plane[1], lumaSize, chromaSize);
}

/// The decoder keeps a picture until the one after the next. A display that was handed planes and gets none any more,
/// because another one has changed the video mode, must not paint them after that.
void PvProtoVideoThread::takeBackPlanes()
{
    if (!planesDelivered)
        return;
    planesDelivered = false;
    Q_EMIT sig_decoderDestroyed();
}

void PvProtoVideoThread::decodeImage()
{
    if (!rgbFrame.data) // asked for while the picture was being decoded: the next one serves
        return;
    if (isSnap.exchange(false))
        writeSnapshot();
    if (videoMode == VideoMode_Image)
        showImage();
}

/// The decoder's own pixels.
QImage PvProtoVideoThread::rgbPicture() const
{
    return QImage(rgbFrame.data, rgbFrame.width, rgbFrame.height, rgbFrame.stride, QImage::Format_RGB888);
}

void PvProtoVideoThread::writeSnapshot()
{
    const QString name = getSnapName();
    if (!rgbPicture().save(name, "jpg"))
        qCWarning(lcLoop).noquote() << QString("snapshot was not written: %1").arg(name);
    snapWritten = true;
    QMetaObject::invokeMethod(this, "snapFinsh");
}

void PvProtoVideoThread::showImage()
{
    Q_EMIT receiveImage(rgbPicture().copy(), 0); // outlives the decoder's next picture on the way to its display
}

void PvProtoVideoThread::decodeAudio(XFrameHeader* frame)
{
    if (!codec) {
        qCWarning(lcLoop, "codec is null");
        return;
    }
    if (!isAudioDecoderFitting(*frame) && !createAudioDecoder(*frame))
        return;
    if (codec->decodeAudioFrame(payloadOf(frame), frame->length, frame->timestamp, &pcmFrame))
        afterDecodeAudio();
    else
        qCWarning(lcLoop, "decode audio frame failed");
}

bool PvProtoVideoThread::isAudioDecoderFitting(const XFrameHeader& frame) const
{
    return frame.sampleRate == lastAudioHeader.sampleRate && frame.bitWidth == lastAudioHeader.bitWidth
        && frame.channels == lastAudioHeader.channels && frame.codecId == lastAudioHeader.codecId
        && !codec->isAudioDecoderNull();
}

bool PvProtoVideoThread::createAudioDecoder(const XFrameHeader& frame)
{
    if (!codec->isAudioDecoderNull()) {
        clock.load()->sleep(decoderChangeMs * qint64(1000));
        codec->destroyAudioDecoder();
    }
    audioParam = {};
    audioParam.codec = audioCodecOf(frame.codecId);
    audioParam.sample_rate = static_cast<qint32>(frame.sampleRate);
    audioParam.bit_width = static_cast<qint32>(frame.bitWidth);
    audioParam.channels = static_cast<qint32>(frame.channels);
    sampleRate = audioParam.sample_rate;
    channelCount = audioParam.channels;
    if (!codec->createAudioDecoder(audioParam)) {
        qCCritical(lcLoop, "create audio decoder failed [sample_rate:%d, bit_width:%d, channels:%d]",
                   audioParam.sample_rate, audioParam.bit_width, audioParam.channels);
        return false;
    }
    lastAudioHeader = frame;
    announceAudioFormat(audioParam.sample_rate, audioParam.channels, audioParam.bit_width);
    return true;
}

void PvProtoVideoThread::afterDecodeAudio()
{
    Q_EMIT receiveAudio(
        QByteArray(reinterpret_cast<const char*>(pcmFrame.data), static_cast<int>(pcmFrame.length)));
}
