#include "playbackpage.h"

#include "devices.h"
#include "downloaddialog.h"
#include "placetree.h"
#include "playbackcontrols.h"
#include "playbackdisplay.h"
#include "recordingcalendar.h"
#include "recordingfinder.h"
#include "recordingplaces.h"
#include "recordingplayer.h"
#include "snapshots.h"
#include "timeline.h"
#include "vieweroptions.h"
#include "walltime.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QVBoxLayout>

#include <utility>

namespace {

constexpr int panelWidth = 264;
constexpr int textSize = 15;
constexpr qint64 shortJump = 5 * WallTime::second;
constexpr qint64 longJump = WallTime::minute;
constexpr qint64 nearBegin = 3 * WallTime::second; // from there on, back is the beginning of the same recording
constexpr qint64 untilPicture = 1200; // milliseconds in which a jump may not have led to a position yet
constexpr qint64 usualGroup = 4 * WallTime::second; // of pictures; a jump leads to the beginning of one
constexpr double zoomOfKey = 1.5;
constexpr int playbackReadTimeout = 3000; // milliseconds

const QString momentFormat("yyyy-MM-dd  HH:mm:ss");

} // namespace

PlaybackPage::PlaybackPage(const Devices& known, const Snapshots& snapshotTaker, const ViewerOptions& options,
                           QWidget* parent)
    : QWidget(parent)
    , devices(known)
    , snapshots(snapshotTaker)
    , places(new RecordingPlaces(devices, options.recordingFolder, options.autoRecordFolder, this))
    , finder(new RecordingFinder(this))
    , display(new PlaybackDisplay(this))
    , recordingPlayer(new RecordingPlayer(display, this))
    , sidePanel(new QWidget(this))
    , tree(new PlaceTree(sidePanel))
    , calendar(new RecordingCalendar(sidePanel))
    , controls(new PlaybackControls(this))
    , timeline(new Timeline(this))
{
    setObjectName("playbackPage");
    setUpDisplay(options);
    makeSidePanel();
    layOut();
    connectControls();
    connectPlayer();
    connect(places, &RecordingPlaces::changed, this, &PlaybackPage::showPlaces);
    connect(tree, &PlaceTree::chosen, this, [this](const QString& key) {
        wantedSource = {};
        choosePlace(places->find(key));
    });
    connect(finder, &RecordingFinder::found, this, &PlaybackPage::takeRecordings);
    connect(calendar, &RecordingCalendar::selectionChanged, this, [this] { chooseDay(calendar->selectedDate()); });
    connect(calendar, &RecordingCalendar::activated, this, [this] { togglePlay(); });
    connect(calendar, &RecordingCalendar::currentPageChanged, this, &PlaybackPage::showMonth);
    showState();
}

void PlaybackPage::setUpDisplay(const ViewerOptions& options)
{
    WidgetPara look = display->getWidgetPara();
    look.scaleMode = options.scaleMode;
    look.bgTextSize = textSize;
    look.textColor = "#8792A0";
    look.bgColor = "#0E1114";
    look.videoMode = options.mode;
    look.muted = true;
    display->setWidgetPara(look);
    VideoPara video = display->getVideoPara();
    video.hardware = options.hardware;
    video.readTimeout = playbackReadTimeout;
    video.connectTimeout = options.connectTimeout;
    display->setVideoPara(video);
    display->setObjectName("playbackDisplay");
    display->setAcceptDrops(false);
}

void PlaybackPage::setOptions(const ViewerOptions& options)
{
    const bool isMuted = display->getWidgetPara().muted;
    setUpDisplay(options);
    display->setMuted(isMuted);
    places->setFolders(options.recordingFolder, options.autoRecordFolder);
    refresh();
}

