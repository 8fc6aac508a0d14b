#pragma once

#include "vieweroptions.h"

#include <QCommandLineParser>
#include <QCoreApplication>

/// The viewer's command line. Needs a QCoreApplication, and no display.
class CommandLine
{
    Q_DECLARE_TR_FUNCTIONS(CommandLine)

public:
    enum class Outcome { Run, Help, Version, Error };

    /// @p kept is what holds where the command line says nothing.
    explicit CommandLine(const ViewerOptions& kept = {});

    /// @p arguments begin with the program's name.
    Outcome parse(const QStringList& arguments);

    /// Valid after Outcome::Run.
    ViewerOptions options() const;

    /// The help, the version or what is wrong; for people.
    QString message() const;

private:
    bool readAll();
    void readFolders();
    bool readSources();
    bool readDevices();
    bool readGrid();
    bool readTransport();
    bool readMode();
    bool readTimes();
    bool readScreenshot();
    bool readRecording();
    bool readDevice(const QString& file);
    bool readNumber(const QString& option, int minimum, int& value);
    bool fail(const QString& reason);
    Source sourceOf(const QString& address) const;

    const ViewerOptions kept;
    QCommandLineParser parser;
    ViewerOptions result;
    QString text;
};
