#include "core_videosave/savemp4ffmpeg.h"

#include "aacencoder/easyaacencoder.h"
#include "core_ffmpeg/annexb.h"
#include "core_ffmpeg/ffmpegcompat.h"
#include "core_ffmpeg/ffmpeghelper.h"
#include "core_ffmpeg/ffmpegptr.h"
#include "core_ffmpeg/h265parameters.h"
#include "core_videosave/adts.h"
#include "core_videosave/alaw.h"
#include "core_videosave/countingsemaphore.h"
#include "core_videosave/leadingpackets.h"
#include "core_videosave/outputcontext.h"
#include "core_videosave/recordingloss.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QLoggingCategory>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstddef>
#include <cstring>
#include <deque>
#include <limits>
#include <mutex>
#include <vector>

extern "C" {
#include <libavutil/common.h>
#include <libavutil/mathematics.h>
#include <libavutil/opt.h>
}

namespace {
Q_LOGGING_CATEGORY(lcMp4, "vantor.save.mp4")

constexpr size_t longestQueue = 100;

/// Between two key frames the muxer only collects, so packets may as well wait for each other: waking the recorder
/// thread for each is most of what a recording costs above its muxer. No longer than this, and no more of them.
constexpr int longestRestMs = 2000;
constexpr size_t mostResting = 50;

constexpr size_t aacBufferBytes = 16384;
constexpr int encoderBits = 16;
constexpr int outputFrameSize = 320;

/// Of this much input the encoder completes two frames at most, which fit in the buffer with room to spare.
constexpr int encoderInputBytes = 1600;

/// Device time stamps in milliseconds.
constexpr quint64 longestStepMs = 1000;
constexpr quint64 joinedStepMs = 500;
constexpr quint64 pictureMs = 40;
constexpr quint64 noticedStepMs = 300;

/// As the decode time before the first picture.
constexpr qint64 beforeAllTimes = std::numeric_limits<qint64>::min();

/// Samples by which a frame may come late without a gap in the sound.
constexpr qint64 longestAudioWait = 2 * Adts::samplesPerFrame;

constexpr auto rounding = static_cast<AVRounding>(AV_ROUND_NEAR_INF | AV_ROUND_PASS_MINMAX);

constexpr char queueFull[] = "the queue was full";

constexpr char saveVideoError[] = "write video [%1:%2][pts:%3][%4]";
constexpr char saveAudioError[] = "write audio [%1:%2][pts:%3][%4]";
constexpr char drainVideoError[] = "write video[%1:%2]";
constexpr char drainAudioError[] = "write audio[%1:%2]";

struct ReleaseEncoder
{
    void operator()(Easy_AACEncoder* encoder) const { Easy_AACEncoder_Release(encoder); }
};
using AacEncoderPtr = std::unique_ptr<Easy_AACEncoder, ReleaseEncoder>;

uint8_t encoderInputOf(int codec)
{
    switch (codec) {
    case 33: return EASY_AACENCODER_G711A;
    case 34: return EASY_AACENCODER_G711U;
    default: return EASY_AACENCODER_PCM16;
    }
}

enum class Content { Nothing, DelimiterAlone, Picture };

bool isDelimiter(AVCodecID codec, const AnnexB::Unit& unit)
{
    constexpr int h264Delimiter = 9;
    constexpr int h265Delimiter = 35;
    return codec == AV_CODEC_ID_HEVC ? unit.h265Type() == h265Delimiter : unit.type() == h264Delimiter;
}

/// What is behind the start codes.
Content contentOf(const AVPacket* packet, AVCodecID codec)
{
    Content content = Content::Nothing;
    for (AnnexB::Reader reader(packet->data, size_t(packet->size)); reader.next();) {
        if (!isDelimiter(codec, reader.openUnit()))
            return Content::Picture;
        content = Content::DelimiterAlone;
    }
    return content;
}

/// Whether the muxer turns start codes into lengths.
bool isAnnexB(const uint8_t* extradata, int size) { return size == 0 || extradata[0] != 1; }

/// Empty for broken H.265 parameter sets between start codes: the pictures may have better ones.
QByteArray usableExtradata(AVCodecID codec, const QByteArray& bytes)
{
    const auto* data = reinterpret_cast<const uint8_t*>(bytes.constData());
    if (bytes.isEmpty() || codec != AV_CODEC_ID_HEVC || !isAnnexB(data, bytes.size())
        || H265Parameters::areReadable(data, size_t(bytes.size())))
        return bytes;
    qCWarning(lcMp4, "the source's H.265 parameter sets are broken; those in its pictures are waited for");
    return {};
}

bool setExtradataOf(AVCodecParameters* parameters, const QByteArray& bytes)
{
    return bytes.isEmpty() || setExtradata(parameters, bytes.constData(), size_t(bytes.size()));
}
} // namespace

