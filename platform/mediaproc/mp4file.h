#pragma once

#include "core_ffmpeg/ffmpegptr.h"
#include "core_videosave/outputcontext.h"
#include "mediaproc/aacencoder.h"
#include "mediaproc/audiodecoder.h"
#include "mediaproc/mediaproc.h"

#include <memory>

/// A fragmented MP4 file: Annex B video as it comes, telephone sound and PCM as AAC. Each group of pictures is a
/// fragment, so that after a crash the file plays up to the last complete one. Used by one thread at a time.
class Mp4File
{
public:
    /// Null when there is no stream that can be written, or the file can't be made.
    static std::unique_ptr<Mp4File> create(const char* path, const _tag_mp4_video_param_s& video,
                                           const _tag_mp4_audio_param_s& audio);

    /// Completes the file.
    ~Mp4File();
    Mp4File(const Mp4File&) = delete;
    Mp4File& operator=(const Mp4File&) = delete;

    /// Takes a frame; those before the first key frame are left out. False when it could not be written.
    bool writeVideo(const uint8_t* data, uint32_t length, uint64_t timestamp, bool isKeyFrame);

    /// Takes sound; what comes before the first picture is left out. False when it could not be written.
    bool writeAudio(const uint8_t* data, uint32_t length, uint64_t timestamp);

private:
    Mp4File() = default;
    bool addVideo(const _tag_mp4_video_param_s& video);
    bool addAudio(const _tag_mp4_audio_param_s& audio);
    bool open(const char* path);
    int64_t sinceStart(int64_t time) const;
    bool encodeAudio(const int16_t* samples, size_t count, int64_t time);
    bool writePackets();
    bool write(AVPacket* packet);

    OutputContext format;
    AVStream* videoStream = nullptr;
    AVStream* audioStream = nullptr;
    std::unique_ptr<AudioDecoder> expander; // null for PCM
    std::unique_ptr<AacEncoder> encoder;
    bool isOpen = false;
    bool isStarted = false;
    int64_t startTime = 0; // milliseconds
    int64_t lastVideoTime = -1;
    int64_t soundInFragment = 0;
    int64_t audioStart = -1; // of the sound in the file, in samples
};
