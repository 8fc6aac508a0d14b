// Recording of what FFmpegVideoThread reads, as it was read.

#include "core_ffmpeg/annexb.h"
#include "core_video/ffmpegvideothread_p.h"
#include "core_video/recordedbitrate.h"
#include "core_videosave/savemp4ffmpeg.h"

#include <QLoggingCategory>

extern "C" {
#include <libavutil/common.h>
#include <libavutil/mathematics.h>
#include <libavutil/samplefmt.h>
}

namespace {
Q_LOGGING_CATEGORY(lcRecord, "vantor.ffmpeg.record")

constexpr int saverTimeoutMs = 500;

/// Packets of sound that come between the first two pictures; what is above it is given up.
constexpr size_t mostWaiting = 100;

/// In the time base of a stream; damaged ones say that a picture is shown for ever.
constexpr qint64 longestStep = qint64(1) << 40;

int videoCodecOf(int codecId)
{
    switch (codecId) {
    case AV_CODEC_ID_H264: return 1;
    case AV_CODEC_ID_HEVC: return 2;
    default: return 0;
    }
}

int audioCodecOf(int codecId)
{
    switch (codecId) {
    case AV_CODEC_ID_PCM_ALAW: return 33;
    case AV_CODEC_ID_PCM_MULAW: return 34;
    default: return 0;
    }
}

/// Whether there is nothing between start codes but what stands before a picture.
bool isHeadAlone(int codecId, const AVPacket* packet)
{
    constexpr int lastH265Slice = 31;
    const bool isH265 = codecId == AV_CODEC_ID_HEVC;
    if ((!isH265 && codecId != AV_CODEC_ID_H264) || !AnnexB::beginsUnit(packet->data, size_t(packet->size)))
        return false;
    for (AnnexB::Reader reader(packet->data, size_t(packet->size)); reader.next();) {
        const AnnexB::Unit unit = reader.openUnit();
        if (isH265 ? unit.h265Type() <= lastH265Slice : unit.isSlice())
            return false;
    }
    return true;
}
} // namespace

void FFmpegVideoThread::saveMP4(AVPacket* packet, bool isVideoKey)
{
    // A stop makes FFmpeg's parser give out what it has, maybe the parameter sets of a picture that never comes.
    const bool isVideo = packet->stream_index == source->videoIndex;
    if (isVideo && isStopAsked() && isHeadAlone(source->videoCodecId, packet))
        return;
    if (!waitsForTime(packet, isVideoKey))
        recordPacket(packet, isVideoKey);
}

/// A source that was opened quickly has no time for its very first picture yet: the second one tells it. Without it the
/// first group of pictures would be missing in the recording, after each reconnection too.
bool FFmpegVideoThread::waitsForTime(AVPacket* packet, bool isVideoKey)
{
    std::vector<AvPacketPtr>& waiting = source->waitingForTime;
    const bool isVideo = packet->stream_index == source->videoIndex;
    if (isVideoKey && packet->pts == AV_NOPTS_VALUE && !source->hasRecordedVideo) {
        waiting.clear();
        waiting.emplace_back(av_packet_clone(packet));
        return waiting.back() != nullptr;
    }
    source->hasRecordedVideo = source->hasRecordedVideo || isVideo;
    if (waiting.empty())
        return false;
    if (!isVideo && waiting.size() < mostWaiting) {
        waiting.emplace_back(av_packet_clone(packet));
        return waiting.back() != nullptr;
    }
    const std::vector<AvPacketPtr> packets = std::move(waiting);
    waiting.clear();
    if (isVideo)
        completeTimeBefore(packet, packets.front().get());
    for (const AvPacketPtr& one : packets) {
        if (one)
            recordPacket(one.get(), one == packets.front());
    }
    return false;
}

void FFmpegVideoThread::completeTimeBefore(const AVPacket* second, AVPacket* first) const
{
    const AVStream* stream = source->videoStream();
    const qint64 step = pictureTime(second);
    if (second->dts != AV_NOPTS_VALUE) {
        first->dts = av_sat_sub64(second->dts, step);
        first->pts = av_sat_add64(first->dts, stream->codecpar->video_delay * step);
    } else if (second->pts != AV_NOPTS_VALUE) {
        first->pts = av_sat_sub64(second->pts, step);
    }
}

/// How long a picture is shown, in the time base of its stream.
qint64 FFmpegVideoThread::pictureTime(const AVPacket* packet) const
{
    const AVStream* stream = source->videoStream();
    const AVRational rate = stream->avg_frame_rate;
    if (packet->duration > 0 || rate.num <= 0)
        return qBound<qint64>(0, packet->duration, longestStep);
    return qBound<qint64>(0, av_rescale_q(1, av_inv_q(rate), stream->time_base), longestStep);
}

