#include "core_video/ffmpegvideothread.h"

#include "core_ffmpeg/ffmpeghelper.h"
#include "core_ffmpeg/mediatime.h"
#include "core_video/ffmpegvideothread_p.h"
#include "core_videobase/clock.h"
#include "core_videobase/freedmemory.h"
#include "core_videobase/shownaddress.h"
#include "core_videosave/savemp4ffmpeg.h"

#include <QLoggingCategory>
#include <QTransform>

extern "C" {
#include <libavutil/hwcontext.h>
#include <libavutil/mathematics.h>
#include <libavutil/samplefmt.h>
}

namespace {
Q_LOGGING_CATEGORY(lcLoop, "vantor.ffmpeg.loop")

constexpr int mostReadErrors = 3;
constexpr int defaultTimeoutMs = 3000;
constexpr qint64 waitSliceUs = 20000;
constexpr int mostImagesUnderWay = 3;
constexpr qint64 longestPaceGapUs = 10 * AV_TIME_BASE;
constexpr qint64 fallenBehindUs = AV_TIME_BASE;
constexpr qint64 positionStepMs = 200;
constexpr qint64 longestDamagedStartUs = 5 * AV_TIME_BASE;
constexpr double slowestSpeed = 0.1;
constexpr double fastestSpeed = 16.0;

qint64 limitMs(int setting) { return setting < 1 ? defaultTimeoutMs : setting; }
} // namespace

void FFmpegVideoThread::Source::close()
{
    videoIndex = -1;
    audioIndex = -1;
    packet.reset();
    assembler.reset();
    resampler.reset();
    decodedFrame.reset();
    audioFrame.reset();
    transferFrame.reset();
    audioBuffer.reset();
    videoCtx.reset();
    videoCodec = nullptr;
    audioCtx.reset();
    audioCodec = nullptr;
    options.clear();
    formatCtx.reset();
    nextDecodeTime = AV_NOPTS_VALUE;
    waitingForTime.clear();
    hasRecordedVideo = false;
    hasPackets = false;
    hasWholePicture = false;
    firstDamage = -1;
    playClock.reset();
    skipUntil = -1;
    reportedPosition = -1;
}

FFmpegVideoThread::FFmpegVideoThread(QObject* parent)
    : AbstractVideoThread(parent)
    , source(std::make_unique<Source>())
{
}

FFmpegVideoThread::~FFmpegVideoThread() { qDeleteAll(savers); }

void FFmpegVideoThread::setAddressTest(bool enable) { addressTest = enable; }

bool FFmpegVideoThread::getAddressTest() const { return addressTest; }

void FFmpegVideoThread::setInputFormat(const QString& name)
{
    const QMutexLocker lock(&mutex);
    inputFormat = name;
}

QString FFmpegVideoThread::getInputFormat() const
{
    const QMutexLocker lock(&mutex);
    return inputFormat;
}

void FFmpegVideoThread::setPaced(bool enable) { paced = enable; }

bool FFmpegVideoThread::getPaced() const { return paced; }

void FFmpegVideoThread::setFastStart(bool enable) { fastStart = enable; }

bool FFmpegVideoThread::getFastStart() const { return fastStart; }

bool FFmpegVideoThread::isReopening() const { return reopening; }

void FFmpegVideoThread::play()
{
    if (!isRunning())
        askedPosition = -1; // came too late for the run before
    AbstractVideoThread::play();
}

void FFmpegVideoThread::setPosition(qint64 milliseconds)
{
    AbstractVideoThread::setPosition(milliseconds);
    if (paced && isRunning())
        askedPosition = qMax<qint64>(0, milliseconds);
}

double FFmpegVideoThread::getSpeed() { return speed; }

void FFmpegVideoThread::setSpeed(double factor)
{
    if (factor >= slowestSpeed && factor <= fastestSpeed)
        speed = factor;
}

void FFmpegVideoThread::setSpeed(int factor) { setSpeed(static_cast<double>(factor)); }

void FFmpegVideoThread::seekFile(const QDateTime& when) { setPosition(when.time().msecsSinceStartOfDay()); }

bool FFmpegVideoThread::parseVideoUrl() { return true; }

