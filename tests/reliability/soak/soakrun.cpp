#include "soakrun.h"

#include "devicesoakstream.h"
#include "processsize.h"
#include "urlsoakstream.h"

#include "support/waiting.h"
#include "vantor.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTimer>

#include <algorithm>

namespace {
constexpr int pictureRate = 10;
constexpr int statusMs = 10000;
constexpr int firstRoundMs = 5000;
constexpr int betweenWidgetsMs = 20;
constexpr int endMs = 60000;
constexpr int columns = 4;
constexpr QSize tile(240, 180);

qint64 seconds(double count) { return static_cast<qint64>(count * 1000); }
} // namespace

SoakRun::SoakRun(const Options& theOptions, Journal& theJournal)
    : options(theOptions)
    , journal(theJournal)
    , status(theJournal.folder() + "/status.jsonl")
    , random(theOptions.seed)
{
    status.open(QIODevice::WriteOnly | QIODevice::Append);
    window.resize(columns * (tile.width() + 4), columns * (tile.height() + 4));
    window.setWindowTitle("soak");
    SoakStream::setSaveInterval(options.saveInterval);
}

SoakRun::~SoakRun() = default;

bool SoakRun::startServers()
{
    if (!sound.start())
        return false;
    for (RtspServer& server : servers) {
        server.setPictureRate(pictureRate);
        if (!server.start())
            return false;
    }
    return true;
}

/// In turn of the first family, of the second, and of a server; every fifth has a window of its own.
void SoakRun::makeStreams()
{
    for (int i = 0; i < options.streams; ++i) {
        const QRect place(QPoint(i % columns * (tile.width() + 4), i / columns % columns * (tile.height() + 4)), tile);
        QWidget* parent = i % 5 == 4 ? nullptr : &window;
        const QString number = QString::number(i);
        if (i % 3 == 0)
            streams.push_back(
                std::make_unique<DeviceSoakStream>("rta" + number, XTransportProtocol_Rta, journal, parent, place));
        else if (i % 3 == 1)
            streams.push_back(
                std::make_unique<DeviceSoakStream>("mbe" + number, XTransportProtocol_Mbe, journal, parent, place));
        else
            streams.push_back(std::make_unique<UrlSoakStream>(
                "rtsp" + number, servers[i % 2].url(QString("copy%1").arg(i / 3 % 8 + 1)), journal, parent, place));
    }
}

bool SoakRun::run()
{
    if (!startServers() || !Vantor::init())
        return false;
    window.show();
    makeStreams();
    gaps = std::make_unique<GuiGapWatch>();
    running.start();
    journal.write("begin", {{"streams", options.streams},
                            {"seed", qint64(options.seed)},
                            {"seconds", options.seconds},
                            {"interval", options.saveInterval},
                            {"rate", pictureRate}});

    // What drivers and sound libraries make once and keep is there after the first round.
    if (!playOneRound())
        return false;
    const ResourceCount before = ResourceCount::now();
    beginStreams();
    actUntil(seconds(options.seconds));
    const bool ended = endStreams();
    const bool isClean = ResourceCount::waitUntilNotAbove(before, 0, endMs);
    const ResourceCount after = ResourceCount::now();
    noteGaps();
    writeStatus();
    gaps.reset();
    streams.clear();
    Vantor::release();
    journal.write("end", {{"ended", ended},
                          {"clean", isClean},
                          {"threads", QJsonArray{before.threads, after.threads}},
                          {"handles", QJsonArray{before.handles, after.handles}}});
    return ended && isClean;
}

bool SoakRun::playOneRound()
{
    beginStreams();
    pass(firstRoundMs);
    const bool ended = endStreams();
    pass(statusMs / 10);
    gaps->takeGaps();
    gaps->takeLongest();
    return ended;
}

/// One after the other, as from a host that goes on with its events between two widgets.
void SoakRun::beginStreams()
{
    for (const auto& stream : streams) {
        stream->begin();
        pass(betweenWidgetsMs);
    }
}

bool SoakRun::endStreams()
{
    for (const auto& stream : streams) {
        stream->end();
        pass(betweenWidgetsMs);
    }
    return Waiting::until(
        [this] {
            return std::all_of(streams.begin(), streams.end(), [](const auto& stream) { return stream->isOver(); });
        },
        endMs);
}

void SoakRun::actUntil(qint64 endTime)
{
    qint64 nextStatus = running.elapsed();
    qint64 nextServer = running.elapsed() + options.serverSeconds * 500;
    while (running.elapsed() < endTime) {
        pass(std::max(20, options.actionMs / options.streams));
        actOnStream();
        if (running.elapsed() >= nextServer) {
            interruptServer();
            nextServer += options.serverSeconds * 1000;
        }
        if (running.elapsed() >= nextStatus) {
            writeStatus();
            nextStatus += statusMs;
        }
        noteGaps();
    }
}

void SoakRun::actOnStream() { streams[random.bounded(quint32(streams.size()))]->act(random); }

/// Actions wait meanwhile, sources and the other server go on.
void SoakRun::interruptServer()
{
    const std::size_t index = random.bounded(2u);
    RtspServer& server = servers[index];
    switch (random.bounded(5)) {
    case 0:
        journal.write("act", {{"what", "sound server restart"}});
        sound.kill();
        pass(500 + random.bounded(1500));
        startSound();
        break;
    case 1:
        noteServer(index, false, "frozen");
        server.freeze();
        pass(1000 + random.bounded(4000));
        server.resume();
        noteServer(index, true, "frozen");
        break;
    default:
        noteServer(index, false, "killed");
        server.kill();
        pass(random.bounded(3000));
        server.start();
        noteServer(index, true, "killed");
    }
}

void SoakRun::startSound()
{
    const GuiGapWatch::Doing doing("start the sound server");
    sound.start();
}

void SoakRun::noteServer(std::size_t server, bool isUp, const char* why)
{
    for (std::size_t i = 0; i < streams.size(); ++i) {
        auto* stream = qobject_cast<UrlSoakStream*>(streams[i].get());
        if (stream && i % 2 == server)
            stream->sourceChanged(isUp, why);
    }
}

void SoakRun::writeStatus()
{
    const ResourceCount held = ResourceCount::now();
    quint64 pictures = 0;
    for (const auto& stream : streams)
        pictures += stream->pictures();
    const QJsonObject line{{"t", Journal::now()},
                           {"threads", held.threads},
                           {"handles", held.handles},
                           {"pss_kb", ProcessSize::pssKilobytes()},
                           {"heap_kb", ProcessSize::heapKilobytes()},
                           {"cpu_s", ProcessSize::cpuSeconds()},
                           {"pictures", qint64(pictures)},
                           {"open_files", ProcessSize::openFiles(".mp4")},
                           {"longest_gap_ms", gaps->takeLongest()}};
    status.write(QJsonDocument(line).toJson(QJsonDocument::Compact) + '\n');
    status.flush();
}

void SoakRun::noteGaps()
{
    const auto taken = gaps->takeGaps();
    for (const GuiGapWatch::Gap& gap : taken)
        journal.write("gap", {{"end", gap.time},
                              {"ms", gap.lengthMs},
                              {"running", gap.runningMs},
                              {"runnable", gap.runnableMs},
                              {"waiting", gap.waitingMs},
                              {"server_runnable", gap.serverRunnableMs},
                              {"shortage", gap.shortageMs},
                              {"page_reads", gap.pageReads},
                              {"during", gap.during},
                              {"stack", QJsonArray::fromStringList(gap.stack)}});
}

void SoakRun::pass(int milliseconds)
{
    QEventLoop loop;
    QTimer::singleShot(milliseconds, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}
