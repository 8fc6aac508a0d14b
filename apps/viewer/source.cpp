#include "source.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QUrl>

namespace {

QString text(const char* english) { return QCoreApplication::translate("Source", english); }

Source testPicture(const QString& name, const QString& url)
{
    Source source;
    source.name = name;
    source.url = url;
    source.captureFormat = "lavfi";
    return source;
}

} // namespace

QString Source::title() const
{
    if (!name.isEmpty())
        return name;
    if (url.contains('|'))
        return url.section('|', 0, 0);
    const QString shown = shownUrl();
    if (!shown.contains("://") || shown.startsWith("file:"))
        return QFileInfo(shown).fileName();
    return shown.section("://", 1).section('@', -1).section('?', 0, 0);
}

QString Source::shownUrl() const
{
    const int begin = url.contains("://") ? url.indexOf("://") + 3 : 0;
    const int end = url.lastIndexOf('@');
    const int colon = url.indexOf(':', begin);
    if (url.contains('|') || colon < 0 || end < colon || QFileInfo::exists(url))
        return url;
    return url.left(colon + 1) + "***" + url.mid(end);
}

// Small pictures at a modest rate: they are also drawn where there is no graphics card.
QList<Source> Source::testPictures()
{
    return {testPicture(text("Test pattern"), "testsrc2|640x360|15"),
            testPicture(text("Counter"), "testsrc|640x360|15"),
            testPicture(text("Colour bars"), "smptehdbars=size=640x360:rate=15,scroll=horizontal=0.004|640x360|15"),
            testPicture(text("Game of life"),
                        "life=size=160x90:rate=15:ratio=0.2:seed=5:mold=12"
                        ":life_color=0x8FE3E6:death_color=0x1B6F77:mold_color=0x0E1B24"
                        ",scale=640:360:flags=neighbor,format=yuv420p|640x360|15")};
}

bool operator==(const Source& one, const Source& other)
{
    return one.name == other.name && one.url == other.url && one.transport == other.transport
        && one.captureFormat == other.captureFormat;
}
