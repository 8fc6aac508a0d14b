// How long after its start a player shows the first picture of a live stream. README.md in benchmarks/ says how that is
// seen.
//
//     bench_firstpicture [rounds, 5] [part of a system's name]...
//
// Exit status 1 when libvantor is not the fastest of the run, 2 when there was nothing to measure.

#include "livehost.h"
#include "player.h"
#include "screenwatch.h"
#include "stampedserver.h"
#include "support/spread.h"
#include "virtualscreen.h"

#include <QCoreApplication>
#include <QMap>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>

namespace {
constexpr int rate = 25;
constexpr int pictureMs = 20000;
constexpr int clearMs = 10000;
constexpr int betweenMs = 300;
constexpr std::array<int, 2> offsets{0, rate}; // of the key frame, in pictures

struct System
{
    Player player;
    bool isRunningHost;
    QString version;
    std::array<Spread, offsets.size()> seconds{};
    bool isGivenUp = false; ///< it has shown nothing
};

bool isChosen(const QString& name, const QStringList& texts)
{
    const auto isIn = [&name](const QString& text) { return name.contains(text, Qt::CaseInsensitive); };
    return texts.isEmpty() || std::any_of(texts.begin(), texts.end(), isIn);
}

QVector<System> allSystems(const QStringList& only)
{
    QVector<System> systems{
        {Player::host("libvantor, OpenGL, new process", 2, "tcp"), false, {}},
        {Player::host("libvantor, painter, new process", 1, "tcp"), false, {}},
        {Player::host("libvantor, OpenGL, start() in a running host", 2, "tcp", true), true, {}},
        {Player::host("libvantor, painter, start() in a running host", 1, "tcp", true), true, {}},
        {Player::gstreamer(0, false, true), false, {}},
        {Player::gstreamer(0, true, true), false, {}},
        {Player::mpv("mpv, profile low-latency", {"--profile=low-latency"}), false, {}},
        {Player::mpv("mpv", {}), false, {}},
        {Player::ffplay("ffplay, nobuffer", {"-fflags", "nobuffer", "-flags", "low_delay"}), false, {}},
        {Player::ffplay("ffplay", {}), false, {}},
        {Player::vlc("VLC, network-caching=0", {"--network-caching=0"}), false, {}},
        {Player::vlc("VLC", {}), false, {}},
    };
    const auto isLeftOut = [&only](const System& system) { return !isChosen(system.player.name, only); };
    systems.erase(std::remove_if(systems.begin(), systems.end(), isLeftOut), systems.end());
    for (System& system : systems)
        system.version = system.player.version();
    return systems;
}

bool waitForClearScreen(const ScreenWatch& watch)
{
    const qint64 end = ScreenWatch::nowUs() + clearMs * 1000;
    while (watch.isPictureThere() && ScreenWatch::nowUs() < end)
        QThread::msleep(5);
    QThread::msleep(betweenMs);
    return !watch.isPictureThere();
}

/// Seconds from @p beginUs to the first picture that is not older than the key frame; -1 when none comes.
double waitForPicture(ScreenWatch& watch, StampedServer& server, qint64 beginUs)
{
    int key = -1;
    QVector<Sighting> seen;
    while (ScreenWatch::nowUs() < beginUs + pictureMs * 1000) {
        if (key < 0)
            key = server.takeKeyNumber();
        seen += watch.take();
        for (const Sighting& sighting : seen) {
            if (key >= 0 && qint16(sighting.number - quint16(key)) >= 0)
                return double(sighting.seenUs - beginUs) / 1e6;
        }
        QThread::msleep(5);
    }
    return -1;
}

double measure(const System& system, RunningPlayer* runningHost, StampedServer& server, VirtualScreen& screen)
{
    ScreenWatch watch(screen);
    if (!waitForClearScreen(watch))
        return -1;
    watch.take();
    server.takeKeyNumber();
    const qint64 begin = ScreenWatch::nowUs();
    if (!runningHost) {
        const RunningPlayer player(system.player, server.liveUrl(), screen);
        return waitForPicture(watch, server, begin);
    }
    runningHost->tell("start");
    const double seconds = waitForPicture(watch, server, begin);
    runningHost->tell("stop");
    return seconds;
}

/// One turn of a system; a running host is started, played once, and measured on its second start.
void takeTurn(System& system, StampedServer& server, VirtualScreen& screen)
{
    std::unique_ptr<RunningPlayer> host;
    if (system.isRunningHost) {
        host = std::make_unique<RunningPlayer>(system.player, server.liveUrl(), screen);
        QThread::sleep(1);
        measure(system, host.get(), server, screen);
    }
    for (size_t i = 0; i < offsets.size(); ++i) {
        server.setKeyOffset(offsets.at(i));
        const double seconds = measure(system, host.get(), server, screen);
        system.isGivenUp = seconds < 0 && system.seconds.at(i).count() == 0;
        if (system.isGivenUp)
            return;
        if (seconds >= 0)
            system.seconds.at(i).add(seconds);
    }
}

QString cell(const Spread& spread)
{
    if (spread.count() == 0)
        return "no picture";
    return QString::asprintf("%.3f (%.3f to %.3f)", spread.median(), spread.lowest(), spread.highest());
}

void print(const QVector<System>& systems, int rounds)
{
    std::printf("Seconds to the first picture, median of %d rounds (lowest to highest)\n\n", rounds);
    std::printf("| system | at a key frame | one second before one | version |\n|---|---|---|---|\n");
    for (const System& system : systems) {
        if (system.version.isEmpty())
            std::printf("| %s | missing | missing | |\n", qPrintable(system.player.name));
        else
            std::printf("| %s | %s | %s | %s |\n", qPrintable(system.player.name), qPrintable(cell(system.seconds[0])),
                        qPrintable(cell(system.seconds[1])), qPrintable(system.version));
    }
}

/// The best median of libvantor or of the others; -1 when there is none.
double best(const QVector<System>& systems, bool isHost, size_t offset)
{
    double lowest = -1;
    for (const System& system : systems) {
        const Spread& spread = system.seconds.at(offset);
        if (system.player.isHost == isHost && spread.count() > 0 && (lowest < 0 || spread.median() < lowest))
            lowest = spread.median();
    }
    return lowest;
}
} // namespace

int main(int argc, char** argv)
{
    if (LiveHost::isAsked(argc, argv))
        return LiveHost::run(argc, argv);

    QCoreApplication application(argc, argv);
    const int rounds = argc > 1 ? application.arguments().at(1).toInt() : 5;
    VirtualScreen screen;
    StampedServer server;
    if (rounds < 1 || !screen.start() || !server.start())
        return 2;
    QVector<System> systems = allSystems(application.arguments().mid(2));
    for (int round = 0; round < rounds; ++round) {
        for (System& system : systems) {
            if (!system.version.isEmpty() && !system.isGivenUp)
                takeTurn(system, server, screen);
        }
    }
    print(systems, rounds);

    int status = 0;
    for (size_t i = 0; i < offsets.size(); ++i) {
        const double ours = best(systems, true, i);
        const double theirs = best(systems, false, i);
        if (ours < 0)
            return 2;
        status = theirs >= 0 && ours > theirs ? 1 : status;
    }
    return status;
}
