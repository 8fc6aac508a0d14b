#include "devices.h"

Devices::Devices(const QVector<MediaDeviceConfig>& configs, QObject* parent)
    : QObject(parent)
{
    for (const MediaDeviceConfig& config : configs)
        add(config);
}

QStringList Devices::names() const
{
    QStringList list;
    for (const Entry& entry : entries)
        list.append(entry.name);
    return list;
}

QSharedPointer<MediaDevice> Devices::find(const QString& name) const
{
    for (const Entry& entry : entries) {
        if (entry.name == name)
            return entry.device;
    }
    return nullptr;
}

QList<Source> Devices::channels(const QString& name) const
{
    QList<Source> list;
    const QSharedPointer<MediaDevice> device = find(name);
    const int count = device ? device->getChannelCount() : 0;
    for (int number = 0; number < count; ++number)
        list.append(channel({name, number, DeviceChannel::any}));
    return list;
}

Source Devices::channel(const DeviceChannel& wanted) const
{
    Source source;
    source.url = wanted.address();
    if (const QSharedPointer<MediaDevice> device = find(wanted.device))
        source.name = device->config().channels.value(wanted.channel).name;
    return source;
}

QString Devices::openFile(const QString& file, QString* error)
{
    const MediaDeviceConfig config = MediaDeviceConfig::fromJsonFile(file, error);
    return config.isValid() ? add(config) : QString();
}

QString Devices::add(const MediaDeviceConfig& config)
{
    for (const Entry& entry : qAsConst(entries)) {
        if (entry.device->config() == config)
            return entry.name;
    }
    const QString name = uniqueName(config);
    entries.append({name, QSharedPointer<MediaDevice>::create(config)});
    Q_EMIT added(name);
    return name;
}

QString Devices::uniqueName(const MediaDeviceConfig& config) const
{
    const QString given = config.alias.isEmpty() ? config.serialNumber : config.alias;
    const QString first = given.isEmpty() ? tr("Device") : given;
    QString name = first;
    for (int number = 2; find(name); ++number)
        name = QString("%1 (%2)").arg(first).arg(number);
    return name;
}
