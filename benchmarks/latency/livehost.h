#pragma once

#include <QStringList>

/// The process that is measured as libvantor: one window with one UrlVideoWidget.
namespace LiveHost {

/// Whether the program was started as that process: `--host URL mode transport [--wait]`.
bool isAsked(int argc, char** argv);

/// Plays until it is ended. With --wait the lines "start" and "stop" of the standard input say when.
int run(int argc, char** argv);

} // namespace LiveHost
