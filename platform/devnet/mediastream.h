#pragma once

#include "devnet/framequeue.h"
#include "devnet/framesource.h"
#include "devnet/stopsignal.h"
#include "devnet/xnettypes.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>

class StreamLimit;

/// One stream of a MediaDevice: while it is on, a thread that gets frames from the source into the queue, and opens the
/// source again when it is lost. Thread-safe, except for the destructor.
class MediaStream
{
public:
    /// @p name is for messages. @p frames is null for a stream that is refused; @p openStreams outlives this.
    MediaStream(const QString& name, std::unique_ptr<FrameSource> frames, StreamLimit& openStreams);

    /// As stop().
    ~MediaStream();
    MediaStream(const MediaStream&) = delete;
    MediaStream& operator=(const MediaStream&) = delete;

    XRetError start();

    /// Returns when the thread has ended.
    void stop();

    bool isConnected() const;
    XRetError requestKeyFrame();
    XRetError read(XFrameHeader* target, int timeout);
    StreamFormat format() const;
    void setFormat(const StreamFormat& corrected);

private:
    void run();
    void put(EncodedFrame&& frame);
    void follow(EncodedFrame& frame);
    void reportLoss(const QString& reason);
    void adopt(const std::shared_ptr<const StreamFormat>& read);

    const QString title;
    const std::unique_ptr<FrameSource> source;
    StreamLimit& limit;
    FrameQueue queue;
    StopSignal stopSignal;
    std::atomic<bool> isOn{false};
    std::atomic<bool> isLost{false};

    std::mutex switching; ///< held while the thread is started or ended
    std::thread thread; ///< guarded by switching

    mutable std::mutex formatMutex;
    StreamFormat current; ///< guarded by formatMutex, as what follows
    std::shared_ptr<const StreamFormat> adopted; ///< that of the last frame read

    qint64 lastVideoTime = 0; ///< stream thread, one after the other
    qint64 lastAudioTime = 0;
    bool tooLargeReported = false;
};
