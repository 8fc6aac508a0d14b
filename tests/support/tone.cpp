#include "support/tone.h"

#include <QtGlobal>

#include <algorithm>
#include <cmath>
#include <complex>
#include <vector>

namespace {

constexpr double fullScale = 32767;
constexpr double pi = 3.14159265358979323846;

std::vector<double> values(const QByteArray& samples)
{
    const auto* first = reinterpret_cast<const qint16*>(samples.constData());
    std::vector<double> result(first, first + samples.size() / 2);
    for (double& value : result)
        value /= fullScale;
    return result;
}

/// Strength of one frequency, as the amplitude of a sine.
std::complex<double> strength(const std::vector<double>& signal, int sampleRate, double frequency)
{
    const std::complex<double> step = std::polar(1.0, -2 * pi * frequency / sampleRate);
    std::complex<double> turn = 1;
    std::complex<double> sum = 0;
    for (const double value : signal) {
        sum += value * turn;
        turn *= step;
    }
    return sum * (2.0 / double(signal.size()));
}

double strongest(const std::vector<double>& signal, int sampleRate, double from, double to, double step)
{
    double best = from;
    double most = -1;
    for (double frequency = from; frequency <= to; frequency += step) {
        const double here = std::abs(strength(signal, sampleRate, frequency));
        if (here > most) {
            most = here;
            best = frequency;
        }
    }
    return best;
}

/// That of most of the signal: a sample that is missing turns the phase, and the parts before and after it cancel out.
double usualStrength(const std::vector<double>& signal, int sampleRate, double frequency)
{
    const std::ptrdiff_t length = std::min<std::ptrdiff_t>(sampleRate / 20, signal.size());
    std::vector<double> strengths;
    for (auto part = signal.begin(); signal.end() - part >= length; part += length)
        strengths.push_back(std::abs(strength({part, part + length}, sampleRate, frequency)));
    const auto middle = strengths.begin() + std::ptrdiff_t(strengths.size() / 2);
    std::nth_element(strengths.begin(), middle, strengths.end());
    return *middle;
}

} // namespace

QByteArray Tone::sine(double frequency, int sampleRate, int milliseconds, double amplitude)
{
    QByteArray samples(int(qint64(sampleRate) * milliseconds / 1000) * 2, Qt::Uninitialized);
    auto* sample = reinterpret_cast<qint16*>(samples.data());
    for (int i = 0; i < samples.size() / 2; ++i)
        sample[i] = qint16(std::lround(fullScale * amplitude * std::sin(2 * pi * frequency * i / sampleRate)));
    return samples;
}

Tone::Measure Tone::measure(const QByteArray& samples, int sampleRate)
{
    const std::vector<double> signal = values(samples);
    if (signal.empty())
        return {};
    // A tenth of a second tells the frequency roughly, the whole signal tells it exactly.
    const std::vector<double> beginning(signal.begin(),
                                        signal.begin() + std::min<std::ptrdiff_t>(sampleRate / 10, signal.size()));
    const double rough = strongest(beginning, sampleRate, 50, std::min(4000, sampleRate / 2), 5);
    Measure result;
    result.frequency = strongest(signal, sampleRate, rough - 5, rough + 5, 0.25);
    result.amplitude = usualStrength(signal, sampleRate, result.frequency);
    double power = 0;
    for (const double value : signal)
        power += value * value;
    power = 2 * power / double(signal.size()) - result.amplitude * result.amplitude;
    result.rest = std::sqrt(std::max(0.0, power));
    return result;
}

QByteArray Tone::trimmed(const QByteArray& samples, double threshold)
{
    const std::vector<double> signal = values(samples);
    const auto isLoud = [threshold](double value) { return std::abs(value) > threshold; };
    const auto first = std::find_if(signal.begin(), signal.end(), isLoud) - signal.begin();
    const auto last = std::find_if(signal.rbegin(), signal.rend(), isLoud).base() - signal.begin();
    return first < last ? samples.mid(int(first) * 2, int(last - first) * 2) : QByteArray();
}

QByteArray Tone::part(const QByteArray& samples, int sampleRate, int fromMs, int toMs)
{
    const int first = int(qint64(sampleRate) * fromMs / 1000);
    const int last = int(qint64(sampleRate) * toMs / 1000);
    return samples.mid(first * 2, (last - first) * 2);
}

double Tone::longestGapMs(const QByteArray& samples, int sampleRate, double threshold)
{
    int longest = 0;
    int quiet = 0;
    for (const double value : values(samples)) {
        quiet = std::abs(value) > threshold ? 0 : quiet + 1;
        longest = std::max(longest, quiet);
    }
    return longest * 1000.0 / sampleRate;
}

double Tone::peak(const QByteArray& samples)
{
    double most = 0;
    for (const double value : values(samples))
        most = std::max(most, std::abs(value));
    return most;
}
