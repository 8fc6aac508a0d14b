#pragma once

#include <QByteArray>
#include <QVector>

/// Made-up sound at 8000 samples a second, the same on every run.
namespace TelephoneSound {

constexpr int sampleRate = 8000;

/// Voiced syllables with moving formants, hiss and pauses.
QVector<qint16> speech(int seconds);

QVector<qint16> sine(int seconds, double hertz, double amplitude);

QVector<qint16> silence(int seconds);

/// Between the lowest and the highest sample.
QVector<qint16> square(int seconds, int hertz);

/// Bytes without any pattern.
QByteArray noise(int bytes);

/// The samples as bytes in the machine's order.
QByteArray bytesOf(const QVector<qint16>& samples);

/// The other way round.
QVector<qint16> samplesOf(const QByteArray& bytes);

/// Power of @p signal over the power of its difference from @p copy, in dB; the first @p skip samples don't count.
double signalToNoise(const QVector<qint16>& signal, const QVector<qint16>& copy, int skip);

} // namespace TelephoneSound
