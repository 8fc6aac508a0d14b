#include "recordingcalendar.h"

#include "qttoolkit/quihelper.h"

#include <QPainter>
#include <QSignalBlocker>
#include <QTextCharFormat>
#include <QToolButton>

namespace {

constexpr int weeks = 6;
constexpr int daysOfWeek = 7;
constexpr int markHeight = 3;
constexpr int rowHeight = 26; // of seven, below the bar
constexpr int barHeight = 34;

const QColor recordedText("#E9EEF3");
const QColor recordedMark("#22A3A9");
const QColor otherText("#66707C");
const QColor otherMonthText("#3F4750");
const QColor selectedFill("#1D4B50");
const QColor todayEdge("#5F6A76");

} // namespace

RecordingCalendar::RecordingCalendar(QWidget* parent)
    : QCalendarWidget(parent)
{
    setObjectName("calendar");
    setVerticalHeaderFormat(QCalendarWidget::NoVerticalHeader);
    setHorizontalHeaderFormat(QCalendarWidget::ShortDayNames);
    setAccessibleName(tr("Calendar"));
    setMinimumHeight(barHeight + (weeks + 1) * rowHeight);
    setMonthIcon("qt_calendar_prevmonth", ":/viewer/monthback.svg");
    setMonthIcon("qt_calendar_nextmonth", ":/viewer/monthon.svg");
    QTextCharFormat plain; // days of the weekend are days like others
    plain.setForeground(otherText);
    setHeaderTextFormat(plain);
    for (Qt::DayOfWeek day : {Qt::Saturday, Qt::Sunday})
        setWeekdayTextFormat(day, plain);
}

// The buttons are the calendar's own; where it has none of that name, it keeps its look.
void RecordingCalendar::setMonthIcon(const QString& button, const QString& icon)
{
    if (auto* found = findChild<QToolButton*>(button))
        QUIHelper::setSvgIcon(found, icon);
}

void RecordingCalendar::setRecordedDays(const QSet<QDate>& days)
{
    recorded = days;
    updateCells();
}

// A month that begins with the first day of the week has a week of the month before above it.
QDate RecordingCalendar::firstShownDay() const { return QDate(yearShown(), monthShown(), 1).addDays(-daysOfWeek); }

QDate RecordingCalendar::lastShownDay() const { return firstShownDay().addDays((weeks + 1) * daysOfWeek); }

void RecordingCalendar::showDay(const QDate& day)
{
    const QSignalBlocker blocker(this);
    setSelectedDate(day);
}

void RecordingCalendar::paintCell(QPainter* painter, const QRect& rect, const QDate& date) const
{
    const bool isOfMonth = date.month() == monthShown();
    const QRect cell = rect.adjusted(2, 1, -2, -1);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(Qt::NoPen);
    if (date == selectedDate()) {
        painter->setBrush(selectedFill);
        painter->drawRoundedRect(cell, 4, 4);
    }
    if (date == QDate::currentDate()) {
        painter->setPen(todayEdge);
        painter->setBrush(Qt::NoBrush);
        painter->drawRoundedRect(cell, 4, 4);
    }
    QFont font = painter->font();
    font.setBold(isRecorded(date));
    painter->setFont(font);
    painter->setPen(isRecorded(date) ? recordedText : isOfMonth ? otherText : otherMonthText);
    painter->drawText(cell.adjusted(0, 0, 0, -markHeight), Qt::AlignCenter, QString::number(date.day()));
    if (isRecorded(date)) {
        const QRect mark(cell.center().x() - 7, cell.bottom() - markHeight - 1, 15, markHeight);
        painter->fillRect(mark, recordedMark);
    }
    painter->restore();
}
