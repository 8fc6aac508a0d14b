#include "devnet/annexb.h"

namespace {

const QByteArray startCode("\0\0\1", 3);

AnnexB::UnitKind kindH264(int type)
{
    switch (type) {
    case 7:
        return AnnexB::UnitKind::SequenceParameters;
    case 8:
        return AnnexB::UnitKind::PictureParameters;
    case 9:
        return AnnexB::UnitKind::Delimiter;
    default:
        return AnnexB::UnitKind::Other;
    }
}

AnnexB::UnitKind kindH265(int type)
{
    switch (type) {
    case 32:
        return AnnexB::UnitKind::VideoParameters;
    case 33:
        return AnnexB::UnitKind::SequenceParameters;
    case 34:
        return AnnexB::UnitKind::PictureParameters;
    case 35:
        return AnnexB::UnitKind::Delimiter;
    default:
        return AnnexB::UnitKind::Other;
    }
}

AnnexB::UnitKind kindOf(const QByteArray& unit, bool h265)
{
    const auto first = static_cast<unsigned char>(unit.at(0));
    return h265 ? kindH265(first >> 1 & 0x3f) : kindH264(first & 0x1f);
}

/// No unit ends with a zero byte: zeros before a start code belong to the start code.
int endOfUnit(const QByteArray& stream, int begin, int end)
{
    while (end > begin && stream.at(end - 1) == '\0')
        --end;
    return end;
}

} // namespace

std::vector<AnnexB::Unit> AnnexB::split(const QByteArray& stream, bool h265)
{
    std::vector<Unit> units;
    int code = stream.indexOf(startCode);
    while (code >= 0) {
        const int begin = code + startCode.size();
        code = stream.indexOf(startCode, begin);
        const int end = endOfUnit(stream, begin, code < 0 ? stream.size() : code);
        if (end > begin) {
            const QByteArray unit = QByteArray::fromRawData(stream.constData() + begin, end - begin);
            units.push_back({kindOf(unit, h265), unit});
        }
    }
    return units;
}

void AnnexB::append(QByteArray& stream, const QByteArray& unit)
{
    stream.append('\0');
    stream.append(startCode);
    stream.append(unit.constData(), unit.size());
}
