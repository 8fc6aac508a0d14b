#pragma once

/// The terminal that the program was started from.
namespace ParentConsole {

/// Lets help, version and log appear there. Windows gives a program with windows no terminal of its own accord; where
/// the output goes to a file or a pipe it stays so.
void attach();

} // namespace ParentConsole
