#include "stampedserver.h"

#include <cstdio>

namespace {
// The first start on a machine has GStreamer look through all of its plug-ins.
constexpr int startMs = 60000;
constexpr int stopMs = 5000;
} // namespace

StampedServer::~StampedServer()
{
    process.closeWriteChannel(); // ends the program
    process.waitForFinished(stopMs);
}

bool StampedServer::start()
{
    process.setStandardErrorFile(QProcess::nullDevice()); // GStreamer warns of what its own elements do
    process.start(PYTHON_PROGRAM, {STAMPED_SERVER_SCRIPT});
    while (!process.canReadLine() && process.waitForReadyRead(startMs)) { }
    const QStringList words = QString::fromUtf8(process.readLine()).trimmed().split(' ');
    port = words.value(1);
    const bool isUp = words.at(0) == "port" && !port.isEmpty();
    if (!isUp)
        std::fprintf(stderr, "The server does not come up; it needs Python with GStreamer's RTSP server and x264.\n");
    return isUp;
}

QString StampedServer::liveUrl() const { return url("live"); }

QString StampedServer::pictureUrl() const { return url("picture"); }

QString StampedServer::url(const QString& mount) const { return QString("rtsp://127.0.0.1:%1/%2").arg(port, mount); }

void StampedServer::setKeyOffset(int pictures)
{
    process.write(QString("offset %1\n").arg(pictures).toUtf8());
    process.waitForBytesWritten(stopMs);
}

int StampedServer::takeKeyNumber()
{
    int number = -1;
    process.waitForReadyRead(0);
    while (process.canReadLine()) {
        const QStringList words = QString::fromUtf8(process.readLine()).trimmed().split(' ');
        if (words.at(0) == "play")
            number = words.value(2).toInt();
    }
    return number;
}

qint64 StampedServer::processId() const { return process.processId(); }
