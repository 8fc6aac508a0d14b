#include "eventlines.h"

#include <QJsonDocument>
#include <QMutex>
#include <QtGlobal>

#include <chrono>
#include <cstdio>

namespace {
double now()
{
    // On Linux the clock that time.monotonic() of Python reads.
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

const char* nameOf(QtMsgType level)
{
    switch (level) {
    case QtDebugMsg: return "debug";
    case QtInfoMsg: return "info";
    case QtWarningMsg: return "warning";
    default: return "critical";
    }
}

void writeLogLine(QtMsgType level, const QMessageLogContext& context, const QString& text)
{
    EventLines::write("log", {{"level", nameOf(level)}, {"category", context.category}, {"text", text}});
}
} // namespace

void EventLines::write(const char* event, QJsonObject fields)
{
    static QMutex mutex;
    const QMutexLocker lock(&mutex);
    fields["t"] = now();
    fields["event"] = event;
    std::printf("%s\n", QJsonDocument(fields).toJson(QJsonDocument::Compact).constData());
    std::fflush(stdout);
}

void EventLines::takeLog() { qInstallMessageHandler(&writeLogLine); }
