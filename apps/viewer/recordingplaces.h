#pragma once

#include "recordingfolders.h"
#include "recordingplace.h"

#include <QMap>
#include <QObject>
#include <QStringList>
#include <QVector>

class BackgroundLookup;
class Devices;
struct Source;

/// All places that recordings can be played from: the channels of devices that have an archive, and what the viewer
/// itself has recorded, which it plays as a device whose archive is that folder. GUI thread only.
class RecordingPlaces : public QObject
{
    Q_OBJECT

public:
    /// @p devices must outlive this. Empty names among the viewer's folders are left out.
    RecordingPlaces(const Devices& devices, const QString& manualFolder, const QString& automaticFolder,
                    QObject* parent = nullptr);

    /// Other folders of the viewer's; counts from the next refresh() on.
    void setFolders(const QString& manualFolder, const QString& automaticFolder);

    const QVector<RecordingPlace>& all() const { return places; }

    /// An invalid one where there is none of that key.
    RecordingPlace find(const QString& key) const;

    /// The one that has what cell @p number has been showing: its device's archive, else what the viewer has recorded
    /// of it. An invalid one where there is none.
    RecordingPlace placeOf(const Source& source, int number) const;

    /// Looks for the viewer's recordings again; changed() follows in any case.
    void refresh();

Q_SIGNALS:
    void changed();

private:
    void build();
    void addDevice(const QString& name);
    void addFolder(const RecordingFolder& folder);
    QString nameOf(const RecordingFolder& folder) const;
    QSharedPointer<MediaDevice> deviceOf(const RecordingFolder& folder, const QString& name);

    const Devices& devices;
    QString automaticRoot;
    QStringList roots;
    BackgroundLookup* lookup; ///< child
    QVector<RecordingFolder> folders;
    QMap<QString, QSharedPointer<MediaDevice>> folderDevices; ///< by path and number
    QVector<RecordingPlace> places;
};
