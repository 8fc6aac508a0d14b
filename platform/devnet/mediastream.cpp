#include "devnet/mediastream.h"

#include "devnet/streamlimit.h"

#include <QLoggingCategory>

#include <algorithm>

namespace {
Q_LOGGING_CATEGORY(lcStream, "vantor.devnet.stream")

constexpr std::chrono::seconds reopenPause{1};
} // namespace

MediaStream::MediaStream(const QString& name, std::unique_ptr<FrameSource> frames, StreamLimit& openStreams)
    : title(name)
    , source(std::move(frames))
    , limit(openStreams)
{
}

MediaStream::~MediaStream() { stop(); }

XRetError MediaStream::start()
{
    const std::lock_guard<std::mutex> lock(switching);
    if (!source)
        return XRet::BadParameter;
    if (thread.joinable())
        return XRet::AlreadyEnabled;
    if (!limit.take())
        return XRet::TooManyConnections;
    stopSignal.reset();
    isOn = true;
    thread = std::thread([this] { run(); });
    return XRet::Ok;
}

void MediaStream::stop()
{
    const std::lock_guard<std::mutex> lock(switching);
    if (!thread.joinable())
        return;
    stopSignal.request();
    thread.join();
    isOn = false;
    isLost = false;
    queue.clear();
    limit.giveBack();
}

bool MediaStream::isConnected() const { return source && !isLost; }

XRetError MediaStream::requestKeyFrame()
{
    if (!source)
        return XRet::BadParameter;
    return isOn && source->requestKeyFrame() ? XRet::Ok : XRet::NotSupported;
}

XRetError MediaStream::read(XFrameHeader* target, int timeout)
{
    const std::optional<EncodedFrame> frame = queue.pop(timeout);
    if (!frame)
        return XRet::Timeout;
    adopt(frame->format);
    frame->copyTo(target);
    return XRet::Ok;
}

StreamFormat MediaStream::format() const
{
    const std::lock_guard<std::mutex> lock(formatMutex);
    return current;
}

void MediaStream::setFormat(const StreamFormat& corrected)
{
    const std::lock_guard<std::mutex> lock(formatMutex);
    current = corrected;
}

/// What is known of the stream changes with the frame that a reader gets, not with the one that the source is at: a
/// recording of the reader's is cut at the frame where the change is.
void MediaStream::adopt(const std::shared_ptr<const StreamFormat>& read)
{
    const std::lock_guard<std::mutex> lock(formatMutex);
    if (adopted == read)
        return;
    adopted = read;
    current = *read;
}

void MediaStream::run()
{
    tooLargeReported = false;
    while (!stopSignal.isRequested()) {
        const QString reason = source->run([this](EncodedFrame&& frame) { put(std::move(frame)); }, stopSignal);
        if (stopSignal.isRequested())
            return;
        reportLoss(reason);
        stopSignal.waitUntil(std::chrono::steady_clock::now() + reopenPause);
    }
}

void MediaStream::put(EncodedFrame&& frame)
{
    if (isLost.exchange(false))
        qCInfo(lcStream).noquote() << title << "is back";
    follow(frame);
    if (queue.push(std::move(frame)) || tooLargeReported)
        return;
    tooLargeReported = true;
    qCWarning(lcStream).noquote() << title << "has frames of more than" << XFrameHeader::largestPayload
                                  << "bytes, which are dropped";
}

/// Times never go back, whatever the source does.
void MediaStream::follow(EncodedFrame& frame)
{
    qint64& last = frame.isAudio() ? lastAudioTime : lastVideoTime;
    last = std::max(last + 1, static_cast<qint64>(frame.header.timestamp));
    frame.header.timestamp = static_cast<std::uint64_t>(last);
}

void MediaStream::reportLoss(const QString& reason)
{
    if (!isLost.exchange(true))
        qCWarning(lcStream).noquote() << QString("%1 is lost, and tried again: %2").arg(title, reason);
}
