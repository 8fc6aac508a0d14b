#include "cellosd.h"

#include <QFontMetrics>
#include <QPainter>
#include <QStyle>

namespace {

constexpr int dateAndTime = 3; // format of a running clock
constexpr int picture = 4; // format of an image
constexpr int atPoint = 255; // position
constexpr QSize padding{6, 2}; // pixels around a text
constexpr int gap = 10;
const QColor plateColor("#12161A");
const QColor recordingColor("#FF3B30");
const QString clockSample("0000-00-00 00:00:00");

Qt::Alignment alignmentOf(CellOsd::Place place)
{
    switch (place) {
    case CellOsd::TopLeft:
        return Qt::AlignLeft | Qt::AlignTop;
    case CellOsd::BottomLeft:
        return Qt::AlignLeft | Qt::AlignBottom;
    case CellOsd::TopRight:
        return Qt::AlignRight | Qt::AlignTop;
    case CellOsd::BottomRight:
        return Qt::AlignRight | Qt::AlignBottom;
    case CellOsd::Centre:
        break;
    }
    return Qt::AlignCenter;
}

QImage plate(const QSize& size)
{
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(plateColor);
    painter.drawRoundedRect(image.rect(), 3, 3);
    return image;
}

} // namespace

CellOsd::CellOsd(const QSize& cell, int margin, const QFont& family)
    : area(QRect(QPoint(), cell).adjusted(margin, margin, -margin, -margin))
    , font(family)
{
    font.setPixelSize(qBound(11, cell.height() / 24, 20));
}

void CellOsd::addText(Place place, const QString& text, const QColor& color)
{
    addPlate(place, text);
    OsdInfo osd = item(place);
    osd.text = text;
    osd.color = color;
    list.append(osd);
}

void CellOsd::addClock(Place place)
{
    addPlate(place, clockSample);
    OsdInfo osd = item(place);
    osd.format = dateAndTime;
    osd.color = Qt::white;
    list.append(osd);
}

void CellOsd::addRecordingMark()
{
    const QString text("REC");
    const QSize textSize = QFontMetrics(font).size(0, text);
    const int dot = textSize.height() * 2 / 3;
    OsdInfo osd;
    osd.name = "recording";
    osd.image = plate(QSize(dot + padding.width() + textSize.width(), textSize.height()) + 2 * padding);
    osd.format = picture;
    osd.position = atPoint;
    osd.point
        = QPoint(area.right() + 1 + padding.width() - osd.image.width(), area.top() + osd.image.height() + gap / 2);

    QPainter painter(&osd.image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(recordingColor);
    painter.drawEllipse(padding.width(), (osd.image.height() - dot) / 2, dot, dot);
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.drawText(osd.image.rect().adjusted(0, 0, -padding.width(), 0), Qt::AlignRight | Qt::AlignVCenter, text);
    painter.end();
    list.append(osd);
}

QString CellOsd::besideClock(const QString& text) const
{
    const QFontMetrics metrics(font);
    const int room = area.width() - metrics.horizontalAdvance(clockSample) - 2 * padding.width() - gap;
    return metrics.elidedText(text, Qt::ElideMiddle, room);
}

void CellOsd::addPlate(Place place, const QString& text)
{
    const QSize textSize = QFontMetrics(font).size(0, text);
    const QRect textRect = QStyle::alignedRect(Qt::LeftToRight, alignmentOf(place), textSize, area);
    OsdInfo osd = item(place);
    osd.name = "plate" + osd.name;
    osd.image = plate(textSize + 2 * padding);
    osd.point = textRect.topLeft() - QPoint(padding.width(), padding.height());
    osd.format = picture;
    osd.position = atPoint;
    list.append(osd);
}

OsdInfo CellOsd::item(Place place) const
{
    OsdInfo osd;
    osd.name = QString::number(place);
    osd.fontSize = font.pixelSize();
    osd.position = place;
    return osd;
}
