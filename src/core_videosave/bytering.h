#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>

/// A ring of bytes with free-running counts: what one thread writes, another reads in order.
///
/// Reading and writing go on under the lock, which the caller takes: the ring is a lockable of its own, so that several
/// steps can be one (std::lock_guard<ByteRing>).
class ByteRing
{
public:
    /// @p capacity is raised to a power of two, 0 to 2. isValid() is false when there is no memory for it.
    explicit ByteRing(std::uint32_t capacity);

    bool isValid() const { return bytes != nullptr; }
    std::uint32_t capacity() const { return size; }
    std::uint32_t used() const { return writeCount - readCount; }
    std::uint32_t free() const { return size - writeCount + readCount; }

    /// Appends as much as there is room for; the number of bytes taken.
    std::uint32_t write(const void* data, std::uint32_t length);

    /// Takes at most @p length bytes; the number of bytes taken.
    std::uint32_t read(void* data, std::uint32_t length);

    void lock() { mutex.lock(); }
    void unlock() { mutex.unlock(); }

private:
    const std::uint32_t size;
    const std::unique_ptr<std::uint8_t[]> bytes;
    std::uint32_t writeCount = 0;
    std::uint32_t readCount = 0;
    std::mutex mutex;
};
