#include "core_video/recordingname.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>

namespace {
Q_LOGGING_CATEGORY(lcName, "vantor.record.name")

constexpr char timePattern[] = "yyyyMMddTHHmmss";

/// The first name, second by second from @p time on, that no file has: a recording never replaces another.
template <typename Name>
QString firstFree(QDateTime time, Name nameOf)
{
    while (QFileInfo::exists(nameOf(time)))
        time = time.addSecs(1);
    return nameOf(time);
}
} // namespace

QString RecordingName::ofStart(const QString& path, const QDateTime& start)
{
    const QString folder = path.isEmpty() ? QString(".") : path;
    return firstFree(start, [&](const QDateTime& time) {
        return QString("%1/%2/live/%3.mp4").arg(folder, time.toString("yyyy-MM-dd"), time.toString(timePattern));
    });
}

QString RecordingName::finish(const QString& file, const QDateTime& end, int channel)
{
    const QFileInfo info(file);
    if (!info.exists()) {
        qCCritical(lcName).noquote() << QString("%1 is not exists").arg(file);
        return file;
    }
    const QString name = firstFree(end, [&](const QDateTime& time) {
        return QString("%1/%2_%3_%4.mp4")
            .arg(info.absolutePath(), info.completeBaseName(), time.toString(timePattern))
            .arg(channel);
    });
    return QFile::rename(file, name) ? name : file;
}
