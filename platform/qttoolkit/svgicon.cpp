#include "qttoolkit/svgicon.h"

#include "qttoolkit/textcolor.h"

#include <QEvent>
#include <QFile>
#include <QIcon>
#include <QLabel>
#include <QPainter>
#include <QStyle>
#include <QSvgRenderer>

SvgIconEngine::SvgIconEngine(const QWidget* colorOf, const QString& fileName)
    : widget(colorOf)
    , renderer(new QSvgRenderer)
{
    if (QFile::exists(fileName))
        renderer->load(fileName);
    renderer->setAspectRatioMode(Qt::KeepAspectRatio);
}

bool SvgIconEngine::isValid() const { return renderer->isValid(); }

void SvgIconEngine::paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state)
{
    const qreal ratio = painter->device()->devicePixelRatioF();
    QPixmap picture = pixmap((QSizeF(rect.size()) * ratio).toSize(), mode, state);
    picture.setDevicePixelRatio(ratio);
    painter->drawPixmap(rect, picture);
}

QPixmap SvgIconEngine::pixmap(const QSize& size, QIcon::Mode, QIcon::State)
{
    if (size.isEmpty())
        return {};

    QPixmap picture(size);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    renderer->render(&painter, QRectF(QPointF(), size));
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(picture.rect(), color());
    return picture;
}

QIconEngine* SvgIconEngine::clone() const { return new SvgIconEngine(*this); }

QColor SvgIconEngine::color() const { return widget ? currentTextColor(widget) : QColor(Qt::black); }

SvgLabelIcon::SvgLabelIcon(QLabel* owner, const QIcon& shown)
    : QObject(owner)
    , label(owner)
    , icon(shown)
{
    label->installEventFilter(this);
    draw();
}

bool SvgLabelIcon::eventFilter(QObject* watched, QEvent* event)
{
    switch (event->type()) {
    case QEvent::StyleChange:
    case QEvent::PaletteChange:
    case QEvent::EnabledChange:
        if (isShown())
            draw();
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}

void SvgLabelIcon::draw()
{
    const int extent = label->style()->pixelMetric(QStyle::PM_SmallIconSize, nullptr, label);
    const QPixmap picture = icon.pixmap(label->window()->windowHandle(), QSize(extent, extent));
    shownKey = picture.cacheKey();
    label->setPixmap(picture);
}

bool SvgLabelIcon::isShown() const { return label->pixmap(Qt::ReturnByValue).cacheKey() == shownKey; }
