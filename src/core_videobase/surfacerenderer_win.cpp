#include "core_videobase/surfacerenderer.h"

#include "core_d3d/nv12d3d11widget.h"
#include "core_d3d/nv12d3d9widget.h"

namespace {

/// A picture begins where the layout would put its renderer at the next occasion.
template <typename Widget>
Widget* coveringWidget(QWidget* pictureArea)
{
    auto* widget = new Widget(pictureArea);
    widget->setGeometry(pictureArea->rect());
    return widget;
}

class D3D9Renderer : public SurfaceRenderer
{
public:
    explicit D3D9Renderer(QWidget* pictureArea)
        : renderer(coveringWidget<Nv12D3D9Widget>(pictureArea))
    {
    }

    QWidget* widget() const override { return renderer; }

    void updateFrame(int width, int height, quint8* surface, int, bool) override
    {
        renderer->updateFrame(width, height, reinterpret_cast<IDirect3DSurface9*>(surface));
    }

    void clear() override { renderer->clear(); }
    void setViewRect(const QRectF& pixels) override { renderer->setViewRect(pixels); }

private:
    Nv12D3D9Widget* const renderer; // the picture area's
};

class D3D11Renderer : public SurfaceRenderer
{
public:
    explicit D3D11Renderer(QWidget* pictureArea)
        : renderer(coveringWidget<Nv12D3D11Widget>(pictureArea))
    {
    }

    QWidget* widget() const override { return renderer; }

    void updateFrame(int width, int height, quint8* surface, int index, bool rebuild) override
    {
        renderer->updateFrame(width, height, reinterpret_cast<ID3D11Texture2D*>(surface), index, rebuild);
    }

    void clear() override { renderer->clear(); }
    void setViewRect(const QRectF& pixels) override { renderer->setViewRect(pixels); }

private:
    Nv12D3D11Widget* const renderer; // the picture area's
};

} // namespace

std::unique_ptr<SurfaceRenderer> SurfaceRenderer::makeD3d9(QWidget* pictureArea)
{
    return std::make_unique<D3D9Renderer>(pictureArea);
}

std::unique_ptr<SurfaceRenderer> SurfaceRenderer::makeD3d11(QWidget* pictureArea)
{
    return std::make_unique<D3D11Renderer>(pictureArea);
}
