#include "core_videobase/abstractvideowidget.h"

#include "core_opengl/nv12widget.h"
#include "core_opengl/yuvwidget.h"
#include "core_videobase/abstractvideothread.h"
#include "core_videobase/bannerwidget.h"
#include "core_videobase/digitalzoom.h"
#include "core_videobase/fittedrect.h"
#include "core_videobase/overlaylists.h"
#include "core_videobase/overlaypainter.h"
#include "core_videobase/surfacerenderer.h"
#include "core_videobase/videolayer.h"
#include "core_videobase/videorenderers.h"

#include <QCoreApplication>
#include <QFile>
#include <QResizeEvent>
#include <QThread>

// Pictures: how they reach the widget, what shows them and where. Painting and the user's input are in
// abstractvideowidgetoverlay.cpp, the records in abstractvideowidgetpara.cpp.

namespace {

constexpr int osdIntervalMs = 1000;
constexpr int zoomPixmapSize = 20;
const char zoomIcon[] = ":/primary/digital-zoom.svg";
const char softwareDecoding[] = "none";

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
    setStyleSheet("background-color:black;");
    setAttribute(Qt::WA_StyledBackground); // a subclass of QWidget paints the sheet's background only if told to
    QPalette onBlack = palette();
    onBlack.setColor(QPalette::WindowText, Qt::white);
    setPalette(onBlack);

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

bool AbstractVideoWidget::event(QEvent* event)
{
    if (event->type() != QEvent::MetaCall)
        return QWidget::event(event);

    // The slot that is called may delete this widget.
    const QPointer<AbstractVideoWidget> self(this);
    ++queuedCalls;
    const bool handled = QWidget::event(event);
    if (self)
        --queuedCalls;
    return handled;
}

// --- Native windows and layout

bool AbstractVideoWidget::drawsNatively() const
{
    switch (widgetPara.videoMode) {
    case VideoMode_Hwnd:
    case VideoMode_Opengl:
    case VideoMode_D3d9:
    case VideoMode_D3d11: return true;
    default: return false;
    }
}

void AbstractVideoWidget::initWidgetHandle()
{
    if (!drawsNatively())
        return;
    // A native window lies above everything that is not one, so the layers over the picture area become native too.
    for (QWidget* layer : {hwndWidget, static_cast<QWidget*>(osdWidget), static_cast<QWidget*>(bannerWidget)}) {
        layer->setAttribute(Qt::WA_NativeWindow);
        layer->winId();
        layer->raise();
    }
}

void AbstractVideoWidget::resizeEvent(QResizeEvent*) { layoutChildren(); }

void AbstractVideoWidget::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    refreshOverlay();
}

void AbstractVideoWidget::readThread()
{
    if (!videoThread)
        return;
    videoWidth = videoThread->getVideoWidth();
    videoHeight = videoThread->getVideoHeight();
    rotate = videoThread->getRotate();
    onlyAudio = videoThread->getOnlyAudio();
    hardware = videoThread->getHardware();
}

void AbstractVideoWidget::layoutChildren()
{
    readThread();
    const QSize source = rotate == 90 ? QSize(videoHeight, videoWidth) : QSize(videoWidth, videoHeight);
    const bool fillsWidget = widgetPara.borderWidth == 0 && widgetPara.scaleMode == ScaleMode_Fill;
    videoRect = fillsWidget ? rect() : fittedRect(source, rect(), widgetPara.borderWidth, widgetPara.scaleMode);
    hwndWidget->setGeometry(videoRect);
    osdWidget->setGeometry(rect());
    layoutBanner();
    layoutRenderers();
    refreshOverlay();
}

void AbstractVideoWidget::layoutBanner()
{
    const int border = widgetPara.borderWidth / 2;
    const int size = widgetPara.bannerSize;
    const int innerWidth = width() - 2 * border;
    const int innerHeight = height() - 2 * border;
    switch (widgetPara.bannerPosition) {
    case 0: bannerWidget->setGeometry(border, border, innerWidth, size); break;
    case 1: bannerWidget->setGeometry(border, height() - border - size, innerWidth, size); break;
    case 2: bannerWidget->setGeometry(border, border, size, innerHeight); break;
    case 3: bannerWidget->setGeometry(width() - border - size, border, size, innerHeight); break;
    default: break;
    }
}

