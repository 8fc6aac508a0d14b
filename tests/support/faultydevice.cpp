#include "support/faultydevice.h"

#include <QRandomGenerator>

#include <chrono>
#include <cstddef>
#include <initializer_list>

namespace {

using Lock = std::unique_lock<std::mutex>;
constexpr quint32 noiseBytes = 3000;

Fault changed(const QString& name, int frames, std::function<void(XFrameHeader*)> change)
{
    Fault fault;
    fault.name = name;
    fault.count = frames;
    fault.change = std::move(change);
    return fault;
}

QString hex(quint32 value) { return QString("0x%1").arg(value, 0, 16); }

void fillWithNoise(void* begin, quint32 bytes, quint32 seed)
{
    QRandomGenerator random(seed);
    auto* out = static_cast<quint8*>(begin);
    for (quint32 i = 0; i < bytes; ++i)
        out[i] = static_cast<quint8>(random.bounded(256));
}

quint8* payloadOf(XFrameHeader* frame) { return reinterpret_cast<quint8*>(frame) + offsetof(XFrameHeader, data); }

} // namespace

// --- Faults

Fault Fault::none(int frames)
{
    return changed("none", frames, [](XFrameHeader*) {});
}

Fault Fault::timeouts(int reads)
{
    Fault fault = errors(XRet::Timeout, reads);
    fault.name = "timeouts";
    return fault;
}

Fault Fault::errors(XRetError result, int reads)
{
    Fault fault;
    fault.name = QString("error %1").arg(result);
    fault.count = reads;
    fault.result = result;
    return fault;
}

Fault Fault::block(int milliseconds)
{
    Fault fault;
    fault.name = QString("block %1").arg(milliseconds);
    fault.blockMs = milliseconds;
    return fault;
}

Fault Fault::disconnect(int status)
{
    Fault fault;
    fault.name = QString("status %1").arg(status);
    fault.count = 0;
    fault.connection = status;
    return fault;
}

Fault Fault::reconnect()
{
    Fault fault = disconnect(XChannelStatus_Connected);
    fault.name = "reconnect";
    return fault;
}

Fault Fault::length(quint32 bytes, int frames)
{
    return changed("length " + hex(bytes), frames, [bytes](XFrameHeader* frame) { frame->length = bytes; });
}

Fault Fault::frameType(quint32 type, int frames)
{
    return changed("frameType " + hex(type), frames, [type](XFrameHeader* frame) { frame->frameType = type; });
}

Fault Fault::codecId(quint32 id, int frames)
{
    return changed("codecId " + hex(id), frames, [id](XFrameHeader* frame) { frame->codecId = id; });
}

Fault Fault::size(quint32 width, quint32 height, int frames)
{
    return changed(QString("size %1x%2").arg(width).arg(height), frames, [width, height](XFrameHeader* frame) {
        frame->width = width;
        frame->height = height;
    });
}

Fault Fault::soundFormat(quint32 rate, quint32 bits, quint32 channels, int frames)
{
    return changed(QString("sound %1 %2 %3").arg(rate).arg(bits).arg(channels), frames,
                   [rate, bits, channels](XFrameHeader* frame) {
                       frame->frameType = XFrameHeader::AudioFrame;
                       frame->codecId = 3;
                       frame->sampleRate = rate;
                       frame->bitWidth = bits;
                       frame->channels = channels;
                   });
}

Fault Fault::timestamp(quint64 milliseconds, int frames)
{
    return changed(QString("timestamp %1").arg(milliseconds), frames,
                   [milliseconds](XFrameHeader* frame) { frame->timestamp = milliseconds; });
}

Fault Fault::garbagePayload(quint32 seed, int frames)
{
    return changed("garbage payload " + hex(seed), frames, [seed](XFrameHeader* frame) {
        frame->length = noiseBytes;
        fillWithNoise(payloadOf(frame), noiseBytes, seed + static_cast<quint32>(frame->timestamp));
    });
}

Fault Fault::garbageHeader(quint32 seed, int frames)
{
    return changed("garbage header " + hex(seed), frames, [seed](XFrameHeader* frame) {
        fillWithNoise(frame, offsetof(XFrameHeader, data), seed + static_cast<quint32>(frame->timestamp));
    });
}

