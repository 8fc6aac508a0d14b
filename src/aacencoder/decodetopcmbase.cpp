#include "aacencoder/decodetopcmbase.h"

#include <algorithm>
#include <limits>

namespace {
constexpr int bytesPerChunk = 160;
constexpr int invalidArgument = -1;
constexpr int pcmTooSmall = -2;
} // namespace

DecodeToPcmBase::DecodeToPcmBase(const SampleTable* samples)
    : table(samples)
{
}

int DecodeToPcmBase::init(const Easy_AACEncoder_Record&)
{
    chunkBytes = bytesPerChunk;
    return 0;
}

int DecodeToPcmBase::decode(short* pcm, unsigned int* pcmBytes, const unsigned char* input, unsigned int inputBytes)
{
    if (!pcm || !pcmBytes || !input || inputBytes == 0)
        return invalidArgument;
    // Counted in 64 bits: twice the length of a hostile input would wrap and pass for small.
    const quint64 needed = quint64(inputBytes) * sizeof(short);
    if (*pcmBytes < needed || needed > quint64(std::numeric_limits<int>::max()))
        return pcmTooSmall;
    const unsigned char* end = input + inputBytes;
    if (const SampleTable* samples = table)
        std::transform(input, end, pcm, [samples](unsigned char code) { return (*samples)[code]; });
    else
        std::transform(input, end, pcm, [this](unsigned char code) { return decodeOne(code); });
    *pcmBytes = unsigned(needed);
    return int(needed);
}

int DecodeToPcmBase::pcmSize() { return bytesPerChunk * int(sizeof(short)); }

int DecodeToPcmBase::chunkSize() { return chunkBytes; }
