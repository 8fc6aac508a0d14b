#include "calls.h"
#include "cases.h"
#include "fakenv12.h"
#include "hooks11.h"
#include "window.h"

#include "core_d3d/d3d11presenter.h"

#include <memory>

namespace {

using Lines = std::vector<std::string>;

const Picture::Color black{16, 128, 128};
const Picture::Color white{235, 128, 128};
const Picture::Color red{81, 90, 240};
const Picture::Color green{145, 54, 34};
const Picture::Color blue{41, 240, 110};

constexpr double rounding = 0.006; // one and a half steps of the planes' bytes

const std::string createDevice = "D3D11CreateDevice adapter=default driver=1 software=0 flags=0 levels=0 version=7";

const Lines createWindowBuffers{
    "CreateSwapChainForHwnd 0x0 format=24 samples=1/0 usage=32 buffers=2 scaling=0 effect=3 flags=0",
};

Lines createVertexStage(const std::string& vertices = "-1 1 0 0 0 1 1 0 1 0 1 -1 0 1 1 -1 -1 0 0 1")
{
    return {
        "CreateBuffer 80 usage=1 bind=1 cpu=0: " + vertices,
        "CreateBuffer 12 usage=1 bind=2 cpu=0: 0 1 2 0 2 3",
        "CreateBuffer 64 usage=2 bind=4 cpu=65536: 1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1",
        "CreateInputLayout POSITION0 format=6 at 0, TEXCOORD0 format=16 at 12",
        "CreateVertexShader",
    };
}

Lines createFrame(const std::string& size)
{
    return {
        "CreateTexture2D " + size + " mips=1 array=1 format=103 samples=1 usage=0 bind=8 cpu=0 misc=2",
        "GetSharedHandle",
        "CreateShaderResourceView format=61 dimension=4 mips=0+1",
        "CreateShaderResourceView format=49 dimension=4 mips=0+1",
    };
}

const Lines createPixelStage{
    "CreateSamplerState filter=85 address=1/1/1 anisotropy=16",
    "CreatePixelShader",
};

Lines copySlice(const std::string& from)
{
    return {
        "decoder OpenSharedResource",
        "decoder CopySubresourceRegion to 0 at 0,0,0 from " + from,
        "decoder Flush",
    };
}

Lines bind(const std::string& size)
{
    return {
        "IASetVertexBuffers 0 stride=20 offset=0",
        "IASetIndexBuffer format=57 offset=0",
        "IASetPrimitiveTopology 4",
        "IASetInputLayout",
        "Map type=4",
        "Unmap 1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1",
        "VSSetConstantBuffers 0",
        "VSSetShader",
        "RSSetViewports 0 0 " + size + " 0 1",
        "PSSetShader",
        "PSSetShaderResources 0 format=61",
        "PSSetShaderResources 1 format=49",
        "PSSetSamplers 0",
        "GetDesc1",
    };
}

const Lines drawAndPresent{
    "GetBuffer 0",          "CreateRenderTargetView format=24 dimension=4",
    "OMSetRenderTargets 1", "ClearRenderTargetView 0 0 0 1",
    "DrawIndexed 6 0 0",    "Present interval=0 flags=0",
};

Lines joined(const std::vector<Lines>& lists)
{
    Lines all;
    for (const Lines& list : lists)
        all.insert(all.end(), list.begin(), list.end());
    return all;
}

ComPtr<ID3D11Texture2D> adopted(ID3D11Texture2D* texture)
{
    const ComPtr<ID3D11Texture2D> owner(texture);
    texture->Release();
    return owner;
}

/// A decoder, a window, and the presenter between the two.
struct Stage
{
    explicit Stage(int width = 160, int height = 120)
        : window(20, 20, width, height)
    {
        decoder = ComPtr<ID3D11Device>(Hooks11::makeDecoderDevice());
        CHECK(decoder);
        decoder->Release();
        presenter = std::make_unique<D3D11Presenter>(&Hooks11::createDevice);
        presenter->setWindow(window.handle());
    }

    ComPtr<ID3D11Texture2D> decoded(const std::vector<Picture>& slices) const
    {
        return adopted(FakeNv12::makeDecoderArray(decoder.get(), slices));
    }

