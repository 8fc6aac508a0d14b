#include "playbackstate.h"

#include <QCoreApplication>

namespace {
QString text(const char* english) { return QCoreApplication::translate("PlaybackState", english); }
} // namespace

QString playbackStateText(PlaybackState state)
{
    switch (state) {
    case PlaybackState::Stopped:
        return text("Click on the time line, or press Space, to play");
    case PlaybackState::Starting:
        return text("Starting…");
    case PlaybackState::Playing:
        return text("Playing");
    case PlaybackState::Paused:
        return text("Paused");
    case PlaybackState::Ended:
        return text("End of the recordings");
    case PlaybackState::Refused:
        return text("Too many connections; the device has none to spare");
    case PlaybackState::Failed:
        return text("This recording cannot be played");
    }
    return {};
}
