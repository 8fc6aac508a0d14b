#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

/// A folder that the viewer has recorded into, and the number at the end of the names of its files.
struct RecordingFolder
{
    QString path;
    int number = 0;
};

/// Finds what the viewer has recorded: the folders directly below @p roots that have finished recordings somewhere in
/// them, once for each number. Looks at the disk; any thread.
QVector<RecordingFolder> findRecordingFolders(const QStringList& roots);
