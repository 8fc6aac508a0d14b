#include "source.h"

#include "core_videobase/shownaddress.h"
#include "devicechannel.h"

#include <QFileInfo>
#include <QUrl>

QString Source::title() const
{
    if (!name.isEmpty())
        return name;
    const DeviceChannel channel = DeviceChannel::parse(url);
    if (channel.isValid())
        return channel.isWholeDevice() ? channel.device : QString("%1 %2").arg(channel.device).arg(channel.channel + 1);
    if (url.contains('|'))
        return url.section('|', 0, 0);
    const QString shown = shownUrl();
    if (!shown.contains("://") || shown.startsWith("file:"))
        return QFileInfo(shown).fileName();
    return shown.section("://", 1).section('@', -1).section('?', 0, 0);
}

QString Source::shownUrl() const { return url.contains('|') ? url : shownAddress(url); }

bool operator==(const Source& one, const Source& other)
{
    return one.name == other.name && one.url == other.url && one.transport == other.transport
        && one.captureFormat == other.captureFormat;
}