int FFmpegVideoThread::getLatestRecordCodec(XVideoEncPara&, XAudioEncPara&) { return 0; }

int FFmpegVideoThread::interrupted(void* thread)
{
    return static_cast<FFmpegVideoThread*>(thread)->isOverdue() ? 1 : 0;
}

bool FFmpegVideoThread::isOverdue()
{
    if (isStopAsked()) {
        debug("", "主动停止");
        return true;
    }
    if (source->opening) {
        const qint64 elapsed = clock.load()->microseconds() - source->openStartTime;
        const qint64 limit = limitMs(connectTimeout) * 1000;
        if (elapsed <= limit)
            return false;
        timeoutHit = true;
        ++openTimeout;
        debug("打开超时", QString("设置: %1 当前: %2").arg(limit).arg(elapsed));
        return true;
    }
    if (source->reading) {
        const qint64 elapsed = millisecondsSinceUpdate();
        const qint64 limit = readLimitMs();
        if (elapsed <= limit)
            return false;
        timeoutHit = true;
        debug("读取超时", QString("设置: %1 当前: %2").arg(limit).arg(elapsed));
        return true;
    }
    return false;
}

/// After a fast start nobody has waited for a packet yet, and a server may take its time for the first one.
qint64 FFmpegVideoThread::readLimitMs() const
{
    const qint64 limit = limitMs(readTimeout);
    const bool isFirst = source->assembler && !source->hasPackets;
    return isFirst ? qMax<qint64>(limit, defaultTimeoutMs) : limit;
}

void FFmpegVideoThread::run()
{
    source->stopCountAtStart = stopCount;
    FFmpegHelper::initLib();

    Loop loop = Loop::Continue;
    while (loop == Loop::Continue && !isStopAsked()) {
        if (isOk)
            loop = readSource();
        else
            openSource();
    }

    const bool isReopenAsked = loop == Loop::Reconnect || (errorCount >= 2 && readTimeout >= 1);
    saveLastPicture();
    stopAllFiles();
    reopening = isReopenAsked && !isStopAsked();
    closeSource();
    isOk = false;
    reopening = false;

    if (isStopAsked() || !isReopenAsked) {
        qCInfo(lcLoop).noquote() << QString("%1 -> url: %2").arg("thread terminate", shownAddress(getVideoUrl()));
        return;
    }
    qCInfo(lcLoop).noquote() << QString("%1 -> url: %2").arg("reconnect", shownAddress(getVideoUrl()));
    restart();
}

bool FFmpegVideoThread::isStopAsked() const
{
    // Closing a source clears the flag, also that of a stop which arrives at that very moment; the count keeps it.
    return stopped || stopCount != source->stopCountAtStart;
}

void FFmpegVideoThread::openSource()
{
    reopening = true;
    stopAllFiles(); // times, size and codec of the next source are its own
    closeSource();
    reopening = false;
    source->openStartTime = clock.load()->microseconds();
    openVideo();
    checkOpen();

    XVideoEncPara video;
    XAudioEncPara audio;
    if (getLatestRecordCodec(video, audio) == 0) {
        source->videoPara = video;
        source->audioPara = audio;
    }
}

void FFmpegVideoThread::closeSource()
{
    const bool wasOpen = opened.exchange(false);
    if (wasOpen) {
        duration = 0;
        position = 0;
        videoWidth = 0;
        videoHeight = 0;
        rotate = 0;
        errorCount = 0;
        forgetSnapName();
        stopped = false;
        isOk = false;
        isPause = false;
        isSnap = false;
        Q_EMIT receivePlayFinsh(this);
    }
    keyFrameSeen = false;
    source->close();
    if (wasOpen)
        FreedMemory::giveBack();
}

FFmpegVideoThread::Loop FFmpegVideoThread::readSource()
{
    waitWhilePaused();
    seekIfAsked();

    source->reading = true;
    const int result = av_read_frame(source->formatCtx.get(), source->packet.get());
    source->reading = false;

    Loop loop = Loop::Reconnect;
    if (!hasEncodingChanged())
        loop = result < 0 ? finishRead(result) : handlePacket(source->packet.get());
    av_packet_unref(source->packet.get());
    return loop;
}

