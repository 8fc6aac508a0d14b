#include "core_video/deviceinterface.h"

#include <QLoggingCategory>
#include <QMutexLocker>

namespace {
Q_LOGGING_CATEGORY(lcDevice, "vantor.device")
}

DeviceInterface::DeviceInterface() = default;

DeviceInterface::~DeviceInterface() = default;

void DeviceInterface::setStreamChannel(int channelNumber, int streamNumber)
{
    channel = channelNumber;
    stream = streamNumber;
}

int DeviceInterface::bindDevice(const QSharedPointer<XNetDevice>& other)
{
    if (!other) {
        qCCritical(lcDevice, "null");
        return -1;
    }
    const QMutexLocker lock(&deviceMutex);
    boundDevice = other;
    return 0;
}

void DeviceInterface::unbindDevice()
{
    QSharedPointer<XNetDevice> released; // goes after the lock: its destructor is the host's
    const QMutexLocker lock(&deviceMutex);
    released.swap(boundDevice);
}

bool DeviceInterface::isStreamExceedMax() const { return exceedCount > 0; }

QSharedPointer<XNetDevice> DeviceInterface::device() const
{
    const QMutexLocker lock(&deviceMutex);
    return boundDevice;
}
