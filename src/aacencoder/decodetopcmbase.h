#pragma once

#include "aacencoder/idecodetopcm.h"

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

private:
    int chunkBytes = 0;
};
