#include "core_audio/devaudiothread.h"

#include "core_codec/mediacodec.h"
#include "devnet/xnetdevice.h"

#include <QLoggingCategory>

namespace {
Q_LOGGING_CATEGORY(lcTalk, "vantor.audio.talk")

constexpr int talkChannel = 0;
constexpr int sampleRate = 8000;
constexpr int channelCount = 1;
constexpr int sampleSize = 16;
} // namespace

DevAudioThread::DevAudioThread()
{
    // Connected before the thread starts, so the device is told before the player goes.
    connect(privateThread(), &QThread::finished, this, &DevAudioThread::endTalk);
}

DevAudioThread::~DevAudioThread()
{
    stop(); // the thread calls this class
    clearDevice();
}

int DevAudioThread::setDevice(const QSharedPointer<XNetDevice>& newDevice)
{
    if (!newDevice)
        return -1;
    const std::lock_guard<std::mutex> lock(mutex);
    device = newDevice;
    return 0;
}

void DevAudioThread::clearDevice()
{
    const std::lock_guard<std::mutex> lock(mutex);
    device.reset();
}

QSharedPointer<XNetDevice> DevAudioThread::currentDevice() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return device;
}

void DevAudioThread::startTalk()
{
    const QSharedPointer<XNetDevice> partner = currentDevice();
    if (!partner)
        return;
    const XRetError result = partner->startTalk(talkChannel);
    if (result == XRet::Ok) {
        talkingTo = partner;
        openAudioInput(sampleRate, channelCount, sampleSize);
    } else if (result == XRet::Busy) {
        Q_EMIT sig_startTalkDeviceBusy(partner->serialNumber());
    } else {
        Q_EMIT sig_startTalkError(partner->serialNumber());
    }
}

void DevAudioThread::receiveInputData(const QByteArray& data)
{
    const QSharedPointer<XNetDevice> partner = currentDevice();
    if (!audioPlayer() || !partner)
        return;
    QByteArray samples = data; // the encoder takes samples that it may change
    _tag_audio_frame_s encoded{};
    if (!audioEncoder()->encodeAudioFrame(reinterpret_cast<unsigned char*>(samples.data()), unsigned(samples.size()), 0,
                                          &encoded))
        return;
    if (!encoded.data || encoded.length == 0)
        return;
    const XRetError result
        = partner->sendTalkData(reinterpret_cast<const char*>(encoded.data), int(encoded.length), talkChannel);
    if (result != XRet::Ok)
        qCWarning(lcTalk, "ret = %d", int(result));
}

void DevAudioThread::stopTalk()
{
    if (const QSharedPointer<XNetDevice> partner = currentDevice()) {
        partner->stopTalk(talkChannel);
        closeAudioInput();
    }
    talkingTo.clear();
}

void DevAudioThread::endTalk()
{
    if (const QSharedPointer<XNetDevice> partner = talkingTo.toStrongRef())
        partner->stopTalk(talkChannel);
    talkingTo.clear();
}
