#include "core_videobase/fittedrect.h"

namespace {

QSize fittedSize(const QSize& source, const QSize& available, ScaleMode mode)
{
    const bool fits = source.width() <= available.width() && source.height() <= available.height();
    if (mode == ScaleMode_Auto && fits)
        return source;
    if (mode == ScaleMode_Auto || mode == ScaleMode_Aspect)
        return source.scaled(available, Qt::KeepAspectRatio);
    return available;
}

int odd(int coordinate) { return coordinate % 2 == 0 ? coordinate + 1 : coordinate; }

} // namespace

QRect fittedRect(const QSize& source, const QRect& area, int borderWidth, ScaleMode mode)
{
    const QSize size = fittedSize(source, area.size() - QSize(borderWidth, borderWidth), mode);
    const QPoint center = area.center();
    return {QPoint(odd(center.x() - size.width() / 2), odd(center.y() - size.height() / 2)), size};
}
