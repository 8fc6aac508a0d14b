#include "core_videobase/abstractvideowidget.h"

#include "core_videobase/abstractvideothread.h"
#include "core_videobase/bannerwidget.h"
#include "core_videobase/digitalzoom.h"
#include "core_videobase/fittedrect.h"
#include "core_videobase/overlaypainter.h"
#include "core_videobase/videolayer.h"
#include "core_videobase/videorenderers.h"

#include <QCoreApplication>
#include <QPainter>
#include <QResizeEvent>
#include <QStyleOption>

// Where the layers and the picture lie, and the ground around the picture.

namespace {

const char softwareDecoding[] = "none";
const char blackSheet[] = "background-color:black;";
constexpr int opaque = 255;

} // namespace

bool AbstractVideoWidget::drawsNatively() const
{
    switch (widgetPara.videoMode) {
    case VideoMode_Hwnd:
    case VideoMode_Opengl:
    case VideoMode_D3d9:
    case VideoMode_D3d11:
        return true;
    default:
        return false;
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
    tellPaintedSize();
    layoutBanner();
    layoutRenderers();
    refreshOverlay();
}

/// Spares the thread pixels that would not be seen.
void AbstractVideoWidget::tellPaintedSize()
{
    if (!videoThread)
        return;
    const bool needsAll = zoom->isOn() || widgetPara.videoMode != VideoMode_Image;
    videoThread->setPaintedSize(needsAll ? QSize() : videoRect.size() * devicePixelRatioF());
}

void AbstractVideoWidget::layoutBanner()
{
    const int border = widgetPara.borderWidth / 2;
    const int size = widgetPara.bannerSize;
    const int innerWidth = width() - 2 * border;
    const int innerHeight = height() - 2 * border;
    switch (widgetPara.bannerPosition) {
    case 0:
        bannerWidget->setGeometry(border, border, innerWidth, size);
        break;
    case 1:
        bannerWidget->setGeometry(border, height() - border - size, innerWidth, size);
        break;
    case 2:
        bannerWidget->setGeometry(border, border, size, innerHeight);
        break;
    case 3:
        bannerWidget->setGeometry(width() - border - size, border, size, innerHeight);
        break;
    default:
        break;
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
    default:
        break;
    }
}

void AbstractVideoWidget::receiveSizeChanged() { QCoreApplication::postEvent(this, new QResizeEvent(size(), size())); }

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

void AbstractVideoWidget::makeGround()
{
    setStyleSheet(blackSheet);
    setAttribute(Qt::WA_StyledBackground); // a subclass of QWidget paints the sheet's background only if told to
    QPalette onBlack = palette();
    onBlack.setColor(QPalette::WindowText, Qt::white);
    setPalette(onBlack);
}

/// False where the host has styled the widget itself.
bool AbstractVideoWidget::isGroundOpaque() const
{
    if (testAttribute(Qt::WA_StyledBackground))
        return styleSheet() == blackSheet;
    return autoFillBackground() && palette().color(QPalette::Window).alpha() == opaque;
}

/// Below an image the ground would be filled for nothing with every picture: that of all parents, the widget's own and
/// the picture area's.
void AbstractVideoWidget::spareGround()
{
    const bool spare = imageFillsArea && !isPictureNative() && !image.hasAlphaChannel() && isGroundOpaque();
    if (groundSpared == spare)
        return;
    groundSpared = spare;
    setAttribute(Qt::WA_OpaquePaintEvent, spare);
    hwndWidget->setAttribute(Qt::WA_NoSystemBackground, spare);
}

/// What Qt leaves out of a widget that is said to paint all its pixels.
void AbstractVideoWidget::paintGroundAround()
{
    QPainter painter(this);
    painter.setClipRegion(QRegion(rect()) - videoRect);
    if (autoFillBackground())
        painter.fillRect(rect(), palette().brush(QPalette::Window));
    if (!testAttribute(Qt::WA_StyledBackground))
        return;
    QStyleOption option;
    option.initFrom(this);
    style()->drawPrimitive(QStyle::PE_Widget, &option, &painter, this);
}
