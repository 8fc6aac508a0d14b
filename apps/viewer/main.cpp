#include "commandline.h"
#include "core_videobase/abstractvideothread.h"
#include "keptsettings.h"
#include "language.h"
#include "mainwindow.h"
#include "messagelog.h"
#include "parentconsole.h"
#include "theme.h"
#include "timedrun.h"
#include "vantor.h"

#include <QApplication>
#include <QLoggingCategory>

#include <cstdio>
#include <memory>

namespace {

constexpr int usageError = 2;

void print(FILE* stream, const QString& text) { std::fputs(qPrintable(text), stream); }

void nameApplication()
{
    QCoreApplication::setOrganizationName("vantor");
    QCoreApplication::setApplicationName("vantor-viewer");
    QCoreApplication::setApplicationVersion(VANTOR_VIEWER_VERSION);
}

// Help and wrong options need no display, hence an application object of their own.
CommandLine::Outcome readCommandLine(int argc, char** argv, ViewerOptions& options)
{
    QCoreApplication application(argc, argv);
    const ViewerOptions kept = KeptSettings::read();
    Language::install(application, kept.language);
    CommandLine commandLine(kept);
    const CommandLine::Outcome outcome = commandLine.parse(application.arguments());
    print(outcome == CommandLine::Outcome::Error ? stderr : stdout, commandLine.message());
    options = commandLine.options();
    return outcome;
}

// What is opened and closed goes to the log view; to the terminal it goes for who looks for a fault.
void setUpLog(bool debug)
{
    AbstractVideoThread::debugInfo = debug;
    if (!debug)
        QLoggingCategory::setFilterRules("vantor.*.debug=false");
}

// The live threads of devices end before the application does.
class LiveStreams
{
public:
    LiveStreams()
        : running(Vantor::init())
    {
    }
    ~LiveStreams() { Vantor::release(); }
    LiveStreams(const LiveStreams&) = delete;
    LiveStreams& operator=(const LiveStreams&) = delete;

    bool isRunning() const { return running; }

private:
    const bool running;
};

int showWindow(QApplication& application, const ViewerOptions& options)
{
    const MessageLog log(options.debug);
    const LiveStreams liveStreams;
    if (!liveStreams.isRunning())
        qFatal("live streams of devices can't be served");
    MainWindow window(options, &log);
    window.show();
    std::unique_ptr<TimedRun> run;
    if (options.seconds > 0)
        run.reset(new TimedRun(&window, options.seconds, options.screenshot));
    const int result = application.exec();
    return run && !run->isDone() ? 1 : result;
}

} // namespace

int main(int argc, char** argv)
{
    ParentConsole::attach();
    nameApplication();
    ViewerOptions options;
    switch (readCommandLine(argc, argv, options)) {
    case CommandLine::Outcome::Error:
        return usageError;
    case CommandLine::Outcome::Help:
    case CommandLine::Outcome::Version:
        return 0;
    case CommandLine::Outcome::Run:
        break;
    }
    setUpLog(options.debug);
    QCoreApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QCoreApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    QApplication application(argc, argv);
    Language::install(application, options.language);
    applyTheme(application);
    return showWindow(application, options);
}
