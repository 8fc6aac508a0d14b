#include "visible.h"

#include "fakenv12.h"
#include "hooks11.h"
#include "hooks9.h"
#include "window.h"

#include "core_d3d/comptr.h"
#include "core_d3d/d3d11presenter.h"
#include "core_d3d/d3d9presenter.h"

#include <cstdio>

namespace {

constexpr int left = 100;
constexpr int top = 80;
constexpr int width = 320;
constexpr int height = 240;

/// Red, green, blue and white, clockwise from the upper left quarter.
Picture picture() { return Picture::quarters(64, 48, {{81, 90, 240}, {145, 54, 34}, {41, 240, 110}, {235, 128, 128}}); }

/// Until whoever looks has seen enough.
int waitToBeSeen()
{
    std::puts("SHOWN");
    std::fflush(stdout);
    while (std::getchar() != '\n') { }
    return 0;
}

} // namespace

int show9()
{
    Window window(left, top, width, height);
    IDirect3DDevice9* device = Hooks9::makeDevice(window.handle());
    if (!device)
        return 1;
    IDirect3DSurface9* surface = Hooks9::makeSurface(device, 64, 48, picture());
    D3D9Presenter presenter;
    presenter.setWindow(window.handle());
    for (int frame = 0; frame < 3; ++frame)
        presenter.updateFrame(64, 48, surface);
    return waitToBeSeen();
}

int show11()
{
    Window window(left, top, width, height);
    ID3D11Texture2D* texture = FakeNv12::makeDecoderArray(Hooks11::makeDecoderDevice(), {picture()});
    D3D11Presenter presenter(&Hooks11::createDevice);
    presenter.setWindow(window.handle());
    for (int frame = 0; frame < 3; ++frame)
        presenter.updateFrame(64, 48, texture, 0, false);
    return waitToBeSeen();
}

/// The real way to a device, which there is none of without a display.
int withoutDevices()
{
    ComPtr<ID3D11Device> device;
    if (SUCCEEDED(D3D11CreateDevice(nullptr, D3D_DRIVER_TYPE_HARDWARE, nullptr, 0, nullptr, 0, D3D11_SDK_VERSION,
                                    device.receive(), nullptr, nullptr))
        || Direct3DCreate9(D3D_SDK_VERSION)) {
        std::puts("there is a device");
        return 1;
    }
    ID3D11Texture2D* texture = FakeNv12::makeDecoderArray(nullptr, {picture()});
    D3D11Presenter presenter;
    presenter.setWindow(GetDesktopWindow());
    presenter.updateFrame(64, 48, texture, 0, true);
    presenter.redraw();
    presenter.clear();
    const bool isFree = FakeNv12::references(texture) == 1;
    std::puts(isFree ? "DONE" : "the frame is held");
    return isFree ? 0 : 1;
}
