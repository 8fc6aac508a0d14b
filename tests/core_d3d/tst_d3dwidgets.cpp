#include "wine/calls.h"
#include "wine/hooks9.h"

#include "core_d3d/comptr.h"
#include "core_videobase/surfacerenderer.h"

#include <QApplication>
#include <QTest>
#include <QWidget>

#include <d3d11.h>

#include <memory>

namespace {

const Picture::Color red{81, 90, 240};
const Picture::Color green{145, 54, 34};
const Picture::Color blue{41, 240, 110};
const Picture::Color white{235, 128, 128};

template <typename Object>
ComPtr<Object> adopted(Object* object)
{
    const ComPtr<Object> owner(object);
    if (object)
        object->Release();
    return owner;
}

unsigned long references(IUnknown* object)
{
    object->AddRef();
    return object->Release();
}

/// Empty where the last picture has nearly that color; Wine converts by the full range.
QString mismatch(const QPoint& position, const Picture::Color& color)
{
    const Rgb pixel = Hooks9::lastShot().at(position.x(), position.y());
    const bool isNear = pixel.isNear(fullBt601(color), 0.02);
    return isNear ? QString() : QString::fromStdString(pixel.text() + " and not " + fullBt601(color).text());
}

QSize shotSize() { return QSize(Hooks9::lastShot().width, Hooks9::lastShot().height); }

} // namespace

/// The widgets with Windows' own Direct3D behind them, or Wine's.
class TestD3DWidgets : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        area = std::make_unique<QWidget>(nullptr, Qt::FramelessWindowHint);
        area->setGeometry(100, 80, 320, 240);
        area->show();
        QVERIFY(QTest::qWaitForWindowExposed(area.get()));
        Calls::take();
        Calls::refuseNothing();
    }

    void cleanup() { area.reset(); }

    void d3d9Frame_fillsTheWidget()
    {
        makeD3d9();
        showQuarters();
        QCOMPARE(shotSize(), area->size());
        QCOMPARE(mismatch({10, 10}, red), QString());
        QCOMPARE(mismatch({310, 10}, green), QString());
        QCOMPARE(mismatch({310, 230}, blue), QString());
        QCOMPARE(mismatch({10, 230}, white), QString());
    }

    void d3d9Picture_followsTheSizeOfTheWidget()
    {
        makeD3d9();
        showQuarters();
        renderer->widget()->resize(200, 150);
        QCoreApplication::processEvents();
        showQuarters();
        QCOMPARE(shotSize(), QSize(200, 150));
        QCOMPARE(mismatch({195, 145}, blue), QString());
    }

    void d3d9View_isShownAtOnce()
    {
        makeD3d9();
        showQuarters();
        Calls::take();
        renderer->setViewRect(QRectF(32, 24, 32, 24));
        QTRY_COMPARE(Calls::count("StretchRect 32,24-64,48"), 1);
        QCOMPARE(mismatch({10, 10}, blue), QString());
    }

    void d3d9Widget_keepsOnShowing_whenItWasHidden()
    {
        makeD3d9();
        showQuarters();
        renderer->clear();
        renderer->widget()->hide();
        renderer->widget()->show();
        QVERIFY(area->updatesEnabled());
        Calls::take();
        showQuarters();
        QCOMPARE(Calls::count("Present"), 1);
    }

    void d3d9Clear_letsGoOfTheSurface()
    {
        makeD3d9();
        showQuarters();
        QCOMPARE(references(surface.get()), 2ul);
        renderer->clear();
        QCOMPARE(references(surface.get()), 1ul);
    }

    void widget_takesItsWindowAlong_whenItsParentChanges()
    {
        makeD3d9();
        showQuarters();
        QWidget other;
        other.resize(320, 240);
        renderer->widget()->setParent(&other);
        other.show();
        renderer->widget()->show();
        QVERIFY(QTest::qWaitForWindowExposed(&other));
        Calls::take();
        showQuarters();
        QCOMPARE(Calls::count("Present"), 1);
        QCOMPARE(mismatch({10, 10}, red), QString());
        renderer->widget()->setParent(area.get());
    }

    void d3d11Frame_isHarmless_whereNv12IsMissing()
    {
        ComPtr<ID3D11Device> decoder;
        QVERIFY(SUCCEEDED(D3D11CreateDevice(nullptr, D3D_DRIVER_TYPE_HARDWARE, nullptr, 0, nullptr, 0,
                                            D3D11_SDK_VERSION, decoder.receive(), nullptr, nullptr)));
        D3D11_TEXTURE2D_DESC description{};
        description.Width = 64;
        description.Height = 48;
        description.MipLevels = 1;
        description.ArraySize = 2;
        description.Format = DXGI_FORMAT_R8_UNORM;
        description.SampleDesc.Count = 1;
        ComPtr<ID3D11Texture2D> texture;
        QVERIFY(SUCCEEDED(decoder->CreateTexture2D(&description, nullptr, texture.receive())));
        renderer = SurfaceRenderer::makeD3d11(area.get());
        renderer->widget()->show();
        for (int frame = 0; frame < 3; ++frame)
            renderer->updateFrame(64, 48, reinterpret_cast<quint8*>(texture.get()), frame, frame == 1);
        renderer->setViewRect(QRectF(0, 0, 32, 24));
        QCoreApplication::processEvents();
        renderer->clear();
        texture->AddRef();
        QCOMPARE(texture->Release(), 1ul);
    }

private:
    void makeD3d9()
    {
        renderer = SurfaceRenderer::makeD3d9(area.get());
        renderer->widget()->show();
        QCoreApplication::processEvents();
        device = adopted(Hooks9::makeDevice(GetDesktopWindow()));
        QVERIFY(device);
        surface
            = adopted(Hooks9::makeSurface(device.get(), 64, 48, Picture::quarters(64, 48, {red, green, blue, white})));
        QVERIFY(surface);
    }

    void showQuarters() { renderer->updateFrame(64, 48, reinterpret_cast<quint8*>(surface.get()), 0, false); }

    std::unique_ptr<QWidget> area;
    std::unique_ptr<SurfaceRenderer> renderer;
    ComPtr<IDirect3DDevice9> device;
    ComPtr<IDirect3DSurface9> surface;
};

QTEST_MAIN(TestD3DWidgets)
#include "tst_d3dwidgets.moc"
