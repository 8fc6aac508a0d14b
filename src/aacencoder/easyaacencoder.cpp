#include "aacencoder/easyaacencoder.h"

#include "aacencoder/g7toaac.h"

#include <new>

struct Easy_AACEncoder
{
    G7ToAac encoder;
};

Easy_AACEncoder_Handle Easy_AACEncoder_Init(Easy_AACEncoder_Record record)
try {
    auto handle = std::make_unique<Easy_AACEncoder>();
    return handle->encoder.init(record) ? handle.release() : nullptr;
} catch (const std::bad_alloc&) {
    return nullptr;
}

int Easy_AACEncoder_Encode(Easy_AACEncoder_Handle encoder, const unsigned char* input, unsigned int length,
                           unsigned char* output, unsigned int* outputLength)
{
    if (outputLength)
        *outputLength = 0;
    if (!encoder || !output || !outputLength || (!input && length > 0))
        return -1;
    return encoder->encoder.encode(input, length, output, outputLength);
}

void Easy_AACEncoder_Release(Easy_AACEncoder_Handle encoder) { delete encoder; }
