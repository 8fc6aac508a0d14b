#pragma once

#include "core_videobase/vantorexport.h"
#include "devnet/xnetdevice.h"

#include <QMutex>
#include <QSharedPointer>

#include <atomic>

/// What ties a video thread to one stream of a device.
///
/// The setters are called before the thread is started; unbindDevice() after it has ended. isStreamExceedMax() and the
/// getters may be called from any thread.
class VANTOR_EXPORT DeviceInterface
{
public:
    DeviceInterface();
    ~DeviceInterface();

    DeviceInterface(const DeviceInterface&) = delete;
    DeviceInterface& operator=(const DeviceInterface&) = delete;

    /// Both count from 0.
    void setStreamChannel(int channel, int stream);

    /// Shares the device; -1 for null, else 0.
    int bindDevice(const QSharedPointer<XNetDevice>& device);
    void unbindDevice();

    /// Whether the device refused this stream the last time for having too many connections.
    bool isStreamExceedMax() const;

protected:
    /// The device; the caller's copy keeps it for as long as it is used. Any thread.
    QSharedPointer<XNetDevice> device() const;

    std::atomic<int> channel{0};
    std::atomic<int> stream{0};
    std::atomic<int> exceedCount{0};

private:
    mutable QMutex deviceMutex;
    QSharedPointer<XNetDevice> boundDevice;
};
