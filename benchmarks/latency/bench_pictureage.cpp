// How old the picture on the screen is when it appears there. README.md in benchmarks/ says how that is seen.
//
//     bench_pictureage [--minutes N, 1] [--rounds N, 1] [--only TEXT]... [--together] [--no-stops]
//
// Exit status 1 when libvantor is older than the best of the run or has skipped a picture, 2 when there was nothing to
// measure.

#include "agemeter.h"
#include "livehost.h"
#include "player.h"
#include "stampedserver.h"
#include "support/spread.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QThread>

#include <csignal>
#include <cstdio>
#include <memory>
#include <vector>

namespace {
constexpr int settleSeconds = 8;
constexpr int minuteSeconds = 60;
constexpr int pauseSeconds = 2;
constexpr int recoverySeconds = 10;
constexpr double never = 1e9;

/// One minute of each round.
struct Ages
{
    Spread median;
    Spread late;

    void add(const AgeFigures& figures)
    {
        if (figures.pictures == 0)
            return;
        median.add(figures.median);
        late.add(figures.late);
    }
};

struct System
{
    Player player;
    QString version;
    Ages firstMinute{};
    Ages lastMinute{};
    AgeFigures usual{}; // the first minute of the round under way
    AgeFigures all{};
    Spread afterServerStop{}; // seconds
    Spread afterClientStop{};
};

QVector<System> allSystems(const QStringList& only)
{
    QVector<System> systems;
    const auto add = [&](const Player& player) {
        const auto names = [&player](const QString& text) { return player.name.contains(text, Qt::CaseInsensitive); };
        if (only.isEmpty() || std::any_of(only.begin(), only.end(), names))
            systems.append({player, player.version()});
    };
    add(Player::host("libvantor, OpenGL, TCP", 2, "tcp"));
    add(Player::host("libvantor, OpenGL, UDP", 2, "udp"));
    add(Player::host("libvantor, painter, TCP", 1, "tcp"));
    add(Player::host("libvantor, painter, UDP", 1, "udp"));
    add(Player::gstreamer(0, false, false));
    add(Player::gstreamer(0, true, false));
    add(Player::gstreamer(200, true, false));
    add(Player::mpv("mpv, profile low-latency, untimed", {"--profile=low-latency", "--untimed"}));
    add(Player::mpv("mpv, profile low-latency", {"--profile=low-latency"}));
    add(Player::mpv("mpv", {}));
    add(Player::ffplay("ffplay, nobuffer", {"-fflags", "nobuffer", "-flags", "low_delay"}));
    add(Player::vlc("VLC, network-caching=0", {"--network-caching=0"}));
    return systems;
}

/// Systems that run at the same time, each on a screen of its own.
class Turn
{
public:
    Turn(const QVector<System*>& systemsOfTurn, const StampedServer& stampedServer)
        : systems(systemsOfTurn)
        , server(stampedServer)
    {
    }

    bool start()
    {
        for (const System* system : systems) {
            meters.push_back(std::make_unique<AgeMeter>());
            if (!meters.back()->start(system->player, server.pictureUrl()))
                return false;
        }
        return true;
    }

    void run(int minutes)
    {
        rest(settleSeconds);
        for (int minute = 0; minute < minutes; ++minute) {
            rest(minuteSeconds);
            for (int i = 0; i < systems.size(); ++i)
                note(*systems.at(i), meters.at(size_t(i))->take(), minute == 0, minute == minutes - 1);
        }
    }

    void standStill()
    {
        const auto noteRecovery = [this](Spread System::*figure) {
            const qint64 end = ScreenWatch::nowUs();
            rest(recoverySeconds);
            for (int i = 0; i < systems.size(); ++i) {
                System& system = *systems.at(i);
                const double seconds = meters.at(size_t(i))->recovery(end, system.usual);
                (system.*figure).add(seconds < 0 ? never : seconds);
            }
        };
        ::kill(pid_t(server.processId()), SIGSTOP);
        QThread::sleep(pauseSeconds);
        ::kill(pid_t(server.processId()), SIGCONT);
        noteRecovery(&System::afterServerStop);

        for (const auto& meter : meters)
            ::kill(pid_t(meter->processId()), SIGSTOP);
        QThread::sleep(pauseSeconds);
        for (const auto& meter : meters)
            ::kill(pid_t(meter->processId()), SIGCONT);
        noteRecovery(&System::afterClientStop);
    }

private:
    void rest(int seconds)
    {
        for (const auto& meter : meters)
            meter->take();
        QThread::sleep(unsigned(seconds));
    }

