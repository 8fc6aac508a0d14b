#pragma once

#include <QIconEngine>
#include <QObject>
#include <QPointer>
#include <QSharedPointer>

class QLabel;
class QSvgRenderer;
class QWidget;

/// An icon whose shape comes from an SVG file and whose colour is, at each painting, the text colour of a widget; black
/// once that widget is gone. Copies share the parsed file.
class SvgIconEngine final : public QIconEngine
{
public:
    SvgIconEngine(const QWidget* colorOf, const QString& fileName);

    /// Whether the file exists and is an SVG file.
    bool isValid() const;

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state) override;
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override;
    QIconEngine* clone() const override;

private:
    QColor color() const;

    QPointer<const QWidget> widget;
    QSharedPointer<QSvgRenderer> renderer;
};

/// Keeps the pixmap of a label drawn in the label's text colour until the label is given something else. A child of
/// the label.
class SvgLabelIcon final : public QObject
{
    Q_OBJECT

public:
    SvgLabelIcon(QLabel* owner, const QIcon& shown);

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void draw();
    bool isShown() const;

    QLabel* label;
    QIcon icon;
    qint64 shownKey = 0;
};
