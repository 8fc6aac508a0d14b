#include "support/rtspserver.h"

#include "support/secrets.h"
#include "support/waiting.h"

#include <QtDebug>

#include <csignal>

namespace {
// The first start on a machine has GStreamer look through all of its plug-ins.
constexpr int startMs = 60000;
constexpr int stopMs = 5000;
} // namespace

RtspServer::RtspServer()
    : user(Secrets::user())
    , password(Secrets::password())
    , chosen("h264")
{
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
}

RtspServer::~RtspServer() { kill(); }

void RtspServer::setCredentials(const QString& newUser, const QString& newPassword)
{
    user = newUser;
    password = newPassword;
}

void RtspServer::setChosen(const QString& mount) { chosen = mount; }

void RtspServer::setPictureRate(int rate) { pictureRate = rate; }

void RtspServer::setFile(const QString& path) { file = path; }

bool RtspServer::start()
{
    QStringList arguments{VANTOR_TEST_RTSP_SERVER, "--port", QString::number(boundPort)};
    arguments << "--rate" << QString::number(pictureRate);
    arguments << "--user" << user << "--password" << password << "--chosen" << chosen;
    if (!file.isEmpty())
        arguments << "--file" << file;
    process.start(VANTOR_TEST_PYTHON, arguments);
    const QStringList words = readLine().split(' ');
    if (words.size() != 2 || words.at(0) != "port") {
        qWarning("RtspServer: no port within %d ms", startMs);
        kill();
        return false;
    }
    boundPort = words.at(1).toUShort();
    return true;
}

bool RtspServer::stop()
{
    if (!isRunning())
        return true;
    process.closeWriteChannel();
    waitForEnd(stopMs);
    const bool ended = !isRunning();
    kill();
    return ended && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

void RtspServer::kill()
{
    if (!isRunning())
        return;
    process.kill();
    waitForEnd(stopMs);
}

bool RtspServer::restart()
{
    kill();
    return start();
}

void RtspServer::freeze()
{
    if (isRunning())
        ::kill(static_cast<pid_t>(process.processId()), SIGSTOP);
}

void RtspServer::resume()
{
    if (isRunning())
        ::kill(static_cast<pid_t>(process.processId()), SIGCONT);
}

bool RtspServer::switchResolution()
{
    process.write("switch\n");
    return readLine().startsWith("switched ");
}

bool RtspServer::isRunning() const { return process.state() != QProcess::NotRunning; }

quint16 RtspServer::port() const { return boundPort; }

QString RtspServer::url(const QString& mount, const QString& name, const QString& word) const
{
    // Put together piece by piece: a password may look like a place marker.
    const QString login = name.isEmpty() ? QString() : name + ':' + word + '@';
    return "rtsp://" + login + "127.0.0.1:" + QString::number(boundPort) + '/' + mount;
}

QString RtspServer::readLine()
{
    Waiting::until([this] { return process.canReadLine() || !isRunning(); }, startMs);
    return QString::fromUtf8(process.readLine()).trimmed();
}

void RtspServer::waitForEnd(int milliseconds)
{
    Waiting::until([this] { return !isRunning(); }, milliseconds);
}
