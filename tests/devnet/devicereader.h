#pragma once

#include "devnet/xnetdevice.h"

#include <QByteArray>
#include <QVector>

#include <functional>

/// What a test has read from one stream of a device.
struct ReadFrame
{
    XFrameHeader header;
    QByteArray payload;
    qint64 readAt; ///< milliseconds since 1970

    bool isAudio() const { return header.frameType == XFrameHeader::AudioFrame; }
    bool isKey() const { return header.frameType == XFrameHeader::VideoKeyFrame; }
};
using ReadFrames = QVector<ReadFrame>;

/// Reads frames, and judges them with the help of the ffmpeg command.
namespace DeviceReader {

/// Reads for that long, or until @p enough holds for what was read so far. The stream must be enabled.
ReadFrames read(XNetDevice& device, int channel, int stream, int milliseconds,
                const std::function<bool(const ReadFrames&)>& enough = nullptr);

/// Reads until there are that many frames of video, for half a minute at most.
ReadFrames readVideo(XNetDevice& device, int channel, int stream, int count);

ReadFrames video(const ReadFrames& frames);
ReadFrames audio(const ReadFrames& frames);

/// The payloads one after the other.
QByteArray joined(const ReadFrames& frames);

/// What ffmpeg writes to its standard output; ends the test program's run when it says anything about an error.
QByteArray ffmpeg(const QStringList& arguments, const QByteArray& input = QByteArray());

/// A line for each picture of @p stream, "h264" or "hevc", as it comes out of a decoder.
QStringList pictureHashes(const QByteArray& stream, const QString& format);
QStringList pictureHashes(const QString& fileName);

/// What is wrong with a frame's header or with the begin of a key frame; empty when all is well.
QString problemOf(const ReadFrame& frame);

/// Hertz, from sound of "mulaw" or "alaw".
double toneOf(const QByteArray& sound, const QString& format);

} // namespace DeviceReader
