#include "aacencoder/g7toaac.h"

#include "aacencoder/faacencoder.h"
#include "aacencoder/g711atopcm.h"
#include "aacencoder/g711utopcm.h"
#include "aacencoder/g726topcm.h"

#include <algorithm>
#include <cstring>

namespace {
constexpr std::size_t inputBufferBytes = 131072;
constexpr std::size_t shortChunkBytes = 320; // of samples; a chunk with fewer ends its frame

constexpr unsigned maxChannels = 8; // FAAC opens with more and then fails at every frame
constexpr unsigned decodedBits = 16;

/// FAAC judges the rest. It would read past a frame buffer that is made for fewer bits than the decoders give.
bool isPossible(const Easy_AACEncoder_Record& record)
{
    return record.channels >= 1 && record.channels <= maxChannels && record.pcmBitSize == decodedBits;
}

std::unique_ptr<IDecodeToPcm> makeDecoder(unsigned audioCodec)
{
    switch (audioCodec) {
    case EASY_AACENCODER_G711U:
        return std::make_unique<G711UToPcm>();
    case EASY_AACENCODER_G726:
        return std::make_unique<G726ToPcm>();
    default:
        return std::make_unique<G711AToPcm>(); // linear samples too: callers that say so send A-law
    }
}
} // namespace

G7ToAac::G7ToAac()
    : parameters{EASY_AACENCODER_G711A, 1, {0, 0}, 8000, decodedBits, 0}
{
}

G7ToAac::~G7ToAac() = default;

bool G7ToAac::init(const Easy_AACEncoder_Record& values) { return init(values, makeDecoder(values.audioCodec)); }

bool G7ToAac::init(const Easy_AACEncoder_Record& values, std::unique_ptr<IDecodeToPcm> chunkDecoder)
{
    parameters = values;
    if (!isPossible(values) || chunkDecoder->init(values) != 0)
        return false;
    faac = FaacEncoder::open(values.sampleRate, values.channels, values.pcmBitSize);
    const auto pcmBytes = std::size_t(chunkDecoder->pcmSize());
    // A chunk completes one frame at most, so its samples must not be more than a frame's.
    if (!faac || pcmBytes > faac->frameBytes())
        return false;
    inputBuffer.assign(inputBufferBytes, 0);
    pcm.assign((pcmBytes + 1) / sizeof(short), 0);
    frame.assign(faac->frameBytes(), 0);
    inputFill = 0;
    frameFill = 0;
    decoder = std::move(chunkDecoder);
    return true;
}

const Easy_AACEncoder_Record& G7ToAac::record() const { return parameters; }

int G7ToAac::encode(const unsigned char* input, unsigned int length, unsigned char* output, unsigned int* outputLength)
{
    *outputLength = 0;
    if (!decoder)
        return 0;
    append(input, length);
    return encodeChunks(output, outputLength) ? int(*outputLength) : -1;
}

void G7ToAac::append(const unsigned char* input, unsigned int length)
{
    if (length == 0 || length > inputBuffer.size() - inputFill)
        return;
    std::memcpy(inputBuffer.data() + inputFill, input, length);
    inputFill += length;
}

bool G7ToAac::encodeChunks(unsigned char* output, unsigned int* outputLength)
{
    const auto chunkBytes = std::size_t(decoder->chunkSize());
    std::size_t taken = 0;
    bool ok = true;
    while (ok && inputFill - taken >= chunkBytes) {
        ok = encodeChunk(inputBuffer.data() + taken, output, outputLength);
        taken += chunkBytes;
    }
    // Moved once for all chunks: a move for each would cost more than the decoding where a caller hands in much.
    std::memmove(inputBuffer.data(), inputBuffer.data() + taken, inputFill - taken);
    inputFill -= taken;
    return ok;
}

bool G7ToAac::encodeChunk(const unsigned char* chunk, unsigned char* output, unsigned int* outputLength)
{
    auto pcmBytes = unsigned(decoder->pcmSize());
    const int result = decoder->decode(pcm.data(), &pcmBytes, chunk, unsigned(decoder->chunkSize()));
    if (result < 0)
        return false;
    const auto decoded = std::size_t(result);
    if (frame.size() - frameFill < decoded) {
        if (!completeFrame(decoded, output, outputLength))
            return false;
    } else {
        std::memcpy(frame.data() + frameFill, pcm.data(), decoded);
        frameFill += decoded;
    }
    return decoded >= shortChunkBytes || encodeFrame(output, outputLength);
}

bool G7ToAac::completeFrame(std::size_t decoded, unsigned char* output, unsigned int* outputLength)
{
    const auto* samples = reinterpret_cast<const unsigned char*>(pcm.data());
    const std::size_t room = frame.size() - frameFill;
    std::memcpy(frame.data() + frameFill, samples, room);
    frameFill = frame.size();
    const bool ok = encodeFrame(output, outputLength);
    std::memcpy(frame.data(), samples + room, decoded - room);
    frameFill = decoded - room;
    return ok;
}

bool G7ToAac::encodeFrame(unsigned char* output, unsigned int* outputLength)
{
    // A call without samples would tell the codec that the stream has ended.
    if (frameFill == 0)
        return true;
    const int aacBytes = faac->encode(frame.data(), frameFill);
    frameFill = 0;
    if (aacBytes < 0)
        return false;
    std::memcpy(output + *outputLength, faac->output(), std::size_t(aacBytes));
    *outputLength += unsigned(aacBytes);
    return true;
}
