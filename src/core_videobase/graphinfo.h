#pragma once

#include <QColor>
#include <QList>
#include <QMetaType>
#include <QPainterPath>
#include <QPoint>
#include <QRect>
#include <QString>

/// A shape that a display widget burns into the images it paints itself. Coordinates are pixels of the source picture.
struct GraphInfo
{
    QString name; ///< key of the shape
    int borderWidth = 1; ///< pen width in pixels
    QColor borderColor{Qt::red};
    QColor bgColor{Qt::transparent}; ///< the host's own; shapes are outlines
    QRect rect; ///< drawn when not empty
    QPainterPath path; ///< drawn when not empty
    QList<QPoint> points; ///< drawn when there are any
};
Q_DECLARE_METATYPE(GraphInfo)
