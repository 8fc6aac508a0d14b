#include "core_d3d/nv12d3d11widget.h"

#include "core_d3d/d3d11presenter.h"

#include <QThread>

Nv12D3D11Widget::Nv12D3D11Widget(QWidget* parent)
    : QWidget(parent)
    , presenter(std::make_unique<D3D11Presenter>())
{
    setAttribute(Qt::WA_NativeWindow);
    setAttribute(Qt::WA_PaintOnScreen);
    setAttribute(Qt::WA_NoSystemBackground);
    setAttribute(Qt::WA_OpaquePaintEvent);
    redrawTimer.setSingleShot(true);
    redrawTimer.setInterval(0);
    connect(&redrawTimer, &QTimer::timeout, this, [this] { presenter->redraw(); });
}

Nv12D3D11Widget::~Nv12D3D11Widget() = default;

void Nv12D3D11Widget::setViewRect(const QRectF& pixels)
{
    Q_ASSERT(QThread::currentThread() == thread());
    if (viewRect == pixels)
        return;
    viewRect = pixels;
    presenter->setViewRect({pixels.x(), pixels.y(), pixels.width(), pixels.height()});
    redrawTimer.start();
}

QPaintEngine* Nv12D3D11Widget::paintEngine() const { return nullptr; }

void Nv12D3D11Widget::clear()
{
    Q_ASSERT(QThread::currentThread() == thread());
    redrawTimer.stop();
    viewRect = QRectF();
    presenter->clear();
}

void Nv12D3D11Widget::updateFrame(int width, int height, ID3D11Texture2D* texture, int index, bool rebuild)
{
    Q_ASSERT(QThread::currentThread() == thread());
    redrawTimer.stop();
    presenter->setWindow(reinterpret_cast<HWND>(winId())); // another one after a change of parents
    presenter->updateFrame(width, height, texture, index, rebuild);
}

void Nv12D3D11Widget::paintEvent(QPaintEvent* event)
{
    setParentUpdatesEnabled(false);
    QWidget::paintEvent(event);
}

void Nv12D3D11Widget::showEvent(QShowEvent* event)
{
    setParentUpdatesEnabled(true);
    QWidget::showEvent(event);
}

void Nv12D3D11Widget::setParentUpdatesEnabled(bool enabled)
{
    if (parentWidget())
        parentWidget()->setUpdatesEnabled(enabled);
}
