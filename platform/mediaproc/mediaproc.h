#ifndef MEDIAPROC_H
#define MEDIAPROC_H

#include "mediaproc/mediaprocexport.h"

#include <stdint.h>

/*!
 * @file
 * Decoding and encoding of what devices stream, for C and C++.
 *
 * A program that shows a stream of H.264:
 *
 * @code
 * #include <mediaproc/mediaproc.h>
 *
 * _tag_vdec_param_s param = {1, 1920, 1080, "none"};
 * _tag_yuv_frame_s picture;
 *
 * mediaproc_init();
 * void* decoder = mediaproc_create_video_decoder(&param);
 * if (!decoder)
 *     return 1;
 * while (read_frame(&frame)) {
 *     if (mediaproc_decoder_video_frame(decoder, frame.data, frame.length, frame.is_key, frame.milliseconds, &picture,
 *                                       NULL) == -1)
 *         continue;
 *     if (picture.plane[0])
 *         show(&picture);
 * }
 * mediaproc_destroy_video_decoder(decoder);
 * @endcode
 *
 * Threads: functions may run at the same time on different handles; a handle belongs to one thread at a time.
 *
 * Memory: what goes in is read during the call, and nothing behind its length. What an output record points to belongs
 * to the handle: it is only read, for as long as the function says, and not after the handle was destroyed.
 *
 * Results: an integer result of -1 is a failure, any other a success. A failure of a decoder or an encoder is about the
 * one call, not about the handle. On failure, and when there is nothing to put out, output records are zero.
 *
 * The log level of FFmpeg, which does the work, is left to the host. Most of what damaged streams make it say
 * is told from its level "debug" on.
 */

