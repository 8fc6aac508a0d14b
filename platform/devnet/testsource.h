#pragma once

#include "devnet/framesource.h"
#include "devnet/mediasourceaddress.h"

#include <atomic>

/// The built-in test picture, encoded as it is painted, and its tone.
class TestSource : public FrameSource
{
public:
    /// @p channelNumber counts from 0.
    TestSource(const TestPictureOptions& pictureOptions, int channelNumber, const QString& channelName);

    QString run(const Output& output, const StopSignal& stop) override;
    bool requestKeyFrame() override;

private:
    const TestPictureOptions options;
    const int channel;
    const QString name;
    std::atomic<bool> keyFrameWanted{false};
};
