#pragma once

#include "core_ffmpeg/ffmpegptr.h"

#include <cstdint>
#include <memory>
#include <vector>

/// Encodes 16-bit PCM as AAC. Used by one thread at a time.
class AacEncoder
{
public:
    /// Null for sound that can't be encoded.
    static std::unique_ptr<AacEncoder> create(int sampleRate, int channels);

    /// Takes interleaved samples; what does not fill an AAC frame waits for more.
    void add(const int16_t* samples, size_t count);

    /// Takes that much silence in every channel.
    void addSilence(int64_t samplesPerChannel);

    /// The next packet, its time stamps in samples from the first one on; null while there is none.
    AvPacketPtr takePacket();

    /// Encodes what is left; takePacket() then gives the last packets.
    void finish();

    /// Samples per channel that were taken so far.
    int64_t position() const { return taken; }

    const AVCodecContext* codec() const { return context.get(); }

private:
    explicit AacEncoder(CodecContextPtr opened);
    void encodeFrame(size_t samplesPerChannel);

    const CodecContextPtr context;
    std::vector<int16_t> pending; // interleaved
    int64_t taken = 0;
    int64_t encoded = 0;
};
