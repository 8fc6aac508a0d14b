#pragma once

#include "playbackstate.h"
#include "recordingplace.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

class PlaybackDisplay;

/// Plays recordings of one place after the other in a display.
///
/// Times are those of WallTime. A playback goes on through gaps and midnight until there is no recording any more. GUI
/// thread only.
class RecordingPlayer : public QObject
{
    Q_OBJECT

public:
    explicit RecordingPlayer(PlaybackDisplay* display, QObject* parent = nullptr);

    /// Ends what plays and begins at @p time. Afterwards times from the beginning of that day on can be reached by
    /// seek().
    void play(const RecordingPlace& place, qint64 time);
    void stop();

    /// Whether seek() leads to @p time.
    bool canSeek(qint64 time) const;

    /// Goes on at @p time; a pause shows one picture of it.
    void seek(qint64 time);

    /// Nothing unless it is playing, or paused.
    void pause();
    void resume();

    /// n times, or the n-th part for -n; kept for later playbacks.
    void setSpeed(int speed);
    int speed() const { return wantedSpeed; }

    /// The next picture becomes a JPEG file below @p folder; in a pause that is the one behind what is seen.
    void snap(const QString& folder);

    PlaybackState state() const { return currentState; }
    bool isOpen() const { return currentState == PlaybackState::Playing || currentState == PlaybackState::Paused; }

    /// The time of what is seen, within somewhat more than a second; that of the last jump before its picture came.
    qint64 position() const { return shownTime; }

Q_SIGNALS:
    void stateChanged();
    void positionChanged(qint64 time);

    /// What came of a snapshot; for people.
    void message(const QString& text);

private:
    void setState(PlaybackState state);
    void started();
    void finished();
    void followPicture();
    void followPosition(qint64 time);
    bool isFar(qint64 time) const;
    bool isBeforeJump(qint64 time) const;
    void showOnePicture();
    void completeStep();
    void endStep();
    void rest();
    void endSnapshot(const QString& file); ///< an empty name when nothing was written

    PlaybackDisplay* const display;
    PlaybackState currentState = PlaybackState::Stopped;
    bool isStopping = false; ///< here, not at the device
    bool hasPicture = false; ///< since play()
    bool isRefused = false;
    bool isStepping = false; ///< a pause that waits for one picture
    bool isStepWanted = false; ///< and has not begun
    bool isStepFar = false; ///< its picture is known by the position that comes with it
    QTimer stepTimer; ///< runs until it begins, and while a picture is looked at
    QTimer stepLimit; ///< runs while a position is waited for
    QElapsedTimer sinceRest; ///< since the display was told to pause
    int wantedSpeed = 1;
    qint64 firstTime = 0; ///< that can be reached
    qint64 shownTime = 0;
    qint64 toldTime = 0; ///< by the last position
    QString snapshotFolder;
    QTimer snapshotTimer; ///< runs while a snapshot is waited for
};
