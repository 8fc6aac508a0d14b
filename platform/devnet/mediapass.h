#pragma once

#include "devnet/framemaker.h"
#include "devnet/framesource.h"
#include "devnet/mediainput.h"
#include "devnet/mediatimeline.h"
#include "devnet/packetclock.h"
#include "devnet/soundpackager.h"
#include "devnet/videopackager.h"

/// What the passes through one source share: a file begins again where it has ended.
struct MediaPlay
{
    const FrameSource::Output& output;
    const StopSignal& stop;
    MediaTimeline timeline;
    FrameMaker maker;
    qint64 position = 0; ///< microseconds; where the next pass begins
};

/// One pass through an address or a file, from opening it to its end.
class MediaPass
{
public:
    /// @p wholePlay outlives the pass.
    explicit MediaPass(MediaPlay& wholePlay);

    /// An empty text, or why not.
    QString open(const MediaSourceAddress& address);

    /// An empty text at the end of the source, or what went wrong. Moves the position to the end.
    QString run();

private:
    QString openVideo();
    void openAudio(const QString& name);
    void pass(AvPacketPtr& packet);
    void deliver(AVPacket* packet);
    void deliverVideo(AVPacket* packet, qint64 time);
    void putPicture(const VideoPackager::Picture& picture, qint64 time);
    void putSound(const QByteArray& payload, qint64 time);
    void finish();
    qint64 timeInPlay(PacketClock& clock, const AVPacket* packet);

    MediaPlay& play;
    MediaInput input;
    bool isLive = false;
    AvPacketPtr held; ///< of a live source, the last packet, until there is another
    AVStream* video = nullptr; ///< borrowed from the input, as audio
    AVStream* audio = nullptr;
    std::optional<PacketClock> videoClock;
    std::optional<PacketClock> audioClock;
    std::optional<VideoPackager> videoPackager; ///< there when video is
    std::optional<SoundPackager> soundPackager; ///< there when audio is, unless it can't be decoded
    std::optional<qint64> firstTime; ///< of the source, at the pass's begin
};
