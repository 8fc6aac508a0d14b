#pragma once

#include <QRectF>

#include <memory>

class QWidget;

/// A renderer of surfaces that a hardware decoder keeps in the graphics memory, as display widgets use it.
///
/// Its widget is a child of the picture area, which owns it. GUI thread only.
class SurfaceRenderer
{
public:
    virtual ~SurfaceRenderer() = default;

    virtual QWidget* widget() const = 0;

    /// Shows a surface, or the slice @p index of an array of them. @p rebuild when the decoder was made anew.
    virtual void updateFrame(int width, int height, quint8* surface, int index, bool rebuild) = 0;

    /// Forgets the surface.
    virtual void clear() = 0;

    /// The part of the frame to show, in source pixels.
    virtual void setViewRect(const QRectF& pixels) = 0;

    /// Null where there is no Direct3D.
    static std::unique_ptr<SurfaceRenderer> makeD3d9(QWidget* pictureArea);
    static std::unique_ptr<SurfaceRenderer> makeD3d11(QWidget* pictureArea);
};