void PlaybackPage::makeSidePanel()
{
    sidePanel->setObjectName("playbackPanel");
    sidePanel->setAttribute(Qt::WA_StyledBackground);
    sidePanel->setFixedWidth(panelWidth);
    auto* heading = new QLabel(tr("Recordings"), sidePanel);
    heading->setContentsMargins(10, 8, 4, 8);
    auto* box = new QVBoxLayout(sidePanel);
    box->setContentsMargins(0, 0, 0, 0);
    box->setSpacing(0);
    box->addWidget(heading);
    box->addWidget(tree, 1);
    box->addWidget(calendar);
}

void PlaybackPage::layOut()
{
    auto* upper = new QHBoxLayout;
    upper->setSpacing(3);
    upper->addWidget(sidePanel);
    upper->addWidget(display, 1);
    auto* box = new QVBoxLayout(this);
    box->setContentsMargins(0, 0, 0, 0);
    box->setSpacing(0);
    box->addLayout(upper, 1);
    box->addWidget(controls);
    box->addWidget(timeline);
}

void PlaybackPage::connectControls()
{
    connect(controls, &PlaybackControls::previousWanted, this, &PlaybackPage::goToPrevious);
    connect(controls, &PlaybackControls::playWanted, this, &PlaybackPage::togglePlay);
    connect(controls, &PlaybackControls::nextWanted, this, &PlaybackPage::goToNext);
    connect(controls, &PlaybackControls::speedChosen, this, [this](int speed) {
        recordingPlayer->setSpeed(speed);
        showState();
    });
    connect(controls, &PlaybackControls::wholeDayWanted, timeline, &Timeline::showWholeDay);
    connect(controls, &PlaybackControls::downloadWanted, this, &PlaybackPage::download);
    connect(controls, &PlaybackControls::soundWanted, this, &PlaybackPage::setSound);
    connect(controls, &PlaybackControls::volumeChosen, display, &PlaybackDisplay::setVolume);
    connect(controls, &PlaybackControls::zoomWanted, display, &PlaybackDisplay::setDigitalZoom);
    connect(controls, &PlaybackControls::snapshotWanted, this, &PlaybackPage::snap);
    connect(controls, &PlaybackControls::refreshWanted, this, &PlaybackPage::refresh);
    connect(timeline, &Timeline::chosen, this, &PlaybackPage::chooseTime);
    connect(timeline, &Timeline::selectionChanged, this, &PlaybackPage::showState);
}

void PlaybackPage::connectPlayer()
{
    connect(recordingPlayer, &RecordingPlayer::stateChanged, this, &PlaybackPage::showState);
    connect(recordingPlayer, &RecordingPlayer::positionChanged, this, &PlaybackPage::followPosition);
    connect(recordingPlayer, &RecordingPlayer::message, this, &PlaybackPage::message);
}

void PlaybackPage::want(const Source& source, int cell)
{
    wantedSource = source;
    wantedCell = cell;
}

void PlaybackPage::refresh()
{
    if (isVisible())
        places->refresh();
}

void PlaybackPage::setBare(bool bare) { sidePanel->setVisible(!bare); }

void PlaybackPage::stop() { recordingPlayer->stop(); }

void PlaybackPage::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    if (event->spontaneous())
        return;
    timeline->setFocus();
    refresh();
    if (std::exchange(goesOn, false))
        recordingPlayer->resume();
}

void PlaybackPage::hideEvent(QHideEvent* event)
{
    QWidget::hideEvent(event);
    if (event->spontaneous())
        return;
    goesOn = recordingPlayer->state() == PlaybackState::Playing;
    recordingPlayer->pause();
}

// The tree and the calendar keep the keys that they need; the others come here.
void PlaybackPage::keyPressEvent(QKeyEvent* event)
{
    const qint64 jumpTime = event->modifiers() & Qt::ShiftModifier ? longJump : shortJump;
    switch (event->key()) {
    case Qt::Key_Left:
        jump(-jumpTime);
        break;
    case Qt::Key_Right:
        jump(jumpTime);
        break;
    case Qt::Key_Up:
        timeline->zoom(zoomOfKey);
        break;
    case Qt::Key_Down:
        timeline->zoom(1.0 / zoomOfKey);
        break;
    default:
        QWidget::keyPressEvent(event);
    }
}

