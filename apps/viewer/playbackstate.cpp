#include "playbackstate.h"

#include <QCoreApplication>

namespace {
struct Texts
{
    Q_DECLARE_TR_FUNCTIONS(PlaybackState)
};
} // namespace

QString playbackStateText(PlaybackState state)
{
    switch (state) {
    case PlaybackState::Stopped:
        return Texts::tr("Click on the time line, or press Space, to play");
    case PlaybackState::Starting:
        return Texts::tr("Starting…");
    case PlaybackState::Playing:
        return Texts::tr("Playing");
    case PlaybackState::Paused:
        return Texts::tr("Paused");
    case PlaybackState::Ended:
        return Texts::tr("End of the recordings");
    case PlaybackState::Refused:
        return Texts::tr("Too many connections; the device has none to spare");
    case PlaybackState::Failed:
        return Texts::tr("This recording cannot be played");
    }
    return {};
}
