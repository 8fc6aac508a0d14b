#include "barewidget.h"
#include "scriptedwidget.h"

#include "core_videobase/bannerwidget.h"
#include "support/messageguard.h"
#include "support/screen.h"
#include "support/testpicture.h"
#include "support/waiting.h"

#include <QDrag>
#include <QDropEvent>
#include <QLabel>
#include <QMimeData>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <QTreeWidget>
#include <QUrl>
#include <QWindow>

#include <memory>
#include <thread>

namespace {

const QSize mapSize(400, 300);

QImage filled(const QSize& size, const QColor& color)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(color);
    return image;
}

OsdInfo block(const QString& name, int position, const QColor& color, const QSize& size = QSize(20, 10))
{
    OsdInfo osd;
    osd.name = name;
    osd.format = 4;
    osd.position = position;
    osd.image = filled(size, color);
    return osd;
}

/// A picture in which each pixel says where it is: red and green hold its place in halves of pixels.
QImage placeMap()
{
    QImage image(mapSize, QImage::Format_RGB32);
    for (int y = 0; y < mapSize.height(); ++y) {
        for (int x = 0; x < mapSize.width(); ++x)
            image.setPixel(x, y, qRgb(x / 2, y / 2, 200));
    }
    return image;
}

/// The place in placeMap() that is on the screen at a point of the widget.
QPoint placeAt(const QWidget* widget, const QPoint& point)
{
    const QColor color = Screen::colorAt(widget, point);
    return {color.red() * 2, color.green() * 2};
}

void wheel(QWidget* widget, int angleDelta)
{
    const QPoint at(200, 150);
    QWheelEvent event(at, widget->mapToGlobal(at), QPoint(), QPoint(0, angleDelta), Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
    QApplication::sendEvent(widget, &event);
}

void drag(QWidget* widget, const QPoint& from, const QPoint& to)
{
    QTest::mousePress(widget, Qt::LeftButton, Qt::NoModifier, from);
    QMouseEvent move(QEvent::MouseMove, to, widget->mapToGlobal(to), Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(widget, &move);
    QTest::mouseRelease(widget, Qt::LeftButton, Qt::NoModifier, to);
}

int countPixels(const QImage& image, const QColor& color, int tolerance = 30)
{
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            count += Screen::isNear(image.pixelColor(x, y), color, tolerance) ? 1 : 0;
    }
    return count;
}

} // namespace

class TestOverlays : public QObject
{
    Q_OBJECT

private:
    /// A widget that paints the place map, 400 x 300, over all of itself.
    static void showMap(BareWidget& widget, IdleThread& thread)
    {
        thread.setPicture(mapSize);
        widget.bind(&thread);
        widget.setScaleMode(ScaleMode_Fill);
        widget.play(VideoMode_Image);
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        thread.setImage(placeMap());
        QVERIFY(Screen::waitForColor(&widget, QPoint(200, 150), QColor(100, 75, 200), 2));
    }

    /// A widget that shows the test picture with OpenGL.
    static void showOpengl(ScriptedWidget& widget)
    {
        widget.show();
        QVERIFY(widget.start());
        QVERIFY(Screen::waitForColor(&widget, QPoint(300, 50), TestPicture::topRight(), 60));
    }

    std::unique_ptr<MessageGuard> guard;

private Q_SLOTS:
    void init()
    {
        guard.reset(new MessageGuard);
        QCursor::setPos(1270, 1010);
        QCoreApplication::processEvents();
    }
    void cleanup() { VERIFY_NO_UNEXPECTED_MESSAGES(*guard); }

    // --- Items

    void osd_isPlacedByItsPosition_data()
    {
        QTest::addColumn<int>("position");
        QTest::addColumn<QRect>("expected");
        // 400 x 300 with a border of 10: the area is (15, 15, 370, 270); far sides go by its size, not by its edges.
        QTest::newRow("top left") << 0 << QRect(15, 15, 20, 10);
        QTest::newRow("bottom left") << 1 << QRect(15, 260, 20, 10);
        QTest::newRow("top right") << 2 << QRect(350, 15, 20, 10);
        QTest::newRow("bottom right") << 3 << QRect(350, 260, 20, 10);
        QTest::newRow("centre") << 4 << QRect(175, 130, 20, 10);
        QTest::newRow("point") << 255 << QRect(77, 33, 20, 10);
        QTest::newRow("unknown") << 99 << QRect(15, 15, 20, 10);
    }

