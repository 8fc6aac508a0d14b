// FAAC's interface over FFmpeg's AAC encoder, as far as the library uses it: 16-bit samples in, ADTS frames out. It
// takes FAAC's place in a build for Windows where the source package of FAAC can't be had. The sound is good AAC; the
// bytes are not those that FAAC would write.
#define FAACAPI __declspec(dllexport)
#include <faac.h>

#include "core_ffmpeg/ffmpegcompat.h"
#include "core_ffmpeg/ffmpegptr.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

namespace {

constexpr unsigned frameSamples = 1024; // of one channel
constexpr unsigned mostOutputBytes = 8192;
constexpr unsigned mostChannels = 8;
constexpr std::size_t adtsHeaderBytes = 7;
constexpr int bitsPerSample = 4; // of the result, on average
constexpr float fullScale = 32768.0F;

// In the order of their indexes in an ADTS header, without the last, which FAAC does not use.
constexpr std::array<int, 12> standardRates{96000, 88200, 64000, 48000, 44100, 32000,
                                            24000, 22050, 16000, 12000, 11025, 8000};

/// Like FAAC, sound of any rate is encoded as if it had the nearest that AAC knows.
std::size_t nearestRate(unsigned long rate)
{
    const auto isFurther = [rate](int left, int right) {
        const auto distance = [rate](int standard) { return std::abs(double(rate) - standard); };
        return distance(left) < distance(right);
    };
    return std::size_t(std::min_element(standardRates.begin(), standardRates.end(), isFurther) - standardRates.begin());
}

/// How the header says the channels; 0 leaves it to the sound itself.
unsigned channelIndex(int channels)
{
    if (channels == 8)
        return 7;
    return channels == 7 ? 0 : unsigned(channels);
}

/// What a handle points to.
class Encoder
{
public:
    Encoder(unsigned long sampleRate, int channels)
        : rateIndex(nearestRate(sampleRate))
        , channels(channels)
    {
        configuration.version = FAAC_CFG_VERSION;
        configuration.mpegVersion = MPEG4;
        configuration.aacObjectType = LOW;
        configuration.outputFormat = ADTS_STREAM;
        configuration.inputFormat = FAAC_INPUT_16BIT;
    }

    faacEncConfiguration configuration{};

    bool open()
    {
        FFmpegCodec* codec = avcodec_find_encoder(AV_CODEC_ID_AAC);
        context.reset(avcodec_alloc_context3(codec));
        frame = makeFrame();
        packet = makePacket();
        if (!codec || !context || !frame || !packet)
            return false;
        context->sample_fmt = AV_SAMPLE_FMT_FLTP;
        context->sample_rate = standardRates[rateIndex];
        context->bit_rate = int64_t(bitsPerSample) * standardRates[rateIndex] * channels;
        context->time_base = {1, standardRates[rateIndex]};
        setDefaultChannels(context.get(), channels);
        return avcodec_open2(context.get(), codec, nullptr) == 0 && makePlanes();
    }

    /// Up to a frame of interleaved samples; what is missing is silence. Bytes of the result, 0 for none, or -1.
    int encode(const int16_t* samples, std::size_t count, unsigned char* output, std::size_t room)
    {
        if (!context || count > std::size_t(frameSamples) * unsigned(channels)
            || av_frame_make_writable(frame.get()) < 0)
            return -1;
        fill(samples, count);
        frame->pts = time;
        time += frameSamples;
        if (avcodec_send_frame(context.get(), frame.get()) < 0)
            return -1;
        av_packet_unref(packet.get());
        const int result = avcodec_receive_packet(context.get(), packet.get());
        if (result == AVERROR(EAGAIN))
            return 0;
        return result < 0 ? -1 : write(output, room);
    }

private:
    bool makePlanes()
    {
        frame->format = context->sample_fmt;
        frame->sample_rate = standardRates[rateIndex];
        frame->nb_samples = int(frameSamples);
        setDefaultChannels(frame.get(), channels);
        return av_frame_get_buffer(frame.get(), 0) == 0;
    }

    void fill(const int16_t* samples, std::size_t count)
    {
        for (int channel = 0; channel < channels; ++channel) {
            auto* const plane = reinterpret_cast<float*>(frame->extended_data[channel]);
            for (std::size_t i = 0; i < frameSamples; ++i) {
                const std::size_t at = i * std::size_t(channels) + std::size_t(channel);
                plane[i] = at < count ? samples[at] / fullScale : 0.0F;
            }
        }
    }

    int write(unsigned char* output, std::size_t room)
    {
        const std::size_t header = configuration.outputFormat == ADTS_STREAM ? adtsHeaderBytes : 0;
        const std::size_t size = header + std::size_t(packet->size);
        if (size > room)
            return -1;
        if (header > 0)
            writeHeader(output, unsigned(size));
        std::memcpy(output + header, packet->data, std::size_t(packet->size));
        return int(size);
    }

    void writeHeader(unsigned char* header, unsigned size) const
    {
        const unsigned mpeg2 = configuration.mpegVersion == MPEG2 ? 1 : 0;
        const unsigned profile = LOW - 1;
        const auto rate = unsigned(rateIndex);
        const unsigned layout = channelIndex(channels);
        header[0] = 0xFF;
        header[1] = static_cast<unsigned char>(0xF1 | mpeg2 << 3);
        header[2] = static_cast<unsigned char>(profile << 6 | rate << 2 | layout >> 2);
        header[3] = static_cast<unsigned char>((layout & 3) << 6 | size >> 11);
        header[4] = static_cast<unsigned char>(size >> 3);
        header[5] = static_cast<unsigned char>((size & 7) << 5 | 0x1F);
        header[6] = 0xFC;
    }

    const std::size_t rateIndex; // in standardRates
    const int channels;
    CodecContextPtr context;
    AvFramePtr frame;
    AvPacketPtr packet;
    int64_t time = 0;
};

Encoder* encoderOf(faacEncHandle handle) { return static_cast<Encoder*>(handle); }

} // namespace

faacEncHandle faacEncOpen(unsigned long sampleRate, unsigned numChannels, unsigned long* inputSamples,
                          unsigned long* maxOutputBytes)
{
    if (sampleRate < 1 || numChannels < 1 || numChannels > mostChannels)
        return nullptr;
    auto encoder = std::make_unique<Encoder>(sampleRate, int(numChannels));
    if (!encoder->open())
        return nullptr;
    *inputSamples = frameSamples * numChannels;
    *maxOutputBytes = mostOutputBytes;
    return encoder.release();
}

faacEncConfigurationPtr faacEncGetCurrentConfiguration(faacEncHandle handle)
{
    return &encoderOf(handle)->configuration;
}

int faacEncSetConfiguration(faacEncHandle handle, faacEncConfigurationPtr wanted)
{
    if (wanted->aacObjectType != LOW || wanted->inputFormat != FAAC_INPUT_16BIT)
        return 0;
    encoderOf(handle)->configuration = *wanted;
    return 1;
}

int faacEncEncode(faacEncHandle handle, int32_t* samples, unsigned count, unsigned char* output, unsigned room)
{
    return encoderOf(handle)->encode(reinterpret_cast<const int16_t*>(samples), count, output, room);
}

int faacEncClose(faacEncHandle handle)
{
    delete encoderOf(handle);
    return 0;
}
