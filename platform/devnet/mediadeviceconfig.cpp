#include "devnet/mediadeviceconfig.h"

#include "devnet/mediasourceaddress.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <array>
#include <cmath>

namespace {

/// Reads a configuration out of a document and keeps the first thing that is wrong with it.
class Reader
{
public:
    MediaDeviceConfig device(const QJsonObject& object)
    {
        checkKeys(object, {}, {"alias", "serialNumber", "protocol", "maxStreams", "archive", "talkFolder", "channels"});
        MediaDeviceConfig config;
        config.alias = text(object, {}, "alias");
        config.serialNumber = text(object, {}, "serialNumber");
        config.protocol = protocol(object);
        config.maxStreams = maxStreams(object);
        config.archive = text(object, {}, "archive");
        config.talkFolder = text(object, {}, "talkFolder");
        const QJsonArray channels = list(object, {}, "channels");
        for (int i = 0; i < channels.size(); ++i)
            config.channels.append(channel(channels.at(i), QString("channels[%1]").arg(i), config.protocol));
        return config;
    }

    QString error;

private:
    void fail(const QString& where, const QString& what)
    {
        if (error.isEmpty())
            error = where.isEmpty() ? what : QString("%1: %2").arg(where, what);
    }

    void checkKeys(const QJsonObject& object, const QString& where, const QStringList& known)
    {
        const QStringList keys = object.keys();
        for (const QString& key : keys) {
            if (!known.contains(key))
                fail(where, QString("unknown key \"%1\", known are %2").arg(key, known.join(", ")));
        }
    }

    static QString join(const QString& where, const char* key) { return where.isEmpty() ? key : where + '.' + key; }

    QString text(const QJsonObject& object, const QString& where, const char* key)
    {
        const QJsonValue value = object.value(QLatin1String(key));
        if (!value.isUndefined() && !value.isString())
            fail(join(where, key), "must be a text");
        return value.toString();
    }

    int number(const QJsonObject& object, const char* key, int otherwise)
    {
        const QJsonValue value = object.value(QLatin1String(key));
        if (value.isUndefined())
            return otherwise;
        if (!value.isDouble() || value.toDouble() != std::floor(value.toDouble()))
            fail(key, "must be a whole number");
        return value.toInt(-1);
    }

    XTransportProtocol protocol(const QJsonObject& object)
    {
        const int value = number(object, "protocol", XTransportProtocol_Rta);
        if (value != XTransportProtocol_Mbe && value != XTransportProtocol_Rtsp && value != XTransportProtocol_Rta)
            fail("protocol", "must be 1, 2 or 4");
        return static_cast<XTransportProtocol>(value);
    }

    int maxStreams(const QJsonObject& object)
    {
        const int value = number(object, "maxStreams", 0);
        if (value < 0)
            fail("maxStreams", "must not be negative");
        return value;
    }

    QJsonArray list(const QJsonObject& object, const QString& where, const char* key)
    {
        const QJsonArray array = object.value(QLatin1String(key)).toArray();
        if (array.isEmpty())
            fail(join(where, key), "must be a list with an entry at least");
        return array;
    }

    MediaDeviceConfig::Channel channel(const QJsonValue& value, const QString& where, XTransportProtocol protocol)
    {
        if (!value.isObject()) {
            fail(where, "must be an object");
            return {};
        }
        const QJsonObject object = value.toObject();
        checkKeys(object, where, {"name", "sources"});
        MediaDeviceConfig::Channel channel;
        channel.name = text(object, where, "name");
        const QJsonArray sources = list(object, where, "sources");
        for (int i = 0; i < sources.size(); ++i)
            channel.sources.append(source(sources.at(i), QString("%1.sources[%2]").arg(where).arg(i), protocol));
        return channel;
    }

    QString source(const QJsonValue& value, const QString& where, XTransportProtocol protocol)
    {
        if (!value.isString())
            fail(where, "must be a text");
        QString problem;
        const auto address = MediaSourceAddress::parse(value.toString(), &problem);
        if (!address)
            fail(where, problem);
        else if (protocol == XTransportProtocol_Rtsp && address->kind != MediaSourceAddress::Url
                 && address->kind != MediaSourceAddress::None)
            fail(where, "must be an address, because a device of protocol 2 hands out its sources as they are");
        return value.toString();
    }
};

int lineAt(const QByteArray& text, int offset) { return 1 + static_cast<int>(text.left(offset).count('\n')); }

MediaDeviceConfig refused(QString* error, const QString& reason)
{
    if (error)
        *error = reason;
    return {};
}

void resolveFiles(MediaDeviceConfig& config, const QDir& folder)
{
    if (!config.archive.isEmpty())
        config.archive = folder.absoluteFilePath(config.archive);
    if (!config.talkFolder.isEmpty())
        config.talkFolder = folder.absoluteFilePath(config.talkFolder);
    for (MediaDeviceConfig::Channel& channel : config.channels) {
        for (QString& source : channel.sources) {
            QString problem;
            const auto address = MediaSourceAddress::parse(source, &problem);
            if (address && address->kind == MediaSourceAddress::File)
                source = folder.absoluteFilePath(address->text);
        }
    }
}

} // namespace

MediaDeviceConfig MediaDeviceConfig::fromJson(const QByteArray& json, QString* error)
{
    if (error)
        error->clear();
    QJsonParseError parsing;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parsing);
    if (parsing.error != QJsonParseError::NoError)
        return refused(error, QString("line %1: %2").arg(lineAt(json, parsing.offset)).arg(parsing.errorString()));
    if (!document.isObject())
        return refused(error, "line 1: must be an object");
    Reader reader;
    const MediaDeviceConfig config = reader.device(document.object());
    return reader.error.isEmpty() ? config : refused(error, reader.error);
}

MediaDeviceConfig MediaDeviceConfig::fromJsonFile(const QString& fileName, QString* error)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return refused(error, QString("%1: %2").arg(fileName, file.errorString()));
    QString problem;
    MediaDeviceConfig config = fromJson(file.readAll(), &problem);
    if (!problem.isEmpty())
        return refused(error, QString("%1: %2").arg(fileName, problem));
    if (error)
        error->clear();
    resolveFiles(config, QFileInfo(fileName).absoluteDir());
    return config;
}

MediaDeviceConfig MediaDeviceConfig::builtIn(int channels)
{
    // A scale, so that one hears which channel is heard.
    constexpr std::array<int, 8> toneHertz{262, 294, 330, 349, 392, 440, 494, 523};
    MediaDeviceConfig config;
    config.alias = "Built-in test device";
    config.serialNumber = "TEST-1";
    for (int i = 0; i < std::max(channels, 1); ++i) {
        const int tone = toneHertz[static_cast<std::size_t>(i) % toneHertz.size()];
        Channel channel;
        channel.name = QString("Channel %1").arg(i + 1);
        for (const char* size : {"1280x720@25", "640x360@25"})
            channel.sources.append(QString("test:%1,tone=%2").arg(size).arg(tone));
        config.channels.append(channel);
    }
    return config;
}