void PlaybackPage::showPlaces()
{
    tree->setPlaces(places->all());
    RecordingPlace chosen = takeWanted();
    if (!chosen.isValid())
        chosen = places->find(place.key);
    if (!chosen.isValid() && !places->all().isEmpty())
        chosen = places->all().first();
    choosePlace(chosen);
}

RecordingPlace PlaybackPage::takeWanted()
{
    const Source source = std::exchange(wantedSource, {});
    const RecordingPlace wanted = places->placeOf(source, wantedCell);
    if (!source.isEmpty() && !wanted.isValid())
        Q_EMIT message(tr("Nothing has been recorded of %1 yet").arg(source.title()));
    return wanted;
}

void PlaybackPage::choosePlace(const RecordingPlace& chosen)
{
    tree->select(chosen.key);
    if (chosen.key != place.key) {
        recordingPlayer->stop();
        place = chosen;
        recordings = {};
        isLookedThrough = false;
        timeline->clearSelection();
        showDay(calendar->selectedDate());
    }
    if (place.isValid())
        finder->find(place);
    showState();
}

void PlaybackPage::takeRecordings(const RecordingList& found)
{
    const bool isFirst = recordings.isEmpty();
    isLookedThrough = true;
    recordings = found;
    QDate day = calendar->selectedDate();
    if (isFirst && !recordings.isEmpty() && recordings.days(day, day).isEmpty())
        day = WallTime::dateOf(recordings.last()->begin);
    showDay(day);
}

void PlaybackPage::chooseDay(const QDate& day)
{
    recordingPlayer->stop();
    showDay(day);
    timeline->setFocus();
}

void PlaybackPage::showDay(const QDate& day)
{
    calendar->showDay(day);
    timeline->setDay(day);
    const qint64 begin = WallTime::startOf(day);
    const QVector<RecordedSpan> ofDay = recordings.within(begin, begin + WallTime::day);
    timeline->setRecordings(ofDay);
    showMonth();
    const bool isCursorHere = cursorTime && WallTime::dateOf(*cursorTime) == day;
    if (!isCursorHere && !ofDay.isEmpty())
        setCursorTime(qMax(begin, ofDay.first().begin));
    else
        setCursorTime(isCursorHere ? cursorTime : std::nullopt);
    showState();
}

void PlaybackPage::showMonth()
{
    calendar->setRecordedDays(recordings.days(calendar->firstShownDay(), calendar->lastShownDay()));
}

void PlaybackPage::setCursorTime(std::optional<qint64> time)
{
    cursorTime = time;
    timeline->setCursorTime(time);
    controls->setMoment(time ? WallTime::text(*time, momentFormat) : QString());
    controls->setDownloadable(downloadPeriod().has_value());
}

void PlaybackPage::togglePlay()
{
    switch (recordingPlayer->state()) {
    case PlaybackState::Playing:
        recordingPlayer->pause();
        return;
    case PlaybackState::Paused:
        recordingPlayer->resume();
        return;
    case PlaybackState::Starting:
        return;
    case PlaybackState::Ended: // the last recording once more
        if (const auto last = recordings.previous(presentTime() + 1))
            playFrom(last->begin);
        return;
    case PlaybackState::Stopped:
    case PlaybackState::Refused:
    case PlaybackState::Failed:
        if (cursorTime)
            chooseTime(*cursorTime);
    }
}

// In a gap the next recording of the day is meant.
void PlaybackPage::chooseTime(qint64 time)
{
    const auto next = recordings.next(time);
    if (recordings.at(time))
        playFrom(time);
    else if (next && WallTime::dateOf(next->begin) == WallTime::dateOf(time))
        playFrom(next->begin);
    else
        Q_EMIT message(tr("Nothing is recorded after %1 on this day").arg(WallTime::text(time, "HH:mm:ss")));
}

