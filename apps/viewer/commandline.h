#pragma once

#include "vieweroptions.h"

#include <QCommandLineParser>

/// The viewer's command line. Needs a QCoreApplication, and no display.
class CommandLine
{
public:
    enum class Outcome { Run, Help, Version, Error };

    CommandLine();

    /// @p arguments begin with the program's name.
    Outcome parse(const QStringList& arguments);

    /// Valid after Outcome::Run.
    ViewerOptions options() const;

    /// The help, the version or what is wrong; for people.
    QString message() const;

private:
    bool readAll();
    bool readSources();
    bool readDevices();
    bool readGrid();
    bool readTransport();
    bool readMode();
    bool readTimes();
    bool readScreenshot();
    bool readRecording();
    bool readNumber(const QString& option, int minimum, int& value);
    bool fail(const QString& reason);
    Source sourceOf(const QString& address) const;

    QCommandLineParser parser;
    ViewerOptions result;
    QString text;
};
