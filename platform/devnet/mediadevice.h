#pragma once

#include "devnet/mediadeviceconfig.h"
#include "devnet/xnetdevice.h"

#include <memory>
#include <vector>

class MediaStream;
class StreamLimit;
class TalkSink;

/// A device made of ordinary media: each stream is an address (RTSP or another), a media file that is played in real
/// time again and again, or the built-in test picture, as its MediaDeviceConfig says.
///
/// Frames are H.264 or H.265 in Annex B format with parameter sets before every key frame, and sound as G.711: other
/// sound is converted to mu-law at 8000 Hz, one channel; video of another codec is left out, with a warning. Width and
/// height are those of the pictures, time stamps are milliseconds since 1970 and never go back within video or within
/// sound. In the header, param1 is the frame rate and param2 the bit rate, 0 where the source does not tell; reserved40
/// is the number of bytes that fill the payload up to a multiple of 8.
///
/// A stream has a thread of its own while it is enabled, and none otherwise. A source that can't be opened or is lost
/// is tried again every second until the stream is disabled; readers get Timeout meanwhile. What a slow reader leaves
/// lying is dropped by whole groups of pictures, the oldest first, so whatever is read can be decoded.
///
/// Thread-safe, as XNetDevice says; only the destructor wants to be alone. It ends all threads and returns within a
/// fraction of a second even when sources are being opened.
class DEVNET_EXPORT MediaDevice : public XNetDevice
{
public:
    /// Opens nothing yet. A source that can't be one is a stream that is refused, with a warning.
    explicit MediaDevice(const MediaDeviceConfig& config);
    ~MediaDevice() override;
    MediaDevice(const MediaDevice&) = delete;
    MediaDevice& operator=(const MediaDevice&) = delete;

    const MediaDeviceConfig& config() const;

    /// Always connected: there is nothing between the host and this object. What happens to sources shows in
    /// getStreamStatus().
    XChannelStatus getConnectStatus() override;

    /// Disconnected while an enabled stream has lost its source or does not get it, and for a stream without a source.
    XChannelStatus getStreamStatus(int channel, int stream) override;

    QString getAlias() override;
    QString serialNumber() override;
    XTransportProtocol getStreamProtocol() override;
    int getChannelCount() override;
    int getStreamCount() override;

    /// That of the channel with the most sources; the streams that other channels lack are refused.
    int getStreamCountPerChannel() override;

    /// The sources that are addresses; the others are empty.
    QStringList getRtspUrls() override;

    /// BadParameter for a stream that is not there or has no source. Disabling what is off is Ok.
    XRetError enableMediaTransmit(int channel, int stream, bool enable) override;

    /// Only the test picture can answer it; NotSupported for other sources and while the stream is off.
    XRetError requestVideoIFrame(int channel, int stream) override;

    /// Timeout also for a stream that is off, after waiting; BadParameter for a stream that is not there. Of several
    /// readers of one stream, each gets a part of the frames.
    XRetError readFrame(int channel, int stream, XFrameHeader* frame, int timeout) override;

    /// What the frame that was read last, and the sound that comes with it, are encoded in; records with codec 0, and
    /// Ok, before the first frame.
    XRetError getCodecInfo(int channel, int stream, XVideoEncPara& video, XAudioEncPara& audio) override;

    /// Holds until the source sends something else.
    XRetError setCodecInfo(int channel, int stream, XVideoEncPara& video, XAudioEncPara& audio) override;

    /// What is said becomes a WAV file (G.711 mu-law) in the talkFolder, one a talk and named by the moment it began.
    /// Busy for a second talker, NotSupported without a folder. @p channel does not matter.
    XRetError startTalk(int channel) override;
    XRetError stopTalk(int channel) override;
    XRetError sendTalkData(const char* data, int length, int channel) override;

private:
    std::unique_ptr<MediaStream> makeStream(int channel, int index) const;
    MediaStream* stream(int channel, int index) const;

    const MediaDeviceConfig settings;
    const int streamsPerChannel;
    const std::unique_ptr<StreamLimit> limit;
    const std::unique_ptr<TalkSink> talk;
    std::vector<std::unique_ptr<MediaStream>> streams;
};