    void show(const Picture& picture, bool rebuild = false)
    {
        presenter->updateFrame(picture.width, picture.height, decoded({picture}).get(), 0, rebuild);
    }

    Window window;
    ComPtr<ID3D11Device> decoder;
    std::unique_ptr<D3D11Presenter> presenter;
};

void checkColor(int line, const Shot& shot, int x, int y, const Picture::Color& color)
{
    if (!shot.at(x, y).isNear(limitedBt601(color), rounding))
        fail(line, "the pixel is " + shot.at(x, y).text() + " and not " + limitedBt601(color).text());
}

#define CHECK_COLOR(x, y, color) checkColor(__LINE__, Hooks11::lastShot(), x, y, color)

/// Whether everything was made that a frame needs.
bool madeEverything()
{
    return Calls::count("CreateSwapChainForHwnd") == 1 && Calls::count("CreateBuffer") == 3
        && Calls::count("CreateInputLayout") == 1 && Calls::count("CreateVertexShader") == 1
        && Calls::count("CreateTexture2D") == 1 && Calls::count("GetSharedHandle") == 1
        && Calls::count("CreateShaderResourceView") == 2 && Calls::count("CreateSamplerState") == 1
        && Calls::count("CreatePixelShader") == 1;
}

/// A call that fails when the frame is shown ends in no picture, and the next frame after it is shown as ever.
void checkRefusal(const std::string& call, const Picture::Color& color)
{
    Stage stage;
    Calls::refuse(call, E_FAIL);
    Calls::take();
    stage.show(Picture::filled(64, 48, white));
    if (Calls::count("Present"))
        fail(__LINE__, call + " failed, and something was shown");
    if (!Calls::count(call))
        fail(__LINE__, call + " was not called");
    Calls::refuseNothing();
    Calls::take();
    stage.show(Picture::filled(64, 48, color));
    if (Calls::count("Present") != 1)
        fail(__LINE__, "nothing was shown after " + call + " had failed");
    CHECK_COLOR(32, 24, color);
}

} // namespace

CASE(d3d11_device_isTheDefaultOne)
{
    D3D11Presenter presenter(&Hooks11::createDevice);
    COMPARE(Calls::take(), (Lines{createDevice}));
}

CASE(d3d11_firstFrame_makesEverythingCopiesAndDraws)
{
    Stage stage;
    Calls::take();
    stage.show(Picture::filled(64, 48, red));
    COMPARE(Calls::take(),
            joined({createWindowBuffers,
                    createVertexStage(),
                    createFrame("64x48"),
                    createPixelStage,
                    copySlice("0 whole"),
                    bind("64 48"),
                    {"ResizeBuffers 2 64x48 format=24 flags=0"},
                    drawAndPresent}));
}

CASE(d3d11_frameOfTheSameSize_onlyCopiesAndDraws)
{
    Stage stage;
    stage.show(Picture::filled(64, 48, red));
    Calls::take();
    stage.show(Picture::filled(64, 48, green));
    COMPARE(Calls::take(), joined({copySlice("0 whole"), bind("64 48"), drawAndPresent}));
    CHECK_COLOR(32, 24, green);
}

CASE(d3d11_frameOfANewSize_makesEverythingAnew)
{
    Stage stage;
    stage.show(Picture::filled(64, 48, red));
    Calls::take();
    stage.show(Picture::filled(96, 64, green));
    COMPARE(Calls::take(),
            joined({{"ClearState", "Flush"},
                    createWindowBuffers,
                    createVertexStage(),
                    createFrame("96x64"),
                    createPixelStage,
                    copySlice("0 whole"),
                    bind("96 64"),
                    {"ResizeBuffers 2 96x64 format=24 flags=0"},
                    drawAndPresent}));
    COMPARE(Hooks11::lastShot().width, 96);
    COMPARE(Hooks11::lastShot().height, 64);
    CHECK_COLOR(95, 63, green);
}