    void osd_isPlacedByItsPosition()
    {
        QFETCH(int, position);
        QFETCH(QRect, expected);
        BareWidget widget;
        widget.setVideoMode(VideoMode_Image);
        widget.setBorderWidth(10);
        OsdInfo osd = block("a", position, Qt::magenta);
        osd.point = QPoint(77, 33);
        widget.setOsd(osd);
        widget.show();
        QVERIFY(Screen::waitForColor(&widget, expected.center(), Qt::magenta, 2));
        QCOMPARE(countPixels(Screen::grab(&widget), Qt::magenta, 2), 200);
        QVERIFY(Screen::isNear(Screen::colorAt(&widget, expected.topLeft()), Qt::magenta, 2));
        QVERIFY(Screen::isNear(Screen::colorAt(&widget, expected.bottomRight()), Qt::magenta, 2));
    }

    void osd_keepsThePlaceOfTheItemBefore_whenItsPositionIsUnknown()
    {
        BareWidget widget;
        widget.setVideoMode(VideoMode_Image);
        widget.appendOsd(block("a", 4, Qt::magenta, QSize(60, 40)));
        widget.appendOsd(block("b", 99, Qt::cyan, QSize(10, 10)));
        widget.show();
        // Centre of the area 390 x 290.
        QVERIFY(Screen::waitForColor(&widget, QPoint(195 - 30 + 5, 145 - 20 + 5), Qt::cyan, 2));
        QVERIFY(Screen::isNear(Screen::colorAt(&widget, QPoint(195 + 20, 145 + 10)), Qt::magenta, 2));
    }

    void osd_isNotDrawn_whenItIsInvisible()
    {
        BareWidget widget;
        widget.setVideoMode(VideoMode_Image);
        OsdInfo hidden = block("a", 0, Qt::magenta);
        hidden.visible = 0;
        widget.setOsd(hidden);
        widget.appendOsd(block("b", 1, Qt::cyan));
        widget.show();
        QVERIFY(Screen::waitForColor(&widget, QPoint(10, 285), Qt::cyan, 2));
        QCOMPARE(countPixels(Screen::grab(&widget), Qt::magenta), 0);
    }

    void osd_isNotDrawn_inNativeModeOrForSound()
    {
        BareWidget widget;
        widget.setOsd(block("b", 1, Qt::cyan));
        QImage canvas(widget.size(), QImage::Format_RGB32);
        const auto drawn = [&] {
            canvas.fill(Qt::black);
            QPainter painter(&canvas);
            widget.drawOsd(&painter);
            painter.end();
            return countPixels(canvas, Qt::cyan, 2);
        };
        QCOMPARE(drawn(), 0);
        widget.setVideoMode(VideoMode_Image);
        QCOMPARE(drawn(), 200);
        IdleThread thread;
        thread.setPicture(mapSize, 0, true);
        widget.bind(&thread);
        widget.show();
        QTRY_COMPARE(drawn(), 0);
    }

    void osdText_isAlignedInTheArea_data()
    {
        QTest::addColumn<int>("position");
        QTest::addColumn<QRect>("where");
        QTest::newRow("top left") << 0 << QRect(5, 5, 200, 60);
        QTest::newRow("bottom left") << 1 << QRect(5, 235, 200, 60);
        QTest::newRow("top right") << 2 << QRect(195, 5, 200, 60);
        QTest::newRow("bottom right") << 3 << QRect(195, 235, 200, 60);
        QTest::newRow("centre") << 4 << QRect(100, 120, 200, 60);
        QTest::newRow("point") << 255 << QRect(60, 170, 200, 60);
    }

    void osdText_isAlignedInTheArea()
    {
        QFETCH(int, position);
        QFETCH(QRect, where);
        BareWidget widget;
        widget.setVideoMode(VideoMode_Image);
        OsdInfo osd;
        osd.text = "摄像机";
        osd.fontSize = 40;
        osd.color = Qt::yellow;
        osd.position = position;
        osd.point = QPoint(65, 220);
        widget.setBgText(QString());
        widget.setOsd(osd);
        widget.show();
        QVERIFY(Waiting::until([&] { return countPixels(Screen::grab(&widget), Qt::yellow) > 300; }, 5000));
        const QImage seen = Screen::grab(&widget);
        QCOMPARE(countPixels(seen.copy(where), Qt::yellow), countPixels(seen, Qt::yellow));
    }

