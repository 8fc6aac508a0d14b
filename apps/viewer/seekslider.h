#pragma once

#include <QSlider>

/// A slider whose handle jumps to where it is clicked.
class SeekSlider : public QSlider
{
    Q_OBJECT

public:
    explicit SeekSlider(QWidget* parent = nullptr);

Q_SIGNALS:
    /// The user chose a position, by a click or at the end of dragging.
    void chosen(int value);

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    void follow(const QMouseEvent* event);
};
