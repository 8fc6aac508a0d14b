#pragma once

#include "aacencoder/easyaacencoder.h"
#include "core_videobase/vantorexport.h"

/// A decoder of compressed telephone sound to 16-bit samples, driven chunk by chunk.
///
/// The order of the virtual functions is part of the binary interface. One object belongs to one thread.
class VANTOR_EXPORT IDecodeToPcm
{
public:
    virtual ~IDecodeToPcm();

    /// Sets the decoder up and forgets what it decoded before. Returns 0.
    virtual int init(const Easy_AACEncoder_Record& record) = 0;

    /// Decodes @p inputBytes bytes. @p pcmBytes holds the size of @p pcm in bytes and receives the bytes written.
    /// Returns the bytes written, or a negative code.
    virtual int decode(short* pcm, unsigned int* pcmBytes, const unsigned char* input, unsigned int inputBytes) = 0;

    /// Bytes that the buffer for one chunk's samples must have.
    virtual int pcmSize() = 0;

    /// Bytes of input in one chunk.
    virtual int chunkSize() = 0;
};
