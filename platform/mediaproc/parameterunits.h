#pragma once

#include <cstdint>

/// Whether the data is NAL units of H.264 that come beside pictures and nothing else: parameter sets, supplemental
/// information, delimiters.
bool areParameterUnits(const uint8_t* data, int length);
