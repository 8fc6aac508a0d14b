#include "devnet/archivedownload.h"

ArchiveDownload::ArchiveDownload(const QVector<ArchiveFile>& recordings, qint64 begin, qint64 end)
    : reader(recordings, end, stopSignal)
{
    reader.seek(begin);
}

void ArchiveDownload::stop() { stopSignal.request(); }

XRetError ArchiveDownload::read(XFrameHeader* target)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (stopSignal.isRequested())
        return XRet::BadParameter;
    if (!fetch())
        return stopSignal.isRequested() ? XRet::BadParameter : XRet::EndOfRecording;
    pending->copyTo(target);
    pending.reset();
    return XRet::Ok;
}

bool ArchiveDownload::describe(VodSdp& description)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (!format && !fetch())
        return false;
    description = sdp;
    return true;
}

/// Makes sure that a frame is pending, and that the description is that of it; false at the end.
bool ArchiveDownload::fetch()
{
    while (!pending) {
        pending = reader.next();
        if (!pending)
            return false;
        if (!pending->fits())
            pending.reset();
    }
    if (format == pending->format)
        return true;
    const bool isOther = !format || format->video != pending->format->video || format->audio != pending->format->audio;
    format = pending->format;
    sdp.streamId += isOther ? 1 : 0;
    sdp.hasVideo = format->video.isValid() ? 1 : 0;
    sdp.hasAudio = format->audio.isValid() ? 1 : 0;
    sdp.video = format->video;
    sdp.audio = format->audio;
    return true;
}