CASE(d3d11_oneSideThatChanges_makesANewSize)
{
    Stage stage;
    stage.show(Picture::filled(64, 48, red));
    Calls::take();
    stage.show(Picture::filled(64, 64, green));
    CHECK(madeEverything());
    Calls::take();
    stage.show(Picture::filled(48, 64, green));
    CHECK(madeEverything());
}

CASE(d3d11_rebuildFlag_makesEverythingAnew)
{
    Stage stage;
    stage.show(Picture::filled(64, 48, red));
    Calls::take();
    stage.show(Picture::filled(64, 48, green), true);
    CHECK(madeEverything());
    COMPARE(Calls::count("Present"), 1);
    CHECK_COLOR(10, 10, green);
}

CASE(d3d11_buffersOfTheRightSize_areNotResized)
{
    Stage stage(64, 48);
    Calls::take();
    stage.show(Picture::filled(64, 48, red));
    COMPARE(Calls::count("ResizeBuffers"), 0);
    COMPARE(Calls::count("Present"), 1);
}

CASE(d3d11_blackAndWhite)
{
    Stage stage;
    stage.show(Picture::filled(64, 48, black));
    CHECK(Hooks11::lastShot().at(32, 24).isNear({0, 0, 0}, rounding));
    stage.show(Picture::filled(64, 48, white));
    CHECK(Hooks11::lastShot().at(32, 24).isNear({1, 1, 1}, rounding));
}

CASE(d3d11_wholeColorCube)
{
    // Blocks of 4 x 4 pixels, so that the two in the middle have neighbours of the same colour only.
    const auto colorAt = [](int x, int y) {
        const int block = y / 4 * 64 + x / 4;
        return Picture::Color{block % 16 * 17, block / 16 % 16 * 17, block / 256 * 17};
    };
    Stage stage;
    stage.show(Picture(256, 256, colorAt));
    const Shot& shot = Hooks11::lastShot();
    for (int y = 1; y < 256; y += 4)
        for (int x = 1; x < 256; x += 4) {
            CHECK_COLOR(x, y, colorAt(x, y));
            CHECK(shot.at(x, y).isNear(shot.at(x + 1, y + 1), 0.002));
        }
}

CASE(d3d11_picture_isUpright)
{
    Stage stage;
    stage.show(Picture::quarters(64, 48, {red, green, blue, white}));
    CHECK_COLOR(10, 10, red);
    CHECK_COLOR(54, 10, green);
    CHECK_COLOR(54, 38, blue);
    CHECK_COLOR(10, 38, white);
}

CASE(d3d11_index_choosesTheSlice)
{
    Stage stage;
    const auto slices
        = stage.decoded({Picture::filled(64, 48, red), Picture::filled(64, 48, green), Picture::filled(64, 48, blue)});
    stage.presenter->updateFrame(64, 48, slices.get(), 2, false);
    COMPARE(Calls::count("decoder CopySubresourceRegion to 0 at 0,0,0 from 2 whole"), 1);
    CHECK_COLOR(32, 24, blue);
    stage.presenter->updateFrame(64, 48, slices.get(), 1, false);
    CHECK_COLOR(32, 24, green);
}

CASE(d3d11_indexBeyondTheArray_copiesNothing)
{
    Stage stage;
    const auto slices = stage.decoded({Picture::filled(64, 48, red), Picture::filled(64, 48, green)});
    stage.presenter->updateFrame(64, 48, slices.get(), 1, false);
    Calls::take();
    for (int index : {2, -1}) {
        stage.presenter->updateFrame(64, 48, slices.get(), index, false);
        COMPARE(Calls::count("decoder CopySubresourceRegion"), 0);
        CHECK_COLOR(32, 24, green);
    }
    COMPARE(Calls::count("Present"), 2);
}

CASE(d3d11_decodersPadding_isNotCopied)
{
    Stage stage;
    const auto padded = stage.decoded({Picture(64, 64, [](int, int y) { return y < 50 ? red : green; })});
    stage.presenter->updateFrame(64, 50, padded.get(), 0, false);
    COMPARE(Calls::count("decoder CopySubresourceRegion to 0 at 0,0,0 from 0 0,0,0-64,50,1"), 1);
    COMPARE(Calls::count("decoder refused"), 0);
    CHECK_COLOR(32, 47, red);
}

