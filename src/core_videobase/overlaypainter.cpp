#include "core_videobase/overlaypainter.h"

#include "core_videobase/fittedrect.h"
#include "core_videobase/widgetpara.h"

#include <QPainter>

namespace {

enum OsdFormat { OsdDate = 1, OsdTime = 2, OsdDateTime = 3, OsdImage = 4 };
enum OsdPosition { TopLeft = 0, BottomLeft = 1, TopRight = 2, BottomRight = 3, Center = 4, AtPoint = 255 };

constexpr int bgImageInset = 2;

QString textOf(const OsdInfo& osd, const QDateTime& now)
{
    switch (osd.format) {
    case OsdDate:
        return now.toString("yyyy-MM-dd");
    case OsdTime:
        return now.toString("HH:mm:ss");
    case OsdDateTime:
        return now.toString("yyyy-MM-dd HH:mm:ss");
    default:
        return osd.text;
    }
}

/// Where an item goes. Positions that are not known keep what the item before had, hence one object for all items.
struct Placement
{
    QPoint anchor; // top left corner of an image
    Qt::Alignment alignment; // of a text in the area

    void moveTo(const OsdInfo& osd, const QRect& area)
    {
        // The far sides go by the area's width and height, not by its right and bottom edges.
        const int right = area.width() - osd.image.width();
        const int bottom = area.height() - osd.image.height();
        switch (osd.position) {
        case TopLeft:
            set({area.x(), area.y()}, Qt::AlignLeft | Qt::AlignTop);
            break;
        case BottomLeft:
            set({area.x(), bottom}, Qt::AlignLeft | Qt::AlignBottom);
            break;
        case TopRight:
            set({right, area.y()}, Qt::AlignRight | Qt::AlignTop);
            break;
        case BottomRight:
            set({right, bottom}, Qt::AlignRight | Qt::AlignBottom);
            break;
        case Center:
            set({area.width() / 2 - osd.image.width() / 2, area.height() / 2 - osd.image.height() / 2},
                Qt::AlignCenter);
            break;
        case AtPoint:
            anchor = osd.point;
            break;
        default:
            break;
        }
    }

    void set(const QPoint& point, Qt::Alignment textAlignment)
    {
        anchor = point;
        alignment = textAlignment;
    }
};

void drawText(QPainter* painter, const QRect& area, const OsdInfo& osd, const Placement& placement,
              const QDateTime& now)
{
    QFont font = painter->font();
    if (osd.fontSize > 0)
        font.setPixelSize(osd.fontSize);
    painter->setFont(font);
    painter->setPen(osd.color);
    const QString text = textOf(osd, now);
    if (osd.position == AtPoint)
        painter->drawText(placement.anchor, text);
    else
        painter->drawText(area, int(placement.alignment), text);
}

bool canBePaintedOn(const QImage& image)
{
    const QPixelFormat format = image.pixelFormat();
    return format.colorModel() != QPixelFormat::Indexed && image.depth() > 8;
}

void drawGraph(QPainter* painter, const GraphInfo& graph)
{
    painter->setPen(QPen(graph.borderColor, graph.borderWidth));
    if (!graph.rect.isEmpty())
        painter->drawRect(graph.rect);
    if (!graph.path.isEmpty())
        painter->drawPath(graph.path);
    if (!graph.points.isEmpty())
        painter->drawPoints(QPolygon(graph.points.toVector()));
}

} // namespace

bool OverlayPainter::isTransparent(const QColor& color) { return !color.isValid() || color.alpha() == 0; }

void OverlayPainter::drawBorder(QPainter* painter, const QRect& area, int width, const QColor& color,
                                const QColor& fill)
{
    painter->save();
    painter->setPen(width > 0 ? QPen(color, width, Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin) : QPen(Qt::NoPen));
    painter->setBrush(isTransparent(fill) ? QBrush(Qt::NoBrush) : QBrush(fill, Qt::SolidPattern));
    painter->drawRect(area);
    painter->restore();
}

void OverlayPainter::drawBackground(QPainter* painter, const QRect& area, const WidgetPara& para)
{
    painter->save();
    if (para.bgImage.isNull()) {
        QFont font = painter->font();
        if (para.bgTextSize > 0)
            font.setPixelSize(para.bgTextSize);
        painter->setFont(font);
        painter->setPen(para.textColor);
        painter->drawText(area, Qt::AlignCenter, para.bgText);
    } else {
        painter->drawImage(fittedRect(para.bgImage.size(), area, bgImageInset, ScaleMode_Auto), para.bgImage);
    }
    painter->restore();
}

void OverlayPainter::drawOsds(QPainter* painter, const QRect& area, const std::vector<OsdInfo>& osds,
                              const QDateTime& now)
{
    Placement placement{area.topLeft(), Qt::AlignLeft | Qt::AlignTop};
    for (const OsdInfo& osd : osds) {
        if (osd.visible == 0)
            continue;
        painter->save();
        placement.moveTo(osd, area);
        if (osd.format == OsdImage)
            painter->drawImage(placement.anchor, osd.image);
        else
            drawText(painter, area, osd, placement, now);
        painter->restore();
    }
}

void OverlayPainter::drawGraphs(QImage* image, const std::vector<GraphInfo>& graphs)
{
    if (image->isNull() || graphs.empty())
        return;
    if (!canBePaintedOn(*image))
        *image = image->convertToFormat(QImage::Format_ARGB32_Premultiplied);
    QPainter painter(image);
    painter.setRenderHint(QPainter::Antialiasing);
    // Graphs have the coordinates of the frame, also where the image is a shrunk one. Painters leave ratios below 1
    // alone.
    const qreal ratio = qMin(image->devicePixelRatio(), 1.0);
    painter.scale(ratio, ratio);
    for (const GraphInfo& graph : graphs)
        drawGraph(&painter, graph);
}

QRegion OverlayPainter::paintedRegion(const QImage& image)
{
    QVector<QRect> runs; // line by line, as QRegion wants them
    for (int y = 0; y < image.height(); ++y) {
        const auto* line = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            if (qAlpha(line[x]) == 0)
                continue;
            const int begin = x;
            while (x < image.width() && qAlpha(line[x]) != 0)
                ++x;
            runs.append({begin, y, x - begin, 1});
        }
    }
    QRegion region;
    region.setRects(runs.constData(), runs.size());
    return region;
}
