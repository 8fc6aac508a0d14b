// With the tables of functions as plain structures, so that entries can be replaced by name.
#define CINTERFACE

#include "hooks9.h"

#include "calls.h"
#include "hookedtable.h"

#include <algorithm>
#include <cstring>

namespace {

Hooked<IDirect3DDevice9, IDirect3DDevice9Vtbl> devices;
Hooked<IDirect3DSwapChain9, IDirect3DSwapChain9Vtbl> swapChains;

Shot shot;

std::string text(const RECT* rect)
{
    return rect ? format("%ld,%ld-%ld,%ld", rect->left, rect->top, rect->right, rect->bottom) : "whole";
}

/// The back buffer of a swap chain, as it is.
void takeShot(IDirect3DSwapChain9* swapChain)
{
    const Calls::Pause pause;
    IDirect3DDevice9* device = nullptr;
    IDirect3DSurface9* buffer = nullptr;
    IDirect3DSurface9* copy = nullptr;
    D3DSURFACE_DESC description{};
    swapChains.original->GetDevice(swapChain, &device);
    swapChains.original->GetBackBuffer(swapChain, 0, D3DBACKBUFFER_TYPE_MONO, &buffer);
    buffer->lpVtbl->GetDesc(buffer, &description);
    devices.original->CreateOffscreenPlainSurface(device, description.Width, description.Height, description.Format,
                                                  D3DPOOL_SYSTEMMEM, &copy, nullptr);
    devices.original->GetRenderTargetData(device, buffer, copy);
    D3DLOCKED_RECT locked{};
    copy->lpVtbl->LockRect(copy, &locked, nullptr, D3DLOCK_READONLY);
    shot.take(int(description.Width), int(description.Height), locked.pBits, size_t(locked.Pitch));
    shot.color = [](std::uint32_t pixel) {
        return Rgb{(pixel >> 16 & 255) / 255.0, (pixel >> 8 & 255) / 255.0, (pixel & 255) / 255.0};
    };
    copy->lpVtbl->UnlockRect(copy);
    copy->lpVtbl->Release(copy);
    buffer->lpVtbl->Release(buffer);
    device->lpVtbl->Release(device);
}

void hook(IDirect3DSwapChain9* swapChain)
{
    if (!swapChains.adopt(swapChain))
        return;
    swapChains.table.GetBackBuffer
        = [](IDirect3DSwapChain9* self, UINT index, D3DBACKBUFFER_TYPE type, IDirect3DSurface9** buffer) -> HRESULT {
        return recorded(self, "GetBackBuffer", format("%u type=%d", index, type),
                        [&] { return swapChains.original->GetBackBuffer(self, index, type, buffer); });
    };
    swapChains.table.Present = [](IDirect3DSwapChain9* self, const RECT* from, const RECT* to, HWND window,
                                  const RGNDATA* region, DWORD flags) -> HRESULT {
        return recorded(self, "Present", text(from) + " to " + text(to) + format(" flags=%lu", flags), [&] {
            takeShot(self);
            return swapChains.original->Present(self, from, to, window, region, flags);
        });
    };
}

void hook(IDirect3DDevice9* device)
{
    if (!devices.adopt(device))
        return;
    devices.table.CreateAdditionalSwapChain
        = [](IDirect3DDevice9* self, D3DPRESENT_PARAMETERS* wanted, IDirect3DSwapChain9** swapChain) -> HRESULT {
        const std::string arguments = format("%ux%u buffers=%u effect=%d windowed=%d interval=%08x",
                                             wanted->BackBufferWidth, wanted->BackBufferHeight, wanted->BackBufferCount,
                                             wanted->SwapEffect, wanted->Windowed, wanted->PresentationInterval);
        return recorded(self, "CreateAdditionalSwapChain", arguments, [&] {
            const HRESULT result = devices.original->CreateAdditionalSwapChain(self, wanted, swapChain);
            if (SUCCEEDED(result))
                hook(*swapChain);
            return result;
        });
    };
    devices.table.BeginScene = [](IDirect3DDevice9* self) -> HRESULT {
        return recorded(self, "BeginScene", "", [&] { return devices.original->BeginScene(self); });
    };
    devices.table.EndScene = [](IDirect3DDevice9* self) -> HRESULT {
        return recorded(self, "EndScene", "", [&] { return devices.original->EndScene(self); });
    };
    devices.table.StretchRect = [](IDirect3DDevice9* self, IDirect3DSurface9* from, const RECT* fromRect,
                                   IDirect3DSurface9* to, const RECT* toRect, D3DTEXTUREFILTERTYPE filter) -> HRESULT {
        return recorded(self, "StretchRect", text(fromRect) + " to " + text(toRect) + format(" filter=%d", filter),
                        [&] { return devices.original->StretchRect(self, from, fromRect, to, toRect, filter); });
    };
}

} // namespace

IDirect3DDevice9* Hooks9::makeDevice(HWND window)
{
    const Calls::Pause pause;
    IDirect3D9* direct3D = Direct3DCreate9(D3D_SDK_VERSION);
    if (!direct3D)
        return nullptr;
    D3DPRESENT_PARAMETERS parameters{};
    parameters.BackBufferWidth = 16;
    parameters.BackBufferHeight = 16;
    parameters.BackBufferFormat = D3DFMT_UNKNOWN;
    parameters.BackBufferCount = 1;
    parameters.SwapEffect = D3DSWAPEFFECT_DISCARD;
    parameters.hDeviceWindow = window;
    parameters.Windowed = TRUE;
    IDirect3DDevice9* device = nullptr;
    direct3D->lpVtbl->CreateDevice(
        direct3D, D3DADAPTER_DEFAULT, D3DDEVTYPE_HAL, window,
        D3DCREATE_HARDWARE_VERTEXPROCESSING | D3DCREATE_MULTITHREADED | D3DCREATE_FPU_PRESERVE, &parameters, &device);
    direct3D->lpVtbl->Release(direct3D);
    if (device)
        hook(device);
    return device;
}

IDirect3DSurface9* Hooks9::makeSurface(IDirect3DDevice9* device, int width, int height, const Picture& picture)
{
    const Calls::Pause pause;
    IDirect3DSurface9* surface = nullptr;
    devices.original->CreateOffscreenPlainSurface(device, UINT(width), UINT(height),
                                                  static_cast<D3DFORMAT>(MAKEFOURCC('N', 'V', '1', '2')),
                                                  D3DPOOL_DEFAULT, &surface, nullptr);
    if (!surface)
        return nullptr;
    D3DLOCKED_RECT locked{};
    surface->lpVtbl->LockRect(surface, &locked, nullptr, 0);
    auto* bytes = static_cast<BYTE*>(locked.pBits);
    for (int y = 0; y < std::min(height, picture.height); ++y)
        std::memcpy(bytes + y * locked.Pitch, &picture.luma[size_t(y * picture.width)],
                    size_t(std::min(width, picture.width)));
    for (int y = 0; y < std::min(height, picture.height) / 2; ++y)
        std::memcpy(bytes + (height + y) * locked.Pitch, &picture.chroma[size_t(y * picture.width)],
                    size_t(std::min(width, picture.width)));
    surface->lpVtbl->UnlockRect(surface);
    return surface;
}

const Shot& Hooks9::lastShot() { return shot; }
