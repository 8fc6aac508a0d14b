#include "core_ffmpeg/h264parameters.h"

#include "core_ffmpeg/annexb.h"

#include <vector>

namespace {

constexpr int extendedAspectRatio = 255;
constexpr int macroblock = 16;
constexpr uint32_t largestInMacroblocks = 1024;
constexpr int constrained = 1 << 9; // FFmpeg's bits in a profile number
constexpr int intra = 1 << 11;

/// Reads the bits of a unit. Past its end there are zeros, and isGood() says so.
class BitReader
{
public:
    /// @p data begins behind the unit's header byte.
    BitReader(const uint8_t* data, size_t size)
    {
        bytes.reserve(size);
        for (size_t i = 0; i < size; ++i) {
            const bool prevents = i >= 2 && data[i] == 3 && data[i - 1] == 0 && data[i - 2] == 0;
            if (!prevents)
                bytes.push_back(data[i]);
        }
    }

    uint32_t bits(int count)
    {
        uint32_t value = 0;
        for (int i = 0; i < count; ++i, ++position) {
            const bool isInside = position / 8 < bytes.size();
            const int bit = isInside ? bytes[position / 8] >> (7 - position % 8) & 1 : 0;
            value = value << 1 | static_cast<uint32_t>(bit);
        }
        return value;
    }

    bool flag() { return bits(1) != 0; }

    uint32_t unsignedCode()
    {
        int zeros = 0;
        while (zeros < 32 && isGood() && !flag())
            ++zeros;
        return zeros >= 32 ? 0 : (1U << zeros) - 1 + bits(zeros);
    }

    void skipCode() { unsignedCode(); }

    bool isGood() const { return position <= bytes.size() * 8; }

private:
    std::vector<uint8_t> bytes;
    size_t position = 0; // bits
};

int signedCode(BitReader& reader)
{
    const uint32_t code = reader.unsignedCode();
    const int half = static_cast<int>(code / 2);
    return code % 2 == 0 ? -half : half + 1;
}

bool hasColourFormat(uint32_t profile)
{
    for (const uint32_t high : {100U, 110U, 122U, 244U, 44U, 83U, 86U, 118U, 128U, 138U, 139U, 134U, 135U}) {
        if (profile == high)
            return true;
    }
    return false;
}

void skipScalingList(BitReader& reader, int size)
{
    int next = 8;
    for (int i = 0; i < size && next != 0; ++i)
        next = (next + signedCode(reader) + 256) % 256;
}

/// False for what is not 8-bit 4:2:0.
bool readColourFormat(BitReader& reader)
{
    constexpr uint32_t format420 = 1;
    if (reader.unsignedCode() != format420 || reader.unsignedCode() != 0 || reader.unsignedCode() != 0)
        return false;
    reader.flag(); // lossless
    if (!reader.flag())
        return true;
    constexpr int lists = 8;
    constexpr int smallLists = 6;
    for (int i = 0; i < lists; ++i) {
        if (reader.flag())
            skipScalingList(reader, i < smallLists ? 16 : 64);
    }
    return true;
}

void skipPictureOrder(BitReader& reader)
{
    const uint32_t type = reader.unsignedCode();
    if (type == 0) {
        reader.skipCode();
    } else if (type == 1) {
        reader.flag();
        reader.skipCode();
        reader.skipCode();
        const uint32_t count = reader.unsignedCode();
        for (uint32_t i = 0; i < count && reader.isGood(); ++i)
            reader.skipCode();
    }
}

void readCropping(BitReader& reader, H264Parameters* parameters)
{
    if (!reader.flag())
        return;
    constexpr int chromaStep = 2;
    const uint32_t left = reader.unsignedCode();
    const uint32_t right = reader.unsignedCode();
    const uint32_t top = reader.unsignedCode();
    const uint32_t bottom = reader.unsignedCode();
    const auto most = static_cast<uint32_t>(largestInMacroblocks * macroblock);
    if (left > most || right > most || top > most || bottom > most)
        return;
    parameters->width -= chromaStep * static_cast<int>(left + right);
    parameters->height -= chromaStep * static_cast<int>(top + bottom);
}

void readUsability(BitReader& reader, H264Parameters* parameters)
{
    if (reader.flag() && reader.bits(8) == extendedAspectRatio)
        reader.bits(32);
    if (reader.flag()) // overscan
        reader.flag();
    if (reader.flag()) { // video signal
        reader.bits(3);
        parameters->isFullRange = reader.flag();
        if (reader.flag())
            reader.bits(24);
    }
    if (reader.flag()) { // chroma location
        reader.skipCode();
        reader.skipCode();
    }
    if (!reader.flag()) // timing
        return;
    const uint32_t tick = reader.bits(32);
    const uint32_t scale = reader.bits(32);
    constexpr uint32_t most = 1U << 30;
    if (tick > 0 && tick < most / 2 && scale > 0 && scale < most && reader.isGood()) {
        parameters->rateNumerator = static_cast<int>(scale);
        parameters->rateDenominator = static_cast<int>(tick * 2); // a tick is a field
    }
}

int profileOf(uint32_t profile, uint32_t constraints)
{
    constexpr uint32_t baseline = 66;
    int number = static_cast<int>(profile);
    if (profile == baseline && (constraints & 0x40U) != 0)
        number |= constrained;
    if ((profile == 110 || profile == 122 || profile == 244) && (constraints & 0x10U) != 0)
        number |= intra;
    return number;
}

std::optional<H264Parameters> readSet(BitReader reader)
{
    H264Parameters parameters;
    const uint32_t profile = reader.bits(8);
    parameters.profile = profileOf(profile, reader.bits(8));
    parameters.level = static_cast<int>(reader.bits(8));
    reader.skipCode(); // number of the set
    if (hasColourFormat(profile) && !readColourFormat(reader))
        return std::nullopt;
    reader.skipCode(); // frame numbers
    skipPictureOrder(reader);
    reader.skipCode(); // references
    reader.flag();     // gaps
    const uint32_t columns = reader.unsignedCode() + 1;
    const uint32_t rows = reader.unsignedCode() + 1;
    const bool isOfWholePictures = reader.flag();
    if (!isOfWholePictures || columns > largestInMacroblocks || rows > largestInMacroblocks)
        return std::nullopt;
    reader.flag(); // direct prediction
    parameters.width = macroblock * static_cast<int>(columns);
    parameters.height = macroblock * static_cast<int>(rows);
    readCropping(reader, &parameters);
    if (!reader.isGood() || parameters.width <= 0 || parameters.height <= 0)
        return std::nullopt;
    if (reader.flag())
        readUsability(reader, &parameters);
    return parameters;
}

} // namespace

std::optional<H264Parameters> H264Parameters::read(const uint8_t* units, size_t size)
{
    constexpr int sequenceParameterSet = 7;
    for (AnnexB::Reader reader(units, size); reader.next();) {
        const AnnexB::Unit unit = reader.unit();
        if (unit.type() == sequenceParameterSet)
            return readSet(BitReader(unit.data + 1, unit.size - 1));
    }
    return std::nullopt;
}
