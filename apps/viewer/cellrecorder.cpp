#include "cellrecorder.h"

#include "cellview.h"
#include "foldername.h"
#include "videocell.h"

#include <QDir>
#include <QFileInfo>

namespace {

constexpr int retryAfter = 60000; // milliseconds

// A finished file keeps its first name as the beginning of the final one.
bool isSameFile(const QString& open, const QString& file)
{
    const QFileInfo info(open);
    return file == open || file.startsWith(info.path() + '/' + info.completeBaseName() + '_');
}

QString native(const QString& file) { return QDir::toNativeSeparators(file); }

} // namespace

CellRecorder::CellRecorder(VideoCell* videoCell, const QString& manual, const QString& automatic)
    : QObject(videoCell)
    , cell(videoCell)
    , manualFolder(FolderName::absolute(manual))
    , automaticFolder(FolderName::absolute(automatic))
{
    retryTimer.setSingleShot(true);
    retryTimer.setInterval(retryAfter);
    connect(&retryTimer, &QTimer::timeout, this, [this] { cell->view()->setAutoRecord(automaticFolder); });
    connect(cell, &VideoCell::recorderStateChanged, this, &CellRecorder::follow);
}

void CellRecorder::setFolder(const QString& manual) { manualFolder = FolderName::absolute(manual); }

void CellRecorder::toggle()
{
    if (cell->isRecording()) {
        cell->view()->recordStop();
        Q_EMIT message(tr("%1: recording is off").arg(cell->source().title()));
    } else if (cell->isPlaying()) {
        start();
        Q_EMIT message(tr("%1: recording is on").arg(cell->source().title()));
    } else {
        Q_EMIT message(tr("No recording: nothing is playing in cell %1").arg(cell->number()));
    }
    Q_EMIT changed();
}

void CellRecorder::start()
{
    manualFailed = false;
    cell->view()->recordStart(manualFolder);
}

void CellRecorder::forget() { openFiles.clear(); }

void CellRecorder::sourceStarts()
{
    retryTimer.stop();
    automaticFails = false;
    cell->view()->setAutoRecord(automaticFolder);
}

void CellRecorder::follow(RecorderState state, const QString& file)
{
    switch (state) {
    case RecorderRecording:
        opened(file);
        break;
    case RecorderIdle:
        finished(file);
        break;
    case RecorderFailed:
        failed(file);
        break;
    case RecorderPaused:
        break;
    }
    Q_EMIT changed();
}

void CellRecorder::opened(const QString& file)
{
    openFiles.append(file);
    if (isAfterFailure(file))
        return;
    if (isAutomatic(file))
        automaticFails = false;
    else
        Q_EMIT message(tr("Recording to %1").arg(native(QFileInfo(file).path())));
}

void CellRecorder::finished(const QString& file)
{
    takeOpen(file);
    if (!isAfterFailure(file) && QFileInfo::exists(file)) // one that has got nothing is gone
        Q_EMIT message(tr("Recorded: %1").arg(native(file)));
}

// The video thread tries again with every key frame, and with raw pictures each is one. Here one failure is enough.
void CellRecorder::failed(const QString& file)
{
    const QString reason = takeOpen(file)
        ? tr("The recording ended too soon, perhaps the disk is full; what was written is %1").arg(native(file))
        : reasonOf(file);
    const bool isNews = isAutomatic(file) ? !automaticFails : !manualFailed;
    switchOff(file);
    if (isNews)
        Q_EMIT message(reason);
}

bool CellRecorder::takeOpen(const QString& file)
{
    for (int i = 0; i < openFiles.size(); ++i) {
        if (isSameFile(openFiles.at(i), file)) {
            openFiles.removeAt(i);
            return true;
        }
    }
    return false;
}

bool CellRecorder::isAutomatic(const QString& file) const
{
    // <folder>/<source>/<date>/live/<name>
    return !automaticFolder.isEmpty() && QDir::cleanPath(QFileInfo(file).path() + "/../../..") == automaticFolder;
}

// The video thread may have begun another file before it was told to stop; that is no success to speak of.
bool CellRecorder::isAfterFailure(const QString& file) const
{
    return isAutomatic(file) ? retryTimer.isActive() : manualFailed;
}

void CellRecorder::switchOff(const QString& file)
{
    if (!isAutomatic(file)) {
        manualFailed = true;
        cell->view()->recordStop();
        return;
    }
    automaticFails = true;
    cell->view()->setAutoRecord({});
    if (!retryTimer.isActive())
        retryTimer.start();
}

QString CellRecorder::reasonOf(const QString& file) const
{
    const QFileInfo folder(QFileInfo(file).path());
    if (!folder.isDir() || !folder.isWritable())
        return tr("The recording could not be written to %1").arg(native(folder.filePath()));
    return tr("%1 cannot be recorded: only H.264 and H.265 pictures can").arg(cell->source().title());
}
