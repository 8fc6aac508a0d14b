#include "core_videosave/bytering.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace {
std::uint32_t powerOfTwo(std::uint32_t least)
{
    constexpr std::uint32_t largest = 1U << 31;
    std::uint32_t power = 2;
    while (power < least && power < largest)
        power <<= 1;
    return power;
}
} // namespace

ByteRing::ByteRing(std::uint32_t capacity)
    : size(powerOfTwo(capacity))
    , bytes(new (std::nothrow) std::uint8_t[size])
{
}

std::uint32_t ByteRing::write(const void* data, std::uint32_t length)
{
    const std::uint32_t count = std::min(length, free());
    if (count == 0)
        return 0;
    const std::uint32_t start = writeCount & (size - 1);
    const std::uint32_t beforeEnd = std::min(count, size - start);
    std::memcpy(bytes.get() + start, data, beforeEnd);
    std::memcpy(bytes.get(), static_cast<const std::uint8_t*>(data) + beforeEnd, count - beforeEnd);
    writeCount += count;
    return count;
}

std::uint32_t ByteRing::read(void* data, std::uint32_t length)
{
    const std::uint32_t count = std::min(length, used());
    if (count == 0)
        return 0;
    const std::uint32_t start = readCount & (size - 1);
    const std::uint32_t beforeEnd = std::min(count, size - start);
    std::memcpy(data, bytes.get() + start, beforeEnd);
    std::memcpy(static_cast<std::uint8_t*>(data) + beforeEnd, bytes.get(), count - beforeEnd);
    readCount += count;
    if (readCount == writeCount)
        readCount = writeCount = 0;
    return count;
}
