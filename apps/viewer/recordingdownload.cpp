#include "recordingdownload.h"

#include "core_videosave/savemp4ffmpeg.h"
#include "walltime.h"

#include <QFileInfo>
#include <QStorageInfo>

namespace {

using Outcome = DownloadReport::Outcome;

// Milliseconds. What is longer than the first is closed to the second in a file, and a step above the third is time of
// which there is no recording.
constexpr qint64 longestStep = 1000;
constexpr qint64 closedStep = 500;
constexpr qint64 longestPicture = 5000;
constexpr qint64 leastSpace = 1024 * 1024; // bytes

enum ReadResult { Frame = 0, End = 1, Timeout = 2 };

} // namespace

RecordingDownload::RecordingDownload(const QSharedPointer<XNetDevice>& source, int number, const QDateTime& start,
                                     const QDateTime& end, QObject* parent)
    : XRTAVodDLThread(parent)
    , watch(new DownloadWatch(source))
    , finishedName(QString("*_%1.mp4").arg(number))
{
    bindDevice(watch, static_cast<unsigned>(number));
    setDateTime(start, end);
    ending.period = WallTime::of(end) - WallTime::of(start);
    connect(
        this, &AbstractVideoDLThread::sig_downloadError, this, [this] { isWriteError = true; }, Qt::DirectConnection);
}

RecordingDownload::~RecordingDownload() { stopDL(); }

void RecordingDownload::cancel() { stopped = true; }

bool RecordingDownload::beforeDownload()
{
    ending.folder = saveDir;
    const QFileInfo folder(saveDir);
    if (!folder.isDir() || !folder.isWritable()) {
        ending.outcome = Outcome::NoFolder;
        announceEnd();
        return false;
    }
    known = finishedFiles();
    if (XRTAVodDLThread::beforeDownload())
        return true;
    ending.outcome = stopped ? Outcome::Cancelled : Outcome::Refused;
    ending.code = watch->startResult();
    return false;
}

int RecordingDownload::readFrame(XFrameHeader* frame, int timeout)
{
    lastRead = XRTAVodDLThread::readFrame(frame, timeout);
    if (lastRead == Frame) {
        ++frames;
        bytes += frame->length;
    }
    return lastRead;
}

int RecordingDownload::handleSaveMP4(XFrameHeader* frame)
{
    const qint64 fileBefore = fileStartPts;
    const int result = XRTAVodDLThread::handleSaveMP4(frame);
    if (fileStartPts != fileBefore) {
        announceFiles(fileLength);
        fileLength = 0;
    }
    if (result == 0 && frame->frameType <= XFrameHeader::LastVideoFrame)
        follow(*frame);
    return result;
}

// Nothing is written before the first key frame.
void RecordingDownload::follow(const XFrameHeader& frame)
{
    const auto stamp = static_cast<qint64>(frame.timestamp);
    const qint64 step = lastStamp >= 0 ? qMax<qint64>(0, stamp - lastStamp) : 0;
    if (frame.frameType == XFrameHeader::VideoKeyFrame || lastStamp >= 0)
        lastStamp = stamp;
    fileLength += step <= longestStep ? step : closedStep;
    ending.length += step <= longestPicture ? step : 0;
}

void RecordingDownload::afterDownload()
{
    XRTAVodDLThread::afterDownload();
    announceFiles(fileLength);
    conclude();
}

RecordingDownload::FileTimes RecordingDownload::finishedFiles() const
{
    FileTimes times;
    const QDir folder(saveDir);
    for (const QFileInfo& file : folder.entryInfoList({finishedName}, QDir::Files, QDir::Name))
        times.insert(file.absoluteFilePath(), file.lastModified());
    return times;
}

// A file that was fetched once more has its old name and another time.
void RecordingDownload::announceFiles(qint64 length)
{
    const FileTimes found = finishedFiles();
    for (auto file = found.cbegin(); file != found.cend(); ++file) {
        if (known.value(file.key()) == file.value())
            continue;
        ++ending.files;
        Q_EMIT fileWritten(file.key(), length);
    }
    known = found;
}

void RecordingDownload::conclude()
{
    if (isWriteError)
        ending.outcome = whyNotWritten();
    else if (lastRead == End)
        ending.outcome = ending.files > 0 ? Outcome::Complete
            : frames > 0                  ? Outcome::NothingPlayable
                                          : Outcome::NothingRecorded;
    else if (stopped)
        ending.outcome = Outcome::Cancelled;
    else
        ending.outcome = lastRead == Timeout ? Outcome::Silent : Outcome::Broken;
    if (ending.outcome == Outcome::Broken)
        ending.code = watch->readResult();
}

DownloadReport::Outcome RecordingDownload::whyNotWritten()
{
    // A description that fails later on does not hinder: files go on as they were.
    const bool isAnswered = watch->descriptionResult() == XRet::Ok;
    if (frames > 0 && !watch->isDescribed() && (isAnswered || ending.files == 0)) {
        ending.code = watch->descriptionResult();
        return Outcome::NotDescribed;
    }
    return QStorageInfo(saveDir).bytesAvailable() < leastSpace ? Outcome::DiskFull : Outcome::NotWritten;
}
