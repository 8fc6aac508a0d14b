#include "core_video/recordingname.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>

namespace {
Q_LOGGING_CATEGORY(lcName, "vantor.record.name")

constexpr char timePattern[] = "yyyyMMddTHHmmss";
} // namespace

QString RecordingName::ofStart(const QString& path, const QDateTime& start)
{
    return QString("%1/%2/live/%3.mp4").arg(path, start.toString("yyyy-MM-dd"), start.toString(timePattern));
}

QString RecordingName::finish(const QString& file, const QDateTime& end, int channel)
{
    const QFileInfo info(file);
    if (!info.exists()) {
        qCCritical(lcName).noquote() << QString("%1 is not exists").arg(file);
        return file;
    }
    const QString name = QString("%1/%2_%3_%4.mp4")
                             .arg(info.absolutePath(), info.completeBaseName(), end.toString(timePattern))
                             .arg(channel);
    return QFile::rename(file, name) ? name : file;
}
