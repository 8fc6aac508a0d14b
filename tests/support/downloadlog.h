#pragma once

#include "core_videobase/abstractvideodlthread.h"

#include <QObject>
#include <QStringList>
#include <QVector>

#include <mutex>

/// Writes down the signals of a download, on its thread and in the order in which they are sent.
///
/// Lines: "start", "finish true", "exceed max", "error". Positions are kept apart.
class DownloadLog : public QObject
{
    Q_OBJECT

public:
    explicit DownloadLog(AbstractVideoDLThread* thread);

    /// Any thread.
    void note(const QString& line);
    QStringList lines() const;
    QVector<qint64> positions() const;

private:
    mutable std::mutex mutex; // guards the rest
    QStringList notes;
    QVector<qint64> pts;
};
