#pragma once

#include <QColor>
#include <QString>

/// What a cell is doing.
///
/// Empty <-> Stopped -> Connecting -> Playing <-> Paused, and from there Ended (a file) or Lost. Connecting goes on to
/// NoAnswer when it takes long, and to Refused where a device has no connection to spare; Lost, NoAnswer and Refused
/// lead back to Playing by themselves where the source is opened again. Failed is an address that nothing can be done
/// with.
enum class CellState { Empty, Stopped, Connecting, NoAnswer, Refused, Playing, Paused, Lost, Ended, Failed };

/// A word or two for the user.
QString cellStateText(CellState state);

/// The colour that goes with it.
QColor cellStateColor(CellState state);
