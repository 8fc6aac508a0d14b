#include "recordingplaces.h"

#include "backgroundlookup.h"
#include "devicechannel.h"
#include "devices.h"
#include "foldername.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>

namespace {

QString keyOf(const RecordingFolder& folder) { return QString("%1#%2").arg(folder.path).arg(folder.number); }

// Of the folders that the viewer writes into: two digits for a cell, <device>-<channel>-<stream> for a channel, and for
// downloads <device>-<channel>.
QString folderNameOf(int cell) { return QString("%1").arg(cell, 2, 10, QChar('0')); }

} // namespace

RecordingPlaces::RecordingPlaces(const Devices& known, const QString& manualFolder, const QString& automaticFolder,
                                 QObject* parent)
    : QObject(parent)
    , devices(known)
    , lookup(new BackgroundLookup(this))
{
    setFolders(manualFolder, automaticFolder);
    connect(&devices, &Devices::added, this, &RecordingPlaces::build);
    build();
}

void RecordingPlaces::setFolders(const QString& manualFolder, const QString& automaticFolder)
{
    automaticRoot = FolderName::absolute(automaticFolder);
    roots.clear();
    for (const QString& root : {FolderName::absolute(manualFolder), automaticRoot}) {
        if (!root.isEmpty())
            roots.append(root);
    }
}

void RecordingPlaces::refresh()
{
    lookup->ask([this, wanted = roots]() -> BackgroundLookup::Answer {
        const QVector<RecordingFolder> found = findRecordingFolders(wanted);
        return [this, found] {
            folders = found;
            build();
        };
    });
}

RecordingPlace RecordingPlaces::find(const QString& key) const
{
    const auto found = std::find_if(places.begin(), places.end(),
                                    [&key](const RecordingPlace& place) { return place.key == key; });
    return found == places.end() ? RecordingPlace() : *found;
}

RecordingPlace RecordingPlaces::placeOf(const Source& source, int number) const
{
    if (source.isEmpty())
        return {};
    const DeviceChannel channel = DeviceChannel::parse(source.url);
    if (channel.isValid()) {
        const RecordingPlace place = find(DeviceChannel{channel.device, channel.channel}.address());
        if (place.isValid())
            return place;
    }
    const QString begin = FolderName::ofTitle(QString("%1-%2-").arg(channel.device).arg(channel.channel + 1));
    const auto found = std::find_if(places.begin(), places.end(), [&](const RecordingPlace& place) {
        return channel.isValid() ? place.folder.startsWith(begin) : place.folder == folderNameOf(number);
    });
    return found == places.end() ? RecordingPlace() : *found;
}

void RecordingPlaces::build()
{
    places.clear();
    for (const QString& name : devices.names())
        addDevice(name);
    for (const RecordingFolder& folder : qAsConst(folders))
        addFolder(folder);
    Q_EMIT changed();
}

void RecordingPlaces::addDevice(const QString& name)
{
    const QSharedPointer<MediaDevice> device = devices.find(name);
    if (device->config().archive.isEmpty())
        return;
    for (int channel = 0; channel < device->getChannelCount(); ++channel) {
        RecordingPlace place;
        place.key = DeviceChannel{name, channel}.address();
        place.group = name;
        place.name = devices.channel({name, channel, DeviceChannel::any}).title();
        place.folder = FolderName::ofTitle(QString("%1-%2").arg(name).arg(channel + 1));
        place.device = device;
        place.channel = channel;
        places.append(place);
    }
}

void RecordingPlaces::addFolder(const RecordingFolder& folder)
{
    const bool isAutomatic = !automaticRoot.isEmpty() && QFileInfo(folder.path).path() == automaticRoot;
    RecordingPlace place;
    place.key = keyOf(folder);
    place.group = isAutomatic ? tr("Recorded all the time") : tr("Recorded here");
    place.name = nameOf(folder);
    place.folder = QFileInfo(folder.path).fileName();
    place.device = deviceOf(folder, place.name);
    place.channel = folder.number;
    places.append(place);
}

QString RecordingPlaces::nameOf(const RecordingFolder& folder) const
{
    static const QRegularExpression ofChannel("^(.+)-(\\d+)-(\\w+)$");
    const QString name = QFileInfo(folder.path).fileName();
    if (name == folderNameOf(folder.number))
        return tr("Cell %1").arg(folder.number);
    static const QRegularExpression downloaded("^(.+)-(\\d+)$");
    const QRegularExpressionMatch channel = ofChannel.match(name);
    if (channel.hasMatch() && channel.captured(2).toInt() == folder.number + 1)
        return tr("%1, channel %2, %3").arg(channel.captured(1), channel.captured(2), channel.captured(3));
    const QRegularExpressionMatch download = downloaded.match(name);
    if (download.hasMatch() && download.captured(2).toInt() == folder.number + 1)
        return tr("%1, channel %2, downloaded").arg(download.captured(1), download.captured(2));
    return QString("%1 (%2)").arg(name).arg(folder.number);
}

// One that is there already may be playing.
QSharedPointer<MediaDevice> RecordingPlaces::deviceOf(const RecordingFolder& folder, const QString& name)
{
    QSharedPointer<MediaDevice>& device = folderDevices[keyOf(folder)];
    if (!device) {
        MediaDeviceConfig config;
        config.alias = name;
        config.archive = folder.path;
        device.reset(new MediaDevice(config));
    }
    return device;
}
