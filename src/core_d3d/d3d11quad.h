#pragma once

#include "core_d3d/comptr.h"
#include "core_d3d/d3dconstants.h"

#include <d3d11.h>

/// Draws NV12 planes over the whole viewport: the quad, its shaders and the sampler.
class D3D11Quad
{
public:
    /// What each makes has to be there before anything is drawn. False when Direct3D refuses.
    bool createVertexStage(ID3D11Device* device, const D3DConstants::Quad& vertices);
    bool createPixelStage(ID3D11Device* device);

    /// In place of the vertices given before.
    bool createVertexBuffer(ID3D11Device* device, const D3DConstants::Quad& vertices);

    bool isComplete() const;
    void reset() { *this = D3D11Quad(); }

    bool bindVertexStage(ID3D11DeviceContext* context);
    void bindPixelStage(ID3D11DeviceContext* context, ID3D11ShaderResourceView* luma, ID3D11ShaderResourceView* chroma);
    void draw(ID3D11DeviceContext* context);

private:
    bool createIndexBuffer(ID3D11Device* device);
    bool createConstantBuffer(ID3D11Device* device);
    bool createVertexShader(ID3D11Device* device);
    bool createSampler(ID3D11Device* device);
    bool createPixelShader(ID3D11Device* device);
    bool writeTransform(ID3D11DeviceContext* context);

    ComPtr<ID3D11Buffer> vertexBuffer;
    ComPtr<ID3D11Buffer> indexBuffer;
    ComPtr<ID3D11Buffer> constantBuffer;
    ComPtr<ID3D11InputLayout> inputLayout;
    ComPtr<ID3D11VertexShader> vertexShader;
    ComPtr<ID3D11SamplerState> sampler;
    ComPtr<ID3D11PixelShader> pixelShader;
};
