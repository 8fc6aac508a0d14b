#pragma once

#include <QDateTime>

/// Devices count what the clock on the wall shows as if it were UTC, in milliseconds since 1970. Such numbers go on
/// evenly, whatever summer time does.
namespace WallClock {

inline qint64 stampOf(const QDateTime& local)
{
    return QDateTime(local.date(), local.time(), Qt::UTC).toMSecsSinceEpoch();
}

inline QDateTime timeOf(qint64 stamp)
{
    const QDateTime shown = QDateTime::fromMSecsSinceEpoch(stamp, Qt::UTC);
    return QDateTime(shown.date(), shown.time());
}

} // namespace WallClock
