#pragma once

// The owners of everything that FFmpeg allocates. This is the only file that calls FFmpeg's free functions: elsewhere a
// handle is one of these types or is borrowed from one.

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavcodec/bsf.h>
#include <libavformat/avformat.h>
#include <libavutil/buffer.h>
#include <libavutil/dict.h>
#include <libavutil/frame.h>
#include <libavutil/mem.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include <cstddef>
#include <cstring>
#include <memory>
#include <utility>

/// Deletes through a function that takes the address of the handle and sets it to null.
template <auto freeFunction>
struct FreeByAddress
{
    template <typename T>
    void operator()(T* handle) const noexcept
    {
        freeFunction(&handle);
    }
};

/// Deletes through a function that takes the handle.
template <auto freeFunction>
struct FreeByValue
{
    template <typename T>
    void operator()(T* handle) const noexcept
    {
        freeFunction(handle);
    }
};

using AvFramePtr = std::unique_ptr<AVFrame, FreeByAddress<av_frame_free>>;
using AvPacketPtr = std::unique_ptr<AVPacket, FreeByAddress<av_packet_free>>;
using BufferRefPtr = std::unique_ptr<AVBufferRef, FreeByAddress<av_buffer_unref>>;
using BufferPoolPtr = std::unique_ptr<AVBufferPool, FreeByAddress<av_buffer_pool_uninit>>;
using CodecContextPtr = std::unique_ptr<AVCodecContext, FreeByAddress<avcodec_free_context>>;
using CodecParametersPtr = std::unique_ptr<AVCodecParameters, FreeByAddress<avcodec_parameters_free>>;
using CodecParserPtr = std::unique_ptr<AVCodecParserContext, FreeByValue<av_parser_close>>;
using BsfContextPtr = std::unique_ptr<AVBSFContext, FreeByAddress<av_bsf_free>>;
using SwrContextPtr = std::unique_ptr<SwrContext, FreeByAddress<swr_free>>;
using SwsContextPtr = std::unique_ptr<SwsContext, FreeByValue<sws_freeContext>>;

/// An input: closed and freed, whether avformat_open_input() has opened it yet or not.
using FormatInputPtr = std::unique_ptr<AVFormatContext, FreeByAddress<avformat_close_input>>;

inline AvFramePtr makeFrame() { return AvFramePtr(av_frame_alloc()); }
inline AvPacketPtr makePacket() { return AvPacketPtr(av_packet_alloc()); }

/// Gives a copy of the bytes to a codec context or to codec parameters that have no extra data yet, and that free it.
/// False without memory.
template <typename Owner>
bool setExtradata(Owner* owner, const void* bytes, size_t size)
{
    auto* copy = static_cast<uint8_t*>(av_mallocz(size + AV_INPUT_BUFFER_PADDING_SIZE));
    if (!copy)
        return false;
    std::memcpy(copy, bytes, size);
    owner->extradata = copy;
    owner->extradata_size = static_cast<int>(size);
    return true;
}

/// Options for an open call, which takes out the entries that it understood.
class AvDictionary
{
public:
    AvDictionary() = default;
    ~AvDictionary() { clear(); }
    AvDictionary(const AvDictionary&) = delete;
    AvDictionary& operator=(const AvDictionary&) = delete;

    void set(const char* key, const char* value) { av_dict_set(&dictionary, key, value, 0); }
    void clear() { av_dict_free(&dictionary); }

    /// For functions that take the address of a dictionary and may replace it.
    AVDictionary** address() { return &dictionary; }

private:
    AVDictionary* dictionary = nullptr;
};
