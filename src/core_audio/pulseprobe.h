#pragma once

/// The question whether PulseAudio answers, put to it before Qt's plug-in is.
///
/// The plug-in waits for a server that does not answer, without end when that server has gone meanwhile, and never
/// tries again where none was there to connect to. libpulse is loaded when it is needed; nothing is linked with it.
namespace PulseProbe {

/// Connects, waits at most two seconds for the answer, and disconnects. True where sound does not go to PulseAudio.
/// Any thread.
bool isServerThere();

} // namespace PulseProbe
