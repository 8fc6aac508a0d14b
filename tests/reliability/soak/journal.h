#pragma once

#include <QFile>
#include <QJsonObject>
#include <QString>

#include <mutex>

/// What happened in a run, one line of JSON for each event with its time, for accounts.py. Any thread may write.
class Journal
{
public:
    /// @p folder must exist.
    explicit Journal(const QString& folder);

    /// Milliseconds since 1970.
    static qint64 now();

    /// Writes an event of now.
    void write(const char* event, QJsonObject details = {});

    QString folder() const;

private:
    const QString path;
    QFile file;
    std::mutex mutex; // guards the file
};
