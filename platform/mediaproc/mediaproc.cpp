#include "mediaproc/mediaproc.h"

#include "mediaproc/audiodecoder.h"
#include "mediaproc/audioencoder.h"
#include "mediaproc/codecinput.h"
#include "mediaproc/mp4file.h"
#include "mediaproc/videodecoder.h"

#include <exception>

namespace {
constexpr int32_t success = 0;
constexpr int32_t failure = -1;

/// No exception, which can only be about memory, gets to a caller that may be written in C.
template <typename Result, typename Step>
Result guarded(Result otherwise, Step step) noexcept
{
    try {
        return step();
    } catch (const std::exception&) {
        return otherwise;
    }
}

template <typename Codec, typename Param>
void* create(const Param* param)
{
    return guarded<void*>(nullptr, [&] { return param ? Codec::create(*param).release() : nullptr; });
}

template <typename Codec>
int32_t destroy(void* handle)
{
    if (!handle)
        return failure;
    const std::unique_ptr<Codec> owned(static_cast<Codec*>(handle));
    return success;
}

int32_t decodeVideo(VideoDecoder& decoder, const AvPacketPtr& frame, bool isKeyFrame, _tag_yuv_frame_s& yuv,
                    _tag_rgb_frame_s* rgb)
{
    if (!frame)
        return failure;
    if (isKeyFrame)
        frame->flags |= AV_PKT_FLAG_KEY;
    return decoder.decode(frame.get(), yuv, rgb) ? success : failure;
}
} // namespace

void mediaproc_init(void)
{
    // FFmpeg needs no preparation, and what it says, and to whom, is for the host to set.
}

void* mediaproc_create_video_decoder(const _tag_vdec_param_s* param) { return create<VideoDecoder>(param); }

int32_t mediaproc_decoder_video_frame(void* decoder, const uint8_t* data, uint32_t length, int32_t key_frame,
                                      uint64_t timestamp, _tag_yuv_frame_s* yuv, _tag_rgb_frame_s* rgb)
{
    if (yuv)
        *yuv = {};
    if (rgb)
        *rgb = {};
    if (!decoder || !yuv || !CodecInput::isUsable(data, length))
        return failure;
    return guarded(failure, [&] {
        return decodeVideo(*static_cast<VideoDecoder*>(decoder), CodecInput::packet(data, length, timestamp),
                           key_frame != 0, *yuv, rgb);
    });
}

int32_t mediaproc_destroy_video_decoder(void* decoder) { return destroy<VideoDecoder>(decoder); }

void* mediaproc_create_audio_decoder(const _tag_adec_param_s* param) { return create<AudioDecoder>(param); }

int32_t mediaproc_decoder_audio_frame(void* decoder, const uint8_t* data, uint32_t length, uint64_t timestamp,
                                      _tag_audio_frame_s* audio)
{
    if (audio)
        *audio = {};
    if (!decoder || !audio || !CodecInput::isUsable(data, length))
        return failure;
    return guarded(failure, [&] {
        auto& sound = *static_cast<AudioDecoder*>(decoder);
        const uint32_t bytes = sound.wholeBytes(length);
        const AvPacketPtr packet = bytes > 0 ? CodecInput::packet(data, bytes, timestamp) : nullptr;
        return packet && sound.decode(packet.get(), *audio) ? success : failure;
    });
}

int32_t mediaproc_destroy_audio_decoder(void* decoder) { return destroy<AudioDecoder>(decoder); }

void* mediaproc_create_audio_encoder(const _tag_aenc_param_s* param) { return create<AudioEncoder>(param); }

int32_t mediaproc_encoder_audio_frame(void* encoder, const uint8_t* data, uint32_t length, uint64_t timestamp,
                                      _tag_audio_frame_s* audio)
{
    if (audio)
        *audio = {};
    if (!encoder || !audio || !CodecInput::isUsable(data, length))
        return failure;
    return guarded(failure, [&] {
        auto& sound = *static_cast<AudioEncoder*>(encoder);
        const uint32_t bytes = sound.wholeBytes(length);
        return bytes > 0 && sound.encode(data, bytes, timestamp, *audio) ? success : failure;
    });
}

int32_t mediaproc_destroy_audio_encoder(void* encoder) { return destroy<AudioEncoder>(encoder); }

void* mediaproc_create_mp4_file(const char* path, const _tag_mp4_video_param_s* video,
                                const _tag_mp4_audio_param_s* audio)
{
    if (!path || !video || !audio)
        return nullptr;
    return guarded<void*>(nullptr, [&] { return Mp4File::create(path, *video, *audio).release(); });
}

int32_t mediaproc_write_mp4_video(void* file, const uint8_t* data, uint32_t length, uint64_t timestamp,
                                  int32_t key_frame)
{
    if (!file || !CodecInput::isUsable(data, length))
        return failure;
    return guarded(failure, [&] {
        return static_cast<Mp4File*>(file)->writeVideo(data, length, timestamp, key_frame != 0) ? success : failure;
    });
}

int32_t mediaproc_write_mp4_audio(void* file, const uint8_t* data, uint32_t length, uint64_t timestamp)
{
    if (!file || !CodecInput::isUsable(data, length))
        return failure;
    return guarded(failure, [&] {
        return static_cast<Mp4File*>(file)->writeAudio(data, length, timestamp) ? success : failure;
    });
}

int32_t mediaproc_close_mp4_file(void* file) { return destroy<Mp4File>(file); }
