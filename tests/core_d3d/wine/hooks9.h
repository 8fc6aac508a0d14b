#pragma once

#include "picture.h"

#include <d3d9.h>

/// A real device of Direct3D 9 whose calls are written down.
namespace Hooks9 {

/// A device like that of a decoder, with one reference; null where there is none.
IDirect3DDevice9* makeDevice(HWND window);

/// An NV12 surface with that picture in its upper left corner, with one reference.
IDirect3DSurface9* makeSurface(IDirect3DDevice9* device, int width, int height, const Picture& picture);

/// What the last frame looked like that was presented.
const Shot& lastShot();

} // namespace Hooks9
