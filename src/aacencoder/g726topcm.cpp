#include "aacencoder/g726topcm.h"

#include "aacencoder/g726decoder.h"

namespace {
constexpr int bytesPerChunk = 160;
constexpr int sampleRate = 8000;

int bitRateOf(unsigned rateCode)
{
    switch (rateCode) {
    case EASY_AACENCODER_G726_24K:
        return 24000;
    case EASY_AACENCODER_G726_32K:
        return 32000;
    case EASY_AACENCODER_G726_40K:
        return 40000;
    default:
        return 16000;
    }
}

/// Bytes of samples from one chunk, with the margin that a sample begun in the chunk before needs.
int pcmSizeOf(int bitRate)
{
    constexpr int unit = 30;
    const int pcmBytesPerUnit = unit * 8 * int(sizeof(short)) * sampleRate / bitRate;
    return (bytesPerChunk * pcmBytesPerUnit + unit) / unit;
}
} // namespace

G726ToPcm::G726ToPcm() = default;

G726ToPcm::~G726ToPcm() = default;

int G726ToPcm::init(const Easy_AACEncoder_Record& record)
{
    bitRate = bitRateOf(record.g726Rate);
    chunkBytes = bytesPerChunk;
    pcmBytesPerChunk = pcmSizeOf(bitRate);
    bits = 0;
    bitCount = 0;
    decoder = std::make_unique<G726Decoder>(bitsPerSample());
    return 0;
}

int G726ToPcm::decode(short* pcm, unsigned int* pcmBytes, const unsigned char* input, unsigned int inputBytes)
{
    if (!decoder)
        return -1;
    const int width = bitsPerSample();
    short* next = pcm;
    for (const unsigned char* octet = input; octet != input + inputBytes; ++octet) {
        bits |= unsigned(*octet) << bitCount;
        for (bitCount += 8; bitCount >= width; bitCount -= width, bits >>= width)
            *next++ = decoder->decode(bits & ((1U << width) - 1));
    }
    *pcmBytes = unsigned(next - pcm) * sizeof(short);
    return int(*pcmBytes);
}

int G726ToPcm::pcmSize() { return pcmBytesPerChunk; }

int G726ToPcm::chunkSize() { return chunkBytes; }

int G726ToPcm::bitsPerSample() const { return bitRate / sampleRate; }
