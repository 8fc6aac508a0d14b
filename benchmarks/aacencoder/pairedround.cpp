#include "pairedround.h"

#include "support/cputime.h"

namespace {
/// Of a frame and a G.726 chunk; no more of the input than this is still inside the library at the end.
constexpr int mostHeldSamples = 1024 + 320;
} // namespace

PairedRound::PairedRound(Sound& input, IDecodeToPcm* codecDecoder)
    : sound(input)
    , decoder(codecDecoder)
    , libraryEncoder(input.record)
{
    if (decoder)
        decoder->init(sound.record);
}

void PairedRound::run()
{
    for (int slice = 0; slice < sound.slices(); ++slice) {
        const bool isLibraryFirst = slice % 2 == 0;
        double libraryTime = isLibraryFirst ? runLibrary(slice) : 0;
        const double codecTime = runCodec(slice);
        if (!isLibraryFirst)
            libraryTime = runLibrary(slice);
        ratios.add(libraryTime / codecTime);
    }
}

double PairedRound::runLibrary(int slice)
{
    const int bytes = sound.sliceBytes();
    return CpuTime::of([&] { libraryEncoder.encode(sound.codes, slice * bytes, bytes, libraryAac); });
}

double PairedRound::runCodec(int slice)
{
    return CpuTime::of([&] {
        qint16* samples = sound.samples.data() + slice * Sound::sliceSamples;
        if (decoder) {
            const int bytes = sound.sliceBytes();
            auto pcmBytes = unsigned(Sound::sliceSamples * sizeof(qint16));
            const auto* codes = reinterpret_cast<const unsigned char*>(sound.codes.constData()) + slice * bytes;
            decoder->decode(samples, &pcmBytes, codes, unsigned(bytes));
        }
        codecEncoder.encode(samples, Sound::sliceSamples, codecAac);
    });
}

bool PairedRound::isSame() const
{
    const double mostHeldBytes = 2.0 * mostHeldSamples * codecAac.size() / sound.samples.size();
    return !libraryAac.isEmpty() && codecAac.startsWith(libraryAac)
        && codecAac.size() - libraryAac.size() <= mostHeldBytes;
}
