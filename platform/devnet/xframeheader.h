#pragma once

#include <cstddef>
#include <cstdint>

/// Head of one encoded frame from a device. The payload begins inside the record, at data, and goes on behind its end
/// in the same buffer.
struct XFrameHeader
{
    /// A buffer for frames holds the record and this much behind it.
    static constexpr std::size_t bufferSize = 56 + 1048576;

    /// The largest payload that fits.
    static constexpr std::uint32_t largestPayload = bufferSize - 48;

    enum FrameType : std::uint32_t {
        VideoKeyFrame = 0, ///< 1, 2 and 3 are other video frames
        LastVideoFrame = 3,
        AudioFrame = 4
    };

    std::uint32_t reserved0;
    std::uint32_t frameType; ///< a FrameType; any other value is neither decoded nor treated as video
    std::uint32_t length;    ///< payload in bytes
    std::uint32_t codecId;   ///< video: 0 H.264, 1 H.265; audio: 3 G.711 A-law, 4 G.711 µ-law, 5 16-bit linear PCM
    union {
        std::uint32_t width;      ///< video: pixels
        std::uint32_t sampleRate; ///< audio: Hz
    };
    union {
        std::uint32_t height;   ///< video: pixels
        std::uint32_t bitWidth; ///< audio: bits per sample
    };
    union {
        std::uint32_t param1;   ///< video: copied into XVideoEncPara::param1
        std::uint32_t channels; ///< audio
    };
    std::uint32_t param2;     ///< video: copied into XVideoEncPara::param2
    std::uint64_t timestamp;  ///< presentation time in milliseconds
    std::uint64_t reserved40;
    std::uint8_t data[8];     ///< first bytes of the payload
};
static_assert(sizeof(XFrameHeader) == 56, "exchanged with devices as it lies");
static_assert(offsetof(XFrameHeader, timestamp) == 32 && offsetof(XFrameHeader, data) == 48,
              "exchanged with devices as it lies");