    void osdTime_isTheMomentsInItsFormat_data()
    {
        QTest::addColumn<int>("format");
        QTest::addColumn<QString>("pattern");
        QTest::newRow("date") << 1 << "yyyy-MM-dd";
        QTest::newRow("time") << 2 << "HH:mm:ss";
        QTest::newRow("both") << 3 << "yyyy-MM-dd HH:mm:ss";
    }

    void osdTime_isTheMomentsInItsFormat()
    {
        QFETCH(int, format);
        QFETCH(QString, pattern);
        BareWidget widget;
        widget.setVideoMode(VideoMode_Image);
        OsdInfo osd;
        osd.name = "clock";
        osd.fontSize = 20;
        osd.color = Qt::white;
        const auto render = [&] {
            widget.setOsd(osd);
            QImage canvas(widget.size(), QImage::Format_RGB32);
            canvas.fill(Qt::black);
            QPainter painter(&canvas);
            widget.drawOsd(&painter);
            return canvas;
        };
        bool same = false; // unless the second ends between the two
        for (int attempt = 0; attempt < 3 && !same; ++attempt) {
            osd.format = format;
            const QImage clock = render();
            osd.format = 0;
            osd.text = QDateTime::currentDateTime().toString(pattern);
            same = render() == clock;
        }
        QVERIFY(same);
    }

    void osdList_isEditedByName()
    {
        BareWidget widget;
        widget.setVideoMode(VideoMode_Image);
        widget.show();
        const auto count = [&widget](const QColor& color) { return countPixels(Screen::grab(&widget), color, 2); };
        widget.setOsd(block("a", 0, Qt::magenta));
        widget.setOsd(block("a", 0, Qt::cyan)); // replaces
        QTRY_COMPARE(count(Qt::cyan), 200);
        QCOMPARE(count(Qt::magenta), 0);
        widget.appendOsd(block("a", 3, Qt::magenta)); // a second of that name
        QTRY_COMPARE(count(Qt::magenta), 200);
        widget.removeOsd("none");
        widget.removeOsd("a"); // the first one
        QTRY_COMPARE(count(Qt::cyan), 0);
        QCOMPARE(count(Qt::magenta), 200);
        widget.clearOsd();
        QTRY_COMPARE(count(Qt::magenta), 0);
    }

    void lists_mayBeEditedByOtherThreads_whilePainting()
    {
        ScriptedWidget widget;
        showOpengl(widget);
        std::atomic<bool> ends{false};
        const auto edit = [&](int number) {
            for (int i = 0; !ends; ++i) {
                widget.setOsd(block(QString::number(number), i % 5, Qt::magenta));
                widget.appendOsd(block("x", i % 5, Qt::cyan));
                widget.removeOsd("x");
                GraphInfo graph;
                graph.name = QString::number(number);
                graph.points = {QPoint(i % 50, i % 50)};
                widget.setGraph(graph);
                widget.appendGraph(graph);
                widget.removeGraph(graph.name);
                std::this_thread::yield();
            }
        };
        std::thread first(edit, 1);
        std::thread second(edit, 2);
        QTest::qWait(300);
        ends = true;
        first.join();
        second.join();
        widget.clearOsd();
        widget.setOsd(block("a", 0, Qt::magenta));
        QVERIFY(Screen::waitForColor(&widget, QPoint(10, 10), Qt::magenta, 2));
    }

    // --- Graphs

    void graphs_areBurnedIntoTheImage()
    {
        BareWidget widget;
        IdleThread thread;
        showMap(widget, thread);
        GraphInfo graph;
        graph.name = "g";
        graph.borderWidth = 4;
        graph.borderColor = Qt::yellow;
        graph.rect = QRect(50, 50, 100, 60);
        graph.path.moveTo(200, 20);
        graph.path.lineTo(200, 120);
        graph.points = {QPoint(300, 200)};
        widget.setGraph(graph);
        QVERIFY(Screen::waitForColor(&widget, QPoint(100, 50), Qt::yellow, 8));
        QVERIFY(Screen::isNear(Screen::colorAt(&widget, QPoint(200, 60)), Qt::yellow, 8));
        QVERIFY(Screen::isNear(Screen::colorAt(&widget, QPoint(300, 200)), Qt::yellow, 8));
        QVERIFY(!Screen::isNear(Screen::colorAt(&widget, QPoint(100, 80)), Qt::yellow, 60)); // not filled

        widget.clearGraph(); // stays in this image and is not in the next
        QTest::qWait(30);
        QVERIFY(Screen::isNear(Screen::colorAt(&widget, QPoint(100, 50)), Qt::yellow, 8));
        thread.setImage(placeMap());
        QVERIFY(Screen::waitForColor(&widget, QPoint(100, 50), QColor(50, 25, 200), 4));
    }

