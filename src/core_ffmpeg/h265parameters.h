#pragma once

#include <cstddef>
#include <cstdint>

namespace H265Parameters {

/// Whether a decoder can read every sequence parameter set among the Annex B units, with the video parameter sets that
/// come with it; true where there is none.
///
/// To be asked before FFmpeg's MP4 muxer gets them: it believes the counts in a broken set, and counts to 2^32 dozens of
/// times. The decoder knows the limits.
bool areReadable(const uint8_t* units, size_t size);

} // namespace H265Parameters