#ifdef __cplusplus
extern "C" {
#endif

/*! What a video decoder is made for. */
typedef struct _tag_vdec_param_s
{
    int32_t codec;  /*!< 1 H.264, 2 H.265 */
    int32_t width;  /*!< pixels, 1 to 16384; the pictures have the size that the stream says */
    int32_t height; /*!< pixels, 1 to 16384; width times height is 8192 * 8192 at most */
    /*!
     * "none" (or nothing) for decoding on the processor; "vaapi", "dxva2", "d3d11va", "cuda" and whatever else FFmpeg
     * was built with. A name of all 32 characters has no terminating zero.
     */
    char hardware[32];
} _tag_vdec_param_s;

/*! What an audio decoder is made for. */
typedef struct _tag_adec_param_s
{
    int32_t codec;       /*!< 33 G.711 A-law, 34 G.711 mu-law */
    int32_t sample_rate; /*!< Hz, 1 to 384000 */
    int32_t bit_width;   /*!< bits per decoded sample, 16 */
    int32_t channels;    /*!< 1 to 8, interleaved */
} _tag_adec_param_s;

/*! What an audio encoder is made for. */
typedef struct _tag_aenc_param_s
{
    int32_t codec;       /*!< 33 G.711 A-law, 34 G.711 mu-law */
    int32_t sample_rate; /*!< Hz, 1 to 384000 */
    int32_t bit_width;   /*!< bits per input sample, 16 */
    int32_t channels;    /*!< 1 to 8, interleaved */
} _tag_aenc_param_s;

/*!
 * A decoded picture.
 *
 * - Decoded on the processor: three planes of 4:2:0 with 8 bits, of odd sizes the chroma is rounded up.
 * - Decoded by "vaapi" or "cuda": two planes, those of NV12, in memory; the third is null.
 * - Decoded by "dxva2": plane[0] is the Direct3D 9 surface.
 * - Decoded by "d3d11va": plane[0] is the Direct3D 11 texture, y_stride the index of the picture in it.
 *
 * No picture (the decoder waits for more) has null planes and size 0.
 */
typedef struct _tag_yuv_frame_s
{
    uint8_t* plane[3];
    int32_t width;     /*!< pixels */
    int32_t height;    /*!< pixels */
    int32_t y_stride;  /*!< bytes */
    int32_t uv_stride; /*!< bytes */
} _tag_yuv_frame_s;

/*! The same picture as packed 24-bit RGB, red first. */
typedef struct _tag_rgb_frame_s
{
    uint8_t* data;
    int32_t width;  /*!< pixels */
    int32_t height; /*!< pixels */
    int32_t stride; /*!< bytes */
} _tag_rgb_frame_s;

/*! Decoded or encoded sound. */
typedef struct _tag_audio_frame_s
{
    uint8_t* data;
    uint64_t length; /*!< bytes */
} _tag_audio_frame_s;

/*! To be called once in a process before anything else. */
MEDIAPROC_EXPORT void mediaproc_init(void);

/*! Null for an unknown codec, for hardware that is not there, and for sizes that can't be. */
MEDIAPROC_EXPORT void* mediaproc_create_video_decoder(const _tag_vdec_param_s* param);

/*!
 * Decodes one frame: the NAL units of one picture, each behind a start code, with the parameter sets before those of a
 * key frame.
 *
 * Pictures come in the order in which they are shown: from a stream without B frames with the call that brought them,
 * otherwise that many calls later. A picture stays valid until the decoder has put out the picture after the next one,
 * so it may be shown while the next one is decoded; a call that puts out nothing ends the life of none.
 *
 * @param length bytes, 1 to 64 MiB
 * @param key_frame 1 for a frame that decoding can begin with, else 0
 * @param timestamp milliseconds, passed on to the decoder
 * @param rgb gets the picture as RGB too, which stays valid until the next call; null when it isn't wanted
 * @return -1 when the frame makes no sense, 0 with or without a picture
 */
MEDIAPROC_EXPORT int32_t mediaproc_decoder_video_frame(void* decoder, const uint8_t* data, uint32_t length,
                                                       int32_t key_frame, uint64_t timestamp, _tag_yuv_frame_s* yuv,
                                                       _tag_rgb_frame_s* rgb);

/*! @return -1 for a null handle, else 0 */
MEDIAPROC_EXPORT int32_t mediaproc_destroy_video_decoder(void* decoder);

/*! Null for an unknown codec and for sound that can't be. */
MEDIAPROC_EXPORT void* mediaproc_create_audio_decoder(const _tag_adec_param_s* param);

/*!
 * Puts out 16-bit PCM in the byte order of the machine, valid until the next call.
 *
 * @param length bytes, 1 to 64 MiB; what is left behind the last sample that all channels have is not used
 * @param timestamp milliseconds
 * @return -1 without a whole sample, else 0
 */
MEDIAPROC_EXPORT int32_t mediaproc_decoder_audio_frame(void* decoder, const uint8_t* data, uint32_t length,
                                                       uint64_t timestamp, _tag_audio_frame_s* audio);

/*! @return -1 for a null handle, else 0 */
MEDIAPROC_EXPORT int32_t mediaproc_destroy_audio_decoder(void* decoder);

/*! Null for an unknown codec and for sound that can't be. */
MEDIAPROC_EXPORT void* mediaproc_create_audio_encoder(const _tag_aenc_param_s* param);

/*!
 * Encodes 16-bit PCM in the byte order of the machine. The result is valid until the next call.
 *
 * @param length bytes, 1 to 64 MiB; what is left behind the last sample that all channels have is not used
 * @param timestamp milliseconds
 * @return -1 without a whole sample, else 0
 */
MEDIAPROC_EXPORT int32_t mediaproc_encoder_audio_frame(void* encoder, const uint8_t* data, uint32_t length,
                                                       uint64_t timestamp, _tag_audio_frame_s* audio);

/*! @return -1 for a null handle, else 0 */
MEDIAPROC_EXPORT int32_t mediaproc_destroy_audio_encoder(void* encoder);

/*! Video of an MP4 file. */
typedef struct _tag_mp4_video_param_s
{
    int32_t codec;  /*!< 1 H.264, 2 H.265, anything else no video */
    int32_t width;  /*!< pixels */
    int32_t height; /*!< pixels */
    int32_t param1; /*!< not read */
    int32_t param3; /*!< not read */
} _tag_mp4_video_param_s;

/*! Sound of an MP4 file, which becomes AAC there. */
typedef struct _tag_mp4_audio_param_s
{
    int32_t codec;       /*!< 33 G.711 A-law, 34 G.711 mu-law, 35 16-bit PCM, anything else no sound */
    int32_t sample_rate; /*!< Hz */
    int32_t bit_width;   /*!< bits per sample */
    int32_t channels;    /*!< 1 or 2 */
} _tag_mp4_audio_param_s;

/*!
 * Makes a fragmented MP4 file, which plays up to its last complete fragment when it is not closed. @p path is UTF-8 and
 * its folder exists. Null when the file can't be made or has neither video nor sound.
 */
MEDIAPROC_EXPORT void* mediaproc_create_mp4_file(const char* path, const _tag_mp4_video_param_s* video,
                                                 const _tag_mp4_audio_param_s* audio);

/*! Writes a frame (Annex B), @p timestamp in milliseconds; what comes before the first key frame is left out. 0 or -1. */
MEDIAPROC_EXPORT int32_t mediaproc_write_mp4_video(void* file, const uint8_t* data, uint32_t length,
                                                   uint64_t timestamp, int32_t key_frame);
MEDIAPROC_EXPORT int32_t mediaproc_write_mp4_audio(void* file, const uint8_t* data, uint32_t length,
                                                   uint64_t timestamp);
MEDIAPROC_EXPORT int32_t mediaproc_close_mp4_file(void* file);

#ifdef __cplusplus
}

static_assert(sizeof(_tag_vdec_param_s) == 44 && sizeof(_tag_adec_param_s) == 16 && sizeof(_tag_aenc_param_s) == 16,
              "exchanged with the library as it lies");
#endif

#endif
