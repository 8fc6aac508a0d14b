#include "mediaproc/mp4file.h"

#include "core_ffmpeg/ffmpegcompat.h"
#include "core_ffmpeg/h265parameters.h"
#include "mediaproc/codecinput.h"

#include <algorithm>
#include <vector>

extern "C" {
#include <libavutil/common.h>
}

namespace {
constexpr AVRational milliseconds{1, 1000};
constexpr int linearBits = 16;
constexpr int codecLinear = 35;

/// Sound that comes later than this after what the file has is filled up with silence.
constexpr int64_t longestGapMs = 200;

/// A device that sets its clock does not make hours of silence: time goes on from there.
constexpr int64_t longestSilenceMs = 10000;

/// Damaged time stamps say anything. Some thirty years from the start sums of times are still numbers.
constexpr int64_t farthestMs = int64_t(1) << 40;

AVCodecID videoCodecOf(int codec)
{
    switch (codec) {
    case 1: return AV_CODEC_ID_H264;
    case 2: return AV_CODEC_ID_HEVC;
    default: return AV_CODEC_ID_NONE;
    }
}
} // namespace

std::unique_ptr<Mp4File> Mp4File::create(const char* path, const _tag_mp4_video_param_s& video,
                                         const _tag_mp4_audio_param_s& audio)
{
    std::unique_ptr<Mp4File> file(new Mp4File);
    if (!file->format.allocate("mp4", path))
        return nullptr;
    const bool hasVideo = file->addVideo(video);
    const bool hasAudio = file->addAudio(audio);
    if ((!hasVideo && !hasAudio) || !file->open(path))
        return nullptr;
    return file;
}

bool Mp4File::addVideo(const _tag_mp4_video_param_s& video)
{
    const AVCodecID codec = videoCodecOf(video.codec);
    if (codec == AV_CODEC_ID_NONE || video.width < 1 || video.height < 1)
        return false;
    videoStream = avformat_new_stream(format.get(), nullptr);
    if (!videoStream)
        return false;
    videoStream->time_base = milliseconds;
    videoStream->codecpar->codec_type = AVMEDIA_TYPE_VIDEO;
    videoStream->codecpar->codec_id = codec;
    videoStream->codecpar->width = video.width;
    videoStream->codecpar->height = video.height;
    return true;
}

bool Mp4File::addAudio(const _tag_mp4_audio_param_s& audio)
{
    const bool isLinear = audio.codec == codecLinear && audio.bit_width == linearBits;
    if (!isLinear)
        expander = AudioDecoder::create({audio.codec, audio.sample_rate, linearBits, audio.channels});
    if (isLinear || expander)
        encoder = AacEncoder::create(audio.sample_rate, audio.channels);
    if (!encoder)
        return false;
    audioStream = avformat_new_stream(format.get(), nullptr);
    if (!audioStream)
        return false;
    audioStream->time_base = {1, audio.sample_rate};
    return avcodec_parameters_from_context(audioStream->codecpar, encoder->codec()) >= 0;
}

bool Mp4File::open(const char* path)
{
    if (format.openFile(path) < 0)
        return false;
    AvDictionary options;
    // A fragment reaches the file when it is complete, not when the next one pushes it out.
    format->flags |= AVFMT_FLAG_FLUSH_PACKETS;
    options.set("movflags", "frag_custom+delay_moov");
    isOpen = avformat_write_header(format.get(), options.address()) >= 0;
    return isOpen;
}

Mp4File::~Mp4File()
{
    if (!isOpen)
        return;
    if (encoder && audioStart >= 0) {
        encoder->finish();
        writePackets();
    }
    av_write_trailer(format.get());
}

bool Mp4File::writeVideo(const uint8_t* data, uint32_t length, uint64_t timestamp, bool isKeyFrame)
{
    if (!videoStream)
        return false;
    if (!isStarted && !isKeyFrame)
        return true;
    if (!isStarted && videoStream->codecpar->codec_id == AV_CODEC_ID_HEVC && !H265Parameters::areReadable(data, length))
        return false;
    const auto time = static_cast<int64_t>(timestamp);
    if (!isStarted)
        startTime = time;
    else if (isKeyFrame && av_write_frame(format.get(), nullptr) < 0) // ends the fragment
        return false;
    isStarted = true;

    const AvPacketPtr packet = CodecInput::packet(data, length, timestamp);
    if (!packet)
        return false;
    lastVideoTime = std::max(lastVideoTime + 1, sinceStart(time));
    packet->pts = packet->dts = lastVideoTime;
    packet->stream_index = videoStream->index;
    packet->flags = isKeyFrame ? AV_PKT_FLAG_KEY : 0;
    av_packet_rescale_ts(packet.get(), milliseconds, videoStream->time_base);
    return write(packet.get());
}

bool Mp4File::writeAudio(const uint8_t* data, uint32_t length, uint64_t timestamp)
{
    if (!encoder)
        return false;
    const auto time = static_cast<int64_t>(timestamp);
    if (!isStarted && videoStream)
        return true;
    if (!isStarted)
        startTime = time;
    isStarted = true;

    _tag_audio_frame_s linear{const_cast<uint8_t*>(data), length};
    if (expander) {
        const AvPacketPtr packet = CodecInput::packet(data, expander->wholeBytes(length), timestamp);
        if (!packet || !expander->decode(packet.get(), linear))
            return false;
    }
    std::vector<int16_t> samples(linear.length / sizeof(int16_t));
    std::copy_n(linear.data, samples.size() * sizeof(int16_t), reinterpret_cast<uint8_t*>(samples.data()));
    return encodeAudio(samples.data(), samples.size(), sinceStart(time));
}

int64_t Mp4File::sinceStart(int64_t time) const
{
    return std::clamp(av_sat_sub64(time, startTime), -farthestMs, farthestMs);
}

bool Mp4File::encodeAudio(const int16_t* samples, size_t count, int64_t time)
{
    const int rate = encoder->codec()->sample_rate;
    if (audioStart < 0)
        audioStart = std::max<int64_t>(0, time) * rate / 1000;
    const int64_t gap = time - (audioStart + encoder->position()) * 1000 / rate;
    if (gap > longestGapMs && gap <= longestSilenceMs)
        encoder->addSilence(gap * rate / 1000);
    encoder->add(samples, count);
    return writePackets();
}

bool Mp4File::writePackets()
{
    bool allWritten = true;
    while (const AvPacketPtr packet = encoder->takePacket()) {
        packet->pts = packet->dts = packet->pts + audioStart;
        packet->stream_index = audioStream->index;
        av_packet_rescale_ts(packet.get(), encoder->codec()->time_base, audioStream->time_base);
        allWritten = write(packet.get()) && allWritten;
        // Key frames end the fragments of a file with pictures; one with sound alone gets a fragment a second.
        soundInFragment += encoder->codec()->frame_size;
        if (!videoStream && soundInFragment >= encoder->codec()->sample_rate) {
            soundInFragment = 0;
            allWritten = av_write_frame(format.get(), nullptr) >= 0 && allWritten;
        }
    }
    return allWritten;
}

bool Mp4File::write(AVPacket* packet) { return av_write_frame(format.get(), packet) >= 0; }
