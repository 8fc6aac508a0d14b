#include "playbackcontrols.h"

#include "qttoolkit/quihelper.h"

#include <QAction>
#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QSlider>
#include <QToolButton>

namespace {

constexpr int mostPercent = 100;
constexpr int volumeWidth = 80;
constexpr QSize iconSize{18, 18};

struct Speed
{
    int times;
    const char* text;
};

constexpr Speed speeds[]
    = {{-4, QT_TRANSLATE_NOOP("PlaybackControls", "1/4×")},
       {-2, QT_TRANSLATE_NOOP("PlaybackControls", "1/2×")},
       {1, QT_TRANSLATE_NOOP("PlaybackControls", "1×")},
       {2, QT_TRANSLATE_NOOP("PlaybackControls", "2×")},
       {4, QT_TRANSLATE_NOOP("PlaybackControls", "4×")},
       {8, QT_TRANSLATE_NOOP("PlaybackControls", "8×")},
       {16, QT_TRANSLATE_NOOP("PlaybackControls", "16×")}};

} // namespace

PlaybackControls::PlaybackControls(QWidget* parent)
    : QWidget(parent)
    , row(new QHBoxLayout(this))
    , speedBox(new QComboBox(this))
    , momentLabel(new QLabel(this))
    , stateLabel(new QLabel(this))
    , volumeSlider(new QSlider(Qt::Horizontal, this))
{
    setObjectName("playbackControls");
    setAttribute(Qt::WA_StyledBackground);
    row->setContentsMargins(8, 4, 8, 4);
    row->setSpacing(4);
    momentLabel->setObjectName("playbackMoment");
    stateLabel->setObjectName("playbackState");

    previousAction = addButton("previousRecording", tr("Previous recording"), "previous", Qt::Key_PageUp);
    connect(previousAction, &QAction::triggered, this, &PlaybackControls::previousWanted);
    playAction = addButton("playbackPlay", tr("Play"), "play", Qt::Key_Space);
    connect(playAction, &QAction::triggered, this, &PlaybackControls::playWanted);
    nextAction = addButton("nextRecording", tr("Next recording"), "next", Qt::Key_PageDown);
    connect(nextAction, &QAction::triggered, this, &PlaybackControls::nextWanted);
    addSpeeds();
    row->addSpacing(8);
    row->addWidget(momentLabel);
    row->addSpacing(8);
    row->addWidget(stateLabel, 1);
    connect(addButton("wholeDay", tr("Whole day"), "wholeday", Qt::Key_0), &QAction::triggered, this,
            &PlaybackControls::wholeDayWanted);
    connect(addButton("refreshRecordings", tr("Look for recordings again"), "restart", Qt::Key_F5),
            &QAction::triggered, this, &PlaybackControls::refreshWanted);
    downloadAction = addButton("download", tr("Download…"), "download", tr("Ctrl+S"));
    connect(downloadAction, &QAction::triggered, this, &PlaybackControls::downloadWanted);
    zoomAction = addSwitch("playbackZoom", tr("Digital zoom (wheel enlarges, dragging moves)"), "zoom", Qt::Key_Z);
    connect(zoomAction, &QAction::triggered, this, &PlaybackControls::zoomWanted);
    snapshotAction = addButton("playbackSnapshot", tr("Snapshot"), "snapshot", Qt::Key_S);
    connect(snapshotAction, &QAction::triggered, this, &PlaybackControls::snapshotWanted);
    connect(addSwitch("playbackSound", tr("Sound"), "sound", Qt::Key_M), &QAction::triggered, this,
            &PlaybackControls::soundWanted);
    addVolume();
}

QAction* PlaybackControls::addButton(const QString& name, const QString& text, const QString& icon,
                                     const QKeySequence& key)
{
    auto* action = new QAction(text, this);
    action->setObjectName(name);
    action->setShortcut(key);
    action->setToolTip(QString("%1 (%2)").arg(text, key.toString(QKeySequence::NativeText)));
    addAction(action);
    auto* button = new QToolButton(this);
    button->setObjectName(name + "Button");
    button->setIconSize(iconSize);
    button->setFocusPolicy(Qt::NoFocus);
    button->setDefaultAction(action);
    row->addWidget(button);
    setIcon(action, icon);
    return action;
}

