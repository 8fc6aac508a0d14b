#include "recordingfolders.h"

#include <QDir>
#include <QDirIterator>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>

namespace {

// The numbers at the end of the names of finished recordings.
QVector<int> numbersIn(const QString& folder)
{
    static const QRegularExpression finished("^\\d{8}T\\d{6}_\\d{8}T\\d{6}_(\\d{1,9})\\.mp4$");
    QSet<int> found;
    QDirIterator files(folder, {"*.mp4"}, QDir::Files | QDir::Readable, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        files.next();
        const QRegularExpressionMatch match = finished.match(files.fileName());
        if (match.hasMatch())
            found.insert(match.captured(1).toInt());
    }
    QVector<int> numbers(found.begin(), found.end());
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

} // namespace

QVector<RecordingFolder> findRecordingFolders(const QStringList& roots)
{
    QVector<RecordingFolder> found;
    for (const QString& root : roots) {
        const auto folders = QDir(root).entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
        for (const QFileInfo& folder : folders) {
            const QString path = folder.absoluteFilePath();
            for (int number : numbersIn(path))
                found.append({path, number});
        }
    }
    return found;
}
