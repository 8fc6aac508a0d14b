#pragma once

#include "aacencoder/easyaacencoder.h"
#include "core_videobase/vantorexport.h"

#include <cstddef>
#include <memory>
#include <vector>

class FaacEncoder;
class IDecodeToPcm;

/// The encoder behind Easy_AACEncoder_Init() and its companions.
///
/// Compressed bytes collect in the input buffer, leave it in chunks, are expanded by the decoder, collect again as
/// samples in the frame buffer, and every full frame buffer becomes one AAC frame. All buffers are allocated by init().
/// One object belongs to one thread; nothing is logged.
class VANTOR_EXPORT G7ToAac
{
public:
    G7ToAac();
    ~G7ToAac();
    G7ToAac(const G7ToAac&) = delete;
    G7ToAac& operator=(const G7ToAac&) = delete;

    /// Sets up for @p values. False when no encoder can be made for it; the object then only deserves destruction.
    bool init(const Easy_AACEncoder_Record& values);

    /// The same with a decoder of the caller's own instead of the one that values.audioCodec names.
    bool init(const Easy_AACEncoder_Record& values, std::unique_ptr<IDecodeToPcm> decoder);

    /// What init() was given; before, one channel of A-law at 8000 Hz with 16-bit samples.
    const Easy_AACEncoder_Record& record() const;

    /// What Easy_AACEncoder_Encode() does. Returns 0 before init().
    int encode(const unsigned char* input, unsigned int length, unsigned char* output, unsigned int* outputLength);

private:
    void append(const unsigned char* input, unsigned int length);
    bool encodeChunks(unsigned char* output, unsigned int* outputLength);
    bool encodeChunk(const unsigned char* chunk, unsigned char* output, unsigned int* outputLength);
    bool completeFrame(std::size_t decoded, unsigned char* output, unsigned int* outputLength);
    bool encodeFrame(unsigned char* output, unsigned int* outputLength);

    Easy_AACEncoder_Record parameters;
    std::unique_ptr<IDecodeToPcm> decoder;
    std::unique_ptr<FaacEncoder> faac;
    std::vector<unsigned char> inputBuffer;
    std::size_t inputFill = 0;
    std::vector<short> pcm; ///< of one chunk
    std::vector<unsigned char> frame;
    std::size_t frameFill = 0;
};
