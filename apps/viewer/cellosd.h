#pragma once

#include "core_videobase/osdinfo.h"

#include <QFont>
#include <QList>
#include <QSize>

/// Composes the on-screen items of a cell. Texts stand on dark plates, because a picture may have any colour.
class CellOsd
{
public:
    enum Place { TopLeft = 0, BottomLeft = 1, TopRight = 2, BottomRight = 3, Centre = 4 };

    /// For a cell of that size in pixels whose items keep @p margin from its edges; @p font gives the family.
    CellOsd(const QSize& cell, int margin, const QFont& font);

    void addText(Place place, const QString& text, const QColor& color);

    /// Date and time, which the display keeps up to date.
    void addClock(Place place);

    /// A red dot and "REC" below the clock.
    void addRecordingMark();

    /// @p text shortened to what fits beside the clock.
    QString besideClock(const QString& text) const;

    QList<OsdInfo> items() const { return list; }

private:
    void addPlate(Place place, const QString& text);
    OsdInfo item(Place place) const;

    const QRect area;
    QFont font;
    QList<OsdInfo> list;
};
