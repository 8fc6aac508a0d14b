#pragma once

#include "devnet/soundconverter.h"
#include "devnet/xencpara.h"

/// Makes device frames of the sound packets of one source: G.711 as it is, anything else converted.
class SoundPackager
{
public:
    /// Nothing for sound that can't be decoded.
    static std::optional<SoundPackager> make(const AVCodecParameters* parameters);

    const XAudioEncPara& format() const { return encoding; }

    /// @p time is microseconds, that of the first sample of @p packet, which is changed.
    void package(AVPacket* packet, qint64 time, const SoundConverter::Output& output);

    /// Puts out what is left when a source has ended.
    void finish(const SoundConverter::Output& output);

private:
    XAudioEncPara encoding;
    std::optional<SoundConverter> converter; ///< none for G.711
};
