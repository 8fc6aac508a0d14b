#include "core_d3d/nv12d3d9widget.h"

#include "core_d3d/d3d9presenter.h"

#include <QThread>

Nv12D3D9Widget::Nv12D3D9Widget(QWidget* parent)
    : QWidget(parent)
    , presenter(std::make_unique<D3D9Presenter>())
{
    setAttribute(Qt::WA_NativeWindow);
    setAttribute(Qt::WA_PaintOnScreen);
    setAttribute(Qt::WA_NoSystemBackground);
    setAttribute(Qt::WA_OpaquePaintEvent);
    redrawTimer.setSingleShot(true);
    redrawTimer.setInterval(0);
    connect(&redrawTimer, &QTimer::timeout, this, [this] { presenter->redraw(); });
}

Nv12D3D9Widget::~Nv12D3D9Widget() = default;

void Nv12D3D9Widget::setViewRect(const QRectF& pixels)
{
    Q_ASSERT(QThread::currentThread() == thread());
    if (viewRect == pixels)
        return;
    viewRect = pixels;
    presenter->setViewRect({pixels.x(), pixels.y(), pixels.width(), pixels.height()});
    redrawTimer.start();
}

QPaintEngine* Nv12D3D9Widget::paintEngine() const { return nullptr; }

void Nv12D3D9Widget::clear()
{
    Q_ASSERT(QThread::currentThread() == thread());
    redrawTimer.stop();
    viewRect = QRectF();
    presenter->clear();
}

void Nv12D3D9Widget::updateFrame(int width, int height, IDirect3DSurface9* surface)
{
    Q_ASSERT(QThread::currentThread() == thread());
    redrawTimer.stop();
    presenter->setWindow(reinterpret_cast<HWND>(winId())); // another one after a change of parents
    presenter->updateFrame(width, height, surface);
}

void Nv12D3D9Widget::paintEvent(QPaintEvent* event)
{
    setParentUpdatesEnabled(false);
    QWidget::paintEvent(event);
}

void Nv12D3D9Widget::resizeEvent(QResizeEvent* event)
{
    presenter->windowResized();
    QWidget::resizeEvent(event);
}

void Nv12D3D9Widget::showEvent(QShowEvent* event)
{
    setParentUpdatesEnabled(true);
    QWidget::showEvent(event);
}

void Nv12D3D9Widget::setParentUpdatesEnabled(bool enabled)
{
    if (parentWidget())
        parentWidget()->setUpdatesEnabled(enabled);
}
