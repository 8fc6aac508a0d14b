#include "mediaproc/parameterunits.h"

#include <algorithm>
#include <iterator>

namespace {
constexpr uint8_t startCode[] = {0, 0, 1};
constexpr uint8_t typeMask = 0x1F;
constexpr uint8_t firstBesidePictures = 6; ///< supplemental information
constexpr uint8_t lastBesidePictures = 12; ///< filler

bool isBesidePictures(uint8_t header)
{
    const uint8_t type = header & typeMask;
    return type >= firstBesidePictures && type <= lastBesidePictures;
}
} // namespace

bool areParameterUnits(const uint8_t* data, int length)
{
    const uint8_t* const end = data + length;
    bool hasAny = false;
    while (true) {
        const uint8_t* unit = std::search(data, end, std::begin(startCode), std::end(startCode));
        if (end - unit <= static_cast<std::ptrdiff_t>(std::size(startCode)))
            return hasAny;
        data = unit + std::size(startCode);
        if (!isBesidePictures(*data))
            return false;
        hasAny = true;
    }
}
