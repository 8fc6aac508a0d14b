#include "core_ffmpeg/annexb.h"

#include <algorithm>
#include <array>

namespace {
constexpr std::array<uint8_t, 3> startCode{0, 0, 1};

/// The first start code, else @p end. A third byte that is not 0 ends the chance of three places at once.
const uint8_t* findCode(const uint8_t* from, const uint8_t* end)
{
    while (end - from >= 3) {
        if (from[2] == 1 && from[1] == 0 && from[0] == 0)
            return from;
        from += from[2] == 0 ? 1 : 3;
    }
    return end;
}
} // namespace

AnnexB::Reader::Reader(const uint8_t* data, size_t size)
    : begin(data)
    , code(findCode(data, data + size))
    , end(data + size)
{
}

bool AnnexB::Reader::next()
{
    bool hasHeader = false;
    while (!hasHeader) {
        if (!code)
            code = findCode(begin, end);
        if (code == end)
            return false;
        begin = code + startCode.size();
        code = nullptr;
        hasHeader = begin < end && (*begin != 0 || unit().size > 0);
    }
    return true;
}

AnnexB::Unit AnnexB::Reader::openUnit() const { return {begin, static_cast<size_t>(end - begin)}; }

AnnexB::Unit AnnexB::Reader::unit()
{
    if (!code)
        code = findCode(begin, end);
    const uint8_t* last = code;
    while (code != end && last > begin && last[-1] == 0) // a start code of four bytes
        --last;
    return {begin, static_cast<size_t>(last - begin)};
}

std::vector<AnnexB::Unit> AnnexB::split(const uint8_t* data, size_t size)
{
    std::vector<Unit> units;
    for (Reader reader(data, size); reader.next();)
        units.push_back(reader.unit());
    return units;
}

bool AnnexB::beginsUnit(const uint8_t* data, size_t size)
{
    const auto isCode = [data, size](size_t at) {
        return size >= at + startCode.size() && std::equal(startCode.begin(), startCode.end(), data + at);
    };
    return isCode(0) || (isCode(1) && data[0] == 0);
}
