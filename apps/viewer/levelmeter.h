#pragma once

#include <QTimer>
#include <QWidget>

/// A bar as long as the sound is loud, on a scale of decibels. It rises at once and falls slowly.
class LevelMeter : public QWidget
{
    Q_OBJECT

public:
    explicit LevelMeter(QWidget* parent = nullptr);

    /// What is shown, 0 to 1 of the bar.
    double shown() const { return length; }

    QSize sizeHint() const override;

public Q_SLOTS:
    /// @p level is 0 to 1 of full scale.
    void setLevel(double level);
    void clear();

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void fall();

    double length = 0;
    QTimer fallTimer;
};
