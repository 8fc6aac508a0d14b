#include "devnet/mediainput.h"

#include "core_ffmpeg/mediatime.h"

#include "core_ffmpeg/ffmpegcompat.h"
#include "devnet/hostlookup.h"

#include <QFile>

#include <array>

namespace {

constexpr int openMs = 10000;
constexpr int readMs = 5000;
constexpr const char* socketMicroseconds = "5000000";

// A live source has to show its first picture soon; its descriptions say all that is needed.
constexpr qint64 liveAnalysisMicroseconds = 2000000;
constexpr int livePicturesForRate = 3;

} // namespace

QString MediaInput::open(const MediaSourceAddress& address)
{
    if (!allocate())
        return QStringLiteral("no memory");
    if (address.kind == MediaSourceAddress::Url && !HostLookup::waitForAnswer(address.text, stop))
        return errorText(AVERROR_EXIT);
    limitWait(openMs);
    int error = openAddress(address);
    if (error == 0)
        error = avformat_find_stream_info(input.get(), nullptr);
    if (error < 0)
        return errorText(error);
    discardOthers();
    return {};
}

int MediaInput::read(AVPacket* packet)
{
    limitWait(readMs);
    int error = 0;
    do {
        av_packet_unref(packet);
        error = av_read_frame(input.get(), packet);
    } while (error == 0 && input->streams[packet->stream_index]->discard == AVDISCARD_ALL);
    return error;
}

qint64 MediaInput::startTime() const
{
    return input->start_time == AV_NOPTS_VALUE ? 0 : MediaTime::bounded(input->start_time);
}

/// A search for a key frame that is not there reads on and leaves off anywhere.
void MediaInput::seek(qint64 time)
{
    limitWait(readMs);
    if (av_seek_frame(input.get(), -1, time, AVSEEK_FLAG_BACKWARD) < 0)
        av_seek_frame(input.get(), -1, startTime(), AVSEEK_FLAG_BACKWARD | AVSEEK_FLAG_ANY);
}

QString MediaInput::errorText(int error) const
{
    if (error == AVERROR_EXIT && !stop.isRequested())
        return QStringLiteral("it does not answer any more");
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    av_strerror(error, text.data(), text.size());
    return QString::fromUtf8(text.data());
}

int MediaInput::isInterrupted(void* self)
{
    const auto* const input = static_cast<MediaInput*>(self);
    return input->stop.isRequested() || std::chrono::steady_clock::now() > input->deadline;
}

bool MediaInput::allocate()
{
    input.reset(avformat_alloc_context());
    if (!input)
        return false;
    input->interrupt_callback = {&MediaInput::isInterrupted, this};
    return true;
}

int MediaInput::openAddress(const MediaSourceAddress& address)
{
    AvDictionary options;
    if (address.kind == MediaSourceAddress::Url) {
        options.set("rtsp_transport", "tcp");
        options.set(VANTOR_FFMPEG_SOCKET_TIMEOUT_OPTION, socketMicroseconds);
    }
    if (address.isLive()) {
        input->max_analyze_duration = liveAnalysisMicroseconds;
        input->fps_probe_size = livePicturesForRate;
    }
    // A file's name is one, whatever protocol it looks like.
    const QByteArray name
        = address.kind == MediaSourceAddress::File ? "file:" + address.text.toUtf8() : address.text.toUtf8();
    AVFormatContext* context = input.release(); // freed, and set to null, where it can't be opened
    const int error = avformat_open_input(&context, name.constData(), nullptr, options.address());
    input.reset(context);
    return error;
}

void MediaInput::limitWait(int milliseconds)
{
    deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
}

void MediaInput::discardOthers()
{
    const AVStream* const kept[] = {video(), audio()};
    for (unsigned i = 0; i < input->nb_streams; ++i) {
        AVStream* const candidate = input->streams[i];
        candidate->discard = candidate == kept[0] || candidate == kept[1] ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
}

AVStream* MediaInput::stream(AVMediaType type) const
{
    const int index = av_find_best_stream(input.get(), type, -1, -1, nullptr, 0);
    if (index < 0 || input->streams[index]->disposition & AV_DISPOSITION_ATTACHED_PIC)
        return nullptr;
    return input->streams[index];
}
