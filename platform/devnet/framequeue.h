#pragma once

#include "devnet/encodedframe.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>

/// The frames of one stream between its source and its readers. Thread-safe.
///
/// Whatever comes out can be decoded: a video frame that is no key frame comes out only when every frame since the last
/// key frame has. So video begins with a key frame, and what has no room is dropped by whole groups of pictures, the
/// oldest group first, together with the sound among it. A group that is alone and still too large is dropped with all
/// that will be pushed of it.
class FrameQueue
{
public:
    struct Limits
    {
        std::size_t frames = 250;
        qint64 bytes = 8 * 1024 * 1024;
    };

    explicit FrameQueue(const Limits& bounds);
    FrameQueue()
        : FrameQueue(Limits())
    {
    }

    /// Drops a frame that does not fit into a reader's buffer, and with it the rest of its group; false for that.
    bool push(EncodedFrame&& frame);

    /// The next frame; nothing when there was none within @p timeout milliseconds.
    std::optional<EncodedFrame> pop(int timeout);

    /// Drops everything; video begins again with a key frame.
    void clear();

private:
    bool isFull() const;
    void makeRoom();
    void dropFirst();
    std::size_t secondGroup() const;
    void dropVideo();

    const Limits limits;
    std::mutex mutex;
    std::condition_variable pushed;
    std::deque<EncodedFrame> frames; ///< guarded by mutex, as what follows
    qint64 bytes = 0;
    bool needsKeyFrame = true;
};
