#include "devnet/mediapass.h"

#include "core_ffmpeg/mediatime.h"
#include "devnet/videoencoding.h"

#include <QLoggingCategory>

#include <algorithm>

namespace {
Q_LOGGING_CATEGORY(lcSource, "vantor.devnet.source")
} // namespace

MediaPass::MediaPass(MediaPlay& wholePlay)
    : play(wholePlay)
    , input(wholePlay.stop)
    , held(makePacket())
{
}

QString MediaPass::open(const MediaSourceAddress& address)
{
    isLive = address.isLive();
    const QString problem = input.open(address);
    if (!problem.isEmpty())
        return problem;
    video = input.video();
    audio = input.audio();
    if (!video && !audio)
        return QStringLiteral("it has neither video nor sound");
    if (audio)
        openAudio(address.display());
    return video ? openVideo() : QString();
}

QString MediaPass::openVideo()
{
    videoClock.emplace(video);
    videoPackager = VideoPackager::make(video->codecpar);
    if (videoPackager)
        return {};
    return QStringLiteral("its video is %1, and devices send H.264 and H.265 alone")
        .arg(QLatin1String(avcodec_get_name(video->codecpar->codec_id)));
}

void MediaPass::openAudio(const QString& name)
{
    audioClock.emplace(audio);
    soundPackager = SoundPackager::make(audio->codecpar);
    if (soundPackager)
        play.maker.setAudio(soundPackager->format());
    else if (play.position == 0)
        qCWarning(lcSource).noquote() << QString("%1: its sound is %2, which can't be decoded")
                                             .arg(name, QLatin1String(avcodec_get_name(audio->codecpar->codec_id)));
}

QString MediaPass::run()
{
    AvPacketPtr packet = makePacket();
    int error = input.read(packet.get());
    while (error == 0 && !play.stop.isRequested()) {
        pass(packet);
        error = input.read(packet.get());
    }
    finish();
    return error == 0 || error == AVERROR_EOF ? QString() : input.errorText(error);
}

/// When a live source is lost in the middle of a picture, FFmpeg hands out what there is of it as if it were whole.
/// What tells it from a whole one is that nothing follows, so each packet waits for the next, and the last is dropped.
void MediaPass::pass(AvPacketPtr& packet)
{
    if (isLive)
        packet.swap(held);
    if (packet->data)
        deliver(packet.get());
}

void MediaPass::deliver(AVPacket* packet)
{
    const bool isVideo = video && packet->stream_index == video->index;
    const qint64 time = timeInPlay(isVideo ? *videoClock : *audioClock, packet);
    play.timeline.waitFor(time, play.stop);
    if (isVideo)
        deliverVideo(packet, time);
    else if (soundPackager)
        soundPackager->package(packet, time,
                               [this](const QByteArray& payload, qint64 begin) { putSound(payload, begin); });
}

void MediaPass::deliverVideo(AVPacket* packet, qint64 time)
{
    videoPackager->package(packet, [this, time](const VideoPackager::Picture& picture) { putPicture(picture, time); });
}

void MediaPass::putPicture(const VideoPackager::Picture& picture, qint64 time)
{
    if (picture.isKey) {
        const XVideoEncPara encoding = videoEncodingOf(picture, video, videoPackager->isH265());
        if (encoding != play.maker.video())
            play.maker.setVideo(encoding);
    }
    play.output(play.maker.makeVideo(picture.isKey, picture.payload, play.timeline.wallTime(time)));
}

void MediaPass::putSound(const QByteArray& payload, qint64 time)
{
    play.output(play.maker.makeAudio(payload, play.timeline.wallTime(time)));
}

void MediaPass::finish()
{
    if (soundPackager)
        soundPackager->finish([this](const QByteArray& payload, qint64 time) { putSound(payload, time); });
    if (!firstTime)
        return;
    const qint64 begin = play.position - *firstTime;
    for (const std::optional<PacketClock>& clock : {videoClock, audioClock})
        play.position = std::max(play.position, clock ? MediaTime::bounded(clock->end() + begin) : 0);
}

qint64 MediaPass::timeInPlay(PacketClock& clock, const AVPacket* packet)
{
    const qint64 time = clock.timeOf(packet);
    if (!firstTime)
        firstTime = time;
    return time - *firstTime + play.position;
}
