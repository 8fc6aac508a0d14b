#include "core_videobase/abstractvideodlthread.h"

#include "core_videosave/savemp4ffmpeg.h"
#include "qttoolkit/quihelper.h"

#include <QLoggingCategory>

#include <cstring>

namespace {
Q_LOGGING_CATEGORY(lcDownload, "vantor.download")

constexpr int mostTimeouts = 10;

enum ReadResult { Frame = 0, EndOfRecording = 1, Timeout = 2 };
} // namespace

AbstractVideoDLThread::AbstractVideoDLThread(QObject* parent)
    : QThread(parent)
    , saver(new SaveMp4FFmpeg(nullptr))
{
    saver->setJoin(true);
}

AbstractVideoDLThread::~AbstractVideoDLThread() { stopDL(); }

void AbstractVideoDLThread::startDL()
{
    if (isEnding && currentThread() != this) {
        wait(); // or the start would be ignored
        isEnding = false;
    }
    stopped = false;
    start(QThread::InheritPriority);
}

void AbstractVideoDLThread::stopDL()
{
    stopped = true;
    if (!isRunning() || currentThread() == this)
        return;
    quit();
    wait();
}

void AbstractVideoDLThread::setSaveAudio(bool enable) { saveAudio = enable; }

void AbstractVideoDLThread::setSaveInterval(int seconds) { saveInterval = seconds; }

void AbstractVideoDLThread::setReadTimeout(int milliseconds) { readTimeout = milliseconds; }

void AbstractVideoDLThread::setSavePath(const QString& path) { savePath = path; }

void AbstractVideoDLThread::setDateTime(const QDateTime& start, const QDateTime& end)
{
    startTime = start;
    endTime = end;
}

void AbstractVideoDLThread::run()
{
    isDamaged = false;
    initOption();
    makeSaveSubDir();
    if (!beforeDownload()) {
        announceEnd();
        qCCritical(lcDownload, "beforeReadFrame err");
        return;
    }
    Q_EMIT sig_downloadStart();
    const bool isFetched = fetch();
    afterDownload();
    announceEnd();
    Q_EMIT sig_downloadFinsh(isFetched && !isDamaged);
    qCInfo(lcDownload, "--exit download thread");
}

bool AbstractVideoDLThread::fetch()
{
    const std::unique_ptr<unsigned char[]> buffer(new unsigned char[XFrameHeader::bufferSize]);
    std::memset(buffer.get(), 0, sizeof(XFrameHeader));
    auto* frame = reinterpret_cast<XFrameHeader*>(buffer.get());
    while (!stopped) {
        switch (readFrame(frame, readTimeout)) {
        case Frame:
            if (handleSaveMP4(frame) != 0) {
                reportDamage();
                return false;
            }
            break;
        case EndOfRecording:
            return true;
        case Timeout:
            qCInfo(lcDownload, "read frame timeout");
            if (++timeoutCount > mostTimeouts)
                return false;
            break;
        default:
            return false;
        }
    }
    return false;
}

void AbstractVideoDLThread::announceEnd() { isEnding = true; }

void AbstractVideoDLThread::reportDamage()
{
    if (!isDamaged)
        Q_EMIT sig_downloadError();
    isDamaged = true;
}

void AbstractVideoDLThread::initOption()
{
    fileStartPts = 0;
    lastPts = 0;
    reservedPts = 0;
    lastReportedPts = 0;
    timeoutCount = 0; // those of the download before say nothing about this one
}

void AbstractVideoDLThread::makeSaveSubDir() { QUIHelper::checkPath(saveDir); }

bool AbstractVideoDLThread::beforeDownload() { return true; }

void AbstractVideoDLThread::afterDownload() {}
