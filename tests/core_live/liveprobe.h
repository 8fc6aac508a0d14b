#pragma once

#include "core_live/livevideowidget.h"

#include "core_videobase/abstractvideothread.h"

/// A live widget in a place of its own on the screen, whose inside can be looked at.
class LiveProbe : public LiveVideoWidget
{
    Q_OBJECT

public:
    explicit LiveProbe(XTransportProtocol transport = XTransportProtocol_Rta, QWidget* parent = nullptr)
        : LiveVideoWidget(transport, parent)
    {
        setGeometry(100, 100, 400, 300);
        WidgetPara para;
        para.videoMode = VideoMode_Opengl;
        para.scaleMode = ScaleMode_Fill;
        setWidgetPara(para);
        VideoPara video;
        video.readTimeout = 1200;
        setVideoPara(video);
    }

    AbstractVideoThread* bound() const { return videoThread; }

    using AbstractVideoWidget::audioPlayer;
    using LiveVideoWidget::receivePlayFinsh;
    using LiveVideoWidget::receivePlayStart;
};
