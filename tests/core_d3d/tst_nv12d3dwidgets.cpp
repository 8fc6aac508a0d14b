#include "core_d3d/nv12d3d11widget.h"
#include "core_d3d/nv12d3d9widget.h"
#include "core_videobase/surfacerenderer.h"
#include "fakes/presenterlog.h"

#include <QApplication>
#include <QPaintEvent>
#include <QTest>

#include <memory>

namespace {

quint8* const frame = reinterpret_cast<quint8*>(0xabc0);

/// A picture area with one renderer in it, as a display has.
struct Display
{
    using Make = std::unique_ptr<SurfaceRenderer> (*)(QWidget*);

    explicit Display(Make make)
        : renderer(make(&area))
        , windowLine("window " + PresenterLog::text(reinterpret_cast<void*>(renderer->widget()->winId())))
    {
        area.resize(160, 120);
        renderer->widget()->resize(160, 120);
    }

    QWidget area;
    const std::unique_ptr<SurfaceRenderer> renderer;
    const QString windowLine;
};

void paint(QWidget* widget)
{
    QPaintEvent event(widget->rect());
    QCoreApplication::sendEvent(widget, &event);
}

} // namespace

/// The widgets on any platform, with presenters that write down what they are told.
class TestNv12D3DWidgets : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { PresenterLog::take(); }

    void paintEvent_stopsUpdatesOfTheParent_data() { families(); }
    void paintEvent_stopsUpdatesOfTheParent()
    {
        Display display(make());
        QVERIFY(display.area.updatesEnabled());
        paint(display.renderer->widget());
        QVERIFY(!display.area.updatesEnabled());
    }

    void showEvent_allowsUpdatesOfTheParent_data() { families(); }
    void showEvent_allowsUpdatesOfTheParent()
    {
        Display display(make());
        display.area.setUpdatesEnabled(false);
        display.renderer->widget()->show();
        QShowEvent event;
        QCoreApplication::sendEvent(display.renderer->widget(), &event);
        QVERIFY(display.area.updatesEnabled());
    }

    void widget_isANativeWindowThatQtDoesNotPaint_data() { families(); }
    void widget_isANativeWindowThatQtDoesNotPaint()
    {
        Display display(make());
        const QWidget* widget = display.renderer->widget();
        QVERIFY(widget->internalWinId());
        QVERIFY(widget->testAttribute(Qt::WA_PaintOnScreen));
        QVERIFY(widget->testAttribute(Qt::WA_NoSystemBackground));
        QVERIFY(!widget->paintEngine());
    }

    void widget_coversThePictureAreaFromTheBeginning_data() { families(); }
    void widget_coversThePictureAreaFromTheBeginning()
    {
        QWidget area;
        area.resize(320, 200);
        const std::unique_ptr<SurfaceRenderer> renderer = make()(&area);
        QCOMPARE(renderer->widget()->geometry(), QRect(0, 0, 320, 200));
    }

    void withoutAParent_eventsAreHarmless()
    {
        Nv12D3D11Widget eleven;
        Nv12D3D9Widget nine;
        for (QWidget* widget : {static_cast<QWidget*>(&eleven), static_cast<QWidget*>(&nine)}) {
            widget->show();
            paint(widget);
            QVERIFY(widget->updatesEnabled());
        }
    }

    void d3d11Frame_reachesThePresenterWithTheWindow()
    {
        Display display(&SurfaceRenderer::makeD3d11);
        display.renderer->updateFrame(64, 48, frame, 5, false);
        display.renderer->updateFrame(64, 48, frame, 6, true);
        QCOMPARE(PresenterLog::take(),
                 (QStringList{display.windowLine, "frame 64x48 abc0[5]", display.windowLine,
                              "frame 64x48 abc0[6] rebuild"}));
    }

    void d3d9Frame_reachesThePresenterWithTheWindow()
    {
        Display display(&SurfaceRenderer::makeD3d9);
        PresenterLog::take();
        display.renderer->updateFrame(64, 48, frame, 0, true);
        QCOMPARE(PresenterLog::take(), (QStringList{display.windowLine, "frame 64x48 abc0"}));
    }

    void d3d9Resize_reachesThePresenter()
    {
        Display display(&SurfaceRenderer::makeD3d9);
        display.area.show();
        QVERIFY(QTest::qWaitForWindowExposed(&display.area));
        PresenterLog::take();
        display.renderer->widget()->resize(80, 60);
        QCOMPARE(PresenterLog::take(), QStringList("resized"));
    }

    void setViewRect_drawsAgainOnceTheEventsAreDone_data() { families(); }
    void setViewRect_drawsAgainOnceTheEventsAreDone()
    {
        Display display(make());
        PresenterLog::take();
        display.renderer->setViewRect(QRectF(8, 6, 32, 24));
        display.renderer->setViewRect(QRectF(8, 6, 16, 12));
        QCOMPARE(PresenterLog::take(), (QStringList{"view 8 6 32 24", "view 8 6 16 12"}));
        QTRY_COMPARE(PresenterLog::lines(), QStringList("redraw"));
        QCoreApplication::processEvents();
        QCOMPARE(PresenterLog::take(), QStringList("redraw"));
    }

    void setViewRect_doesNothing_whenItIsTheSame_data() { families(); }
    void setViewRect_doesNothing_whenItIsTheSame()
    {
        Display display(make());
        display.renderer->setViewRect(QRectF(8, 6, 32, 24));
        QTRY_VERIFY(PresenterLog::lines().contains("redraw"));
        PresenterLog::take();
        display.renderer->setViewRect(QRectF(8, 6, 32, 24));
        QCoreApplication::processEvents();
        QCOMPARE(PresenterLog::take(), QStringList());
    }

    void frame_comesInPlaceOfDrawingAgain_data() { families(); }
    void frame_comesInPlaceOfDrawingAgain()
    {
        Display display(make());
        display.renderer->setViewRect(QRectF(0, 0, 64, 48));
        display.renderer->updateFrame(64, 48, frame, 0, false);
        for (int i = 0; i < 5; ++i)
            QCoreApplication::processEvents();
        QVERIFY(!PresenterLog::take().contains("redraw"));
    }

    void clear_forgetsFrameAndView_data() { families(); }
    void clear_forgetsFrameAndView()
    {
        Display display(make());
        display.renderer->setViewRect(QRectF(8, 6, 32, 24));
        PresenterLog::take();
        display.renderer->clear();
        for (int i = 0; i < 5; ++i)
            QCoreApplication::processEvents();
        QCOMPARE(PresenterLog::take(), QStringList("clear"));
        display.renderer->setViewRect(QRectF(8, 6, 32, 24));
        QCOMPARE(PresenterLog::take(), QStringList("view 8 6 32 24"));
    }

    void destructor_endsThePresenter_data() { families(); }
    void destructor_endsThePresenter()
    {
        {
            Display display(make());
            PresenterLog::take();
        }
        QCOMPARE(PresenterLog::take(), QStringList("deleted"));
    }

private:
    void families()
    {
        QTest::addColumn<bool>("isEleven");
        QTest::newRow("Direct3D 9") << false;
        QTest::newRow("Direct3D 11") << true;
    }

    Display::Make make()
    {
        QFETCH(bool, isEleven);
        return isEleven ? &SurfaceRenderer::makeD3d11 : &SurfaceRenderer::makeD3d9;
    }
};

QTEST_MAIN(TestNv12D3DWidgets)
#include "tst_nv12d3dwidgets.moc"
