#include "g726reference.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace {
const int dqln16[] = {116, 365};
const int dqln24[] = {-2048, 135, 273, 373};
const int dqln32[] = {-2048, 4, 135, 213, 273, 323, 373, 425};
const int dqln40[] = {-2048, -66, 28, 104, 169, 224, 274, 318, 358, 395, 429, 459, 488, 514, 539, 566};
const int* const dqln[] = {dqln16, dqln24, dqln32, dqln40};

const int w16[] = {-22, 439};
const int w24[] = {-4, 30, 137, 582};
const int w32[] = {-12, 18, 41, 64, 112, 198, 355, 1122};
const int w40[] = {14, 14, 24, 39, 40, 41, 58, 100, 141, 179, 219, 280, 358, 440, 529, 696};
const int* const w[] = {w16, w24, w32, w40};

const unsigned f16[] = {0, 7};
const unsigned f24[] = {0, 1, 2, 7};
const unsigned f32[] = {0, 0, 0, 1, 1, 1, 3, 7};
const unsigned f40[] = {0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 2, 3, 4, 5, 6, 6};
const unsigned* const f[] = {f16, f24, f32, f40};

unsigned word(int value) { return unsigned(value) & 65535; }

int signedWord(unsigned value) { return int(value & 65535) - ((value & 32768) ? 65536 : 0); }

unsigned exponentOf(unsigned magnitude)
{
    unsigned exponent = 0;
    while (magnitude >> exponent)
        ++exponent;
    return exponent;
}

unsigned mantissaOf(unsigned magnitude) { return magnitude == 0 ? 32 : (magnitude << 6) >> exponentOf(magnitude); }

unsigned floating(unsigned sign, unsigned magnitude)
{
    return (sign << 10) + (exponentOf(magnitude) << 6) + mantissaOf(magnitude);
}
} // namespace

G726Reference::G726Reference(int bitsPerSample, Variant which)
    : bits(bitsPerSample)
    , variant(which)
{
}

QVector<qint16> G726Reference::decode(const QByteArray& packed)
{
    const qint64 count = qint64(packed.size()) * 8 / bits;
    QVector<qint16> samples;
    samples.reserve(int(count));
    for (qint64 sample = 0; sample < count; ++sample) {
        unsigned I = 0;
        for (int bit = 0; bit < bits; ++bit) {
            const qint64 position = sample * bits + bit;
            I |= ((uchar(packed[int(position / 8)]) >> (position % 8)) & 1U) << bit;
        }
        samples.append(decodeOne(I));
    }
    return samples;
}

int G726Reference::reconst(unsigned I) const
{
    const unsigned sign = 1U << (bits - 1);
    return dqln[bits - 2][(I & sign ? ~I : I) & (sign - 1)];
}

int G726Reference::functw(unsigned I) const
{
    const unsigned sign = 1U << (bits - 1);
    return w[bits - 2][(I & sign ? ~I : I) & (sign - 1)];
}

unsigned G726Reference::functf(unsigned I) const
{
    const unsigned sign = 1U << (bits - 1);
    return f[bits - 2][(I & sign ? ~I : I) & (sign - 1)];
}

unsigned G726Reference::mix() const
{
    const unsigned AL = AP >= 256 ? 64 : AP >> 2;
    if (isFFmpeg())
        return unsigned(int(YL) + (int(YU) - int(YL >> 6)) * int(AL)) >> 6;
    const unsigned DIF = (YU + 16384 - (YL >> 6)) & 16383;
    const unsigned DIFS = DIF >> 13;
    const unsigned DIFM = DIFS == 0 ? DIF : (16384 - DIF) & 8191;
    const unsigned PRODM = (DIFM * AL) >> 6;
    const unsigned PROD = DIFS == 0 ? PRODM : (16384 - PRODM) & 16383;
    return ((YL >> 6) + PROD) & 8191;
}

int G726Reference::fmult(int an, unsigned SRn) const
{
    const unsigned AnS = an < 0;
    const int shifted = an >> 2;
    const unsigned AnMAG = unsigned(AnS ? -shifted : shifted) & (isFFmpeg() ? 65535 : 8191);
    const unsigned WAnS = (SRn >> 10) ^ AnS;
    const unsigned WAnEXP = ((SRn >> 6) & 15) + exponentOf(AnMAG);
    const unsigned WAnMANT = ((SRn & 63) * mantissaOf(AnMAG) + 48) >> 4;
    const unsigned exact = WAnEXP <= 26 ? (WAnMANT << 7) >> (26 - WAnEXP) : (WAnMANT << 7) << (WAnEXP - 26);
    if (isFFmpeg())
        return signedWord(word(WAnS ? -int(exact) : int(exact)));
    const int WAnMAG = int(exact & 32767);
    return WAnS ? -WAnMAG : WAnMAG;
}

