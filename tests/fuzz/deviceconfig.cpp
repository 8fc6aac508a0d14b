// The JSON that a MediaDevice is described in, and the device that is made of what it says.

#include "devnet/mediadevice.h"
#include "fuzz/fuzzing.h"

#include <QFile>

namespace {
constexpr int mostChannels = 64;

/// Asks everything that opens nothing.
void ask(const MediaDeviceConfig& config)
{
    MediaDevice device(config);
    require(device.getChannelCount() == config.channels.size(), "a channel for each that is described");
    require(device.getStreamCount() >= device.getChannelCount(), "a channel has a stream at least");
    require(device.getRtspUrls().size() <= device.getStreamCount(), "no more addresses than streams");
    for (int channel = -1; channel <= device.getChannelCount(); ++channel) {
        for (int stream = -1; stream <= device.getStreamCountPerChannel(); ++stream)
            device.getStreamStatus(channel, stream);
    }
}

void readAsFile(const QByteArray& json, bool isValid)
{
    const QString name = fuzzFolder() + "/device.json";
    QFile file(name);
    require(file.open(QIODevice::WriteOnly) && file.write(json) == json.size(), "the file is written");
    file.close();
    QString error;
    require(MediaDeviceConfig::fromJsonFile(name, &error).isValid() == isValid, "a file is read as its text");
    require(error.isEmpty() == isValid && (isValid || error.startsWith(name)), "an error names the file");
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray json(reinterpret_cast<const char*>(data), int(size));
    QString error;
    const MediaDeviceConfig config = MediaDeviceConfig::fromJson(json, &error);
    require(config.isValid() == error.isEmpty(), "what is not valid has a reason");
    if (config.isValid() && config.channels.size() <= mostChannels)
        ask(config);
    readAsFile(json, config.isValid());
    return 0;
}
