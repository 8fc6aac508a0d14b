#pragma once

/// FFmpeg's input formats for capture devices ("v4l2", "dshow", "lavfi", "alsa").
///
/// They stand in a library of their own, which brings some sixty others along and would make up a third of the time
/// that a host's start takes. So it is not linked but loaded when the first device is asked for.
namespace CaptureDevices {

/// Makes the formats known to av_find_input_format(). False when their library is not there. Any thread, thread-safe.
bool registerAll();

} // namespace CaptureDevices
