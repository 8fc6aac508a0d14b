#pragma once

#include <QElapsedTimer>
#include <QTimer>
#include <QVector>
#include <QWidget>

/// Sees on the screen when the middle of a widget turns from dark to bright. GUI thread.
class FlashWatch
{
public:
    FlashWatch(const QWidget* widget, const QElapsedTimer& clock);

    /// When each flash began, in milliseconds of the clock.
    const QVector<double>& begins() const { return moments; }

private:
    void look();

    const QWidget* const watched;
    const QElapsedTimer running;
    QTimer timer;
    QVector<double> moments;
    bool isBright = false;
};
