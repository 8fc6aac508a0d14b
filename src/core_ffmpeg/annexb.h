#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// H.264 as a sequence of units behind start codes.
namespace AnnexB {

/// One unit without its start code; at least the header byte. Borrowed from what was split.
struct Unit
{
    const uint8_t* data;
    size_t size;

    int type() const { return data[0] & 0x1f; }

    /// Whether it is a part of a picture.
    bool isSlice() const { return type() >= 1 && type() <= 5; }

    /// Whether it is the part with the picture's upper left corner.
    bool isFirstSlice() const { return isSlice() && size > 1 && (data[1] & 0x80) != 0; }
};

/// The units of @p data; bytes before the first start code belong to none.
std::vector<Unit> split(const uint8_t* data, size_t size);

/// Whether @p data begins with a start code.
bool beginsUnit(const uint8_t* data, size_t size);

} // namespace AnnexB