void PlaybackPage::playFrom(qint64 time)
{
    cursorTime = time;
    showDay(WallTime::dateOf(time));
    sinceJump.start();
    if (recordingPlayer->canSeek(time) && playedRecordings == recordings) {
        recordingPlayer->seek(time);
        return;
    }
    playedRecordings = recordings;
    recordingPlayer->play(place, time);
}

// A press of the key after the other counts from where the one before it led to.
qint64 PlaybackPage::presentTime() const { return cursorTime.value_or(WallTime::startOf(calendar->selectedDate())); }

void PlaybackPage::jump(qint64 milliseconds)
{
    const qint64 time = presentTime() + milliseconds;
    const auto before = recordings.previous(time);
    if (recordings.at(time))
        playFrom(time);
    else if (milliseconds > 0)
        chooseTime(time);
    else if (before)
        playFrom(qMax(before->begin, before->end + milliseconds));
    else if (const auto first = recordings.next(time))
        playFrom(first->begin);
}

void PlaybackPage::goToNext()
{
    if (const auto next = recordings.next(presentTime()))
        playFrom(next->begin);
    else
        Q_EMIT message(tr("There is no later recording"));
}

void PlaybackPage::goToPrevious()
{
    if (const auto previous = recordings.previous(presentTime() - nearBegin))
        playFrom(previous->begin);
    else if (const auto first = recordings.next(presentTime() - nearBegin - 1))
        playFrom(first->begin);
}

bool PlaybackPage::isNearCursor(qint64 time) const
{
    return cursorTime && time >= *cursorTime - usualGroup && time <= *cursorTime + nearBegin;
}

// What comes soon after a jump may still be of the time before it.
void PlaybackPage::followPosition(qint64 time)
{
    if (sinceJump.isValid() && sinceJump.elapsed() < untilPicture && !isNearCursor(time))
        return;
    cursorTime = time;
    if (WallTime::dateOf(time) != calendar->selectedDate())
        showDay(WallTime::dateOf(time)); // midnight has gone by
    else
        setCursorTime(time);
}

void PlaybackPage::snap() { recordingPlayer->snap(QString("%1/%2").arg(snapshots.folder(), place.folder)); }

void PlaybackPage::setSound(bool on)
{
    display->setMuted(!on);
    Q_EMIT message(on ? tr("The sound is on; it is heard at normal speed") : tr("The sound is off"));
}

std::optional<RecordedSpan> PlaybackPage::downloadPeriod() const
{
    if (const auto selected = timeline->selection())
        return selected;
    return cursorTime ? recordings.at(*cursorTime) : std::nullopt;
}

void PlaybackPage::download()
{
    const auto period = downloadPeriod();
    if (!period)
        return;
    auto* dialog = new DownloadDialog(place.device, place.channel, place.title(), WallTime::moment(period->begin),
                                      WallTime::moment(period->end), this);
    dialog->show();
}

void PlaybackPage::showState()
{
    const PlaybackState state = recordingPlayer->state();
    const QString text = stateText();
    display->setBgText(text);
    controls->setStateText(text.section('\n', 0, 0));
    controls->setPlayable(!recordings.isEmpty());
    controls->setOpen(recordingPlayer->isOpen());
    controls->setMoving(state == PlaybackState::Playing || state == PlaybackState::Starting);
    controls->setZoomed(display->isDigitalZoom());
    controls->setDownloadable(downloadPeriod().has_value());
}

QString PlaybackPage::stateText() const
{
    if (!place.isValid())
        return tr(
            "Nothing has been recorded yet\nRecord a cell on the Live page with R; when that ends it is found here");
    if (!isLookedThrough)
        return tr("Looking for recordings…");
    if (recordings.isEmpty())
        return tr("%1 has no recordings").arg(place.name);
    if (recordingPlayer->state() == PlaybackState::Stopped && !timeline->hasRecordings())
        return tr("Nothing is recorded on this day");
    return playbackStateText(recordingPlayer->state());
}