    void graphs_areDrawn_whateverTheImageFormat()
    {
        for (const QImage::Format format : {QImage::Format_Indexed8, QImage::Format_Grayscale8, QImage::Format_Mono,
                                            QImage::Format_RGB16, QImage::Format_RGB888}) {
            BareWidget widget;
            IdleThread thread;
            showMap(widget, thread);
            GraphInfo graph;
            graph.borderWidth = 6;
            graph.borderColor = Qt::yellow;
            graph.rect = QRect(50, 50, 100, 60);
            widget.setGraph(graph);
            thread.setImage(placeMap().convertToFormat(format));
            QVERIFY(Screen::waitForColor(&widget, QPoint(100, 50), Qt::yellow, 12));
        }
    }

    // --- Above the renderer

    void overlays_areSeenAboveTheRenderer_data()
    {
        QTest::addColumn<QString>("hardware");
        QTest::newRow("software") << "none";
        QTest::newRow("hardware") << "vaapi";
    }

    void overlays_areSeenAboveTheRenderer()
    {
        QFETCH(QString, hardware);
        QWidget host;
        host.setGeometry(60, 60, 500, 400);
        ScriptedWidget widget(&host);
        widget.setGeometry(20, 20, 400, 300);
        widget.useMode(VideoMode_Opengl, hardware);
        WidgetPara para = widget.getWidgetPara();
        para.borderWidth = 20;
        para.borderColor = Qt::cyan;
        para.focusColor = QColor(255, 128, 0);
        widget.setWidgetPara(para);
        host.show();
        QVERIFY(widget.start());
        QVERIFY(Screen::waitForColor(&widget, QPoint(300, 60), TestPicture::topRight(), 60));
        widget.clearFocus();
        for (const QPoint& onBorder : {QPoint(200, 4), QPoint(4, 150), QPoint(200, 296), QPoint(396, 150)})
            QVERIFY(Screen::waitForColor(&widget, onBorder, Qt::cyan, 2));

        widget.appendOsd(block("a", 0, Qt::magenta));
        OsdInfo text;
        text.name = "t";
        text.text = "大门入口";
        text.fontSize = 30;
        text.color = Qt::white;
        text.position = 255;
        text.point = QPoint(240, 100);
        widget.appendOsd(text);
        QVERIFY(Screen::waitForColor(&widget, QPoint(30, 30), Qt::magenta, 2));
        const QRect textRect(240, 70, 125, 38);
        QVERIFY(Waiting::until([&] { return countPixels(Screen::grab(&widget).copy(textRect), Qt::white, 10) > 200; },
                               5000));
        // The picture goes on between the letters.
        QVERIFY(countPixels(Screen::grab(&widget).copy(textRect), TestPicture::topRight(), 60) > 1000);

        QApplication::setActiveWindow(&host);
        widget.setFocus();
        QTRY_VERIFY(widget.hasFocus());
        QVERIFY(Screen::waitForColor(&widget, QPoint(200, 4), QColor(255, 128, 0), 2));
        widget.clearFocus();
        QVERIFY(Screen::waitForColor(&widget, QPoint(200, 4), Qt::cyan, 2));

        widget.resize(460, 340);
        QVERIFY(Screen::waitForColor(&widget, QPoint(456, 170), Qt::cyan, 2));
        QVERIFY(Screen::waitForColor(&widget, QPoint(350, 60), TestPicture::topRight(), 60));
        QVERIFY(Screen::waitForColor(&widget, QPoint(30, 30), Qt::magenta, 2));

        widget.removeOsd("a");
        QVERIFY(Screen::waitForColor(&widget, QPoint(30, 30), TestPicture::topLeft(), 64));
        widget.stop();
        QVERIFY(Screen::waitForColor(&widget, QPoint(350, 60), Qt::black, 2));
        QVERIFY(Screen::waitForColor(&widget, QPoint(200, 4), Qt::cyan, 2));
    }

