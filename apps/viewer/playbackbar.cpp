#include "playbackbar.h"

#include "cellview.h"
#include "qttoolkit/quihelper.h"
#include "seekslider.h"
#include "videocell.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QTime>
#include <QToolButton>

PlaybackBar::PlaybackBar(QWidget* parent)
    : QWidget(parent)
    , pauseButton(new QToolButton(this))
    , slider(new SeekSlider(this))
    , timeLabel(new QLabel(this))
    , speedBox(new QComboBox(this))
{
    setObjectName("playbackBar");
    setAttribute(Qt::WA_StyledBackground);
    addButton();
    addSpeeds();
    slider->setObjectName("position");
    timeLabel->setObjectName("time");
    connect(slider, &SeekSlider::chosen, this, &PlaybackBar::choosePosition);

    auto* box = new QHBoxLayout(this);
    box->setContentsMargins(8, 4, 8, 4);
    box->setSpacing(10);
    box->addWidget(pauseButton);
    box->addWidget(slider, 1);
    box->addWidget(timeLabel);
    box->addWidget(speedBox);
}

void PlaybackBar::addButton()
{
    pauseButton->setObjectName("pause");
    pauseButton->setFocusPolicy(Qt::NoFocus);
    pauseButton->setIconSize({18, 18});
    connect(pauseButton, &QToolButton::clicked, this, [this] {
        if (cell)
            cell->togglePause();
    });
}

void PlaybackBar::addSpeeds()
{
    speedBox->setObjectName("speed");
    speedBox->setFocusPolicy(Qt::NoFocus);
    speedBox->setToolTip(tr("Speed"));
    for (double factor : {0.25, 0.5, 1.0, 2.0, 4.0, 8.0})
        speedBox->addItem(tr("%1×").arg(factor), factor);
    speedBox->setCurrentIndex(speedBox->findData(1.0));
    connect(speedBox, QOverload<int>::of(&QComboBox::activated), this, &PlaybackBar::chooseSpeed);
}

void PlaybackBar::setCell(VideoCell* shown)
{
    if (cell)
        cell->disconnect(this);
    cell = shown;
    speedBox->setCurrentIndex(speedBox->findData(1.0));
    connect(cell, &VideoCell::positionChanged, this, &PlaybackBar::showPosition);
    connect(cell, &VideoCell::durationChanged, this, &PlaybackBar::refresh);
    connect(cell, &VideoCell::stateChanged, this, &PlaybackBar::refresh);
    refresh();
}

void PlaybackBar::refresh()
{
    const bool isSeekable = cell && cell->isPlaying() && cell->view()->isSeekable();
    const bool isEnded = cell && cell->state() == CellState::Ended;
    const bool isMoving = cell && cell->state() == CellState::Playing;
    pauseButton->setEnabled(isSeekable || isEnded);
    pauseButton->setToolTip(isMoving ? tr("Pause (Space)") : tr("Play (Space)"));
    QUIHelper::setSvgIcon(pauseButton, isMoving ? ":/viewer/pause.svg" : ":/viewer/play.svg");
    slider->setEnabled(isSeekable);
    speedBox->setEnabled(isSeekable);
    if (!isSeekable)
        speedBox->setCurrentIndex(speedBox->findData(1.0));
    slider->setMaximum(isSeekable ? int(cell->view()->duration()) : 0);
    showPosition(isSeekable ? cell->view()->position() : 0);
}

void PlaybackBar::showPosition(qint64 position)
{
    if (!slider->isEnabled()) {
        timeLabel->setText(cell && cell->state() == CellState::Playing ? tr("Live") : "–:––");
        return;
    }
    timeLabel->setText(timeText(position) + " / " + timeText(slider->maximum()));
    if (slider->isSliderDown())
        return;
    const QSignalBlocker blocker(slider);
    slider->setValue(int(position));
}

void PlaybackBar::choosePosition(int position)
{
    if (cell)
        cell->view()->setPosition(position);
}

void PlaybackBar::jump(qint64 milliseconds)
{
    if (cell && cell->view()->isSeekable())
        cell->view()->setPosition(qBound<qint64>(0, cell->view()->position() + milliseconds, cell->view()->duration()));
}

void PlaybackBar::chooseSpeed()
{
    if (cell)
        cell->view()->setSpeed(speedBox->currentData().toDouble());
}

QString PlaybackBar::timeText(qint64 milliseconds)
{
    const QTime time = QTime::fromMSecsSinceStartOfDay(int(milliseconds));
    return time.toString(time.hour() > 0 ? "h:mm:ss" : "m:ss");
}
