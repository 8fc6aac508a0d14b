#pragma once

#include "devnet/devnetexport.h"
#include "devnet/vodpara.h"
#include "devnet/xencpara.h"
#include "devnet/xframeheader.h"
#include "devnet/xnettypes.h"

#include <QString>
#include <QStringList>

/// The connection to one device: a camera, a recorder, or whatever a host makes look like one.
///
/// A host creates the object and shares it through QSharedPointer; the library keeps shared pointers and never creates
/// or deletes one. Every operation may be called from any thread and from several at once, and none may wait longer
/// than the time-out it is given (or than it takes to ask the device).
///
/// Channels and streams count from 0; stream 0 of a channel is its main stream. Streams are listed channel by channel:
/// stream s of channel c has the index c * getStreamCountPerChannel() + s. Time-outs are milliseconds.
///
/// A device that has no recordings, or can't be talked to, leaves those operations as they are: NotSupported.
class DEVNET_EXPORT XNetDevice
{
public:
    virtual ~XNetDevice();

    virtual XChannelStatus getConnectStatus() = 0;

    /// State of one stream; that of the connection unless the device knows better.
    virtual XChannelStatus getStreamStatus(int channel, int stream);

    /// Name to show, and serial number.
    virtual QString getAlias();
    virtual QString serialNumber();

    virtual XTransportProtocol getStreamProtocol() = 0;
    virtual int getChannelCount() = 0;

    /// Streams of the whole device.
    virtual int getStreamCount() = 0;
    virtual int getStreamCountPerChannel() = 0;

    /// One address per stream, for devices whose streams are carried over RTSP.
    virtual QStringList getRtspUrls();

    /// @name Live streams
    /// @{

    /// Makes the device send a stream, or end it. AlreadyEnabled where it is being sent, TooManyConnections where the
    /// device has no more of them to give.
    virtual XRetError enableMediaTransmit(int channel, int stream, bool enable) = 0;

    /// Asks for a key frame now.
    virtual XRetError requestVideoIFrame(int channel, int stream);

    /// Waits for the next frame of a stream and writes it to @p frame, a buffer of XFrameHeader::bufferSize bytes.
    /// Timeout when there was none within @p timeout milliseconds.
    virtual XRetError readFrame(int channel, int stream, XFrameHeader* frame, int timeout) = 0;

    /// What the device sends on a stream at the moment.
    virtual XRetError getCodecInfo(int channel, int stream, XVideoEncPara& video, XAudioEncPara& audio) = 0;

    /// Corrects what getCodecInfo() answers by what was seen in the frames; comes with every frame that is recorded. A
    /// device that knows what it sends leaves this as it is: Ok, and nothing changes.
    virtual XRetError setCodecInfo(int channel, int stream, XVideoEncPara& video, XAudioEncPara& audio);
    /// @}

    /// @name Playback of a recording; @p id tells playbacks apart
    /// @{
    virtual XRetError vodStart(unsigned id, const VodStartPara& para);
    virtual XRetError vodStop(unsigned id);
    virtual XRetError vodPause(unsigned id);
    virtual XRetError vodResume(unsigned id);
    virtual XRetError vodSeek(unsigned id, const QDateTime& time);
    /// n from 1 on is n times as fast, -n is an n-th of it.
    virtual XRetError vodSetSpeed(unsigned id, int speed);

    /// As readFrame(); EndOfRecording behind the last frame.
    virtual XRetError vodReadFrame(unsigned id, XFrameHeader* frame, int timeout);
    /// @}

    /// @name Download of a recording; @p id tells downloads apart
    /// @{
    virtual XRetError vodDownloadStart(unsigned id, const VodDownloadPara& para);
    virtual XRetError vodDownloadStop(unsigned id);
    virtual XRetError vodGetDownloadSdp(unsigned id, VodSdp& sdp);
    virtual XRetError vodReadDLFrame(unsigned id, XFrameHeader* frame, int timeout);
    /// @}

    /// @name Talk-back, G.711 µ-law at 8000 Hz; the library passes 0 as @p channel
    /// @{

    /// Busy while somebody else talks.
    virtual XRetError startTalk(int channel);
    virtual XRetError stopTalk(int channel);
    virtual XRetError sendTalkData(const char* data, int length, int channel);
    /// @}
};
