#pragma once

#include "core_d3d/comptr.h"

#include <d3d11.h>
#include <dxgi1_2.h>

/// The buffers that a window shows, one after the other: a flip-model swap chain, of which a window can have one only.
class D3D11WindowBuffers
{
public:
    explicit operator bool() const { return bool(swapChain); }

    /// Buffers of the window's own size, for now. False when Direct3D refuses.
    bool create(ID3D11Device* device, HWND window);

    /// Lets go of the window. The device does so for good when its context is cleared and flushed.
    void reset() { swapChain.reset(); }

    /// Binds and clears the next buffer, in the size of the frame. False when Direct3D refuses.
    bool begin(ID3D11Device* device, ID3D11DeviceContext* context, int frameWidth, int frameHeight);

    HRESULT present();

private:
    bool resizeTo(UINT frameWidth, UINT frameHeight);
    bool bindBackBuffer(ID3D11Device* device, ID3D11DeviceContext* context);

    ComPtr<IDXGISwapChain1> swapChain;
};
