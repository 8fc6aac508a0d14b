#include "barewidget.h"

#include "core_videobase/bannerwidget.h"
#include "core_videobase/fittedrect.h"
#include "support/messageguard.h"
#include "support/screen.h"
#include "support/testpicture.h"
#include "support/waiting.h"

#include <QGLWidget>
#include <QMetaMethod>
#include <QMetaProperty>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

#include <memory>

namespace {

const QSize pictureSize(160, 120);

QImage filled(const QSize& size, const QColor& color)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(color);
    return image;
}

class PaintCounter : public QObject
{
    Q_OBJECT

public:
    explicit PaintCounter(QWidget* widget) { widget->installEventFilter(this); }

    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() == QEvent::Paint)
            ++count;
        return false;
    }

    int count = 0;
};

/// Paints a dot in place of the image.
class DotWidget : public BareWidget
{
    Q_OBJECT

public:
    QPoint dot;

protected:
    void drawImage(QPainter* painter) override { painter->fillRect(QRect(dot - QPoint(4, 4), QSize(9, 9)), Qt::red); }
};

/// A test picture whose planes can be emitted by a thread.
struct Planes
{
    explicit Planes(int number = 0, const QSize& size = pictureSize)
        : bytes(TestPicture::i420(size, number))
        , width(size.width())
        , height(size.height())
        , y(reinterpret_cast<quint8*>(bytes.data()))
        , u(y + width * height)
        , v(u + width * height / 4)
    {
    }

    void emitOn(AbstractVideoThread& thread)
    {
        Q_EMIT thread.receiveFrame(width, height, y, u, v, quint32(width), quint32(width / 2), quint32(width / 2));
    }

    /// Delivers the picture until it is on the screen: a layout that is still on its way clears what came before it.
    bool showOn(const QWidget& widget, AbstractVideoThread& thread)
    {
        return Waiting::until(
            [&] {
                emitOn(thread);
                return Screen::isNear(Screen::colorAt(&widget, {300, 50}), TestPicture::topRight(), 60);
            },
            5000);
    }

    QByteArray bytes;
    int width;
    int height;
    quint8* y;
    quint8* u;
    quint8* v;
};

bool hasLightPixel(const QImage& image)
{
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixelColor(x, y).lightness() > 128)
                return true;
        }
    }
    return false;
}

/// Records the calls that a widget makes to its audio player.
class RecordingPlayer : public QObject
{
    Q_OBJECT

public:
    QStringList calls() const
    {
        const QMutexLocker lock(&mutex);
        return log;
    }
    std::atomic<QThread*> calledOn{nullptr};

public Q_SLOTS:
    void openAudioOutput(int sampleRate, int channelCount, int sampleSize)
    {
        add(QString("open %1 %2 %3").arg(sampleRate).arg(channelCount).arg(sampleSize));
    }
    void play(const QByteArray& data) { add(QString("play %1").arg(data.size())); }
    void receiveVolume(int volume) { add(QString("volume %1").arg(volume)); }
    void receiveMuted(bool muted) { add(QString("muted %1").arg(muted)); }

private:
    void add(const QString& call)
    {
        calledOn = QThread::currentThread();
        const QMutexLocker lock(&mutex);
        log.append(call);
    }

    mutable QMutex mutex;
    QStringList log;
};

QStringList ownMethods(const QMetaObject* meta)
{
    QStringList names;
    for (int i = meta->methodOffset(); i < meta->methodCount(); ++i)
        names.append(QString::fromLatin1(meta->method(i).methodSignature()));
    return names;
}

} // namespace

class TestAbstractVideoWidget : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<MessageGuard> guard;

