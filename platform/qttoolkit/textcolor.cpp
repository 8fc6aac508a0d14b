#include "qttoolkit/textcolor.h"

#include <QPaintDevice>
#include <QPaintEngine>
#include <QPainter>
#include <QPushButton>
#include <QStyleOptionButton>

namespace {

constexpr int probeSize = 64;

// Draws nothing and remembers the pen of the last text.
class TextColorEngine final : public QPaintEngine
{
public:
    TextColorEngine()
        : QPaintEngine(AllFeatures)
    {
    }

    bool begin(QPaintDevice*) override { return true; }
    bool end() override { return true; }
    Type type() const override { return User; }
    void drawPixmap(const QRectF&, const QPixmap&, const QRectF&) override { }

    void updateState(const QPaintEngineState& now) override
    {
        if (now.state() & DirtyPen)
            pen = now.pen().color();
    }

    void drawTextItem(const QPointF&, const QTextItem&) override { color = pen; }

    QColor color;

private:
    QColor pen;
};

class TextColorDevice final : public QPaintDevice
{
public:
    QPaintEngine* paintEngine() const override { return &engine; }
    QColor color() const { return engine.color; }

protected:
    int metric(PaintDeviceMetric metric) const override
    {
        switch (metric) {
        case PdmWidth:
        case PdmHeight:
            return probeSize;
        case PdmDpiX:
        case PdmDpiY:
        case PdmPhysicalDpiX:
        case PdmPhysicalDpiY:
            return 96;
        case PdmDepth:
            return 32;
        case PdmDevicePixelRatio:
            return 1;
        case PdmDevicePixelRatioScaled:
            return qRound(devicePixelRatioFScale());
        default:
            return 0;
        }
    }

private:
    mutable TextColorEngine engine; // the base class asks for it from a const method
};

QStyleOptionButton textOption(const QPushButton* button)
{
    QStyleOptionButton option;
    option.initFrom(button);
    option.rect = QRect(0, 0, probeSize, probeSize);
    option.state |= button->isChecked() ? QStyle::State_On : QStyle::State_Off;
    option.state |= button->isDown() ? QStyle::State_Sunken : QStyle::State_Raised;
    option.text = "x";
    return option;
}

QColor drawnTextColor(const QPushButton* button)
{
    TextColorDevice device;
    const QStyleOptionButton option = textOption(button);
    {
        QPainter painter(&device);
        button->style()->drawControl(QStyle::CE_PushButtonLabel, &option, &painter, button);
    }
    return device.color();
}

} // namespace

QColor currentTextColor(const QWidget* widget)
{
    widget->ensurePolished();
    if (const auto* button = qobject_cast<const QPushButton*>(widget)) {
        const QColor drawn = drawnTextColor(button);
        if (drawn.isValid())
            return drawn;
    }
    return widget->palette().color(widget->foregroundRole());
}
