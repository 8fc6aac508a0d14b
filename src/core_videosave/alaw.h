#pragma once

#include <QByteArray>

#include <cstdint>

/// G.711 A-law (ITU-T G.711).
namespace Alaw {

/// The codes of 16-bit linear samples in the machine's byte order; an odd last byte is dropped.
QByteArray fromLinear(const uint8_t* samples, int bytes);

} // namespace Alaw
