#include "core_videosave/savemp4.h"

#include "core_videosave/bytering.h"
#include "core_videosave/countingsemaphore.h"
#include "core_videosave/recordingloss.h"
#include "mediaproc/mediaproc.h"
#include "qttoolkit/quihelper.h"

#include <QLoggingCategory>

#include <cstring>
#include <mutex>

namespace {
Q_LOGGING_CATEGORY(lcSaveMp4, "vantor.save.mediaproc")

constexpr quint32 ringSize = 16777216;
constexpr quint32 frameMagic = 0x12345678;
constexpr quint32 headSize = sizeof(XFrameHeader);
constexpr quint32 payloadOffset = offsetof(XFrameHeader, data);
constexpr quint32 alignment = 8;

constexpr quint32 paddedSize(quint32 length) { return (length + alignment - 1) / alignment * alignment; }

struct Mp4FileCloser
{
    void operator()(void* file) const { mediaproc_close_mp4_file(file); }
};

_tag_mp4_video_param_s paramOf(const XVideoEncPara& video)
{
    return {video.codec, video.width, video.height, video.param1, video.param3};
}

_tag_mp4_audio_param_s paramOf(const XAudioEncPara& audio)
{
    return {audio.codec, audio.sampleRate, audio.bitWidth, audio.channels};
}
} // namespace

struct SaveMp4::Writer
{
    CountingSemaphore saveSemaphore; // one count per frame in the ring
    std::mutex ringMutex;            // guards the pointer: the recorder thread drops the ring at the end of a file
    std::shared_ptr<ByteRing> ring;
    std::unique_ptr<void, Mp4FileCloser> file;
    RecordingLoss loss;
    const std::unique_ptr<unsigned char[]> work{new unsigned char[XFrameHeader::bufferSize]};

    std::shared_ptr<ByteRing> currentRing()
    {
        const std::lock_guard<std::mutex> lock(ringMutex);
        return ring;
    }

    void setRing(std::shared_ptr<ByteRing> other)
    {
        const std::lock_guard<std::mutex> lock(ringMutex);
        ring = std::move(other);
    }

    XFrameHeader* frame() { return reinterpret_cast<XFrameHeader*>(work.get()); }
};

SaveMp4::SaveMp4(QObject* parent)
    : AbstractSaveThread(parent)
    , writer(std::make_unique<Writer>())
{
    audioPara.channels = 0;
}

SaveMp4::~SaveMp4() { SaveMp4::stop(); }

void SaveMp4::setPara(XVideoEncPara vcodecPar, XAudioEncPara acodecPar, int timeout)
{
    videoPara = vcodecPar;
    audioPara = acodecPar;
    readTimeout = timeout;
}

bool SaveMp4::init()
{
    auto ring = std::make_shared<ByteRing>(ringSize);
    if (!ring->isValid()) {
        qCCritical(lcSaveMp4, "create file buffer failed");
        return false;
    }
    const QString name = fileName();
    QUIHelper::checkPath(name);
    const _tag_mp4_video_param_s video = paramOf(videoPara);
    const _tag_mp4_audio_param_s audio = paramOf(audioPara);
    writer->file.reset(mediaproc_create_mp4_file(name.toUtf8().constData(), &video, &audio));
    if (!writer->file) {
        qCCritical(lcSaveMp4).noquote() << QString("create mp4 file failed : %1").arg(name);
        return false;
    }
    writer->setRing(std::move(ring));
    if (!writer->saveSemaphore.reset()) {
        qCCritical(lcSaveMp4, "CreateSemaphore NULL");
        return false;
    }
    return true;
}

void SaveMp4::writeData(XFrameHeader* frame)
{
    if (!frame)
        return;
    const std::shared_ptr<ByteRing> ring = writer->currentRing();
    if (!ring) {
        qCWarning(lcSaveMp4, "file buf handle == null!!!");
        return;
    }
    if (frame->length > XFrameHeader::largestPayload) {
        qCWarning(lcSaveMp4, "a frame of %u bytes does not fit its buffer", frame->length);
        return;
    }
    const quint32 padding = paddedSize(frame->length) - frame->length;
    XFrameHeader head = *frame;
    head.reserved40 = padding;

    const std::lock_guard<ByteRing> lock(*ring);
    if (ring->free() < frame->length + padding + headSize) {
        qCWarning(lcSaveMp4, "save buf is full");
        lose("the buffer was full", frame);
        return;
    }
    static const unsigned char zeros[alignment] = {};
    ring->write(&head, headSize);
    ring->write(reinterpret_cast<const unsigned char*>(frame) + payloadOffset, frame->length);
    ring->write(zeros, padding);
    writer->saveSemaphore.release();
}

