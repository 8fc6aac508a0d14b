#include "devicechannel.h"

#include <QStringList>

namespace {

const QString scheme("device:");
const QStringList firstStreams{"main", "sub"};

QString escaped(QString name) { return name.replace('%', "%25").replace('/', "%2F"); }

QString unescaped(QString name) { return name.replace("%2F", "/").replace("%25", "%"); }

// From 0; any for what is no number of that kind.
int numberOf(const QString& text)
{
    bool isNumber = false;
    const int number = text.toInt(&isNumber);
    return isNumber && number >= 1 ? number - 1 : DeviceChannel::any;
}

int streamOf(const QString& text)
{
    const int first = firstStreams.indexOf(text);
    return first >= 0 ? first : numberOf(text);
}

} // namespace

bool DeviceChannel::isAddress(const QString& text) { return text.startsWith(scheme); }

DeviceChannel DeviceChannel::parse(const QString& text)
{
    if (!isAddress(text))
        return {};
    const QStringList parts = text.mid(scheme.size()).split('/');
    DeviceChannel result;
    if (parts.size() > 1)
        result.channel = numberOf(parts.at(1));
    if (parts.size() > 2)
        result.stream = streamOf(parts.at(2));
    const bool isUnderstood = parts.size() <= 3 && (parts.size() < 2 || result.channel != any)
        && (parts.size() < 3 || result.stream != any);
    if (isUnderstood)
        result.device = unescaped(parts.first());
    return result;
}

QString DeviceChannel::address() const
{
    QString text = scheme + escaped(device);
    if (channel != any)
        text += QString("/%1").arg(channel + 1);
    if (channel != any && stream != any)
        text += '/' + streamName(stream);
    return text;
}

QString DeviceChannel::streamName(int stream) { return firstStreams.value(stream, QString::number(stream + 1)); }
