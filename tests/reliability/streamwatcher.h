#pragma once

#include "core_videobase/abstractvideothread.h"

#include <QJsonObject>
#include <QObject>

#include <memory>

/// A live stream played, and recorded where asked for, by one video thread of the library; whatever happens is told by
/// EventLines. The thread plays from command() "play" to command() "stop".
///
/// | event      | fields                                                                          |
/// |------------|---------------------------------------------------------------------------------|
/// | "start"    | the source was opened                                                           |
/// | "finish"   | it was closed                                                                   |
/// | "picture"  | "state" and "number" of PictureState; told on the video thread, before recording |
/// | "recorder" | "state" of RecorderState, "file"                                                |
/// | "stopped"  | "ms" that the stop took; "threads", "handles" of the process a little later      |
/// | "count"    | "threads", "handles"                                                            |
class StreamWatcher : public QObject
{
    Q_OBJECT

public:
    /// Takes the thread, which is not running.
    explicit StreamWatcher(std::unique_ptr<AbstractVideoThread> thread);
    ~StreamWatcher() override;

    /// "play", "stop", "count", "record FOLDER", "norecord". GUI thread.
    void command(const QString& line);

private:
    void stop();
    void tellCount(const char* event, QJsonObject fields = {});

    const std::unique_ptr<AbstractVideoThread> thread;
};