/// The output and what feeds it. Between init() and the end of close() the recorder thread's, except for the queue.
struct SaveMp4FFmpeg::Writer
{
    struct Queued
    {
        AvPacketPtr packet;
        RecordingLoss::Time arrival;
    };

    std::mutex queueMutex;
    std::deque<Queued> packetQueue; // guarded by queueMutex
    CountingSemaphore saveSemaphore;

    OutputContext format;
    LeadingPackets leading;
    BsfContextPtr bsf;
    AacEncoderPtr aacEncoder;
    std::vector<uint8_t> aacBuffer = std::vector<uint8_t>(aacBufferBytes);

    // Constant between init() and close().
    std::atomic<int> videoIndex{-1};
    std::atomic<int> audioIndex{-1};
    std::atomic<int> streamCount{0}; // 0 while no output is open
    XAudioEncPara audioPara;
    int readTimeout = 0;
    AVRational videoTimeBase{0, 1};
    AVRational audioTimeBase{0, 1};

    AvPacketPtr heldPicture; // until it is known how long it lasts, while there was no sound
    bool hasWrittenVideo = false;
    bool hasWrittenAudio = false;
    bool isHeadEarly = false; // written before there was sound
    qint64 nextAudioDts = AV_NOPTS_VALUE; // in the time base of the stream
    int framesInFragment = 0; // of sound alone
    bool isFileGone = false;
    std::atomic<bool> hasFileError{false};
    std::atomic<bool> isEmpty{true};
    RecordingLoss loss;
    RecordingLoss::Time arrival = 0; // of the packet that was taken last

    /// The group before it is not on the disk until the next packet comes.
    bool holdsKeyPicture() const { return heldPicture && (heldPicture->flags & AV_PKT_FLAG_KEY) != 0; }

    size_t queued()
    {
        const std::lock_guard<std::mutex> lock(queueMutex);
        return packetQueue.size();
    }

    AvPacketPtr take()
    {
        const std::lock_guard<std::mutex> lock(queueMutex);
        if (packetQueue.empty())
            return nullptr;
        AvPacketPtr packet = std::move(packetQueue.front().packet);
        arrival = packetQueue.front().arrival;
        packetQueue.pop_front();
        return packet;
    }

    void clearQueue()
    {
        const std::lock_guard<std::mutex> lock(queueMutex);
        packetQueue.clear();
    }
};

SaveMp4FFmpeg::SaveMp4FFmpeg(QObject* parent)
    : AbstractSaveThread(parent)
    , writer(std::make_unique<Writer>())
{
}

SaveMp4FFmpeg::~SaveMp4FFmpeg() { SaveMp4FFmpeg::stop(); }

void SaveMp4FFmpeg::loseWithoutFile(bool video) { writer->loss.loseWithoutFile(video); }

void SaveMp4FFmpeg::endLoss() { tellLoss(writer->loss.end()); }

void SaveMp4FFmpeg::setExtradata(const QByteArray& video) { videoExtradata = video; }

AVCodecID SaveMp4FFmpeg::codecIdOf(int codec)
{
    switch (codec) {
    case 1: return AV_CODEC_ID_H264;
    case 2: return AV_CODEC_ID_HEVC;
    case 33: return AV_CODEC_ID_PCM_ALAW;
    case 34: return AV_CODEC_ID_PCM_MULAW;
    case 35: return AV_CODEC_ID_PCM_S16LE;
    default: return AV_CODEC_ID_NONE;
    }
}

bool SaveMp4FFmpeg::hasAudio() const { return writer->audioIndex >= 0; }

