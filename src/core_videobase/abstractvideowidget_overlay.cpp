#include "core_videobase/abstractvideowidget.h"

#include "core_videobase/abstractvideothread.h"
#include "core_videobase/bannerwidget.h"
#include "core_videobase/digitalzoom.h"
#include "core_videobase/overlaylists.h"
#include "core_videobase/overlaypainter.h"
#include "core_videobase/videolayer.h"
#include "core_videobase/videorenderers.h"

#include <QCursor>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QPainter>
#include <QThread>
#include <QTreeWidget>
#include <QUrl>
#include <QWheelEvent>

// What is painted over and around the picture, and what the user does to it.

namespace {

constexpr int osdMargin = 5; // between border and items
const char itemFormat[] = "application/x-qabstractitemmodeldatalist";
const char uriFormat[] = "text/uri-list";

QString droppedItem(QObject* source)
{
    const auto* tree = qobject_cast<QTreeWidget*>(source);
    const QTreeWidgetItem* item = tree ? tree->currentItem() : nullptr;
    return item && item->parent() ? item->data(0, Qt::UserRole).toString() : QString();
}

QString droppedText(const QDropEvent* event)
{
    const QMimeData* data = event->mimeData();
    if (data->hasUrls())
        return data->urls().value(0).toLocalFile();
    return data->hasFormat(itemFormat) ? droppedItem(event->source()) : QString();
}

} // namespace

void AbstractVideoWidget::setOsd(OsdInfo osd)
{
    overlays->set(osd);
    overlayChanged();
}

void AbstractVideoWidget::appendOsd(OsdInfo osd)
{
    overlays->append(osd);
    overlayChanged();
}

void AbstractVideoWidget::removeOsd(QString name)
{
    overlays->removeOsd(name);
    overlayChanged();
}

void AbstractVideoWidget::clearOsd()
{
    overlays->clearOsds();
    overlayChanged();
}

void AbstractVideoWidget::setGraph(GraphInfo graph)
{
    overlays->set(graph);
    overlayChanged();
}

void AbstractVideoWidget::appendGraph(GraphInfo graph)
{
    overlays->append(graph);
    overlayChanged();
}

void AbstractVideoWidget::removeGraph(QString name)
{
    overlays->removeGraph(name);
    overlayChanged();
}

void AbstractVideoWidget::clearGraph()
{
    overlays->clearGraphs();
    overlayChanged();
}

/// Any thread. A burst of changes is repainted once.
void AbstractVideoWidget::overlayChanged()
{
    if (!refreshPending.exchange(true))
        QMetaObject::invokeMethod(
            this, [this] { refreshOverlay(); }, Qt::QueuedConnection);
}

bool AbstractVideoWidget::isPictureNative() const
{
    return renderers->anyVisible() || (nativePlaying && image.isNull());
}

void AbstractVideoWidget::refreshOverlay()
{
    Q_ASSERT(QThread::currentThread() == thread());
    refreshPending = false;
    imageFillsArea = false; // until it is seen to
    spareGround();
    if (isPictureNative()) {
        resolveColors();
        overlayTime = QDateTime::currentDateTime();
        osdWidget->cutTo(overlayRegion());
    } else {
        osdWidget->uncut();
    }
    osdWidget->update();
}

/// The pixels of border, fill and items, but no fill where the picture is.
QRegion AbstractVideoWidget::overlayRegion()
{
    QImage canvas(size(), QImage::Format_ARGB32_Premultiplied);
    if (canvas.isNull())
        return {};
    canvas.fill(Qt::transparent);
    QPainter painter(&canvas);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setFont(osdWidget->font());
    drawBorder(&painter);
    painter.setCompositionMode(QPainter::CompositionMode_Clear);
    painter.fillRect(videoRect, Qt::transparent);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    OverlayPainter::drawBorder(&painter, rect(), widgetPara.borderWidth, widgetPara.borderColor, Qt::transparent);
    drawOsd(&painter);
    painter.end();
    return OverlayPainter::paintedRegion(canvas);
}

bool AbstractVideoWidget::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == osdWidget && event->type() == QEvent::Paint)
        paintLayer();
    return QWidget::eventFilter(watched, event);
}

void AbstractVideoWidget::paintLayer()
{
    resolveColors();
    QPainter painter(osdWidget);
    painter.setRenderHint(QPainter::Antialiasing);
    drawBorder(&painter);
    if (image.isNull())
        drawBg(&painter);
    else
        drawImage(&painter);
    drawOsd(&painter);
}

/// Colours that are not set become the palette's, for good.
void AbstractVideoWidget::resolveColors()
{
    if (OverlayPainter::isTransparent(widgetPara.borderColor))
        widgetPara.borderColor = palette().color(QPalette::Shadow);
    if (OverlayPainter::isTransparent(widgetPara.textColor))
        widgetPara.textColor = palette().color(QPalette::WindowText);
}

