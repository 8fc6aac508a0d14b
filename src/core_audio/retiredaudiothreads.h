#pragma once

class AudioThread;

/// Sound threads that nobody uses any more. A sound server that does not answer may hold them up, so the GUI thread
/// does not wait for them. GUI thread only.
namespace RetiredAudioThreads {

/// Takes @p thread over: asks it to end, and deletes it when it has, at the latest when the application object goes.
void take(AudioThread* thread);

} // namespace RetiredAudioThreads
