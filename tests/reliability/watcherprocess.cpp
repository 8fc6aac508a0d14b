// Plays and records one live stream for a test that disturbs it, see streamwatcher.h.
//
//     watcherprocess [OPTION...] ADDRESS
//
// The address is played by an FFmpegVideoThread, with --device as the one channel of a MediaDevice by an
// XRTALiveThread. Commands are read from the standard input, one a line; its end ends the program.

#include "core_live/xrtalivethread.h"
#include "devnet/mediadevice.h"
#include "eventlines.h"
#include "namedvideothread.h"
#include "streamwatcher.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QSocketNotifier>

#include <iostream>
#include <string>

namespace {
const QList<QCommandLineOption> options = {
    {"device", "Play the address as a channel of a device."},
    {"transport", "Of RTSP: tcp or udp.", "name", "tcp"},
    {"read-timeout", "In milliseconds.", "ms", "3000"},
    {"connect-timeout", "In milliseconds.", "ms", "3000"},
    {"open-sleep", "In milliseconds; the library's own unless given.", "ms"},
    {"save-interval", "Seconds after which a recording goes on in another file.", "s", "-1"},
};

std::unique_ptr<AbstractVideoThread> deviceThread(const QString& address)
{
    MediaDeviceConfig config;
    config.channels = {{"", {address}}};
    auto thread = std::make_unique<XRTALiveThread>(nullptr);
    thread->bindDevice(QSharedPointer<MediaDevice>::create(config));
    return thread;
}

std::unique_ptr<AbstractVideoThread> addressThread(const QString& address, const QString& transport)
{
    auto thread = std::make_unique<NamedVideoThread>();
    thread->setVideoUrl(address);
    thread->setFastStart(true);
    thread->setTransport(transport);
    return thread;
}

std::unique_ptr<AbstractVideoThread> makeThread(const QCommandLineParser& parser)
{
    const QString address = parser.positionalArguments().value(0);
    auto thread = parser.isSet("device") ? deviceThread(address) : addressThread(address, parser.value("transport"));
    thread->setReadTimeout(parser.value("read-timeout").toInt());
    thread->setConnectTimeout(parser.value("connect-timeout").toInt());
    if (parser.isSet("open-sleep"))
        thread->setOpenSleepTime(parser.value("open-sleep").toInt());
    thread->setSaveInterval(AbstractVideoThread::MANUAL_RECORD, parser.value("save-interval").toInt());
    return thread;
}
} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.addOptions(options);
    parser.process(application);
    if (parser.positionalArguments().size() != 1)
        return 2;
    EventLines::takeLog();
    StreamWatcher watcher(makeThread(parser));

    QSocketNotifier input(0, QSocketNotifier::Read);
    std::ios::sync_with_stdio(false); // so that what was read ahead is known
    QObject::connect(&input, &QSocketNotifier::activated, &application, [&] {
        std::string line;
        do {
            if (!std::getline(std::cin, line))
                return QCoreApplication::quit();
            watcher.command(QString::fromStdString(line));
        } while (std::cin.rdbuf()->in_avail() > 0);
    });
    return QCoreApplication::exec();
}
