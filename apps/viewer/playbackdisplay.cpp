#include "playbackdisplay.h"

void PlaybackDisplay::receiveImage(QImage picture, int time)
{
    XRTAVodWidget::receiveImage(picture, time);
    Q_EMIT pictureShown();
}

void PlaybackDisplay::receiveFrame(int width, int height, quint8* dataY, quint8* dataU, quint8* dataV,
                                   quint32 linesizeY, quint32 linesizeU, quint32 linesizeV)
{
    XRTAVodWidget::receiveFrame(width, height, dataY, dataU, dataV, linesizeY, linesizeU, linesizeV);
    Q_EMIT pictureShown();
}

void PlaybackDisplay::receiveFrame(int width, int height, quint8* dataY, quint8* dataUV, quint32 linesizeY,
                                   quint32 linesizeUV)
{
    XRTAVodWidget::receiveFrame(width, height, dataY, dataUV, linesizeY, linesizeUV);
    Q_EMIT pictureShown();
}

void PlaybackDisplay::receiveFrame(int width, int height, quint8* surface, int index, bool codecChanged)
{
    XRTAVodWidget::receiveFrame(width, height, surface, index, codecChanged);
    Q_EMIT pictureShown();
}

void PlaybackDisplay::receiveFrame(int width, int height, quint8* surface, bool codecChanged)
{
    XRTAVodWidget::receiveFrame(width, height, surface, codecChanged);
    Q_EMIT pictureShown();
}
