#pragma once

#include "cellstate.h"
#include "core_videobase/videotypes.h"

#include <QObject>

class AbstractVideoWidget;
struct Source;

/// What a cell shows its source with: a display and what the viewer needs of it beyond the pictures.
///
/// The cell starts and stops; the view reports by stateChanged() how the source is doing between the two. GUI thread
/// only.
class CellView : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    /// The display, a child of the cell.
    virtual AbstractVideoWidget* display() const = 0;

    /// False when nothing can be done with the source. What played before has been stopped.
    virtual bool start(const Source& source) = 0;
    virtual void stop() = 0;

    /// Whether a lost source is being opened again.
    virtual bool isTryingAgain() const = 0;

    /// @name Files, which have a length in milliseconds
    /// @{
    virtual bool isSeekable() const { return false; }
    virtual qint64 duration() const { return 0; }
    virtual qint64 position() const { return 0; }
    virtual void setPosition(qint64 /*milliseconds*/) { }
    virtual void setSpeed(double /*factor*/) { }
    virtual void pause() { }
    virtual void resume() { }
    /// @}

    /// @name Channels of devices, which have several streams and somebody to talk to
    /// @{
    virtual int streamCount() const { return 0; }
    virtual int stream() const { return 0; }
    virtual bool canTalk() const { return false; }

    /// Whether another cell shows the same stream, so that it goes on without this one, and so do its recordings.
    virtual bool isShared() const { return false; }
    /// @}

    /// Writes the next picture below @p folder; AbstractVideoWidget::snapImage() of the display tells where.
    virtual void snap(const QString& folder) = 0;

    /// @name Recording
    /// Every source has a folder of its own below the one that is given, because a file that is being written is named
    /// by its time alone.
    /// @{

    /// Where everything that plays is recorded, also after later starts; empty for nowhere.
    virtual void setAutoRecord(const QString& folder) = 0;

    /// Records what plays for the user.
    virtual void recordStart(const QString& folder) = 0;
    virtual void recordStop() = 0;

    /// Whether the user wants a recording of what plays.
    virtual bool isRecording() const = 0;

    /// Length of one file of either kind of recording in seconds, -1 for unlimited.
    virtual void setSaveInterval(int seconds) = 0;
    /// @}

Q_SIGNALS:
    void stateChanged(CellState state);
    void positionChanged(qint64 milliseconds);
    void durationChanged();

    /// The source is to be started again, because another stream of it fits better now.
    void restartWanted();

    /// As AbstractVideoThread::recorderStateChanged(); the end of a file also comes after stop().
    void recorderStateChanged(const RecorderState& state, const QString& file);
};
