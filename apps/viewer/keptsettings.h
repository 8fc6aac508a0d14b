#pragma once

#include "vieweroptions.h"

#include <QCoreApplication>

/// What the user has set and shows, kept in the settings file from one start of the program to the next.
///
/// The file holds addresses with their passwords, so nobody but the user may read it.
class KeptSettings
{
    Q_DECLARE_TR_FUNCTIONS(KeptSettings)

public:
    /// Reads the file: the settings, and what was shown last, devices included. What is missing or makes no sense is as
    /// in a fresh ViewerOptions. A file that can't be read as settings is copied to "<file>.damaged" before anything is
    /// written; the complaints say so, and which devices are not there any more.
    static ViewerOptions read();

    /// Keeps what the settings dialog sets.
    static void saveSettings(const ViewerOptions& options);

    /// Keeps what is shown.
    static void saveSources(const QList<Source>& sources, int cellCount, const QStringList& deviceFiles);
};
