#pragma once

#include <QByteArray>

#include <cstddef>
#include <cstdint>

/// Encodes 16-bit samples by ITU-T G.711, one byte a sample.
namespace G711 {

QByteArray encodeULaw(const std::int16_t* samples, std::size_t count);
QByteArray encodeALaw(const std::int16_t* samples, std::size_t count);

} // namespace G711
