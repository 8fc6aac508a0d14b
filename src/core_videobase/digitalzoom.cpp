#include "core_videobase/digitalzoom.h"

#include <algorithm>

namespace {

constexpr double limit = 4.0;
constexpr double stepPerTurn = 0.1;

} // namespace

void DigitalZoom::setOn(bool enabled)
{
    on = enabled;
    dragging = false;
    if (!on)
        view = image;
}

QRectF DigitalZoom::normalizedView() const
{
    if (!on || image.isEmpty() || view.isEmpty())
        return {0, 0, 1, 1};
    return {view.x() / image.width(), view.y() / image.height(), view.width() / image.width(),
            view.height() / image.height()};
}

void DigitalZoom::setImageRect(const QRectF& rect)
{
    image = rect;
    if (image.isEmpty())
        return;
    // The pixel around it is for what the clamping to the frame's edges rounds.
    const bool fits = image.adjusted(-1, -1, 1, 1).contains(view);
    if (!on || view.isEmpty() || !fits)
        view = image;
}

void DigitalZoom::clear()
{
    on = false;
    dragging = false;
    view = QRectF();
}

bool DigitalZoom::atLimit() const
{
    return image.width() >= limit * view.width() || image.height() >= limit * view.height();
}

bool DigitalZoom::wheel(int angleDelta)
{
    const int degrees = angleDelta / 8;
    if (view.isEmpty() || (degrees > 0 && atLimit()))
        return false;

    const double step = degrees / 360.0 * stepPerTurn;
    const QPointF center = view.center();
    const double left = view.x() + view.width() * step;
    const double top = view.y() + view.height() * step;
    QRectF next;
    next.setLeft(std::max(left, image.left()));
    next.setTop(std::max(top, image.top()));
    next.setRight(std::min(left + 2 * (center.x() - left), image.right()));
    next.setBottom(std::min(top + 2 * (center.y() - top), image.bottom()));
    if (next.isEmpty()) // a delta of many turns at once
        return false;
    view = next;
    return true;
}

void DigitalZoom::press(const QPoint& position)
{
    dragging = true;
    lastPosition = position;
}

bool DigitalZoom::drag(const QPoint& position, const QSize& size)
{
    if (!dragging || size.isEmpty())
        return false;
    const QPoint moved = position - lastPosition;
    lastPosition = position;
    if (view.isEmpty())
        return false;

    const double x = std::max(0.0, view.x() - view.width() * moved.x() / size.width());
    const double y = std::max(0.0, view.y() - view.height() * moved.y() / size.height());
    const QRectF next(QPointF(x, y), view.size());
    if (next.right() >= image.right() || next.bottom() >= image.bottom())
        return false;
    view = next;
    return true;
}
