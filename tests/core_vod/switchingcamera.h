#pragma once

#include "devnet/xnetdevice.h"

#include <QSharedPointer>
#include <QVector>

#include <mutex>
#include <vector>

/// A camera whose encoder is set to something else while it sends: one channel made of several of a device, each read
/// for so many pictures before the next one takes its place. It keeps the times of the pictures that it handed out.
///
/// There is one stream, and one thread reads it.
class SwitchingCamera : public XNetDevice
{
public:
    struct Part
    {
        int channel; ///< of the device
        int pictures; ///< that it sends; the last part goes on
    };

    SwitchingCamera(const QSharedPointer<XNetDevice>& device, const QVector<Part>& parts);

    /// The time stamps of the pictures so far; any thread.
    QVector<qint64> times() const;
    int pictureCount() const;

    XChannelStatus getConnectStatus() override;
    XTransportProtocol getStreamProtocol() override;
    int getChannelCount() override;
    int getStreamCount() override;
    int getStreamCountPerChannel() override;
    XRetError enableMediaTransmit(int channel, int stream, bool enable) override;
    XRetError readFrame(int channel, int stream, XFrameHeader* frame, int timeout) override;
    XRetError getCodecInfo(int channel, int stream, XVideoEncPara& video, XAudioEncPara& audio) override;
    XRetError setCodecInfo(int channel, int stream, XVideoEncPara& video, XAudioEncPara& audio) override;

private:
    int sender() const;
    void switchOver();

    const QSharedPointer<XNetDevice> device;
    const QVector<Part> parts;

    mutable std::mutex mutex; // guards the rest
    int part = 0;
    int sent = 0; // of that part
    std::vector<qint64> stamps;
};
