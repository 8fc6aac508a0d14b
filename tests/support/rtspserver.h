#pragma once

#include <QProcess>
#include <QString>

/// A live RTSP server on the loopback, in a process of its own (rtsp_server.py), for tests to play from.
///
/// It starts on a free port and keeps that port for every later start. The mounts, each with the pictures of
/// testpicture.h at 25 a second, a key frame every ten, 320x240 unless said otherwise, and a tone of 440 Hz:
///
/// | mount       | what it serves                                                                   |
/// |-------------|----------------------------------------------------------------------------------|
/// | "h264"      | H.264 alone                                                                      |
/// | "h264_pcma" | H.264 and G.711 A-law                                                            |
/// | "h264_pcmu" | H.264 and G.711 µ-law, with a tone of 1000 Hz                                   |
/// | "h264_aac"  | H.264 and AAC, 16000 Hz                                                          |
/// | "h265"      | H.265 alone                                                                      |
/// | "h265_pcma" | H.265 and G.711 A-law                                                            |
/// | "noisy"     | as "h264_pcma", with noise in the picture: each takes several packets            |
/// | "audio"     | G.711 A-law alone                                                                |
/// | "secure"    | as "h264_pcma", for the user of setCredentials() alone                           |
/// | "sdp_only"  | H.264 whose parameter sets are in the description and never among the packets    |
/// | "switch"    | H.264 whose size changes in mid-stream with every switchResolution()             |
/// | "other_size"| as "h264", 400x304                                                               |
/// | "copy1" to "copy8" | as "h264_pcma" (odd) and "h264_pcmu" (even), a stream for each client         |
/// | "chosen"    | what the mount of setChosen() serves, "h264" unless set                           |
/// | "file"      | the file of setFile(), once                                                      |
///
/// The calls wait for the process in an event loop of their own, so timers and queued calls go on meanwhile.
class RtspServer
{
public:
    RtspServer();

    /// Ends the server as kill() does.
    ~RtspServer();
    RtspServer(const RtspServer&) = delete;
    RtspServer& operator=(const RtspServer&) = delete;

    /// The user and the password of the mount "secure", for the next start; Secrets::user() and Secrets::password()
    /// before.
    void setCredentials(const QString& user, const QString& password);

    /// What the mount "chosen" serves, the name of one of the other live mounts, for the next start.
    void setChosen(const QString& mount);

    /// Pictures a second of the live mounts, 25 unless set, for the next start.
    void setPictureRate(int rate);

    /// The media file of the mount "file", for the next start.
    void setFile(const QString& path);

    /// Returns when the server accepts clients; false, with a warning, when it does not come up.
    bool start();

    /// Disconnects every client in an orderly way and ends the process.
    bool stop();

    /// Ends the process at once, as a crash or a power cut would.
    void kill();

    /// kill(), then start() on the same port.
    bool restart();

    /// Stops the process in place: connections stay open, nothing more is sent. resume() lets it go on.
    void freeze();
    void resume();

    /// Gives the mount "switch" its other size, 400x304 or 320x240, also for clients that are playing.
    bool switchResolution();

    bool isRunning() const;

    /// 0 before the first start.
    quint16 port() const;

    /// The address of a mount; user and password stand in it as they are, with nothing escaped.
    QString url(const QString& mount, const QString& user = QString(), const QString& password = QString()) const;

private:
    QString readLine();
    void waitForEnd(int milliseconds);

    QProcess process;
    QString user;
    QString password;
    QString chosen;
    QString file;
    int pictureRate = 25;
    quint16 boundPort = 0;
};