bool FFmpegVideoThread::hasEncodingChanged()
{
    XVideoEncPara video;
    XAudioEncPara audio;
    getLatestRecordCodec(video, audio);
    return (video.isValid() && video != source->videoPara) || (audio.isValid() && audio != source->audioPara);
}

FFmpegVideoThread::Loop FFmpegVideoThread::finishRead(int result)
{
    ++errorCount;
    qCCritical(lcLoop).noquote()
        << QString("error count: %1 why: %2").arg(errorCount).arg(FFmpegHelper::getError(result));
    return errorCount >= mostReadErrors ? Loop::End : Loop::Continue;
}

FFmpegVideoThread::Loop FFmpegVideoThread::handlePacket(AVPacket* packet)
{
    timeoutHit = false;
    errorCount = 0;
    source->hasPackets = true;
    updateTime();
    if (paced)
        paceAndReport(packet);

    Loop loop = Loop::Continue;
    if (source->assembler && packet->stream_index == source->videoIndex)
        loop = handlePiece(packet);
    else
        loop = showAndSave(packet);

    // The time that the displays took is not the source's.
    updateTime();
    return loop;
}

FFmpegVideoThread::Loop FFmpegVideoThread::handlePiece(const AVPacket* piece)
{
    source->assembler->add(piece);
    const Loop loop = handleWholePicture();
    if (loop != Loop::Continue || displayCount < 1)
        return loop;
    const AvPacketPtr early = source->assembler->takeEarly();
    if (!early)
        return Loop::Continue;
    source->isGuess = source->assembler->isFirst();
    const Loop shown = show(early.get());
    source->isGuess = false;
    return shown;
}

FFmpegVideoThread::Loop FFmpegVideoThread::handleWholePicture()
{
    const std::optional<PictureAssembler::WholePicture> whole = source->assembler->takeWhole();
    if (!whole)
        return Loop::Continue;
    AVPacket* picture = whole->packet.get();
    if (!whole->wasEarly)
        return showAndSave(picture);
    if (whole->wasTooSoon) {
        // The decoder has taken a part for the whole. A key frame mends that, this one or the next.
        avcodec_flush_buffers(source->videoCtx.get());
        keyFrameSeen = false;
        if (isKeyPicture(picture))
            return showAndSave(picture);
    }
    saveMP4(picture, isKeyPicture(picture));
    return Loop::Continue;
}

void FFmpegVideoThread::saveLastPicture()
{
    if (!source->assembler || !isOk)
        return;
    source->assembler->finish();
    const std::optional<PictureAssembler::WholePicture> whole = source->assembler->takeWhole();
    if (whole && whole->wasEarly && !whole->wasTooSoon) // it was shown, so it is recorded
        saveMP4(whole->packet.get(), isKeyPicture(whole->packet.get()));
}

bool FFmpegVideoThread::isKeyPicture(const AVPacket* packet) const
{
    return packet->stream_index == source->videoIndex && (packet->flags & AV_PKT_FLAG_KEY) != 0;
}

FFmpegVideoThread::Loop FFmpegVideoThread::showAndSave(AVPacket* packet)
{
    const Loop loop = show(packet);
    if (loop == Loop::Continue) // of another size or codec, it belongs to the next file
        saveMP4(packet, isKeyPicture(packet));
    return loop;
}

FFmpegVideoThread::Loop FFmpegVideoThread::show(const AVPacket* packet)
{
    // A paused live source is read on, so that nothing piles up; its picture goes on at the next key frame.
    if (displayCount < 1 || (isPause && !paced))
        keyFrameSeen = false;
    else if (!keyFrameSeen)
        keyFrameSeen = isKeyPicture(packet);

    if (isPause)
        deliverAgainWhilePaused();
    if (keyFrameSeen && packet->stream_index == source->videoIndex)
        return decodeVideo(packet);
    if (keyFrameSeen && packet->stream_index == source->audioIndex)
        decodeAudio(packet);
    return Loop::Continue;
}

void FFmpegVideoThread::waitWhilePaused()
{
    // A jump is finished first: the picture at the new place is to be seen.
    const bool isJumping = source->skipUntil >= 0 && displayCount >= 1;
    if (!paced || !isPause || isJumping)
        return;
    while (isPause && paced && !isStopAsked() && askedPosition < 0) {
        deliverAgainWhilePaused();
        clock.load()->sleep(waitSliceUs);
    }
    source->playClock.reset();
    updateTime();
}

