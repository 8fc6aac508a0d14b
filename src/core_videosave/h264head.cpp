#include "core_videosave/h264head.h"

#include "core_ffmpeg/annexb.h"

namespace {
const QByteArray startCode("\0\0\1", 3);

enum NalType {
    SequenceSet = 7,
    PictureSet = 8,
    SequenceSetExtension = 13
};

bool isParameterSet(int type) { return type == SequenceSet || type == PictureSet || type == SequenceSetExtension; }
} // namespace

QByteArray H264Head::parameterSets(const unsigned char* picture, int bytes)
{
    QByteArray sets;
    AnnexB::Reader reader(picture, size_t(bytes));
    while (reader.next() && !reader.openUnit().isSlice()) {
        const AnnexB::Unit unit = reader.unit();
        if (isParameterSet(unit.type()))
            sets.append(startCode).append(reinterpret_cast<const char*>(unit.data), int(unit.size));
    }
    return sets;
}
