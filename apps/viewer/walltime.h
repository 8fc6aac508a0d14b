#pragma once

#include <QDateTime>

/// The times of recordings: milliseconds since 1970 of what the clock on the wall showed, counted as if it had been
/// UTC.
///
/// That is all a recording's name tells. So every day has 24 hours: the hour that a change to summer time leaves out
/// stays empty, and what was recorded twice within the hour that comes twice lies at the same place.
namespace WallTime {

constexpr qint64 second = 1000;
constexpr qint64 minute = 60 * second;
constexpr qint64 hour = 60 * minute;
constexpr qint64 day = 24 * hour;

qint64 of(const QDateTime& moment);

/// For a device: local time, or, for what the clock of this computer never shows, the same date and time as UTC.
QDateTime moment(qint64 time);

qint64 startOf(const QDate& date);
QDate dateOf(qint64 time);

/// @p format as QDateTime::toString() takes it.
QString text(qint64 time, const QString& format);

} // namespace WallTime
