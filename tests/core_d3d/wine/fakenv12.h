#pragma once

#include "picture.h"

#include <d3d11.h>

#include <vector>

/// NV12 textures, which Wine's Direct3D 11 does not have: a decoder's are pictures in system memory, and the one that a
/// presenter draws from is a pair of real textures of one byte and of two bytes a pixel, so that real shaders draw it.
///
/// All are handed out with one reference.
namespace FakeNv12 {

/// An array of a decoder's textures on that device, all of the size of the first slice.
ID3D11Texture2D* makeDecoderArray(ID3D11Device* device, const std::vector<Picture>& slices);

/// The texture that @p description asks for.
HRESULT makeShared(ID3D11Device* device, const D3D11_TEXTURE2D_DESC& description, ID3D11Texture2D** texture);

/// A shared texture as another device sees it.
HRESULT open(ID3D11Device* device, HANDLE handle, void** texture);

/// The real texture of a plane, without a reference; null when @p texture is none of these.
ID3D11Resource* plane(ID3D11Resource* texture, DXGI_FORMAT format);

/// Copies a slice into an opened texture. False when Direct3D would not do that.
bool copy(ID3D11Resource* to, ID3D11Resource* from, UINT index, const D3D11_BOX* box);

/// How many references to @p texture there are.
ULONG references(ID3D11Texture2D* texture);

} // namespace FakeNv12
