#pragma once

#include <QByteArray>

#include <vector>

/// H.264 and H.265 streams whose units are separated by start codes.
namespace AnnexB {

/// What a unit is for.
enum class UnitKind {
    VideoParameters, ///< H.265 alone
    SequenceParameters,
    PictureParameters,
    Delimiter, ///< between pictures
    Other
};

struct Unit
{
    UnitKind kind;
    QByteArray bytes; ///< without a start code; borrowed from what was split
};

/// The units of @p stream, which must outlive them.
std::vector<Unit> split(const QByteArray& stream, bool h265);

/// A start code and the unit.
void append(QByteArray& stream, const QByteArray& unit);

} // namespace AnnexB
