#pragma once

/// Makes one call of the library into FFmpeg fail.
///
/// The functions are defined in the test program too, which the library then calls instead; they pass everything on
/// to FFmpeg but for the one call that was asked for. Calls that FFmpeg itself makes while it analyses a source are
/// passed on: only what comes after the analysis counts.
namespace FFmpegFaults {

enum class Call {
    None,
    FindStreamInfo,
    FindVideoDecoder,
    AllocateVideoContext,
    SetVideoParameters,
    OpenVideoDecoder,
    FindAudioDecoder,
    AllocateAudioContext,
    SetAudioParameters,
    OpenAudioDecoder,
    InitResampler
};

/// From the next open on, that call fails.
void set(Call call);

} // namespace FFmpegFaults
