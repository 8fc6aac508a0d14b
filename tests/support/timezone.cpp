#include "support/timezone.h"

#include <QtGlobal>

#include <ctime>

TimeZone::TimeZone(const QByteArray& name)
    : before(qgetenv("TZ"))
{
    qputenv("TZ", name);
    tzset();
}

TimeZone::~TimeZone()
{
    before.isNull() ? qunsetenv("TZ") : qputenv("TZ", before);
    tzset();
}
