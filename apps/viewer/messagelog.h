#pragma once

#include <QDateTime>
#include <QMutex>
#include <QObject>
#include <QVector>

#include <atomic>

/// Keeps the last lines that the program has logged, and hands them on to where they went before: warnings and errors,
/// and where that is wanted the rest as well.
///
/// One object at a time; it takes the program's messages from its construction to its destruction, from any thread.
class MessageLog : public QObject
{
    Q_OBJECT

public:
    static constexpr int mostLines = 2000;

    struct Line
    {
        quint64 number = 0; ///< counts up
        QDateTime time;
        QtMsgType type = QtInfoMsg;
        QString category;
        QString text;
    };

    explicit MessageLog(bool handsOnAll, QObject* parent = nullptr);
    ~MessageLog() override;

    /// Oldest first. Any thread.
    QVector<Line> lines() const;

Q_SIGNALS:
    /// From the thread that logged.
    void added(const MessageLog::Line& line);

private:
    static void handle(QtMsgType type, const QMessageLogContext& context, const QString& text);
    void add(Line line);
    bool isHandedOn(QtMsgType type, const QString& category) const;

    static std::atomic<MessageLog*> current;
    static std::atomic<QtMessageHandler> previous;
    const bool handsOnAll;
    mutable QMutex mutex;
    QVector<Line> kept;
    quint64 count = 0;
};
Q_DECLARE_METATYPE(MessageLog::Line)
