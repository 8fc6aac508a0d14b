// The viewer's file of settings, damaged: read, written again, and read as it was written.

#include "fuzz/fuzzing.h"
#include "keptsettings.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>

namespace {
/// A name that no run before had: QSettings keeps in mind what it has read.
QString newSettingsFile()
{
    static int count = 0;
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, fuzzFolder());
    QCoreApplication::setOrganizationName("fuzz");
    QCoreApplication::setApplicationName(QString("viewer%1").arg(++count));
    return QSettings().fileName();
}

void store(const QString& name, const QByteArray& content)
{
    QDir().mkpath(QFileInfo(name).path());
    QFile file(name);
    require(file.open(QIODevice::WriteOnly) && file.write(content) == content.size(), "the settings are written");
}

void requireSense(const ViewerOptions& options)
{
    require(options.sources.size() <= 25, "no more sources than cells");
    require(options.cellCount >= 1 && options.cellCount <= 25, "as many cells as can be shown");
    require(options.transport == "tcp" || options.transport == "udp", "a transport that there is");
    require(options.devices.size() == options.deviceFiles.size(), "a file for every device");
    require(options.recordInterval == -1 || options.recordInterval >= 1, "an interval that there is");
}

void requireKept(const QString& name, const ViewerOptions& options)
{
    KeptSettings::saveSettings(options);
    KeptSettings::saveSources(options.sources, options.cellCount, options.deviceFiles);
    const ViewerOptions again = KeptSettings::read();
    require(again.sources == options.sources && again.cellCount == options.cellCount, "what is shown is kept");
    require(again.snapshotFolder == options.snapshotFolder && again.language == options.language
                && again.recordInterval == options.recordInterval && again.scaleMode == options.scaleMode,
            "settings are kept");
    const auto others = QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther;
    require(!(QFile::permissions(name) & others), "nobody else may read the file");
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QString name = newSettingsFile();
    store(name, QByteArray(reinterpret_cast<const char*>(data), int(size)));
    const ViewerOptions options = KeptSettings::read();
    requireSense(options);
    requireKept(name, options);
    QFile::remove(name);
    QFile::remove(name + ".damaged");
    return 0;
}
