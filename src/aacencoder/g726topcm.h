#pragma once

#include "aacencoder/idecodetopcm.h"

#include <memory>

class G726Decoder;

/// G.726 at 16, 24, 32 or 40 kbit/s to 16-bit samples.
///
/// The first sample stands in the least significant bits of the first byte. The input is one stream of bits: a sample
/// may straddle two calls of decode(), so a chunk of 3-bit samples gives 426 or 427 of them.
class VANTOR_EXPORT G726ToPcm : public IDecodeToPcm
{
public:
    G726ToPcm();
    ~G726ToPcm() override;

    int init(const Easy_AACEncoder_Record& record) override;

    /// Checks neither pointers nor sizes: @p pcm must have pcmSize() bytes for every chunkSize() bytes of input.
    /// Returns -1 before init().
    int decode(short* pcm, unsigned int* pcmBytes, const unsigned char* input, unsigned int inputBytes) override;

    int pcmSize() override;
    int chunkSize() override;

private:
    int bitsPerSample() const;

    std::unique_ptr<G726Decoder> decoder;
    int bitRate = 0; // bit/s
    int chunkBytes = 0;
    int pcmBytesPerChunk = 0;
    unsigned bits = 0; // not yet a whole sample, the first one lowest
    int bitCount = 0;
};
