#pragma once

#include <QtGlobal>

/// How loud interleaved PCM samples are. Any thread.
namespace PcmLevel {

/// The largest magnitude in the whole frames of @p data, 0 to 1 of full scale. Samples of 8 bits are unsigned and taken
/// as they are, with 0.5 subtracted from the result: silence gives 128/255 - 0.5, and bytes of 0 give -0.5.
/// 0 where there is no whole frame.
qreal peak(const char* data, int len, int sampleSize, int channelCount);

/// The mean of 16-bit samples in decibels: 20 * log10, cut to a whole number. Every sample counts as unsigned, a
/// negative one as 65536 more, and the mean is a whole number too. 0 for silence and for no samples.
qreal decibel(const char* data, int len);

} // namespace PcmLevel
