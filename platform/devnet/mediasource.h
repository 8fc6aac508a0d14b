#pragma once

#include "devnet/framesource.h"
#include "devnet/mediasourceaddress.h"

/// Frames of an address or of a media file, which is played again and again.
class MediaSource : public FrameSource
{
public:
    explicit MediaSource(const MediaSourceAddress& source);

    QString run(const Output& output, const StopSignal& stop) override;

private:
    const MediaSourceAddress address;
};