void FFmpegVideoThread::recordPacket(AVPacket* packet, bool isVideoKey)
{
    constexpr RecordType types[] = {MANUAL_RECORD, AUTO_RECORD};
    const bool isVideo = packet->stream_index == source->videoIndex;
    const bool isAudio = packet->stream_index == source->audioIndex;
    if (isVideo)
        completeDecodeTime(packet);
    if (isVideoKey && packet->pts != AV_NOPTS_VALUE) {
        for (const RecordType type : types) {
            if (!recording[type])
                continue;
            followInterval(type);
            if (!savers[type]->getIsRunning())
                startFile(type);
        }
    }

    for (const RecordType type : types) {
        const bool isOn = recording[type];
        if (!isOn && !source->isRecorded[type] && !source->isFileOpen[type])
            continue;
        source->isRecorded[type] = isOn;
        SaveMp4FFmpeg* saver = savers[type];
        const bool isWanted = isVideo || (isAudio && saveAudio[type] && saver->hasAudio());
        if (saver->getIsRunning() && isWanted)
            saver->writeData(packet, isVideo);
        else if (isOn && (isVideo || isAudio))
            saver->loseWithoutFile(isVideo);
        if (!isOn)
            endRecording(type);
    }
}

/// Containers without decode times leave those of the first reordered pictures open, and the show time of such a
/// picture is later than the decode times that follow.
void FFmpegVideoThread::completeDecodeTime(AVPacket* packet)
{
    const qint64 step = pictureTime(packet);
    if (packet->dts == AV_NOPTS_VALUE && source->nextDecodeTime != AV_NOPTS_VALUE)
        packet->dts = source->nextDecodeTime;
    else if (packet->dts == AV_NOPTS_VALUE && packet->pts != AV_NOPTS_VALUE)
        packet->dts = av_sat_sub64(packet->pts, source->videoStream()->codecpar->video_delay * step);
    source->nextDecodeTime = packet->dts == AV_NOPTS_VALUE ? AV_NOPTS_VALUE : av_sat_add64(packet->dts, step);
}

void FFmpegVideoThread::followInterval(RecordType type)
{
    const int seconds = saveInterval[type];
    const qint64 limit = seconds > 0 ? seconds * qint64(1000) : -1;
    // A file that ended by itself (its disk is full, say) is finished here as well.
    if (!savers[type]->getIsRunning() || recordTimers[type].hasExpired(*clock.load(), limit))
        stopFile(type);
}

void FFmpegVideoThread::startFile(RecordType type)
{
    source->videoPara = recordedVideo();
    source->audioPara = recordedAudio();
    SaveMp4FFmpeg* saver = savers[type];
    saver->setPara(source->videoPara, saveAudio[type] ? source->audioPara : XAudioEncPara{}, saverTimeoutMs);

    const AVFormatContext* input = source->formatCtx.get();
    if (source->videoIndex >= static_cast<int>(input->nb_streams)) {
        qCCritical(lcRecord).noquote()
            << QString("video index [%1], nb [%2]").arg(source->videoIndex).arg(input->nb_streams);
        return;
    }
    const AVStream* stream = source->videoStream();
    saver->setTimebase(stream->time_base);
    saver->setExtradata(QByteArray(reinterpret_cast<const char*>(stream->codecpar->extradata),
                                   stream->codecpar->extradata_size));
    setMP4FileName(type);
    const QString name = getFileName(type);
    saver->open(name);
    recordTimers[type].start(*clock.load());
    source->isFileOpen[type] = saver->getIsRunning();
    Q_EMIT recorderStateChanged(saver->getIsRunning() ? RecorderRecording : RecorderFailed, name);
}

void FFmpegVideoThread::stopFile(RecordType type)
{
    if (!source->isFileOpen[type])
        return;
    source->isFileOpen[type] = false;
    const bool isComplete = savers[type]->getIsRunning();
    if (isComplete)
        savers[type]->stop();
    else
        savers[type]->wait(); // what was lost goes on being counted
    recordTimers[type].invalidate();
    renameMP4File(type);
    Q_EMIT recorderStateChanged(isComplete ? RecorderIdle : RecorderFailed, getFileName(type));
}

void FFmpegVideoThread::endRecording(RecordType type)
{
    stopFile(type);
    savers[type]->endLoss();
}

void FFmpegVideoThread::stopAllFiles()
{
    endRecording(MANUAL_RECORD);
    endRecording(AUTO_RECORD);
}

XVideoEncPara FFmpegVideoThread::recordedVideo() const
{
    if (source->videoPara.isValid())
        return source->videoPara;
    XVideoEncPara video;
    video.codec = videoCodecOf(source->videoCodecId);
    video.width = videoWidth;
    video.height = videoHeight;
    video.param3 = 1;
    video.param1 = frameRate;
    video.param2 = recordedBitRate(video.width, video.height);
    return video;
}

XAudioEncPara FFmpegVideoThread::recordedAudio() const
{
    if (source->audioPara.isValid())
        return source->audioPara;
    XAudioEncPara audio;
    audio.channels = 0;
    if (!source->audioCtx)
        return audio;
    audio.codec = audioCodecOf(source->audioCodecId);
    audio.sampleRate = sampleRate;
    audio.bitWidth = 8 * av_get_bytes_per_sample(source->audioCtx->sample_fmt);
    audio.channels = channelsOf(source->audioCtx.get());
    return audio;
}
