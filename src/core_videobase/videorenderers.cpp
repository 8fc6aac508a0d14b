#include "core_videobase/videorenderers.h"

#include "core_opengl/nv12widget.h"
#include "core_opengl/yuvwidget.h"
#include "core_videobase/surfacerenderer.h"

namespace {

template <typename Renderer>
void showOpengl(QPointer<Renderer>* renderer, const char* name, QWidget* area)
{
    if (!*renderer) {
        *renderer = new Renderer(area);
        (*renderer)->setObjectName(name);
    }
    (*renderer)->show();
    (*renderer)->clear();
}

// The caller may be in an event of this very widget, a click that stops the display, say: it is deleted later.
void discard(QWidget* renderer)
{
    renderer->hide();
    renderer->close();
    renderer->setObjectName(QString());
    renderer->deleteLater();
}

template <typename Renderer>
void freeOpenglRenderer(QPointer<Renderer>* renderer)
{
    if (!*renderer)
        return;
    (*renderer)->clear();
    discard(*renderer);
    *renderer = nullptr;
}

void showSurface(SurfaceRenderer* renderer, const char* name)
{
    if (!renderer)
        return;
    renderer->widget()->setObjectName(name);
    renderer->widget()->show();
    renderer->clear();
}

} // namespace

VideoRenderers::VideoRenderers(QWidget* pictureArea)
    : area(pictureArea)
{
}

VideoRenderers::~VideoRenderers() = default;

YuvWidget* VideoRenderers::yuv() const { return yuvWidget; }

Nv12Widget* VideoRenderers::nv12() const { return nv12Widget; }

void VideoRenderers::showYuv() { showOpengl(&yuvWidget, "yuvWidget", area); }

void VideoRenderers::showNv12() { showOpengl(&nv12Widget, "nv12Widget", area); }

void VideoRenderers::showD3d9()
{
    if (!d3d9Renderer)
        d3d9Renderer = SurfaceRenderer::makeD3d9(area);
    showSurface(d3d9Renderer.get(), "nv12D3D9Widget");
}

void VideoRenderers::showD3d11()
{
    if (!d3d11Renderer)
        d3d11Renderer = SurfaceRenderer::makeD3d11(area);
    showSurface(d3d11Renderer.get(), "nv12D3D11Widget");
}

void VideoRenderers::freeOpengl()
{
    freeOpenglRenderer(&yuvWidget);
    freeOpenglRenderer(&nv12Widget);
}

void VideoRenderers::freeD3d9() { remove(&d3d9Renderer); }

void VideoRenderers::freeD3d11() { remove(&d3d11Renderer); }

void VideoRenderers::remove(std::unique_ptr<SurfaceRenderer>* renderer)
{
    if (!*renderer)
        return;
    (*renderer)->clear();
    discard((*renderer)->widget());
    renderer->reset();
}

void VideoRenderers::clearOpengl()
{
    if (yuvWidget)
        yuvWidget->clear();
    if (nv12Widget)
        nv12Widget->clear();
}

void VideoRenderers::clearD3d()
{
    if (d3d9Renderer)
        d3d9Renderer->clear();
    if (d3d11Renderer)
        d3d11Renderer->clear();
}

void VideoRenderers::fit(QWidget* renderer) { renderer->setGeometry(0, 0, area->width(), area->height()); }

void VideoRenderers::fitYuv()
{
    if (yuvWidget)
        fit(yuvWidget);
}

void VideoRenderers::fitNv12()
{
    if (nv12Widget)
        fit(nv12Widget);
}

void VideoRenderers::fitD3d9()
{
    if (d3d9Renderer)
        fit(d3d9Renderer->widget());
}

void VideoRenderers::fitD3d11()
{
    if (d3d11Renderer)
        fit(d3d11Renderer->widget());
}

void VideoRenderers::setViewRect(const QRectF& normalized, const QRectF& pixels)
{
    if (yuvWidget)
        yuvWidget->setViewRect(normalized);
    if (nv12Widget)
        nv12Widget->setViewRect(normalized);
    if (d3d9Renderer)
        d3d9Renderer->setViewRect(pixels);
    if (d3d11Renderer)
        d3d11Renderer->setViewRect(pixels);
}

bool VideoRenderers::anyVisible() const
{
    const auto isShown = [this](const QWidget* renderer) { return renderer && renderer->isVisibleTo(area); };
    return isShown(yuvWidget) || isShown(nv12Widget) || (d3d9Renderer && isShown(d3d9Renderer->widget()))
        || (d3d11Renderer && isShown(d3d11Renderer->widget()));
}
