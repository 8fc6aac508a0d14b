#pragma once

#include "devnet/mediadeviceconfig.h"
#include "devnet/xnetdevice.h"

#include <memory>
#include <vector>

class MediaArchive;
class MediaStream;
class StreamLimit;
class TalkSink;

/// A recording of a device's archive, local time.
struct MediaRecording
{
    QDateTime start;
    QDateTime end;
};

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

    /// @name Recordings of the archive folder
    /// The library's own, found by their names `<start>_<end>_<channel>.mp4`, in the folder or below it. The number of
    /// a playback or download is the channel. Time stamps are milliseconds since 1970 of what the clock on the wall
    /// showed as if that were UTC, so the time zone of the reader does not matter. Playbacks and downloads count as
    /// streams.
    /// @{

    /// Recordings of @p channel that touch the period, local time; looks at the disk.
    QVector<MediaRecording> recordings(int channel, const QDateTime& from, const QDateTime& to) const;

    /// AlreadyEnabled while there is a playback of that number.
    XRetError vodStart(unsigned id, const VodStartPara& para) override;
    XRetError vodStop(unsigned id) override;
    XRetError vodPause(unsigned id) override;
    XRetError vodResume(unsigned id) override;
    XRetError vodSeek(unsigned id, const QDateTime& time) override;

    /// 1 to 16 times, and -4 to -2 for a quarter to a half. No sound but at the normal speed, key frames alone from
    /// eight times on.
    XRetError vodSetSpeed(unsigned id, int speed) override;
    XRetError vodReadFrame(unsigned id, XFrameHeader* frame, int timeout) override;

    /// AlreadyEnabled while there is a download of that number.
    XRetError vodDownloadStart(unsigned id, const VodDownloadPara& para) override;
    XRetError vodDownloadStop(unsigned id) override;
    XRetError vodGetDownloadSdp(unsigned id, VodSdp& sdp) override;
    XRetError vodReadDLFrame(unsigned id, XFrameHeader* frame, int timeout) override;
    /// @}

private:
    std::unique_ptr<MediaStream> makeStream(int channel, int index) const;
    MediaStream* stream(int channel, int index) const;

    const MediaDeviceConfig settings;
    const int streamsPerChannel;
    const std::unique_ptr<StreamLimit> limit;
    const std::unique_ptr<TalkSink> talk;
    std::vector<std::unique_ptr<MediaStream>> streams;
    const std::unique_ptr<MediaArchive> archive;
};
