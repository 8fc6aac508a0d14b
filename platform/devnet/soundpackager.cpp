#include "devnet/soundpackager.h"

#include "core_ffmpeg/ffmpegcompat.h"

namespace {

constexpr int aLaw = 33;
constexpr int uLaw = 34;
constexpr int decodedBits = 16;

int codecOf(const AVCodecParameters* parameters)
{
    return parameters->codec_id == AV_CODEC_ID_PCM_ALAW ? aLaw
        : parameters->codec_id == AV_CODEC_ID_PCM_MULAW ? uLaw
                                                        : 0;
}

} // namespace

std::optional<SoundPackager> SoundPackager::make(const AVCodecParameters* parameters)
{
    SoundPackager packager;
    const int codec = codecOf(parameters);
    if (codec != 0) {
        packager.encoding = {codec, parameters->sample_rate, decodedBits, channelsOf(parameters)};
        return packager;
    }
    packager.converter = SoundConverter::make(parameters);
    if (!packager.converter)
        return {};
    packager.encoding = {uLaw, SoundConverter::sampleRate, decodedBits, 1};
    return packager;
}

void SoundPackager::package(AVPacket* packet, qint64 time, const SoundConverter::Output& output)
{
    if (converter)
        converter->convert(packet, time, output);
    else
        output(QByteArray(reinterpret_cast<const char*>(packet->data), packet->size), time);
}

void SoundPackager::finish(const SoundConverter::Output& output)
{
    if (converter)
        converter->finish(output);
}
