#include "sound.h"

#include <cmath>

namespace {
/// Bytes that vary like a voice: codes near silence with louder stretches.
QByteArray makeCodes(int bytes)
{
    QByteArray codes(bytes, Qt::Uninitialized);
    unsigned random = 1;
    for (int n = 0; n < bytes; ++n) {
        random = random * 1664525 + 1013904223;
        const double wave = std::sin(n * 0.3) * std::sin(n * 0.0008) * 100 + int(random >> 28);
        codes[n] = char((wave < 0 ? 0 : 0x80) | (int(std::abs(wave)) & 0x7F)) ^ '\x55';
    }
    return codes;
}

Easy_AACEncoder_Record recordFor(unsigned codec)
{
    Easy_AACEncoder_Record record{};
    record.audioCodec = std::uint8_t(codec);
    record.channels = 1;
    record.sampleRate = Sound::sampleRate;
    record.pcmBitSize = 16;
    record.g726Rate = EASY_AACENCODER_G726_32K;
    return record;
}
} // namespace

Sound::Sound(unsigned codec, IDecodeToPcm& decoder, int seconds)
    : record(recordFor(codec))
    , samples((seconds * sampleRate + sliceSamples - 1) / sliceSamples * sliceSamples)
{
    codes = makeCodes(codec == EASY_AACENCODER_G726 ? samples.size() / 2 : samples.size());
    decoder.init(record);
    auto bytes = unsigned(samples.size()) * unsigned(sizeof(qint16));
    decoder.decode(samples.data(), &bytes, reinterpret_cast<const unsigned char*>(codes.constData()),
                   unsigned(codes.size()));
}
