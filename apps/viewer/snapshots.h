#pragma once

#include <QMap>
#include <QObject>
#include <QString>

class QTimer;
class VideoCell;

/// Takes snapshots of cells and tells where they are.
class Snapshots : public QObject
{
    Q_OBJECT

public:
    explicit Snapshots(const QString& folder, QObject* parent = nullptr);

    QString folder() const { return path; }
    void setFolder(const QString& folder);

public Q_SLOTS:
    /// The next picture of @p cell becomes a JPEG file below the folder.
    void take(VideoCell* cell);

Q_SIGNALS:
    /// What came of it; for people.
    void message(const QString& text);

private:
    void written(VideoCell* cell, const QString& file);
    void missed(VideoCell* cell);

    QString path;
    QMap<VideoCell*, QTimer*> pending; ///< snapshots that are waited for; the timers are children
};
