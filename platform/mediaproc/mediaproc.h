#ifndef MEDIAPROC_H
#define MEDIAPROC_H

#include "mediaproc/mediaprocexport.h"

#include <stdint.h>

/*!
 * Decoding, encoding and MP4 writing for streams of devices, for C and C++.
 *
 * A handle belongs to one thread at a time. Integer results are -1 on failure. What an output record points to belongs
 * to the handle.
 */

#ifdef __cplusplus
extern "C" {
#endif

/*! What a video decoder is made for. */
typedef struct _tag_vdec_param_s
{
    int32_t codec;  /*!< 1 H.264, 2 H.265 */
    int32_t width;  /*!< pixels */
    int32_t height; /*!< pixels */
    /*! "none", "vaapi", "dxva2", "d3d11va" or "cuda"; a name of all 32 characters has no terminating zero */
    char hardware[32];
} _tag_vdec_param_s;

/*! What an audio decoder is made for. */
typedef struct _tag_adec_param_s
{
    int32_t codec;      /*!< 33 G.711 A-law, 34 G.711 mu-law */
    int32_t sample_rate; /*!< Hz */
    int32_t bit_width;   /*!< bits per decoded sample, 16 */
    int32_t channels;
} _tag_adec_param_s;

/*! What an audio encoder is made for; its input is 16-bit little-endian PCM. */
typedef struct _tag_aenc_param_s
{
    int32_t codec;      /*!< 33 G.711 A-law, 34 G.711 mu-law */
    int32_t sample_rate; /*!< Hz */
    int32_t bit_width;   /*!< bits per input sample, 16 */
    int32_t channels;
} _tag_aenc_param_s;

/*!
 * A decoded picture. In software ("none") three planes of 4:2:0; with hardware decoding the first two are those of NV12
 * and the third is null. No picture (the decoder waits for more) has null planes and size 0.
 */
typedef struct _tag_yuv_frame_s
{
    uint8_t* plane[3];
    int32_t width;       /*!< pixels */
    int32_t height;      /*!< pixels */
    int32_t y_stride;    /*!< bytes */
    int32_t uv_stride;   /*!< bytes */
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
 * Decodes one frame (Annex B); @p timestamp in milliseconds is passed through the decoder. @p rgb may be null. The
 * picture stays valid until the decoder has put out the picture after the next one; the RGB picture until the next call.
 */
MEDIAPROC_EXPORT int32_t mediaproc_decoder_video_frame(void* decoder, const uint8_t* data, uint32_t length,
                                                       int32_t key_frame, uint64_t timestamp, _tag_yuv_frame_s* yuv,
                                                       _tag_rgb_frame_s* rgb);
MEDIAPROC_EXPORT int32_t mediaproc_destroy_video_decoder(void* decoder);

MEDIAPROC_EXPORT void* mediaproc_create_audio_decoder(const _tag_adec_param_s* param);

/*! Puts out interleaved 16-bit native-endian PCM, valid until the next call. */
MEDIAPROC_EXPORT int32_t mediaproc_decoder_audio_frame(void* decoder, const uint8_t* data, uint32_t length,
                                                       uint64_t timestamp, _tag_audio_frame_s* audio);
MEDIAPROC_EXPORT int32_t mediaproc_destroy_audio_decoder(void* decoder);

MEDIAPROC_EXPORT void* mediaproc_create_audio_encoder(const _tag_aenc_param_s* param);

/*! Puts out the encoded samples, valid until the next call. */
MEDIAPROC_EXPORT int32_t mediaproc_encoder_audio_frame(void* encoder, const uint8_t* data, uint32_t length,
                                                       uint64_t timestamp, _tag_audio_frame_s* audio);
MEDIAPROC_EXPORT int32_t mediaproc_destroy_audio_encoder(void* encoder);

#ifdef __cplusplus
}

static_assert(sizeof(_tag_vdec_param_s) == 44 && sizeof(_tag_adec_param_s) == 16 && sizeof(_tag_aenc_param_s) == 16,
              "exchanged with the library as it lies");
#endif

#endif