    static void note(System& system, const AgeFigures& figures, bool isFirst, bool isLast)
    {
        if (isFirst) {
            system.firstMinute.add(figures);
            system.usual = figures;
        }
        if (isLast)
            system.lastMinute.add(figures);
        system.all.skipped += figures.skipped;
        system.all.pictures += figures.pictures;
    }

    const QVector<System*> systems;
    const StampedServer& server;
    std::vector<std::unique_ptr<AgeMeter>> meters;
};

QString cell(const Ages& ages)
{
    if (ages.median.count() == 0)
        return "no picture";
    QString median = QString::asprintf("%.1f", ages.median.median());
    if (ages.median.count() > 1)
        median += QString::asprintf(" (%.1f to %.1f)", ages.median.lowest(), ages.median.highest());
    return median + QString::asprintf(" / %.1f", ages.late.median());
}

QString cell(const Spread& seconds)
{
    const bool isEver = seconds.count() > 0 && seconds.highest() < never;
    return isEver ? QString::asprintf("%.1f s", seconds.highest()) : QString("-");
}

void print(const QVector<System>& systems, int minutes, int rounds)
{
    std::printf("Age of the picture on the screen in ms, median / 95th percentile of a minute;\n"
                "rounds: %d, of which the median (lowest to highest)\n\n",
                rounds);
    std::printf("| system | first minute | minute %d | skipped of all | after a server's stop | after its own stop | "
                "version |\n",
                minutes);
    std::printf("|---|---|---|---|---|---|---|\n");
    for (const System& system : systems) {
        const QString name = system.player.name;
        if (system.version.isEmpty())
            std::printf("| %s | missing | | | | | |\n", qPrintable(name));
        else
            std::printf("| %s | %s | %s | %d of %d | %s | %s | %s |\n", qPrintable(name),
                        qPrintable(cell(system.firstMinute)), qPrintable(cell(system.lastMinute)), system.all.skipped,
                        system.all.pictures + system.all.skipped, qPrintable(cell(system.afterServerStop)),
                        qPrintable(cell(system.afterClientStop)), qPrintable(system.version));
    }
}

int judge(const QVector<System>& systems)
{
    double ours = -1;
    double theirs = -1;
    bool hasSkipped = false;
    for (const System& system : systems) {
        double& best = system.player.isHost ? ours : theirs;
        const Spread& medians = system.firstMinute.median;
        if (medians.count() > 0 && (best < 0 || medians.median() < best))
            best = medians.median();
        hasSkipped = hasSkipped || (system.player.isHost && system.all.skipped > 0);
    }
    if (ours < 0)
        return 2;
    return hasSkipped || (theirs >= 0 && ours > theirs) ? 1 : 0;
}
} // namespace

int main(int argc, char** argv)
{
    if (LiveHost::isAsked(argc, argv))
        return LiveHost::run(argc, argv);

    QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.addOptions({{"minutes", "", "N", "1"},
                       {"rounds", "", "N", "1"},
                       {"only", "", "TEXT"},
                       {"together", ""},
                       {"no-stops", ""}});
    parser.process(application);
    const int minutes = parser.value("minutes").toInt();
    const int rounds = parser.value("rounds").toInt();
    QVector<System> systems = allSystems(parser.values("only"));
    QVector<QVector<System*>> turns;
    for (System& system : systems) {
        if (system.version.isEmpty())
            continue;
        if (turns.isEmpty() || !parser.isSet("together"))
            turns.append(QVector<System*>());
        turns.last().append(&system);
    }
    StampedServer server;
    if (minutes < 1 || rounds < 1 || turns.isEmpty() || !server.start())
        return 2;

    for (int i = 0; i < rounds * turns.size(); ++i) {
        const int round = i / turns.size();
        Turn turn(turns.at((i + round) % turns.size()), server); // everybody the first in turn
        if (!turn.start())
            return 2;
        turn.run(minutes);
        if (!parser.isSet("no-stops"))
            turn.standStill();
    }
    print(systems, minutes, rounds);
    return judge(systems);
}
