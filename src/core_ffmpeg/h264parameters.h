#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

/// What the sequence parameter set of an H.264 stream says about its pictures.
struct H264Parameters
{
    int profile = 0; ///< as FFmpeg numbers them, with the constraint bits of the baseline and intra profiles
    int level = 0;
    int width = 0; ///< of what is shown, in pixels
    int height = 0;
    bool isFullRange = false;
    int rateNumerator = 0; ///< pictures a second, 0 where the set does not say
    int rateDenominator = 1;

    /// Reads the first set among Annex B units. Nothing when there is none, when it is broken, and for what is not
    /// 8-bit 4:2:0 in whole pictures: fields, more bits, other colour formats.
    static std::optional<H264Parameters> read(const uint8_t* units, size_t size);
};
