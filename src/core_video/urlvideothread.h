#pragma once

#include "core_video/ffmpegvideothread.h"

/// The thread of a UrlVideoWidget: names its recordings by time and channel.
class UrlVideoThread final : public FFmpegVideoThread
{
    Q_OBJECT

public:
    UrlVideoThread(int channel, QObject* parent);

    /// The thread must have ended.
    ~UrlVideoThread() override;

protected:
    void setMP4FileName(RecordType type) override;
    void renameMP4File(RecordType type) override;

private:
    const int channel;
};
