#include "calls.h"
#include "cases.h"
#include "hooks9.h"
#include "window.h"

#include "core_d3d/comptr.h"
#include "core_d3d/d3d9presenter.h"

#include <memory>

namespace {

using Lines = std::vector<std::string>;

const Picture::Color red{81, 90, 240};
const Picture::Color green{145, 54, 34};
const Picture::Color blue{41, 240, 110};
const Picture::Color white{235, 128, 128};

const std::string createSwapChain = "CreateAdditionalSwapChain 0x0 buffers=1 effect=1 windowed=1 interval=80000000";

Lines draw(const std::string& part)
{
    return {
        "BeginScene", "GetBackBuffer 0 type=0",         "StretchRect " + part + " to whole filter=2",
        "EndScene",   "Present whole to whole flags=0",
    };
}

Lines withSwapChain(Lines lines)
{
    lines.insert(lines.begin(), createSwapChain);
    return lines;
}

template <typename Object>
ComPtr<Object> adopted(Object* object)
{
    CHECK(object);
    const ComPtr<Object> owner(object);
    object->Release();
    return owner;
}

ULONG references(IUnknown* object)
{
    object->AddRef();
    return object->Release();
}

/// A decoder's device, a window, and the presenter between the two.
struct Stage
{
    explicit Stage(int width = 160, int height = 120)
        : window(20, 20, width, height)
        , device(adopted(Hooks9::makeDevice(window.handle())))
        , presenter(std::make_unique<D3D9Presenter>())
    {
        presenter->setWindow(window.handle());
    }

    ComPtr<IDirect3DSurface9> decoded(const Picture& picture) const
    {
        return adopted(Hooks9::makeSurface(device.get(), picture.width, picture.height, picture));
    }

    void show(const Picture& picture) { presenter->updateFrame(picture.width, picture.height, decoded(picture).get()); }

    Window window;
    ComPtr<IDirect3DDevice9> device;
    std::unique_ptr<D3D9Presenter> presenter;
};

/// Wine converts by the full range.
void checkColor(int line, int x, int y, const Picture::Color& color)
{
    const Rgb pixel = Hooks9::lastShot().at(x, y);
    if (!pixel.isNear(fullBt601(color), 0.02))
        fail(line, "the pixel is " + pixel.text() + " and not " + fullBt601(color).text());
}

#define CHECK_COLOR(x, y, color) checkColor(__LINE__, x, y, color)

} // namespace

CASE(d3d9_firstFrame_makesASwapChainAndDraws)
{
    Stage stage;
    stage.show(Picture::filled(64, 48, red));
    COMPARE(Calls::take(), withSwapChain(draw("0,0-64,48")));
    COMPARE(Hooks9::lastShot().width, 160); // the window's
    COMPARE(Hooks9::lastShot().height, 120);
    CHECK_COLOR(80, 60, red);
}

CASE(d3d9_nextFrame_onlyDraws)
{
    Stage stage;
    stage.show(Picture::filled(64, 48, red));
    Calls::take();
    stage.show(Picture::filled(64, 48, green));
    COMPARE(Calls::take(), draw("0,0-64,48"));
    CHECK_COLOR(80, 60, green);
}

CASE(d3d9_frameOfANewSize_onlyDraws)
{
    Stage stage;
    stage.show(Picture::filled(64, 48, red));
    Calls::take();
    stage.show(Picture::filled(352, 288, green));
    COMPARE(Calls::take(), draw("0,0-352,288"));
    CHECK_COLOR(159, 119, green);
}

CASE(d3d9_picture_isUprightAndFillsTheWindow)
{
    Stage stage;
    stage.show(Picture::quarters(64, 48, {red, green, blue, white}));
    CHECK_COLOR(2, 2, red);
    CHECK_COLOR(157, 2, green);
    CHECK_COLOR(157, 117, blue);
    CHECK_COLOR(2, 117, white);
}

CASE(d3d9_colors)
{
    // Blocks of 8 x 8 pixels, shown in their own size.
    const auto colorAt = [](int x, int y) {
        const int block = y / 8 * 20 + x / 8;
        return Picture::Color{16 + block % 6 * 43, 2 + block / 6 % 7 * 42, 2 + block / 42 % 7 * 42};
    };
    Stage stage;
    stage.show(Picture(160, 120, colorAt));
    for (int y = 4; y < 120; y += 8)
        for (int x = 4; x < 160; x += 8)
            CHECK_COLOR(x, y, colorAt(x, y));
}