    void fill_isSeenAroundTheRenderer_notOverIt()
    {
        const QColor fill(90, 30, 150);
        ScriptedWidget widget;
        widget.script = [](ScriptedThread* thread) { thread->pictureSize = QSize(320, 120); };
        WidgetPara para = widget.getWidgetPara();
        para.bgColor = fill;
        para.borderWidth = 8;
        para.borderColor = Qt::cyan;
        para.focusColor = Qt::cyan;
        para.scaleMode = ScaleMode_Aspect;
        widget.setWidgetPara(para);
        widget.show();
        QVERIFY(widget.start());
        QVERIFY(Screen::waitForColor(&widget, QPoint(300, 100), TestPicture::topRight(), 60));
        QVERIFY(Screen::waitForColor(&widget, QPoint(300, 30), fill, 2));
        QVERIFY(Screen::waitForColor(&widget, QPoint(200, 2), Qt::cyan, 2));
    }

    void clock_advancesOnTheScreen_whilePlaying()
    {
        ScriptedWidget widget;
        widget.script = [](ScriptedThread* thread) { thread->pictureSize = QSize(64, 64); };
        showOpengl(widget);
        OsdInfo clock;
        clock.format = 2;
        clock.fontSize = 40;
        clock.color = Qt::white;
        clock.position = 2;
        widget.setOsd(clock);
        const QRect where(200, 5, 195, 50);
        const auto letters = [&] {
            QImage seen = Screen::grab(&widget).copy(where);
            QImage white(seen.size(), QImage::Format_RGB32);
            for (int y = 0; y < seen.height(); ++y) {
                for (int x = 0; x < seen.width(); ++x)
                    white.setPixel(x, y, Screen::isNear(seen.pixelColor(x, y), Qt::white, 40) ? 1 : 0);
            }
            return white;
        };
        QVERIFY(Waiting::until([&] { return countPixels(Screen::grab(&widget).copy(where), Qt::white) > 200; }, 5000));
        const QImage before = letters();
        QVERIFY(Waiting::until([&] { return letters() != before; }, 3000));
    }

    // --- Digital zoom

    void zoom_stopsAtAQuarter()
    {
        BareWidget widget;
        IdleThread thread;
        showMap(widget, thread);
        widget.setDigitalZoom(true);
        for (int i = 0; i < 400; ++i)
            wheel(&widget, 120);
        // A quarter around the centre: 150 to 250 of 400.
        QVERIFY(Waiting::until([&] { return std::abs(placeAt(&widget, QPoint(1, 150)).x() - 150) <= 3; }, 5000));
        QVERIFY(std::abs(placeAt(&widget, QPoint(398, 150)).x() - 249) <= 3);
        QVERIFY(std::abs(placeAt(&widget, QPoint(200, 1)).y() - 112) <= 3);
        for (int i = 0; i < 800; ++i)
            wheel(&widget, -120);
        QVERIFY(Waiting::until([&] { return placeAt(&widget, QPoint(0, 0)) == QPoint(0, 0); }, 5000));
        QCOMPARE(placeAt(&widget, QPoint(399, 299)), QPoint(398, 298));
    }

    void zoom_takesOneStepPerWheelEvent()
    {
        BareWidget widget;
        IdleThread thread;
        showMap(widget, thread);
        widget.setDigitalZoom(true);
        wheel(&widget, 8 * 360); // a whole turn: a tenth of the view on each side
        QVERIFY(Waiting::until([&] { return std::abs(placeAt(&widget, QPoint(0, 150)).x() - 40) <= 2; }, 5000));
        QVERIFY(std::abs(placeAt(&widget, QPoint(399, 150)).x() - 358) <= 2);
        QVERIFY(std::abs(placeAt(&widget, QPoint(200, 0)).y() - 30) <= 2);
        wheel(&widget, 8 * 360 * 40); // beyond what a view can shrink
        wheel(&widget, 0);
        widget.setDigitalZoom(false);
        QVERIFY(Waiting::until([&] { return placeAt(&widget, QPoint(0, 150)).x() == 0; }, 5000));
    }

