#include "messagelog.h"

#include <QReadWriteLock>

namespace {
// Held for reading while a message is handled, so that the object isn't deleted under another thread's message.
QReadWriteLock lifeLock(QReadWriteLock::Recursive);
} // namespace

std::atomic<MessageLog*> MessageLog::current{nullptr};
std::atomic<QtMessageHandler> MessageLog::previous{nullptr};

MessageLog::MessageLog(bool all, QObject* parent)
    : QObject(parent)
    , handsOnAll(all)
{
    qRegisterMetaType<MessageLog::Line>();
    const QWriteLocker lock(&lifeLock);
    current = this;
    previous = qInstallMessageHandler(&MessageLog::handle);
}

MessageLog::~MessageLog()
{
    const QWriteLocker lock(&lifeLock);
    qInstallMessageHandler(previous);
    current = nullptr;
}

void MessageLog::handle(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    const QReadLocker lock(&lifeLock);
    const QString category = QString::fromLatin1(context.category);
    const QtMessageHandler next = previous;
    MessageLog* const log = current;
    if (next && (!log || log->isHandedOn(type, category)))
        next(type, context, text);
    if (log)
        log->add({0, QDateTime::currentDateTime(), type, category, text});
}

bool MessageLog::isHandedOn(QtMsgType type, const QString& category) const
{
    return handsOnAll || !category.startsWith("vantor.") || (type != QtInfoMsg && type != QtDebugMsg);
}

void MessageLog::add(Line line)
{
    {
        const QMutexLocker lock(&mutex);
        line.number = ++count;
        if (kept.size() >= mostLines)
            kept.remove(0, mostLines / 10);
        kept.append(line);
    }
    Q_EMIT added(line);
}

QVector<MessageLog::Line> MessageLog::lines() const
{
    const QMutexLocker lock(&mutex);
    QVector<Line> copy = kept;
    copy.detach(); // not shared with the thread that adds the next line
    return copy;
}
