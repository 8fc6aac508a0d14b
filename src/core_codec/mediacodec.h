#pragma once

#include "core_videobase/vantorexport.h"
#include "mediaproc/mediaproc.h"

#include <QtGlobal>

/// Owns one video decoder, one audio decoder and one audio encoder of the media-processing library.
///
/// One thread at a time. Whatever fails says so in the log and answers false. Creating where there is one already is
/// refused: destroy it first. What the output records point to is valid as mediaproc.h says, and not after the decoder
/// or encoder was destroyed.
class VANTOR_EXPORT MediaCodec
{
public:
    MediaCodec();
    ~MediaCodec();

    MediaCodec(const MediaCodec&) = delete;
    MediaCodec& operator=(const MediaCodec&) = delete;

    bool createVideoDecoder(const _tag_vdec_param_s& param);
    bool createAudioDecoder(const _tag_adec_param_s& param);
    bool createAudioEncoder(const _tag_aenc_param_s& param);

    /// @p timestamp in milliseconds; @p rgb may be null.
    bool decodeVideoFrame(unsigned char* data, unsigned int length, int keyFrame, quint64 timestamp,
                          _tag_yuv_frame_s* yuv, _tag_rgb_frame_s* rgb);
    bool decodeAudioFrame(unsigned char* data, unsigned int length, quint64 timestamp, _tag_audio_frame_s* audio);
    bool encodeAudioFrame(unsigned char* data, unsigned int length, quint64 timestamp, _tag_audio_frame_s* audio);

    void destroyVideoDecoder();
    void destroyAudioDecoder();
    void destroyAudioEncoder();

    bool isVideoDecoderNull() const;
    bool isAudioDecoderNull() const;

private:
    void* videoDecoder = nullptr;
    void* audioDecoder = nullptr;
    void* audioEncoder = nullptr;
};
