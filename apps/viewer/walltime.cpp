#include "walltime.h"

namespace {
QDateTime counted(qint64 time) { return QDateTime::fromMSecsSinceEpoch(time, Qt::UTC); }
} // namespace

qint64 WallTime::of(const QDateTime& moment)
{
    return QDateTime(moment.date(), moment.time(), Qt::UTC).toMSecsSinceEpoch();
}

QDateTime WallTime::moment(qint64 time)
{
    const QDateTime wall = counted(time);
    const QDateTime local(wall.date(), wall.time());
    const bool isShown = local.isValid() && local.time() == wall.time() && local.date() == wall.date();
    return isShown ? local : wall;
}

qint64 WallTime::startOf(const QDate& date) { return QDateTime(date, QTime(0, 0), Qt::UTC).toMSecsSinceEpoch(); }

QDate WallTime::dateOf(qint64 time) { return counted(time).date(); }

QString WallTime::text(qint64 time, const QString& format) { return counted(time).toString(format); }
