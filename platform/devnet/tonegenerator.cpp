#include "devnet/tonegenerator.h"

#include "devnet/g711.h"

#include <array>
#include <cmath>

namespace {

constexpr int sampleRate = 8000;
constexpr std::size_t frameSamples = sampleRate * ToneGenerator::frameMs / 1000;
constexpr double amplitude = 6000; ///< a tenth of the loudest is heard well and hurts nobody
constexpr double pi = 3.14159265358979323846;

} // namespace

ToneGenerator::ToneGenerator(const TestPictureOptions& options)
    : aLaw(options.aLaw)
    , hertz(options.toneHertz)
{
}

XAudioEncPara ToneGenerator::format() const { return {aLaw ? 33 : 34, sampleRate, 16, 1}; }

QByteArray ToneGenerator::next()
{
    std::array<std::int16_t, frameSamples> samples;
    for (std::int16_t& sample : samples) {
        // A whole number of waves fits into a second.
        const double phase = 2 * pi * hertz * static_cast<double>(position++ % sampleRate) / sampleRate;
        sample = static_cast<std::int16_t>(std::lround(amplitude * std::sin(phase)));
    }
    return aLaw ? G711::encodeALaw(samples.data(), samples.size()) : G711::encodeULaw(samples.data(), samples.size());
}
