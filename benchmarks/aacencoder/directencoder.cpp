#include "directencoder.h"

#include <faac.h>

namespace {
constexpr unsigned long sampleRate = 8000;

void* open(unsigned long& frameSamples, QByteArray& output)
{
    unsigned long outputBytes = 0;
    faacEncHandle faac = faacEncOpen(sampleRate, 1, &frameSamples, &outputBytes);
    output.resize(int(outputBytes));
    return faac;
}
} // namespace

DirectEncoder::DirectEncoder()
    : faac(open(frameSamples, output))
{
    faacEncConfiguration* configuration = faacEncGetCurrentConfiguration(faac);
    configuration->mpegVersion = MPEG2;
    configuration->aacObjectType = LOW;
    configuration->useTns = 0;
    configuration->outputFormat = ADTS_STREAM;
    configuration->inputFormat = FAAC_INPUT_16BIT;
    faacEncSetConfiguration(faac, configuration);
}

DirectEncoder::~DirectEncoder() { faacEncClose(faac); }

void DirectEncoder::encode(qint16* samples, int count, QByteArray& aac)
{
    for (const qint16* end = samples + count; samples < end; samples += frameSamples) {
        const int bytes = faacEncEncode(faac, reinterpret_cast<int32_t*>(samples), unsigned(frameSamples),
                                        reinterpret_cast<unsigned char*>(output.data()), unsigned(output.size()));
        aac.append(output.constData(), bytes);
    }
}
