#pragma once

#include "support/fakedevice.h"
#include "support/simulatedclock.h"
#include "support/threadlog.h"
#include "support/waiting.h"

#include <QSharedPointer>

/// A live thread of a device family with its log, a clock that does not wait, and its hooks open to the test, which may
/// call them while the thread does not run. One display is counted in.
template <typename Live>
class StreamProbe final : public Live
{
public:
    using Type = AbstractVideoThread::RecordType;

    explicit StreamProbe(const QSharedPointer<XNetDevice>& source = {}, int channelNumber = 0, int streamNumber = 0,
                         const QDateTime& start = QDateTime(QDate(2024, 2, 29), QTime(12, 0)))
        : log(this)
        , time(start)
    {
        this->setClock(&time);
        this->setVideoMode(VideoMode_Opengl);
        this->setReadTimeout(3000);
        this->previewRef() = 1;
        this->setStreamChannel(channelNumber, streamNumber);
        if (source)
            this->bindDevice(source);
    }

    /// Ends the thread and waits for it.
    ~StreamProbe() override { this->stopAndWait(); }

    /// Lets the device's script run to its end, where the thread is stopped; false when it does not end.
    bool playScript(FakeDevice& camera)
    {
        camera.script(this->channel, this->stream).addAction([this] { this->stop(); });
        camera.endReads();
        this->play();
        return Waiting::until([this] { return this->isFinished(); }, 60000) && this->wait();
    }

    ThreadLog log;
    SimulatedClock time;

    using Live::checkConnect;
    using Live::closeVideo;
    using Live::codec;
    using Live::getLatestRecordCodec;
    using Live::handlePreviewClose;
    using Live::initInput;
    using Live::readFrame;
    using Live::renameMP4File;
    using Live::setMP4FileName;
};
