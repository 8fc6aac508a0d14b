#include "devnet/framequeue.h"

#include <algorithm>
#include <chrono>

FrameQueue::FrameQueue(const Limits& bounds)
    : limits(bounds)
{
}

bool FrameQueue::push(EncodedFrame&& frame)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (!frame.fits()) {
        needsKeyFrame = needsKeyFrame || !frame.isAudio();
        return false;
    }
    if (frame.isKey())
        needsKeyFrame = false;
    if (needsKeyFrame && !frame.isAudio())
        return true;
    bytes += frame.payload.size();
    frames.push_back(std::move(frame));
    makeRoom();
    pushed.notify_one();
    return true;
}

std::optional<EncodedFrame> FrameQueue::pop(int timeout)
{
    std::unique_lock<std::mutex> lock(mutex);
    const auto limit = std::chrono::milliseconds(std::max(timeout, 0));
    if (!pushed.wait_for(lock, limit, [this] { return !frames.empty(); }))
        return {};
    EncodedFrame frame = std::move(frames.front());
    frames.pop_front();
    bytes -= frame.payload.size();
    return frame;
}

void FrameQueue::clear()
{
    const std::lock_guard<std::mutex> lock(mutex);
    frames.clear();
    bytes = 0;
    needsKeyFrame = true;
}

bool FrameQueue::isFull() const { return frames.size() > limits.frames || bytes > limits.bytes; }

void FrameQueue::makeRoom()
{
    while (isFull()) {
        const std::size_t group = secondGroup();
        for (std::size_t i = 0; i < group; ++i)
            dropFirst();
        if (group == 0)
            dropVideo();
    }
}

void FrameQueue::dropFirst()
{
    bytes -= frames.front().payload.size();
    frames.pop_front();
}

/// Where the first group ends because another begins; 0 when there is no other.
std::size_t FrameQueue::secondGroup() const
{
    const auto begin = frames.begin() + 1;
    const auto key = std::find_if(begin, frames.end(), [](const EncodedFrame& frame) { return frame.isKey(); });
    return key == frames.end() ? 0 : static_cast<std::size_t>(key - frames.begin());
}

/// Without a second group: all of the video there is, or else the oldest sound.
void FrameQueue::dropVideo()
{
    const auto isVideo = [](const EncodedFrame& frame) { return !frame.isAudio(); };
    if (std::none_of(frames.begin(), frames.end(), isVideo)) {
        dropFirst();
        return;
    }
    for (const EncodedFrame& frame : frames)
        bytes -= isVideo(frame) ? frame.payload.size() : 0;
    frames.erase(std::remove_if(frames.begin(), frames.end(), isVideo), frames.end());
    needsKeyFrame = true;
}
