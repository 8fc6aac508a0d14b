#pragma once

#include <QPointer>
#include <QRectF>

#include <memory>

class Nv12Widget;
class QWidget;
class SurfaceRenderer;
class YuvWidget;

/// The renderers in a display widget's picture area, each made when it is first needed.
///
/// Whatever is called for a renderer that does not exist does nothing. GUI thread only.
class VideoRenderers
{
public:
    explicit VideoRenderers(QWidget* pictureArea);
    ~VideoRenderers();
    VideoRenderers(const VideoRenderers&) = delete;
    VideoRenderers& operator=(const VideoRenderers&) = delete;

    /// Make the renderer if there is none, show it and clear it.
    void showYuv();
    void showNv12();
    void showD3d9();
    void showD3d11();

    /// Clear, hide and delete; pointers to frames are gone on return, the widgets soon after.
    void freeOpengl();
    void freeD3d9();
    void freeD3d11();

    YuvWidget* yuv() const;
    Nv12Widget* nv12() const;
    SurfaceRenderer* d3d9() const { return d3d9Renderer.get(); }
    SurfaceRenderer* d3d11() const { return d3d11Renderer.get(); }

    void clearOpengl();
    void clearD3d();

    /// Lays a renderer over the whole picture area.
    void fitYuv();
    void fitNv12();
    void fitD3d9();
    void fitD3d11();

    /// The part of the frame to show, in 0..1 of it and in source pixels.
    void setViewRect(const QRectF& normalized, const QRectF& pixels);

    /// Whether a renderer covers the picture area, or will when that is shown.
    bool anyVisible() const;

private:
    void fit(QWidget* renderer);
    void remove(std::unique_ptr<SurfaceRenderer>* renderer);

    QWidget* const area; // owns the renderers
    QPointer<YuvWidget> yuvWidget;
    QPointer<Nv12Widget> nv12Widget;
    std::unique_ptr<SurfaceRenderer> d3d9Renderer;
    std::unique_ptr<SurfaceRenderer> d3d11Renderer;
};
