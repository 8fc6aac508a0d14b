#pragma once

#include <QCalendarWidget>
#include <QSet>

/// A calendar in which the days that have recordings stand out.
class RecordingCalendar : public QCalendarWidget
{
    Q_OBJECT

public:
    explicit RecordingCalendar(QWidget* parent = nullptr);

    /// Of the days that are seen, those that have recordings.
    void setRecordedDays(const QSet<QDate>& days);
    bool isRecorded(const QDate& day) const { return recorded.contains(day); }

    /// What can be seen of other months, too.
    QDate firstShownDay() const;
    QDate lastShownDay() const;

    /// Chooses a day without selectionChanged().
    void showDay(const QDate& day);

protected:
    void paintCell(QPainter* painter, const QRect& rect, const QDate& date) const override;

private:
    void setMonthIcon(const QString& button, const QString& icon);

    QSet<QDate> recorded;
};
