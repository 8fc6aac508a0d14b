#include "core_d3d/d3d11sharedframe.h"

#include "core_d3d/d3dconstants.h"

#include <dxgi.h>

#include <algorithm>

using namespace D3DConstants;

namespace {

static_assert(formatFrame == DXGI_FORMAT_NV12, "as Direct3D has it");
static_assert(formatLuma == DXGI_FORMAT_R8_UNORM, "as Direct3D has it");
static_assert(formatChroma == DXGI_FORMAT_R8G8_UNORM, "as Direct3D has it");

/// The view of one plane of an NV12 texture, chosen by its format.
bool createView(ID3D11Device* device, ID3D11Texture2D* texture, int format, ID3D11ShaderResourceView** view)
{
    D3D11_SHADER_RESOURCE_VIEW_DESC description{};
    description.Format = static_cast<DXGI_FORMAT>(format);
    description.ViewDimension = D3D11_SRV_DIMENSION_TEXTURE2D;
    description.Texture2D.MipLevels = 1;
    return SUCCEEDED(device->CreateShaderResourceView(texture, &description, view));
}

} // namespace

bool D3D11SharedFrame::create(ID3D11Device* device, int frameWidth, int frameHeight)
{
    width = UINT(frameWidth);
    height = UINT(frameHeight);
    return createTexture(device) && takeHandle() && createViews(device);
}

bool D3D11SharedFrame::createTexture(ID3D11Device* device)
{
    D3D11_TEXTURE2D_DESC description{};
    description.Width = width;
    description.Height = height;
    description.MipLevels = 1;
    description.ArraySize = 1;
    description.Format = static_cast<DXGI_FORMAT>(formatFrame);
    description.SampleDesc.Count = samplesPerPixel;
    description.Usage = D3D11_USAGE_DEFAULT;
    description.BindFlags = D3D11_BIND_SHADER_RESOURCE;
    description.MiscFlags = D3D11_RESOURCE_MISC_SHARED;
    return SUCCEEDED(device->CreateTexture2D(&description, nullptr, texture.receive()));
}

bool D3D11SharedFrame::takeHandle()
{
    const ComPtr<IDXGIResource> resource = texture.as<IDXGIResource>();
    return resource && SUCCEEDED(resource->GetSharedHandle(&shared));
}

bool D3D11SharedFrame::createViews(ID3D11Device* device)
{
    return createView(device, texture.get(), formatLuma, lumaView.receive())
        && createView(device, texture.get(), formatChroma, chromaView.receive());
}

void D3D11SharedFrame::copyFrom(ID3D11Texture2D* source, int index)
{
    D3D11_TEXTURE2D_DESC from{};
    source->GetDesc(&from);
    if (index < 0 || UINT(index) >= from.ArraySize)
        return;
    ComPtr<ID3D11Device> device;
    ComPtr<ID3D11DeviceContext> context;
    source->GetDevice(device.receive());
    device->GetImmediateContext(context.receive());
    const ComPtr<ID3D11Texture2D> opened = openOn(device.get());
    if (!opened)
        return;
    // Decoders make their textures larger than the frame, up to whole blocks; the rest would lie outside of ours.
    const D3D11_BOX frame{0, 0, 0, std::min(width, from.Width), std::min(height, from.Height), 1};
    const bool isWhole = frame.right == from.Width && frame.bottom == from.Height;
    context->CopySubresourceRegion(opened.get(), 0, 0, 0, 0, source, UINT(index), isWhole ? nullptr : &frame);
    context->Flush();
}

ComPtr<ID3D11Texture2D> D3D11SharedFrame::openOn(ID3D11Device* device) const
{
    ComPtr<ID3D11Texture2D> opened;
    device->OpenSharedResource(shared, __uuidof(ID3D11Texture2D), reinterpret_cast<void**>(opened.receive()));
    return opened;
}
