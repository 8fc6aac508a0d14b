#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

/// Watches the Qt message log for the life of a test.
///
/// A test creates one (usually in init()), allows the messages it provokes with allow(), and checks in cleanup() that
/// unexpected() is empty. Warnings and worse are unexpected unless allowed; messages of QObject::connect and
/// QMetaObject::invokeMethod are unexpected always, and so is every message that shows one of the Secrets. Thread-safe:
/// messages arrive from every thread.
class MessageGuard
{
public:
    struct Message
    {
        QtMsgType type;
        QString category;
        QString file;
        QString function;
        QString text;
    };

    MessageGuard();
    ~MessageGuard();
    MessageGuard(const MessageGuard&) = delete;
    MessageGuard& operator=(const MessageGuard&) = delete;

    /// Allows every warning or critical message that matches the regular expression anywhere in its text.
    void allow(const QString& pattern);

    /// All messages so far, in order.
    QVector<Message> messages() const;

    /// The texts of all messages of @p type so far.
    QStringList texts(QtMsgType type) const;

    /// How many messages of @p type have exactly the text @p text.
    int count(QtMsgType type, const QString& text) const;

    /// Whether a message matches the regular expression anywhere in its text.
    bool contains(const QString& pattern) const;

    /// The messages nobody allowed, ready to print.
    QStringList unexpected() const;

    void clear();
};

/// For cleanup(): fails the test when the guard saw a message that the test did not allow.
#define VERIFY_NO_UNEXPECTED_MESSAGES(guard) \
    do { \
        const QStringList unexpectedMessages = (guard).unexpected(); \
        QVERIFY2(unexpectedMessages.isEmpty(), qPrintable(unexpectedMessages.join('\n'))); \
    } while (false)
