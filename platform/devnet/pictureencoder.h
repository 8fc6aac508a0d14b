#pragma once

#include "core_ffmpeg/ffmpegptr.h"
#include "devnet/mediasourceaddress.h"

/// Encodes the test picture without delay: each picture is a packet, and a key frame comes every second.
class PictureEncoder
{
public:
    /// An empty text, or why not.
    QString open(const TestPictureOptions& options);

    /// Writable, to be painted on before each encode().
    AVFrame* frame() { return picture.get(); }

    /// For the packager of the packets.
    const AVCodecParameters* parameters() const { return described.get(); }

    /// Whether there is a packet, in packet().
    bool encode(qint64 number, bool asKeyFrame);
    AVPacket* packet() { return encoded.get(); }

private:
    bool makeFrame(const TestPictureOptions& options);

    CodecContextPtr encoder;
    CodecParametersPtr described;
    AvFramePtr picture;
    AvPacketPtr encoded;
};
