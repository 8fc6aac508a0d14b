#include "libraryencoder.h"

namespace {
constexpr unsigned outputBytes = 16384;
} // namespace

LibraryEncoder::LibraryEncoder(const Easy_AACEncoder_Record& record)
    : encoder(Easy_AACEncoder_Init(record))
    , packetBytes(record.audioCodec == EASY_AACENCODER_G726 ? 80 : 160)
{
}

LibraryEncoder::~LibraryEncoder() { Easy_AACEncoder_Release(encoder); }

void LibraryEncoder::encode(const QByteArray& input, int at, int bytes, QByteArray& aac)
{
    unsigned char output[outputBytes];
    const auto* data = reinterpret_cast<const unsigned char*>(input.constData());
    for (int end = at + bytes; at < end; at += packetBytes) {
        unsigned length = 0;
        Easy_AACEncoder_Encode(encoder, data + at, unsigned(qMin(packetBytes, end - at)), output, &length);
        aac.append(reinterpret_cast<const char*>(output), int(length));
    }
}
