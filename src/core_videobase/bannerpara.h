#pragma once

#include <QColor>
#include <QMargins>
#include <QMetaType>
#include <QString>
#include <QStringList>

/// Everything that a banner bar is configured with. Sizes are in pixels.
struct BannerPara
{
    QMargins margins{5, 0, 3, 0}; ///< around the bar's content: left, top, right, bottom
    int spacing = 2; ///< between the label and the buttons
    int bannerBgAlpha = 100; ///< opacity of the background, 0 to 255
    QColor bannerBgColor{"#333333"};
    QColor bannerTextColor{"#FFFFFF"}; ///< of the information text and the icons
    QColor bannerPressColor{"#5EC7D9"}; ///< of the icon of a pressed button
    int position = 0; ///< edge of the display: 0 top, 1 bottom, 2 left, 3 right
    QStringList icons; ///< SVG file or resource of each button
    QStringList names; ///< object name of each button, as many as icons
    QStringList tips; ///< tool tip of each button; missing ones stay empty
    QString tag; ///< the host's own; the bar carries it and does not read it
};
Q_DECLARE_METATYPE(BannerPara)
