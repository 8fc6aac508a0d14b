#pragma once

#include <QByteArray>

#include <cstdint>

/// The media-processing library's functions as a test wants them.
///
/// They are defined in the test program too, which the library under test then calls instead; what nothing else was
/// asked for is passed on.
namespace ScriptedMediaproc {

/// Everything is passed on again, nothing was called. The calls of mediaproc_init are not forgotten.
void reset();

/// The result of every decoding, encoding and destroying call from now on. What was to be destroyed is, nonetheless.
void setResult(int32_t result);

/// How often mediaproc_init was called in this process.
int inits();

/// Handles made, and handles destroyed, since the last reset.
int created();
int destroyed();

/// What was handed to the last decoding or encoding call.
struct Call
{
    void* handle = nullptr;
    const uint8_t* data = nullptr;
    uint32_t length = 0;
    int32_t keyFrame = -1; ///< -1 for sound
    uint64_t timestamp = 0;
    void* output = nullptr;
    void* rgb = nullptr;
};

Call lastCall();

/// The record of the last creating call, as it lay there.
QByteArray lastParam();

} // namespace ScriptedMediaproc
