#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>
#include <QVector>

class VirtualScreen;

/// A system that is measured: a program with all its arguments. Where "URL" stands, the address goes.
struct Player
{
    QString name;
    QString program;
    QStringList arguments;
    QStringList versionArguments;
    bool isHost = false; ///< this program itself, showing a UrlVideoWidget (see livehost.h)

    /// What the program says of itself, empty when there is no such program here.
    QString version() const;

    /// libvantor's host in @p mode (of VideoMode) with a transport; a host that @p waits begins to play when told to.
    static Player host(const QString& name, int mode, const QString& transport, bool waits = false);

    static Player gstreamer(int latency, bool isSynchronous, bool hasSound);
    static Player mpv(const QString& name, const QStringList& options);
    static Player ffplay(const QString& name, const QStringList& options);
    static Player vlc(const QString& name, const QStringList& options);
};

/// A player that runs on a screen.
class RunningPlayer
{
public:
    RunningPlayer(const Player& player, const QString& url, const VirtualScreen& screen);
    ~RunningPlayer();

    /// Tells a waiting host "start" or "stop".
    void tell(const QByteArray& what);

    bool isRunning() const;
    qint64 processId() const;

private:
    QProcess process;
};
