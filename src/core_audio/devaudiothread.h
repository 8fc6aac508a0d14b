#pragma once

#include "core_audio/audiothread.h"

#include <QSharedPointer>
#include <QWeakPointer>

#include <mutex>

class XNetDevice;

/// Talk-back: what is said into the computer's microphone is heard at a device.
///
/// startTalk() asks the device and opens the microphone, every buffer that the microphone delivers is encoded (G.711
/// µ-law, 8000 Hz, mono) and sent, stopTalk() ends it. All calls to the device are made on the private thread. A talk
/// that was not stopped ends with the thread.
class VANTOR_EXPORT DevAudioThread : public AudioThread
{
    Q_OBJECT

public:
    DevAudioThread();
    ~DevAudioThread() override;

    /// @name Any thread
    /// @{

    /// -1 for a null pointer, which changes nothing; 0 otherwise.
    int setDevice(const QSharedPointer<XNetDevice>& newDevice);
    void clearDevice();
    /// @}

    /// Encodes and sends; nothing without a device or before the thread runs. Private thread.
    void receiveInputData(const QByteArray& data) override;

    /// Opens the microphone where the device agrees. Where it does not, one of sig_startTalkDeviceBusy() and
    /// sig_startTalkError() says so and the microphone stays closed. Private thread.
    void startTalk() override;

    /// Private thread.
    void stopTalk() override;

private:
    QSharedPointer<XNetDevice> currentDevice() const;
    void endTalk();

    mutable std::mutex mutex;
    QSharedPointer<XNetDevice> device; // guarded by mutex
    QWeakPointer<XNetDevice> talkingTo; // private thread
};
