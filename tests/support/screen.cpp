#include "support/screen.h"

#include "support/waiting.h"

#include <QGuiApplication>
#include <QPixmap>
#include <QScreen>
#include <QWidget>
#include <QtDebug>

#include <cstdlib>

QImage Screen::grab() { return QGuiApplication::primaryScreen()->grabWindow(0).toImage(); }

QImage Screen::grab(const QWidget* widget)
{
    return grab().copy(QRect(widget->mapToGlobal(QPoint(0, 0)), widget->size()));
}

QColor Screen::colorAt(const QWidget* widget, const QPoint& point)
{
    const QPoint at = widget->mapToGlobal(point);
    const QImage pixel = QGuiApplication::primaryScreen()->grabWindow(0, at.x(), at.y(), 1, 1).toImage();
    return pixel.isNull() ? QColor() : pixel.pixelColor(0, 0);
}

bool Screen::isNear(const QColor& seen, const QColor& wanted, int tolerance)
{
    return seen.isValid() && std::abs(seen.red() - wanted.red()) <= tolerance
        && std::abs(seen.green() - wanted.green()) <= tolerance && std::abs(seen.blue() - wanted.blue()) <= tolerance;
}

bool Screen::waitForColor(const QWidget* widget, const QPoint& point, const QColor& wanted, int tolerance,
                          int milliseconds)
{
    if (Waiting::until([&] { return isNear(colorAt(widget, point), wanted, tolerance); }, milliseconds))
        return true;
    qInfo().noquote() << QString("the screen has %1 at %2,%3 of the widget, not %4")
                             .arg(colorAt(widget, point).name())
                             .arg(point.x())
                             .arg(point.y())
                             .arg(wanted.name());
    return false;
}
