#pragma once

#include <QVector>

/// Which part of a day a time line shows, and where on it a time lies. Pixels are from the left edge; times as WallTime
/// counts them. A plain value.
class TimelineScale
{
public:
    static constexpr qint64 shortestLength = 60000; ///< milliseconds that can be seen at least

    /// Shows the whole day that begins at @p begin.
    void setDay(qint64 begin);
    void setWidth(int pixels);

    qint64 dayBegin() const { return firstOfDay; }
    qint64 dayEnd() const;

    /// The part that is seen.
    qint64 begin() const { return firstSeen; }
    qint64 end() const { return firstSeen + length; }
    bool isWholeDay() const;

    double position(qint64 time) const;

    /// Within the day.
    qint64 time(double position) const;

    /// Shows @p factor times as much detail, or less below 1; what is at @p position stays there if the day is long
    /// enough.
    void zoom(double factor, double position);

    /// Moves what is seen to the right by so many pixels, as far as the day goes.
    void pan(double pixels);

    /// Moves the part that is seen, if it has to, so that @p time of this day is in it.
    void show(qint64 time);

    /// Milliseconds between two marks of the ruler that are at least @p pixels apart.
    qint64 markStep(int pixels) const;

    /// The marks of the ruler that are seen.
    QVector<qint64> marks(qint64 step) const;

private:
    void setBegin(qint64 begin);

    qint64 firstOfDay = 0;
    qint64 firstSeen = 0;
    qint64 length = 24 * 3600 * 1000;
    int width = 1;
};
