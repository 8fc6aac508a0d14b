#pragma once

#include "core_ffmpeg/ffmpegcompat.h"
#include "core_ffmpeg/ffmpegptr.h"
#include "core_ffmpeg/pictureassembler.h"
#include "core_ffmpeg/pictureconverter.h"
#include "core_ffmpeg/picturehalver.h"
#include "core_video/ffmpegvideothread.h"

#include <array>
#include <memory>
#include <vector>

constexpr int audioBufferBytes = 288000;

/// Paces a source that is not live: knows which moment of the clock belongs to which moment of the source.
struct PlayClock
{
    bool isSet = false;
    qint64 start = 0;    ///< microseconds of the clock at the source's time 0
    qint64 lastTime = 0; ///< microseconds of the source's last packet, at normal speed
    double speed = 1.0;

    void reset() { isSet = false; }
};

/// The sound that a resampler was built for.
struct AudioInput
{
    int channels = 0;
    int format = -1;
    int sampleRate = 0;

    bool operator==(const AudioInput& other) const
    {
        return channels == other.channels && format == other.format && sampleRate == other.sampleRate;
    }
};

/// What belongs to one open source. Everything is made by the open attempt and released by close(), but for the
/// delivered frame: renderers may hold its planes until the next one is delivered, so it stays for as long.
struct FFmpegVideoThread::Source
{
    void close();
    AVStream* videoStream() const { return formatCtx->streams[videoIndex]; }
    AVStream* audioStream() const { return formatCtx->streams[audioIndex]; }

    int videoIndex = -1;
    int audioIndex = -1;

    bool opening = false;     ///< avformat_open_input() runs
    bool reading = false;     ///< av_read_frame() runs
    qint64 openStartTime = 0; ///< microseconds

    AvPacketPtr packet;
    std::unique_ptr<PictureAssembler> assembler; ///< null where FFmpeg's parsers make whole pictures
    bool isGuess = false; ///< the picture that is being decoded may not be whole, as nothing is known of the sender yet
    AvFramePtr decodedFrame;
    AvFramePtr audioFrame;
    AvFramePtr transferFrame;
    AvFramePtr deliveredFrame;

    PictureConverter yuvConverter{AV_PIX_FMT_YUV420P};
    PictureConverter rgbConverter{AV_PIX_FMT_BGRA};
    PictureHalver halver;
    int shrunkTimes = 0; ///< how often the image that was delivered last was halved
    SwrContextPtr resampler;
    AudioInput resamplerInput;
    std::unique_ptr<quint8[]> audioBuffer; ///< audioBufferBytes, and no memory before it is used

    AvDictionary options;
    FFmpegCodec* videoCodec = nullptr;
    FFmpegCodec* audioCodec = nullptr;

    // The input goes last: the decoders were made from its streams.
    FormatInputPtr formatCtx;
    CodecContextPtr videoCtx;
    CodecContextPtr audioCtx;

    int videoCodecId = AV_CODEC_ID_H264;
    int audioCodecId = AV_CODEC_ID_PCM_MULAW;

    XVideoEncPara videoPara;
    XAudioEncPara audioPara;

    /// Whether a recording file was opened and its end not yet reported, per record type.
    std::array<bool, RECORD_TYPE_MAX> isFileOpen{};

    /// Whether the packet before was to be recorded, with a file or without, per record type.
    std::array<bool, RECORD_TYPE_MAX> isRecorded{};

    /// Decode time of the next picture, in the time base of its stream, for pictures that come without one.
    qint64 nextDecodeTime = AV_NOPTS_VALUE;

    /// The first picture while it has no time, and the sound after it; not recorded yet.
    std::vector<AvPacketPtr> waitingForTime;
    bool hasRecordedVideo = false;

    bool hasPackets = false; ///< whether one has been read since the source was opened

    bool hasWholePicture = false; ///< one was decoded without damage
    qint64 firstDamage = -1;      ///< microseconds; of the pictures before, -1 for none yet

    PlayClock playClock;
    qint64 skipUntil = -1;      ///< milliseconds; pictures before it are decoded and not shown, -1 for none
    qint64 reportedPosition = -1;
    unsigned stopCountAtStart = 0;

    /// Whether the last source's pictures were not as its description said; kept from source to source.
    bool isMisdescribed = false;
};
