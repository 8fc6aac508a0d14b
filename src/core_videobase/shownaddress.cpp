#include "core_videobase/shownaddress.h"

#include <QBitArray>
#include <QFileInfo>
#include <QRegularExpression>

namespace {

/// A password may have any character in it, so the credentials end at the last "@", as where they are used.
void markCredentials(const QString& address, QBitArray& secret)
{
    static const QRegularExpression scheme("^[A-Za-z][A-Za-z0-9+.-]*://");
    const int begin = scheme.match(address).capturedLength();
    const int end = address.lastIndexOf('@');
    if (end > begin)
        secret.fill(true, begin, end);
}

void markQueryItems(const QString& address, QBitArray& secret)
{
    static const QRegularExpression item("[?&](?:user|username|usr|pass|passwd|password|pwd|token)=([^&]*)",
                                         QRegularExpression::CaseInsensitiveOption);
    for (auto items = item.globalMatch(address); items.hasNext();) {
        const QRegularExpressionMatch found = items.next();
        secret.fill(true, found.capturedStart(1), found.capturedEnd(1));
    }
}

} // namespace

/// What looks like a query may be part of a password and the other way round: everything that either can be is hidden.
QString shownAddress(const QString& address)
{
    if (QFileInfo::exists(address))
        return address;
    QBitArray secret(address.size());
    markCredentials(address, secret);
    markQueryItems(address, secret);

    QString shown;
    for (int i = 0; i < address.size(); ++i) {
        if (!secret.at(i))
            shown += address.at(i);
        else if (i == 0 || !secret.at(i - 1))
            shown += "***";
    }
    return shown;
}
