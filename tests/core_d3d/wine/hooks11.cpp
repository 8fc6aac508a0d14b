// With the tables of functions as plain structures, so that entries can be replaced by name.
#define CINTERFACE

#include "hooks11.h"

#include "calls.h"
#include "fakenv12.h"
#include "hookedtable.h"

#include <dxgi1_2.h>

#include <cstring>

namespace {

Hooked<ID3D11Device, ID3D11DeviceVtbl> devices;
Hooked<ID3D11DeviceContext, ID3D11DeviceContextVtbl> contexts;
Hooked<IDXGIFactory2, IDXGIFactory2Vtbl> factories;
Hooked<IDXGISwapChain1, IDXGISwapChain1Vtbl> swapChains;

D3D11_MAPPED_SUBRESOURCE lastMapped;
Shot shot;

std::string floats(const void* data, size_t count)
{
    std::vector<float> values(count);
    std::memcpy(values.data(), data, count * sizeof(float));
    std::string text;
    for (float value : values)
        text += format(text.empty() ? "%g" : " %g", double(value));
    return text;
}

std::string shorts(const void* data, size_t count)
{
    std::vector<unsigned short> values(count);
    std::memcpy(values.data(), data, count * sizeof(unsigned short));
    std::string text;
    for (int value : values)
        text += format(text.empty() ? "%d" : " %d", value);
    return text;
}

/// Buffer 0 of a swap chain, as it is.
void takeShot(IDXGISwapChain1* swapChain)
{
    const Calls::Pause pause;
    ID3D11Texture2D* buffer = nullptr;
    ID3D11Texture2D* copy = nullptr;
    ID3D11Device* device = nullptr;
    ID3D11DeviceContext* context = nullptr;
    swapChains.original->GetBuffer(swapChain, 0, IID_ID3D11Texture2D, reinterpret_cast<void**>(&buffer));
    buffer->lpVtbl->GetDevice(buffer, &device);
    device->lpVtbl->GetImmediateContext(device, &context);
    D3D11_TEXTURE2D_DESC description{};
    buffer->lpVtbl->GetDesc(buffer, &description);
    description.Usage = D3D11_USAGE_STAGING;
    description.BindFlags = 0;
    description.MiscFlags = 0;
    description.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
    devices.original->CreateTexture2D(device, &description, nullptr, &copy);
    auto* target = reinterpret_cast<ID3D11Resource*>(copy);
    contexts.original->CopyResource(context, target, reinterpret_cast<ID3D11Resource*>(buffer));
    D3D11_MAPPED_SUBRESOURCE mapped{};
    contexts.original->Map(context, target, 0, D3D11_MAP_READ, 0, &mapped);
    shot.take(int(description.Width), int(description.Height), mapped.pData, mapped.RowPitch);
    shot.color = [](std::uint32_t pixel) {
        return Rgb{(pixel & 1023) / 1023.0, (pixel >> 10 & 1023) / 1023.0, (pixel >> 20 & 1023) / 1023.0};
    };
    contexts.original->Unmap(context, target, 0);
    copy->lpVtbl->Release(copy);
    buffer->lpVtbl->Release(buffer);
    context->lpVtbl->Release(context);
    device->lpVtbl->Release(device);
}

void hook(IDXGISwapChain1* swapChain)
{
    if (!swapChains.adopt(swapChain))
        return;
    IDXGISwapChain1Vtbl& table = swapChains.table;
    table.GetDesc1 = [](IDXGISwapChain1* self, DXGI_SWAP_CHAIN_DESC1* description) -> HRESULT {
        return recorded(self, "GetDesc1", "", [&] { return swapChains.original->GetDesc1(self, description); });
    };
    table.ResizeBuffers
        = [](IDXGISwapChain1* self, UINT count, UINT width, UINT height, DXGI_FORMAT pixels, UINT flags) -> HRESULT {
        return recorded(self, "ResizeBuffers",
                        format("%u %ux%u format=%d flags=%u", count, width, height, pixels, flags),
                        [&] { return swapChains.original->ResizeBuffers(self, count, width, height, pixels, flags); });
    };
    table.GetBuffer = [](IDXGISwapChain1* self, UINT index, REFIID type, void** buffer) -> HRESULT {
        return recorded(self, "GetBuffer", format("%u", index),
                        [&] { return swapChains.original->GetBuffer(self, index, type, buffer); });
    };
    table.Present = [](IDXGISwapChain1* self, UINT interval, UINT flags) -> HRESULT {
        return recorded(self, "Present", format("interval=%u flags=%u", interval, flags), [&] {
            takeShot(self);
            return swapChains.original->Present(self, interval, flags);
        });
    };
}

void hook(IDXGIFactory2* factory)
{
    if (!factories.adopt(factory))
        return;
    factories.table.CreateSwapChainForHwnd
        = [](IDXGIFactory2* self, IUnknown* device, HWND window, const DXGI_SWAP_CHAIN_DESC1* wanted,
             const DXGI_SWAP_CHAIN_FULLSCREEN_DESC* fullscreen, IDXGIOutput* output,
             IDXGISwapChain1** swapChain) -> HRESULT {
        const std::string text
            = format("%ux%u format=%d samples=%u/%u usage=%u buffers=%u scaling=%d effect=%d flags=%u", wanted->Width,
                     wanted->Height, wanted->Format, wanted->SampleDesc.Count, wanted->SampleDesc.Quality,
                     wanted->BufferUsage, wanted->BufferCount, wanted->Scaling, wanted->SwapEffect, wanted->Flags);
        return recorded(self, "CreateSwapChainForHwnd", text, [&] {
            const auto plain = factories.plain(self);
            const HRESULT result = factories.original->CreateSwapChainForHwnd(self, device, window, wanted, fullscreen,
                                                                              output, swapChain);
            if (SUCCEEDED(result))
                hook(*swapChain);
            return result;
        });
    };
}

void replaceInputAssembler(ID3D11DeviceContextVtbl& table)
{
    table.IASetVertexBuffers = [](ID3D11DeviceContext* self, UINT slot, UINT count, ID3D11Buffer* const* buffers,
                                  const UINT* strides, const UINT* offsets) {
        record(self, "IASetVertexBuffers", format("%u stride=%u offset=%u", slot, strides[0], offsets[0]));
        contexts.original->IASetVertexBuffers(self, slot, count, buffers, strides, offsets);
    };
    table.IASetIndexBuffer = [](ID3D11DeviceContext* self, ID3D11Buffer* buffer, DXGI_FORMAT type, UINT offset) {
        record(self, "IASetIndexBuffer", format("format=%d offset=%u", type, offset));
        contexts.original->IASetIndexBuffer(self, buffer, type, offset);
    };
    table.IASetPrimitiveTopology = [](ID3D11DeviceContext* self, D3D11_PRIMITIVE_TOPOLOGY topology) {
        record(self, "IASetPrimitiveTopology", format("%d", topology));
        contexts.original->IASetPrimitiveTopology(self, topology);
    };
    table.IASetInputLayout = [](ID3D11DeviceContext* self, ID3D11InputLayout* layout) {
        record(self, "IASetInputLayout");
        contexts.original->IASetInputLayout(self, layout);
    };
}

void replaceVertexStage(ID3D11DeviceContextVtbl& table)
{
    table.Map = [](ID3D11DeviceContext* self, ID3D11Resource* resource, UINT index, D3D11_MAP type, UINT flags,
                   D3D11_MAPPED_SUBRESOURCE* mapped) -> HRESULT {
        return recorded(self, "Map", format("type=%d", type), [&] {
            const HRESULT result = contexts.original->Map(self, resource, index, type, flags, mapped);
            lastMapped = *mapped;
            return result;
        });
    };
    table.Unmap = [](ID3D11DeviceContext* self, ID3D11Resource* resource, UINT index) {
        record(self, "Unmap", floats(lastMapped.pData, 16));
        contexts.original->Unmap(self, resource, index);
    };
    table.VSSetConstantBuffers = [](ID3D11DeviceContext* self, UINT slot, UINT count, ID3D11Buffer* const* buffers) {
        record(self, "VSSetConstantBuffers", format("%u", slot));
        contexts.original->VSSetConstantBuffers(self, slot, count, buffers);
    };
    table.VSSetShader
        = [](ID3D11DeviceContext* self, ID3D11VertexShader* shader, ID3D11ClassInstance* const* instances, UINT count) {
              record(self, "VSSetShader");
              contexts.original->VSSetShader(self, shader, instances, count);
          };
    table.RSSetViewports = [](ID3D11DeviceContext* self, UINT count, const D3D11_VIEWPORT* viewports) {
        record(self, "RSSetViewports", floats(viewports, 6));
        contexts.original->RSSetViewports(self, count, viewports);
    };
}

void replacePixelStage(ID3D11DeviceContextVtbl& table)
{
    table.PSSetShader
        = [](ID3D11DeviceContext* self, ID3D11PixelShader* shader, ID3D11ClassInstance* const* instances, UINT count) {
              record(self, "PSSetShader");
              contexts.original->PSSetShader(self, shader, instances, count);
          };
    table.PSSetShaderResources
        = [](ID3D11DeviceContext* self, UINT slot, UINT count, ID3D11ShaderResourceView* const* views) {
              D3D11_SHADER_RESOURCE_VIEW_DESC description{};
              if (views[0])
                  views[0]->lpVtbl->GetDesc(views[0], &description);
              record(self, "PSSetShaderResources", format("%u format=%d", slot, description.Format));
              contexts.original->PSSetShaderResources(self, slot, count, views);
          };
    table.PSSetSamplers = [](ID3D11DeviceContext* self, UINT slot, UINT count, ID3D11SamplerState* const* samplers) {
        record(self, "PSSetSamplers", format("%u", slot));
        contexts.original->PSSetSamplers(self, slot, count, samplers);
    };
}

void replaceOutput(ID3D11DeviceContextVtbl& table)
{
    table.OMSetRenderTargets = [](ID3D11DeviceContext* self, UINT count, ID3D11RenderTargetView* const* targets,
                                  ID3D11DepthStencilView* depth) {
        record(self, "OMSetRenderTargets", format("%u", count));
        contexts.original->OMSetRenderTargets(self, count, targets, depth);
    };
    table.ClearRenderTargetView = [](ID3D11DeviceContext* self, ID3D11RenderTargetView* target, const FLOAT* color) {
        record(self, "ClearRenderTargetView", floats(color, 4));
        contexts.original->ClearRenderTargetView(self, target, color);
    };
    table.DrawIndexed = [](ID3D11DeviceContext* self, UINT count, UINT first, INT base) {
        record(self, "DrawIndexed", format("%u %u %d", count, first, base));
        contexts.original->DrawIndexed(self, count, first, base);
    };
    table.CopySubresourceRegion = [](ID3D11DeviceContext* self, ID3D11Resource* to, UINT toIndex, UINT x, UINT y,
                                     UINT z, ID3D11Resource* from, UINT index, const D3D11_BOX* box) {
        record(self, "CopySubresourceRegion",
               format("to %u at %u,%u,%u from %u ", toIndex, x, y, z, index)
                   + (box ? format("%u,%u,%u-%u,%u,%u", box->left, box->top, box->front, box->right, box->bottom,
                                   box->back)
                          : "whole"));
        if (!FakeNv12::copy(to, from, index, box))
            record(self, "refused");
    };
    table.Flush = [](ID3D11DeviceContext* self) {
        record(self, "Flush");
        contexts.original->Flush(self);
    };
    table.ClearState = [](ID3D11DeviceContext* self) {
        record(self, "ClearState");
        contexts.original->ClearState(self);
    };
}

void hook(ID3D11DeviceContext* context)
{
    if (!contexts.adopt(context))
        return;
    replaceInputAssembler(contexts.table);
    replaceVertexStage(contexts.table);
    replacePixelStage(contexts.table);
    replaceOutput(contexts.table);
}

void replaceBuffers(ID3D11DeviceVtbl& table)
{
    table.CreateBuffer = [](ID3D11Device* self, const D3D11_BUFFER_DESC* wanted, const D3D11_SUBRESOURCE_DATA* data,
                            ID3D11Buffer** buffer) -> HRESULT {
        const bool isIndices = wanted->BindFlags == D3D11_BIND_INDEX_BUFFER;
        const std::string text = format("%u usage=%d bind=%u cpu=%u: ", wanted->ByteWidth, wanted->Usage,
                                        wanted->BindFlags, wanted->CPUAccessFlags)
            + (isIndices ? shorts(data->pSysMem, wanted->ByteWidth / 2) : floats(data->pSysMem, wanted->ByteWidth / 4));
        return recorded(self, "CreateBuffer", text,
                        [&] { return devices.original->CreateBuffer(self, wanted, data, buffer); });
    };
    table.CreateTexture2D = [](ID3D11Device* self, const D3D11_TEXTURE2D_DESC* wanted,
                               const D3D11_SUBRESOURCE_DATA* data, ID3D11Texture2D** texture) -> HRESULT {
        const std::string text
            = format("%ux%u mips=%u array=%u format=%d samples=%u usage=%d bind=%u cpu=%u misc=%u", wanted->Width,
                     wanted->Height, wanted->MipLevels, wanted->ArraySize, wanted->Format, wanted->SampleDesc.Count,
                     wanted->Usage, wanted->BindFlags, wanted->CPUAccessFlags, wanted->MiscFlags);
        return recorded(self, "CreateTexture2D", text, [&] {
            return wanted->Format == DXGI_FORMAT_NV12 ? FakeNv12::makeShared(self, *wanted, texture)
                                                      : devices.original->CreateTexture2D(self, wanted, data, texture);
        });
    };
    table.OpenSharedResource = [](ID3D11Device* self, HANDLE handle, REFIID, void** resource) -> HRESULT {
        return recorded(self, "OpenSharedResource", "", [&] { return FakeNv12::open(self, handle, resource); });
    };
}

void replaceViews(ID3D11DeviceVtbl& table)
{
    table.CreateShaderResourceView
        = [](ID3D11Device* self, ID3D11Resource* resource, const D3D11_SHADER_RESOURCE_VIEW_DESC* wanted,
             ID3D11ShaderResourceView** view) -> HRESULT {
        const std::string text = format("format=%d dimension=%d mips=%u+%u", wanted->Format, wanted->ViewDimension,
                                        wanted->Texture2D.MostDetailedMip, wanted->Texture2D.MipLevels);
        ID3D11Resource* plane = FakeNv12::plane(resource, wanted->Format);
        return recorded(self, "CreateShaderResourceView", text, [&] {
            return devices.original->CreateShaderResourceView(self, plane ? plane : resource, wanted, view);
        });
    };
    table.CreateRenderTargetView
        = [](ID3D11Device* self, ID3D11Resource* resource, const D3D11_RENDER_TARGET_VIEW_DESC* wanted,
             ID3D11RenderTargetView** view) -> HRESULT {
        return recorded(self, "CreateRenderTargetView",
                        format("format=%d dimension=%d", wanted->Format, wanted->ViewDimension),
                        [&] { return devices.original->CreateRenderTargetView(self, resource, wanted, view); });
    };
    table.CreateSamplerState
        = [](ID3D11Device* self, const D3D11_SAMPLER_DESC* wanted, ID3D11SamplerState** sampler) -> HRESULT {
        const std::string text = format("filter=%d address=%d/%d/%d anisotropy=%u", wanted->Filter, wanted->AddressU,
                                        wanted->AddressV, wanted->AddressW, wanted->MaxAnisotropy);
        return recorded(self, "CreateSamplerState", text,
                        [&] { return devices.original->CreateSamplerState(self, wanted, sampler); });
    };
}

void replaceShaders(ID3D11DeviceVtbl& table)
{
    table.CreateInputLayout = [](ID3D11Device* self, const D3D11_INPUT_ELEMENT_DESC* elements, UINT count,
                                 const void* code, SIZE_T size, ID3D11InputLayout** layout) -> HRESULT {
        std::string text;
        for (UINT i = 0; i < count; ++i)
            text += format("%s%s%u format=%d at %u", i ? ", " : "", elements[i].SemanticName, elements[i].SemanticIndex,
                           elements[i].Format, elements[i].AlignedByteOffset);
        return recorded(self, "CreateInputLayout", text,
                        [&] { return devices.original->CreateInputLayout(self, elements, count, code, size, layout); });
    };
    table.CreateVertexShader = [](ID3D11Device* self, const void* code, SIZE_T size, ID3D11ClassLinkage* linkage,
                                  ID3D11VertexShader** shader) -> HRESULT {
        return recorded(self, "CreateVertexShader", "",
                        [&] { return devices.original->CreateVertexShader(self, code, size, linkage, shader); });
    };
    table.CreatePixelShader = [](ID3D11Device* self, const void* code, SIZE_T size, ID3D11ClassLinkage* linkage,
                                 ID3D11PixelShader** shader) -> HRESULT {
        return recorded(self, "CreatePixelShader", "",
                        [&] { return devices.original->CreatePixelShader(self, code, size, linkage, shader); });
    };
}

void hook(ID3D11Device* device)
{
    if (!devices.adopt(device))
        return;
    replaceBuffers(devices.table);
    replaceViews(devices.table);
    replaceShaders(devices.table);
    devices.table.GetDeviceRemovedReason = [](ID3D11Device* self) -> HRESULT {
        return recorded(self, "GetDeviceRemovedReason", "", [] { return S_OK; });
    };
}

void hookFactoryOf(ID3D11Device* device)
{
    IDXGIDevice* dxgiDevice = nullptr;
    IDXGIAdapter* adapter = nullptr;
    IDXGIFactory2* factory = nullptr;
    device->lpVtbl->QueryInterface(device, IID_IDXGIDevice, reinterpret_cast<void**>(&dxgiDevice));
    dxgiDevice->lpVtbl->GetAdapter(dxgiDevice, &adapter);
    adapter->lpVtbl->GetParent(adapter, IID_IDXGIFactory2, reinterpret_cast<void**>(&factory));
    hook(factory);
    factory->lpVtbl->Release(factory);
    adapter->lpVtbl->Release(adapter);
    dxgiDevice->lpVtbl->Release(dxgiDevice);
}

/// A device that is handed out again and again: it takes half a second to draw for the first time.
class KeptDevice
{
public:
    HRESULT handOut(ID3D11Device** wantedDevice, ID3D11DeviceContext** wantedContext)
    {
        const Calls::Pause pause;
        const HRESULT result = device ? S_OK : make();
        if (FAILED(result))
            return result;
        context->lpVtbl->ClearState(context);
        device->lpVtbl->AddRef(device);
        context->lpVtbl->AddRef(context);
        *wantedDevice = device;
        *wantedContext = context;
        return S_OK;
    }

