#pragma once

#include "core_vod/xrtavodthread.h"
#include "support/fakedevice.h"
#include "support/simulatedclock.h"
#include "support/threadlog.h"
#include "support/waiting.h"

#include <QSharedPointer>

/// A playback thread with its log and a clock that does not wait. One display is counted in.
///
/// Lines of the log beside those of ThreadLog: "position 11001", and, in their place among the signals, what a device
/// was asked by this thread (logCalls()), "> vodStop 3".
class VodProbe final : public XRTAVodThread
{
    Q_OBJECT

public:
    static constexpr int channelNumber = 3;
    static constexpr int endMs = 60000;

    explicit VodProbe(const QSharedPointer<FakeDevice>& source = {})
    {
        setClock(&time);
        setVideoMode(VideoMode_Opengl);
        setReadTimeout(3000);
        previewRef() = 1;
        setStreamChannel(channelNumber, 0);
        connect(
            this, &AbstractVideoThread::receivePosition, this,
            [this](qint64 at) { log.note(QString("position %1").arg(at)); }, Qt::DirectConnection);
        if (source) {
            bindDevice(source);
            source->playback(channelNumber).setClock(&time);
        }
    }

    ~VodProbe() override { stopAndWait(); }

    void logCalls(const QSharedPointer<FakeDevice>& source)
    {
        source->setOnCall([this](const QString& line) {
            if (!line.startsWith("vodReadFrame"))
                log.note("> " + line);
        });
    }

    /// Plays until the thread ends by itself; false when it doesn't.
    bool playToEnd()
    {
        play();
        return Waiting::until([this] { return isFinished(); }, endMs);
    }

    ThreadLog log{this};
    SimulatedClock time;

    using XRTAVodThread::checkConnect;
    using XRTAVodThread::closeVideo;
    using XRTAVodThread::initInput;
    using XRTAVodThread::isSnap;
    using XRTAVodThread::readFrame;
};
