#pragma once

#include "core_d3d/comptr.h"
#include "core_d3d/viewrect.h"

#include <d3d9.h>

/// Shows frames of a hardware decoder, which are Direct3D 9 surfaces, in a window.
///
/// It has no device of its own: the surface's device stretches it onto a swap chain for the window. One thread at a
/// time. Nothing is reported: what fails is not shown.
class D3D9Presenter
{
public:
    /// The window to show frames in, from the next one on.
    void setWindow(HWND handle);

    /// The window has another size: the next frame is stretched to that at once, not to the former one before.
    void windowResized() { swapChain.reset(); }

    /// The part of the frames to show from now on; kept until clear().
    void setViewRect(const ViewRect& pixels) { view = pixels; }

    /// Shows @p frame, of which @p width x @p height pixels from the upper left corner are the picture. The presenter
    /// keeps a reference to it until the next frame or clear().
    void updateFrame(int width, int height, IDirect3DSurface9* frame);

    /// Shows the last frame again, with the view as it is now.
    void redraw();

    /// Forgets the frame and the view. The window keeps what it shows.
    void clear();

private:
    void present();
    bool prepare();
    bool createSwapChain();
    bool drawSurface();

    HWND window = nullptr;
    int frameWidth = 0;
    int frameHeight = 0;
    ViewRect view;
    ComPtr<IDirect3DDevice9> device; // the surface's
    ComPtr<IDirect3DSwapChain9> swapChain;
    ComPtr<IDirect3DSurface9> surface;
};
