#pragma once

#include "aacencoder/easyaacencoder.h"

#include <QByteArray>

/// The library's C interface, fed with packets of 20 ms as a recorder does.
class LibraryEncoder
{
public:
    explicit LibraryEncoder(const Easy_AACEncoder_Record& record);
    ~LibraryEncoder();
    LibraryEncoder(const LibraryEncoder&) = delete;
    LibraryEncoder& operator=(const LibraryEncoder&) = delete;

    /// Encodes @p bytes of @p input from @p at on and appends what was completed to @p aac.
    void encode(const QByteArray& input, int at, int bytes, QByteArray& aac);

private:
    const Easy_AACEncoder_Handle encoder;
    const int packetBytes;
};
