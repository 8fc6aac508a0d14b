#pragma once

#include "devnet/mediasourceaddress.h"
#include "devnet/xencpara.h"

#include <QByteArray>

/// The tone of the test picture in frames of G.711.
class ToneGenerator
{
public:
    static constexpr int frameMs = 40;

    explicit ToneGenerator(const TestPictureOptions& options);

    XAudioEncPara format() const;

    /// The frame that comes next.
    QByteArray next();

private:
    const bool aLaw;
    const int hertz;
    qint64 position = 0; ///< in samples
};