void SaveMp4::save()
{
    const std::shared_ptr<ByteRing> ring = writer->currentRing();
    if (!ring || !writer->file) {
        qCWarning(lcSaveMp4, "data buf handle = %p, mp4 file handle = %p", static_cast<void*>(ring.get()),
                  writer->file.get());
        return;
    }
    const unsigned result = writer->saveSemaphore.wait(readTimeout);
    if (result != CountingSemaphore::Acquired) {
        qCInfo(lcSaveMp4, "WaitForSingleObject save data Semaphore dw=%d", static_cast<int>(result));
        return;
    }
    if (readFrame(*ring))
        writeFrame();
}

/// The next frame of the ring into the work buffer. What turns out to be damaged stays taken out.
bool SaveMp4::readFrame(ByteRing& ring)
{
    XFrameHeader* frame = writer->frame();
    const std::lock_guard<ByteRing> lock(ring);
    const quint32 taken = ring.read(frame, headSize);
    if (taken < headSize) {
        qCCritical(lcSaveMp4, "stream buf is corrupted ret = %d", static_cast<int>(taken));
        return false;
    }
    if (frame->reserved0 != frameMagic) {
        qCCritical(lcSaveMp4, "frame header is corrupted %d", static_cast<int>(frame->reserved0));
        return false;
    }
    const quint64 wanted = frame->length + frame->reserved40;
    if (frame->length > XFrameHeader::largestPayload || frame->reserved40 >= alignment
        || ring.read(writer->work.get() + payloadOffset, static_cast<quint32>(wanted)) < wanted) {
        qCCritical(lcSaveMp4, "frame data is corrupted");
        return false;
    }
    return true;
}

void SaveMp4::writeFrame()
{
    const XFrameHeader* frame = writer->frame();
    const unsigned char* payload = writer->work.get() + payloadOffset;
    if (frame->frameType <= XFrameHeader::LastVideoFrame) {
        const int isKey = frame->frameType == XFrameHeader::VideoKeyFrame ? 1 : 0;
        const int result =
            mediaproc_write_mp4_video(writer->file.get(), payload, frame->length, frame->timestamp, isKey);
        if (result != 0)
            qCWarning(lcSaveMp4, "write video to mp4 file failed: ret = %d", result);
        followLoss(result == 0);
    } else if (frame->frameType == XFrameHeader::AudioFrame) {
        const int result = mediaproc_write_mp4_audio(writer->file.get(), payload, frame->length, frame->timestamp);
        if (result != 0)
            qCWarning(lcSaveMp4, "write audio to mp4 file failed: ret = %d", result);
        followLoss(result == 0);
    }
}

/// After the frame in the work buffer was given to the file.
void SaveMp4::followLoss(bool isWritten)
{
    if (isWritten)
        tellLoss(writer->loss.keep());
    else
        lose("the file could not be written", writer->frame());
}

void SaveMp4::lose(const QString& reason, const XFrameHeader* frame)
{
    const bool isPicture = frame->frameType <= XFrameHeader::LastVideoFrame;
    if (isPicture || frame->frameType == XFrameHeader::AudioFrame)
        writer->loss.lose(isPicture, reason);
}

void SaveMp4::tellLoss(const QString& line) const
{
    if (!line.isEmpty())
        qCWarning(lcSaveMp4).noquote() << QString("%1 [%2]").arg(line, fileName());
}

void SaveMp4::close()
{
    const std::shared_ptr<ByteRing> ring = writer->currentRing();
    writer->setRing(nullptr);
    const auto hasMore = [&] {
        const std::lock_guard<ByteRing> lock(*ring);
        return ring->used() > 0;
    };
    while (ring && hasMore() && readFrame(*ring))
        lose("the recording ended before they were written", writer->frame());
    writer->file.reset();
    tellLoss(writer->loss.end());
}