QVector<Fault> Fault::badFrames(int frames)
{
    QVector<Fault> faults;
    for (const quint32 bytes : {0u, 1u, 3u, 4u, XFrameHeader::largestPayload, XFrameHeader::largestPayload + 1,
                                0x7fffffffu, 0x80000000u, 0xffffffffu})
        faults << length(bytes, frames);
    for (const quint32 type : {1u, 3u, 4u, 5u, 7u, 0x7fffffffu, 0xffffffffu})
        faults << frameType(type, frames);
    for (const quint32 id : {1u, 2u, 3u, 5u, 0x7fffffffu, 0xffffffffu})
        faults << codecId(id, frames);
    faults << size(0, 0, frames) << size(0, 240, frames) << size(1, 1, frames) << size(321, 241, frames)
           << size(65536, 65536, frames) << size(0x7fffffff, 0x7fffffff, frames)
           << size(0xffffffff, 0xffffffff, frames);
    faults << soundFormat(0, 0, 0, frames) << soundFormat(1, 1, 1, frames) << soundFormat(8000, 8, 1, frames)
           << soundFormat(48000, 16, 2, frames) << soundFormat(8000, 16, 64, frames)
           << soundFormat(8000, 16, 0x7fffffff, frames) << soundFormat(8000, 0x7fffffff, 1, frames)
           << soundFormat(0x7fffffff, 16, 1, frames) << soundFormat(0x7fffffff, 0x7fffffff, 0x7fffffff, frames)
           << soundFormat(0xffffffff, 0xffffffff, 0xffffffff, frames);
    faults << timestamp(0, frames) << timestamp(0x7fffffffffffffffull, frames)
           << timestamp(0xffffffffffffffffull, frames);
    faults << garbagePayload(1, frames) << garbagePayload(2, frames) << garbageHeader(3, frames)
           << garbageHeader(4, frames);
    return faults;
}

// --- The device

FaultyDevice::FaultyDevice(const QSharedPointer<XNetDevice>& inner)
    : device(inner)
{
}

void FaultyDevice::add(const Fault& fault)
{
    const Lock lock(mutex);
    faults.push_back(fault);
}

void FaultyDevice::add(const QVector<Fault>& list)
{
    for (const Fault& fault : list)
        add(fault);
}

void FaultyDevice::refuseEnable(XRetError result, int count)
{
    const Lock lock(mutex);
    enableResults.insert(enableResults.end(), static_cast<std::size_t>(count), result);
}

void FaultyDevice::setConnection(int status)
{
    const Lock lock(mutex);
    connection = status;
}

void FaultyDevice::endFaults()
{
    const Lock lock(mutex);
    isEnded = true;
    faults.clear();
    ended.notify_all();
}

bool FaultyDevice::isDone() const
{
    const Lock lock(mutex);
    return faults.empty();
}

void FaultyDevice::setClock(Clock* newClock)
{
    const Lock lock(mutex);
    clock = newClock;
}

/// Changes of the status that stand before the next fault of a read. Under the mutex.
void FaultyDevice::applyConnections()
{
    while (!faults.empty() && faults.front().count <= 0) {
        connection = faults.front().connection;
        faults.pop_front();
    }
}

/// One use of the fault that is due, when it has to do with frames or not as asked; one without effect else.
Fault FaultyDevice::takeFault(bool forFrame)
{
    const Lock lock(mutex);
    applyConnections();
    if (faults.empty() || bool(faults.front().change) != forFrame)
        return {};
    const Fault fault = faults.front();
    if (--faults.front().count == 0)
        faults.pop_front();
    applyConnections();
    return fault;
}

void FaultyDevice::passBlock(int milliseconds)
{
    Lock lock(mutex);
    ended.wait_for(lock, std::chrono::milliseconds(milliseconds), [this] { return isEnded; });
}

XRetError FaultyDevice::failRead(XRetError result, int timeout)
{
    if (result != XRet::Timeout)
        return result;
    Lock lock(mutex);
    Clock& time = clock ? *clock : Clock::system();
    lock.unlock();
    time.sleep(qint64(timeout) * 1000);
    return result;
}

XRetError FaultyDevice::readThrough(const Read& read, XFrameHeader* frame, int timeout)
{
    const Fault ofRead = takeFault(false);
    if (ofRead.blockMs > 0)
        passBlock(ofRead.blockMs);
    if (ofRead.result != XRet::Ok)
        return failRead(ofRead.result, timeout);
    const XRetError result = read(frame, timeout);
    if (result != XRet::Ok)
        return result;
    const Fault ofFrame = takeFault(true);
    if (ofFrame.change)
        ofFrame.change(frame);
    return result;
}

