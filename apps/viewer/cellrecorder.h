#pragma once

#include "core_videobase/videotypes.h"

#include <QObject>
#include <QStringList>
#include <QTimer>

class VideoCell;

/// Records what a cell plays: when the user wants it, and everything where a folder for that is set.
class CellRecorder : public QObject
{
    Q_OBJECT

public:
    /// @p cell is the parent. An empty @p automatic folder: only what the user wants.
    CellRecorder(VideoCell* cell, const QString& manual, const QString& automatic);

    /// Of the recordings that the user starts from now on.
    void setFolder(const QString& manual);

    /// Starts or stops recording for the user.
    void toggle();

    /// Records for the user.
    void start();

    /// The source is left to other cells, and its open files with it.
    void forget();

    /// A new source begins; that the one before could not be recorded counts no more.
    void sourceStarts();

    /// Whether a file is being written at this moment.
    bool isFileOpen() const { return !openFiles.isEmpty(); }

Q_SIGNALS:
    /// A file was opened or closed, or the recording was switched.
    void changed();

    /// Where a file is, or why there is none; for people.
    void message(const QString& text);

private:
    void follow(RecorderState state, const QString& file);
    void opened(const QString& file);
    void finished(const QString& file);
    void failed(const QString& file);
    bool takeOpen(const QString& file);
    bool isAutomatic(const QString& file) const;
    bool isAfterFailure(const QString& file) const;
    void switchOff(const QString& file);
    QString reasonOf(const QString& file) const;

    VideoCell* const cell;
    QString manualFolder; ///< of all sources
    const QString automaticFolder;
    QStringList openFiles; ///< by their first names
    QTimer retryTimer; ///< runs while the automatic recording is off because it failed
    bool automaticFails = false; ///< and that has been said
    bool manualFailed = false; ///< and is off since then
};
