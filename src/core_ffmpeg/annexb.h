#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// H.264 as a sequence of units behind start codes; H.265 is divided in the same way, its units have other types.
namespace AnnexB {

/// One unit without its start code; at least the header byte. Borrowed from what was split.
struct Unit
{
    const uint8_t* data;
    size_t size;

    int type() const { return data[0] & 0x1f; }

    /// Its type where the units are those of H.265.
    int h265Type() const { return data[0] >> 1 & 0x3f; }

    /// Whether it is a part of a picture.
    bool isSlice() const { return type() >= 1 && type() <= 5; }

    /// Whether it is the part with the picture's upper left corner.
    bool isFirstSlice() const { return isSlice() && size > 1 && (data[1] & 0x80) != 0; }
};

/// Goes from unit to unit. Where a unit ends is looked for when it is asked for, or gone past: slices are the longest
/// part of a picture, and whoever wants what stands before them needn't look through them.
class Reader
{
public:
    Reader(const uint8_t* data, size_t size);

    /// Goes to the next unit that has a header; bytes before the first start code belong to none. False at the end.
    bool next();

    /// The unit, its length open: everything that follows belongs to it.
    Unit openUnit() const;

    /// The unit up to the next start code.
    Unit unit();

private:
    const uint8_t* begin; // of the unit
    const uint8_t* code;  // the start code behind the unit; null while nobody has looked for it
    const uint8_t* const end;
};

/// All units of @p data.
std::vector<Unit> split(const uint8_t* data, size_t size);

/// Whether @p data begins with a start code.
bool beginsUnit(const uint8_t* data, size_t size);

} // namespace AnnexB