    void forget()
    {
        if (!device)
            return;
        context->lpVtbl->Release(context);
        device->lpVtbl->Release(device);
        context = nullptr;
        device = nullptr;
    }

private:
    HRESULT make()
    {
        const HRESULT result = D3D11CreateDevice(nullptr, D3D_DRIVER_TYPE_HARDWARE, nullptr, 0, nullptr, 0,
                                                 D3D11_SDK_VERSION, &device, nullptr, &context);
        if (FAILED(result))
            return result;
        hook(device);
        hook(context);
        hookFactoryOf(device);
        Calls::mark(device, "");
        Calls::mark(context, "");
        return result;
    }

    ID3D11Device* device = nullptr;
    ID3D11DeviceContext* context = nullptr;
};

KeptDevice own;
KeptDevice decoders;

} // namespace

HRESULT WINAPI Hooks11::createDevice(IDXGIAdapter* adapter, D3D_DRIVER_TYPE type, HMODULE software, UINT flags,
                                     const D3D_FEATURE_LEVEL*, UINT levelCount, UINT version, ID3D11Device** device,
                                     D3D_FEATURE_LEVEL*, ID3D11DeviceContext** context)
{
    const std::string text
        = format("adapter=%s driver=%d software=%d flags=%u levels=%u version=%u", adapter ? "given" : "default", type,
                 software != nullptr, flags, levelCount, version);
    return recorded(nullptr, "D3D11CreateDevice", text, [&] { return own.handOut(device, context); });
}

ID3D11Device* Hooks11::makeDecoderDevice()
{
    const Calls::Pause pause;
    ID3D11Device* device = nullptr;
    ID3D11DeviceContext* context = nullptr;
    if (FAILED(decoders.handOut(&device, &context)))
        return nullptr;
    Calls::mark(device, "decoder ");
    Calls::mark(context, "decoder ");
    context->lpVtbl->Release(context);
    return device;
}

void Hooks11::forgetDevices()
{
    const Calls::Pause pause;
    own.forget();
    decoders.forget();
}

const Shot& Hooks11::lastShot() { return shot; }
