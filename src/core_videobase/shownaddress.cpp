#include "core_videobase/shownaddress.h"

#include <QFileInfo>
#include <QRegularExpression>

QString shownAddress(const QString& address)
{
    if (QFileInfo::exists(address))
        return address;
    static const QRegularExpression secretItem("([?&](?:user|username|usr|pass|passwd|password|pwd|token)=)[^&]*",
                                               QRegularExpression::CaseInsensitiveOption);
    QString shown = address;
    shown.replace(secretItem, "\\1***");

    // A password may have any character in it, so the credentials end at the last "@", as where they are used.
    const int scheme = shown.indexOf("://");
    const int begin = scheme < 0 ? 0 : scheme + 3;
    const int end = shown.lastIndexOf('@');
    return end <= begin ? shown : shown.replace(begin, end - begin, "***");
}
