#pragma once

/// Memory that has been freed goes back to the system.
///
/// glibc gives every few threads an arena, and what is freed in the middle of one stays in the process. Streams that come
/// and go leave some megabytes in each of them, and the process grows for hours until every arena has seen its worst.
namespace FreedMemory {

/// To be called by the thread that has ended a stream or a recording, not the GUI's: it takes some milliseconds for each
/// hundred megabytes that are free. Done at most every ten seconds; returns whether it was. With other C libraries never.
bool giveBack();

} // namespace FreedMemory