bool SaveMp4FFmpeg::isQueueFull() const { return writer->queued() >= longestQueue; }

bool SaveMp4FFmpeg::hasFileError() const { return writer->hasFileError; }

bool SaveMp4FFmpeg::isEmpty() const { return writer->isEmpty; }

void SaveMp4FFmpeg::setPara(XVideoEncPara vcodecPar, XAudioEncPara acodecPar, int timeout)
{
    videoPara = vcodecPar;
    audioPara = acodecPar;
    readTimeout = timeout;
}

void SaveMp4FFmpeg::setTimebase(AVRational vTimebase) { timebase = vTimebase; }

void SaveMp4FFmpeg::setJoin(bool enable) { join = enable; }

bool SaveMp4FFmpeg::isVideoRecordable() const
{
    return (videoPara.codec == 1 || videoPara.codec == 2) && videoPara.width >= 1 && videoPara.height >= 1;
}

bool SaveMp4FFmpeg::isAudioRecordable() const
{
    return audioPara.codec >= 33 && audioPara.codec <= 35 && audioPara.sampleRate >= 1 && audioPara.bitWidth >= 1
        && audioPara.channels >= 1;
}

// --- Opening

bool SaveMp4FFmpeg::init()
{
    const QString name = fileName();
    if (name.isEmpty()) {
        qCCritical(lcMp4).noquote() << "file name is empty";
        return false;
    }
    writer->clearQueue();
    writer->audioPara = audioPara;
    writer->readTimeout = readTimeout;
    started = false;
    lastVideoDts = beforeAllTimes;
    if (!writer->saveSemaphore.reset()) {
        qCCritical(lcMp4).noquote() << "CreateSemaphore NULL";
        return false;
    }
    writer->loss.beginFile();
    QDir().mkpath(QFileInfo(name).absolutePath());
    if (createMp4(name.toUtf8().constData()) != 0) {
        qCCritical(lcMp4).noquote() << QString("could not create %1").arg(name);
        writer->loss.fail("the file could not be created");
        return false;
    }
    return !isAudioRecordable() || openEncoder();
}

bool SaveMp4FFmpeg::openEncoder()
{
    Easy_AACEncoder_Record record = {};
    record.audioCodec = encoderInputOf(audioPara.codec);
    record.channels = static_cast<uint8_t>(audioPara.channels);
    record.sampleRate = static_cast<uint32_t>(audioPara.sampleRate);
    record.pcmBitSize = encoderBits;
    writer->aacEncoder.reset(Easy_AACEncoder_Init(record));
    if (!writer->aacEncoder)
        qCCritical(lcMp4).noquote() << "could not open the AAC encoder";
    return writer->aacEncoder != nullptr;
}

int SaveMp4FFmpeg::createMp4(const char* name)
{
    writer->bsf.reset();
    writer->format.reset();
    writer->videoIndex = -1;
    writer->audioIndex = -1;
    writer->streamCount = 0;
    writer->hasWrittenVideo = false;
    writer->hasWrittenAudio = false;
    writer->isHeadEarly = false;
    writer->nextAudioDts = AV_NOPTS_VALUE;
    writer->heldPicture.reset();
    writer->framesInFragment = 0;
    writer->hasFileError = false;
    writer->isEmpty = true;
    writer->isFileGone = false;

    if (!writer->format.allocate(nullptr, name)) {
        qCWarning(lcMp4).noquote() << "Could not deduce output format from file extension: using MPEG.";
        if (!writer->format.allocate("mpeg", name)) {
            qCCritical(lcMp4).noquote() << "avformat_alloc_output_context2 fail";
            return failCreation(1);
        }
    }
    if (isVideoRecordable() && !addVideoStream()) {
        qCCritical(lcMp4).noquote() << "addStream video fail";
        return failCreation(2);
    }
    if (isAudioRecordable()) {
        if (!openFilter())
            return failCreation(3);
        if (!addAudioStream()) {
            qCCritical(lcMp4).noquote() << "addStream audio fail";
            return failCreation(4);
        }
    }
    if (writer->format.openFile(name) < 0) {
        qCCritical(lcMp4, "could not open %s", name);
        return failCreation(5);
    }
    return writeHeader();
}

