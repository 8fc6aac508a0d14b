#include "devnet/archivereader.h"

#include "devnet/archivemovie.h"

#include <QLoggingCategory>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <utility>

namespace {
Q_LOGGING_CATEGORY(lcArchive, "vantor.devnet.archive")

constexpr qint64 beforeAllTimes = std::numeric_limits<qint64>::min();
} // namespace

ArchiveReader::ArchiveReader(const QVector<ArchiveFile>& recordings, qint64 lastTime, const StopSignal& stopSignal)
    : files(recordings), end(lastTime), stop(stopSignal), behind(beforeAllTimes)
{
}

ArchiveReader::~ArchiveReader() = default;

void ArchiveReader::seek(qint64 time)
{
    movie.reset();
    frames.clear();
    group.clear();
    sought = time;
    isFinished = false;
    needsKeyFrame = true;
    behind = beforeAllTimes;
    beginIn = time;
    for (index = 0; index < files.size() && files.at(index).latestEnd() < time;)
        ++index;
    // Its first pictures may belong to a group that begins in the recording before.
    if (index > 0 && index < files.size() && files.at(index).follows(files.at(index - 1)))
        --index;
}

std::optional<EncodedFrame> ArchiveReader::next()
{
    if (sought)
        findGroup();
    if (group.empty())
        return read();
    EncodedFrame frame = std::move(group.front());
    group.pop_front();
    return frame;
}

/// The recording that was opened may have ended before the time that is sought, and the next one may have a nearer key
/// frame.
void ArchiveReader::findGroup()
{
    const qint64 time = *std::exchange(sought, std::nullopt);
    while (std::optional<EncodedFrame> frame = read()) {
        // Sound may come before the pictures of its time.
        const bool isBehind = !frame->isAudio() && static_cast<qint64>(frame->header.timestamp) > time;
        if (frame->isKey() && !isBehind)
            group.clear();
        group.push_back(std::move(*frame));
        if (isBehind)
            return;
    }
}

std::optional<EncodedFrame> ArchiveReader::read()
{
    while (!isFinished && !stop.isRequested()) {
        if (!frames.empty()) {
            EncodedFrame frame = std::move(frames.front());
            frames.pop_front();
            if (isWanted(frame))
                return frame;
        } else if (!movie) {
            isFinished = !openNext();
        } else if (!movie->read(frames)) {
            movie.reset();
            needsKeyFrame = true;
        }
    }
    return std::nullopt;
}

/// False when there is no file left.
bool ArchiveReader::openNext()
{
    while (index < files.size()) {
        const ArchiveFile& file = files.at(index++);
        auto candidate = std::make_unique<ArchiveMovie>(stop);
        if (goesOnAt(file.start)) {
            needsKeyFrame = false; // its first pictures belong to a group of the recording before
            candidate->goOn(behind, encoding);
        }
        const QString problem = candidate->open(file, std::max(beginIn, behind));
        if (problem.isEmpty()) {
            movie = std::move(candidate);
            return true;
        }
        if (stop.isRequested())
            return false;
        qCWarning(lcArchive).noquote() << QString("%1 is left out: %2").arg(file.path, problem);
    }
    return false;
}

bool ArchiveReader::goesOnAt(qint64 start) const
{
    return behind != beforeAllTimes && std::abs(start - behind) < ArchiveFile::roundingMs;
}

bool ArchiveReader::isWanted(const EncodedFrame& frame)
{
    const auto time = static_cast<qint64>(frame.header.timestamp);
    if (frame.isAudio())
        return !needsKeyFrame && time <= end;
    if (time > end) {
        isFinished = true;
        return false;
    }
    if (needsKeyFrame && (!frame.isKey() || time <= behind))
        return false;
    needsKeyFrame = false;
    behind = std::max(behind, time);
    encoding = frame.format->video;
    return true;
}
