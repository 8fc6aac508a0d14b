#include "seekslider.h"

#include <QMouseEvent>
#include <QStyle>

SeekSlider::SeekSlider(QWidget* parent)
    : QSlider(Qt::Horizontal, parent)
{
    setFocusPolicy(Qt::NoFocus);
    setRange(0, 0);
}

void SeekSlider::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return;
    setSliderDown(true);
    follow(event);
}

void SeekSlider::mouseMoveEvent(QMouseEvent* event)
{
    if (isSliderDown())
        follow(event);
}

void SeekSlider::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || !isSliderDown())
        return;
    follow(event);
    setSliderDown(false);
    Q_EMIT chosen(value());
}

void SeekSlider::follow(const QMouseEvent* event)
{
    setValue(QStyle::sliderValueFromPosition(minimum(), maximum(), event->pos().x(), width()));
}
