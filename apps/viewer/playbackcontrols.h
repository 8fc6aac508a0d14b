#pragma once

#include <QWidget>

class QAction;
class QComboBox;
class QHBoxLayout;
class QLabel;
class QSlider;
class QToolButton;

/// The bar of buttons below the picture of a playback. Its keys work while it is seen.
class PlaybackControls : public QWidget
{
    Q_OBJECT

public:
    explicit PlaybackControls(QWidget* parent = nullptr);

    /// Whether there is something to play, and whether something does.
    void setPlayable(bool isPlayable);
    void setOpen(bool isOpen);

    /// Whether the button in the middle pauses or plays.
    void setMoving(bool isMoving);
    void setZoomed(bool isZoomed);
    void setDownloadable(bool isDownloadable);

    /// What is being shown, and how the playback is doing; for people.
    void setMoment(const QString& text);
    void setStateText(const QString& text);

    /// n times, or the n-th part for -n.
    int speed() const;

Q_SIGNALS:
    void previousWanted();
    void playWanted();
    void nextWanted();
    void speedChosen(int speed);
    void wholeDayWanted();
    void downloadWanted();
    void soundWanted(bool on);
    void volumeChosen(int percent);
    void zoomWanted(bool on);
    void snapshotWanted();
    void refreshWanted();

private:
    QAction* addButton(const QString& name, const QString& text, const QString& icon, const QKeySequence& key);
    QAction* addSwitch(const QString& name, const QString& text, const QString& icon, const QKeySequence& key);
    void setIcon(QAction* action, const QString& icon);
    void addSpeeds();
    void addSpeedKey(const QList<QKeySequence>& keys, int step);
    void addVolume();
    void changeSpeed(int step);

    QHBoxLayout* row;
    QAction* previousAction = nullptr;
    QAction* playAction = nullptr;
    QAction* nextAction = nullptr;
    QAction* downloadAction = nullptr;
    QAction* zoomAction = nullptr;
    QAction* snapshotAction = nullptr;
    QComboBox* speedBox; // children
    QLabel* momentLabel;
    QLabel* stateLabel;
    QSlider* volumeSlider;
};