    void zoom_takesNoEvents_whileItIsOff()
    {
        BareWidget widget;
        IdleThread thread;
        showMap(widget, thread);
        QWheelEvent event(QPointF(20, 20), QPointF(20, 20), QPoint(), QPoint(0, 120), Qt::NoButton, Qt::NoModifier,
                          Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(&widget, &event);
        QVERIFY(!event.isAccepted());
        drag(&widget, QPoint(200, 150), QPoint(100, 100));
        QTest::qWait(20);
        QCOMPARE(placeAt(&widget, QPoint(0, 0)), QPoint(0, 0));
    }

    void dragging_stopsAtTheEdges()
    {
        BareWidget widget;
        IdleThread thread;
        showMap(widget, thread);
        widget.setDigitalZoom(true);
        for (int i = 0; i < 3; ++i)
            wheel(&widget, 8 * 360); // view (97.6, 73.2, 204.8, 153.6)
        QVERIFY(Waiting::until([&] { return std::abs(placeAt(&widget, QPoint(0, 150)).x() - 97) <= 3; }, 5000));

        drag(&widget, QPoint(100, 100), QPoint(300, 280)); // left and up by 102.4, 92.2: held at 0
        QVERIFY(Waiting::until([&] { return placeAt(&widget, QPoint(0, 0)) == QPoint(0, 0); }, 5000));

        QTest::mousePress(&widget, Qt::LeftButton, Qt::NoModifier, QPoint(390, 290));
        for (int x = 390, y = 290; x > 0; x -= 2, y = std::max(0, y - 2)) {
            QMouseEvent move(QEvent::MouseMove, QPoint(x, y), widget.mapToGlobal(QPoint(x, y)), Qt::NoButton,
                             Qt::LeftButton, Qt::NoModifier);
            QApplication::sendEvent(&widget, &move);
        }
        QTest::mouseRelease(&widget, Qt::LeftButton, Qt::NoModifier, QPoint(0, 0));
        // Moved as long as both sides stay inside: vertical movement ends at 300 - 153.6 / the strict bound.
        QVERIFY(Waiting::until([&] { return placeAt(&widget, QPoint(399, 299)).y() >= 292; }, 5000));
        QVERIFY(placeAt(&widget, QPoint(399, 299)).y() < 300);
        const QPoint there = placeAt(&widget, QPoint(399, 299));
        QMouseEvent after(QEvent::MouseMove, QPoint(300, 300), widget.mapToGlobal(QPoint(300, 300)), Qt::NoButton,
                          Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&widget, &after); // released: moves nothing
        QTest::qWait(20);
        QCOMPARE(placeAt(&widget, QPoint(399, 299)), there);
    }

    void zoom_reachesTheRenderer_andEveryEventReachesTheWidget_data()
    {
        QTest::addColumn<QString>("hardware");
        QTest::newRow("software") << "none";
        QTest::newRow("hardware") << "vaapi";
    }

    void zoom_reachesTheRenderer_andEveryEventReachesTheWidget()
    {
        QFETCH(QString, hardware);
        ScriptedWidget widget;
        widget.useMode(VideoMode_Opengl, hardware);
        showOpengl(widget);
        auto* renderer = widget.findChild<QWidget*>(hardware == "none" ? "yuvWidget" : "nv12Widget");
        QVERIFY(renderer);
        // The band takes rows 125 to 175 of 300; at four times it would take 50 to 250.
        QVERIFY(Screen::waitForColor(&widget, QPoint(390, 110), TestPicture::topRight(), 60));
        widget.setDigitalZoom(true);
        for (int i = 0; i < 200; ++i) {
            QWheelEvent event(QPointF(200, 150), QPointF(200, 150), QPoint(), QPoint(0, 120), Qt::NoButton,
                              Qt::NoModifier, Qt::NoScrollPhase, false);
            QSpontaneKeyEvent::setSpontaneous(&event); // as the window system delivers it: others stay where they are
            qApp->notify(renderer->windowHandle(), &event);
        }
        const auto isInBand = [&] {
            const QColor color = Screen::colorAt(&widget, QPoint(390, 110));
            return std::abs(color.red() - color.green()) < 24 && std::abs(color.red() - color.blue()) < 24;
        };
        QVERIFY(Waiting::until(isInBand, 5000));

        // Dragged to the upper left corner, the view shows nothing but red.
        for (int i = 0; i < 4; ++i) {
            QTest::mousePress(renderer->windowHandle(), Qt::LeftButton, Qt::NoModifier, QPoint(10, 10));
            QMouseEvent move(QEvent::MouseMove, QPointF(390, 290), widget.mapToGlobal(QPoint(390, 290)), Qt::NoButton,
                             Qt::LeftButton, Qt::NoModifier);
            QCoreApplication::sendEvent(renderer->windowHandle(), &move);
            QTest::mouseRelease(renderer->windowHandle(), Qt::LeftButton, Qt::NoModifier, QPoint(390, 290));
        }
        QVERIFY(Screen::waitForColor(&widget, QPoint(390, 20), TestPicture::topLeft(), 64));
        QVERIFY(Screen::waitForColor(&widget, QPoint(390, 280), TestPicture::topLeft(), 64));
        widget.setDigitalZoom(false);
        QVERIFY(Screen::waitForColor(&widget, QPoint(390, 20), TestPicture::topRight(), 64));
    }

    void doubleClick_overTheRenderer_mayStopTheWidget()
    {
        struct Stopper : QObject
        {
            ScriptedWidget* widget = nullptr;
            int count = 0;
            bool eventFilter(QObject*, QEvent* event) override
            {
                if (event->type() == QEvent::MouseButtonDblClick && ++count == 1)
                    widget->stop();
                return false;
            }
        } stopper;
        ScriptedWidget widget;
        stopper.widget = &widget;
        widget.installEventFilter(&stopper);
        showOpengl(widget);
        auto* renderer = widget.findChild<QWidget*>("yuvWidget");
        QTest::mouseDClick(renderer->windowHandle(), Qt::LeftButton, Qt::NoModifier, QPoint(50, 50));
        QTRY_COMPARE(stopper.count, 1);
        QVERIFY(!widget.getIsRunning());
        QVERIFY(!widget.findChild<QWidget*>("yuvWidget"));
    }

    // --- Banner

    void banner_isSeenAboveTheRenderer_whileThePointerIsOverIt()
    {
        ScriptedWidget widget;
        WidgetPara para = widget.getWidgetPara();
        para.showBanner = true;
        para.bannerSize = 40;
        para.bannerPara.bannerBgAlpha = 255;
        para.bannerPara.bannerBgColor = QColor(0, 90, 160);
        para.bannerPara.icons = QStringList(":/primary/mic.svg");
        para.bannerPara.names = QStringList("btnTalk");
        widget.setWidgetPara(para);
        widget.setBannerBgAlpha(254); // restyles with the colour of the record
        showOpengl(widget);
        widget.setRecorderState(RecorderRecording, "a.mp4");
        auto* banner = widget.findChild<BannerWidget*>();
        QVERIFY(!banner->isVisible());
        QCursor::setPos(widget.mapToGlobal(QPoint(200, 150)));
        QTRY_VERIFY(banner->isVisible());
        QVERIFY(Screen::waitForColor(&widget, QPoint(200, 35), QColor(0, 90, 160), 4));
        QVERIFY(banner->findChild<QLabel*>()->text().contains("录制中"));

        QCursor::setPos(widget.mapToGlobal(QPoint(200, 20))); // from the renderer onto the bar
        QTest::qWait(50);
        QVERIFY(banner->isVisible());
        QCursor::setPos(1270, 1010);
        QTRY_VERIFY(!banner->isVisible());
        QVERIFY(Screen::waitForColor(&widget, QPoint(300, 20), TestPicture::topRight(), 60));
    }

    void banner_staysHidden_unlessAPictureIsPlayed()
    {
        BareWidget widget;
        IdleThread thread;
        widget.changePara([](WidgetPara& para) { para.showBanner = true; });
        widget.show();
        const auto enter = [&] {
            QEvent event(QEvent::Enter);
            QCoreApplication::sendEvent(&widget, &event);
            return widget.banner()->isVisible();
        };
        QVERIFY(!enter());
        thread.setPicture(mapSize);
        widget.bind(&thread);
        widget.play(VideoMode_Image);
        QVERIFY(enter());
        widget.changePara([](WidgetPara& para) { para.showBanner = false; });
        QVERIFY(!widget.banner()->isVisible());
        QVERIFY(!enter());
        widget.changePara([](WidgetPara& para) { para.showBanner = true; });
        thread.setPicture(mapSize, 0, true);
        widget.play(VideoMode_Image);
        QVERIFY(!enter());
        thread.setPicture(QSize(0, 0));
        widget.play(VideoMode_Image);
        QVERIFY(!enter());
        thread.setPicture(mapSize);
        widget.play(VideoMode_Image);
        QVERIFY(enter());
        QEvent leave(QEvent::Leave);
        QCoreApplication::sendEvent(&widget, &leave);
        QVERIFY(!widget.banner()->isVisible());
    }

    void cursor_showsTheZoom_whileThePointerIsOverTheWidget()
    {
        BareWidget widget;
        QEvent enter(QEvent::Enter);
        QCoreApplication::sendEvent(&widget, &enter);
        QVERIFY(!widget.testAttribute(Qt::WA_SetCursor));
        widget.setDigitalZoom(true);
        QCoreApplication::sendEvent(&widget, &enter);
        QCOMPARE(widget.cursor().shape(), Qt::BitmapCursor);
        QCOMPARE(widget.cursor().pixmap().size(), QSize(20, 20));
        QCOMPARE(widget.cursor().hotSpot(), QPoint(10, 10));
        QEvent leave(QEvent::Leave);
        QCoreApplication::sendEvent(&widget, &leave);
        QCOMPARE(widget.cursor().shape(), Qt::ArrowCursor);
    }

    // --- Drag and drop

    void dragEnter_isAccepted_forFilesAndItems()
    {
        BareWidget widget;
        const auto enter = [&widget](QMimeData* data) {
            QDragEnterEvent event(QPoint(20, 20), Qt::CopyAction | Qt::LinkAction | Qt::MoveAction, data,
                                  Qt::LeftButton, Qt::NoModifier);
            event.setDropAction(Qt::MoveAction);
            event.ignore();
            QCoreApplication::sendEvent(&widget, &event);
            QDragLeaveEvent leave; // or Qt keeps the widget as its target
            QCoreApplication::sendEvent(&widget, &leave);
            return event.isAccepted() ? event.dropAction() : Qt::IgnoreAction;
        };
        QMimeData item;
        item.setData("application/x-qabstractitemmodeldatalist", "x");
        QCOMPARE(enter(&item), Qt::CopyAction);
        QMimeData file;
        file.setUrls({QUrl::fromLocalFile("/tmp/a.mp4")});
        QCOMPARE(enter(&file), Qt::LinkAction);
        QMimeData text;
        text.setText("a");
        QCOMPARE(enter(&text), Qt::IgnoreAction);
    }

    void drop_reportsTheFirstFile()
    {
        BareWidget widget;
        QSignalSpy dropped(&widget, &AbstractVideoWidget::sig_fileDrag);
        const auto drop = [&widget](const QList<QUrl>& urls) {
            QMimeData data;
            data.setUrls(urls);
            QDragEnterEvent enter(QPoint(20, 20), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
            QCoreApplication::sendEvent(&widget, &enter);
            QDropEvent event(QPointF(20, 20), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
            QCoreApplication::sendEvent(&widget, &event);
        };
        drop({QUrl::fromLocalFile("/tmp/视频.mp4"), QUrl::fromLocalFile("/tmp/b.mp4")});
        QCOMPARE(dropped.count(), 1);
        QCOMPARE(dropped.at(0).at(0).toString(), QString("/tmp/视频.mp4"));
        drop({QUrl("rtsp://10.0.0.1/live")}); // not a file
        QCOMPARE(dropped.count(), 1);
    }

    void drop_reportsAChildItem_butNoTopLevelItem()
    {
        QTreeWidget tree;
        auto* top = new QTreeWidgetItem(&tree, {"device"});
        top->setData(0, Qt::UserRole, "device-1");
        auto* child = new QTreeWidgetItem(top, {"channel"});
        child->setData(0, Qt::UserRole, "channel-7");
        BareWidget widget;
        QSignalSpy dropped(&widget, &AbstractVideoWidget::sig_fileDrag);
        // The source of a drop is known only while a drag is under way, which Windows ends at the first word of a mouse
        // whose button isn't down.
        const auto drop = [&](QTreeWidgetItem* current) {
            tree.setCurrentItem(current);
            bool isDropped = false;
            for (int attempt = 0; attempt < 10 && !isDropped; ++attempt) {
                auto* drag = new QDrag(&tree);
                drag->setMimeData(tree.model()->mimeData({tree.model()->index(0, 0)}));
                QTimer underWay;
                underWay.setSingleShot(true);
                connect(&underWay, &QTimer::timeout, &widget, [&] {
                    isDropped = true;
                    QDragEnterEvent enter(QPoint(20, 20), Qt::CopyAction, drag->mimeData(), Qt::LeftButton,
                                          Qt::NoModifier);
                    QCoreApplication::sendEvent(&widget, &enter);
                    QVERIFY(enter.isAccepted());
                    QDropEvent event(QPointF(20, 20), Qt::CopyAction, drag->mimeData(), Qt::LeftButton, Qt::NoModifier);
                    QCOMPARE(event.source(), &tree);
                    QCoreApplication::sendEvent(&widget, &event);
                    QDrag::cancel();
                });
                underWay.start(0);
                drag->exec(Qt::CopyAction);
            }
            return isDropped;
        };
        QVERIFY(drop(top));
        QCOMPARE(dropped.count(), 0);
        QVERIFY(drop(child));
        QCOMPARE(dropped.count(), 1);
        QCOMPARE(dropped.at(0).at(0).toString(), QString("channel-7"));
    }
};

QTEST_MAIN(TestOverlays)
#include "tst_overlays.moc"
