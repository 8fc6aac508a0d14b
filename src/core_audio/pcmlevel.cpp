#include "core_audio/pcmlevel.h"

#include <QtEndian>

#include <algorithm>
#include <cmath>

namespace {

constexpr quint32 fullScaleOf(int sampleSize) { return sampleSize == 8 ? 255 : sampleSize == 16 ? 32767 : 2147483647; }

/// The lowest value of a size has no positive counterpart; as an unsigned number it is one above full scale.
quint32 magnitude(const uchar* sample, int sampleSize)
{
    switch (sampleSize) {
    case 8:
        return *sample;
    case 16: {
        const auto value = qFromLittleEndian<qint16>(sample);
        return quint16(value < 0 ? -value : value);
    }
    case 32: {
        const qint64 value = qFromLittleEndian<qint32>(sample);
        return quint32(value < 0 ? -value : value);
    }
    default:
        return 0;
    }
}

} // namespace

qreal PcmLevel::peak(const char* data, int len, int sampleSize, int channelCount)
{
    const int sampleBytes = sampleSize / 8;
    if (sampleBytes < 1 || channelCount < 1)
        return 0;
    const int samples = len / (sampleBytes * channelCount) * channelCount;
    if (samples < 1)
        return 0;
    const auto* sample = reinterpret_cast<const uchar*>(data);
    quint32 most = 0;
    for (int i = 0; i < samples; ++i, sample += sampleBytes)
        most = std::max(most, magnitude(sample, sampleSize));
    const quint32 fullScale = fullScaleOf(sampleSize);
    const qreal level = qreal(std::min(most, fullScale)) / fullScale;
    return sampleSize == 8 ? level - 0.5 : level;
}

qreal PcmLevel::decibel(const char* data, int len)
{
    const int samples = len / 2;
    if (samples < 1)
        return 0;
    quint64 sum = 0;
    for (int i = 0; i < samples; ++i)
        sum += qFromLittleEndian<quint16>(data + 2 * i);
    const quint64 mean = sum / quint64(samples);
    return mean > 0 ? qreal(int(20 * std::log10(qreal(mean)))) : 0;
}
