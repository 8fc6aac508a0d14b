#pragma once

#include <QPoint>
#include <QRectF>
#include <QSize>

/// The part of the source frame that a display shows: all of it, or what wheel and dragging have chosen.
///
/// Both rectangles are in source pixels. While zoom is off the view is the whole frame. GUI thread only.
class DigitalZoom
{
public:
    bool isOn() const { return on; }
    /// Off shows the whole frame again.
    void setOn(bool enabled);

    QRectF viewRect() const { return view; }

    /// The view in 0..1 of the frame, as the OpenGL renderers take it. The unit square without a view.
    QRectF normalizedView() const;

    /// The frame to be shown. An empty one leaves the view alone, for a decoder that is made anew.
    void setImageRect(const QRectF& rect);

    /// Off and without a view.
    void clear();

    /// @p angleDelta as in QWheelEvent, in eighths of a degree; positive enlarges. True when the view changed.
    bool wheel(int angleDelta);

    void press(const QPoint& position);
    /// Moves the picture with the pointer over a display of @p size pixels. True when the view changed.
    bool drag(const QPoint& position, const QSize& size);
    void release() { dragging = false; }

private:
    bool atLimit() const;

    bool on = false;
    bool dragging = false;
    QPoint lastPosition;
    QRectF image;
    QRectF view;
};
