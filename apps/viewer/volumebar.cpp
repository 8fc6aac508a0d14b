#include "volumebar.h"

#include "levelmeter.h"
#include "videocell.h"

#include <QHBoxLayout>
#include <QSignalBlocker>
#include <QSlider>

VolumeBar::VolumeBar(QWidget* parent)
    : QWidget(parent)
    , slider(new QSlider(Qt::Horizontal, this))
    , meter(new LevelMeter(this))
{
    constexpr int mostPercent = 100;
    constexpr int sliderWidth = 90;
    slider->setObjectName("volume");
    slider->setToolTip(tr("Volume of the selected cell"));
    slider->setRange(0, mostPercent);
    slider->setFixedWidth(sliderWidth);
    slider->setFocusPolicy(Qt::NoFocus);
    meter->setObjectName("level");
    meter->setToolTip(tr("Level of the selected cell"));
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Preferred); // the room of the tool bar goes before the last buttons
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(4, 0, 8, 0);
    layout->addWidget(slider);
    layout->addWidget(meter);
    connect(slider, &QSlider::valueChanged, this, [this](int percent) {
        if (shownCell)
            shownCell->setVolume(percent);
    });
}

void VolumeBar::setCell(VideoCell* cell)
{
    if (cell == shownCell)
        return;
    if (shownCell) {
        shownCell->setLevelWanted(false);
        disconnect(shownCell, nullptr, meter, nullptr);
    }
    shownCell = cell;
    meter->clear();
    if (!cell)
        return;
    const QSignalBlocker blocker(slider);
    slider->setValue(cell->volume());
    connect(cell, &VideoCell::levelChanged, meter, &LevelMeter::setLevel);
    cell->setLevelWanted(true);
}
