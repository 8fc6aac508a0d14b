#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>

/// An RTSP server on the loopback: a Python script in a process of its own, which says on its standard output which
/// port it has, and ends when its standard input does.
class PythonServer
{
public:
    /// Ends the script.
    ~PythonServer();

    /// Runs @p script. False, with a line on the standard error, when the server does not come up: it needs Python and
    /// GStreamer's RTSP server.
    bool start(const QString& script, const QStringList& arguments = {});

    QString url(const QString& mount) const;

    qint64 processId() const;

    /// Writes a line to the script.
    void write(const QString& line);

    /// The words of the next line from the script; none when it has said nothing more.
    QStringList takeWords();

private:
    QProcess process;
    QString port;
};
