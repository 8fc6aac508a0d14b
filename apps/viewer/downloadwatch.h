#pragma once

#include "devnet/xnetdevice.h"

#include <QSharedPointer>

#include <atomic>

/// Stands before a device for one download and remembers what the device answered: a download's own signals don't tell
/// one refusal from another. Downloads are all that goes through it.
class DownloadWatch : public XNetDevice
{
public:
    explicit DownloadWatch(const QSharedPointer<XNetDevice>& device);

    /// @name The latest answers; any thread
    /// @{
    XRetError startResult() const { return started; }
    XRetError readResult() const { return read; }
    XRetError descriptionResult() const { return described; }

    /// Whether there was a description from which a file can be made.
    bool isDescribed() const { return hasVideo; }
    /// @}

    XChannelStatus getConnectStatus() override;
    XTransportProtocol getStreamProtocol() override;
    int getChannelCount() override;
    int getStreamCount() override;
    int getStreamCountPerChannel() override;
    XRetError enableMediaTransmit(int channel, int stream, bool enable) override;
    XRetError readFrame(int channel, int stream, XFrameHeader* frame, int timeout) override;
    XRetError getCodecInfo(int channel, int stream, XVideoEncPara& video, XAudioEncPara& audio) override;
    XRetError vodDownloadStart(unsigned id, const VodDownloadPara& para) override;
    XRetError vodDownloadStop(unsigned id) override;
    XRetError vodGetDownloadSdp(unsigned id, VodSdp& sdp) override;
    XRetError vodReadDLFrame(unsigned id, XFrameHeader* frame, int timeout) override;

private:
    const QSharedPointer<XNetDevice> device;
    std::atomic<XRetError> started{XRet::Ok};
    std::atomic<XRetError> read{XRet::Ok};
    std::atomic<XRetError> described{XRet::Ok};
    std::atomic<bool> hasVideo{false};
};
