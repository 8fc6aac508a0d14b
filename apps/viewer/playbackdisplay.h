#pragma once

#include "core_vod/xrtavodwidget.h"

/// The display of a playback, which says when it has a picture to show.
class PlaybackDisplay : public XRTAVodWidget
{
    Q_OBJECT

public:
    using XRTAVodWidget::XRTAVodWidget;

Q_SIGNALS:
    /// A picture has come. The thread that decodes waits meanwhile.
    void pictureShown();

protected:
    using XRTAVodWidget::receiveFrame;
    void receiveImage(QImage picture, int time) override;
    void receiveFrame(int width, int height, quint8* dataY, quint8* dataU, quint8* dataV, quint32 linesizeY,
                      quint32 linesizeU, quint32 linesizeV) override;
    void receiveFrame(int width, int height, quint8* dataY, quint8* dataUV, quint32 linesizeY,
                      quint32 linesizeUV) override;
    void receiveFrame(int width, int height, quint8* surface, int index, bool codecChanged) override;
    void receiveFrame(int width, int height, quint8* surface, bool codecChanged) override;
};
