#include "devnet/archivemovie.h"

#include "devnet/videoencoding.h"

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
    start = file.start;
    firstTime = input.startTime();
    if (begin > start)
        input.seek(firstTime + (begin - start) * 1000);
    return {};
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
