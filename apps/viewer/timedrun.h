#pragma once

#include <QObject>
#include <QString>

class QWidget;

/// Ends the program after some seconds and keeps what the screen showed shortly before.
class TimedRun : public QObject
{
    Q_OBJECT

public:
    /// @p screenshot may be empty for none. @p window is closed at the end and must live until then.
    TimedRun(QWidget* window, int seconds, const QString& screenshot);

    /// Whether there was nothing to write, or it was written.
    bool isDone() const { return done; }

private:
    void grabScreen();

    const QString file;
    bool done;
};
