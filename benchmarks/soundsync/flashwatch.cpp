#include "flashwatch.h"

#include <QGuiApplication>
#include <QImage>
#include <QPixmap>
#include <QScreen>

namespace {
constexpr int intervalMs = 4;
} // namespace

FlashWatch::FlashWatch(const QWidget* widget, const QElapsedTimer& clock)
    : watched(widget)
    , running(clock)
{
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, &timer, [this] { look(); });
    timer.start(intervalMs);
}

void FlashWatch::look()
{
    const QPoint middle = watched->mapToGlobal(watched->rect().center());
    const QImage pixel = QGuiApplication::primaryScreen()->grabWindow(0, middle.x(), middle.y(), 1, 1).toImage();
    const bool wasBright = isBright;
    isBright = !pixel.isNull() && qGray(pixel.pixel(0, 0)) > 128;
    if (isBright && !wasBright)
        moments.append(double(running.nsecsElapsed()) / 1e6);
}