G726Reference::Estimate G726Reference::estimate() const
{
    // FMULT, ACCUM
    int SEZI = 0;
    for (std::size_t n = 0; n < B.size(); ++n)
        SEZI += fmult(B[n], DQ[n]);
    int SEI = SEZI + fmult(signedWord(A[1]), SR[1]) + fmult(signedWord(A[0]), SR[0]);
    if (!isFFmpeg()) {
        SEZI = signedWord(word(SEZI));
        SEI = signedWord(word(SEI));
    }
    return {SEI >> 1, SEZI >> 1};
}

unsigned G726Reference::magnitude(unsigned I, unsigned Y) const
{
    // ADDA, ANTILOG
    const unsigned DQL = unsigned(reconst(I) + int(Y >> 2)) & 4095;
    return (DQL >> 11) == 0 ? ((128 + (DQL & 127)) << 7) >> (14 - ((DQL >> 7) & 15)) : 0;
}

unsigned G726Reference::nearest(int sample) const
{
    const int SE = estimate().SE;
    const unsigned Y = mix();
    unsigned best = 0;
    int bestDistance = std::numeric_limits<int>::max();
    for (unsigned I = 0; I < 1U << bits; ++I) {
        const int DQI = I >> (bits - 1) ? -int(magnitude(I, Y)) : int(magnitude(I, Y));
        const int distance = std::abs(SE + DQI - sample);
        if (distance < bestDistance) {
            best = I;
            bestDistance = distance;
        }
    }
    return best;
}

QByteArray G726Reference::encode(const QVector<qint16>& samples)
{
    QByteArray packed((samples.size() * bits + 7) / 8, '\0');
    int position = 0;
    for (const qint16 sample : samples) {
        const unsigned I = nearest(sample / 4);
        decodeOne(I);
        for (int bit = 0; bit < bits; ++bit, ++position)
            packed[position / 8] = char(uchar(packed[position / 8]) | ((I >> bit) & 1U) << (position % 8));
    }
    return packed;
}

