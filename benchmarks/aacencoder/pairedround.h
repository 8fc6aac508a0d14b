#pragma once

#include "directencoder.h"
#include "libraryencoder.h"
#include "sound.h"
#include "support/spread.h"

/// One sound through the library and through the codec alone, both from their beginning.
///
/// The two take turns slice by slice, and the one that goes first changes too, so that whatever else the machine does
/// meets both alike; a slice that was disturbed doesn't move the median.
class PairedRound
{
public:
    /// With @p decoder the codec's side begins at the codes, as the library's does; else at the samples.
    PairedRound(Sound& sound, IDecodeToPcm* decoder);

    void run();

    /// Whether both made the same AAC, but for what the library still holds back.
    bool isSame() const;

    /// CPU time that the library takes above the codec's, as a fraction of it; the median of the slices.
    double ownPart() const { return ratios.median() - 1; }

private:
    double runLibrary(int slice);
    double runCodec(int slice);

    Sound& sound;
    IDecodeToPcm* const decoder;
    LibraryEncoder libraryEncoder;
    DirectEncoder codecEncoder;
    QByteArray libraryAac;
    QByteArray codecAac;
    Spread ratios;
};