void FFmpegVideoThread::seekIfAsked()
{
    const qint64 target = qMin(askedPosition.exchange(-1), MediaTime::farthest / 1000);
    if (target < 0)
        return;
    AVFormatContext* input = source->formatCtx.get();
    const qint64 first = input->start_time == AV_NOPTS_VALUE ? 0 : MediaTime::bounded(input->start_time);
    const int result = av_seek_frame(input, -1, first + target * 1000, AVSEEK_FLAG_BACKWARD);
    if (result < 0) {
        debug("定位失败", FFmpegHelper::getError(result));
        return;
    }
    stopAllFiles(); // times in a file only rise
    if (source->videoCtx)
        avcodec_flush_buffers(source->videoCtx.get());
    if (source->audioCtx)
        avcodec_flush_buffers(source->audioCtx.get());
    keyFrameSeen = false;
    source->nextDecodeTime = AV_NOPTS_VALUE;
    source->waitingForTime.clear();
    source->skipUntil = target;
    source->playClock.reset();
    updateTime();
}

void FFmpegVideoThread::paceAndReport(const AVPacket* packet)
{
    if (packet->dts == AV_NOPTS_VALUE)
        return;
    const qint64 time = timeOf(packet->dts, packet->stream_index);
    if (source->skipUntil >= 0 && time < source->skipUntil * 1000)
        return;

    PlayClock& play = source->playClock;
    const double factor = speed;
    const auto scaled = [&] { return static_cast<qint64>(time / factor); };
    const qint64 now = clock.load()->microseconds();
    const bool jumps = qAbs(time - play.lastTime) > longestPaceGapUs;
    if (!play.isSet || jumps || play.speed < factor || play.speed > factor
        || now - (play.start + scaled()) > fallenBehindUs) {
        play.isSet = true;
        play.speed = factor;
        play.start = now - scaled();
    }
    play.lastTime = time;

    // Long waits go in slices, so that a stop or a seek needn't wait for the packet.
    const auto hasNews = [&] { return isStopAsked() || askedPosition >= 0 || isPause; };
    while (!hasNews() && play.start + scaled() - clock.load()->microseconds() > waitSliceUs)
        clock.load()->sleep(waitSliceUs);
    if (!hasNews())
        FFmpegHelper::delay(*clock.load(), play.start, scaled(), AVRational{1, AV_TIME_BASE});

    const qint64 milliseconds = time / 1000;
    if (milliseconds < 0 || qAbs(milliseconds - source->reportedPosition) < positionStepMs)
        return;
    source->reportedPosition = milliseconds;
    position = milliseconds;
    Q_EMIT receivePosition(milliseconds);
}

FFmpegVideoThread::Loop FFmpegVideoThread::decodeVideo(const AVPacket* packet)
{
    const int result = FFmpegHelper::decode(this, source->videoCtx.get(), packet, source->decodedFrame.get(), true);
    if (result < 0)
        return Loop::Continue;

    const AVCodecContext* context = source->videoCtx.get();
    if (context->codec_id != source->videoCodecId || context->width != videoWidth || context->height != videoHeight) {
        source->isMisdescribed = true;
        isOk = false;
        return Loop::Reconnect;
    }
    // Of a picture that was taken for whole too soon the decoder has made up the rest; the picture itself follows.
    const bool isMadeUp = source->isGuess && source->decodedFrame->decode_error_flags != 0;
    if (isMadeUp)
        return Loop::Continue;
    if (isDamagedStart())
        keyFrameSeen = false;
    else if (!isBeforeTarget())
        deliverPicture();
    return Loop::Continue;
}

/// Where packets of the first key picture were lost, it and its group are mostly grey: the next key picture may be
/// whole. A source whose pictures are never quite right is shown in the end.
bool FFmpegVideoThread::isDamagedStart()
{
    if (source->hasWholePicture)
        return false;
    const qint64 now = clock.load()->microseconds();
    if (source->firstDamage < 0)
        source->firstDamage = now;
    const AVFrame* picture = source->decodedFrame.get();
    const bool isDamaged = picture->decode_error_flags != 0 || (picture->flags & AV_FRAME_FLAG_CORRUPT) != 0;
    source->hasWholePicture = !isDamaged || now - source->firstDamage > longestDamagedStartUs;
    return !source->hasWholePicture;
}

