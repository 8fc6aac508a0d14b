#include "aacencoder/faacencoder.h"

#include <faac.h>

#include <cstdlib>
#include <mutex>

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace {
/// FAAC allocates 12 MB for each encoder and uses a small part of it. Once the first of them has been freed, glibc
/// takes later ones from its arenas, where all of it is memory that was used before and stays in the process, four
/// times as much as is needed where many recordings come and go. With a limit of its own it maps them again, unless the
/// host has set another one in the environment.
void keepEncodersOutOfArenas()
{
#ifdef __GLIBC__
    constexpr int leastBytes = 11 * 1024 * 1024; // above pictures of 1920x1200, which are better reused
    static std::once_flag once;
    std::call_once(once, [] {
        if (!std::getenv("MALLOC_MMAP_THRESHOLD_"))
            mallopt(M_MMAP_THRESHOLD, leastBytes);
    });
#endif
}
} // namespace

std::unique_ptr<FaacEncoder> FaacEncoder::open(unsigned long sampleRate, unsigned channels, unsigned pcmBitSize)
{
    keepEncodersOutOfArenas();
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