CASE(d3d11_textureSmallerThanTheFrame_isCopiedAsFarAsItGoes)
{
    Stage stage;
    const auto small = stage.decoded({Picture::filled(32, 32, red)});
    stage.presenter->updateFrame(64, 48, small.get(), 0, false);
    COMPARE(Calls::count("decoder CopySubresourceRegion to 0 at 0,0,0 from 0 whole"), 1);
    COMPARE(Calls::count("decoder refused"), 0);
    CHECK_COLOR(10, 10, red);
}

CASE(d3d11_viewRect_showsAPartOfTheFrame)
{
    Stage stage;
    const Picture quarters = Picture::quarters(64, 48, {red, green, blue, white});
    stage.presenter->setViewRect({32, 24, 32, 24});
    stage.show(quarters);
    COMPARE(Calls::count("CreateBuffer 80 usage=1 bind=1 cpu=0: -1 1 0 0.5 0.5 1 1 0 1 0.5 1 -1 0 1 1 -1 -1 0 0.5 1"),
            1);
    for (int x : {4, 32, 60})
        CHECK_COLOR(x, 24, blue);
    stage.presenter->setViewRect({16, 12, 32, 24});
    stage.show(quarters);
    CHECK_COLOR(10, 10, red);
    CHECK_COLOR(54, 38, blue);
}

CASE(d3d11_viewRectOfTheWholeFrame_changesNoCall)
{
    Stage stage;
    stage.presenter->setViewRect({0, 0, 64, 48});
    Calls::take();
    stage.show(Picture::filled(64, 48, red));
    COMPARE(Calls::take(),
            joined({createWindowBuffers,
                    createVertexStage(),
                    createFrame("64x48"),
                    createPixelStage,
                    copySlice("0 whole"),
                    bind("64 48"),
                    {"ResizeBuffers 2 64x48 format=24 flags=0"},
                    drawAndPresent}));
    stage.presenter->setViewRect({0, 0, 64, 48});
    stage.show(Picture::filled(64, 48, red));
    COMPARE(Calls::take(), joined({copySlice("0 whole"), bind("64 48"), drawAndPresent}));
}

CASE(d3d11_redraw_changesTheVertexBufferAloneAndCopiesNothing)
{
    Stage stage;
    stage.show(Picture::quarters(64, 48, {red, green, blue, white}));
    Calls::take();
    stage.presenter->setViewRect({0, 0, 32, 24});
    stage.presenter->redraw();
    COMPARE(Calls::take(),
            joined({{"CreateBuffer 80 usage=1 bind=1 cpu=0: -1 1 0 0 0 1 1 0 0.5 0 1 -1 0 0.5 0.5 -1 -1 0 0 0.5"},
                    bind("64 48"),
                    drawAndPresent}));
    CHECK_COLOR(60, 24, red);
    stage.presenter->setViewRect({});
    stage.presenter->redraw();
    CHECK_COLOR(54, 38, blue);
    COMPARE(Calls::count(createVertexStage()[0]), 1);
}

CASE(d3d11_redraw_doesNothing_withoutAFrame)
{
    Stage stage;
    Calls::take();
    stage.presenter->redraw();
    COMPARE(Calls::take(), Lines());
    stage.show(Picture::filled(64, 48, red));
    stage.presenter->clear();
    Calls::take();
    stage.presenter->redraw();
    COMPARE(Calls::take(), Lines());
}

CASE(d3d11_clear_showsTheWholeFrameAgain)
{
    Stage stage;
    const Picture quarters = Picture::quarters(64, 48, {red, green, blue, white});
    stage.presenter->setViewRect({0, 0, 32, 24});
    stage.show(quarters);
    stage.presenter->clear();
    stage.show(quarters);
    CHECK_COLOR(54, 38, blue);
}

