#include "aacencoder/g711atopcm.h"

#include <array>

namespace {
constexpr unsigned evenBits = 0x55; // inverted on the line
constexpr unsigned positiveBit = 0x80;

/// Bit 7 is the sign, 6 to 4 the segment, 3 to 0 the step in it; the value is the middle of the step.
constexpr short expand(unsigned code)
{
    code ^= evenBits;
    const int segment = (code >> 4) & 7;
    const int middle = int(code & 15) * 16 + 8;
    const int magnitude = segment == 0 ? middle : (middle + 256) << (segment - 1);
    return short((code & positiveBit) ? magnitude : -magnitude);
}

constexpr std::array<short, 256> makeTable()
{
    std::array<short, 256> table{};
    for (unsigned code = 0; code < table.size(); ++code)
        table[code] = expand(code);
    return table;
}

constexpr std::array<short, 256> samples = makeTable();
} // namespace

G711AToPcm::G711AToPcm()
    : DecodeToPcmBase(&samples)
{
}

short G711AToPcm::decodeOne(unsigned char code) { return samples[code]; }
