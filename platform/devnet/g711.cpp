#include "devnet/g711.h"

#include <algorithm>

namespace {

constexpr int largestULaw = 32635;
constexpr int biasULaw = 132;

/// How many times @p value can be halved until it is below @p end.
int segmentOf(int value, int end)
{
    int segment = 0;
    for (; value >= end; value >>= 1)
        ++segment;
    return segment;
}

std::uint8_t uLaw(int sample)
{
    const int sign = sample < 0 ? 0x80 : 0;
    const int magnitude = std::min(sample < 0 ? -sample : sample, largestULaw) + biasULaw;
    const int segment = segmentOf(magnitude, 256);
    const int step = magnitude >> (segment + 3) & 0x0f;
    return static_cast<std::uint8_t>(~(sign | segment << 4 | step));
}

std::uint8_t aLaw(int sample)
{
    const int sign = sample < 0 ? 0 : 0x80;
    const int magnitude = sample < 0 ? -sample - 1 : sample;
    const int segment = segmentOf(magnitude, 256);
    const int step = magnitude >> (segment == 0 ? 4 : segment + 3) & 0x0f;
    return static_cast<std::uint8_t>((sign | segment << 4 | step) ^ 0x55);
}

template <typename Encode>
QByteArray encodeAll(const std::int16_t* samples, std::size_t count, Encode encode)
{
    QByteArray bytes(static_cast<int>(count), Qt::Uninitialized);
    std::transform(samples, samples + count, bytes.begin(),
                   [encode](std::int16_t sample) { return static_cast<char>(encode(sample)); });
    return bytes;
}

} // namespace

QByteArray G711::encodeULaw(const std::int16_t* samples, std::size_t count) { return encodeAll(samples, count, uLaw); }

QByteArray G711::encodeALaw(const std::int16_t* samples, std::size_t count) { return encodeAll(samples, count, aLaw); }