private Q_SLOTS:
    void init()
    {
        guard.reset(new MessageGuard);
        QCursor::setPos(1270, 1010);
    }
    void cleanup() { VERIFY_NO_UNEXPECTED_MESSAGES(*guard); }

    void metaObject_listsSignalsAndSlots_inTheirOrder()
    {
        const QStringList expected{"receiveLevel(double)",
                                   "sig_receivePlayStart(int)",
                                   "sig_receivePlayFinsh()",
                                   "sig_fileDrag(QString)",
                                   "sig_btnClicked(QString)",
                                   "snapImage(QImage,QString)",
                                   "sig_connExceedMax()",
                                   "sig_otherError()",
                                   "sig_startTalkDeviceBusy(QString)",
                                   "sig_startTalkError(QString)",
                                   "setOsd(OsdInfo)",
                                   "appendOsd(OsdInfo)",
                                   "removeOsd(QString)",
                                   "clearOsd()",
                                   "setGraph(GraphInfo)",
                                   "appendGraph(GraphInfo)",
                                   "removeGraph(QString)",
                                   "clearGraph()",
                                   "setImage(QImage)",
                                   "clear()",
                                   "setPalettex(bool)",
                                   "snap(QString,bool)",
                                   "setSaveInterval(int)",
                                   "recordStart(QString)",
                                   "recordStop()",
                                   "talkStart()",
                                   "talkStop()",
                                   "setVolume(int)",
                                   "setMuted(bool)",
                                   "setCalcLevel(bool)",
                                   "started()",
                                   "finished()",
                                   "receivePlayStart(int)",
                                   "receivePlayFinsh(QObject*)",
                                   "btnClicked(QString)",
                                   "receiveImage(QImage,int)",
                                   "receiveSizeChanged()",
                                   "receiveCodecChanged()",
                                   "receiveFrame(int,int,quint8*,quint8*,quint8*,uint,uint,uint)",
                                   "receiveFrame(int,int,quint8*,quint8*,uint,uint)",
                                   "receiveFrame(int,int,quint8*,int,bool)",
                                   "receiveFrame(int,int,quint8*,bool)",
                                   "openAudioOutput(int,int,int)",
                                   "playAudio(QByteArray)",
                                   "newOpenglWidgets()",
                                   "freeOpenglWidgets()",
                                   "newD3D9Widgets()",
                                   "freeD3D9Widgets()",
                                   "newD3D11Widgets()",
                                   "freeD3D11Widgets()",
                                   "onDecoderDestroyed()"};
        QCOMPARE(ownMethods(&AbstractVideoWidget::staticMetaObject), expected);
    }

    void metaObject_hasItsProperties()
    {
        QStringList names;
        const QMetaObject& meta = AbstractVideoWidget::staticMetaObject;
        for (int i = meta.propertyOffset(); i < meta.propertyCount(); ++i)
            names.append(meta.property(i).name());
        QCOMPARE(names,
                 QStringList({"bgTextSize", "bgText", "bgColor", "textColor", "borderWidth", "borderColor",
                              "focusColor", "bannerBgAlpha", "bannerBgColor", "bannerTextColor", "bannerPressColor"}));
    }

    void records_haveTheirDefaults()
    {
        const BareWidget widget;
        const WidgetPara para = widget.getWidgetPara();
        QCOMPARE(para.borderWidth, 0);
        QCOMPARE(para.borderColor, QColor(Qt::transparent));
        QCOMPARE(para.focusColor, QColor("#22A3A9"));
        QCOMPARE(para.bgColor, QColor(Qt::transparent));
        QCOMPARE(para.textColor, QColor(Qt::transparent));
        QCOMPARE(para.fillColor, QColor(Qt::transparent));
        QCOMPARE(para.bgTextSize, 15);
        QCOMPARE(para.bgText, QString("视频"));
        QVERIFY(para.bgImage.isNull());
        QVERIFY(para.hostFlag);
        QVERIFY(!para.copyImage);
        QVERIFY(!para.muted);
        QVERIFY(para.videoFlag.isEmpty());
        QCOMPARE(int(para.scaleMode), 0);
        QCOMPARE(int(para.videoMode), 0);
        QVERIFY(!para.showBanner);
        QCOMPARE(para.bannerSize, 25);
        QCOMPARE(para.bannerPosition, 0);
        QCOMPARE(para.bannerPara.margins, QMargins(5, 0, 3, 0));
        const VideoPara video = widget.getVideoPara();
        QCOMPARE(video.decodeType, 0);
        QCOMPARE(video.hardware, QString("none"));
        QCOMPARE(video.readTimeout, 500);
        QCOMPARE(video.connectTimeout, 500);
    }

    void widget_hasItsLayers_whenCreated()
    {
        const BareWidget widget;
        QCOMPARE(widget.focusPolicy(), Qt::WheelFocus);
        QCOMPARE(widget.styleSheet(), QString("background-color:black;"));
        QVERIFY(widget.acceptDrops());
        QVERIFY(!widget.getIsRunning());
        QVERIFY(!widget.isDigitalZoom());
        QVERIFY(widget.area() && widget.layer());
        QVERIFY(widget.findChild<BannerWidget*>("bannerWidget"));
        QVERIFY(widget.banner()->isHidden());
        QVERIFY(!widget.renderer("yuvWidget") && !widget.renderer("nv12Widget"));
    }

    void property_isWrittenAndRead_whenItIsAWidgetField()
    {
        BareWidget widget;
        const QVector<QPair<const char*, QVariant>> values{{"bgTextSize", 22},
                                                           {"bgText", QString("x")},
                                                           {"bgColor", QColor(1, 2, 3)},
                                                           {"textColor", QColor(4, 5, 6)},
                                                           {"borderWidth", 7},
                                                           {"borderColor", QColor(8, 9, 10)},
                                                           {"focusColor", QColor(11, 12, 13)},
                                                           {"bannerBgAlpha", 50},
                                                           {"bannerBgColor", QColor(14, 15, 16)},
                                                           {"bannerTextColor", QColor(17, 18, 19)},
                                                           {"bannerPressColor", QColor(20, 21, 22)}};
        for (const auto& value : values) {
            QVERIFY(widget.setProperty(value.first, value.second));
            QCOMPARE(widget.property(value.first), value.second);
        }
        QCOMPARE(widget.getWidgetPara().bgTextSize, 22);
        QCOMPARE(widget.getWidgetPara().bannerPara.bannerBgAlpha, 50);
        const BannerPara bar = widget.findChild<BannerWidget*>()->getBannerPara();
        QCOMPARE(bar.bannerBgAlpha, 50);
        QCOMPARE(bar.bannerPressColor, QColor(20, 21, 22));
        QVERIFY(widget.banner()->styleSheet().contains("rgba(14,15,16,50)"));
    }

    void setWidgetPara_rebuildsButtonsButNotTheStyle()
    {
        BareWidget widget;
        const QString style = widget.banner()->styleSheet();
        widget.changePara([](WidgetPara& para) {
            para.bannerPosition = 2;
            para.bannerPara.bannerBgColor = Qt::red;
            para.bannerPara.icons = QStringList(":/primary/mic.svg");
            para.bannerPara.names = QStringList("btnTalk");
        });
        const auto* bar = widget.findChild<BannerWidget*>();
        QCOMPARE(bar->getBannerPara().position, 2);
        QCOMPARE(bar->getBannerPara().bannerBgColor, QColor(Qt::red));
        QVERIFY(bar->findChild<QWidget*>("btnTalk"));
        QCOMPARE(widget.banner()->styleSheet(), style);
    }

    void bannerButton_isReported_whenClicked()
    {
        BareWidget widget;
        widget.changePara([](WidgetPara& para) {
            para.bannerPara.icons = QStringList(":/primary/volume.svg");
            para.bannerPara.names = QStringList("btnSound");
        });
        const QSignalSpy clicked(&widget, &AbstractVideoWidget::sig_btnClicked);
        auto* button = widget.findChild<QWidget*>("btnSound");
        QVERIFY(button);
        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(clicked.count(), 1);
        QCOMPARE(clicked.at(0).at(0).toString(), QString("btnMuted"));
    }

    void fittedRect_followsTheScaleMode_data()
    {
        QTest::addColumn<QSize>("source");
        QTest::addColumn<int>("border");
        QTest::addColumn<int>("mode");
        QTest::addColumn<QRect>("expected");
        // In a rectangle of 400 x 300, whose centre is (199, 149).
        QTest::newRow("auto keeps what fits") << QSize(200, 100) << 0 << 0 << QRect(99, 99, 200, 100);
        QTest::newRow("auto shrinks") << QSize(800, 400) << 0 << 0 << QRect(-1, 49, 400, 200);
        QTest::newRow("auto shrinks into the border") << QSize(800, 400) << 20 << 0 << QRect(9, 55, 380, 190);
        QTest::newRow("aspect enlarges") << QSize(40, 30) << 0 << 1 << QRect(-1, -1, 400, 300);
        QTest::newRow("aspect in height") << QSize(30, 30) << 10 << 1 << QRect(55, 5, 290, 290);
        QTest::newRow("fill") << QSize(30, 30) << 10 << 2 << QRect(5, 5, 390, 290);
        QTest::newRow("even origin moves") << QSize(199, 99) << 0 << 0 << QRect(101, 101, 199, 99);
    }

    void fittedRect_followsTheScaleMode()
    {
        QFETCH(QSize, source);
        QFETCH(int, border);
        QFETCH(int, mode);
        QFETCH(QRect, expected);
        QCOMPARE(fittedRect(source, QRect(0, 0, 400, 300), border, ScaleMode(mode)), expected);
    }

    void fittedRect_hasOddOrigin_whateverTheSizes()
    {
        for (int width = 1; width < 60; width += 7) {
            for (int height = 1; height < 60; height += 5) {
                for (int mode = 0; mode < 3; ++mode) {
                    const QRect fitted = fittedRect(QSize(width, height), QRect(0, 0, 50, 41), 3, ScaleMode(mode));
                    QVERIFY(fitted.x() % 2 != 0 && fitted.y() % 2 != 0);
                }
            }
        }
    }

    void layout_givesTheVideoTheWholeWidget_whenFilledWithoutBorder()
    {
        BareWidget widget;
        widget.changePara([](WidgetPara& para) { para.scaleMode = ScaleMode_Fill; });
        widget.show();
        QTRY_COMPARE(widget.area()->geometry(), widget.rect());
        QCOMPARE(widget.layer()->geometry(), widget.rect());
        widget.setBorderWidth(10);
        QTRY_COMPARE(widget.area()->geometry(), QRect(5, 5, 390, 290));
    }

    void layout_swapsTheSize_whenTheStreamIsRotated()
    {
        BareWidget widget;
        IdleThread thread;
        thread.setPicture(QSize(200, 100), 90);
        widget.bind(&thread);
        widget.show();
        QTRY_COMPARE(widget.area()->size(), QSize(100, 200));
        QVERIFY(widget.area()->x() % 2 == 1 && widget.area()->y() % 2 == 1);
    }

    void receiveSizeChanged_relayoutsLater()
    {
        BareWidget widget;
        IdleThread thread;
        thread.setPicture(QSize(200, 100));
        widget.bind(&thread);
        widget.show();
        QTRY_COMPARE(widget.area()->size(), QSize(200, 100));
        thread.setPicture(QSize(120, 80));
        QMetaObject::invokeMethod(&widget, "receiveSizeChanged", Qt::DirectConnection);
        QCOMPARE(widget.area()->size(), QSize(200, 100));
        QTRY_COMPARE(widget.area()->size(), QSize(120, 80));
    }

    void banner_liesAlongItsEdge_data()
    {
        QTest::addColumn<int>("position");
        QTest::addColumn<QRect>("expected");
        QTest::newRow("top") << 0 << QRect(3, 3, 394, 25);
        QTest::newRow("bottom") << 1 << QRect(3, 272, 394, 25);
        QTest::newRow("left") << 2 << QRect(3, 3, 25, 294);
        QTest::newRow("right") << 3 << QRect(372, 3, 25, 294);
    }

    void banner_liesAlongItsEdge()
    {
        QFETCH(int, position);
        QFETCH(QRect, expected);
        BareWidget widget;
        widget.changePara([position](WidgetPara& para) {
            para.borderWidth = 7;
            para.bannerPosition = position;
        });
        widget.show();
        QTRY_COMPARE(widget.banner()->geometry(), expected);
        widget.changePara([](WidgetPara& para) { para.bannerPosition = 9; });
        QCOMPARE(widget.banner()->geometry(), expected);
    }

    void colors_becomeThePalettes_whenPaintedTheFirstTime()
    {
        BareWidget widget;
        QPalette palette = widget.palette();
        palette.setColor(QPalette::Shadow, QColor(10, 200, 30));
        palette.setColor(QPalette::WindowText, QColor(40, 50, 220));
        widget.setPalette(palette);
        QCOMPARE(widget.getBorderColor(), QColor(Qt::transparent));
        widget.show();
        QTRY_COMPARE(widget.getBorderColor(), QColor(10, 200, 30));
        QCOMPARE(widget.getTextColor(), QColor(40, 50, 220));

        palette.setColor(QPalette::Shadow, Qt::white);
        widget.setPalette(palette);
        widget.repaint();
        QCOMPARE(widget.getBorderColor(), QColor(10, 200, 30));
    }

    void background_isSeen_whenThereIsNoPicture()
    {
        BareWidget widget;
        widget.show();
        QVERIFY(Screen::waitForColor(&widget, QPoint(20, 20), Qt::black, 2));
        QVERIFY(Waiting::until([&] { return hasLightPixel(Screen::grab(&widget).copy(150, 130, 100, 40)); }, 5000));

        widget.changePara([](WidgetPara& para) { para.bgImage = filled(QSize(100, 80), Qt::cyan); });
        QVERIFY(Screen::waitForColor(&widget, QPoint(200, 150), Qt::cyan, 2));
        // Fitted with a border of 2 into 400 x 300: centred and moved to an odd origin.
        QVERIFY(Screen::waitForColor(&widget, QPoint(149, 109), Qt::cyan, 2));
        QVERIFY(Screen::waitForColor(&widget, QPoint(148, 108), Qt::black, 2));

        widget.setBgColor(Qt::darkGreen);
        QVERIFY(Screen::waitForColor(&widget, QPoint(20, 20), Qt::darkGreen, 2));
    }

    void setImage_isShown_whenTheWidgetRunsWithoutAThread()
    {
        BareWidget widget;
        widget.setVideoMode(VideoMode_Image);
        widget.setRunning(true);
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        widget.setImage(QImage());
        widget.setImage(filled(QSize(200, 100), Qt::red));
        QTRY_COMPARE(widget.area()->size(), QSize(200, 100));
        QVERIFY(Screen::waitForColor(&widget, QPoint(200, 150), Qt::red, 2));
        QVERIFY(Screen::waitForColor(&widget, QPoint(200, 50), Qt::black, 2));
    }

    void receiveImage_isIgnored_whenItComesFromAnotherThread()
    {
        BareWidget widget;
        IdleThread bound;
        IdleThread other;
        bound.setPicture(pictureSize);
        widget.bind(&bound);
        widget.attach(&other);
        widget.setScaleMode(ScaleMode_Fill);
        widget.play(VideoMode_Image);
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        bound.setImage(filled(pictureSize, Qt::green));
        other.setImage(filled(pictureSize, Qt::red));
        QVERIFY(Screen::waitForColor(&widget, QPoint(200, 150), Qt::green, 2));
    }

    void receiveImage_keepsACopy_onlyWhenAskedTo()
    {
        for (const bool copies : {false, true}) {
            BareWidget widget;
            IdleThread thread;
            thread.setPicture(pictureSize);
            widget.bind(&thread);
            widget.changePara([copies](WidgetPara& para) {
                para.copyImage = copies;
                para.scaleMode = ScaleMode_Fill;
            });
            widget.play(VideoMode_Image);
            widget.show();
            QVERIFY(QTest::qWaitForWindowExposed(&widget));
            QByteArray pixels(160 * 120 * 4, char(0xff));
            thread.setImage(QImage(reinterpret_cast<const uchar*>(pixels.data()), 160, 120, QImage::Format_RGB32));
            pixels.fill(char(0x40));
            widget.update();
            QVERIFY(
                Screen::waitForColor(&widget, QPoint(200, 150), copies ? QColor(Qt::white) : QColor(64, 64, 64), 2));
        }
    }

    void receiveImage_showsTheWholeFrame_whenItComesShrunk()
    {
        BareWidget widget;
        IdleThread thread;
        thread.setPicture(QSize(800, 600));
        widget.bind(&thread);
        widget.setScaleMode(ScaleMode_Fill);
        widget.play(VideoMode_Image);
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        QImage shrunk = filled(QSize(400, 300), Qt::green);
        QPainter(&shrunk).fillRect(200, 150, 200, 150, Qt::blue);
        shrunk.setDevicePixelRatio(0.5);
        GraphInfo graph;
        graph.name = "lower right";
        graph.borderColor = Qt::red;
        graph.borderWidth = 8;
        graph.rect = QRect(500, 400, 200, 100); // in pixels of the source
        widget.setGraph(graph);
        thread.setImage(shrunk);
        QVERIFY(Screen::waitForColor(&widget, QPoint(10, 10), Qt::green, 2));
        QVERIFY(Screen::waitForColor(&widget, QPoint(390, 290), Qt::blue, 2));
        QVERIFY(Screen::waitForColor(&widget, QPoint(190, 140), Qt::green, 2));
        QVERIFY(Screen::waitForColor(&widget, QPoint(250, 225), Qt::red, 2)); // the left side of the graph
        QVERIFY(Screen::waitForColor(&widget, QPoint(300, 225), Qt::blue, 2));
    }

    void thread_isToldHowLargeItsImagesArePainted()
    {
        BareWidget widget;
        IdleThread thread;
        thread.setPicture(QSize(800, 600));
        widget.bind(&thread);
        widget.setScaleMode(ScaleMode_Fill);
        widget.play(VideoMode_Image);
        QCOMPARE(thread.painted(), QSize(400, 300));
        widget.show();
        widget.resize(200, 100);
        QTRY_COMPARE(thread.painted(), QSize(200, 100));
        widget.setDigitalZoom(true);
        QCOMPARE(thread.painted(), QSize());
        widget.setDigitalZoom(false);
        QCOMPARE(thread.painted(), QSize(200, 100));
        thread.setPaintedSize(QSize(1, 1)); // by another display
        thread.setImage(filled(QSize(800, 600), Qt::green));
        QCOMPARE(thread.painted(), QSize(200, 100));
        widget.play(VideoMode_Opengl);
        QCOMPARE(thread.painted(), QSize());
    }

    void frame_onlyClears_whenTheWidgetIsNotRunning()
    {
        BareWidget widget;
        IdleThread thread;
        thread.setPicture(pictureSize);
        widget.bind(&thread);
        widget.setScaleMode(ScaleMode_Fill);
        widget.play(VideoMode_Image);
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        thread.setImage(filled(pictureSize, Qt::green));
        QVERIFY(Screen::waitForColor(&widget, QPoint(200, 100), Qt::green, 2));
        OsdInfo osd;
        osd.format = 4;
        osd.image = filled(QSize(20, 20), Qt::magenta);
        widget.setOsd(osd);
        QVERIFY(Screen::waitForColor(&widget, QPoint(10, 10), Qt::magenta, 2));

        widget.setRunning(false);
        widget.setDigitalZoom(true);
        Planes().emitOn(thread);
        QVERIFY(!widget.isDigitalZoom());
        QVERIFY(Screen::waitForColor(&widget, QPoint(200, 100), Qt::black, 2));
        QVERIFY(Screen::waitForColor(&widget, QPoint(10, 10), Qt::black, 2));
    }

    void frame_isDrawnByTheRendererOfItsDecoding_data()
    {
        QTest::addColumn<QString>("hardware");
        QTest::addColumn<QString>("renderer");
        QTest::newRow("software") << "none"
                                  << "yuvWidget";
        QTest::newRow("hardware") << "vaapi"
                                  << "nv12Widget";
    }

    void frame_isDrawnByTheRendererOfItsDecoding()
    {
        QFETCH(QString, hardware);
        QFETCH(QString, renderer);
        BareWidget widget;
        IdleThread thread;
        thread.setPicture(pictureSize);
        widget.bind(&thread);
        widget.setScaleMode(ScaleMode_Fill);
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        widget.play(VideoMode_Opengl, hardware);
        QWidget* drawing = widget.renderer(qPrintable(renderer));
        QVERIFY(drawing);
        QCOMPARE(drawing->parentWidget(), widget.area());
        QCOMPARE(drawing->geometry(), QRect(QPoint(0, 0), widget.size()));
        QCOMPARE(widget.findChildren<QGLWidget*>().size(), 1);

        Planes planes;
        memset(planes.u, 240, size_t(planes.width * planes.height / 2)); // all chroma alike: no need to interleave
        const auto emitFrame = [&] {
            if (hardware == "none")
                planes.emitOn(thread);
            else
                Q_EMIT thread.receiveFrame(planes.width, planes.height, planes.y, planes.u, 160u, 160u);
        };
        const QPoint at(50, 50);
        QVERIFY(Waiting::until(
            [&] {
                emitFrame();
                return Screen::isNear(Screen::colorAt(&widget, at), QColor(193, 0, 255), 40);
            },
            5000));

        widget.receivePlayFinsh(&thread);
        QVERIFY(!widget.renderer(qPrintable(renderer)));
        QTRY_VERIFY(widget.findChildren<QGLWidget*>().isEmpty());
        QVERIFY(Screen::waitForColor(&widget, at, Qt::black, 2));
    }

    void renderer_isShownAgain_whenPlayingStartsAgain()
    {
        BareWidget widget;
        IdleThread thread;
        thread.setPicture(pictureSize);
        widget.bind(&thread);
        widget.setScaleMode(ScaleMode_Fill);
        widget.show();
        Planes planes;
        for (int round = 0; round < 3; ++round) {
            widget.play(VideoMode_Opengl);
            QVERIFY(planes.showOn(widget, thread));
            widget.receivePlayFinsh(&thread);
        }
    }

    void frame_clearsTheRenderer_whenTheWindowIsMinimizedOrHidden_data()
    {
        QTest::addColumn<bool>("minimized");
        QTest::newRow("minimized") << true;
        QTest::newRow("hidden") << false;
    }

    void frame_clearsTheRenderer_whenTheWindowIsMinimizedOrHidden()
    {
        QFETCH(bool, minimized);
        QWidget host;
        host.setGeometry(60, 60, 500, 400);
        BareWidget widget(&host);
        widget.setGeometry(0, 0, 400, 300);
        IdleThread thread;
        thread.setPicture(pictureSize);
        widget.bind(&thread);
        widget.setScaleMode(ScaleMode_Fill);
        host.show();
        QVERIFY(QTest::qWaitForWindowExposed(&host));
        widget.play(VideoMode_Opengl);
        {
            Planes planes;
            QVERIFY(planes.showOn(widget, thread));
            minimized ? host.showMinimized() : widget.hide();
            QCOMPARE(widget.getIsMinimized(), minimized);
            planes.emitOn(thread);
        } // a renderer that kept the planes would read freed memory now
        minimized ? host.showNormal() : widget.show();
        QVERIFY(Screen::waitForColor(&widget, QPoint(300, 50), Qt::black, 2));
    }

    void frame_doesNoHarm_whenItIsIncomplete()
    {
        BareWidget widget;
        IdleThread thread;
        thread.setPicture(pictureSize);
        widget.bind(&thread);
        widget.setScaleMode(ScaleMode_Fill);
        widget.show();
        widget.play(VideoMode_Opengl);
        Planes planes;
        QVERIFY(planes.showOn(widget, thread));
        Q_EMIT thread.receiveFrame(160, 120, planes.y, nullptr, planes.v, 160u, 80u, 80u);
        QVERIFY(Screen::waitForColor(&widget, QPoint(300, 50), Qt::black, 2));
        Q_EMIT thread.receiveFrame(0, 120, planes.y, planes.u, planes.v, 160u, 80u, 80u);
        Q_EMIT thread.receiveFrame(160, -1, planes.y, planes.u, planes.v, 160u, 80u, 80u);
        Q_EMIT thread.receiveFrame(160, 120, nullptr, nullptr, 160u, 160u);
        Q_EMIT thread.receiveFrame(160, 120, nullptr, 0, false);
        Q_EMIT thread.receiveFrame(160, 120, planes.y, true);
        QTest::qWait(50);
        QVERIFY(planes.showOn(widget, thread));
    }

    void onDecoderDestroyed_takesThePlanesFromTheRenderer()
    {
        BareWidget widget;
        IdleThread thread;
        thread.setPicture(pictureSize);
        widget.bind(&thread);
        widget.setScaleMode(ScaleMode_Fill);
        widget.show();
        widget.play(VideoMode_Opengl);
        {
            Planes planes;
            QVERIFY(planes.showOn(widget, thread));
            widget.onDecoderDestroyed();
        }
        QVERIFY(Screen::waitForColor(&widget, QPoint(300, 50), Qt::black, 2));
    }

    void ground_staysAroundTheImage_whateverItBecomes()
    {
        QWidget host;
        host.setGeometry(60, 60, 500, 400);
        BareWidget widget(&host);
        widget.setGeometry(20, 20, 400, 300);
        IdleThread thread;
        thread.setPicture(QSize(200, 100));
        widget.bind(&thread);
        widget.play(VideoMode_Image);
        host.show();
        QVERIFY(QTest::qWaitForWindowExposed(&host));
        const QPoint above(200, 20);
        const QPoint center(200, 150);
        PaintCounter painted(&host);
        for (const QColor& color : {QColor(Qt::red), QColor(Qt::green), QColor(Qt::blue), QColor(Qt::yellow)}) {
            painted.count = 0;
            thread.setImage(filled(QSize(200, 100), color));
            QVERIFY(Screen::waitForColor(&widget, center, color, 2));
            QVERIFY(Screen::waitForColor(&widget, above, Qt::black, 2));
        }
        QCOMPARE(painted.count, 0); // nothing of it would be seen

        QImage halfWhite(200, 100, QImage::Format_ARGB32);
        halfWhite.fill(QColor(255, 255, 255, 128));
        for (int i = 0; i < 3; ++i) { // they don't add up
            thread.setImage(halfWhite);
            widget.repaint();
            QVERIFY(Screen::waitForColor(&widget, center, QColor(128, 128, 128), 2));
        }
        for (int i = 0; i < 3; ++i) {
            thread.setImage(filled(QSize(200, 100), Qt::red));
            widget.repaint();
        }
        widget.setStyleSheet("background-color:#102080;"); // while the image stays
        QVERIFY(Screen::waitForColor(&widget, above, QColor(0x10, 0x20, 0x80), 2));
        QVERIFY(Screen::waitForColor(&widget, center, Qt::red, 2));
        widget.setStyleSheet("background-color:transparent;");
        QVERIFY(Screen::waitForColor(&widget, above, host.palette().color(QPalette::Window), 2));
        widget.clear();
        QVERIFY(Screen::waitForColor(&widget, center, host.palette().color(QPalette::Window), 2));
    }

    void fillColor_isSeenAroundImages()
    {
        const QColor fill(200, 60, 120);
        BareWidget widget;
        IdleThread thread;
        thread.setPicture(QSize(200, 100));
        widget.bind(&thread);
        widget.changePara([fill](WidgetPara& para) { para.fillColor = fill; });
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        widget.play(VideoMode_Image);
        for (const QColor& color : {QColor(Qt::red), QColor(Qt::green), QColor(Qt::blue)}) {
            thread.setImage(filled(QSize(200, 100), color));
            QVERIFY(Screen::waitForColor(&widget, QPoint(200, 150), color, 2));
            QVERIFY(Screen::waitForColor(&widget, QPoint(200, 20), fill, 2));
        }
        widget.receivePlayFinsh(&thread);
        widget.clear();
        QVERIFY(Screen::waitForColor(&widget, QPoint(200, 20), Qt::black, 2));
        QVERIFY(Screen::waitForColor(&widget, QPoint(200, 150), Qt::black, 2));
    }

    void ground_isSeen_whereAHostsOwnImageLeavesIt()
    {
        DotWidget widget;
        IdleThread thread;
        thread.setPicture(QSize(400, 300));
        widget.bind(&thread);
        widget.play(VideoMode_Image);
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        for (int i = 1; i < 4; ++i) {
            widget.dot = QPoint(80 * i, 150);
            thread.setImage(filled(QSize(400, 300), Qt::green));
            QVERIFY(Screen::waitForColor(&widget, widget.dot, Qt::red, 2));
            QVERIFY(Screen::waitForColor(&widget, widget.dot - QPoint(80, 0), Qt::black, 2)); // no trail
        }
        widget.dot += QPoint(0, 60);
        widget.update(); // as a host asks for it
        QVERIFY(Screen::waitForColor(&widget, widget.dot, Qt::red, 2));
        QVERIFY(Screen::waitForColor(&widget, widget.dot - QPoint(0, 60), Qt::black, 2));
    }

    void receiveCodecChanged_dropsTheImage()
    {
        BareWidget widget;
        IdleThread thread;
        thread.setPicture(pictureSize);
        widget.bind(&thread);
        widget.setScaleMode(ScaleMode_Fill);
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        widget.play(VideoMode_Image);
        thread.setImage(filled(pictureSize, Qt::green));
        QVERIFY(Screen::waitForColor(&widget, QPoint(200, 150), Qt::green, 2));
        widget.receiveCodecChanged();
        QVERIFY(Screen::waitForColor(&widget, QPoint(200, 150), Qt::black, 2));
    }

    void fillColor_reachesRendererAndSurroundings_whilePlaying()
    {
        const QColor fill(200, 60, 120);
        QWidget host;
        host.setGeometry(60, 60, 500, 400);
        BareWidget widget(&host);
        widget.setGeometry(20, 20, 400, 300);
        IdleThread thread;
        thread.setPicture(QSize(200, 100));
        widget.bind(&thread);
        widget.changePara([fill](WidgetPara& para) { para.fillColor = fill; });
        host.show();
        QVERIFY(QTest::qWaitForWindowExposed(&host));
        QVERIFY(Screen::waitForColor(&widget, QPoint(10, 10), Qt::black, 2));
        widget.play(VideoMode_Opengl);
        QVERIFY(widget.autoFillBackground());
        QCOMPARE(widget.palette().color(QPalette::Disabled, QPalette::Window), fill);
        QVERIFY(Screen::waitForColor(&widget, QPoint(10, 10), fill, 2)); // beside the picture
        QVERIFY(Screen::waitForColor(&widget, QPoint(200, 150), fill, 2)); // cleared by the renderer
        widget.receivePlayFinsh(&thread);
        QVERIFY(!widget.autoFillBackground());
        QVERIFY(Screen::waitForColor(&widget, QPoint(10, 10), Qt::black, 2));
    }

    void setPalettex_doesNothing_whenThePictureFills()
    {
        BareWidget widget;
        widget.changePara([](WidgetPara& para) {
            para.fillColor = Qt::red;
            para.scaleMode = ScaleMode_Fill;
        });
        widget.setPalettex(true);
        QVERIFY(!widget.autoFillBackground());
        QVERIFY(widget.palette().color(QPalette::Window) != QColor(Qt::red));
    }

    void play_switchesUpdatesOfThePictureArea_inNativeModes()
    {
        for (const VideoMode mode : {VideoMode_Hwnd, VideoMode_D3d9, VideoMode_D3d11}) {
            BareWidget widget;
            widget.play(mode);
            QVERIFY(!widget.area()->updatesEnabled());
            widget.receivePlayFinsh(nullptr);
            QVERIFY(widget.area()->updatesEnabled());
        }
        BareWidget widget;
        widget.play(VideoMode_Opengl);
        QVERIFY(widget.area()->updatesEnabled());
    }

    void initWidgetHandle_makesThePictureAreaNative_unlessTheWidgetPaints()
    {
        BareWidget widget;
        widget.setVideoMode(VideoMode_Image);
        widget.initWidgetHandle();
        QVERIFY(!widget.area()->testAttribute(Qt::WA_NativeWindow));
        widget.setVideoMode(VideoMode_Hwnd);
        widget.initWidgetHandle();
        QVERIFY(widget.area()->internalWinId() != 0);
    }

    void pictureArea_isNotCovered_whenOthersDrawIntoIt()
    {
        BareWidget widget;
        widget.changePara([](WidgetPara& para) {
            para.scaleMode = ScaleMode_Fill;
            para.borderWidth = 10;
            para.borderColor = Qt::green;
        });
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        widget.initWidgetHandle();
        widget.play(VideoMode_Hwnd);
        QTRY_VERIFY(!widget.layer()->mask().isEmpty());
        QVERIFY(!widget.layer()->mask().contains(QPoint(200, 150)));
        QVERIFY(widget.layer()->mask().contains(QPoint(200, 2)));
        widget.receivePlayFinsh(nullptr);
        QVERIFY(widget.layer()->mask().isEmpty());
    }

    void audioHooks_doNothing_withoutAPlayer()
    {
        BareWidget widget;
        widget.setViewOnly(true); // takes no sound
        widget.startAudioThread();
        QVERIFY(!widget.audioPlayer);
        widget.openAudioOutput(8000, 1, 16);
        widget.playAudio("abc");
        widget.setVolume(10);
        widget.setCalcLevel(true);
        widget.setMuted(true);
        QVERIFY(widget.getWidgetPara().muted);
        widget.stopAudioThread();
    }

    void audioHooks_callThePlayerOnItsThread()
    {
        QThread playing;
        playing.start();
        auto* player = new RecordingPlayer;
        player->moveToThread(&playing);
        BareWidget widget;
        widget.audioPlayer = QSharedPointer<QObject>(player, &QObject::deleteLater);
        widget.openAudioOutput(8000, 2, 16);
        widget.playAudio("abc");
        widget.setVolume(10);
        widget.setMuted(true);
        QTRY_COMPARE(player->calls(), QStringList({"open 8000 2 16", "play 3", "volume 10", "muted 1"}));
        QVERIFY(player->calledOn == &playing);
        widget.play(VideoMode_Image); // applies the stored flag
        QTRY_COMPARE(player->calls().size(), 5);
        QCOMPARE(player->calls().last(), QString("muted 1"));
        widget.stopAudioThread();
        playing.quit();
        playing.wait();
    }

    void recordStart_steersTheBoundThread_unlessTheWidgetOnlyShows()
    {
        BareWidget widget;
        IdleThread thread;
        widget.recordStart("/tmp");
        widget.bind(&thread);
        widget.setViewOnly(true);
        widget.recordStart("/tmp");
        QVERIFY(!thread.isRecording(AbstractVideoThread::MANUAL_RECORD));
        widget.setViewOnly(false);
        widget.setSaveInterval(30);
        widget.recordStart("/tmp");
        QVERIFY(thread.isRecording(AbstractVideoThread::MANUAL_RECORD));
        QVERIFY(!thread.isRecording(AbstractVideoThread::AUTO_RECORD));
        QCOMPARE(thread.getSaveInterval(AbstractVideoThread::MANUAL_RECORD), 30);
        widget.recordStop();
        QVERIFY(!thread.isRecording(AbstractVideoThread::MANUAL_RECORD));
    }

    void videoFlag_isCarried()
    {
        BareWidget widget;
        widget.setVideoFlag("gate");
        QCOMPARE(widget.getWidgetPara().videoFlag, QString("gate"));
        QCOMPARE(widget.getVideoFlag(), QString("gate"));
    }
};

QTEST_MAIN(TestAbstractVideoWidget)
#include "tst_abstractvideowidget.moc"
