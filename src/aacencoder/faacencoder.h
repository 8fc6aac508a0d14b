#pragma once

#include <memory>
#include <vector>

/// One FAAC encoder, set to MPEG-2 AAC, low complexity, ADTS, from 16-bit samples. Belongs to one thread.
class FaacEncoder
{
public:
    /// Null when FAAC takes no such sound. @p pcmBitSize is the number of bits of a sample.
    static std::unique_ptr<FaacEncoder> open(unsigned long sampleRate, unsigned channels, unsigned pcmBitSize);

    /// Bytes of samples in one AAC frame, all channels together.
    std::size_t frameBytes() const;

    /// Encodes up to frameBytes() bytes; fewer are a short frame. Returns the bytes now in output(), 0 while FAAC still
    /// collects, or a negative code.
    int encode(unsigned char* pcm, std::size_t bytes);

    /// The frame of the last encode(); valid until the next.
    const unsigned char* output() const;

private:
    struct Closer
    {
        void operator()(void* encoder) const;
    };

    FaacEncoder() = default;
    bool configure();

    std::unique_ptr<void, Closer> handle;
    unsigned bytesPerSample = 0;
    unsigned long inputSamples = 0;
    std::vector<unsigned char> aac;
};
