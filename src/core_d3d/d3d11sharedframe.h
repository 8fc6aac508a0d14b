#pragma once

#include "core_d3d/comptr.h"

#include <d3d11.h>

/// An NV12 texture that two devices share: the decoder's writes a frame into it, the renderer's draws from it.
class D3D11SharedFrame
{
public:
    /// False when Direct3D refuses.
    bool create(ID3D11Device* device, int width, int height);

    bool isComplete() const { return texture && shared && lumaView && chromaView; }
    void reset() { *this = D3D11SharedFrame(); }

    /// Copies a slice of the decoder's textures, on the decoder's device. Without success the frame stays as it was.
    /// The decoder may be at work on another slice, in a thread of its own: FFmpeg protects its devices against that.
    void copyFrom(ID3D11Texture2D* source, int index);

    ID3D11ShaderResourceView* luma() const { return lumaView.get(); }
    ID3D11ShaderResourceView* chroma() const { return chromaView.get(); }

private:
    bool createTexture(ID3D11Device* device);
    bool takeHandle();
    bool createViews(ID3D11Device* device);
    ComPtr<ID3D11Texture2D> openOn(ID3D11Device* device) const;

    UINT width = 0;
    UINT height = 0;
    ComPtr<ID3D11Texture2D> texture;
    HANDLE shared = nullptr; // the texture's; not to be closed
    ComPtr<ID3D11ShaderResourceView> lumaView;
    ComPtr<ID3D11ShaderResourceView> chromaView;
};