CASE(d3d9_decodersPadding_isNotShown)
{
    Stage stage;
    const auto padded = adopted(Hooks9::makeSurface(
        stage.device.get(), 64, 64, Picture(64, 64, [](int x, int y) { return x < 50 && y < 40 ? red : green; })));
    stage.presenter->updateFrame(48, 36, padded.get());
    COMPARE(Calls::count("StretchRect 0,0-48,36 to whole"), 1);
    CHECK_COLOR(157, 117, red);
}

CASE(d3d9_viewRect_isTheSourceRectangle)
{
    Stage stage;
    const Picture quarters = Picture::quarters(64, 48, {red, green, blue, white});
    stage.presenter->setViewRect({32, 24, 32, 24});
    stage.show(quarters);
    COMPARE(Calls::take(), withSwapChain(draw("32,24-64,48")));
    CHECK_COLOR(100, 60, blue);
    stage.presenter->setViewRect({4.5, 3, 8, 8.5});
    stage.show(quarters);
    COMPARE(Calls::take(), draw("4,2-14,12"));
    CHECK_COLOR(80, 60, red);
}

CASE(d3d9_viewRectOfTheWholeFrame_changesNoCall)
{
    Stage stage;
    stage.presenter->setViewRect({0, 0, 64, 48});
    stage.show(Picture::filled(64, 48, red));
    COMPARE(Calls::take(), withSwapChain(draw("0,0-64,48")));
}

CASE(d3d9_redraw_showsTheFrameAgain)
{
    Stage stage;
    stage.presenter->redraw();
    COMPARE(Calls::take(), Lines());
    stage.show(Picture::quarters(64, 48, {red, green, blue, white}));
    Calls::take();
    stage.presenter->setViewRect({32, 0, 32, 24});
    stage.presenter->redraw();
    COMPARE(Calls::take(), draw("32,0-64,24"));
    CHECK_COLOR(80, 60, green);
    stage.presenter->clear();
    stage.presenter->redraw();
    COMPARE(Calls::take(), Lines());
}

CASE(d3d9_clear_showsTheWholeFrameAgain)
{
    Stage stage;
    stage.presenter->setViewRect({32, 0, 32, 24});
    stage.presenter->clear();
    stage.show(Picture::filled(64, 48, red));
    COMPARE(Calls::take(), withSwapChain(draw("0,0-64,48")));
}

CASE(d3d9_frame_isHeldUntilTheNextOneOrClear)
{
    Stage stage;
    const auto first = stage.decoded(Picture::filled(64, 48, red));
    const auto second = stage.decoded(Picture::filled(64, 48, green));
    stage.presenter->updateFrame(64, 48, first.get());
    COMPARE(references(first.get()), 2ul);
    stage.presenter->updateFrame(64, 48, second.get());
    COMPARE(references(first.get()), 1ul);
    stage.presenter->clear();
    COMPARE(references(second.get()), 1ul);
    stage.presenter->updateFrame(64, 48, second.get());
    stage.presenter.reset();
    COMPARE(references(second.get()), 1ul);
}

CASE(d3d9_nothingToShow_isIgnored)
{
    Stage stage;
    const auto surface = stage.decoded(Picture::filled(64, 48, red));
    stage.presenter->updateFrame(64, 48, nullptr);
    stage.presenter->updateFrame(0, 48, surface.get());
    stage.presenter->updateFrame(64, -2, surface.get());
    COMPARE(Calls::take(), Lines());
}

CASE(d3d9_sizes)
{
    Stage stage;
    const int sizes[][2] = {{16, 16}, {176, 144}, {720, 576}, {1920, 1080}, {3840, 2160}, {16, 16}};
    for (const auto& size : sizes) {
        stage.show(Picture::quarters(size[0], size[1], {red, green, blue, white}));
        CHECK_COLOR(40, 30, red);
        CHECK_COLOR(120, 30, green);
        CHECK_COLOR(120, 90, blue);
        CHECK_COLOR(40, 90, white);
    }
    COMPARE(Calls::count("CreateAdditionalSwapChain"), 1);
}

CASE(d3d9_resizedWindow_getsASwapChainOfItsSize)
{
    Stage stage;
    stage.show(Picture::filled(64, 48, red));
    stage.window.resize(300, 200);
    stage.presenter->windowResized();
    Calls::take();
    stage.show(Picture::filled(64, 48, green));
    COMPARE(Calls::take(), withSwapChain(draw("0,0-64,48")));
    COMPARE(Hooks9::lastShot().width, 300);
    COMPARE(Hooks9::lastShot().height, 200);
    CHECK_COLOR(299, 199, green);
}

