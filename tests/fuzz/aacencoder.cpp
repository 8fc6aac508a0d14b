// Telephone sound to AAC through the C interface: any record, packets of any length and content.

#include "aacencoder/easyaacencoder.h"
#include "fuzz/fuzzing.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace {
constexpr std::size_t longestInput = 20000; // of all packets but the last together, so that an input takes milliseconds
constexpr std::uint8_t farBeyond = 0xFF;
constexpr std::size_t largestFrame = 8192;
constexpr std::size_t samplesPerFrame = 1024;
constexpr std::size_t mostPerByte = 4; // samples of G.726 at 16 kbit/s

struct EncoderCloser
{
    void operator()(Easy_AACEncoder* encoder) const { Easy_AACEncoder_Release(encoder); }
};

Easy_AACEncoder_Record takeRecord(FuzzInput& input)
{
    Easy_AACEncoder_Record record{};
    record.audioCodec = input.byte();
    record.channels = input.byte();
    record.sampleRate = input.number();
    record.pcmBitSize = input.byte();
    record.g726Rate = input.byte();
    return record;
}

/// A pattern, repeated up to a length that is far beyond that of the input itself.
std::vector<unsigned char> takePacket(FuzzInput& input)
{
    const std::size_t asked = input.word();
    const std::uint8_t scale = input.byte();
    const std::size_t length = scale == farBeyond ? asked * 4 : scale % 16 ? asked % 2048 : asked;
    const QByteArray pattern = input.bytes(1 + input.byte());
    std::vector<unsigned char> packet(length);
    for (std::size_t i = 0; i < length && !pattern.isEmpty(); ++i)
        packet[i] = static_cast<unsigned char>(pattern.at(int(i % std::size_t(pattern.size()))));
    return packet;
}

/// The room that the header of the interface asks for.
std::size_t roomFor(std::size_t length, const Easy_AACEncoder_Record& record)
{
    const std::size_t samples = length * mostPerByte / std::max<std::size_t>(record.channels, 1);
    return (samples / samplesPerFrame + 2) * largestFrame;
}

void requireFrames(const unsigned char* output, std::size_t length)
{
    while (length > 0) {
        require(length >= 7 && output[0] == 0xFF && (output[1] & 0xF0) == 0xF0, "the output is whole ADTS frames");
        const std::size_t frame = std::size_t(output[3] & 3) << 11 | std::size_t(output[4]) << 3 | output[5] >> 5;
        require(frame >= 7 && frame <= length, "a frame has its length in its header");
        output += frame;
        length -= frame;
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzInput input(data, size);
    const Easy_AACEncoder_Record record = takeRecord(input);
    const std::unique_ptr<Easy_AACEncoder, EncoderCloser> encoder(Easy_AACEncoder_Init(record));
    if (!encoder)
        return 0;
    for (std::size_t taken = 0; !input.isEmpty() && taken < longestInput;) {
        const std::vector<unsigned char> packet = takePacket(input);
        const std::size_t room = roomFor(packet.size(), record);
        const std::unique_ptr<unsigned char[]> output(new unsigned char[room]);
        unsigned int length = 0;
        const int result
            = Easy_AACEncoder_Encode(encoder.get(), packet.data(), unsigned(packet.size()), output.get(), &length);
        require(length <= room, "the output fits");
        require(result == -1 || unsigned(result) == length, "the result is the length");
        requireFrames(output.get(), length);
        taken += packet.size();
    }
    return 0;
}