qint16 G726Reference::decodeOne(unsigned I)
{
    const auto [SE, SEZ] = estimate();

    // LIMA, MIX, RECONST, ADDA, ANTILOG
    const unsigned Y = mix();
    const unsigned DQS = I >> (bits - 1);
    const unsigned DQMAG = magnitude(I, Y);
    const int DQI = DQS == 0 ? int(DQMAG) : -int(DQMAG);

    // ADDB, ADDC
    const unsigned SR0 = word(SE + DQI);
    const int DQSEZ = isFFmpeg() ? SEZ + DQI : signedWord(word(SEZ + DQI));
    const unsigned PK0 = DQSEZ < 0;
    const bool SIGPK = DQSEZ == 0;

    // TRANS
    const unsigned YLINT = YL >> 15;
    const unsigned THR2 = YLINT > 9 ? 31 << 10 : (32 + ((YL >> 10) & 31)) << YLINT;
    const bool TR = TD == 1 && DQMAG > (THR2 + (THR2 >> 1)) >> 1;

    // UPA2, LIMC
    const unsigned UGA2A = (PK0 ^ PK2) == 0 ? 16384 : 114688;
    unsigned FA1 = 0;
    if (A[0] < 32768)
        FA1 = A[0] <= 8191 ? A[0] << 2 : 8191 << 2;
    else
        FA1 = A[0] >= 57345 ? (A[0] << 2) & 131071 : 24577 << 2;
    const unsigned FA = (PK0 ^ PK1) == 1 ? FA1 : (131072 - FA1) & 131071;
    const unsigned UGA2B = (UGA2A + FA) & 131071;
    const unsigned UGA2 = SIGPK ? 0 : (UGA2B >> 16) == 0 ? UGA2B >> 7 : (UGA2B >> 7) + 64512;
    const unsigned ULA2 = (65536 - (A[1] < 32768 ? A[1] >> 7 : (A[1] >> 7) + 65024)) & 65535;
    const unsigned A2T = (A[1] + ((UGA2 + ULA2) & 65535)) & 65535;
    unsigned A2P = A2T;
    if (A2T >= 32768 && A2T <= 53248)
        A2P = 53248;
    else if (A2T >= 12288 && A2T <= 32767)
        A2P = 12288;

    // UPA1, LIMD
    const unsigned UGA1 = SIGPK ? 0 : (PK0 ^ PK1) == 0 ? 192 : 65344;
    const unsigned ULA1 = (65536 - (A[0] < 32768 ? A[0] >> 8 : (A[0] >> 8) + 65280)) & 65535;
    const unsigned A1T = (A[0] + ((UGA1 + ULA1) & 65535)) & 65535;
    const unsigned A1UL = (15360 + 65536 - A2P) & 65535;
    const unsigned A1LL = (A2P + 65536 - 15360) & 65535;
    unsigned A1P = A1T;
    if (A1T >= 32768 && A1T <= A1LL)
        A1P = A1LL;
    else if (A1T >= A1UL && A1T <= 32767)
        A1P = A1UL;

    // UPB
    const int leak = bits == 5 && !isFFmpeg() ? 9 : 8;
    for (std::size_t n = 0; n < B.size(); ++n) {
        const int UGB = DQMAG == 0 ? 0 : (DQS ^ (DQ[n] >> 10)) == 0 ? 128 : -128;
        const int BP = B[n] + UGB - (B[n] >> leak);
        B[n] = isFFmpeg() ? BP : signedWord(word(BP));
    }

    // TONE, TRIGB
    const unsigned TDP = A2P >= 32768 && A2P < 53760;
    A = {TR ? 0 : A1P, TR ? 0 : A2P};
    if (TR)
        B.fill(0);
    TD = TR ? 0 : TDP;

    // FLOATA, FLOATB and the delays
    std::copy_backward(DQ.begin(), DQ.end() - 1, DQ.end());
    DQ[0] = floating(DQS, DQMAG);
    SR[1] = SR[0];
    SR[0] = SR0 < 32768 ? floating(0, SR0) : floating(1, (65536 - SR0) & 32767);
    PK2 = PK1;
    PK1 = PK0;

    // FILTA, FILTB
    const unsigned FI = functf(I);
    const unsigned DIFA = ((FI << 9) + 8192 - DMS) & 8191;
    DMS = (((DIFA >> 12) == 0 ? DIFA >> 5 : (DIFA >> 5) + 3840) + DMS) & 4095;
    const unsigned DIFB = ((FI << 11) + 32768 - DML) & 32767;
    DML = (((DIFB >> 14) == 0 ? DIFB >> 7 : (DIFB >> 7) + 16128) + DML) & 16383;

    // SUBTC, FILTC, TRIGA
    const unsigned DIF = ((DMS << 2) + 32768 - DML) & 32767;
    const unsigned DIFM = (DIF >> 14) == 0 ? DIF : (32768 - DIF) & 16383;
    const unsigned AX = Y >= 1536 && DIFM < (DML >> 3) && TDP == 0 ? 0 : 1;
    const unsigned DIFC = ((AX << 9) + 2048 - AP) & 2047;
    const unsigned APP = (((DIFC >> 10) == 0 ? DIFC >> 4 : (DIFC >> 4) + 896) + AP) & 1023;
    AP = TR ? 256 : APP;

    // FILTD, LIMB, FILTE
    const unsigned DIFD = unsigned(functw(I) * 32 + 131072 - int(Y)) & 131071;
    const unsigned YUT = (Y + ((DIFD >> 16) == 0 ? DIFD >> 5 : (DIFD >> 5) + 4096)) & 8191;
    if ((((YUT + 15840) & 16383) >> 13) == 1)
        YU = 544;
    else
        YU = (((YUT + 11264) & 16383) >> 13) == 0 ? 5120 : YUT;
    const unsigned DIFE = (YU + ((1048576 - YL) >> 6)) & 16383;
    YL = (YL + ((DIFE >> 13) == 0 ? DIFE : DIFE + 507904)) & 524287;

    // LIMO
    const int sample = signedWord(SR0) * 4;
    if (isFFmpeg())
        return qint16(signedWord(word(std::clamp(sample, -65535, 65535))));
    return qint16(std::clamp(sample, -32768, 32764));
}
