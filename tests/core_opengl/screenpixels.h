#pragma once

#include "support/screen.h"

#include <QTest>
#include <QWidget>

/// Looks at single pixels of a picture as the X server shows it.
namespace ScreenPixels {

constexpr int tolerance = 2; // of 255

/// The centre of a cell of a grid laid over the widget.
inline QPoint cell(const QWidget& widget, int column, int row, int columns, int rows)
{
    return {(2 * column + 1) * widget.width() / (2 * columns), (2 * row + 1) * widget.height() / (2 * rows)};
}

/// Waits for the colour and returns nothing, or what is there instead.
inline QString mismatch(const QWidget& widget, const QPoint& position, const QColor& expected)
{
    const auto seen = [&] { return Screen::colorAt(&widget, position); };
    if (QTest::qWaitFor([&] { return Screen::isNear(seen(), expected, tolerance); }, 3000))
        return QString();
    return QString("(%1, %2) is %3 instead of %4")
        .arg(position.x())
        .arg(position.y())
        .arg(seen().name(), expected.name());
}

/// mismatch() in the middle of the widget.
inline QString mismatch(const QWidget& widget, const QColor& expected)
{
    return mismatch(widget, widget.rect().center(), expected);
}

} // namespace ScreenPixels