XChannelStatus FaultyDevice::getConnectStatus()
{
    {
        const Lock lock(mutex);
        if (connection >= 0)
            return static_cast<XChannelStatus>(connection);
    }
    return device->getConnectStatus();
}

XChannelStatus FaultyDevice::getStreamStatus(int channel, int stream)
{
    {
        const Lock lock(mutex);
        if (connection >= 0)
            return static_cast<XChannelStatus>(connection);
    }
    return device->getStreamStatus(channel, stream);
}

XRetError FaultyDevice::enableMediaTransmit(int channel, int stream, bool enable)
{
    {
        const Lock lock(mutex);
        if (enable && !enableResults.empty()) {
            const XRetError result = enableResults.front();
            enableResults.pop_front();
            return result;
        }
    }
    return device->enableMediaTransmit(channel, stream, enable);
}

XRetError FaultyDevice::readFrame(int channel, int stream, XFrameHeader* frame, int timeout)
{
    return readThrough([=](XFrameHeader* to, int limit) { return device->readFrame(channel, stream, to, limit); },
                       frame, timeout);
}

XRetError FaultyDevice::vodReadFrame(unsigned id, XFrameHeader* frame, int timeout)
{
    return readThrough([=](XFrameHeader* to, int limit) { return device->vodReadFrame(id, to, limit); }, frame,
                       timeout);
}

XRetError FaultyDevice::vodReadDLFrame(unsigned id, XFrameHeader* frame, int timeout)
{
    return readThrough([=](XFrameHeader* to, int limit) { return device->vodReadDLFrame(id, to, limit); }, frame,
                       timeout);
}

// --- What passes through

QString FaultyDevice::getAlias() { return device->getAlias(); }

QString FaultyDevice::serialNumber() { return device->serialNumber(); }

XTransportProtocol FaultyDevice::getStreamProtocol() { return device->getStreamProtocol(); }

int FaultyDevice::getChannelCount() { return device->getChannelCount(); }

int FaultyDevice::getStreamCount() { return device->getStreamCount(); }

int FaultyDevice::getStreamCountPerChannel() { return device->getStreamCountPerChannel(); }

QStringList FaultyDevice::getRtspUrls() { return device->getRtspUrls(); }

XRetError FaultyDevice::requestVideoIFrame(int channel, int stream)
{
    return device->requestVideoIFrame(channel, stream);
}

XRetError FaultyDevice::getCodecInfo(int channel, int stream, XVideoEncPara& video, XAudioEncPara& audio)
{
    return device->getCodecInfo(channel, stream, video, audio);
}

XRetError FaultyDevice::setCodecInfo(int channel, int stream, XVideoEncPara& video, XAudioEncPara& audio)
{
    return device->setCodecInfo(channel, stream, video, audio);
}

XRetError FaultyDevice::vodStart(unsigned id, const VodStartPara& para) { return device->vodStart(id, para); }

XRetError FaultyDevice::vodStop(unsigned id) { return device->vodStop(id); }

XRetError FaultyDevice::vodPause(unsigned id) { return device->vodPause(id); }

XRetError FaultyDevice::vodResume(unsigned id) { return device->vodResume(id); }

XRetError FaultyDevice::vodSeek(unsigned id, const QDateTime& time) { return device->vodSeek(id, time); }

XRetError FaultyDevice::vodSetSpeed(unsigned id, int speed) { return device->vodSetSpeed(id, speed); }

XRetError FaultyDevice::vodDownloadStart(unsigned id, const VodDownloadPara& para)
{
    return device->vodDownloadStart(id, para);
}

XRetError FaultyDevice::vodDownloadStop(unsigned id) { return device->vodDownloadStop(id); }

XRetError FaultyDevice::vodGetDownloadSdp(unsigned id, VodSdp& sdp) { return device->vodGetDownloadSdp(id, sdp); }

XRetError FaultyDevice::startTalk(int channel) { return device->startTalk(channel); }

XRetError FaultyDevice::stopTalk(int channel) { return device->stopTalk(channel); }

XRetError FaultyDevice::sendTalkData(const char* data, int length, int channel)
{
    return device->sendTalkData(data, length, channel);
}
