#pragma once

#include <QProcess>
#include <QString>

/// An RTSP server on the loopback, in a process of its own, that sends a file to each client in real time.
class LiveServer
{
public:
    ~LiveServer();

    /// False when the server does not come up: it needs Python and GStreamer's RTSP server.
    bool start(const QString& file);

    QString url() const;

private:
    QProcess process;
    QString port;
};