int SaveMp4FFmpeg::failCreation(int error)
{
    writer->bsf.reset();
    writer->format.reset();
    qCCritical(lcMp4, "createMp4 err = %d", error);
    return -1;
}

int SaveMp4FFmpeg::writeHeader()
{
    AvDictionary options;
    options.set("movflags", "frag_keyframe+delay_moov");
    // A fragment reaches the file when it is complete, not when the next one pushes it out.
    writer->format->flags |= AVFMT_FLAG_FLUSH_PACKETS;
    const int result = avformat_write_header(writer->format.get(), options.address());
    if (result < 0) {
        qCCritical(lcMp4).noquote() << QString("Error occurred when opening output file : %1")
                                           .arg(FFmpegHelper::getError(result));
        const int failed = failCreation(6);
        removeEmptyFile(fileName());
        return failed;
    }
    if (writer->videoIndex >= 0)
        writer->videoTimeBase = writer->format->streams[writer->videoIndex]->time_base;
    if (writer->audioIndex >= 0)
        writer->audioTimeBase = writer->format->streams[writer->audioIndex]->time_base;
    writer->streamCount = static_cast<int>(writer->format->nb_streams);
    return 0;
}

bool SaveMp4FFmpeg::openFilter()
{
    const AVBitStreamFilter* filter = av_bsf_get_by_name("aac_adtstoasc");
    AVBSFContext* context = nullptr;
    if (!filter || av_bsf_alloc(filter, &context) < 0)
        return false;
    writer->bsf.reset(context);
    context->par_in->codec_type = AVMEDIA_TYPE_AUDIO;
    context->par_in->codec_id = AV_CODEC_ID_AAC;
    return av_bsf_init(context) >= 0;
}

AVStream* SaveMp4FFmpeg::addStream(AVFormatContext* context, AVCodecID codecId)
{
    const AVCodec* codec = avcodec_find_decoder(codecId);
    if (!codec) {
        qCCritical(lcMp4, "could not find encoder for '%s'", avcodec_get_name(codecId));
        return nullptr;
    }
    AVStream* stream = avformat_new_stream(context, nullptr);
    if (!stream) {
        qCCritical(lcMp4).noquote() << "could not allocate stream";
        return nullptr;
    }
    stream->id = stream->index;
    stream->codecpar->codec_id = codecId;
    stream->codecpar->codec_type = codec->type;
    stream->codecpar->codec_tag = 0;
    return stream;
}

bool SaveMp4FFmpeg::addVideoStream()
{
    AVStream* stream = addStream(writer->format.get(), codecIdOf(videoPara.codec));
    if (!stream)
        return false;
    stream->codecpar->width = videoPara.width;
    stream->codecpar->height = videoPara.height;
    writer->videoIndex = stream->index;
    if (!setExtradataOf(stream->codecpar, usableExtradata(stream->codecpar->codec_id, videoExtradata)))
        return false;
    writer->leading.begin(stream->codecpar->codec_id, stream->codecpar->extradata_size > 0);
    return true;
}

bool SaveMp4FFmpeg::addAudioStream()
{
    AVStream* stream = addStream(writer->format.get(), AV_CODEC_ID_AAC);
    if (!stream)
        return false;
    AVCodecParameters* parameters = stream->codecpar;
    parameters->sample_rate = audioPara.sampleRate;
    setFrontChannels(parameters, audioPara.channels);
    // Damaged headers of frames may say anything.
    const int64_t bitsAtOnce = qMin<int64_t>(static_cast<int64_t>(audioPara.bitWidth) * audioPara.channels, INT_MAX);
    parameters->bit_rate = bitsAtOnce * audioPara.sampleRate;
    parameters->frame_size = outputFrameSize;
    writer->audioIndex = stream->index;
    // Known before the first sound comes, so that pictures needn't wait for it.
    return setExtradataOf(parameters, Adts::audioSpecificConfig(audioPara.sampleRate, audioPara.channels));
}

// --- Stamping and queueing, on the producer's thread

