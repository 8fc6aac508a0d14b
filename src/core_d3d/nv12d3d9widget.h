#pragma once

#include "core_videobase/vantorexport.h"

#include <QRectF>
#include <QTimer>
#include <QWidget>

#include <memory>

class D3D9Presenter;
struct IDirect3DSurface9;

/// Draws NV12 frames that a hardware decoder keeps as Direct3D 9 surfaces (DXVA2) over its whole area. Windows only.
///
/// No pixel leaves the graphics memory: the surface's own device stretches it into the widget's window. A reference to
/// the surface is held until the next frame or clear(), as digital zoom shows the frame again; the decoder has to leave
/// its pixels alone until then.
///
/// The widget is a native window that Direct3D alone draws into. While it does, updates of the parent are off, as Qt
/// would paint the parent over it; they are on again whenever the widget is shown.
///
/// Called from the GUI thread only. Nothing is reported: where Direct3D refuses, the widget shows nothing new.
class VANTOR_EXPORT Nv12D3D9Widget : public QWidget
{
    Q_OBJECT

public:
    explicit Nv12D3D9Widget(QWidget* parent = nullptr);
    ~Nv12D3D9Widget() override;

    /// The part of the frame to show, in its pixels from the upper left corner; it fills the widget. Kept from frame to
    /// frame until clear(). An empty rectangle stands for the whole frame.
    void setViewRect(const QRectF& pixels);

    /// None, as Qt does not paint here.
    QPaintEngine* paintEngine() const override;

public Q_SLOTS:
    /// Forgets the frame and the view; what is on the screen stays there.
    void clear();

    /// Shows a surface at once. The picture is the @p width x @p height pixels in its upper left corner; a surface may
    /// be larger. Without a surface or a size nothing happens.
    void updateFrame(int width, int height, IDirect3DSurface9* surface);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void setParentUpdatesEnabled(bool enabled);

    const std::unique_ptr<D3D9Presenter> presenter;
    QRectF viewRect;
    QTimer redrawTimer; // zoom and dragging change the view more often than it can be seen
};
