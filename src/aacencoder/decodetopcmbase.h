#pragma once

#include "aacencoder/idecodetopcm.h"

#include <array>

/// A decoder for codecs with one byte a sample; a subclass expands the single byte.
class VANTOR_EXPORT DecodeToPcmBase : public IDecodeToPcm
{
public:
    int init(const Easy_AACEncoder_Record& record) override;

    /// Returns -1 when a pointer is null or there is no input, -2 when the samples don't fit; nothing is written then.
    int decode(short* pcm, unsigned int* pcmBytes, const unsigned char* input, unsigned int inputBytes) override;

    int pcmSize() override;
    int chunkSize() override;

    /// The sample that @p code stands for.
    virtual short decodeOne(unsigned char code) = 0;

protected:
    /// The sample of every code.
    using SampleTable = std::array<short, 256>;

    DecodeToPcmBase() = default;

    /// decode() looks the samples up in @p samples, which outlives the object, instead of calling decodeOne() for each:
    /// the calls would be most of what the road to AAC costs above FAAC.
    explicit DecodeToPcmBase(const SampleTable* samples);

private:
    const SampleTable* const table = nullptr;
    int chunkBytes = 0;
};
