#include "core_d3d/d3d9presenter.h"

void D3D9Presenter::setWindow(HWND handle)
{
    if (window == handle)
        return;
    window = handle;
    swapChain.reset();
}

void D3D9Presenter::updateFrame(int width, int height, IDirect3DSurface9* frame)
{
    if (!frame || width <= 0 || height <= 0)
        return;
    frameWidth = width;
    frameHeight = height;
    surface = ComPtr<IDirect3DSurface9>(frame);
    present();
}

void D3D9Presenter::redraw()
{
    if (surface)
        present();
}

void D3D9Presenter::clear()
{
    surface.reset();
    view = ViewRect();
}

void D3D9Presenter::present()
{
    if (!prepare() || FAILED(device->BeginScene()))
        return;
    const bool isDrawn = drawSurface();
    // A scene that stays open would keep the next one from being shown.
    if (FAILED(device->EndScene()) || !isDrawn)
        return;
    // A lost device can't be reset by its owner while it has a swap chain.
    if (FAILED(swapChain->Present(nullptr, nullptr, nullptr, nullptr, 0)))
        swapChain.reset();
}

/// The decoder brings another device when it was made anew.
bool D3D9Presenter::prepare()
{
    ComPtr<IDirect3DDevice9> owner;
    if (FAILED(surface->GetDevice(owner.receive())))
        return false;
    if (owner.get() == device.get() && swapChain)
        return true;
    device = owner;
    return createSwapChain();
}

bool D3D9Presenter::createSwapChain()
{
    if (!window) // Direct3D would take the decoder's
        return false;
    D3DPRESENT_PARAMETERS parameters{};
    parameters.BackBufferWidth = 0; // the window's
    parameters.BackBufferHeight = 0;
    parameters.BackBufferFormat = D3DFMT_UNKNOWN; // the screen's
    parameters.BackBufferCount = 1;
    parameters.SwapEffect = D3DSWAPEFFECT_DISCARD;
    parameters.hDeviceWindow = window;
    parameters.Windowed = TRUE;
    parameters.PresentationInterval = D3DPRESENT_INTERVAL_IMMEDIATE; // the GUI thread does not wait for the screen
    return SUCCEEDED(device->CreateAdditionalSwapChain(&parameters, swapChain.receive()));
}

bool D3D9Presenter::drawSurface()
{
    ComPtr<IDirect3DSurface9> backBuffer;
    if (FAILED(swapChain->GetBackBuffer(0, D3DBACKBUFFER_TYPE_MONO, backBuffer.receive())))
        return false;
    const PixelEdges part = evenEdges(view, frameWidth, frameHeight);
    const RECT source{part.left, part.top, part.right, part.bottom};
    return SUCCEEDED(device->StretchRect(surface.get(), &source, backBuffer.get(), nullptr, D3DTEXF_LINEAR));
}