bool FFmpegVideoThread::isBeforeTarget()
{
    if (source->skipUntil < 0)
        return false;
    const qint64 stamp = source->decodedFrame->best_effort_timestamp;
    if (stamp != AV_NOPTS_VALUE && timeOf(stamp, source->videoIndex) < source->skipUntil * 1000)
        return true;
    source->skipUntil = -1;
    return false;
}

qint64 FFmpegVideoThread::timeOf(qint64 stamp, int streamIndex) const
{
    const AVFormatContext* input = source->formatCtx.get();
    const qint64 first = input->start_time == AV_NOPTS_VALUE ? 0 : MediaTime::bounded(input->start_time);
    return MediaTime::microseconds(stamp, input->streams[streamIndex]->time_base) - first;
}

void FFmpegVideoThread::deliverPicture()
{
    switch (videoMode.load()) {
    case VideoMode_Image: deliverImage(); break;
    case VideoMode_Opengl: deliverPlanes(); break;
    case VideoMode_D3d9:
    case VideoMode_D3d11: deliverSurface(); break;
    default: break;
    }
}

void FFmpegVideoThread::deliverPlanes()
{
    if (isHardwareDecoding())
        return;
    AVFrame* decoded = source->decodedFrame.get();
    const int angle = rotate;
    const bool isPlain = decoded->format == AV_PIX_FMT_YUV420P || decoded->format == AV_PIX_FMT_YUVJ420P;
    AvFramePtr picture = isPlain ? AvFramePtr(av_frame_clone(decoded)) : source->yuvConverter.convert(decoded);
    if (picture && (angle == 90 || angle == 180 || angle == 270)) {
        const bool swaps = angle != 180;
        AvFramePtr turned = source->yuvConverter.makePicture(swaps ? decoded->height : decoded->width,
                                                             swaps ? decoded->width : decoded->height);
        if (turned)
            FFmpegHelper::rotateFrame(angle, picture.get(), turned.get());
        picture = std::move(turned);
    }
    if (!picture)
        return;
    const quint32 lineY = static_cast<quint32>(picture->linesize[0]);
    const quint32 lineU = static_cast<quint32>(picture->linesize[1]);
    Q_EMIT receiveFrame(picture->width, picture->height, picture->data[0], picture->data[1], picture->data[2], lineY,
                        lineU, lineU);
    // Whoever shows the picture has its planes now; those of the one before it are free to go.
    source->deliveredFrame = std::move(picture);
    if (isSnap)
        writeSnapshot(toImage(decoded));
}

void FFmpegVideoThread::deliverImage()
{
    const AVFrame* picture = source->decodedFrame.get();
    if (isHardwareDecoding()) {
        av_frame_unref(source->transferFrame.get());
        if (av_hwframe_transfer_data(source->transferFrame.get(), picture, 0) < 0)
            return;
        picture = source->transferFrame.get();
    }
    if (isSnap)
        writeSnapshot(toImage(picture));
    // Images wait in the display's queue; behind a display that has no time for them they would fill the memory.
    const bool isOneShowing = isOneDisplayShowing();
    if (isOneShowing && imagesUnderWay >= mostImagesUnderWay)
        return;
    source->shrunkTimes = shrinkingFor(picture);
    const QImage image = toShrunkImage(picture, source->shrunkTimes);
    if (image.isNull())
        return;
    Q_EMIT receiveImage(image, 0);
    if (isOneShowing)
        countImageUnderWay();
}

/// The picture that stands still, when the display has come to need more of it than it got.
void FFmpegVideoThread::deliverAgainWhilePaused()
{
    const AVFrame* picture = source->decodedFrame.get();
    if (source->shrunkTimes > 0 && picture && picture->buf[0] && videoMode == VideoMode_Image
        && shrinkingFor(picture) < source->shrunkTimes)
        deliverImage();
}

