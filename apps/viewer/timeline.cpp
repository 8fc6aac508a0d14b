#include "timeline.h"

#include "walltime.h"

#include <QApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QWheelEvent>

#include <cmath>
#include <utility>

namespace {

constexpr int flagHeight = 20;
constexpr int rulerHeight = 20;
constexpr int bandHeight = 28;
constexpr int bottomMargin = 6;
constexpr int flagMargin = 6;
constexpr int labelDistance = 74; // pixels
constexpr int partsOfStep = 5; // small marks between two written ones
constexpr int narrowestSpan = 2; // pixels
constexpr double zoomOfNotch = 1.35;
constexpr int panOfNotch = 60; // pixels
constexpr int reachOfCursor = 5; // pixels
constexpr int notch = 120; // eighths of a degree

const QColor background("#15191E");
const QColor bandColor("#0C0F12");
const QColor lineColor("#333B45");
const QColor smallLineColor("#262D35");
const QColor textColor("#8792A0");
const QColor recordedColor("#22A3A9");
const QColor selectedColor(242, 193, 78, 90);
const QColor selectedEdge("#F2C14E");
const QColor pointerColor("#4A545F");
const QColor cursorColor("#FFFFFF");

QString timeText(qint64 time, qint64 dayEnd)
{
    return time == dayEnd ? QString("24:00:00") : WallTime::text(time, "HH:mm:ss");
}

} // namespace

Timeline::Timeline(QWidget* parent)
    : QWidget(parent)
{
    setObjectName("timeline");
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setAccessibleName(tr("Time line"));
    setDay(QDate::currentDate());
}

QSize Timeline::sizeHint() const { return {320, flagHeight + rulerHeight + bandHeight + bottomMargin}; }

QRect Timeline::band() const { return {0, flagHeight + rulerHeight, width(), bandHeight}; }

void Timeline::setDay(const QDate& date)
{
    const qint64 begin = WallTime::startOf(date);
    if (begin == shown.dayBegin())
        return;
    shown.setDay(begin);
    spans.clear();
    cursorTime.reset();
    clearSelection();
    update();
}

void Timeline::setRecordings(const QVector<RecordedSpan>& recordings)
{
    spans = recordings;
    update();
}

void Timeline::setCursorTime(std::optional<qint64> time)
{
    if (time == cursorTime || drag == Drag::Cursor)
        return;
    const bool wasSeen = !cursorTime || isCursorSeen();
    cursorTime = time;
    if (time && wasSeen && drag == Drag::None)
        shown.show(*time);
    update();
}

std::optional<RecordedSpan> Timeline::selection() const { return selected; }

void Timeline::clearSelection() { setSelection(std::nullopt); }

void Timeline::setSelection(std::optional<RecordedSpan> period)
{
    if (period == selected)
        return;
    selected = period;
    update();
    Q_EMIT selectionChanged();
}

void Timeline::zoom(double factor)
{
    shown.zoom(factor, isCursorSeen() ? shown.position(*cursorTime) : width() / 2.0);
    update();
}

bool Timeline::isCursorSeen() const
{
    return cursorTime && *cursorTime >= shown.begin() && *cursorTime <= shown.end();
}

void Timeline::showWholeDay()
{
    shown.setDay(shown.dayBegin());
    update();
}

void Timeline::resizeEvent(QResizeEvent*) { shown.setWidth(width()); }

void Timeline::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.fillRect(rect(), background);
    painter.fillRect(band(), bandColor);
    paintRuler(painter);
    paintRecordings(painter);
    paintSelection(painter);
    paintPointer(painter);
    paintCursor(painter);
}

void Timeline::paintRuler(QPainter& painter) const
{
    const qint64 step = shown.markStep(labelDistance);
    painter.setPen(smallLineColor);
    for (qint64 mark : shown.marks(qMax<qint64>(1, step / partsOfStep))) {
        const int x = qRound(shown.position(mark));
        painter.drawLine(x, band().top() - 4, x, band().bottom());
    }
    for (qint64 mark : shown.marks(step)) {
        const int x = qRound(shown.position(mark));
        painter.setPen(lineColor);
        painter.drawLine(x, band().top() - 7, x, band().bottom());
        const QString text = timeText(mark, shown.dayEnd()).left(step < WallTime::minute ? 8 : 5);
        const int textWidth = painter.fontMetrics().horizontalAdvance(text);
        const int left = qBound(3, x - textWidth / 2, qMax(3, width() - textWidth - 3));
        painter.setPen(textColor);
        painter.drawText(QRect(left, flagHeight, textWidth + 1, rulerHeight - 7), Qt::AlignCenter, text);
    }
}

