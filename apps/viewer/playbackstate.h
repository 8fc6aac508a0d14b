#pragma once

#include <QString>

/// What a RecordingPlayer is doing.
enum class PlaybackState {
    Stopped,
    Starting, ///< the device has been asked
    Playing,
    Paused,
    Ended, ///< everything was played
    Refused, ///< the device has no connection to spare
    Failed ///< nothing could be played
};

/// For people.
QString playbackStateText(PlaybackState state);
