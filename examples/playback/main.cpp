// Plays what the library has recorded in a folder, as a recorder's archive.
//
//     playback FOLDER CHANNEL START        START is local time, 2026-03-05T09:10:00
//
// Space pauses, Right jumps half a minute ahead, 1 to 8 set the speed, S takes a snapshot.
#include <core_vod/xrtavodwidget.h>
#include <devnet/mediadevice.h>
#include <vantor.h>

#include <QApplication>
#include <QKeyEvent>
#include <QtDebug>

namespace {

/// A device that has an archive and nothing live.
QSharedPointer<MediaDevice> makeDevice(const QString& folder, int channel)
{
    MediaDeviceConfig config;
    config.archive = folder;
    for (int i = 0; i <= channel; ++i)
        config.channels.append({QString(), {QString()}});
    return QSharedPointer<MediaDevice>::create(config);
}

class Player : public XRTAVodWidget
{
public:
    explicit Player(const QDateTime& start)
        : position(start)
    {
    }

protected:
    void keyPressEvent(QKeyEvent* event) override
    {
        if (event->key() == Qt::Key_Space)
            (isPaused = !isPaused) ? pause() : resume();
        else if (event->key() == Qt::Key_Right)
            seekFile(position = position.addSecs(30));
        else if (event->key() >= Qt::Key_1 && event->key() <= Qt::Key_8)
            setSpeed(event->key() - Qt::Key_0);
        else if (event->key() == Qt::Key_S)
            snap("snapshots", false);
    }

private:
    QDateTime position; // of the last jump
    bool isPaused = false;
};

int play(const QSharedPointer<MediaDevice>& device, int channel, const QDateTime& start)
{
    Player player(start);
    player.setVideoMode(VideoMode_Opengl);
    player.resize(960, 540);
    player.show();

    VodStartPara period; // without an end: as long as there are recordings
    period.startTime = start;
    player.setVodStartPara(period);
    QObject::connect(&player, &Player::sig_receivePlayFinsh, [] { qInfo("the end"); });
    return player.init(device, channel) && player.start() ? QApplication::exec() : 1;
}

} // namespace

int main(int argc, char* argv[])
{
    QApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    const QDateTime start = QDateTime::fromString(arguments.value(3), Qt::ISODate);
    if (arguments.size() != 4 || !start.isValid())
        qFatal("usage: playback FOLDER CHANNEL START");

    const int channel = arguments.at(2).toInt();
    const auto device = makeDevice(arguments.at(1), channel);
    for (const MediaRecording& recording : device->recordings(channel, start, start.addDays(1)))
        qInfo().noquote() << "recorded:" << recording.start.toString(Qt::ISODate) << "to"
                          << recording.end.toString(Qt::ISODate);
    Vantor::init();
    const int result = play(device, channel, start);
    Vantor::release();
    return result;
}
