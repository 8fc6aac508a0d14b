#pragma once

#include "journal.h"
#include "soakstream.h"

#include "support/guigapwatch.h"
#include "support/resourcecount.h"
#include "support/rtspserver.h"
#include "support/soundserver.h"

#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QWidget>

#include <memory>
#include <vector>

/// Live streams of all kinds, shown and recorded at once, while users, schedules, sources and servers do what they may.
///
/// Writes the journal, and every ten seconds what the process holds as a line of status.jsonl.
class SoakRun
{
public:
    struct Options
    {
        double seconds = 3600;
        quint32 seed = 1;
        int streams = 16;
        int saveInterval = 60; ///< seconds of a recording file
        int actionMs = 16000;  ///< between two actions of one stream
        int serverSeconds = 60; ///< between two interruptions of a server
    };

    SoakRun(const Options& options, Journal& journal);
    ~SoakRun();

    /// Whether everything began, and ended again with no more threads and handles than after the first round.
    bool run();

private:
    bool startServers();
    void makeStreams();
    bool playOneRound();
    void beginStreams();
    bool endStreams();
    void actUntil(qint64 endMs);
    void actOnStream();
    void interruptServer();
    void startSound();
    void noteServer(std::size_t server, bool isUp, const char* why);
    void writeStatus();
    void noteGaps();
    void pass(int milliseconds);

    const Options options;
    Journal& journal;
    QFile status;
    QRandomGenerator random;
    QElapsedTimer running;
    SoundServer sound;
    RtspServer servers[2];
    QWidget window;
    std::vector<std::unique_ptr<SoakStream>> streams;
    std::unique_ptr<GuiGapWatch> gaps;
};
