#pragma once

#include <QByteArray>
#include <QVector>

#include <cstdint>

/// AAC frames with ADTS headers (ISO/IEC 13818-7), as the AAC encoder gives them.
namespace Adts {

constexpr int samplesPerFrame = 1024;

/// Takes a sequence of frames apart; ends at the first byte that begins none.
QVector<QByteArray> split(const uint8_t* data, int size);

/// The two bytes that describe low-complexity AAC to a file (ISO/IEC 14496-3); empty for a rate that has no index.
QByteArray audioSpecificConfig(int sampleRate, int channels);

} // namespace Adts
