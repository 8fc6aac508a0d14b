#pragma once

#include <QtGlobal>

/// Bits per second that a recording of this picture size is said to have; the largest pictures fall back to the
/// smallest rate.
constexpr int recordedBitRate(int width, int height)
{
    const qint64 pixels = static_cast<qint64>(width) * height;
    if (pixels < 230401)
        return 400000;
    if (pixels < 518401)
        return 900000;
    if (pixels < 921601)
        return 1500000;
    if (pixels < 2073601)
        return 3000000;
    if (pixels < 3686401)
        return 3500000;
    if (pixels < 8294401)
        return 6000000;
    return 400000;
}
