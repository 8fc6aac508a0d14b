#pragma once

#include "core_videobase/abstractvideowidget.h"

#include "core_videobase/abstractvideothread.h"

#include <QPainter>

/// A thread that never runs: a test emits its signals on the GUI thread.
class IdleThread : public AbstractVideoThread
{
    Q_OBJECT

public:
    using AbstractVideoThread::AbstractVideoThread;

    void setPicture(const QSize& size, int degrees = 0, bool soundOnly = false)
    {
        videoWidth = size.width();
        videoHeight = size.height();
        rotate = degrees;
        onlyAudio = soundOnly;
    }

    /// What the display has told.
    QSize painted() const { return paintedSize; }

protected:
    void run() override { }
};

/// The base widget with its inside open, bound to an IdleThread by direct connections.
class BareWidget : public AbstractVideoWidget
{
    Q_OBJECT

public:
    explicit BareWidget(QWidget* parent = nullptr)
        : AbstractVideoWidget(parent)
    {
        setGeometry(100, 100, 400, 300);
    }

    void bind(AbstractVideoThread* thread)
    {
        videoThread = thread;
        attach(thread);
    }

    /// Connects a thread without binding it.
    void attach(AbstractVideoThread* thread)
    {
        connect(thread, SIGNAL(receiveImage(QImage, int)), SLOT(receiveImage(QImage, int)));
        connect(thread, SIGNAL(receiveFrame(int, int, quint8*, quint8*, quint8*, quint32, quint32, quint32)),
                SLOT(receiveFrame(int, int, quint8*, quint8*, quint8*, quint32, quint32, quint32)));
        connect(thread, SIGNAL(receiveFrame(int, int, quint8*, quint8*, quint32, quint32)),
                SLOT(receiveFrame(int, int, quint8*, quint8*, quint32, quint32)));
        connect(thread, SIGNAL(receiveFrame(int, int, quint8*, int, bool)),
                SLOT(receiveFrame(int, int, quint8*, int, bool)));
        connect(thread, SIGNAL(receiveFrame(int, int, quint8*, bool)), SLOT(receiveFrame(int, int, quint8*, bool)));
    }

    /// Plays in @p mode as a subclass with an open thread would.
    void play(VideoMode mode, const QString& hardwareName = "none")
    {
        setVideoMode(mode);
        hardware = hardwareName;
        if (videoThread)
            videoThread->setHardware(hardwareName);
        isRunning = true;
        receivePlayStart(0);
    }

    void setRunning(bool running) { isRunning = running; }

    template <typename Change>
    void changePara(Change change)
    {
        WidgetPara para = getWidgetPara();
        change(para);
        setWidgetPara(para);
    }

    QWidget* area() const { return findChild<QWidget*>("hwndWidget"); }
    QWidget* layer() const { return findChild<QWidget*>("osdWidget"); }
    QWidget* banner() const { return findChild<QWidget*>("bannerWidget"); }
    QWidget* renderer(const char* name) const { return findChild<QWidget*>(name); }

    using AbstractVideoWidget::audioPlayer;
    using AbstractVideoWidget::drawBg;
    using AbstractVideoWidget::drawBorder;
    using AbstractVideoWidget::drawImage;
    using AbstractVideoWidget::drawOsd;
    using AbstractVideoWidget::onDecoderDestroyed;
    using AbstractVideoWidget::openAudioOutput;
    using AbstractVideoWidget::playAudio;
    using AbstractVideoWidget::receiveCodecChanged;
    using AbstractVideoWidget::receivePlayFinsh;
    using AbstractVideoWidget::setRecorderState;
    using AbstractVideoWidget::startAudioThread;
    using AbstractVideoWidget::stopAudioThread;
};