void AbstractVideoWidget::layoutRenderers()
{
    const bool inHardware = hardware != softwareDecoding;
    switch (widgetPara.videoMode) {
    case VideoMode_Opengl:
        renderers->clearOpengl();
        inHardware ? renderers->fitNv12() : renderers->fitYuv();
        break;
    case VideoMode_D3d9:
        renderers->clearD3d();
        if (inHardware)
            renderers->fitD3d9();
        break;
    case VideoMode_D3d11:
        renderers->clearD3d();
        if (inHardware)
            renderers->fitD3d11();
        break;
    default: break;
    }
}

void AbstractVideoWidget::receiveSizeChanged()
{
    QCoreApplication::postEvent(this, new QResizeEvent(size(), size()));
}

// --- Start and end of playing

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
    default: break;
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

// --- Pictures

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
    applyView();
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
    zoom->setImageRect(image.rect());
    if (coversPicture)
        refreshOverlay();
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

void AbstractVideoWidget::setPalettex(bool enabled)
{
    if (widgetPara.scaleMode == ScaleMode_Fill || OverlayPainter::isTransparent(widgetPara.fillColor))
        return;
    applyFillColor(enabled);
}

void AbstractVideoWidget::applyFillColor(bool enabled)
{
    setAutoFillBackground(enabled);
    setAttribute(Qt::WA_StyledBackground, !enabled); // the sheet's black would cover the fill
    if (enabled) {
        QPalette filled = palette();
        filled.setBrush(QPalette::Window, QBrush(widgetPara.fillColor, Qt::SolidPattern));
        setPalette(filled);
    }
    // The sheet's black also wins over the palette in all children; the renderers clear to what the sheet of the
    // picture area says.
    hwndWidget->setStyleSheet(enabled ? QString("background-color:%1;").arg(widgetPara.fillColor.name()) : QString());
    update();
}

// --- Recording, talk and sound

void AbstractVideoWidget::snap(QString, bool) {}

void AbstractVideoWidget::setSaveInterval(int seconds)
{
    saveInterval = seconds;
    if (videoThread)
        videoThread->setSaveInterval(AbstractVideoThread::MANUAL_RECORD, seconds);
}

void AbstractVideoWidget::recordStart(QString path)
{
    if (!videoThread || viewOnly)
        return;
    if (saveInterval > 0)
        videoThread->setSaveInterval(AbstractVideoThread::MANUAL_RECORD, saveInterval);
    videoThread->setSavePath(AbstractVideoThread::MANUAL_RECORD, path);
    videoThread->recordStart(AbstractVideoThread::MANUAL_RECORD);
}

void AbstractVideoWidget::recordStop()
{
    if (videoThread)
        videoThread->recordStop(AbstractVideoThread::MANUAL_RECORD);
}

void AbstractVideoWidget::setRecorderState(RecorderState state, const QString& file)
{
    recorderState = state;
    recorderFile = file;
    bannerWidget->recorderStateChanged(state, file);
}

void AbstractVideoWidget::talkStart() {}

void AbstractVideoWidget::talkStop() {}

void AbstractVideoWidget::startAudioThread() {}

void AbstractVideoWidget::stopAudioThread() { audioPlayer.reset(); }

/// Queued, so that the work runs on the player's thread.
template <typename... Arguments>
void AbstractVideoWidget::callAudioPlayer(const char* slot, Arguments... arguments)
{
    if (audioPlayer)
        QMetaObject::invokeMethod(audioPlayer.data(), slot, Qt::QueuedConnection, arguments...);
}

void AbstractVideoWidget::openAudioOutput(int sampleRate, int channelCount, int sampleSize)
{
    callAudioPlayer("openAudioOutput", Q_ARG(int, sampleRate), Q_ARG(int, channelCount), Q_ARG(int, sampleSize));
}

void AbstractVideoWidget::playAudio(QByteArray samples) { callAudioPlayer("play", Q_ARG(QByteArray, samples)); }

void AbstractVideoWidget::setVolume(int volume) { callAudioPlayer("receiveVolume", Q_ARG(int, volume)); }

void AbstractVideoWidget::setMuted(bool muted)
{
    widgetPara.muted = muted;
    callAudioPlayer("receiveMuted", Q_ARG(bool, muted));
}

void AbstractVideoWidget::setCalcLevel(bool) {}
