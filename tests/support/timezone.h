#pragma once

#include <QByteArray>

/// The time zone of the process for the life of the object, "Europe/Berlin" for example.
class TimeZone
{
public:
    explicit TimeZone(const QByteArray& name);
    ~TimeZone();
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;

private:
    const QByteArray before;
};
