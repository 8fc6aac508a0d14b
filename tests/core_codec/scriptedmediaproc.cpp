#include "core_codec/scriptedmediaproc.h"

#include "mediaproc/mediaproc.h"

#include <dlfcn.h>

#include <atomic>
#include <optional>

namespace {
std::atomic<int> initCount{0};
std::optional<int32_t> scriptedResult;
int createdCount = 0;
int destroyedCount = 0;
ScriptedMediaproc::Call callSeen;
QByteArray paramSeen;

template <typename Function>
Function next(const char* name, Function)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

void* countCreated(void* handle)
{
    createdCount += handle ? 1 : 0;
    return handle;
}

int32_t countDestroyed(int32_t result)
{
    ++destroyedCount;
    return scriptedResult.value_or(result);
}

template <typename Param>
void rememberParam(const Param* param)
{
    paramSeen = QByteArray(reinterpret_cast<const char*>(param), sizeof *param);
}
} // namespace

void ScriptedMediaproc::reset()
{
    scriptedResult.reset();
    createdCount = 0;
    destroyedCount = 0;
    callSeen = {};
    paramSeen.clear();
}

void ScriptedMediaproc::setResult(int32_t result) { scriptedResult = result; }

int ScriptedMediaproc::inits() { return initCount; }

int ScriptedMediaproc::created() { return createdCount; }

int ScriptedMediaproc::destroyed() { return destroyedCount; }

ScriptedMediaproc::Call ScriptedMediaproc::lastCall() { return callSeen; }

QByteArray ScriptedMediaproc::lastParam() { return paramSeen; }

void mediaproc_init(void)
{
    ++initCount;
    next("mediaproc_init", &mediaproc_init)();
}

void* mediaproc_create_video_decoder(const _tag_vdec_param_s* param)
{
    rememberParam(param);
    return countCreated(next("mediaproc_create_video_decoder", &mediaproc_create_video_decoder)(param));
}

void* mediaproc_create_audio_decoder(const _tag_adec_param_s* param)
{
    rememberParam(param);
    return countCreated(next("mediaproc_create_audio_decoder", &mediaproc_create_audio_decoder)(param));
}

void* mediaproc_create_audio_encoder(const _tag_aenc_param_s* param)
{
    rememberParam(param);
    return countCreated(next("mediaproc_create_audio_encoder", &mediaproc_create_audio_encoder)(param));
}

int32_t mediaproc_decoder_video_frame(void* decoder, const uint8_t* data, uint32_t length, int32_t key_frame,
                                      uint64_t timestamp, _tag_yuv_frame_s* yuv, _tag_rgb_frame_s* rgb)
{
    callSeen = {decoder, data, length, key_frame, timestamp, yuv, rgb};
    if (scriptedResult)
        return *scriptedResult;
    return next("mediaproc_decoder_video_frame", &mediaproc_decoder_video_frame)(decoder, data, length, key_frame,
                                                                                 timestamp, yuv, rgb);
}

int32_t mediaproc_decoder_audio_frame(void* decoder, const uint8_t* data, uint32_t length, uint64_t timestamp,
                                      _tag_audio_frame_s* audio)
{
    callSeen = {decoder, data, length, -1, timestamp, audio, nullptr};
    if (scriptedResult)
        return *scriptedResult;
    return next("mediaproc_decoder_audio_frame", &mediaproc_decoder_audio_frame)(decoder, data, length, timestamp,
                                                                                 audio);
}

int32_t mediaproc_encoder_audio_frame(void* encoder, const uint8_t* data, uint32_t length, uint64_t timestamp,
                                      _tag_audio_frame_s* audio)
{
    callSeen = {encoder, data, length, -1, timestamp, audio, nullptr};
    if (scriptedResult)
        return *scriptedResult;
    return next("mediaproc_encoder_audio_frame", &mediaproc_encoder_audio_frame)(encoder, data, length, timestamp,
                                                                                 audio);
}

int32_t mediaproc_destroy_video_decoder(void* decoder)
{
    return countDestroyed(next("mediaproc_destroy_video_decoder", &mediaproc_destroy_video_decoder)(decoder));
}

int32_t mediaproc_destroy_audio_decoder(void* decoder)
{
    return countDestroyed(next("mediaproc_destroy_audio_decoder", &mediaproc_destroy_audio_decoder)(decoder));
}

int32_t mediaproc_destroy_audio_encoder(void* encoder)
{
    return countDestroyed(next("mediaproc_destroy_audio_encoder", &mediaproc_destroy_audio_encoder)(encoder));
}
