#include "stamp.h"

namespace {
constexpr int blockSize = 16;
constexpr int numberBits = 16;
constexpr int timeBits = 26;
constexpr int middleBrightness = 128;
constexpr quint64 timeMask = (1U << timeBits) - 1;
} // namespace

std::optional<Stamp> Stamp::read(const std::function<int(int x, int y)>& brightness)
{
    const auto bit = [&brightness](int column, int row) {
        return brightness(column * blockSize + blockSize / 2, top + row * rowHeight + rowHeight / 2)
            >= middleBrightness;
    };
    constexpr int guards = 2; // one bright, one dark
    quint64 code = 0;
    for (int column = 0; column < guards + numberBits + timeBits; ++column) {
        const bool isSet = bit(column, 0);
        if (isSet == bit(column, 1) || (column < guards && isSet != (column == 0)))
            return std::nullopt;
        code = code << 1 | (isSet ? 1 : 0);
    }
    return Stamp{quint16(code >> timeBits), quint32(code & timeMask)};
}

double Stamp::ageMs(qint64 nowUs) const
{
    const quint64 units = (quint64(nowUs / unitUs) - time) & timeMask;
    return (double(units) * unitUs + double(nowUs % unitUs)) / 1000;
}
