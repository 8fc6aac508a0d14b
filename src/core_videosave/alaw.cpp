#include "core_videosave/alaw.h"

#include <cstring>

namespace {
constexpr int evenBits = 0x55;
constexpr int positive = 0x80;

/// 13 bits of magnitude in eight segments of 16 steps, the two lowest of equal size; even bits inverted.
uint8_t codeOf(int16_t sample)
{
    const bool isPositive = sample >= 0;
    int magnitude = (isPositive ? sample : -1 - sample) >> 4;
    int segment = 0;
    while (magnitude > 31) {
        magnitude >>= 1;
        ++segment;
    }
    if (magnitude > 15)
        ++segment;
    const int code = segment << 4 | (magnitude & 0x0F);
    return static_cast<uint8_t>((isPositive ? code | positive : code) ^ evenBits);
}
} // namespace

QByteArray Alaw::fromLinear(const uint8_t* samples, int bytes)
{
    QByteArray codes(bytes / 2, Qt::Uninitialized);
    for (int index = 0; index < codes.size(); ++index) {
        int16_t sample = 0;
        std::memcpy(&sample, samples + index * 2, sizeof sample);
        codes[index] = static_cast<char>(codeOf(sample));
    }
    return codes;
}