void Timeline::paintRecordings(QPainter& painter) const
{
    const QRect line = band().adjusted(0, 3, 0, -3);
    for (const RecordedSpan& span : spans) {
        const qint64 begin = qMax(span.begin, shown.dayBegin());
        const qint64 end = qMin(span.end, shown.dayEnd());
        if (end <= shown.begin() || begin >= shown.end())
            continue;
        const int left = int(std::floor(qMax(-1.0, shown.position(begin))));
        const int right = int(std::ceil(qMin(width() + 1.0, shown.position(end))));
        painter.fillRect(left, line.top(), qMax(narrowestSpan, right - left), line.height(), recordedColor);
    }
}

void Timeline::paintSelection(QPainter& painter) const
{
    if (!selected)
        return;
    const int left = qRound(shown.position(selected->begin));
    const int right = qRound(shown.position(selected->end));
    painter.fillRect(QRect(left, band().top(), right - left, band().height()), selectedColor);
    painter.setPen(selectedEdge);
    painter.drawLine(left, band().top(), left, band().bottom());
    painter.drawLine(right, band().top(), right, band().bottom());
}

void Timeline::paintPointer(QPainter& painter) const
{
    if (!pointer)
        return;
    painter.setPen(pointerColor);
    painter.drawLine(*pointer, flagHeight, *pointer, band().bottom());
    paintFlag(painter, shown.time(*pointer), pointerColor, Qt::white);
}

void Timeline::paintCursor(QPainter& painter) const
{
    if (!isCursorSeen())
        return;
    const int x = qRound(shown.position(*cursorTime));
    painter.fillRect(x - 1, flagHeight, 2, band().bottom() + 3 - flagHeight, cursorColor);
    paintFlag(painter, *cursorTime, cursorColor, background);
}

void Timeline::paintFlag(QPainter& painter, qint64 time, const QColor& fill, const QColor& ink) const
{
    const QString text = timeText(time, shown.dayEnd());
    const int flagWidth = painter.fontMetrics().horizontalAdvance(text) + 2 * flagMargin;
    const int left = qBound(0, qRound(shown.position(time)) - flagWidth / 2, qMax(0, width() - flagWidth));
    const QRect flag(left, 1, flagWidth, flagHeight - 2);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(fill);
    painter.drawRoundedRect(flag, 3, 3);
    painter.setPen(ink);
    painter.drawText(flag, Qt::AlignCenter, text);
    painter.restore();
}

void Timeline::wheelEvent(QWheelEvent* event)
{
    const QPoint turned = event->angleDelta();
    if (qAbs(turned.x()) > qAbs(turned.y()))
        shown.pan(double(turned.x()) / notch * panOfNotch);
    else
        shown.zoom(std::pow(zoomOfNotch, double(turned.y()) / notch), event->position().x());
    event->accept();
    update();
}

void Timeline::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return;
    drag = Drag::Click;
    pressedAt = event->pos();
    draggedTo = pressedAt.x();
}

void Timeline::mouseMoveEvent(QMouseEvent* event)
{
    const int x = event->pos().x();
    pointer = x;
    if (drag == Drag::Click && qAbs(x - pressedAt.x()) >= QApplication::startDragDistance())
        drag = dragFrom(*event);
    dragTo(x);
    update();
}

Timeline::Drag Timeline::dragFrom(const QMouseEvent& event) const
{
    if (event.modifiers() & Qt::ShiftModifier)
        return Drag::Select;
    const bool isAtCursor = isCursorSeen() && qAbs(shown.position(*cursorTime) - pressedAt.x()) <= reachOfCursor;
    return isAtCursor ? Drag::Cursor : Drag::Pan;
}

void Timeline::dragTo(int x)
{
    switch (drag) {
    case Drag::None:
    case Drag::Click:
        break;
    case Drag::Pan:
        shown.pan(x - draggedTo);
        draggedTo = x;
        break;
    case Drag::Select:
        setSelection(RecordedSpan{qMin(shown.time(pressedAt.x()), shown.time(x)),
                                  qMax(shown.time(pressedAt.x()), shown.time(x))});
        break;
    case Drag::Cursor:
        cursorTime = shown.time(x);
    }
}

void Timeline::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return;
    const Drag done = std::exchange(drag, Drag::None);
    if (done == Drag::Click && event->modifiers() & Qt::ShiftModifier)
        clearSelection();
    else if (done == Drag::Click || done == Drag::Cursor)
        Q_EMIT chosen(qMin(shown.time(event->pos().x()), shown.dayEnd() - 1));
}

void Timeline::leaveEvent(QEvent*)
{
    pointer.reset();
    update();
}
