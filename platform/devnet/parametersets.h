#pragma once

#include "devnet/annexb.h"

#include <array>

/// The parameter sets that a video stream has shown so far, to be put before every key frame.
class ParameterSets
{
public:
    explicit ParameterSets(bool isH265)
        : h265(isH265)
    {
    }

    /// Takes over the sets in @p stream. Sets of a kind replace those of that kind from before.
    void learn(const QByteArray& stream);

    /// Whether a decoder could begin with them.
    bool areComplete() const;

    /// A key frame that begins with the sets, those of its own if it has any, and has each of them once.
    QByteArray keyFrame(const QByteArray& stream) const;

private:
    static constexpr std::size_t kindCount = 3;

    bool h265;
    std::array<std::vector<QByteArray>, kindCount> sets; ///< by UnitKind; copies
};
