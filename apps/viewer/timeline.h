#pragma once

#include "recordinglist.h"
#include "timelinescale.h"

#include <QWidget>

#include <optional>

/// A day with its recordings: the recorded times are filled, a cursor stands at the moment that is shown.
///
/// A click chooses a moment, and so does dragging the cursor. The wheel zooms, dragging elsewhere moves what is seen,
/// dragging with Shift selects a period and a click with Shift forgets it. The time under the pointer is written above
/// the line.
class Timeline : public QWidget
{
    Q_OBJECT

public:
    explicit Timeline(QWidget* parent = nullptr);

    /// Another day is shown as a whole, without a selection; the same day stays as it is.
    void setDay(const QDate& date);
    void setRecordings(const QVector<RecordedSpan>& recordings);
    bool hasRecordings() const { return !spans.isEmpty(); }

    /// None while there is no moment to show. A moment that leaves the part that is seen takes it along.
    void setCursorTime(std::optional<qint64> time);

    /// What was selected with the mouse; none when nothing is.
    std::optional<RecordedSpan> selection() const;
    void clearSelection();

    /// Around the cursor while that is seen, else around the middle.
    void zoom(double factor);
    void showWholeDay();

    const TimelineScale& scale() const { return shown; }

    /// The part of the widget in which recordings are drawn.
    QRect band() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

Q_SIGNALS:
    void chosen(qint64 time);
    void selectionChanged();

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    enum class Drag { None, Click, Pan, Select, Cursor };

    Drag dragFrom(const QMouseEvent& event) const;
    void dragTo(int x);
    bool isCursorSeen() const;
    void paintRuler(QPainter& painter) const;
    void paintRecordings(QPainter& painter) const;
    void paintSelection(QPainter& painter) const;
    void paintPointer(QPainter& painter) const;
    void paintCursor(QPainter& painter) const;
    void paintFlag(QPainter& painter, qint64 time, const QColor& fill, const QColor& ink) const;
    void setSelection(std::optional<RecordedSpan> period);

    TimelineScale shown;
    QVector<RecordedSpan> spans; ///< of the day
    std::optional<qint64> cursorTime;
    std::optional<RecordedSpan> selected;
    Drag drag = Drag::None;
    QPoint pressedAt;
    int draggedTo = 0;
    std::optional<int> pointer; ///< while the mouse is over the line
};
