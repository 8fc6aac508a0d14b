#pragma once

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <cstdint>

/// What the fuzz targets share: the input taken apart, and the end of the process where something is not as it must be.

/// Ends the process with a report that counts as a finding, unless @p holds.
void require(bool holds, const char* what);

/// A folder on a file system in memory, empty at the start of the process and removed at its end.
QString fuzzFolder();

/// The bytes of one input, taken from its front. What is not there any more reads as zero.
class FuzzInput
{
public:
    FuzzInput(const std::uint8_t* data, std::size_t size);

    std::uint8_t byte();
    std::uint16_t word(); ///< little endian
    std::uint32_t number(); ///< 32 bits, little endian
    QByteArray bytes(std::size_t count); ///< fewer at the end of the input
    QByteArray rest();

    /// UTF-8 up to a line feed, which is taken with it.
    QString line();

    bool isEmpty() const;

private:
    const std::uint8_t* next;
    const std::uint8_t* const end;
};

/// libFuzzer's two functions; fuzzing.cpp has the first, each target the second.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