void AbstractVideoWidget::drawBorder(QPainter* painter)
{
    const QColor color = hasFocus() ? widgetPara.focusColor : widgetPara.borderColor;
    OverlayPainter::drawBorder(painter, rect(), widgetPara.borderWidth, color, widgetPara.bgColor);
}

void AbstractVideoWidget::drawBg(QPainter* painter)
{
    if (videoWidth == 0 && !renderers->anyVisible())
        OverlayPainter::drawBackground(painter, rect(), widgetPara);
}

void AbstractVideoWidget::drawImage(QPainter* painter)
{
    if (image.isNull())
        return;
    OverlayPainter::drawGraphs(&image, overlays->allGraphs());
    zoom->setImageRect(imageRect());
    const QRectF view = zoom->viewRect();
    const qreal scale = image.width() / imageRect().width();
    painter->drawImage(QRectF(videoRect), image, QRectF(view.topLeft() * scale, view.size() * scale));
    imageFillsArea = true;
}

/// The whole frame, also where a thread has shrunk it, and with it the coordinates of graphs and digital zoom.
QRectF AbstractVideoWidget::imageRect() const
{
    const qreal ratio = qMin(image.devicePixelRatio(), 1.0);
    return {QPointF(), QSizeF(image.size()) / ratio};
}

void AbstractVideoWidget::drawOsd(QPainter* painter)
{
    if (onlyAudio || widgetPara.videoMode == VideoMode_Hwnd)
        return;
    const int margin = widgetPara.borderWidth + osdMargin;
    const std::vector<OsdInfo> osds = overlays->allOsds();
    if (osds.empty())
        return;
    const QRect area = rect().adjusted(margin, margin, -margin, -margin);
    // The pixels of a cut layer must be those that it was cut to.
    const QDateTime now = isPictureNative() ? overlayTime : QDateTime::currentDateTime();
    OverlayPainter::drawOsds(painter, area, osds, now);
}

bool AbstractVideoWidget::isDigitalZoom() const { return zoom->isOn(); }

void AbstractVideoWidget::setDigitalZoom(bool enabled)
{
    zoom->setOn(enabled);
    tellPaintedSize();
    if (!enabled)
        unsetCursor();
    else if (underMouse())
        showZoomCursor();
    applyView();
}

void AbstractVideoWidget::applyView()
{
    renderers->setViewRect(zoom->normalizedView(), zoom->viewRect());
    update();
}

void AbstractVideoWidget::showZoomCursor()
{
    if (!zoomPixmap.isNull())
        setCursor(QCursor(zoomPixmap)); // its hot spot is the centre
}

void AbstractVideoWidget::wheelEvent(QWheelEvent* event)
{
    if (!zoom->isOn()) {
        QWidget::wheelEvent(event);
        return;
    }
    if (zoom->wheel(event->angleDelta().y()))
        applyView();
    event->accept();
}

void AbstractVideoWidget::mousePressEvent(QMouseEvent* event)
{
    if (zoom->isOn() && event->button() == Qt::LeftButton)
        zoom->press(event->pos());
    else
        QWidget::mousePressEvent(event);
}

void AbstractVideoWidget::mouseMoveEvent(QMouseEvent* event)
{
    if (!zoom->isOn())
        QWidget::mouseMoveEvent(event);
    else if (zoom->drag(event->pos(), size()))
        applyView();
}

void AbstractVideoWidget::mouseReleaseEvent(QMouseEvent* event)
{
    if (zoom->isOn())
        zoom->release();
    else
        QWidget::mouseReleaseEvent(event);
}

void AbstractVideoWidget::enterEvent(QEvent* event)
{
    QWidget::enterEvent(event);
    if (zoom->isOn())
        showZoomCursor();
    if (isRunning && widgetPara.showBanner && !onlyAudio && videoWidth >= 1) {
        bannerWidget->show();
        bannerWidget->raise();
        bannerWidget->recorderStateChanged(recorderState, recorderFile);
    }
}

void AbstractVideoWidget::leaveEvent(QEvent* event)
{
    QWidget::leaveEvent(event);
    bannerWidget->hide();
    unsetCursor();
}

void AbstractVideoWidget::dragEnterEvent(QDragEnterEvent* event)
{
    if (event->mimeData()->hasFormat(itemFormat)) {
        event->setDropAction(Qt::CopyAction);
        event->accept();
    } else if (event->mimeData()->hasFormat(uriFormat)) {
        event->setDropAction(Qt::LinkAction);
        event->accept();
    } else {
        event->ignore();
    }
}

void AbstractVideoWidget::dropEvent(QDropEvent* event)
{
    const QString text = droppedText(event);
    if (!text.isEmpty())
        Q_EMIT sig_fileDrag(text);
}
