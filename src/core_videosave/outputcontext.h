#pragma once

extern "C" {
#include <libavformat/avformat.h>
}

/// A muxer and the file that it writes. The destructor closes the file and frees both; a trailer is only written on
/// request. Used by one thread at a time.
class OutputContext
{
public:
    OutputContext() = default;
    ~OutputContext() { reset(); }
    OutputContext(const OutputContext&) = delete;
    OutputContext& operator=(const OutputContext&) = delete;

    /// Makes a muxer: by @p formatName, or guessed from the file name where that is null.
    bool allocate(const char* formatName, const char* fileName);

    /// Opens the file for writing, where the format needs one. FFmpeg's error code or 0.
    int openFile(const char* fileName);

    /// Closes the file and frees the muxer.
    void reset();

    bool needsFile() const { return !(context->oformat->flags & AVFMT_NOFILE); }

    /// FFmpeg's code of the error that the file is in, 0 for none.
    int fileError() const { return context->pb ? context->pb->error : 0; }

    AVFormatContext* get() const { return context; }
    AVFormatContext* operator->() const { return context; }
    explicit operator bool() const { return context != nullptr; }

private:
    AVFormatContext* context = nullptr;
};
