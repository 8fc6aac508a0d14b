#pragma once

#include "core_videobase/abstractvideothread.h"

#include <functional>

/// Shows a test what subclasses see, counts the calls of the hooks, and does in run() what the test says.
class ProbeThread : public AbstractVideoThread
{
    Q_OBJECT

public:
    using AbstractVideoThread::AbstractVideoThread;

    using AbstractVideoThread::checkOpen;
    using AbstractVideoThread::renameMP4File;
    using AbstractVideoThread::restart;
    using AbstractVideoThread::setMP4FileName;

    using AbstractVideoThread::audioProfile;
    using AbstractVideoThread::channelCount;
    using AbstractVideoThread::duration;
    using AbstractVideoThread::errorCount;
    using AbstractVideoThread::fileName;
    using AbstractVideoThread::flag;
    using AbstractVideoThread::isOk;
    using AbstractVideoThread::isPause;
    using AbstractVideoThread::isSnap;
    using AbstractVideoThread::keyFrameSeen;
    using AbstractVideoThread::lastTime;
    using AbstractVideoThread::mutex;
    using AbstractVideoThread::onlyAudio;
    using AbstractVideoThread::opened;
    using AbstractVideoThread::openTimeout;
    using AbstractVideoThread::owner;
    using AbstractVideoThread::position;
    using AbstractVideoThread::recording;
    using AbstractVideoThread::recordTimers;
    using AbstractVideoThread::sampleRate;
    using AbstractVideoThread::saveAudio;
    using AbstractVideoThread::saveInterval;
    using AbstractVideoThread::savePath;
    using AbstractVideoThread::snapPreview;
    using AbstractVideoThread::stopped;
    using AbstractVideoThread::timeoutHit;
    using AbstractVideoThread::timer;
    using AbstractVideoThread::videoHeight;
    using AbstractVideoThread::videoSize;
    using AbstractVideoThread::videoWidth;

    ~ProbeThread() override { stopAndWait(); }

    void setGeometry() override { ++geometryCalls; }

    /// What run() does; set before play(). Without it, run() waits for a stop.
    std::function<void(ProbeThread&)> work;
    std::atomic<int> runs{0};
    int geometryCalls = 0;

protected:
    void run() override
    {
        ++runs;
        if (work)
            work(*this);
        else
            waitForStop();
    }

public:
    /// For run().
    void waitForStop()
    {
        while (!stopped)
            msleep(1);
    }
};

/// A widget stand-in whose class name is what a thread looks for among its ancestors.
class VideoWidget : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;
    int stops = 0;

public Q_SLOTS:
    void stop() { ++stops; }
};

/// The stand-in's subclass, as hosts derive theirs.
class DerivedVideoWidget : public VideoWidget
{
    Q_OBJECT

public:
    using VideoWidget::VideoWidget;
};
