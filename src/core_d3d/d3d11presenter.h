#pragma once

#include "core_d3d/comptr.h"
#include "core_d3d/d3d11quad.h"
#include "core_d3d/d3d11sharedframe.h"
#include "core_d3d/d3d11windowbuffers.h"
#include "core_d3d/viewrect.h"

#include <d3d11.h>

/// Shows frames of a hardware decoder, which are slices of an array of Direct3D 11 textures, in a window.
///
/// A frame never leaves the graphics memory: the decoder's device copies it into a texture that it shares with the
/// presenter's own, which draws it. One thread at a time. Nothing is reported: what fails ends the step that it belongs
/// to, and without a device nothing is shown.
class D3D11Presenter
{
public:
    using CreateDevice = decltype(&D3D11CreateDevice);

    /// Makes the device. @p createDevice is called again when the device was lost.
    explicit D3D11Presenter(CreateDevice createDevice = &D3D11CreateDevice);

    /// The window to show frames in, from the next one on.
    void setWindow(HWND handle);

    /// The part of the frames to show from now on; kept until clear().
    void setViewRect(const ViewRect& pixels) { view = pixels; }

    /// Shows slice @p index of @p texture, a frame of @p width x @p height pixels. A new size makes all resources anew,
    /// and so does @p rebuild. The presenter keeps a reference to the texture until the next frame or clear().
    void updateFrame(int width, int height, ID3D11Texture2D* texture, int index, bool rebuild);

    /// Shows the last frame again, with the view as it is now.
    void redraw();

    /// Forgets the frame and the view. The window keeps what it shows.
    void clear();

private:
    void makeDevice();
    void present(bool rebuild);
    bool hasResources() const;
    void buildResources();
    void releaseResources();
    bool showSource();
    bool render();
    bool updateView();
    void setViewport();
    void replaceLostDevice();

    const CreateDevice createDevice;
    HWND window = nullptr;
    int frameWidth = 0;
    int frameHeight = 0;
    ViewRect view;
    ViewRect shownView; // in the vertex buffer
    ComPtr<ID3D11Device> device;
    ComPtr<ID3D11DeviceContext> context;
    D3D11WindowBuffers windowBuffers;
    D3D11Quad quad;
    D3D11SharedFrame frame;
    ComPtr<ID3D11Texture2D> source;
    int sourceIndex = 0;
};
