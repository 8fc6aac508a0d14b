#pragma once

#include "core_ffmpeg/ffmpegptr.h"

#include <QByteArray>

#include <functional>
#include <optional>
#include <vector>

/// Turns sound of any codec into mu-law at 8000 Hz, one channel, in frames of 40 ms.
class SoundConverter
{
public:
    static constexpr int sampleRate = 8000;

    /// Times are microseconds.
    using Output = std::function<void(const QByteArray& payload, qint64 time)>;

    /// Nothing where this FFmpeg has no decoder.
    static std::optional<SoundConverter> make(const AVCodecParameters* parameters);

    /// @p time is that of the first sample of @p packet, which is changed.
    void convert(AVPacket* packet, qint64 time, const Output& output);

    /// Puts out what is left when a source has ended.
    void finish(const Output& output);

private:
    explicit SoundConverter(CodecContextPtr openDecoder);

    void takeFrame(const Output& output);
    bool adapt();
    void resample();
    void putOut(std::size_t count, const Output& output);

    CodecContextPtr decoder;
    AvFramePtr frame;
    SwrContextPtr resampler; ///< for what follows
    int rate = 0;
    int channels = 0;
    int sampleFormat = -1;
    std::vector<std::int16_t> samples; ///< not put out yet
    qint64 firstTime = 0; ///< of them
};
