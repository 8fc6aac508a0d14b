#pragma once

#include "core_video/ffmpegvideothread.h"

/// An FFmpegVideoThread whose recordings are <folder>/<number>.mp4, numbered from 1.
///
/// Unlike names that bear the time, these say in which order files came, however many there are in a second.
class NamedVideoThread final : public FFmpegVideoThread
{
    Q_OBJECT

public:
    using FFmpegVideoThread::FFmpegVideoThread;

protected:
    void setMP4FileName(RecordType type) override;

private:
    int files = 0; // video thread
};
