#include "devnet/parametersets.h"

#include <algorithm>

namespace {

std::size_t indexOf(AnnexB::UnitKind kind) { return static_cast<std::size_t>(kind); }

/// A copy, once: some senders repeat sets within one frame.
void add(std::vector<QByteArray>& sets, const QByteArray& set)
{
    if (std::find(sets.begin(), sets.end(), set) == sets.end())
        sets.emplace_back(set.constData(), set.size());
}

bool isSet(AnnexB::UnitKind kind)
{
    return kind == AnnexB::UnitKind::VideoParameters || kind == AnnexB::UnitKind::SequenceParameters
        || kind == AnnexB::UnitKind::PictureParameters;
}

} // namespace

void ParameterSets::learn(const QByteArray& stream)
{
    std::array<std::vector<QByteArray>, kindCount> found;
    for (const AnnexB::Unit& unit : AnnexB::split(stream, h265)) {
        if (isSet(unit.kind))
            add(found.at(indexOf(unit.kind)), unit.bytes);
    }
    for (std::size_t kind = 0; kind < kindCount; ++kind) {
        if (!found.at(kind).empty())
            sets.at(kind) = std::move(found.at(kind));
    }
}

bool ParameterSets::areComplete() const
{
    return !sets.at(indexOf(AnnexB::UnitKind::SequenceParameters)).empty()
        && !sets.at(indexOf(AnnexB::UnitKind::PictureParameters)).empty()
        && (!h265 || !sets.at(indexOf(AnnexB::UnitKind::VideoParameters)).empty());
}

QByteArray ParameterSets::keyFrame(const QByteArray& stream) const
{
    QByteArray frame;
    frame.reserve(stream.size() + 256);
    for (const auto& ofKind : sets) {
        for (const QByteArray& set : ofKind)
            AnnexB::append(frame, set);
    }
    for (const AnnexB::Unit& unit : AnnexB::split(stream, h265)) {
        if (unit.kind == AnnexB::UnitKind::Other)
            AnnexB::append(frame, unit.bytes);
    }
    return frame;
}
