#include "core_videosave/adts.h"

#include <algorithm>
#include <array>

namespace {
constexpr int headerBytes = 7;
constexpr int lowComplexity = 2;
constexpr int mostChannels = 7; // the highest configuration
constexpr std::array<int, 13> sampleRates{96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                          22050, 16000, 12000, 11025, 8000,  7350};

/// Length of the frame that begins at @p data with its header, 0 when none does.
int frameLength(const uint8_t* data, int size)
{
    if (size < headerBytes || data[0] != 0xFF || (data[1] & 0xF0) != 0xF0)
        return 0;
    const int length = (data[3] & 0x03) << 11 | data[4] << 3 | data[5] >> 5;
    return length >= headerBytes && length <= size ? length : 0;
}
} // namespace

QVector<QByteArray> Adts::split(const uint8_t* data, int size)
{
    QVector<QByteArray> frames;
    while (const int length = frameLength(data, size)) {
        frames.append(QByteArray(reinterpret_cast<const char*>(data), length));
        data += length;
        size -= length;
    }
    return frames;
}

QByteArray Adts::audioSpecificConfig(int sampleRate, int channels)
{
    const auto found = std::find(sampleRates.begin(), sampleRates.end(), sampleRate);
    if (found == sampleRates.end() || channels > mostChannels)
        return {};
    const int index = static_cast<int>(found - sampleRates.begin());
    const int bits = lowComplexity << 11 | index << 7 | channels << 3;
    return QByteArray(1, static_cast<char>(bits >> 8)) + static_cast<char>(bits & 0xFF);
}
