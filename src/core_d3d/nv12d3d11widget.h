#pragma once

#include "core_videobase/vantorexport.h"

#include <QRectF>
#include <QTimer>
#include <QWidget>

#include <memory>

class D3D11Presenter;
struct ID3D11Texture2D;

/// Draws NV12 frames that a hardware decoder keeps in an array of Direct3D 11 textures over its whole area. Windows
/// only.
///
/// No pixel leaves the graphics memory: the decoder's device copies the frame into a texture that it shares with the
/// widget's own device, which draws it. A reference to the texture is held until the next frame or clear(); its pixels
/// are copied before updateFrame() returns.
///
/// The widget is a native window that Direct3D alone draws into. While it does, updates of the parent are off, as Qt
/// would paint the parent over it; they are on again whenever the widget is shown.
///
/// Called from the GUI thread only. Nothing is reported: where Direct3D refuses, the widget shows nothing new.
class VANTOR_EXPORT Nv12D3D11Widget : public QWidget
{
    Q_OBJECT

public:
    explicit Nv12D3D11Widget(QWidget* parent = nullptr);
    ~Nv12D3D11Widget() override;

    /// The part of the frame to show, in its pixels from the upper left corner; it fills the widget. Kept from frame to
    /// frame until clear(). An empty rectangle stands for the whole frame.
    void setViewRect(const QRectF& pixels);

    /// None, as Qt does not paint here.
    QPaintEngine* paintEngine() const override;

public Q_SLOTS:
    /// Forgets the frame and the view; what is on the screen stays there.
    void clear();

    /// Shows slice @p index of the array at once. The picture is the @p width x @p height pixels in its upper left
    /// corner; both are even, and a texture may be larger. A new size makes everything anew that belongs to a size, and
    /// @p rebuild does in any case. Without a texture or a size nothing happens.
    void updateFrame(int width, int height, ID3D11Texture2D* texture, int index, bool rebuild);

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void setParentUpdatesEnabled(bool enabled);

    const std::unique_ptr<D3D11Presenter> presenter;
    QRectF viewRect;
    QTimer redrawTimer; // zoom and dragging change the view more often than it can be seen
};
