#include "core_video/urlvideothread.h"

#include "core_video/recordingname.h"

UrlVideoThread::UrlVideoThread(int number, QObject* parent)
    : FFmpegVideoThread(parent)
    , channel(number)
{
}

UrlVideoThread::~UrlVideoThread() = default;

void UrlVideoThread::setMP4FileName(RecordType type)
{
    setFileName(type, RecordingName::ofStart(getSavePath(type), clock.load()->now()));
}

void UrlVideoThread::renameMP4File(RecordType type)
{
    setFileName(type, RecordingName::finish(getFileName(type), clock.load()->now(), channel));
}
