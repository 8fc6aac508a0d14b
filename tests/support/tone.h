#pragma once

#include <QByteArray>

/// A tone, and what is left of it after a way through codecs and sound servers. Samples are mono, 16 bit, in the byte
/// order of the machine.
namespace Tone {

/// @p amplitude is 0 to 1, of full scale.
QByteArray sine(double frequency, int sampleRate, int milliseconds, double amplitude);

struct Measure
{
    double frequency = 0; ///< Hz, of the strongest part
    double amplitude = 0; ///< of that part, 0 to 1
    double rest = 0; ///< what is not that part, as an amplitude
};

/// What the samples are made of, 0 for an empty array.
Measure measure(const QByteArray& samples, int sampleRate);

/// Without the quiet before the first and after the last sample louder than @p threshold (0 to 1).
QByteArray trimmed(const QByteArray& samples, double threshold);

/// The samples from one moment to another, both in milliseconds from the beginning.
QByteArray part(const QByteArray& samples, int sampleRate, int fromMs, int toMs);

/// The longest time in milliseconds in which no sample was louder than @p threshold.
double longestGapMs(const QByteArray& samples, int sampleRate, double threshold);

/// The largest magnitude, 0 to 1.
double peak(const QByteArray& samples);

} // namespace Tone
