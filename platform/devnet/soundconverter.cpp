#include "devnet/soundconverter.h"

#include "core_ffmpeg/ffmpegcompat.h"
#include "devnet/g711.h"

namespace {

constexpr int frameMs = 40;
constexpr std::size_t frameSamples = SoundConverter::sampleRate * frameMs / 1000;
constexpr qint64 microsecondsPerSample = 1000000 / SoundConverter::sampleRate;

CodecContextPtr openDecoder(const AVCodecParameters* parameters)
{
    const AVCodec* const codec = avcodec_find_decoder(parameters->codec_id);
    CodecContextPtr decoder(codec ? avcodec_alloc_context3(codec) : nullptr);
    if (!decoder || avcodec_parameters_to_context(decoder.get(), parameters) < 0)
        return nullptr;
    decoder->pkt_timebase = {1, 1000000};
    decoder->thread_count = 1;
    return avcodec_open2(decoder.get(), codec, nullptr) < 0 ? nullptr : std::move(decoder);
}

} // namespace

std::optional<SoundConverter> SoundConverter::make(const AVCodecParameters* parameters)
{
    CodecContextPtr decoder = openDecoder(parameters);
    if (!decoder)
        return {};
    return SoundConverter(std::move(decoder));
}

SoundConverter::SoundConverter(CodecContextPtr openDecoder)
    : decoder(std::move(openDecoder))
    , frame(makeFrame())
{
}

void SoundConverter::convert(AVPacket* packet, qint64 time, const Output& output)
{
    packet->pts = packet->dts = time;
    if (avcodec_send_packet(decoder.get(), packet) < 0)
        return; // a damaged packet; the next one may be good
    while (avcodec_receive_frame(decoder.get(), frame.get()) == 0)
        takeFrame(output);
}

void SoundConverter::finish(const Output& output)
{
    if (!samples.empty())
        putOut(samples.size(), output);
}

void SoundConverter::takeFrame(const Output& output)
{
    if (!adapt())
        return;
    if (frame->best_effort_timestamp != AV_NOPTS_VALUE)
        firstTime = frame->best_effort_timestamp - static_cast<qint64>(samples.size()) * microsecondsPerSample;
    resample();
    while (samples.size() >= frameSamples)
        putOut(frameSamples, output);
}

/// Makes the resampler anew when the sound has another form than before.
bool SoundConverter::adapt()
{
    if (resampler && rate == frame->sample_rate && channels == channelsOf(frame.get()) && sampleFormat == frame->format)
        return true;
    rate = frame->sample_rate;
    channels = channelsOf(frame.get());
    sampleFormat = frame->format;
    resampler.reset(allocConverter(channels, static_cast<AVSampleFormat>(sampleFormat), rate, 1, sampleRate));
    if (!resampler || swr_init(resampler.get()) < 0)
        resampler.reset();
    return resampler != nullptr;
}

void SoundConverter::resample()
{
    const int room = swr_get_out_samples(resampler.get(), frame->nb_samples);
    if (room <= 0)
        return;
    const std::size_t before = samples.size();
    samples.resize(before + static_cast<std::size_t>(room));
    auto* target = reinterpret_cast<uint8_t*>(samples.data() + before);
    const int count = swr_convert(resampler.get(), &target, room, const_cast<const uint8_t**>(frame->extended_data),
                                  frame->nb_samples);
    samples.resize(before + static_cast<std::size_t>(count > 0 ? count : 0));
}

void SoundConverter::putOut(std::size_t count, const Output& output)
{
    output(G711::encodeULaw(samples.data(), count), firstTime);
    samples.erase(samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(count));
    firstTime += static_cast<qint64>(count) * microsecondsPerSample;
}
