#pragma once

#include <QtGlobal>

/// What the system and the memory allocator say of this process.
namespace ProcessSize {

/// Proportional set size: its own memory, and its share of what it shares with others.
qint64 pssKilobytes();

/// What the program has allocated and not freed.
qint64 heapKilobytes();

/// Processor time of all threads so far.
double cpuSeconds();

/// Open files whose names end so.
int openFiles(const char* suffix);

} // namespace ProcessSize
