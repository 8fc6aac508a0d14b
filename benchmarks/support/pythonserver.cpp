#include "support/pythonserver.h"

#include <cstdio>

namespace {
// The first start on a machine has GStreamer look through all of its plug-ins.
constexpr int startMs = 60000;
constexpr int stopMs = 5000;
} // namespace

PythonServer::~PythonServer()
{
    process.closeWriteChannel(); // ends the script
    process.waitForFinished(stopMs);
}

bool PythonServer::start(const QString& script, const QStringList& arguments)
{
    process.setStandardErrorFile(QProcess::nullDevice()); // GStreamer warns of what its own elements do
    process.start(PYTHON_PROGRAM, QStringList{script} + arguments);
    while (!process.canReadLine() && process.waitForReadyRead(startMs)) { }
    const QStringList words = takeWords();
    const bool isUp = words.size() == 2 && words.at(0) == "port";
    if (isUp)
        port = words.at(1);
    else
        std::fprintf(stderr, "The server does not come up; it needs Python with GStreamer's RTSP server and x264.\n");
    return isUp;
}

QString PythonServer::url(const QString& mount) const { return QString("rtsp://127.0.0.1:%1/%2").arg(port, mount); }

qint64 PythonServer::processId() const { return process.processId(); }

void PythonServer::write(const QString& line)
{
    process.write(line.toUtf8() + '\n');
    process.waitForBytesWritten(stopMs);
}

QStringList PythonServer::takeWords()
{
    process.waitForReadyRead(0);
    return process.canReadLine() ? QString::fromUtf8(process.readLine()).trimmed().split(' ') : QStringList();
}
