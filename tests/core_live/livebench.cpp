#include "livebench.h"

#include "core_video/deviceinterface.h"
#include "core_videobase/abstractvideothread.h"
#include "support/deviceframe.h"
#include "support/waiting.h"

namespace {

constexpr int limitMs = 10000;
constexpr int connectTimeoutMs = 500;
constexpr int readTimeoutMs = 600;

} // namespace

QSharedPointer<FakeDevice> LiveBench::makeDevice(XTransportProtocol protocol, int channels, int streamsPerChannel)
{
    static const DeviceFrames mainStream = DeviceStream::h264();
    static const DeviceFrames otherStream = DeviceStream::h264OtherSize();
    auto device = QSharedPointer<FakeDevice>::create(protocol, channels, streamsPerChannel);
    for (int channel = 0; channel < channels; ++channel) {
        for (int stream = 0; stream < streamsPerChannel; ++stream) {
            FrameScript& script = device->script(channel, stream);
            script.setClip(stream == 0 ? mainStream : otherStream);
            script.setPace(FrameScript::Pace::RealTime);
        }
    }
    return device;
}

void LiveBench::startThread(const QSharedPointer<AbstractVideoThread>& thread, int channel, int stream)
{
    dynamic_cast<DeviceInterface*>(thread.data())->setStreamChannel(channel, stream);
    thread->setConnectTimeout(connectTimeoutMs);
    thread->setReadTimeout(readTimeoutMs);
    thread->play();
}

bool LiveBench::waitUntilOpen(const QSharedPointer<AbstractVideoThread>& thread)
{
    return Waiting::until([&] { return thread->getIsOk(); }, limitMs);
}

