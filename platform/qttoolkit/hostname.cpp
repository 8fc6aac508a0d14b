#include "qttoolkit/hostname.h"

#include <QRegularExpression>

namespace {

QString withoutScheme(const QString& address)
{
    static const QRegularExpression scheme("^[A-Za-z][A-Za-z0-9+.-]*://");
    return QString(address).remove(scheme);
}

// What stands before the path: "host:port" or "[address]:port", either without the port, or an IPv6 address alone.
QRegularExpressionMatch matchHostAndPort(const QString& authority)
{
    static const QString bracketed = R"-(\[(?<bracketed>[0-9A-Fa-f:.]+(?:%[\w.-]+)?)\](?::[0-9]*)?)-";
    static const QString named = R"-((?<name>[\w.-]+)(?::[0-9]*)?)-";
    static const QString bare = R"-((?<bare>[0-9A-Fa-f]*:[0-9A-Fa-f:.]*:[0-9A-Fa-f.]*))-";
    static const QRegularExpression pattern(QString("^(?:%1|%2|%3)$").arg(bracketed, named, bare),
                                            QRegularExpression::UseUnicodePropertiesOption);
    return pattern.match(authority);
}

QString hostBeforePath(const QString& text)
{
    static const QRegularExpression pathStart("[/?#]");
    const QRegularExpressionMatch match = matchHostAndPort(text.section(pathStart, 0, 0));
    return match.captured("bracketed") + match.captured("name") + match.captured("bare");
}

bool beginsWithDrive(const QString& address)
{
    static const QRegularExpression drive(R"(^[A-Za-z]:(?:[/\\]|$))");
    return drive.match(address).hasMatch();
}

} // namespace

QString hostOfAddress(const QString& address)
{
    const QString trimmed = address.trimmed();
    if (beginsWithDrive(trimmed))
        return {};

    const QString rest = withoutScheme(trimmed);
    const QString authority = rest.section('/', 0, 0);
    const QString host = hostBeforePath(authority.contains('@') ? authority.section('@', -1) : rest);
    // "user:pass/word@host": what stands before the first slash is no host then.
    return host.isEmpty() && !authority.isEmpty() ? hostBeforePath(rest.section('@', -1)) : host;
}
