#pragma once

#include <QByteArray>

/// What stands before the picture itself in an H.264 picture in Annex B format.
namespace H264Head {

/// The parameter sets, each behind a start code; empty where there are none.
QByteArray parameterSets(const unsigned char* picture, int bytes);

} // namespace H264Head