CASE(d3d11_frame_isHeldUntilTheNextOneOrClear)
{
    Stage stage;
    const auto first = stage.decoded({Picture::filled(64, 48, red)});
    const auto second = stage.decoded({Picture::filled(64, 48, green)});
    stage.presenter->updateFrame(64, 48, first.get(), 0, false);
    COMPARE(FakeNv12::references(first.get()), 2ul);
    stage.presenter->updateFrame(64, 48, second.get(), 0, false);
    COMPARE(FakeNv12::references(first.get()), 1ul);
    stage.presenter->clear();
    COMPARE(FakeNv12::references(second.get()), 1ul);
    stage.presenter->updateFrame(64, 48, second.get(), 0, false);
    stage.presenter.reset();
    COMPARE(FakeNv12::references(second.get()), 1ul);
}

CASE(d3d11_nothingToShow_isIgnored)
{
    Stage stage;
    const auto texture = stage.decoded({Picture::filled(64, 48, red)});
    Calls::take();
    stage.presenter->updateFrame(64, 48, nullptr, 0, false);
    stage.presenter->updateFrame(0, 48, texture.get(), 0, false);
    stage.presenter->updateFrame(64, -2, texture.get(), 0, true);
    COMPARE(Calls::take(), Lines());
}

CASE(d3d11_sizes)
{
    Stage stage;
    const int sizes[][2]
        = {{16, 16}, {176, 144}, {352, 288}, {720, 576}, {1280, 720}, {1920, 1080}, {3840, 2160}, {16, 16}};
    for (const auto& size : sizes) {
        const int width = size[0];
        const int height = size[1];
        stage.show(Picture::quarters(width, height, {red, green, blue, white}));
        COMPARE(Hooks11::lastShot().width, width);
        COMPARE(Hooks11::lastShot().height, height);
        CHECK_COLOR(width / 4, height / 4, red);
        CHECK_COLOR(width - 2, 1, green);
        CHECK_COLOR(width * 3 / 4, height * 3 / 4, blue);
        CHECK_COLOR(1, height - 2, white);
    }
}

CASE(d3d11_resizedWindow_keepsTheBuffers)
{
    Stage stage;
    stage.show(Picture::filled(64, 48, red));
    stage.window.resize(300, 200);
    Calls::take();
    stage.show(Picture::filled(64, 48, green));
    COMPARE(Calls::take(), joined({copySlice("0 whole"), bind("64 48"), drawAndPresent}));
    CHECK_COLOR(32, 24, green);
}

CASE(d3d11_minimisedAndRestoredWindow)
{
    Stage stage;
    stage.show(Picture::filled(64, 48, red));
    stage.window.minimise();
    stage.show(Picture::filled(64, 48, green));
    stage.show(Picture::filled(32, 32, green));
    stage.window.restore();
    Calls::take();
    stage.show(Picture::filled(64, 48, blue));
    COMPARE(Calls::count("Present"), 1);
    CHECK_COLOR(32, 24, blue);
}

CASE(d3d11_anotherWindow_getsBuffersOfItsOwn)
{
    Stage stage;
    stage.show(Picture::filled(64, 48, red));
    {
        Window other(200, 20, 100, 100);
        stage.presenter->setWindow(other.handle());
        Calls::take();
        stage.show(Picture::filled(64, 48, green));
        CHECK(madeEverything());
        CHECK_COLOR(32, 24, green);
    }
    stage.show(Picture::filled(64, 48, red)); // into a window that is gone
    stage.presenter->setWindow(stage.window.handle());
    Calls::take();
    stage.show(Picture::filled(64, 48, blue));
    COMPARE(Calls::count("Present"), 1);
    CHECK_COLOR(32, 24, blue);
}

CASE(d3d11_withoutAWindow_nothingIsShown)
{
    Stage stage;
    stage.presenter->setWindow(nullptr);
    stage.show(Picture::filled(64, 48, red));
    COMPARE(Calls::count("Present"), 0);
}

CASE(d3d11_withoutADevice_nothingIsCalled)
{
    Calls::refuse("D3D11CreateDevice", E_FAIL);
    Stage stage;
    COMPARE(Calls::take(), (Lines{createDevice}));
    stage.show(Picture::filled(64, 48, red));
    stage.show(Picture::filled(96, 48, red), true);
    stage.presenter->redraw();
    stage.presenter->clear();
    COMPARE(Calls::take(), Lines());
}

