#pragma once

#include "support/faultydevice.h"

#include <QFile>

#include <atomic>
#include <mutex>

/// A device of one channel that can go away and come back, and notes every picture of its main stream that it handed
/// over: "<time stamp> <moment>" a line, both in milliseconds since 1970.
class SoakDevice : public FaultyDevice
{
public:
    SoakDevice(const QSharedPointer<XNetDevice>& device, const QString& notesFile);

    /// From now on it says that it is not connected, has no streams on and refuses new ones.
    void goAway();
    void comeBack();

    XRetError enableMediaTransmit(int channel, int stream, bool enable) override;
    XRetError readFrame(int channel, int stream, XFrameHeader* frame, int timeout) override;

private:
    const QSharedPointer<XNetDevice> inner;
    std::atomic<bool> away{false};
    std::mutex mutex; // guards the file
    QFile notes;
};