/// How often a picture is to be halved before its colours are converted.
int FFmpegVideoThread::shrinkingFor(const AVFrame* picture) const
{
    const QSize painted = paintedSize;
    if (rotate != 0 || !isOneDisplayShowing())
        return 0;
    return PictureHalver::timesFor(picture, painted.width(), painted.height());
}

/// Whether the display that has said how large it paints is the only one that gets the images.
bool FFmpegVideoThread::isOneDisplayShowing() const
{
    return !paintedSize.load().isEmpty() && receivers(SIGNAL(receiveImage(QImage, int))) == 1;
}

/// The display's queue is served in order: when the count is taken back, the image before it has arrived.
void FFmpegVideoThread::countImageUnderWay()
{
    ++imagesUnderWay;
    QMetaObject::invokeMethod(
        this, [this] { --imagesUnderWay; }, Qt::QueuedConnection);
}

void FFmpegVideoThread::deliverSurface()
{
    if (!isHardwareDecoding())
        return;
    AVFrame* decoded = source->decodedFrame.get();
    if (videoMode == VideoMode_D3d9)
        Q_EMIT receiveFrame(decoded->width, decoded->height, decoded->data[3], false);
    else
        Q_EMIT receiveFrame(decoded->width, decoded->height, decoded->data[0],
                            static_cast<int>(reinterpret_cast<qintptr>(decoded->data[1])), false);
    source->deliveredFrame.reset(av_frame_clone(decoded));
    if (!isSnap)
        return;
    av_frame_unref(source->transferFrame.get());
    if (av_hwframe_transfer_data(source->transferFrame.get(), decoded, 0) >= 0)
        writeSnapshot(toImage(source->transferFrame.get()));
}

QImage FFmpegVideoThread::toImage(const AVFrame* picture)
{
    AvFramePtr pixels = source->rgbConverter.convert(picture);
    if (!pixels)
        return {};
    // The image keeps the pixels for as long as anybody has a copy of it.
    AVFrame* held = pixels.release();
    const QImage image(held->data[0], held->width, held->height, held->linesize[0], QImage::Format_RGB32,
                       [](void* frame) { FFmpegHelper::freeFrame(static_cast<AVFrame*>(frame)); }, held);
    const int angle = rotate;
    return angle == 0 ? image : image.transformed(QTransform().rotate(angle));
}

QImage FFmpegVideoThread::toShrunkImage(const AVFrame* picture, int times)
{
    if (times == 0)
        return toImage(picture);
    const AvFramePtr half = source->halver.halve(picture, times);
    if (!half)
        return {};
    QImage image = toImage(half.get());
    image.setDevicePixelRatio(1.0 / (1 << times));
    return image;
}

void FFmpegVideoThread::writeSnapshot(const QImage& image)
{
    if (image.isNull() || snapWritten.exchange(true))
        return;
    const QString name = getSnapName();
    if (!image.save(name, "jpg"))
        qCWarning(lcLoop).noquote() << QString("snapshot was not written: %1").arg(name);
    QMetaObject::invokeMethod(this, "snapFinsh");
}

bool FFmpegVideoThread::followAudioFormat()
{
    const AVFrame* frame = source->audioFrame.get();
    const AudioInput input{channelsOf(frame), frame->format, frame->sample_rate};
    return input == source->resamplerInput || buildResampler(input);
}

void FFmpegVideoThread::decodeAudio(const AVPacket* packet)
{
    AVFrame* frame = source->audioFrame.get();
    if (FFmpegHelper::decode(this, source->audioCtx.get(), packet, frame, false) < 0)
        return;
    if (source->skipUntil >= 0 || !followAudioFormat())
        return;
    constexpr int channels = 2;
    constexpr int frameBytes = channels * 2;
    quint8* out = source->audioBuffer.get();
    constexpr int room = audioBufferBytes / frameBytes;
    const int samples = swr_convert(source->resampler.get(), &out, room,
                                    const_cast<const quint8**>(frame->extended_data), frame->nb_samples);
    if (samples <= 0)
        return;
    const int bytes = av_samples_get_buffer_size(nullptr, channels, samples, AV_SAMPLE_FMT_S16, 1);
    Q_EMIT receiveAudio(QByteArray(reinterpret_cast<const char*>(out), bytes));
}