CASE(d3d9_minimisedAndRestoredWindow)
{
    Stage stage;
    stage.show(Picture::filled(64, 48, red));
    stage.window.minimise();
    stage.show(Picture::filled(64, 48, green));
    stage.window.restore();
    Calls::take();
    stage.show(Picture::filled(64, 48, blue));
    COMPARE(Calls::count("Present"), 1);
    CHECK_COLOR(80, 60, blue);
}

CASE(d3d9_anotherWindow_getsASwapChainOfItsOwn)
{
    Stage stage;
    stage.show(Picture::filled(64, 48, red));
    Window other(200, 20, 100, 80);
    stage.presenter->setWindow(other.handle());
    Calls::take();
    stage.show(Picture::filled(64, 48, green));
    COMPARE(Calls::take(), withSwapChain(draw("0,0-64,48")));
    COMPARE(Hooks9::lastShot().width, 100);
    stage.presenter->setWindow(other.handle());
    stage.show(Picture::filled(64, 48, green));
    COMPARE(Calls::take(), draw("0,0-64,48"));
}

CASE(d3d9_withoutAWindow_nothingIsShown)
{
    Stage stage;
    stage.presenter->setWindow(nullptr);
    stage.show(Picture::filled(64, 48, red));
    COMPARE(Calls::take(), Lines());
}

CASE(d3d9_anotherDevice_makesTheSwapChain)
{
    Stage first;
    Stage second;
    first.show(Picture::filled(64, 48, red));
    Calls::take();
    const auto surface = second.decoded(Picture::filled(64, 48, green));
    first.presenter->updateFrame(64, 48, surface.get());
    COMPARE(Calls::take(), withSwapChain(draw("0,0-64,48")));
    CHECK_COLOR(80, 60, green);
    first.presenter->updateFrame(64, 48, surface.get());
    COMPARE(Calls::take(), draw("0,0-64,48"));
}

CASE(d3d9_refusedSwapChain_isMadeWithTheNextFrame)
{
    Stage stage;
    Calls::refuse("CreateAdditionalSwapChain", D3DERR_INVALIDCALL);
    stage.show(Picture::filled(64, 48, red));
    COMPARE(Calls::take(), Lines{createSwapChain});
    Calls::refuseNothing();
    stage.show(Picture::filled(64, 48, red));
    COMPARE(Calls::take(), withSwapChain(draw("0,0-64,48")));
    CHECK_COLOR(80, 60, red);
}

CASE(d3d9_refusedScene_drawsNothing)
{
    Stage stage;
    stage.show(Picture::filled(64, 48, red));
    Calls::refuse("BeginScene", D3DERR_INVALIDCALL);
    Calls::take();
    stage.show(Picture::filled(64, 48, green));
    COMPARE(Calls::take(), Lines{"BeginScene"});
}

CASE(d3d9_refusedDrawing_endsTheSceneAndShowsNothing)
{
    Stage stage;
    stage.show(Picture::filled(64, 48, red));
    for (const char* call : {"GetBackBuffer", "StretchRect"}) {
        Calls::refuse(call, D3DERR_INVALIDCALL);
        Calls::take();
        stage.show(Picture::filled(64, 48, green));
        COMPARE(Calls::count("EndScene"), 1);
        COMPARE(Calls::count("Present"), 0);
        Calls::refuseNothing();
        Calls::take();
        stage.show(Picture::filled(64, 48, blue));
        COMPARE(Calls::take(), draw("0,0-64,48"));
        CHECK_COLOR(80, 60, blue);
    }
}

CASE(d3d9_lostDevice_isLeftToItsOwner)
{
    Stage stage;
    stage.show(Picture::filled(64, 48, red));
    Calls::refuse("Present", D3DERR_DEVICELOST);
    stage.show(Picture::filled(64, 48, green));
    stage.presenter->clear();
    Calls::refuseNothing();
    Calls::take();
    // With a swap chain or a surface left, the reset would fail.
    D3DPRESENT_PARAMETERS parameters{};
    parameters.BackBufferWidth = 32;
    parameters.BackBufferHeight = 32;
    parameters.BackBufferCount = 1;
    parameters.SwapEffect = D3DSWAPEFFECT_DISCARD;
    parameters.Windowed = TRUE;
    CHECK(SUCCEEDED(stage.device->Reset(&parameters)));
    stage.show(Picture::filled(64, 48, blue));
    COMPARE(Calls::take(), withSwapChain(draw("0,0-64,48")));
    CHECK_COLOR(80, 60, blue);
}
