#pragma once

#include "core_videobase/bannerpara.h"
#include "core_videobase/videotypes.h"

#include <QColor>
#include <QImage>
#include <QMetaType>
#include <QString>

/// How a picture fits the area it is shown in.
enum ScaleMode {
    ScaleMode_Auto = 0, ///< at its own size when that fits, else shrunk with its aspect ratio kept
    ScaleMode_Aspect = 1, ///< at the largest size that fits with its aspect ratio kept
    ScaleMode_Fill = 2 ///< stretched over the whole area
};
Q_DECLARE_METATYPE(ScaleMode)

/// What a display widget hands to the video thread that it creates.
struct VideoPara
{
    int decodeType = DecodeType_Fast; ///< a DecodeType value
    QString hardware{"none"}; ///< name of the hardware decoder; "none" decodes in software
    int readTimeout = 500; ///< in milliseconds
    int connectTimeout = 500; ///< in milliseconds
};
Q_DECLARE_METATYPE(VideoPara)

/// How a display widget looks. Sizes are in pixels.
struct WidgetPara
{
    int borderWidth = 0; ///< the picture is inset by it
    QColor borderColor{Qt::transparent}; ///< transparent stands for the palette's Shadow colour
    QColor focusColor{"#22A3A9"}; ///< of the border while the widget has the focus
    QColor bgColor{Qt::transparent}; ///< fill of the whole widget under the picture; transparent for none
    QColor textColor{Qt::transparent}; ///< of bgText; transparent stands for the palette's WindowText colour
    QColor fillColor{Qt::transparent}; ///< around the picture and in its place while playing; transparent for black
    int bgTextSize = 15;
    QString bgText{"视频"}; ///< shown while there is no picture
    QImage bgImage; ///< shown in place of bgText when not null
    bool hostFlag = true; ///< the host's own; carried and not read
    bool copyImage = false; ///< keep deep copies of received images
    bool muted = false; ///< applied when playing starts
    QString videoFlag; ///< the host's own text
    ScaleMode scaleMode = ScaleMode_Auto;
    VideoMode videoMode = VideoMode_Hwnd;
    bool showBanner = false; ///< the banner bar is shown while the pointer is over a playing widget
    int bannerSize = 25; ///< thickness of the banner bar
    int bannerPosition = 0; ///< 0 top, 1 bottom, 2 left, 3 right
    BannerPara bannerPara; ///< its position is taken from bannerPosition
};
Q_DECLARE_METATYPE(WidgetPara)
