#pragma once

#include <QJsonObject>

/// Tells another program what happens, one JSON object a line on the standard output, as soon as it happens.
///
/// Every line has "t", seconds of the machine's monotonic clock, and "event". Any thread.
namespace EventLines {

void write(const char* event, QJsonObject fields = {});

/// From now on every message of the log is an event "log" with "level", "category" and "text".
void takeLog();

} // namespace EventLines