QAction* PlaybackControls::addSwitch(const QString& name, const QString& text, const QString& icon,
                                     const QKeySequence& key)
{
    QAction* action = addButton(name, text, icon, key);
    action->setCheckable(true);
    return action;
}

// Drawn in the colours of the button, and given to the action because a button takes over the icon of its action.
void PlaybackControls::setIcon(QAction* action, const QString& icon)
{
    auto* button = findChild<QToolButton*>(action->objectName() + "Button");
    QUIHelper::setSvgIcon(button, QString(":/viewer/%1.svg").arg(icon));
    action->setIcon(button->icon());
}

void PlaybackControls::addSpeeds()
{
    speedBox->setObjectName("playbackSpeed");
    speedBox->setFocusPolicy(Qt::NoFocus);
    speedBox->setToolTip(tr("Speed (+ and -)"));
    for (const Speed& speed : speeds)
        speedBox->addItem(tr(speed.text), speed.times);
    speedBox->setCurrentIndex(speedBox->findData(1));
    connect(speedBox, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
            [this] { Q_EMIT speedChosen(speed()); });
    row->addSpacing(8);
    row->addWidget(speedBox);
    addSpeedKey({Qt::Key_Plus, Qt::Key_Equal, Qt::KeypadModifier + Qt::Key_Plus}, 1);
    addSpeedKey({Qt::Key_Minus, Qt::KeypadModifier + Qt::Key_Minus}, -1);
}

void PlaybackControls::addSpeedKey(const QList<QKeySequence>& keys, int step)
{
    auto* action = new QAction(this);
    action->setShortcuts(keys);
    connect(action, &QAction::triggered, this, [this, step] { changeSpeed(step); });
    addAction(action);
}

void PlaybackControls::changeSpeed(int step)
{
    speedBox->setCurrentIndex(qBound(0, speedBox->currentIndex() + step, speedBox->count() - 1));
}

int PlaybackControls::speed() const { return speedBox->currentData().toInt(); }

void PlaybackControls::addVolume()
{
    volumeSlider->setObjectName("playbackVolume");
    volumeSlider->setToolTip(tr("Volume"));
    volumeSlider->setRange(0, mostPercent);
    volumeSlider->setValue(mostPercent);
    volumeSlider->setFixedWidth(volumeWidth);
    volumeSlider->setFocusPolicy(Qt::NoFocus);
    connect(volumeSlider, &QSlider::valueChanged, this, &PlaybackControls::volumeChosen);
    row->addWidget(volumeSlider);
}

void PlaybackControls::setPlayable(bool isPlayable)
{
    for (QAction* action : {previousAction, playAction, nextAction})
        action->setEnabled(isPlayable);
}

void PlaybackControls::setOpen(bool isOpen)
{
    for (QAction* action : {zoomAction, snapshotAction})
        action->setEnabled(isOpen);
}

void PlaybackControls::setMoving(bool isMoving)
{
    const QString key = playAction->shortcut().toString(QKeySequence::NativeText);
    setIcon(playAction, isMoving ? "pause" : "play");
    playAction->setText(isMoving ? tr("Pause") : tr("Play"));
    playAction->setToolTip(QString("%1 (%2)").arg(playAction->text(), key));
}

void PlaybackControls::setZoomed(bool isZoomed) { zoomAction->setChecked(isZoomed); }

void PlaybackControls::setDownloadable(bool isDownloadable) { downloadAction->setEnabled(isDownloadable); }

void PlaybackControls::setMoment(const QString& text) { momentLabel->setText(text); }

void PlaybackControls::setStateText(const QString& text) { stateLabel->setText(text); }
