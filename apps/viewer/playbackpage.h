#pragma once

#include "recordinglist.h"
#include "recordingplace.h"
#include "source.h"

#include <QElapsedTimer>
#include <QWidget>

#include <optional>

class Devices;
class PlaceTree;
class PlaybackControls;
class PlaybackDisplay;
class RecordingCalendar;
class RecordingFinder;
class RecordingPlaces;
class RecordingPlayer;
class Snapshots;
class Timeline;
struct ViewerOptions;

/// The page of the window on which recordings are found and played: places and a calendar beside the picture, buttons
/// and the time line of a day below.
///
/// Recordings are looked for whenever the page comes to be seen. What plays is paused while the page is not seen.
class PlaybackPage : public QWidget
{
    Q_OBJECT

public:
    /// @p devices and @p snapshots must outlive the page.
    PlaybackPage(const Devices& devices, const Snapshots& snapshots, const ViewerOptions& options,
                 QWidget* parent = nullptr);

    /// What is new in them counts at once, for the picture from the next playback on.
    void setOptions(const ViewerOptions& options);

    /// Shows what was recorded of that cell, as soon as it has been found.
    void want(const Source& source, int cell);

    /// Whether a channel has been chosen.
    bool hasPlace() const { return place.isValid(); }

    /// Looks for recordings again, if the page is seen.
    void refresh();

    /// Shows picture, buttons and time line alone.
    void setBare(bool bare);

    /// Ends what plays.
    void stop();

    RecordingPlayer* player() const { return recordingPlayer; }

Q_SIGNALS:
    /// For people.
    void message(const QString& text);

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void setUpDisplay(const ViewerOptions& options);
    void makeSidePanel();
    void layOut();
    void connectControls();
    void connectPlayer();

    void showPlaces();
    RecordingPlace takeWanted();
    void choosePlace(const RecordingPlace& chosen);
    void takeRecordings(const RecordingList& found);
    void chooseDay(const QDate& day);
    void showDay(const QDate& day);
    void showMonth();
    void setCursorTime(std::optional<qint64> time);

    void togglePlay();
    void chooseTime(qint64 time);
    void playFrom(qint64 time);
    void jump(qint64 milliseconds);
    void goToNext();
    void goToPrevious();
    qint64 presentTime() const;
    bool isNearCursor(qint64 time) const;
    void followPosition(qint64 time);
    void snap();
    void setSound(bool on);
    std::optional<RecordedSpan> downloadPeriod() const;
    void download();

    void showState();
    QString stateText() const;

    const Devices& devices;
    const Snapshots& snapshots;
    RecordingPlaces* places; // children
    RecordingFinder* finder;
    PlaybackDisplay* display;
    RecordingPlayer* recordingPlayer;
    QWidget* sidePanel;
    PlaceTree* tree;
    RecordingCalendar* calendar;
    PlaybackControls* controls;
    Timeline* timeline;

    RecordingPlace place; ///< that is shown
    RecordingList recordings; ///< of the place
    RecordingList playedRecordings; ///< those that were there when the playback began
    bool isLookedThrough = false; ///< the recordings of the place have been found
    std::optional<qint64> cursorTime;
    QElapsedTimer sinceJump;
    bool goesOn = false; ///< it played when the page was left
    Source wantedSource; ///< empty when none is wanted
    int wantedCell = 0;
};
