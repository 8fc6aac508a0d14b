// A device's recordings, one of them a damaged file: listed, played back and downloaded.

#include "devnet/mediadevice.h"
#include "devnet/vodpara.h"
#include "fuzz/fuzzing.h"

#include <QDir>
#include <QFile>

#include <memory>

namespace {
constexpr int mostReads = 400;
constexpr unsigned channel = 0;

const QString goodName = QStringLiteral("20240229T115950_20240229T120000_0.mp4");
const QString fuzzedName = QStringLiteral("20240229T120000_20240229T120100_0.mp4");

QDateTime at(int secondsFromNoon) { return QDateTime(QDate(2024, 2, 29), QTime(12, 0)).addSecs(secondsFromNoon); }

void store(const QString& folder, const QString& name, const QByteArray& content)
{
    QFile file(folder + '/' + name);
    require(file.open(QIODevice::WriteOnly) && file.write(content) == content.size(), "the recording is written");
}

MediaDeviceConfig configOf(const QString& folder)
{
    MediaDeviceConfig config = MediaDeviceConfig::builtIn(1);
    config.archive = folder;
    return config;
}

XFrameHeader* frameBuffer()
{
    static const std::unique_ptr<unsigned char[]> buffer(new unsigned char[XFrameHeader::bufferSize]());
    return reinterpret_cast<XFrameHeader*>(buffer.get());
}

void requireFrame(const XFrameHeader* frame, quint64& lastVideo)
{
    require(frame->length <= XFrameHeader::largestPayload, "a frame fits its buffer");
    if (frame->frameType > XFrameHeader::LastVideoFrame)
        return;
    require(frame->timestamp >= lastVideo, "time does not go back within video");
    lastVideo = frame->timestamp;
}

void download(MediaDevice& device)
{
    if (device.vodDownloadStart(channel, {at(-60), at(3600)}) != XRet::Ok)
        return;
    VodSdp sdp;
    device.vodGetDownloadSdp(channel, sdp);
    quint64 last = 0;
    for (int i = 0; i < mostReads && device.vodReadDLFrame(channel, frameBuffer(), 0) == XRet::Ok; ++i)
        requireFrame(frameBuffer(), last);
    device.vodGetDownloadSdp(channel, sdp);
    device.vodDownloadStop(channel);
}

/// Playback keeps the pace of the pictures, so what is not due yet is not waited for.
void playBack(MediaDevice& device, FuzzInput& controls)
{
    if (device.vodStart(channel, {at(-60), {}, {}}) != XRet::Ok)
        return;
    for (int step = 0; step < 4; ++step) {
        quint64 last = 0;
        for (int i = 0; i < 20 && device.vodReadFrame(channel, frameBuffer(), 0) == XRet::Ok; ++i)
            requireFrame(frameBuffer(), last);
        device.vodSetSpeed(channel, int(controls.byte() % 24) - 6);
        device.vodSeek(channel, at(int(controls.byte()) - 60));
    }
    device.vodStop(channel);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzInput input(data, size);
    FuzzInput controls(data, size);
    const bool isBehindAnother = input.byte() % 2;
    const QByteArray content = input.rest();
    const QString folder = fuzzFolder() + "/archive";
    QDir().mkpath(folder);
    store(folder, fuzzedName, content);
    if (isBehindAnother)
        store(folder, goodName, content);
    {
        MediaDevice device(configOf(folder));
        require(device.recordings(channel, at(-3600), at(3600)).size() == (isBehindAnother ? 2 : 1),
                "a recording is listed by its name");
        download(device);
        playBack(device, controls);
    }
    QDir(folder).removeRecursively();
    return 0;
}
