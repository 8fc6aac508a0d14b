#pragma once

#include "devnet/xframeheader.h"

#include <QByteArray>
#include <QSize>
#include <QVector>

/// One encoded frame as a device hands it out.
struct DeviceFrame
{
    quint32 type = XFrameHeader::VideoKeyFrame;
    quint32 codecId = 0;
    quint32 width = 0; ///< or the sample rate
    quint32 height = 0; ///< or the bits per sample
    quint32 param1 = 0; ///< or the channels
    quint32 param2 = 0;
    quint64 timestamp = 0; ///< milliseconds
    QByteArray payload;

    bool isKeyFrame() const { return type == XFrameHeader::VideoKeyFrame; }
    bool isVideo() const { return type <= XFrameHeader::LastVideoFrame; }

    /// Writes head and payload into a buffer of XFrameHeader::bufferSize bytes.
    void writeTo(XFrameHeader* frame) const;
};

using DeviceFrames = QVector<DeviceFrame>;

/// Frames of real streams, cut from clips of support/clips.h: pictures of testpicture.h numbered from 0, 25 a second
/// from timestamp 0 on, a key frame with its parameter sets before every 25 pictures, Annex B, no B-frames; five
/// seconds each. Sound is a tone of 440 Hz, 8000 Hz mono, a frame for every picture.
namespace DeviceStream {

constexpr int pictureMs = 40;
constexpr int keyDistance = 25;
constexpr int frameCount = 125;

DeviceFrames h264(); ///< Clips::size
DeviceFrames h264OtherSize(); ///< Clips::otherSize
DeviceFrames h265(); ///< Clips::size
DeviceFrames h265OtherSize(); ///< Clips::otherSize

constexpr quint32 aLaw = 3;
constexpr quint32 muLaw = 4;
constexpr quint32 pcm = 5;

/// Sound frames of that codecId; 16 bits per sample whatever the codec, as devices say.
DeviceFrames sound(quint32 codecId = aLaw);

/// Both in the order of their times, the picture first.
DeviceFrames mixed(const DeviceFrames& pictures, const DeviceFrames& sound);

/// The frames @p later milliseconds later.
DeviceFrames shifted(DeviceFrames frames, quint64 later);

/// @p first, then @p second with the times going on behind it.
DeviceFrames joined(const DeviceFrames& first, const DeviceFrames& second);

/// Time from the first frame to where the frame after the last one belongs.
quint64 duration(const DeviceFrames& frames);

} // namespace DeviceStream
