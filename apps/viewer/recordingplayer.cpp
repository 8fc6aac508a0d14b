#include "recordingplayer.h"

#include "playbackdisplay.h"
#include "walltime.h"

#include <QDir>

#include <utility>

namespace {
constexpr int patience = 3000; // milliseconds
constexpr int timeToRest = 150; // milliseconds until a thread that pauses seldom has a picture on its way any more
constexpr int patienceWithStep = 2000; // milliseconds

// Of recorded time, in milliseconds.
constexpr qint64 betweenPositions = 1600; // and some pictures more
constexpr qint64 longestGroup = 10000; // a jump may lead to the key frame before
} // namespace

RecordingPlayer::RecordingPlayer(PlaybackDisplay* shown, QObject* parent)
    : QObject(parent)
    , display(shown)
{
    snapshotTimer.setSingleShot(true);
    snapshotTimer.setInterval(patience);
    stepTimer.setSingleShot(true);
    connect(&stepTimer, &QTimer::timeout, this, [this] {
        isStepWanted = false;
        isStepping = true;
        if (isStepFar && !stepLimit.isActive())
            stepLimit.start();
        display->resume();
    });
    stepLimit.setSingleShot(true);
    stepLimit.setInterval(patienceWithStep);
    connect(&stepLimit, &QTimer::timeout, this, &RecordingPlayer::completeStep);
    connect(display, &PlaybackDisplay::sig_receivePlayStart, this, &RecordingPlayer::started);
    connect(display, &PlaybackDisplay::sig_receivePlayFinsh, this, &RecordingPlayer::finished);
    connect(display, &PlaybackDisplay::sig_connExceedMax, this, [this] { isRefused = true; });
    connect(display, &PlaybackDisplay::receivePosition, this, &RecordingPlayer::followPosition);
    connect(display, &PlaybackDisplay::pictureShown, this, &RecordingPlayer::followPicture);
    connect(display, &PlaybackDisplay::snapImage, this, [this](const QImage& image, const QString& file) {
        endSnapshot(image.isNull() ? QString() : file); // the picture is what could be read back
    });
    connect(&snapshotTimer, &QTimer::timeout, this, [this] { endSnapshot({}); });
}

void RecordingPlayer::play(const RecordingPlace& place, qint64 time)
{
    stop();
    firstTime = WallTime::startOf(WallTime::dateOf(time));
    shownTime = time;
    toldTime = time;
    hasPicture = false;
    isRefused = false;
    VodStartPara para;
    para.startTime = WallTime::moment(firstTime);
    para.playTime = WallTime::moment(time);
    display->setVodStartPara(para);
    const bool isStarted = display->init(place.device, place.channel) && display->start();
    setState(isStarted ? PlaybackState::Starting : PlaybackState::Failed);
}

void RecordingPlayer::stop()
{
    endStep();
    isStopping = true;
    display->stop();
    isStopping = false;
    setState(PlaybackState::Stopped);
}

bool RecordingPlayer::canSeek(qint64 time) const { return isOpen() && time >= firstTime; }

void RecordingPlayer::seek(qint64 time)
{
    shownTime = time;
    display->seekFile(WallTime::moment(time));
    if (currentState != PlaybackState::Paused)
        return;
    isStepFar = isFar(time);
    showOnePicture();
}

/// Whether the picture there comes with a position, and none of where the playback is now could be taken for it.
bool RecordingPlayer::isFar(qint64 time) const
{
    return time < toldTime - betweenPositions || time > toldTime + betweenPositions + longestGroup;
}

bool RecordingPlayer::isBeforeJump(qint64 time) const
{
    return time >= toldTime && time <= toldTime + betweenPositions;
}

// The picture is the first one that comes after the thread has been at rest. On a busy computer that may still be an
// old one: a far jump goes on with another picture until a position that comes behind one is new. The display passes a
// jump on by a queued call, so the device knows of it by the time that a call behind that is served.
void RecordingPlayer::showOnePicture()
{
    if (std::exchange(isStepping, false))
        rest();
    stepTimer.stop();
    stepLimit.stop();
    isStepWanted = true;
    QMetaObject::invokeMethod(
        this,
        [this] {
            if (isStepWanted)
                stepTimer.start(int(qMax<qint64>(0, timeToRest - sinceRest.elapsed())));
        },
        Qt::QueuedConnection);
}

void RecordingPlayer::rest()
{
    display->pause();
    sinceRest.start();
}

void RecordingPlayer::completeStep()
{
    endStep();
    rest();
}

void RecordingPlayer::endStep()
{
    stepTimer.stop();
    stepLimit.stop();
    isStepFar = false;
    isStepWanted = false;
    isStepping = false;
}

void RecordingPlayer::pause()
{
    if (currentState != PlaybackState::Playing)
        return;
    rest();
    setState(PlaybackState::Paused);
}

void RecordingPlayer::resume()
{
    if (currentState != PlaybackState::Paused)
        return;
    endStep();
    display->resume();
    setState(PlaybackState::Playing);
}

void RecordingPlayer::setSpeed(int speed)
{
    wantedSpeed = speed;
    if (isOpen())
        display->setSpeed(speed);
}

void RecordingPlayer::snap(const QString& folder)
{
    if (!isOpen()) {
        Q_EMIT message(tr("No snapshot: nothing is playing"));
        return;
    }
    if (snapshotTimer.isActive())
        return;
    snapshotFolder = folder;
    snapshotTimer.start();
    display->snap(folder, true);
    if (currentState == PlaybackState::Paused)
        showOnePicture();
}

void RecordingPlayer::endSnapshot(const QString& file)
{
    if (!snapshotTimer.isActive() && !file.isEmpty())
        return;
    snapshotTimer.stop();
    Q_EMIT message(file.isEmpty()
                       ? tr("The snapshot could not be written to %1").arg(QDir::toNativeSeparators(snapshotFolder))
                       : tr("Snapshot: %1").arg(QDir::toNativeSeparators(file)));
}

void RecordingPlayer::setState(PlaybackState state)
{
    if (state == currentState)
        return;
    currentState = state;
    Q_EMIT stateChanged();
}

void RecordingPlayer::started()
{
    if (wantedSpeed != 1)
        display->setSpeed(wantedSpeed);
    setState(PlaybackState::Playing);
}

void RecordingPlayer::finished()
{
    if (isStopping)
        return;
    endStep();
    if (hasPicture)
        setState(PlaybackState::Ended);
    else
        setState(isRefused ? PlaybackState::Refused : PlaybackState::Failed);
}

void RecordingPlayer::followPicture()
{
    hasPicture = true;
    if (!isStepping)
        return;
    if (isStepFar) {
        rest();
        stepTimer.start(timeToRest);
    } else {
        completeStep();
    }
}

// A playback that was ended may still have something to tell.
void RecordingPlayer::followPosition(qint64 time)
{
    if (!isOpen())
        return;
    const bool isOld = isStepFar && isBeforeJump(time);
    toldTime = time;
    if (isOld)
        return;
    if (isStepping && isStepFar)
        completeStep();
    shownTime = time;
    Q_EMIT positionChanged(time);
}
