#pragma once

#include "core_videobase/graphinfo.h"
#include "core_videobase/osdinfo.h"

#include <QDateTime>
#include <QRegion>

#include <vector>

class QPainter;
struct WidgetPara;

/// How a display widget's overlays are drawn, apart from when and on what.
namespace OverlayPainter {

/// Whether a colour of a WidgetPara means "not set".
bool isTransparent(const QColor& color);

/// A border of @p width around @p area, half of it outside; @p fill, unless transparent, fills the area.
void drawBorder(QPainter* painter, const QRect& area, int width, const QColor& color, const QColor& fill);

/// The background image or text of @p para in @p area.
void drawBackground(QPainter* painter, const QRect& area, const WidgetPara& para);

/// The items in their order; @p area is the widget less its margins, @p now the moment that date and time items show.
void drawOsds(QPainter* painter, const QRect& area, const std::vector<OsdInfo>& osds, const QDateTime& now);

/// Burns the graphs into @p image, which gets a format that can be painted on.
void drawGraphs(QImage* image, const std::vector<GraphInfo>& graphs);

/// The pixels of @p image (Format_ARGB32_Premultiplied) that are not fully transparent.
QRegion paintedRegion(const QImage& image);

} // namespace OverlayPainter
