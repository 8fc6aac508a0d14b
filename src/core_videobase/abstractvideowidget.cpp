#include "core_videobase/abstractvideowidget.h"

#include "core_opengl/nv12widget.h"
#include "core_opengl/yuvwidget.h"
#include "core_videobase/abstractvideothread.h"
#include "core_videobase/bannerwidget.h"
#include "core_videobase/digitalzoom.h"
#include "core_videobase/overlaylists.h"
#include "core_videobase/surfacerenderer.h"
#include "core_videobase/videolayer.h"
#include "core_videobase/videorenderers.h"

#include <QEvent>
#include <QFile>
#include <QThread>

// The start and the end of playing, and the pictures between them.

namespace {

constexpr int osdIntervalMs = 1000;
constexpr int zoomPixmapSize = 20;
const char zoomIcon[] = ":/primary/digital-zoom.svg";
const char softwareDecoding[] = "none";

int allQueuedCalls = 0; // of all widgets

QPixmap loadZoomPixmap()
{
    if (!QFile::exists(zoomIcon))
        return {};
    const QPixmap icon(zoomIcon);
    return icon.isNull() ? icon : icon.scaled(zoomPixmapSize, zoomPixmapSize);
}

} // namespace

QString AbstractVideoWidget::recordPath;
QString AbstractVideoWidget::snapPath;

AbstractVideoWidget::AbstractVideoWidget(QWidget* parent)
    : QWidget(parent)
    , overlays(std::make_unique<OverlayLists>())
    , osdTimer(this)
    , zoom(std::make_unique<DigitalZoom>())
    , zoomPixmap(loadZoomPixmap())
{
    qRegisterMetaType<OsdInfo>("OsdInfo");
    qRegisterMetaType<GraphInfo>("GraphInfo");
    setFocusPolicy(Qt::WheelFocus);
    setAcceptDrops(true);
    makeLayers();
    makeGround();

    osdTimer.setInterval(osdIntervalMs);
    connect(&osdTimer, &QTimer::timeout, this, [this] { refreshOverlay(); });
    connect(this, &AbstractVideoWidget::sig_btnClicked, this, &AbstractVideoWidget::btnClicked);
}

AbstractVideoWidget::~AbstractVideoWidget() = default;

void AbstractVideoWidget::makeLayers()
{
    hwndWidget = new QWidget(this);
    hwndWidget->setObjectName("hwndWidget");
    renderers = std::make_unique<VideoRenderers>(hwndWidget);

    osdWidget = new VideoLayer(this);
    osdWidget->installEventFilter(this);

    bannerWidget = new BannerWidget(this);
    bannerWidget->hide();
    connect(bannerWidget, QOverload<const QString&>::of(&BannerWidget::btnClicked), this,
            &AbstractVideoWidget::sig_btnClicked);
}

bool AbstractVideoWidget::getIsRunning() const { return isRunning; }

bool AbstractVideoWidget::getViewOnly() const { return viewOnly; }

void AbstractVideoWidget::setViewOnly(bool enabled) { viewOnly = enabled; }

bool AbstractVideoWidget::getIsMinimized() const { return window()->isMinimized(); }

bool AbstractVideoWidget::isInQueuedCall() const { return queuedCalls > 0; }

bool AbstractVideoWidget::isAnyInQueuedCall() { return allQueuedCalls > 0; }

bool AbstractVideoWidget::event(QEvent* event)
{
    if (event->type() == QEvent::StyleChange)
        refreshOverlay();
    if (event->type() == QEvent::Paint && groundSpared)
        paintGroundAround();
    if (event->type() != QEvent::MetaCall)
        return QWidget::event(event);

    // The slot that is called may delete this widget.
    const QPointer<AbstractVideoWidget> self(this);
    ++queuedCalls;
    ++allQueuedCalls;
    const bool handled = QWidget::event(event);
    --allQueuedCalls;
    if (self)
        --queuedCalls;
    return handled;
}

void AbstractVideoWidget::started()
{
    if (isFromBoundThread())
        isRunning = true;
}

void AbstractVideoWidget::finished()
{
    if (isFromBoundThread())
        isRunning = false;
}

void AbstractVideoWidget::receivePlayStart(int)
{
    const VideoMode mode = widgetPara.videoMode;
    nativePlaying = mode == VideoMode_Hwnd;
    if (drawsNatively() && mode != VideoMode_Opengl)
        hwndWidget->setUpdatesEnabled(false);
    resizeEvent(nullptr);
    update();
    setPalettex(true);
    setMuted(widgetPara.muted);
    startRendering();
}

void AbstractVideoWidget::startRendering()
{
    switch (widgetPara.videoMode) {
    case VideoMode_Opengl:
        osdTimer.start();
        newOpenglWidgets();
        break;
    case VideoMode_D3d9:
        osdTimer.start();
        newD3D9Widgets();
        break;
    case VideoMode_D3d11:
        osdTimer.start();
        newD3D11Widgets();
        break;
    default:
        break;
    }
}

