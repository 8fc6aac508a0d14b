#pragma once

#include <QPointer>
#include <QWidget>

class QComboBox;
class QLabel;
class QToolButton;
class SeekSlider;
class VideoCell;

/// Pause, position and speed of the file that a cell plays; switched off where that cell shows something live.
class PlaybackBar : public QWidget
{
    Q_OBJECT

public:
    explicit PlaybackBar(QWidget* parent = nullptr);

    /// The cell that the bar works on.
    void setCell(VideoCell* cell);

public Q_SLOTS:
    /// Shows what the cell is doing now.
    void refresh();

    /// Moves the position by so many milliseconds.
    void jump(qint64 milliseconds);

private:
    void addButton();
    void addSpeeds();
    void showPosition(qint64 position);
    void choosePosition(int position);
    void chooseSpeed();
    static QString timeText(qint64 milliseconds);

    QPointer<VideoCell> cell;
    QToolButton* pauseButton; // children of the bar
    SeekSlider* slider;
    QLabel* timeLabel;
    QComboBox* speedBox;
};
