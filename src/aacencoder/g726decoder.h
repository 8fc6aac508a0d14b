#pragma once

#include <array>

/// The ADPCM decoder of ITU-T G.726 with the linear output of its Annex A, one code word at a time.
///
/// The variables carry the names of the recommendation, which defines every one of them to the bit: all arithmetic is
/// on integers and wraps, limits and rounds as the blocks there do.
class G726Decoder
{
public:
    /// @p bitsPerSample is 2, 3, 4 or 5 (16, 24, 32 or 40 kbit/s).
    explicit G726Decoder(int bitsPerSample);

    /// The 16-bit sample of the code word @p code, of which bitsPerSample bits are set at most.
    short decode(unsigned code);

    /// What a magnitude, the code word without its sign, stands for.
    struct Tables
    {
        std::array<short, 16> dqln; ///< normalised quantizer output, logarithmic
        std::array<short, 16> w; ///< multiplier of the scale factor
        std::array<short, 16> f; ///< weight in the speed control
    };

private:
    /// A number of the predictor's delay lines: 6 bits of mantissa, 4 of exponent and a sign that a zero has too.
    struct Float
    {
        int mantissa = 32;
        int exponent = 0;
        bool negative = false;
    };

    static Float toFloat(int magnitude, bool negative);
    static int multiply(int coefficient, const Float& signal);
    int zeroEstimate() const;
    int poleEstimate() const;
    int scaleFactor() const;
    int dequantize(int index, int y) const;
    bool isTransition(int dqMagnitude) const;
    void adaptScale(int index, int y);
    void adaptSpeed(int index, int y, bool transition);
    void adaptPoles(int dqsez);
    void adaptZeros(int dqMagnitude, bool dqNegative);
    void resetPredictor();
    void shiftPredictor(int dqMagnitude, bool dqNegative, int reconstructed, int dqsez);

    const Tables& tables;
    const int signBit;
    const int leakShift; ///< of the zeros' coefficients

    int yu = 544; ///< fast scale factor
    int yl = 34816; ///< slow scale factor
    int ap = 0; ///< speed control
    int dms = 0; ///< short-term mean of f
    int dml = 0; ///< long-term mean of f
    bool td = false; ///< a tone is being received
    std::array<int, 2> a{}; ///< poles' coefficients
    std::array<short, 6> b{}; ///< zeros' coefficients
    std::array<Float, 2> sr{}; ///< reconstructed signal, newest first
    std::array<Float, 6> dq{}; ///< quantized difference, newest first
    std::array<bool, 2> pkNegative{}; ///< sign of the partly reconstructed signal, newest first
};
