#include "support/messageguard.h"

#include "support/secrets.h"

#include <QRegularExpression>

#include <algorithm>
#include <mutex>
#include <vector>

namespace {

// The handler may be called from any thread at any time, also while a guard is being replaced.
std::mutex guardMutex;
std::vector<MessageGuard::Message> seen;
QVector<QRegularExpression> allowed;
QtMessageHandler previousHandler = nullptr;
int guards = 0;

void record(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    QtMessageHandler next = nullptr;
    {
        const std::lock_guard<std::mutex> lock(guardMutex);
        if (guards > 0)
            seen.push_back({type, context.category, context.file, context.function, text});
        next = previousHandler;
    }
    if (next)
        next(type, context, text);
}

bool isNeverAllowed(const QString& text)
{
    return text.contains("QObject::connect") || text.contains("QObject::disconnect")
        || text.contains("QMetaObject::invokeMethod") || text.contains("QMetaMethod::invoke")
        || text.contains(Secrets::word);
}

/// Qt's X11 plug-in says so when a window is shown and hidden faster than an X server without a window manager follows;
/// its Windows plug-in, of every window, where Wine lacks a function.
bool isFromWindowSystem(const MessageGuard::Message& message)
{
    return (message.category == "qt.qpa.xcb" && message.text.contains("setNetWmStateOnUnmappedWindow()"))
        || (message.text.startsWith("EnableNonClientDpiScaling()") && message.text.contains("Call not implemented"));
}

/// The machine that a test runs on has no sound server. Tests that start one are told so by the server being there.
bool isFromMissingSound(const MessageGuard::Message& message)
{
#ifdef Q_OS_WIN
    if (message.text == "QAudioOutput: open error") // Windows lists devices that can't be opened
        return true;
#endif
    return message.text == "no sound output can be opened";
}

bool isUnexpected(const MessageGuard::Message& message)
{
    if (isNeverAllowed(message.text))
        return true;
    if (isFromWindowSystem(message) || isFromMissingSound(message))
        return false;
    if (message.type == QtDebugMsg || message.type == QtInfoMsg)
        return false;
    return std::none_of(allowed.cbegin(), allowed.cend(), [&](const QRegularExpression& pattern) {
        return pattern.match(message.text).hasMatch();
    });
}

} // namespace

MessageGuard::MessageGuard()
{
    {
        const std::lock_guard<std::mutex> lock(guardMutex);
        seen.clear();
        allowed.clear();
        ++guards;
    }
    const QtMessageHandler previous = qInstallMessageHandler(record);
    const std::lock_guard<std::mutex> lock(guardMutex);
    if (previous != record)
        previousHandler = previous;
}

MessageGuard::~MessageGuard()
{
    QtMessageHandler previous = nullptr;
    {
        const std::lock_guard<std::mutex> lock(guardMutex);
        // A test that replaces its guard makes the new one before the old one goes.
        if (--guards > 0)
            return;
        previous = previousHandler;
    }
    qInstallMessageHandler(previous);
}

void MessageGuard::allow(const QString& pattern)
{
    const std::lock_guard<std::mutex> lock(guardMutex);
    allowed.append(QRegularExpression(pattern));
}

QVector<MessageGuard::Message> MessageGuard::messages() const
{
    const std::lock_guard<std::mutex> lock(guardMutex);
    return QVector<Message>(seen.cbegin(), seen.cend());
}

QStringList MessageGuard::texts(QtMsgType type) const
{
    QStringList result;
    for (const Message& message : messages()) {
        if (message.type == type)
            result.append(message.text);
    }
    return result;
}

int MessageGuard::count(QtMsgType type, const QString& text) const { return texts(type).count(text); }

bool MessageGuard::contains(const QString& pattern) const
{
    const QRegularExpression expression(pattern);
    const QVector<Message> all = messages();
    return std::any_of(all.cbegin(), all.cend(), [&](const Message& message) {
        return expression.match(message.text).hasMatch();
    });
}

QStringList MessageGuard::unexpected() const
{
    const std::lock_guard<std::mutex> lock(guardMutex);
    QStringList result;
    for (const Message& message : seen) {
        if (isUnexpected(message))
            result.append(QString("unexpected message [%1]: %2").arg(message.category, message.text));
    }
    return result;
}

void MessageGuard::clear()
{
    const std::lock_guard<std::mutex> lock(guardMutex);
    seen.clear();
}
