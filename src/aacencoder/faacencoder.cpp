#include "aacencoder/faacencoder.h"

#include <faac.h>

std::unique_ptr<FaacEncoder> FaacEncoder::open(unsigned long sampleRate, unsigned channels, unsigned pcmBitSize)
{
    std::unique_ptr<FaacEncoder> encoder(new FaacEncoder);
    encoder->bytesPerSample = pcmBitSize / 8;
    unsigned long maxOutputBytes = 0;
    encoder->handle.reset(faacEncOpen(sampleRate, channels, &encoder->inputSamples, &maxOutputBytes));
    if (!encoder->handle || !encoder->configure())
        return nullptr;
    encoder->aac.resize(maxOutputBytes);
    return encoder;
}

std::size_t FaacEncoder::frameBytes() const { return bytesPerSample * inputSamples; }

int FaacEncoder::encode(unsigned char* pcm, std::size_t bytes)
{
    // FAAC's parameter is typed for its widest sample; it reads the size that inputFormat says.
    return faacEncEncode(handle.get(), reinterpret_cast<int32_t*>(pcm), unsigned(bytes / bytesPerSample), aac.data(),
                         unsigned(aac.size()));
}

const unsigned char* FaacEncoder::output() const { return aac.data(); }

bool FaacEncoder::configure()
{
    faacEncConfiguration* configuration = faacEncGetCurrentConfiguration(handle.get());
    configuration->mpegVersion = MPEG2;
    configuration->aacObjectType = LOW;
    configuration->useTns = 0;
    configuration->outputFormat = ADTS_STREAM;
    configuration->inputFormat = FAAC_INPUT_16BIT;
    return faacEncSetConfiguration(handle.get(), configuration) != 0;
}

void FaacEncoder::Closer::operator()(void* encoder) const { faacEncClose(encoder); }
