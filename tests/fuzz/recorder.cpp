// The recorders, given frames of devices and packets as FFmpeg reads them, with any parameters.

#include "core_ffmpeg/ffmpeghelper.h"
#include "core_ffmpeg/ffmpegptr.h"
#include "core_videosave/savemp4.h"
#include "core_videosave/savemp4ffmpeg.h"
#include "fuzz/inputdevice.h"

#include <QFile>

#include <cstring>
#include <memory>

namespace {
constexpr int mostFrames = 100; // what the queue of a recorder holds
constexpr int passMs = 5;

struct Parameters
{
    XVideoEncPara video;
    XAudioEncPara audio;
};

/// Plausible ones or, for a set bit, any.
Parameters takeParameters(FuzzInput& input)
{
    Parameters parameters;
    const int kind = input.byte();
    const bool isAny = kind & 0x80;
    parameters.video.codec = isAny ? qint32(input.number()) : kind % 3;
    parameters.video.width = isAny ? qint32(input.number()) : 64;
    parameters.video.height = isAny ? qint32(input.number()) : 64;
    parameters.video.param1 = 25;
    parameters.audio.codec = isAny ? qint32(input.number()) : 32 + (kind >> 2) % 4;
    parameters.audio.sampleRate = isAny ? qint32(input.number()) : kind & 0x20 ? 44100 : 8000;
    parameters.audio.bitWidth = isAny ? qint32(input.number()) : 16;
    parameters.audio.channels = isAny ? qint32(input.number()) : kind & 0x40 ? 2 : 1;
    return parameters;
}

AvPacketPtr takePacket(FuzzInput& input)
{
    const int kind = input.byte();
    const QByteArray bytes = input.bytes(input.word());
    AvPacketPtr packet = makePacket();
    if (!packet || av_new_packet(packet.get(), bytes.size()) < 0)
        return nullptr;
    std::memcpy(packet->data, bytes.constData(), std::size_t(bytes.size()));
    packet->flags = kind & 1 ? AV_PKT_FLAG_KEY : 0;
    packet->pts = kind & 2 ? qint64(quint64(input.number()) << 32 | input.number()) : input.word();
    packet->dts = kind & 4 ? AV_NOPTS_VALUE : kind & 8 ? packet->pts : qint64(input.number());
    return packet;
}

/// A recorder whose thread does not run: what it would do is done here, so that nothing is left out at the end.
template <typename Recorder>
class Synchronous final : public Recorder
{
public:
    bool begin(const QString& name)
    {
        this->setFileName(name);
        return this->init();
    }
    ~Synchronous() override { this->close(); }
};

/// The recorders take a frame together with the buffer that it is in.
template <typename Recorder, typename Step>
void writeFrames(Recorder& recorder, FuzzInput& input, Step afterEach)
{
    static const std::unique_ptr<unsigned char[]> buffer(new unsigned char[XFrameHeader::bufferSize]());
    auto* frame = reinterpret_cast<XFrameHeader*>(buffer.get());
    for (int i = 0; i < mostFrames && !input.isEmpty(); ++i) {
        if (InputDevice::takeFrame(input, frame, quint64(i) * 40) != XRet::Ok)
            continue;
        recorder.writeData(frame);
        afterEach(*frame);
    }
}

void writePackets(SaveMp4FFmpeg& recorder, FuzzInput& input)
{
    for (int i = 0; i < mostFrames && !input.isEmpty(); ++i) {
        const bool isVideo = input.byte() % 2 == 0;
        const AvPacketPtr packet = takePacket(input);
        recorder.writeData(packet.get(), isVideo);
    }
}

/// All is written by close(): the queue holds what the loops make.
void recordByFFmpeg(FuzzInput& input, const QString& name)
{
    Synchronous<SaveMp4FFmpeg> recorder;
    const int options = input.byte();
    const Parameters parameters = takeParameters(input);
    recorder.setPara(parameters.video, parameters.audio, passMs);
    recorder.setTimebase(options & 1 ? AVRational{1, 90000} : AVRational{1, 1000});
    recorder.setJoin(options & 2);
    if (options & 4)
        recorder.setExtradata(input.bytes(input.byte()));
    if (!recorder.begin(name))
        return;
    if (options & 8)
        writePackets(recorder, input);
    else
        writeFrames(recorder, input, [](const XFrameHeader&) {});
}

void recordByMediaproc(FuzzInput& input, const QString& name)
{
    Synchronous<SaveMp4> recorder;
    const Parameters parameters = takeParameters(input);
    recorder.setPara(parameters.video, parameters.audio, passMs);
    if (!recorder.begin(name))
        return;
    writeFrames(recorder, input, [&recorder](const XFrameHeader& frame) {
        if (frame.length <= XFrameHeader::largestPayload)
            recorder.save();
    });
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FFmpegHelper::initLib();
    FuzzInput input(data, size);
    const QString name = fuzzFolder() + "/recording.mp4";
    if (input.byte() % 2)
        recordByFFmpeg(input, name);
    else
        recordByMediaproc(input, name);
    QFile::remove(name);
    return 0;
}
