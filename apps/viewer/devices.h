#pragma once

#include "devicechannel.h"
#include "devnet/mediadevice.h"
#include "source.h"

#include <QObject>
#include <QSharedPointer>
#include <QStringList>

/// The devices that can be shown. They stay until the program ends. GUI thread only.
class Devices : public QObject
{
    Q_OBJECT

public:
    explicit Devices(const QVector<MediaDeviceConfig>& configs, QObject* parent = nullptr);

    /// Unique, in the order in which they came.
    QStringList names() const;

    /// Null when there is none of that name.
    QSharedPointer<MediaDevice> find(const QString& name) const;

    /// All channels of a device, each as the source of a cell.
    QList<Source> channels(const QString& name) const;

    /// A source for that channel, named as the device names it.
    Source channel(const DeviceChannel& wanted) const;

    /// Adds the device that a JSON file describes, unless it is there already, and answers with its name; empty for a
    /// file that describes none, with the reason in @p error.
    QString openFile(const QString& file, QString* error);

Q_SIGNALS:
    void added(const QString& name);

private:
    struct Entry
    {
        QString name;
        QSharedPointer<MediaDevice> device;
    };

    QString add(const MediaDeviceConfig& config);
    QString uniqueName(const MediaDeviceConfig& config) const;

    QList<Entry> entries;
};