void SaveMp4FFmpeg::writeData(XFrameHeader* frame)
{
    if (!frame)
        return;
    const bool isVideo = frame->frameType <= XFrameHeader::LastVideoFrame;
    const bool isAudio = frame->frameType == XFrameHeader::AudioFrame;
    const int index = isVideo ? writer->videoIndex.load() : isAudio ? writer->audioIndex.load() : -1;
    if (index < 0 || index >= writer->streamCount) {
        qCWarning(lcMp4, "videoIndex = %d, audioIndex = %d", writer->videoIndex.load(), writer->audioIndex.load());
        return;
    }
    AvPacketPtr packet = makePacket();
    if (!packet || frame->length > XFrameHeader::largestPayload
        || av_new_packet(packet.get(), static_cast<int>(frame->length)) < 0) {
        qCCritical(lcMp4).noquote() << QString("no packet for a frame of %1 bytes").arg(frame->length);
        return;
    }
    std::memcpy(packet->data, reinterpret_cast<const uint8_t*>(frame) + offsetof(XFrameHeader, data), frame->length);
    packet->stream_index = index;
    if (frame->frameType == XFrameHeader::VideoKeyFrame)
        packet->flags |= AV_PKT_FLAG_KEY;

    if (!started) {
        started = true;
        firstPts = frame->timestamp;
        lastVideoTime = frame->timestamp;
        joinOffset = 0;
        clockOffset = 0;
    }
    if (isVideo) {
        followClock(frame->timestamp);
        joinGap(frame->timestamp);
    }
    const quint64 time = join ? frame->timestamp - joinOffset : frame->timestamp + clockOffset;
    const auto pts = static_cast<qint64>(time);
    stampPacket(packet.get(), isVideo, pts, pts);
    writePacket(packet.release());
}

/// A device whose clock is set back would have every packet refused until its times have caught up: in the file they go
/// on. Smaller steps back may be those of reordered pictures.
void SaveMp4FFmpeg::followClock(quint64 time)
{
    if (time < lastVideoTime && lastVideoTime - time > longestStepMs)
        clockOffset += lastVideoTime - time + pictureMs;
}

/// Unsigned on purpose: a step backwards wraps around and lowers the offset.
void SaveMp4FFmpeg::joinGap(quint64 time)
{
    const quint64 step = time - lastVideoTime;
    if (lastVideoTime != firstPts && (step < 1 || step > longestStepMs))
        joinOffset += step - joinedStepMs;
    if (step > noticedStepMs) {
        qCWarning(lcMp4, "-----cur pts = %llu, last pts = %llu, [%s]", time, lastVideoTime,
                  fileName().toUtf8().constData());
    }
    lastVideoTime = time;
}

void SaveMp4FFmpeg::writeData(AVPacket* packet, bool video)
{
    if (!packet)
        return;
    const int index = video ? writer->videoIndex : writer->audioIndex;
    if (video && packet->pts != AV_NOPTS_VALUE)
        lastPts = packet->pts;
    else if (video && packet->dts != AV_NOPTS_VALUE)
        lastPts = packet->dts;
    if (index < 0 || index >= writer->streamCount) {
        qCWarning(lcMp4, "videoIndex = %d, audioIndex = %d", writer->videoIndex.load(), writer->audioIndex.load());
        return;
    }
    AvPacketPtr clone(av_packet_clone(packet));
    if (!clone) {
        qCCritical(lcMp4).noquote() << "av_packet_clone fail";
        return;
    }
    clone->stream_index = index;
    if (!started) {
        started = true;
        firstPts = static_cast<quint64>(lastPts);
    }
    // Damaged sources send any time, so differences of times end at the first and the last one there is.
    const auto begin = static_cast<qint64>(firstPts);
    const qint64 pts = av_sat_sub64(lastPts, begin);
    // Pictures that are shown later than they are decoded keep their decode time; the muxer wants it ascending.
    qint64 dts = video && packet->dts != AV_NOPTS_VALUE ? av_sat_sub64(packet->dts, begin) : pts;
    if (video) {
        dts = qMax<qint64>(dts, av_sat_add64(lastVideoDts, 1));
        lastVideoDts = dts;
    }
    stampPacket(clone.get(), video, qMax(pts, dts), dts);
    writePacket(clone.release());
}

void SaveMp4FFmpeg::stampPacket(AVPacket* packet, bool video, qint64 pts, qint64 dts)
{
    const AVRational target = video ? writer->videoTimeBase : writer->audioTimeBase;
    packet->pts = av_rescale_q_rnd(pts, timebase, target, rounding);
    packet->dts = av_rescale_q_rnd(dts, timebase, target, rounding);
    packet->duration = 0;
    packet->pos = -1;
}

