#pragma once

#include <QColor>
#include <QImage>
#include <QMetaType>
#include <QPoint>
#include <QString>

/// A text or image shown over the picture of a display widget, on the screen only.
struct OsdInfo
{
    QString name; ///< key of the item
    int visible = 1; ///< drawn only when not 0
    int fontSize = 15; ///< in pixels
    QString text;
    QColor color{Qt::red};
    QImage image; ///< shown by format 4
    QPoint point; ///< in widget pixels, for position 255; a text's base line begins there
    int format = 0; ///< 1 date, 2 time, 3 date and time of the current moment, 4 the image, otherwise the text
    int position = 0; ///< 0 top left, 1 bottom left, 2 top right, 3 bottom right, 4 centre, 255 at the point
};
Q_DECLARE_METATYPE(OsdInfo)
