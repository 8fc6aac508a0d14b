#pragma once

#include <QColor>
#include <QImage>
#include <QPoint>

class QWidget;

/// What a person in front of the screen sees, native child windows and stacked windows included.
namespace Screen {

/// The whole primary screen.
QImage grab();

/// The part of the screen that @p widget takes.
QImage grab(const QWidget* widget);

/// The colour on the screen at a point in coordinates of @p widget; invalid outside the screen.
QColor colorAt(const QWidget* widget, const QPoint& point);

/// Whether each channel is within @p tolerance.
bool isNear(const QColor& seen, const QColor& wanted, int tolerance = 24);

/// Waits, serving events, until the screen has the colour at that point; prints what is there when it never does.
bool waitForColor(const QWidget* widget, const QPoint& point, const QColor& wanted, int tolerance = 24,
                  int milliseconds = 5000);

} // namespace Screen
