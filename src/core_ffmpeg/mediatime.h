#pragma once

#include <QtGlobal>

extern "C" {
#include <libavutil/mathematics.h>
}

/// Times that sources give, in microseconds.
///
/// Damaged sources give any. Here they end a thousand years from 0, so that sums and differences of a few are numbers.
namespace MediaTime {

constexpr qint64 farthest = qint64(1) << 55;

inline qint64 bounded(qint64 microseconds) { return qBound(-farthest, microseconds, farthest); }

/// @p stamp in @p timeBase; what does not fit counts as the farthest past.
inline qint64 microseconds(qint64 stamp, AVRational timeBase)
{
    return bounded(av_rescale_q(stamp, timeBase, AVRational{1, 1000000}));
}

} // namespace MediaTime
