#pragma once

class AbstractVideoThread;

/// Threads that lost their widget while they could not be waited for. GUI thread only.
namespace RetiredThreads {

/// Takes @p thread over: asks it to stop, again and again, and deletes it when it has ended, at the latest when the
/// application object goes.
void take(AbstractVideoThread* thread);

} // namespace RetiredThreads
