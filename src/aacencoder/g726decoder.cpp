#include "aacencoder/g726decoder.h"

#include <QtAlgorithms>

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace {
using Tables = G726Decoder::Tables;

constexpr Tables tables16k{{116, 365}, {-22, 439}, {0, 7}};

constexpr Tables tables24k{{-2048, 135, 273, 373}, {-4, 30, 137, 582}, {0, 1, 2, 7}};

constexpr Tables tables32k{
    {-2048, 4, 135, 213, 273, 323, 373, 425}, {-12, 18, 41, 64, 112, 198, 355, 1122}, {0, 0, 0, 1, 1, 1, 3, 7}};

constexpr Tables tables40k{{-2048, -66, 28, 104, 169, 224, 274, 318, 358, 395, 429, 459, 488, 514, 539, 566},
                           {14, 14, 24, 39, 40, 41, 58, 100, 141, 179, 219, 280, 358, 440, 529, 696},
                           {0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 2, 3, 4, 5, 6, 6}};

const Tables& tablesFor(int bitsPerSample)
{
    switch (bitsPerSample) {
    case 3:
        return tables24k;
    case 4:
        return tables32k;
    case 5:
        return tables40k;
    default:
        return tables16k;
    }
}

/// The 40 kbit/s coder forgets the coefficients of its zeros half as fast as the others.
int leakShiftFor(int bitsPerSample) { return bitsPerSample == 5 ? 9 : 8; }

constexpr int linearMin = -8192;
constexpr int linearMax = 8191;
constexpr int linearScale = 4; // 14-bit samples in 16 bits
} // namespace

G726Decoder::G726Decoder(int bitsPerSample)
    : tables(tablesFor(bitsPerSample))
    , signBit(1 << (bitsPerSample - 1))
    , leakShift(leakShiftFor(bitsPerSample))
{
}

short G726Decoder::decode(unsigned code)
{
    const bool negative = int(code) & signBit;
    const int index = int(negative ? ~code : code) & (signBit - 1);

    const int zeros = zeroEstimate();
    const int sez = zeros >> 1;
    const int se = std::int16_t(zeros + poleEstimate()) >> 1;
    const int y = scaleFactor();
    const int dqMagnitude = dequantize(index, y);
    const int difference = negative ? -dqMagnitude : dqMagnitude;
    const int reconstructed = std::int16_t(se + difference);
    const int dqsez = std::int16_t(sez + difference);

    const bool transition = isTransition(dqMagnitude);
    adaptPoles(dqsez);
    adaptZeros(dqMagnitude, negative);
    if (transition)
        resetPredictor();
    shiftPredictor(dqMagnitude, negative, reconstructed, dqsez);
    adaptSpeed(index, y, transition);
    adaptScale(index, y);
    return short(std::clamp(reconstructed, linearMin, linearMax) * linearScale);
}

G726Decoder::Float G726Decoder::toFloat(int magnitude, bool negative)
{
    Float number;
    number.negative = negative;
    number.exponent = 32 - int(qCountLeadingZeroBits(quint32(magnitude)));
    if (magnitude)
        number.mantissa = (magnitude << 6) >> number.exponent;
    return number;
}

int G726Decoder::multiply(int coefficient, const Float& signal)
{
    const int scaled = coefficient >> 2;
    const Float factor = toFloat(std::abs(scaled) & 8191, scaled < 0);
    const int exponent = factor.exponent + signal.exponent;
    const int mantissa = ((factor.mantissa * signal.mantissa + 48) >> 4) << 7;
    const int magnitude = exponent <= 26 ? mantissa >> (26 - exponent) : (mantissa << (exponent - 26)) & 32767;
    return factor.negative != signal.negative ? -magnitude : magnitude;
}

int G726Decoder::zeroEstimate() const
{
    int sum = 0;
    for (std::size_t tap = 0; tap < b.size(); ++tap)
        sum += multiply(b[tap], dq[tap]);
    return std::int16_t(sum);
}

int G726Decoder::poleEstimate() const { return multiply(a[0], sr[0]) + multiply(a[1], sr[1]); }

int G726Decoder::scaleFactor() const
{
    const int al = ap >= 256 ? 64 : ap >> 2;
    const int slow = yl >> 6;
    // The product is rounded towards zero, not down.
    return slow + (yu - slow) * al / 64;
}

int G726Decoder::dequantize(int index, int y) const
{
    const int dql = tables.dqln[std::size_t(index)] + (y >> 2);
    if (dql < 0)
        return 0;
    const int dex = (dql >> 7) & 15;
    const int dmn = dql & 127;
    return ((128 + dmn) << 7) >> (14 - dex);
}

bool G726Decoder::isTransition(int dqMagnitude) const
{
    const int exponent = yl >> 15;
    const int mantissa = (yl >> 10) & 31;
    const int threshold = exponent > 9 ? 31 << 10 : (32 + mantissa) << exponent;
    return td && dqMagnitude > (threshold + (threshold >> 1)) >> 1;
}

void G726Decoder::adaptScale(int index, int y)
{
    const int w = tables.w[std::size_t(index)];
    yu = std::clamp(y + ((w * 32 - y) >> 5), 544, 5120);
    yl += yu + (-yl >> 6);
}

void G726Decoder::adaptSpeed(int index, int y, bool transition)
{
    const int f = tables.f[std::size_t(index)];
    dms += (f * 512 - dms) >> 5;
    dml += (f * 2048 - dml) >> 7;
    const bool steady = y >= 1536 && std::abs(dms * 4 - dml) < dml >> 3 && !td;
    ap = transition ? 256 : ap + (((steady ? 0 : 512) - ap) >> 4);
}

void G726Decoder::adaptPoles(int dqsez)
{
    int gain1 = 0;
    int gain2 = 0;
    if (dqsez != 0) {
        const bool differs1 = (dqsez < 0) != pkNegative[0];
        const bool differs2 = (dqsez < 0) != pkNegative[1];
        const int fa1 = std::clamp(a[0], -8191, 8191) * 4;
        gain1 = differs1 ? -192 : 192;
        gain2 = ((differs2 ? -16384 : 16384) + (differs1 ? fa1 : -fa1)) >> 7;
    }
    a[1] = std::clamp(a[1] + gain2 - (a[1] >> 7), -12288, 12288);
    const int limit = 15360 - a[1];
    a[0] = std::clamp(a[0] + gain1 - (a[0] >> 8), -limit, limit);
}

void G726Decoder::adaptZeros(int dqMagnitude, bool dqNegative)
{
    for (std::size_t tap = 0; tap < b.size(); ++tap) {
        const int gain = dqMagnitude == 0 ? 0 : dqNegative == dq[tap].negative ? 128 : -128;
        b[tap] = std::int16_t(b[tap] + gain - (b[tap] >> leakShift));
    }
}

void G726Decoder::resetPredictor()
{
    a.fill(0);
    b.fill(0);
}

void G726Decoder::shiftPredictor(int dqMagnitude, bool dqNegative, int reconstructed, int dqsez)
{
    std::copy_backward(dq.begin(), dq.end() - 1, dq.end());
    dq[0] = toFloat(dqMagnitude, dqNegative);
    sr[1] = sr[0];
    sr[0] = toFloat(std::abs(reconstructed) & 32767, reconstructed < 0);
    pkNegative[1] = pkNegative[0];
    pkNegative[0] = dqsez < 0;
    td = a[1] < -11776;
}
