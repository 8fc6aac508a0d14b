#include "core_d3d/d3d11windowbuffers.h"

#include "core_d3d/d3dconstants.h"

using namespace D3DConstants;

namespace {

static_assert(formatScreen == DXGI_FORMAT_R10G10B10A2_UNORM, "as Direct3D has it");

constexpr auto screenFormat = static_cast<DXGI_FORMAT>(formatScreen);

ComPtr<IDXGIFactory2> factoryOf(ID3D11Device* device)
{
    ComPtr<IDXGIAdapter> adapter;
    ComPtr<IDXGIFactory2> factory;
    const ComPtr<IDXGIDevice> dxgiDevice = ComPtr<ID3D11Device>(device).as<IDXGIDevice>();
    if (dxgiDevice && SUCCEEDED(dxgiDevice->GetAdapter(adapter.receive())))
        adapter->GetParent(__uuidof(IDXGIFactory2), reinterpret_cast<void**>(factory.receive()));
    return factory;
}

DXGI_SWAP_CHAIN_DESC1 description()
{
    DXGI_SWAP_CHAIN_DESC1 description{};
    description.Width = 0; // the window's
    description.Height = 0;
    description.Format = screenFormat;
    description.SampleDesc.Count = samplesPerPixel;
    description.BufferUsage = DXGI_USAGE_RENDER_TARGET_OUTPUT;
    description.BufferCount = screenBufferCount;
    description.Scaling = DXGI_SCALING_STRETCH;
    description.SwapEffect = DXGI_SWAP_EFFECT_FLIP_SEQUENTIAL;
    return description;
}

} // namespace

bool D3D11WindowBuffers::create(ID3D11Device* device, HWND window)
{
    const ComPtr<IDXGIFactory2> factory = factoryOf(device);
    const DXGI_SWAP_CHAIN_DESC1 wanted = description();
    return factory
        && SUCCEEDED(factory->CreateSwapChainForHwnd(device, window, &wanted, nullptr, nullptr, swapChain.receive()));
}

bool D3D11WindowBuffers::begin(ID3D11Device* device, ID3D11DeviceContext* context, int frameWidth, int frameHeight)
{
    return resizeTo(UINT(frameWidth), UINT(frameHeight)) && bindBackBuffer(device, context);
}

HRESULT D3D11WindowBuffers::present() { return swapChain->Present(presentInterval, 0); }

bool D3D11WindowBuffers::resizeTo(UINT frameWidth, UINT frameHeight)
{
    DXGI_SWAP_CHAIN_DESC1 current{};
    if (FAILED(swapChain->GetDesc1(&current)))
        return false;
    if (!needsResize(current.Width, current.Height, frameWidth, frameHeight))
        return true;
    return SUCCEEDED(swapChain->ResizeBuffers(screenBufferCount, frameWidth, frameHeight, screenFormat, 0));
}

bool D3D11WindowBuffers::bindBackBuffer(ID3D11Device* device, ID3D11DeviceContext* context)
{
    ComPtr<ID3D11Texture2D> backBuffer;
    if (FAILED(swapChain->GetBuffer(0, __uuidof(ID3D11Texture2D), reinterpret_cast<void**>(backBuffer.receive()))))
        return false;
    D3D11_RENDER_TARGET_VIEW_DESC wanted{};
    wanted.Format = screenFormat;
    wanted.ViewDimension = D3D11_RTV_DIMENSION_TEXTURE2D;
    ComPtr<ID3D11RenderTargetView> target;
    if (FAILED(device->CreateRenderTargetView(backBuffer.get(), &wanted, target.receive())))
        return false;
    context->OMSetRenderTargets(1, target.address(), nullptr); // a flip unbinds it
    context->ClearRenderTargetView(target.get(), background.data());
    return true;
}
