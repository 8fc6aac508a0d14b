#include "telephonesound.h"

#include <QRandomGenerator>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {
constexpr double pi = 3.14159265358979323846;
constexpr quint32 seed = 20240607;

/// A resonance at a frequency that may change from sample to sample.
class Formant
{
public:
    double next(double input, double hertz, double bandwidth)
    {
        const double radius = std::exp(-pi * bandwidth / TelephoneSound::sampleRate);
        const double cosine = std::cos(2 * pi * hertz / TelephoneSound::sampleRate);
        const double output = (1 - radius) * input + 2 * radius * cosine * y1 - radius * radius * y2;
        y2 = y1;
        y1 = output;
        return output;
    }

private:
    double y1 = 0;
    double y2 = 0;
};
} // namespace

QVector<qint16> TelephoneSound::speech(int seconds)
{
    QRandomGenerator random(seed);
    Formant first;
    Formant second;
    double phase = 0;
    QVector<qint16> samples(seconds * sampleRate);
    for (int n = 0; n < samples.size(); ++n) {
        const double t = double(n) / sampleRate;
        phase += (120 + 30 * std::sin(2 * pi * 0.7 * t)) / sampleRate;
        phase -= std::floor(phase);
        const double pulse = std::pow(std::max(0.0, std::sin(2 * pi * phase)), 3);
        const double hiss = random.generateDouble() - 0.5;
        const double syllable = std::fmod(t, 2.5) < 1.9 ? std::pow(std::sin(2 * pi * 2 * t), 2) : 0.0;
        const double excitation = syllable * (pulse + 0.05 * hiss);
        const double voice = first.next(excitation, 500 + 200 * std::sin(2 * pi * 1.1 * t), 80)
            + 0.5 * second.next(excitation, 1500 + 500 * std::sin(2 * pi * 0.6 * t), 120);
        samples[n] = qint16(qBound(-32768.0, 15000 * voice + 20 * hiss, 32767.0));
    }
    return samples;
}

QVector<qint16> TelephoneSound::sine(int seconds, double hertz, double amplitude)
{
    QVector<qint16> samples(seconds * sampleRate);
    for (int n = 0; n < samples.size(); ++n)
        samples[n] = qint16(std::lround(amplitude * std::sin(2 * pi * hertz * n / sampleRate)));
    return samples;
}

QVector<qint16> TelephoneSound::silence(int seconds) { return QVector<qint16>(seconds * sampleRate, 0); }

QVector<qint16> TelephoneSound::square(int seconds, int hertz)
{
    QVector<qint16> samples(seconds * sampleRate);
    for (int n = 0; n < samples.size(); ++n)
        samples[n] = (n * 2 * hertz / sampleRate) % 2 ? -32768 : 32767;
    return samples;
}

QByteArray TelephoneSound::noise(int bytes)
{
    QRandomGenerator random(seed);
    QByteArray data(bytes, Qt::Uninitialized);
    for (char& byte : data)
        byte = char(random.bounded(256));
    return data;
}

QByteArray TelephoneSound::bytesOf(const QVector<qint16>& samples)
{
    return QByteArray(reinterpret_cast<const char*>(samples.constData()), samples.size() * int(sizeof(qint16)));
}

QVector<qint16> TelephoneSound::samplesOf(const QByteArray& bytes)
{
    QVector<qint16> samples(bytes.size() / int(sizeof(qint16)));
    std::memcpy(samples.data(), bytes.constData(), std::size_t(samples.size()) * sizeof(qint16));
    return samples;
}

double TelephoneSound::signalToNoise(const QVector<qint16>& signal, const QVector<qint16>& copy, int skip)
{
    double power = 1;
    double error = 1;
    for (int n = skip; n < qMin(signal.size(), copy.size()); ++n) {
        power += double(signal[n]) * signal[n];
        error += std::pow(double(signal[n]) - copy[n], 2);
    }
    return 10 * std::log10(power / error);
}
