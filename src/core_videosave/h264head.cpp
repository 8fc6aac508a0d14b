#include "core_videosave/h264head.h"

#include <algorithm>
#include <iterator>

namespace {
constexpr unsigned char startCode[] = {0, 0, 1};

enum NalType {
    LastSlice = 5,
    SequenceSet = 7,
    PictureSet = 8,
    SequenceSetExtension = 13
};

const unsigned char* findStartCode(const unsigned char* from, const unsigned char* end)
{
    return std::search(from, end, std::begin(startCode), std::end(startCode));
}

bool isParameterSet(int type) { return type == SequenceSet || type == PictureSet || type == SequenceSetExtension; }
} // namespace

QByteArray H264Head::parameterSets(const unsigned char* picture, int bytes)
{
    QByteArray sets;
    const unsigned char* const end = picture + bytes;
    const unsigned char* code = findStartCode(picture, end);
    while (end - code > int(std::size(startCode))) {
        const unsigned char* const unit = code + std::size(startCode);
        const int type = *unit & 0x1f;
        if (type >= 1 && type <= LastSlice) // slices are searched for nothing, they are the longest part
            break;
        const unsigned char* const next = findStartCode(unit, end);
        if (isParameterSet(type)) {
            sets.append(reinterpret_cast<const char*>(startCode), int(std::size(startCode)));
            sets.append(reinterpret_cast<const char*>(unit), int(next - unit));
        }
        code = next;
    }
    return sets;
}
