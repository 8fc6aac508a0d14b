#include "devnet/archivemovie.h"

#include "core_ffmpeg/mediatime.h"
#include "devnet/videoencoding.h"

#include <algorithm>

namespace {
constexpr qint64 pictureMs = 40;
constexpr qint64 zoneStepMs = 15 * 60 * 1000;
constexpr qint64 largestZoneMs = 14 * 60 * 60 * 1000;

/// A file gets its name, in whole seconds, a little before or after its first picture.
constexpr qint64 namingMs = 3000;

/// Recorders of device streams keep the time of every picture, be it local or that of another zone. Nothing where
/// @p first has nothing to do with the time in the name.
std::optional<qint64> keptTime(qint64 named, qint64 first)
{
    if (first < named - largestZoneMs - namingMs || first > named + largestZoneMs + namingMs)
        return std::nullopt;
    const qint64 zone = qRound64(double(first - named) / zoneStepMs) * zoneStepMs;
    if (qAbs(first - named - zone) > namingMs)
        return std::nullopt;
    return first - zone;
}
} // namespace

void ArchiveMovie::goOn(qint64 behind, const XVideoEncPara& encoding)
{
    previous = behind;
    maker.setVideo(encoding);
}

QString ArchiveMovie::open(const ArchiveFile& file, qint64 begin)
{
    MediaSourceAddress address;
    address.kind = MediaSourceAddress::File;
    address.text = file.path;
    QString problem = input.open(address);
    if (problem.isEmpty())
        problem = openStreams();
    if (!problem.isEmpty())
        return problem;
    findStart(file.start);
    if (begin > start)
        input.seek(firstTime + (begin - start) * 1000);
    return {};
}

/// By the times of the pictures where they are kept, else by the name. Times go up in any case.
void ArchiveMovie::findStart(qint64 named)
{
    firstTime = video->start_time != AV_NOPTS_VALUE ? MediaTime::microseconds(video->start_time, video->time_base)
                                                    : input.startTime();
    const std::optional<qint64> kept = keptTime(named, firstTime / 1000);
    start = kept.value_or(named);
    if (previous)
        start = std::max(start, *previous + (kept ? 1 : pictureMs));
}

QString ArchiveMovie::openStreams()
{
    video = input.video();
    audio = input.audio();
    if (!video)
        return QStringLiteral("it has no pictures");
    videoPackager = VideoPackager::make(video->codecpar);
    if (!videoPackager)
        return QStringLiteral("its video is %1, and devices send H.264 and H.265 alone")
            .arg(QLatin1String(avcodec_get_name(video->codecpar->codec_id)));
    videoClock.emplace(video);
    if (!audio)
        return {};
    audioClock.emplace(audio);
    soundPackager = SoundPackager::make(audio->codecpar);
    if (soundPackager)
        maker.setAudio(soundPackager->format());
    return {};
}

bool ArchiveMovie::read(std::deque<EncodedFrame>& frames)
{
    const AvPacketPtr packet = makePacket();
    const auto takeSound = [&](const QByteArray& payload, qint64 time) {
        frames.push_back(maker.makeAudio(payload, archiveTime(time)));
    };
    if (!packet || input.read(packet.get()) != 0) {
        if (soundPackager)
            soundPackager->finish(takeSound);
        return !frames.empty();
    }
    if (packet->stream_index == video->index) {
        const qint64 time = videoClock->timeOf(packet.get());
        videoPackager->package(packet.get(), [&](const VideoPackager::Picture& picture) {
            takePicture(picture, time, frames);
        });
    } else if (soundPackager) {
        soundPackager->package(packet.get(), audioClock->timeOf(packet.get()), takeSound);
    }
    return true;
}

void ArchiveMovie::takePicture(const VideoPackager::Picture& picture, qint64 time, std::deque<EncodedFrame>& frames)
{
    if (picture.isKey) {
        const XVideoEncPara encoding = videoEncodingOf(picture, video, videoPackager->isH265());
        if (encoding != maker.video())
            maker.setVideo(encoding);
    }
    frames.push_back(maker.makeVideo(picture.isKey, picture.payload, archiveTime(time)));
}
