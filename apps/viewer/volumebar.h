#pragma once

#include <QPointer>
#include <QWidget>

class LevelMeter;
class QSlider;
class VideoCell;

/// Volume and level of the selected cell. A cell whose sound is off shows its level too.
class VolumeBar : public QWidget
{
    Q_OBJECT

public:
    explicit VolumeBar(QWidget* parent = nullptr);

    void setCell(VideoCell* cell);

private:
    QPointer<VideoCell> shownCell;
    QSlider* slider; // children
    LevelMeter* meter;
};
