#include "core_videobase/abstractvideowidget.h"

#include "core_videobase/bannerwidget.h"

// The records of a display widget and their single fields.

WidgetPara AbstractVideoWidget::getWidgetPara() const { return widgetPara; }

void AbstractVideoWidget::setWidgetPara(const WidgetPara& para)
{
    const bool layoutChanged = para.borderWidth != widgetPara.borderWidth || para.scaleMode != widgetPara.scaleMode;
    widgetPara = para;
    widgetPara.bannerPara.position = para.bannerPosition;
    bannerWidget->setBannerPara(widgetPara.bannerPara);
    bannerWidget->initButton();
    if (!para.showBanner)
        bannerWidget->hide();
    layoutBanner();
    overlayChanged();
    update();
    if (layoutChanged)
        receiveSizeChanged();
}

VideoPara AbstractVideoWidget::getVideoPara() const { return videoPara; }

void AbstractVideoWidget::setVideoPara(const VideoPara& para)
{
    videoPara = para;
    hardware = para.hardware;
}

template <typename Value>
void AbstractVideoWidget::change(Value* field, const Value& value)
{
    if (*field == value)
        return;
    *field = value;
    overlayChanged();
    update();
}

template <typename Value>
void AbstractVideoWidget::changeBanner(Value BannerPara::*field, const Value& value)
{
    BannerPara para = bannerWidget->getBannerPara();
    if (para.*field == value)
        return;
    para.*field = value;
    widgetPara.bannerPara.*field = value;
    bannerWidget->setBannerPara(para);
    bannerWidget->initStyle();
    update();
}

int AbstractVideoWidget::getBgTextSize() const { return widgetPara.bgTextSize; }

void AbstractVideoWidget::setBgTextSize(int pixels) { change(&widgetPara.bgTextSize, pixels); }

QString AbstractVideoWidget::getBgText() const { return widgetPara.bgText; }

void AbstractVideoWidget::setBgText(const QString& text) { change(&widgetPara.bgText, text); }

QColor AbstractVideoWidget::getBgColor() const { return widgetPara.bgColor; }

void AbstractVideoWidget::setBgColor(const QColor& color) { change(&widgetPara.bgColor, color); }

QColor AbstractVideoWidget::getTextColor() const { return widgetPara.textColor; }

void AbstractVideoWidget::setTextColor(const QColor& color) { change(&widgetPara.textColor, color); }

int AbstractVideoWidget::getBorderWidth() const { return widgetPara.borderWidth; }

void AbstractVideoWidget::setBorderWidth(int pixels)
{
    if (widgetPara.borderWidth == pixels)
        return;
    change(&widgetPara.borderWidth, pixels);
    receiveSizeChanged();
}

QColor AbstractVideoWidget::getBorderColor() const { return widgetPara.borderColor; }

void AbstractVideoWidget::setBorderColor(const QColor& color) { change(&widgetPara.borderColor, color); }

QColor AbstractVideoWidget::getFocusColor() const { return widgetPara.focusColor; }

void AbstractVideoWidget::setFocusColor(const QColor& color) { change(&widgetPara.focusColor, color); }

int AbstractVideoWidget::getBannerBgAlpha() const { return bannerWidget->getBannerPara().bannerBgAlpha; }

void AbstractVideoWidget::setBannerBgAlpha(int alpha) { changeBanner(&BannerPara::bannerBgAlpha, alpha); }

QColor AbstractVideoWidget::getBannerBgColor() const { return bannerWidget->getBannerPara().bannerBgColor; }

void AbstractVideoWidget::setBannerBgColor(const QColor& color) { changeBanner(&BannerPara::bannerBgColor, color); }

QColor AbstractVideoWidget::getBannerTextColor() const { return bannerWidget->getBannerPara().bannerTextColor; }

void AbstractVideoWidget::setBannerTextColor(const QColor& color) { changeBanner(&BannerPara::bannerTextColor, color); }

QColor AbstractVideoWidget::getBannerPressColor() const { return bannerWidget->getBannerPara().bannerPressColor; }

void AbstractVideoWidget::setBannerPressColor(const QColor& color)
{
    changeBanner(&BannerPara::bannerPressColor, color);
}

QString AbstractVideoWidget::getVideoFlag() const { return widgetPara.videoFlag; }

void AbstractVideoWidget::setVideoFlag(const QString& flag) { widgetPara.videoFlag = flag; }

ScaleMode AbstractVideoWidget::getScaleMode() const { return widgetPara.scaleMode; }

void AbstractVideoWidget::setScaleMode(ScaleMode mode)
{
    if (widgetPara.scaleMode == mode)
        return;
    widgetPara.scaleMode = mode;
    receiveSizeChanged();
}

VideoMode AbstractVideoWidget::getVideoMode() const { return widgetPara.videoMode; }

void AbstractVideoWidget::setVideoMode(VideoMode mode) { widgetPara.videoMode = mode; }
