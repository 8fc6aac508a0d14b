#include "keptsettings.h"

#include <QCoreApplication>
#include <QFile>
#include <QMap>
#include <QSettings>

#include <algorithm>
#include <iterator>
#include <new>

namespace {

constexpr int cellCounts[] = {1, 4, 9, 16, 25};

const QStringList transports{"tcp", "udp"};

QMap<ScaleMode, QString> scaleModes()
{
    return {{ScaleMode_Aspect, "aspect"}, {ScaleMode_Auto, "auto"}, {ScaleMode_Fill, "fill"}};
}

/// The value of a key when it is one of @p allowed, else the first of these.
QString oneOf(const QSettings& settings, const QString& key, const QStringList& allowed)
{
    const QString value = settings.value(key).toString();
    return allowed.contains(value) ? value : allowed.first();
}

int number(const QSettings& settings, const QString& key, int least, int otherwise)
{
    bool isNumber = false;
    const int value = settings.value(key).toInt(&isNumber);
    return isNumber && value >= least ? value : otherwise;
}

void keepForTheUser(const QSettings& settings)
{
    QFile::setPermissions(settings.fileName(), QFile::ReadOwner | QFile::WriteOwner);
}

enum class Condition
{
    Whole,
    Damaged,   // what can be read of it is known
    Unreadable // every look at it would fail
};

/// Reads the file. In place of a value a damaged one can have a list of as many things as no memory holds.
Condition conditionOf(const QSettings& settings)
{
    try {
        settings.allKeys();
        return settings.status() == QSettings::NoError ? Condition::Whole : Condition::Damaged;
    } catch (const std::bad_alloc&) {
        return Condition::Unreadable;
    }
}

QStringList keepDamaged(QSettings& settings)
{
    const Condition condition = conditionOf(settings);
    if (condition == Condition::Whole)
        return {};
    const QString copy = settings.fileName() + ".damaged";
    QFile::remove(copy);
    const bool isKept = condition == Condition::Damaged ? QFile::copy(settings.fileName(), copy)
                                                        : QFile::rename(settings.fileName(), copy);
    settings.sync(); // notices that there is no file any more
    const QString complaint = KeptSettings::tr("The settings in %1 cannot be read.").arg(settings.fileName());
    return {isKept ? complaint + ' ' + KeptSettings::tr("They are kept as %1.").arg(copy) : complaint};
}

void readSettings(const QSettings& settings, ViewerOptions& options)
{
    options.snapshotFolder = settings.value("settings/snapshots").toString();
    options.recordingFolder = settings.value("settings/recordings").toString();
    options.recordInterval = number(settings, "settings/recordInterval", 1, -1);
    options.transport = oneOf(settings, "settings/transport", transports);
    options.hardware = settings.value("settings/hardware", "none").toString();
    options.mode
        = oneOf(settings, "settings/mode", {"opengl", "image"}) == "image" ? VideoMode_Image : VideoMode_Opengl;
    options.scaleMode = scaleModes().key(oneOf(settings, "settings/scaleMode", {"aspect", "auto", "fill"}));
    options.language = oneOf(settings, "settings/language", {QString(), "en", "zh_CN"});
}

void readDevices(const QSettings& settings, ViewerOptions& options)
{
    for (const QString& file : settings.value("shown/deviceFiles").toStringList()) {
        QString error;
        const MediaDeviceConfig device = MediaDeviceConfig::fromJsonFile(file, &error);
        if (device.isValid()) {
            options.devices.append(device);
            options.deviceFiles.append(file);
        } else {
            options.complaints.append(error);
        }
    }
}

void readSources(QSettings& settings, ViewerOptions& options)
{
    const int cells = number(settings, "shown/cells", 1, options.cellCount);
    if (std::find(std::begin(cellCounts), std::end(cellCounts), cells) != std::end(cellCounts))
        options.cellCount = cells;
    const int count = qMin(settings.beginReadArray("sources"), *std::rbegin(cellCounts));
    for (int i = 0; i < count; ++i) {
        settings.setArrayIndex(i);
        Source source;
        source.name = settings.value("name").toString();
        source.url = settings.value("url").toString();
        source.transport = oneOf(settings, "transport", transports);
        source.captureFormat = settings.value("captureFormat").toString();
        options.sources.append(source);
    }
    settings.endArray();
}

} // namespace

ViewerOptions KeptSettings::read()
{
    QSettings settings;
    ViewerOptions options;
    options.complaints = keepDamaged(settings);
    readSettings(settings, options);
    readDevices(settings, options);
    readSources(settings, options);
    return options;
}

void KeptSettings::saveSettings(const ViewerOptions& options)
{
    QSettings settings;
    settings.setValue("settings/snapshots", options.snapshotFolder);
    settings.setValue("settings/recordings", options.recordingFolder);
    settings.setValue("settings/recordInterval", options.recordInterval);
    settings.setValue("settings/transport", options.transport);
    settings.setValue("settings/hardware", options.hardware);
    settings.setValue("settings/mode", options.mode == VideoMode_Image ? "image" : "opengl");
    settings.setValue("settings/scaleMode", scaleModes().value(options.scaleMode));
    settings.setValue("settings/language", options.language);
    settings.sync();
    keepForTheUser(settings);
}

void KeptSettings::saveSources(const QList<Source>& sources, int cellCount, const QStringList& deviceFiles)
{
    QSettings settings;
    settings.setValue("shown/deviceFiles", deviceFiles);
    settings.setValue("shown/cells", cellCount);
    settings.remove("sources");
    settings.beginWriteArray("sources", sources.size());
    for (int i = 0; i < sources.size(); ++i) {
        settings.setArrayIndex(i);
        settings.setValue("name", sources.at(i).name);
        settings.setValue("url", sources.at(i).url);
        settings.setValue("transport", sources.at(i).transport);
        settings.setValue("captureFormat", sources.at(i).captureFormat);
    }
    settings.endArray();
    settings.sync();
    keepForTheUser(settings);
}
