#pragma once

#include <QString>

/// A film that is black and silent, but for a white flash and a tone that begin together every periodMs.
namespace SyncClip {

constexpr int periodMs = 2000;

/// H.264 of 320x240 at 25 pictures a second with G.711 mu-law; false when the ffmpeg command can't make it.
bool make(const QString& file, int seconds);

} // namespace SyncClip
