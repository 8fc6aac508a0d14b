#include "core_d3d/d3d11presenter.h"

#include "core_d3d/d3dconstants.h"
#include "core_d3d/viewquad.h"

using namespace D3DConstants;

D3D11Presenter::D3D11Presenter(CreateDevice create)
    : createDevice(create)
{
    makeDevice();
}

void D3D11Presenter::makeDevice()
{
    createDevice(nullptr, D3D_DRIVER_TYPE_HARDWARE, nullptr, 0, nullptr, 0, D3D11_SDK_VERSION, device.receive(),
                 nullptr, context.receive());
}

void D3D11Presenter::setWindow(HWND handle)
{
    if (window == handle)
        return;
    window = handle;
    releaseResources();
}

void D3D11Presenter::updateFrame(int width, int height, ID3D11Texture2D* texture, int index, bool rebuild)
{
    if (!texture || width <= 0 || height <= 0)
        return;
    const bool isNewSize = width != frameWidth || height != frameHeight;
    frameWidth = width;
    frameHeight = height;
    source = ComPtr<ID3D11Texture2D>(texture);
    sourceIndex = index;
    present(rebuild || isNewSize);
}

void D3D11Presenter::redraw()
{
    if (device && context && source && hasResources() && !render())
        replaceLostDevice();
}

void D3D11Presenter::clear()
{
    source.reset();
    view = ViewRect();
}

void D3D11Presenter::present(bool rebuild)
{
    if (!device || !context)
        return;
    if (rebuild || !hasResources())
        buildResources();
    if (!hasResources() || !showSource())
        replaceLostDevice();
}

bool D3D11Presenter::showSource()
{
    frame.copyFrom(source.get(), sourceIndex);
    return render();
}

bool D3D11Presenter::hasResources() const { return windowBuffers && quad.isComplete() && frame.isComplete(); }

void D3D11Presenter::buildResources()
{
    releaseResources();
    shownView = visiblePart(view, frameWidth, frameHeight);
    const Quad corners = viewQuad(view, frameWidth, frameHeight);
    windowBuffers.create(device.get(), window) && quad.createVertexStage(device.get(), corners)
        && frame.create(device.get(), frameWidth, frameHeight) && quad.createPixelStage(device.get());
}

void D3D11Presenter::releaseResources()
{
    const bool heldWindow = bool(windowBuffers);
    windowBuffers.reset();
    quad.reset();
    frame.reset();
    if (!heldWindow)
        return;
    // The context holds on to what is bound, and the window takes no second swap chain before the first one is gone.
    context->ClearState();
    context->Flush();
}

bool D3D11Presenter::render()
{
    if (!updateView() || !quad.bindVertexStage(context.get()))
        return false;
    setViewport();
    quad.bindPixelStage(context.get(), frame.luma(), frame.chroma());
    if (!windowBuffers.begin(device.get(), context.get(), frameWidth, frameHeight))
        return false;
    quad.draw(context.get());
    return SUCCEEDED(windowBuffers.present());
}

/// Digital zoom: the quad stays, and shows another part of the frame.
bool D3D11Presenter::updateView()
{
    const ViewRect part = visiblePart(view, frameWidth, frameHeight);
    if (part == shownView)
        return true;
    shownView = part;
    return quad.createVertexBuffer(device.get(), viewQuad(view, frameWidth, frameHeight));
}

void D3D11Presenter::setViewport()
{
    const D3D11_VIEWPORT viewport{0, 0, float(frameWidth), float(frameHeight), depthNear, depthFar};
    context->RSSetViewports(1, &viewport);
}

/// A driver that was updated or hung takes its devices with it.
void D3D11Presenter::replaceLostDevice()
{
    if (device->GetDeviceRemovedReason() == S_OK)
        return;
    releaseResources();
    context.reset();
    device.reset();
    makeDevice();
}
