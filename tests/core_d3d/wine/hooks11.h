#pragma once

#include "picture.h"

#include <d3d11.h>

/// Real devices of Direct3D 11 whose calls are written down, and which have NV12 textures (FakeNv12).
namespace Hooks11 {

/// Takes the place of D3D11CreateDevice. It is the same device each time.
HRESULT WINAPI createDevice(IDXGIAdapter* adapter, D3D_DRIVER_TYPE type, HMODULE software, UINT flags,
                            const D3D_FEATURE_LEVEL* levels, UINT levelCount, UINT version, ID3D11Device** device,
                            D3D_FEATURE_LEVEL* level, ID3D11DeviceContext** context);

/// A device like that of a decoder, the same each time. Its calls are marked "decoder ".
ID3D11Device* makeDecoderDevice();

/// From now on they are other devices.
void forgetDevices();

/// What the last frame looked like that was presented, as large as the buffers were.
const Shot& lastShot();

} // namespace Hooks11
