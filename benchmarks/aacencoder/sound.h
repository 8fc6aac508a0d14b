#pragma once

#include "aacencoder/idecodetopcm.h"

#include <QByteArray>
#include <QVector>

/// The same sound twice: as the codes of a telephone codec and as the samples that these stand for.
struct Sound
{
    static constexpr int sampleRate = 8000;

    /// 5.12 seconds: whole packets, chunks and frames, and long beside what a change of systems costs the caches.
    static constexpr int sliceSamples = 40960;

    /// @p seconds are rounded up to whole slices. @p codec is a codec of Easy_AACEncoder_Record, G.726 with 4 bits.
    Sound(unsigned codec, IDecodeToPcm& decoder, int seconds);

    int slices() const { return samples.size() / sliceSamples; }
    int sliceBytes() const { return codes.size() / slices(); }

    const Easy_AACEncoder_Record record;
    QByteArray codes;
    QVector<qint16> samples;
};
