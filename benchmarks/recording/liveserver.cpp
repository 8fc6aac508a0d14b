#include "liveserver.h"

namespace {
// The first start on a machine has GStreamer look through all of its plug-ins.
constexpr int startMs = 60000;
constexpr int stopMs = 5000;
} // namespace

LiveServer::~LiveServer()
{
    process.closeWriteChannel(); // ends the program
    process.waitForFinished(stopMs);
}

bool LiveServer::start(const QString& file)
{
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(PYTHON_PROGRAM, {RTSP_SERVER_SCRIPT, "--file", file});
    while (!process.canReadLine() && process.waitForReadyRead(startMs)) { }
    const QStringList words = QString::fromUtf8(process.readLine()).trimmed().split(' ');
    port = words.value(1);
    return words.at(0) == "port" && !port.isEmpty();
}

QString LiveServer::url() const { return QString("rtsp://127.0.0.1:%1/file").arg(port); }