void SaveMp4FFmpeg::writePacket(AVPacket* packet)
{
    AvPacketPtr owned(packet);
    const size_t queued = writer->queued();
    const bool isPicture = packet->stream_index == writer->videoIndex;
    if (queued >= longestQueue) {
        qCWarning(lcMp4).noquote() << "queue is full";
        writer->loss.lose(isPicture, queueFull);
        return;
    }
    // A key frame completes the fragment before it, which is to be safe on the disk.
    const bool isKeyPicture = isPicture && (packet->flags & AV_PKT_FLAG_KEY) != 0;
    const bool canWait = !isKeyPicture && queued + 1 < mostResting;
    if (enqueue(owned.get())) {
        owned.release();
        if (canWait)
            writer->saveSemaphore.releaseLater();
        else
            writer->saveSemaphore.release();
    } else {
        qCWarning(lcMp4).noquote() << "";
        writer->loss.lose(isPicture, queueFull);
    }
}

bool SaveMp4FFmpeg::enqueue(AVPacket* packet)
{
    const std::lock_guard<std::mutex> lock(writer->queueMutex);
    if (writer->packetQueue.size() >= longestQueue) {
        qCWarning(lcMp4).noquote() << "packet queue is full";
        return false;
    }
    writer->packetQueue.push_back({AvPacketPtr(packet), QDateTime::currentMSecsSinceEpoch()});
    return true;
}

// --- Writing, on the recorder thread

void SaveMp4FFmpeg::save()
{
    const int rest = writer->videoIndex >= 0 && !writer->holdsKeyPicture() ? longestRestMs : 0;
    const unsigned result = writer->saveSemaphore.wait(writer->readTimeout, rest);
    if (result == CountingSemaphore::TimedOut)
        qCInfo(lcMp4).noquote() << "WaitForSingleObject timeout";
    else if (result != CountingSemaphore::Acquired)
        qCInfo(lcMp4, "WaitForSingleObject save data Semaphore dw=%d", static_cast<int>(result));
    writeQueued(saveVideoError, saveAudioError);
    endOnFileError();
}

bool SaveMp4FFmpeg::writeQueued(const char* videoError, const char* audioError)
{
    AvPacketPtr packet = writer->take();
    if (!packet)
        return false;
    if (packet->stream_index == writer->videoIndex) {
        writer->isEmpty = false;
        for (const AvPacketPtr& picture : writer->leading.pass(std::move(packet)))
            writeVideo(picture.get(), videoError);
    } else if (packet->stream_index == writer->audioIndex) {
        writeAudio(packet.get(), audioError);
    }
    return true;
}

/// The muxer would write a picture of no bytes, for which players refuse the whole file. And a source that breaks off
/// behind the delimiter of a picture leaves that alone behind, which decoders complain about.
bool SaveMp4FFmpeg::isWorthWriting(const AVPacket* packet) const
{
    const AVCodecParameters* parameters = writer->format.get()->streams[packet->stream_index]->codecpar;
    const bool hasStartCodes = isAnnexB(parameters->extradata, parameters->extradata_size);
    const Content content = hasStartCodes ? contentOf(packet, parameters->codec_id) : Content::Picture;
    if (content == Content::Nothing)
        qCWarning(lcMp4, "a picture of %d bytes without a NAL unit was left out", packet->size);
    else if (content == Content::DelimiterAlone)
        qCInfo(lcMp4, "a picture of %d bytes, its delimiter alone, was left out", packet->size);
    return content == Content::Picture;
}

void SaveMp4FFmpeg::writeVideo(AVPacket* packet, const char* pattern)
{
    if (!isWorthWriting(packet))
        return;
    const bool isHeld = writer->audioIndex >= 0 && !writer->hasWrittenAudio;
    if (writer->heldPicture) // devices send any time
        writer->heldPicture->duration = qBound<qint64>(0, av_sat_sub64(packet->dts, writer->heldPicture->dts), INT_MAX);
    writeHeldPicture(pattern);
    if (isHeld)
        writer->heldPicture.reset(av_packet_clone(packet));
    else
        writePicture(packet, pattern);
}

