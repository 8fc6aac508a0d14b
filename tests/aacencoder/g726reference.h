#pragma once

#include <QByteArray>
#include <QVector>

#include <array>

/// A second G.726 decoder to compare with: ITU-T G.726 written down block by block on words of the widths it gives,
/// with nothing simplified, and the output limiter of its Annex A.
///
/// FFmpeg's decoder departs from the recommendation, so that it cannot be the measure itself:
/// - the scale factor keeps the fraction of the slow one, which the recommendation drops before mixing;
/// - the zeros' coefficients leak with 1/256 at 40 kbit/s too, where the recommendation has 1/512;
/// - words that overflow on very loud input wrap at other widths, and samples beyond 14 bits wrap instead of being
///   limited.
/// Variant::FFmpeg has exactly these differences and nothing else. Equal to FFmpeg to the bit with them, it shows that
/// everything else here is right.
class G726Reference
{
public:
    enum class Variant { Recommendation, FFmpeg };

    G726Reference(int bitsPerSample, Variant variant);

    /// The samples of all whole code words in @p packed, first one in the least significant bits of the first byte.
    QVector<qint16> decode(const QByteArray& packed);

    /// A stream that decodes to something near @p samples: for every sample the code word that comes closest.
    QByteArray encode(const QVector<qint16>& samples);

private:
    /// What the predictor expects: SE for the whole signal, SEZ for its zeros alone.
    struct Estimate
    {
        int SE;
        int SEZ;
    };

    Estimate estimate() const;
    unsigned magnitude(unsigned I, unsigned Y) const;
    unsigned nearest(int sample) const;
    qint16 decodeOne(unsigned I);
    int reconst(unsigned I) const;
    int functw(unsigned I) const;
    unsigned functf(unsigned I) const;
    unsigned mix() const;
    int fmult(int an, unsigned srn) const;
    bool isFFmpeg() const { return variant == Variant::FFmpeg; }

    const int bits;
    const Variant variant;
    unsigned YU = 544;
    unsigned YL = 34816;
    unsigned AP = 0;
    unsigned DMS = 0;
    unsigned DML = 0;
    unsigned TD = 0;
    unsigned PK1 = 0;
    unsigned PK2 = 0;
    std::array<unsigned, 2> A{};
    std::array<int, 6> B{};
    std::array<unsigned, 2> SR{32, 32};
    std::array<unsigned, 6> DQ{32, 32, 32, 32, 32, 32};
};
