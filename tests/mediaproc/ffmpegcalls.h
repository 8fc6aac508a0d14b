#pragma once

#include <QByteArray>

/// The library's calls into FFmpeg, seen and steered by a test.
///
/// The functions are defined in the test program too, and the library calls those; they pass on to FFmpeg what nothing
/// else was asked for.
namespace FFmpegCalls {

/// The packet that went into a decoder last.
struct Packet
{
    QByteArray data;
    QByteArray padding; ///< what lies behind the data
    qint64 time = 0;
    bool isKeyFrame = false;
};

Packet lastPacket();

/// What making a device comes to from now on.
enum class Device {
    AsItIs,
    Missing,
    Software ///< made, but the stream is one that it doesn't decode
};

void setDevice(Device device);

/// How often a device was asked for, and the type that was asked for last.
int devicesAsked();
QByteArray lastDevice();

} // namespace FFmpegCalls