void AbstractVideoWidget::receivePlayFinsh(QObject*)
{
    hwndWidget->setUpdatesEnabled(true);
    setPalettex(false);
    // All of them, as the mode may have been changed since the start.
    osdTimer.stop();
    nativePlaying = false;
    freeOpenglWidgets();
    freeD3D9Widgets();
    freeD3D11Widgets();
    Q_EMIT sig_receivePlayFinsh(); // last: the host may delete this widget
}

void AbstractVideoWidget::newOpenglWidgets()
{
    initWidgetHandle();
    if (hardware == softwareDecoding)
        renderers->showYuv();
    else
        renderers->showNv12();
    resizeEvent(nullptr);
}

void AbstractVideoWidget::freeOpenglWidgets()
{
    renderers->freeOpengl();
    refreshOverlay();
}

void AbstractVideoWidget::newD3D9Widgets()
{
    if (hardware == softwareDecoding)
        return;
    initWidgetHandle();
    renderers->showD3d9();
    resizeEvent(nullptr);
}

void AbstractVideoWidget::freeD3D9Widgets()
{
    renderers->freeD3d9();
    refreshOverlay();
}

void AbstractVideoWidget::newD3D11Widgets()
{
    if (hardware == softwareDecoding)
        return;
    initWidgetHandle();
    renderers->showD3d11();
    refreshOverlay();
}

void AbstractVideoWidget::freeD3D11Widgets()
{
    renderers->freeD3d11();
    refreshOverlay();
}

bool AbstractVideoWidget::isFromBoundThread() const { return sender() == videoThread; }

bool AbstractVideoWidget::isShown() const { return isVisible() && !getIsMinimized(); }

/// The renderer that is to show the frame, or null when the frame must not be shown.
template <typename Renderer>
Renderer* AbstractVideoWidget::takeFrame(Renderer* renderer, int width, int height, bool complete)
{
    Q_ASSERT(QThread::currentThread() == thread());
    if (!isFromBoundThread())
        return nullptr;
    if (isShown() && !isRunning) {
        clear();
        return nullptr;
    }
    if (!renderer)
        return nullptr;
    if (!isShown() || !complete || width <= 0 || height <= 0) {
        renderer->clear();
        return nullptr;
    }
    zoom->setImageRect(QRectF(0, 0, width, height));
    // The renderer repaints itself; what lies around and above it has not changed.
    renderers->setViewRect(zoom->normalizedView(), zoom->viewRect());
    return renderer;
}

void AbstractVideoWidget::receiveFrame(int width, int height, quint8* dataY, quint8* dataU, quint8* dataV,
                                       quint32 linesizeY, quint32 linesizeU, quint32 linesizeV)
{
    if (YuvWidget* renderer = takeFrame(renderers->yuv(), width, height, dataY && dataU && dataV))
        renderer->updateFrame(width, height, dataY, dataU, dataV, int(linesizeY), int(linesizeU), int(linesizeV));
}

void AbstractVideoWidget::receiveFrame(int width, int height, quint8* dataY, quint8* dataUV, quint32 linesizeY,
                                       quint32 linesizeUV)
{
    if (Nv12Widget* renderer = takeFrame(renderers->nv12(), width, height, dataY && dataUV))
        renderer->updateFrame(width, height, dataY, dataUV, int(linesizeY), int(linesizeUV));
}

void AbstractVideoWidget::receiveFrame(int width, int height, quint8* surface, int index, bool codecChanged)
{
    if (SurfaceRenderer* renderer = takeFrame(renderers->d3d11(), width, height, surface))
        renderer->updateFrame(width, height, surface, index, codecChanged);
}

void AbstractVideoWidget::receiveFrame(int width, int height, quint8* surface, bool codecChanged)
{
    if (SurfaceRenderer* renderer = takeFrame(renderers->d3d9(), width, height, surface))
        renderer->updateFrame(width, height, surface, 0, codecChanged);
}

void AbstractVideoWidget::receiveImage(QImage received, int)
{
    if (!isFromBoundThread() || !isShown())
        return;
    if (!isRunning) {
        clear();
        return;
    }
    const bool coversPicture = image.isNull();
    image = widgetPara.copyImage ? received.copy() : received;
    zoom->setImageRect(imageRect());
    tellPaintedSize(); // a thread that several widgets share may have been told another one's
    if (coversPicture)
        refreshOverlay();
    spareGround();
    update();
}

void AbstractVideoWidget::setImage(QImage newImage)
{
    if (newImage.isNull())
        return;
    if (newImage.size() != QSize(videoWidth, videoHeight)) {
        videoWidth = newImage.width();
        videoHeight = newImage.height();
        receiveSizeChanged();
    }
    receiveImage(newImage, 0);
}

void AbstractVideoWidget::receiveCodecChanged()
{
    image = QImage();
    refreshOverlay();
    update();
}

void AbstractVideoWidget::onDecoderDestroyed()
{
    image = QImage();
    zoom->setImageRect(image.rect());
    clearRenderers();
    refreshOverlay();
    update();
}

void AbstractVideoWidget::clearRenderers()
{
    renderers->clearOpengl();
    renderers->clearD3d();
}

void AbstractVideoWidget::clear()
{
    setDigitalZoom(false);
    videoWidth = 0;
    overlays->clearOsds();
    overlays->clearGraphs();
    zoom->clear();
    image = QImage();
    clearRenderers();
    refreshOverlay();
    update();
}
