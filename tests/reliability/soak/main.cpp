// Live streams of all kinds, shown and recorded for a long time while everything happens to them; docs/reliability.md
// says what is judged and how.
//
//     soak [--hours H | --seconds S] [--seed N] [--streams N] [--folder FOLDER] [--keep]
//
// Needs a display. Prints tables, which accounts.py makes of what the run has written to the folder. Exit status 1 when
// something is wrong, 2 when the run did not come about.

#include "soakrun.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QProcess>
#include <QTemporaryDir>

#include <cstdio>

namespace {
/// Checks each recording when it is finished, and accounts for all of them when the run has ended.
class Accounts
{
public:
    Accounts(const QString& folder, bool keepsRecordings)
    {
        QStringList arguments{"-n", "19", VANTOR_SOAK_PYTHON, VANTOR_SOAK_ACCOUNTS, "--follow"};
        if (keepsRecordings)
            arguments << "--keep";
        process.setProcessChannelMode(QProcess::ForwardedChannels);
        process.start("nice", arguments << folder);
    }

    /// Its exit status.
    int finish()
    {
        constexpr int oneHour = 3600000;
        return process.waitForFinished(oneHour) && process.exitStatus() == QProcess::NormalExit ? process.exitCode()
                                                                                                : 2;
    }

private:
    QProcess process;
};

/// Every message of the library, one a line, behind a letter for its level.
void logMessage(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    static std::mutex mutex;
    static FILE* const file = std::fopen("messages.log", "a");
    const char level = type == QtDebugMsg ? 'D' : type == QtInfoMsg ? 'I' : type == QtWarningMsg ? 'W' : 'C';
    const std::lock_guard<std::mutex> lock(mutex);
    std::fprintf(file, "%lld %c %s: %s\n", static_cast<long long>(Journal::now()), level, context.category,
                 qPrintable(text));
    std::fflush(file);
    if (type == QtFatalMsg)
        std::abort();
}

SoakRun::Options readOptions(const QCommandLineParser& parser)
{
    SoakRun::Options options;
    options.seconds = parser.value("hours").toDouble() * 3600;
    if (parser.isSet("seconds"))
        options.seconds = parser.value("seconds").toDouble();
    options.seed = parser.value("seed").toUInt();
    options.streams = parser.value("streams").toInt();
    options.saveInterval = parser.value("interval").toInt();
    options.actionMs = parser.value("action-ms").toInt();
    options.serverSeconds = parser.value("server-seconds").toInt();
    return options;
}
} // namespace

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOptions({{"hours", "How long it runs.", "H", "1"},
                       {"seconds", "The same in seconds.", "S"},
                       {"seed", "What happens when comes from this number.", "N", "1"},
                       {"streams", "How many.", "N", "16"},
                       {"interval", "Seconds of a recording file.", "S", "60"},
                       {"action-ms", "Time between two actions of a stream.", "MS", "16000"},
                       {"server-seconds", "Time between two interruptions of a server.", "S", "60"},
                       {"folder", "Where journal and recordings go; a temporary folder unless given.", "FOLDER"},
                       {"keep", "Keep the recordings that were found right."}});
    parser.process(application);
    const SoakRun::Options options = readOptions(parser);
    const QTemporaryDir temporary;
    const QString folder = parser.isSet("folder") ? QDir(parser.value("folder")).absolutePath() : temporary.path();
    if (options.seconds <= 0 || options.streams < 1 || !QDir().mkpath(folder) || !QDir::setCurrent(folder))
        return 2;

    Journal journal(folder);
    Accounts accounts(folder, parser.isSet("keep"));
    qInstallMessageHandler(logMessage);
    bool isGood = false;
    {
        SoakRun run(options, journal);
        isGood = run.run();
    }
    journal.write("closed", {{"good", isGood}});
    const int status = accounts.finish();
    return status == 0 && !isGood ? 1 : status;
}
