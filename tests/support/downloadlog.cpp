#include "support/downloadlog.h"

DownloadLog::DownloadLog(AbstractVideoDLThread* thread)
{
    using Thread = AbstractVideoDLThread;
    connect(thread, &Thread::sig_downloadStart, this, [this] { note("start"); }, Qt::DirectConnection);
    connect(thread, &Thread::sig_downloadFinsh, this, [this](bool ok) { note(ok ? "finish true" : "finish false"); },
            Qt::DirectConnection);
    connect(thread, &Thread::sig_downloadErrConnExceedMax, this, [this] { note("exceed max"); }, Qt::DirectConnection);
    connect(thread, &Thread::sig_downloadError, this, [this] { note("error"); }, Qt::DirectConnection);
    connect(
        thread, &Thread::sig_downloadPts, this,
        [this](qint64 position) {
            const std::lock_guard<std::mutex> lock(mutex);
            pts << position;
        },
        Qt::DirectConnection);
}

void DownloadLog::note(const QString& line)
{
    const std::lock_guard<std::mutex> lock(mutex);
    notes << line;
}

QStringList DownloadLog::lines() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return notes;
}

QVector<qint64> DownloadLog::positions() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return pts;
}
