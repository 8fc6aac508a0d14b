// Recording of what PvProtoVideoThread reads, as it was read.

#include "core_video/pvprotovideothread.h"
#include "core_videosave/h264head.h"
#include "core_videosave/savemp4ffmpeg.h"

#include <QFile>
#include <QLoggingCategory>

namespace {
Q_LOGGING_CATEGORY(lcRecord, "vantor.device.record")

constexpr int saverTimeoutMs = 500;
constexpr AVRational milliseconds{1, 1000};
constexpr AbstractVideoThread::RecordType recordTypes[] = {AbstractVideoThread::MANUAL_RECORD,
                                                           AbstractVideoThread::AUTO_RECORD};

XAudioEncPara noSound()
{
    XAudioEncPara audio;
    audio.channels = 0;
    return audio;
}
} // namespace

void PvProtoVideoThread::saveMP4(XFrameHeader* frame)
{
    keepParameterSets(*frame);
    // Both are asked before a file is opened again, which replaces the record that they compare with.
    bool codecChanged[RECORD_TYPE_MAX] = {};
    for (const RecordType type : recordTypes)
        codecChanged[type] = recording[type] && savers[type]->getIsRunning() && isCodecChanged(saveAudio[type]);

    for (const RecordType type : recordTypes) {
        if (!savers[type]->getIsRunning()) // ended by itself: its disk is full, say
            stopFile(type);
        if (!recording[type])
            continue;
        if (savers[type]->getIsRunning())
            followRules(type, codecChanged[type]);
        if (!savers[type]->getIsRunning())
            startFile(type);
    }

    const bool isAudio = frame->frameType == XFrameHeader::AudioFrame;
    for (const RecordType type : recordTypes) {
        if (!savers[type]->getIsRunning())
            countLost(type, isAudio);
        if (!savers[type]->getIsRunning() || (isAudio && !saveAudio[type]))
            continue;
        savers[type]->writeData(frame);
        if (!recording[type])
            closeMP4(type);
    }
}

/// A file that begins between two key frames needs those of the last one to be opened by players, should it end before
/// the next. H.265 waits for the next in any case, see LeadingPackets.
void PvProtoVideoThread::keepParameterSets(const XFrameHeader& frame)
{
    if (frame.frameType != XFrameHeader::VideoKeyFrame)
        return;
    constexpr quint32 h264 = 0;
    const auto* payload = reinterpret_cast<const unsigned char*>(&frame) + offsetof(XFrameHeader, data);
    parameterSets
        = frame.codecId == h264 ? H264Head::parameterSets(payload, static_cast<int>(frame.length)) : QByteArray();
}

/// What comes while there is no file after one has failed.
void PvProtoVideoThread::countLost(RecordType type, bool isAudio)
{
    if (!recording[type])
        savers[type]->endLoss();
    else if (!isAudio || saveAudio[type])
        savers[type]->loseWithoutFile(!isAudio);
}

/// Ends a file whose time is over, so that the next one begins with the same frame.
void PvProtoVideoThread::followRules(RecordType type, bool codecChanged)
{
    const int seconds = saveInterval[type];
    const qint64 limit = seconds > 0 ? seconds * qint64(1000) : -1;
    if (codecChanged || recordTimers[type].hasExpired(*clock.load(), limit) || isDateChanged())
        closeMP4(type);
}

void PvProtoVideoThread::startFile(RecordType type)
{
    XVideoEncPara video;
    XAudioEncPara audio;
    if (getLatestRecordCodec(video, audio) == 0)
        setCurRecordCodec(video, audio);
    if (!video.isValid()) {
        qCCritical(lcRecord, "video codec is invalid");
        return;
    }
    setMP4FileName(type);
    const QString name = getFileName(type);
    SaveMp4FFmpeg* saver = savers[type];
    saver->setPara(recordVideo, saveAudio[type] ? recordAudio : noSound(), saverTimeoutMs);
    saver->setTimebase(milliseconds);
    saver->setExtradata(parameterSets);
    saver->open(name);
    recordTimers[type].start(*clock.load());
    isFileOpen[type] = saver->getIsRunning();
    Q_EMIT recorderStateChanged(isFileOpen[type] ? RecorderRecording : RecorderFailed, name);
}

void PvProtoVideoThread::closeMP4(RecordType type)
{
    if (type == AUTO_RECORD)
        recordDate = QDate();
    stopFile(type);
}

void PvProtoVideoThread::closeAllMP4()
{
    recordDate = QDate();
    for (const RecordType type : recordTypes) {
        stopFile(type);
        savers[type]->endLoss();
    }
}

void PvProtoVideoThread::stopFile(RecordType type)
{
    if (!isFileOpen[type])
        return;
    isFileOpen[type] = false;
    const bool isComplete = savers[type]->getIsRunning();
    if (isComplete)
        savers[type]->stop();
    else
        savers[type]->wait(); // what was lost goes on being counted
    recordTimers[type].invalidate();
    if (isComplete && savers[type]->isEmpty())
        removeEmptyFile(type);
    else
        renameMP4File(type);
    Q_EMIT recorderStateChanged(isComplete ? RecorderIdle : RecorderFailed, getFileName(type));
}

/// A recording that sound has opened, and that was switched off before there was enough of it to be written.
void PvProtoVideoThread::removeEmptyFile(RecordType type)
{
    const QString name = getFileName(type);
    if (QFile::remove(name))
        qCInfo(lcRecord).noquote() << QString("%1 had got nothing yet and was removed").arg(name);
}

bool PvProtoVideoThread::isCodecChanged(bool withAudio)
{
    XVideoEncPara video;
    XAudioEncPara audio;
    getLatestRecordCodec(video, audio);
    if (video.isValid() && video != recordVideo)
        return true;
    return withAudio && audio.isValid() && audio != recordAudio;
}

/// One date for both record types: the type that is asked first after midnight changes its file, the other goes on.
bool PvProtoVideoThread::isDateChanged()
{
    const QDate today = clock.load()->now().date();
    const QDate last = recordDate;
    recordDate = today;
    return last.isValid() && last != today;
}

void PvProtoVideoThread::setCurRecordCodec(const XVideoEncPara& video, const XAudioEncPara& audio)
{
    recordVideo = video;
    recordAudio = audio;
}