CASE(d3d11_refusedResource_endsTheFrame)
{
    for (const char* call :
         {"CreateSwapChainForHwnd", "CreateBuffer", "CreateInputLayout", "CreateVertexShader", "CreateTexture2D",
          "GetSharedHandle", "CreateShaderResourceView", "CreateSamplerState", "CreatePixelShader"})
        checkRefusal(call, green);
}

CASE(d3d11_refusedResource_isMadeWithTheNextFrame)
{
    Stage stage;
    Calls::refuse("CreateSamplerState", E_FAIL);
    stage.show(Picture::filled(64, 48, red));
    COMPARE(Calls::count("CreatePixelShader"), 0);
    Calls::refuseNothing();
    Calls::take();
    stage.show(Picture::filled(64, 48, red));
    CHECK(madeEverything());
}

CASE(d3d11_refusedDrawing_endsTheFrame)
{
    for (const char* call : {"Map", "GetDesc1", "ResizeBuffers", "GetBuffer", "CreateRenderTargetView"})
        checkRefusal(call, blue);
}

CASE(d3d11_refusedSharing_drawsWhatWasThere)
{
    Stage stage;
    stage.show(Picture::filled(64, 48, red));
    Calls::refuse("decoder OpenSharedResource", E_FAIL);
    Calls::take();
    stage.show(Picture::filled(64, 48, green));
    COMPARE(Calls::take(), joined({{"decoder OpenSharedResource"}, bind("64 48"), drawAndPresent}));
    CHECK_COLOR(32, 24, red);
}

CASE(d3d11_refusedPresent_withTheDeviceInPlace_makesNothingAnew)
{
    Stage stage;
    stage.show(Picture::filled(64, 48, red));
    Calls::refuse("Present", E_FAIL);
    stage.show(Picture::filled(64, 48, green));
    Calls::refuseNothing();
    Calls::take();
    stage.show(Picture::filled(64, 48, blue));
    COMPARE(Calls::take(), joined({copySlice("0 whole"), bind("64 48"), drawAndPresent}));
    CHECK_COLOR(32, 24, blue);
}

CASE(d3d11_lostDevice_isReplaced)
{
    Stage stage;
    stage.show(Picture::filled(64, 48, red));
    Calls::refuse("Present", DXGI_ERROR_DEVICE_REMOVED);
    Calls::refuse("GetDeviceRemovedReason", DXGI_ERROR_DEVICE_RESET);
    Hooks11::forgetDevices();
    Calls::take();
    stage.show(Picture::filled(64, 48, green));
    COMPARE(Calls::count(createDevice), 1);
    Calls::refuseNothing();
    Calls::take();
    stage.show(Picture::filled(64, 48, blue));
    CHECK(madeEverything());
    COMPARE(Calls::count("D3D11CreateDevice"), 0);
    CHECK_COLOR(32, 24, blue);
}

CASE(d3d11_deviceLostWhileResourcesAreMade_isReplaced)
{
    Stage stage;
    Calls::refuse("CreateTexture2D", DXGI_ERROR_DEVICE_REMOVED);
    Calls::refuse("GetDeviceRemovedReason", DXGI_ERROR_DEVICE_HUNG);
    Hooks11::forgetDevices();
    Calls::take();
    stage.show(Picture::filled(64, 48, green));
    COMPARE(Calls::count("D3D11CreateDevice"), 1);
    Calls::refuseNothing();
    stage.show(Picture::filled(64, 48, blue));
    CHECK_COLOR(32, 24, blue);
}

CASE(d3d11_lostDeviceThatStaysAway_isDoneWithout)
{
    Stage stage;
    stage.show(Picture::filled(64, 48, red));
    Calls::refuse("Present", DXGI_ERROR_DEVICE_REMOVED);
    Calls::refuse("GetDeviceRemovedReason", DXGI_ERROR_DEVICE_REMOVED);
    Calls::refuse("D3D11CreateDevice", E_FAIL);
    stage.show(Picture::filled(64, 48, green));
    Calls::take();
    stage.show(Picture::filled(64, 48, blue));
    COMPARE(Calls::take(), Lines());
}
