#include "core_codec/mediacodec.h"

#include <QLoggingCategory>

namespace {
Q_LOGGING_CATEGORY(lcCodec, "vantor.codec")

constexpr int failed = -1;

/// Once in the process, whichever thread comes first; the others wait for it.
void initLibrary() { [[maybe_unused]] static const bool isDone = (mediaproc_init(), true); }
} // namespace

MediaCodec::MediaCodec() { initLibrary(); }

MediaCodec::~MediaCodec()
{
    destroyVideoDecoder();
    destroyAudioDecoder();
    destroyAudioEncoder();
}

bool MediaCodec::createVideoDecoder(const _tag_vdec_param_s& param)
{
    if (videoDecoder) {
        qCWarning(lcCodec).noquote() << "video decoder not destroy";
        return false;
    }
    videoDecoder = mediaproc_create_video_decoder(&param);
    if (!videoDecoder)
        qCCritical(lcCodec).noquote() << "create video decoder failed";
    return videoDecoder != nullptr;
}

bool MediaCodec::createAudioDecoder(const _tag_adec_param_s& param)
{
    if (audioDecoder) {
        qCWarning(lcCodec).noquote() << "audio decoder not destroy";
        return false;
    }
    audioDecoder = mediaproc_create_audio_decoder(&param);
    if (!audioDecoder)
        qCCritical(lcCodec).noquote() << "create audio decoder failed";
    return audioDecoder != nullptr;
}

bool MediaCodec::createAudioEncoder(const _tag_aenc_param_s& param)
{
    if (audioEncoder) {
        qCWarning(lcCodec).noquote() << "audio encoder not destroy";
        return false;
    }
    audioEncoder = mediaproc_create_audio_encoder(&param);
    if (!audioEncoder)
        qCCritical(lcCodec).noquote() << "create audio encoder failed";
    return audioEncoder != nullptr;
}

bool MediaCodec::decodeVideoFrame(unsigned char* data, unsigned int length, int keyFrame, quint64 timestamp,
                                  _tag_yuv_frame_s* yuv, _tag_rgb_frame_s* rgb)
{
    if (!videoDecoder) {
        qCWarning(lcCodec).noquote() << "video decoder is null";
        return false;
    }
    if (mediaproc_decoder_video_frame(videoDecoder, data, length, keyFrame, timestamp, yuv, rgb) == failed) {
        qCWarning(lcCodec).noquote() << "video decoder failed";
        return false;
    }
    return true;
}

bool MediaCodec::decodeAudioFrame(unsigned char* data, unsigned int length, quint64 timestamp,
                                  _tag_audio_frame_s* audio)
{
    if (!audioDecoder) {
        qCWarning(lcCodec).noquote() << "audio decoder is null";
        return false;
    }
    if (mediaproc_decoder_audio_frame(audioDecoder, data, length, timestamp, audio) == failed) {
        qCWarning(lcCodec).noquote() << "decode audio frame failed";
        return false;
    }
    return true;
}

bool MediaCodec::encodeAudioFrame(unsigned char* data, unsigned int length, quint64 timestamp,
                                  _tag_audio_frame_s* audio)
{
    if (!audioEncoder) {
        qCWarning(lcCodec).noquote() << "audio encoder is null";
        return false;
    }
    if (mediaproc_encoder_audio_frame(audioEncoder, data, length, timestamp, audio) == failed) {
        qCCritical(lcCodec).noquote() << "encode audio frame failed";
        return false;
    }
    return true;
}

void MediaCodec::destroyVideoDecoder()
{
    if (videoDecoder && mediaproc_destroy_video_decoder(videoDecoder) == failed)
        qCWarning(lcCodec).noquote() << "destroy video decoder failed";
    videoDecoder = nullptr;
}

void MediaCodec::destroyAudioDecoder()
{
    if (audioDecoder && mediaproc_destroy_audio_decoder(audioDecoder) == failed)
        qCWarning(lcCodec).noquote() << "destroy audio decoder failed";
    audioDecoder = nullptr;
}

void MediaCodec::destroyAudioEncoder()
{
    if (audioEncoder && mediaproc_destroy_audio_encoder(audioEncoder) == failed)
        qCWarning(lcCodec).noquote() << "destroy audio encoder failed";
    audioEncoder = nullptr;
}

bool MediaCodec::isVideoDecoderNull() const { return !videoDecoder; }

bool MediaCodec::isAudioDecoderNull() const { return !audioDecoder; }
