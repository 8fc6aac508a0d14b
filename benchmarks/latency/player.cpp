#include "player.h"

#include "virtualscreen.h"

#include <QCoreApplication>
#include <QStandardPaths>

#include <unistd.h>

namespace {
constexpr int stopMs = 3000;
constexpr int versionMs = 20000;

const QStringList nobody{"--reuid=65534", "--regid=65534", "--clear-groups", "--"};
} // namespace

Player Player::host(const QString& name, int mode, const QString& transport, bool waits)
{
    QStringList arguments{"--host", "URL", QString::number(mode), transport};
    if (waits)
        arguments << "--wait";
    return {name, QCoreApplication::applicationFilePath(), arguments, {}, true};
}

Player Player::gstreamer(int latency, bool isSynchronous, bool hasSound)
{
    QString line
        = QString("-q rtspsrc name=source location=URL protocols=tcp latency=%1 source. "
                  "! application/x-rtp,media=video ! rtph264depay ! avdec_h264 ! videoconvert ! ximagesink sync=%2")
              .arg(latency)
              .arg(isSynchronous ? "true" : "false");
    if (hasSound)
        line += " source. ! application/x-rtp,media=audio ! rtppcmudepay ! mulawdec ! fakesink sync=true";
    const QString name = QString("GStreamer, latency=%1%2").arg(latency).arg(isSynchronous ? "" : " sync=false");
    return {name, "gst-launch-1.0", line.split(' '), {"--version"}};
}

Player Player::mpv(const QString& name, const QStringList& options)
{
    const QStringList common{"--no-config",         "--really-quiet", "--no-osc", "--osd-level=0",
                             "--no-border",         "--ao=null",      "--vo=x11", "--geometry=704x576+0+0",
                             "--rtsp-transport=tcp"};
    return {name, "mpv", common + options + QStringList{"URL"}, {"--version"}};
}

Player Player::ffplay(const QString& name, const QStringList& options)
{
    const QStringList common{"-v", "quiet", "-noborder", "-left", "0", "-top", "0", "-rtsp_transport", "tcp"};
    return {name, "ffplay", common + options + QStringList{"URL"}, {"-version"}};
}

Player Player::vlc(const QString& name, const QStringList& options)
{
    const QStringList common{"--intf",
                             "dummy",
                             "--quiet",
                             "--no-video-title-show",
                             "--no-video-deco",
                             "--vout",
                             "xcb_x11",
                             "--aout",
                             "dummy",
                             "--video-x",
                             "0",
                             "--video-y",
                             "0"};
    Player player{name, "vlc", common + options + QStringList{"URL"}, {"--version"}};
    if (geteuid() == 0 && !QStandardPaths::findExecutable(player.program).isEmpty()) { // which it refuses to run as
        player.arguments = nobody + QStringList{player.program} + player.arguments;
        player.versionArguments = nobody + QStringList{player.program} + player.versionArguments;
        player.program = "setpriv";
    }
    return player;
}

QString Player::version() const
{
    if (isHost)
        return VANTOR_VERSION;
    if (QStandardPaths::findExecutable(program).isEmpty())
        return {};
    QProcess process;
    process.setStandardErrorFile(QProcess::nullDevice());
    process.start(program, versionArguments);
    process.waitForFinished(versionMs);
    const QString line = QString::fromUtf8(process.readLine()).trimmed();
    return line.section(" Copyright", 0, 0).section(" (", 0, 0);
}

RunningPlayer::RunningPlayer(const Player& player, const QString& url, const VirtualScreen& screen)
{
    QStringList arguments = player.arguments;
    arguments.replaceInStrings("URL", url);
    process.setProcessEnvironment(screen.environment());
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    process.start(player.program, arguments);
    process.waitForStarted();
}

RunningPlayer::~RunningPlayer()
{
    process.terminate();
    if (!process.waitForFinished(stopMs)) {
        process.kill();
        process.waitForFinished(stopMs);
    }
}

void RunningPlayer::tell(const QByteArray& what)
{
    process.write(what + '\n');
    process.waitForBytesWritten(stopMs);
}

bool RunningPlayer::isRunning() const { return process.state() == QProcess::Running; }

qint64 RunningPlayer::processId() const { return process.processId(); }
