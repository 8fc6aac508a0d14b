#include "journal.h"

#include <QDateTime>
#include <QJsonDocument>

Journal::Journal(const QString& folder)
    : path(folder)
    , file(folder + "/journal.jsonl")
{
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append))
        qFatal("no journal in %s", qPrintable(folder));
}

qint64 Journal::now() { return QDateTime::currentMSecsSinceEpoch(); }

void Journal::write(const char* event, QJsonObject details)
{
    details.insert("t", now());
    details.insert("event", QLatin1String(event));
    const QByteArray line = QJsonDocument(details).toJson(QJsonDocument::Compact) + '\n';
    const std::lock_guard<std::mutex> lock(mutex);
    file.write(line);
    file.flush();
}

QString Journal::folder() const { return path; }
