#include "core_d3d/d3d11quad.h"

#include "core_d3d/nv12shaders.h"

#include <d3dcompiler.h>

#include <cstring>

using namespace D3DConstants;

namespace {

static_assert(formatPosition == DXGI_FORMAT_R32G32B32_FLOAT, "as Direct3D has it");
static_assert(formatCoordinate == DXGI_FORMAT_R32G32_FLOAT, "as Direct3D has it");
static_assert(formatIndex == DXGI_FORMAT_R16_UINT, "as Direct3D has it");

bool createBuffer(ID3D11Device* device, const D3D11_BUFFER_DESC& description, const void* content,
                  ID3D11Buffer** buffer)
{
    D3D11_SUBRESOURCE_DATA data{};
    data.pSysMem = content;
    return SUCCEEDED(device->CreateBuffer(&description, &data, buffer));
}

D3D11_BUFFER_DESC bufferDescription(size_t size, D3D11_BIND_FLAG binding)
{
    D3D11_BUFFER_DESC description{};
    description.ByteWidth = UINT(size);
    description.Usage = D3D11_USAGE_IMMUTABLE;
    description.BindFlags = binding;
    return description;
}

/// Null when the text does not compile.
ComPtr<ID3DBlob> compile(const char* entry, const char* target)
{
    ComPtr<ID3DBlob> code;
    ComPtr<ID3DBlob> messages;
    D3DCompile(Nv12Shaders::text, std::strlen(Nv12Shaders::text), nullptr, nullptr, nullptr, entry, target, 0, 0,
               code.receive(), messages.receive());
    return code;
}

} // namespace

bool D3D11Quad::createVertexStage(ID3D11Device* device, const Quad& vertices)
{
    return createVertexBuffer(device, vertices) && createIndexBuffer(device) && createConstantBuffer(device)
        && createVertexShader(device);
}

bool D3D11Quad::createPixelStage(ID3D11Device* device) { return createSampler(device) && createPixelShader(device); }

bool D3D11Quad::createVertexBuffer(ID3D11Device* device, const Quad& vertices)
{
    static_assert(sizeof(Vertex) == vertexStride, "packed");
    return createBuffer(device, bufferDescription(sizeof(vertices), D3D11_BIND_VERTEX_BUFFER), vertices.data(),
                        vertexBuffer.receive());
}

bool D3D11Quad::createIndexBuffer(ID3D11Device* device)
{
    return createBuffer(device, bufferDescription(sizeof(indices), D3D11_BIND_INDEX_BUFFER), indices.data(),
                        indexBuffer.receive());
}

bool D3D11Quad::createConstantBuffer(ID3D11Device* device)
{
    D3D11_BUFFER_DESC description = bufferDescription(sizeof(transform), D3D11_BIND_CONSTANT_BUFFER);
    description.Usage = D3D11_USAGE_DYNAMIC;
    description.CPUAccessFlags = D3D11_CPU_ACCESS_WRITE;
    return createBuffer(device, description, transform.data(), constantBuffer.receive());
}

bool D3D11Quad::createVertexShader(ID3D11Device* device)
{
    const ComPtr<ID3DBlob> code = compile(Nv12Shaders::vertexEntry, Nv12Shaders::vertexTarget);
    if (!code)
        return false;
    const D3D11_INPUT_ELEMENT_DESC elements[] = {
        {"POSITION", 0, static_cast<DXGI_FORMAT>(formatPosition), 0, positionOffset, D3D11_INPUT_PER_VERTEX_DATA, 0},
        {"TEXCOORD", 0, static_cast<DXGI_FORMAT>(formatCoordinate), 0, coordinateOffset, D3D11_INPUT_PER_VERTEX_DATA,
         0},
    };
    return SUCCEEDED(device->CreateInputLayout(elements, UINT(std::size(elements)), code->GetBufferPointer(),
                                               code->GetBufferSize(), inputLayout.receive()))
        && SUCCEEDED(device->CreateVertexShader(code->GetBufferPointer(), code->GetBufferSize(), nullptr,
                                                vertexShader.receive()));
}

bool D3D11Quad::createSampler(ID3D11Device* device)
{
    D3D11_SAMPLER_DESC description{};
    description.Filter = D3D11_FILTER_ANISOTROPIC;
    description.AddressU = D3D11_TEXTURE_ADDRESS_WRAP;
    description.AddressV = D3D11_TEXTURE_ADDRESS_WRAP;
    description.AddressW = D3D11_TEXTURE_ADDRESS_WRAP;
    description.MaxAnisotropy = anisotropy;
    description.ComparisonFunc = D3D11_COMPARISON_NEVER;
    description.MaxLOD = D3D11_FLOAT32_MAX;
    return SUCCEEDED(device->CreateSamplerState(&description, sampler.receive()));
}

bool D3D11Quad::createPixelShader(ID3D11Device* device)
{
    const ComPtr<ID3DBlob> code = compile(Nv12Shaders::pixelEntry, Nv12Shaders::pixelTarget);
    return code
        && SUCCEEDED(device->CreatePixelShader(code->GetBufferPointer(), code->GetBufferSize(), nullptr,
                                               pixelShader.receive()));
}

bool D3D11Quad::isComplete() const
{
    return vertexBuffer && indexBuffer && constantBuffer && inputLayout && vertexShader && sampler && pixelShader;
}

bool D3D11Quad::bindVertexStage(ID3D11DeviceContext* context)
{
    const UINT offset = 0;
    context->IASetVertexBuffers(0, 1, vertexBuffer.address(), &vertexStride, &offset);
    context->IASetIndexBuffer(indexBuffer.get(), static_cast<DXGI_FORMAT>(formatIndex), 0);
    context->IASetPrimitiveTopology(D3D11_PRIMITIVE_TOPOLOGY_TRIANGLELIST);
    context->IASetInputLayout(inputLayout.get());
    if (!writeTransform(context))
        return false;
    context->VSSetConstantBuffers(0, 1, constantBuffer.address());
    context->VSSetShader(vertexShader.get(), nullptr, 0);
    return true;
}

bool D3D11Quad::writeTransform(ID3D11DeviceContext* context)
{
    D3D11_MAPPED_SUBRESOURCE mapped{};
    if (FAILED(context->Map(constantBuffer.get(), 0, D3D11_MAP_WRITE_DISCARD, 0, &mapped)))
        return false;
    std::memcpy(mapped.pData, transform.data(), sizeof(transform));
    context->Unmap(constantBuffer.get(), 0);
    return true;
}

void D3D11Quad::bindPixelStage(ID3D11DeviceContext* context, ID3D11ShaderResourceView* luma,
                               ID3D11ShaderResourceView* chroma)
{
    context->PSSetShader(pixelShader.get(), nullptr, 0);
    context->PSSetShaderResources(lumaSlot, 1, &luma);
    context->PSSetShaderResources(chromaSlot, 1, &chroma);
    context->PSSetSamplers(0, 1, sampler.address());
}

void D3D11Quad::draw(ID3D11DeviceContext* context) { context->DrawIndexed(UINT(indices.size()), 0, 0); }
