#include "core_ffmpeg/annexb.h"

#include <algorithm>
#include <array>

namespace {
constexpr std::array<uint8_t, 3> startCode{0, 0, 1};
}

std::vector<AnnexB::Unit> AnnexB::split(const uint8_t* data, size_t size)
{
    std::vector<Unit> units;
    const uint8_t* const end = data + size;
    const auto findCode = [end](const uint8_t* from) { return std::search(from, end, startCode.begin(), startCode.end()); };
    const uint8_t* code = findCode(data);
    while (code != end) {
        const uint8_t* const begin = code + startCode.size();
        code = findCode(begin);
        const uint8_t* last = code;
        while (code != end && last > begin && last[-1] == 0) // a start code of four bytes
            --last;
        if (last > begin)
            units.push_back({begin, static_cast<size_t>(last - begin)});
    }
    return units;
}

bool AnnexB::beginsUnit(const uint8_t* data, size_t size)
{
    const auto isCode = [data, size](size_t at) {
        return size >= at + startCode.size() && std::equal(startCode.begin(), startCode.end(), data + at);
    };
    return isCode(0) || (isCode(1) && data[0] == 0);
}
