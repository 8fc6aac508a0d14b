#include "aacencoder/g711utopcm.h"

#include <array>

namespace {
constexpr int bias = 132;
constexpr unsigned negativeBit = 0x80;

/// Complemented: bit 7 is the sign, 6 to 4 the segment, 3 to 0 the step in it; the bias shifts all segments alike.
constexpr short expand(unsigned code)
{
    code = ~code & 0xFF;
    const int segment = (code >> 4) & 7;
    const int magnitude = ((int(code & 15) * 8 + bias) << segment) - bias;
    return short((code & negativeBit) ? -magnitude : magnitude);
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

G711UToPcm::G711UToPcm()
    : DecodeToPcmBase(&samples)
{
}

short G711UToPcm::decodeOne(unsigned char code) { return samples[code]; }
