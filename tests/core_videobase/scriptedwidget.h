#pragma once

#include "core_videobase/standardvideowidget.h"

#include "support/scriptedthread.h"

#include <QPointer>

#include <functional>

/// A standard widget over a ScriptedThread.
class ScriptedWidget : public StandardVideoWidget
{
    Q_OBJECT

public:
    explicit ScriptedWidget(QWidget* parent = nullptr)
        : StandardVideoWidget(parent)
    {
        setGeometry(100, 100, 400, 300);
        WidgetPara para;
        para.videoMode = VideoMode_Opengl;
        para.scaleMode = ScaleMode_Fill;
        setWidgetPara(para);
    }

    void useMode(VideoMode mode, const QString& hardwareName = "none")
    {
        setVideoMode(mode);
        VideoPara para = getVideoPara();
        para.hardware = hardwareName;
        setVideoPara(para);
    }

    AbstractVideoThread* bound() const { return videoThread; }
    ScriptedThread* scripted() const { return qobject_cast<ScriptedThread*>(videoThread); }
    QList<AbstractVideoThread*> old() const { return oldThreads; }

    using AbstractVideoWidget::audioPlayer;
    using AbstractVideoWidget::setRecorderState;
    using StandardVideoWidget::receivePlayFinsh;
    using StandardVideoWidget::receivePlayStart;
    using StandardVideoWidget::removeStoppedVideoThreads;

    /// Sets a new thread up before it starts.
    std::function<void(ScriptedThread*)> script;
    bool fails = false;
    int created = 0;

protected:
    bool createVideoThread() override
    {
        if (fails)
            return false;
        auto* thread = new ScriptedThread(this);
        thread->setVideoMode(getVideoMode());
        thread->setHardware(videoPara.hardware);
        if (script)
            script(thread);
        videoThread = thread;
        ++created;
        return true;
    }

    void releaseVideoThread() override { retireVideoThread(); }
};
