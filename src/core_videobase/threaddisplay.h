#pragma once

class AbstractVideoThread;
class AbstractVideoWidget;

/// How a display widget and the video thread that it shows hang together. GUI thread only.
///
/// Frames, the start and the end of playing and the end of a decoder are delivered blocking queued: the video thread
/// waits until the widget's slot has returned. Everything else is queued and not waited for.
namespace ThreadDisplay {

/// Start and end of playing, and the end of the decoder behind the picture.
void connectPlaying(AbstractVideoThread* thread, AbstractVideoWidget* widget);
void disconnectPlaying(AbstractVideoThread* thread, AbstractVideoWidget* widget);

/// The end of the thread, and errors.
void connectReports(AbstractVideoThread* thread, AbstractVideoWidget* widget);
void disconnectReports(AbstractVideoThread* thread, AbstractVideoWidget* widget);

void connectSound(AbstractVideoThread* thread, AbstractVideoWidget* widget);
void disconnectSound(AbstractVideoThread* thread, AbstractVideoWidget* widget);

/// Pictures and snapshots.
void connectPictures(AbstractVideoThread* thread, AbstractVideoWidget* widget);
void disconnectPictures(AbstractVideoThread* thread, AbstractVideoWidget* widget);

/// Counts a display out of previewRef(), which never falls below 0.
void countOut(AbstractVideoThread* thread);

} // namespace ThreadDisplay
