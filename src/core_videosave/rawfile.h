#pragma once

#include <QFile>

#include <atomic>

/// What the recorders of raw sound and pictures share.
namespace RawFile {

/// Whether producers write at once instead of queueing.
extern std::atomic<bool> directWriting;

/// Makes the folder and opens the file for writing; a failure is reported in the log.
bool open(QFile& file, const QString& name);

/// Recorder thread: lets some time pass while nothing is queued.
void rest();

} // namespace RawFile