/// A fragment that is ended by request ends with a picture of which the muxer does not know how long it lasts, and its
/// guess would move the pictures that follow. Fragments that are ended by key frames alone need nobody's help.
void SaveMp4FFmpeg::writeHeldPicture(const char* pattern)
{
    if (const AvPacketPtr picture = std::move(writer->heldPicture))
        writePicture(picture.get(), pattern);
}

void SaveMp4FFmpeg::writePicture(AVPacket* packet, const char* pattern)
{
    AVFormatContext* format = writer->format.get();
    // The muxer keeps the head of the file back until every stream has data. A source that never sends the sound it
    // announced must not cost the pictures after a crash, so the head is asked for at the second key frame.
    const bool isKey = (packet->flags & AV_PKT_FLAG_KEY) != 0;
    if (isKey && writer->audioIndex >= 0 && !writer->hasWrittenAudio && writer->hasWrittenVideo) {
        av_write_frame(format, nullptr);
        writer->isHeadEarly = true;
    }
    const int result = av_write_frame(format, packet);
    writer->hasWrittenVideo = true;
    if (result < 0)
        report(pattern, result, packet);
    if (isKey) // it has pushed the fragment before it out
        keepWritten();
    writer->loss.hand(true, writer->arrival);
}

void SaveMp4FFmpeg::writeAudio(AVPacket* packet, const char* pattern)
{
    const AvPacketPtr encoded(av_packet_clone(packet));
    if (!encoded || !audioG711ToAAC(packet, encoded.get()))
        return;
    writeHeldPicture(saveVideoError);
    // One call may have completed several frames; the filter takes them one by one.
    for (const QByteArray& frame : Adts::split(encoded->data, encoded->size)) {
        const AvPacketPtr single = makePacket();
        if (!single || av_new_packet(single.get(), frame.size()) < 0)
            return;
        std::memcpy(single->data, frame.constData(), size_t(frame.size()));
        av_packet_copy_props(single.get(), encoded.get());
        single->stream_index = encoded->stream_index;
        writeFiltered(single.get(), pattern);
    }
}

void SaveMp4FFmpeg::writeFiltered(AVPacket* packet, const char* pattern)
{
    const int error = av_bsf_send_packet(writer->bsf.get(), packet);
    if (error != 0)
        qCCritical(lcMp4).noquote() << QString("errno:[%1] filter audio error").arg(error);
    if (av_bsf_receive_packet(writer->bsf.get(), packet) != 0)
        return;
    // The encoder completes frames in bursts, and they bear the times of pictures: sound without a gap goes on evenly.
    // Devices send any time, so sums of times end at the last one there is.
    if (writer->nextAudioDts != AV_NOPTS_VALUE && packet->dts < av_sat_add64(writer->nextAudioDts, longestAudioWait))
        packet->pts = packet->dts = writer->nextAudioDts;
    // Without it the last frame of a fragment would get the length of the stream's frame size, which is not AAC's.
    packet->duration =
        av_rescale_q(Adts::samplesPerFrame, AVRational{1, writer->audioPara.sampleRate}, writer->audioTimeBase);
    writer->nextAudioDts = av_sat_add64(packet->dts, packet->duration);
    // The head says when a stream begins, and knew nothing of the sound: it would begin at 0, whatever the pictures'
    // time is. As after a break, its first fragment says so then.
    if (!writer->hasWrittenAudio && writer->isHeadEarly)
        av_opt_set(writer->format.get(), "movflags", "+frag_discont", AV_OPT_SEARCH_CHILDREN);
    const int result = av_write_frame(writer->format.get(), packet);
    writer->hasWrittenAudio = true;
    writer->isEmpty = false;
    if (result < 0)
        report(pattern, result, packet);
    writer->loss.hand(false, writer->arrival);
    if (writer->videoIndex < 0)
        endSoundFragment();
}

/// Key frames end the fragments of a file with pictures; one with sound alone gets a fragment a second.
void SaveMp4FFmpeg::endSoundFragment()
{
    if (++writer->framesInFragment * Adts::samplesPerFrame < writer->audioPara.sampleRate)
        return;
    writer->framesInFragment = 0;
    av_write_frame(writer->format.get(), nullptr);
    keepWritten();
}

