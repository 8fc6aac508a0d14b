#pragma once

#include <cstddef>
#include <cstdint>

/// Video encoding of a device stream, as devices report it and recorders are given it.
struct XVideoEncPara
{
    std::int32_t codec = 0;  ///< 1 H.264, 2 H.265, anything else none
    std::int32_t width = 0;  ///< pixels
    std::int32_t height = 0; ///< pixels
    std::int32_t param1 = 0; ///< copied from the frame header
    std::int32_t param3 = 0; ///< 1 when the record was built from a frame header
    std::int32_t param2 = 0; ///< copied from the frame header

    bool isValid() const { return (codec == 1 || codec == 2) && width > 0 && height > 0; }
};
static_assert(sizeof(XVideoEncPara) == 24 && offsetof(XVideoEncPara, param2) == 20,
              "exchanged with devices as it lies");

inline bool operator==(const XVideoEncPara& a, const XVideoEncPara& b)
{
    return a.codec == b.codec && a.height == b.height && a.width == b.width;
}
inline bool operator!=(const XVideoEncPara& a, const XVideoEncPara& b) { return !(a == b); }

/// Audio encoding of a device stream.
struct XAudioEncPara
{
    std::int32_t codec = 0;      ///< 33 G.711 A-law, 34 G.711 µ-law, 35 16-bit linear PCM
    std::int32_t sampleRate = 0; ///< Hz
    std::int32_t bitWidth = 0;   ///< bits per sample
    std::int32_t channels = 1;

    bool isValid() const
    {
        return codec >= 33 && codec <= 35 && bitWidth > 0 && channels > 0 && sampleRate > 0;
    }
};
static_assert(sizeof(XAudioEncPara) == 16 && offsetof(XAudioEncPara, channels) == 12,
              "exchanged with devices as it lies");

inline bool operator==(const XAudioEncPara& a, const XAudioEncPara& b)
{
    return a.codec == b.codec && a.sampleRate == b.sampleRate && a.bitWidth == b.bitWidth && a.channels == b.channels;
}
inline bool operator!=(const XAudioEncPara& a, const XAudioEncPara& b) { return !(a == b); }