bool SaveMp4FFmpeg::audioG711ToAAC(AVPacket* in, AVPacket* out)
{
    if (!writer->aacEncoder || !in || !out) {
        qCCritical(lcMp4).noquote() << "there is no AAC encoder";
        return false;
    }
    // The encoder expands every input but µ-law from A-law.
    const QByteArray codes = writer->audioPara.codec == 35
        ? Alaw::fromLinear(in->data, in->size)
        : QByteArray::fromRawData(reinterpret_cast<const char*>(in->data), in->size);
    QByteArray output;
    for (int offset = 0; offset < codes.size(); offset += encoderInputBytes) {
        const int length = qMin(encoderInputBytes, codes.size() - offset);
        unsigned int written = 0;
        const int bytes = Easy_AACEncoder_Encode(writer->aacEncoder.get(),
                                                 reinterpret_cast<const uint8_t*>(codes.constData()) + offset,
                                                 static_cast<unsigned>(length), writer->aacBuffer.data(), &written);
        if (bytes > 0)
            output.append(reinterpret_cast<const char*>(writer->aacBuffer.data()), bytes);
    }
    if (output.isEmpty())
        return false;
    const AvPacketPtr resized = makePacket();
    if (!resized || av_new_packet(resized.get(), output.size()) < 0)
        return false;
    std::memcpy(resized->data, output.constData(), size_t(output.size()));
    av_packet_copy_props(resized.get(), out);
    resized->stream_index = out->stream_index;
    av_packet_unref(out);
    av_packet_move_ref(out, resized.get());
    return true;
}

void SaveMp4FFmpeg::report(const char* pattern, int error, const AVPacket* packet)
{
    QString line = QString(pattern).arg(error).arg(FFmpegHelper::getError(error));
    if (line.contains("%3"))
        line = line.arg(packet->pts).arg(fileName());
    qCCritical(lcMp4).noquote() << line;
}

void SaveMp4FFmpeg::endOnFileError()
{
    // The error stays with the file; the producer may have more luck with the next one.
    if (writer->format && (writer->isFileGone || writer->format.fileError() < 0)) {
        judgeFile(); // before the producer sees that there is no file
        stopped = true;
    }
}

/// After the end of a fragment.
void SaveMp4FFmpeg::keepWritten()
{
    // A file that was removed, or whose disk was, takes everything without a complaint.
    writer->isFileGone = writer->format.needsFile() && !QFileInfo::exists(fileName());
    if (!writer->isFileGone && writer->format.fileError() >= 0)
        tellLoss(writer->loss.keep());
}

/// What of the pictures that were written is lost with the file.
void SaveMp4FFmpeg::judgeFile()
{
    const int error = writer->format.fileError();
    if (writer->isFileGone)
        writer->loss.failWithFile("the file was removed");
    else if (error < 0)
        writer->loss.fail(FFmpegHelper::getError(error));
}

void SaveMp4FFmpeg::tellLoss(const QString& line) const
{
    if (!line.isEmpty())
        qCWarning(lcMp4).noquote() << QString("%1 [%2]").arg(line, fileName());
}

void SaveMp4FFmpeg::close()
{
    while (writeQueued(drainVideoError, drainAudioError)) { }
    for (const AvPacketPtr& picture : writer->leading.takeRest())
        writeVideo(picture.get(), drainVideoError);
    writeHeldPicture(drainVideoError);
    writer->clearQueue();
    writer->videoIndex = -1;
    writer->audioIndex = -1;
    writer->streamCount = 0;
    if (writer->format) {
        if (writer->format.needsFile())
            av_write_trailer(writer->format.get());
        keepWritten();
        judgeFile();
        writer->hasFileError = writer->isFileGone || writer->format.fileError() < 0;
        writer->format.reset();
    }
    writer->bsf.reset();
    writer->aacEncoder.reset();
    removeEmptyFile(fileName());
}

void SaveMp4FFmpeg::stop()
{
    // First, so that a pass that wakes sees it.
    if (running && isRunning())
        stopped = true;
    writer->saveSemaphore.release();
    AbstractSaveThread::stop();
    endLoss();
}
