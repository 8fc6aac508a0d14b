#pragma once

#include "devnet/xencpara.h"

#include <QDateTime>

#include <cstddef>
#include <cstdint>

/// What a device is asked to play back, in local time. Time stamps of its frames are the milliseconds since 1970 of
/// that local time counted as if it were UTC.
struct VodStartPara
{
    QDateTime startTime; ///< of the period
    QDateTime endTime;   ///< of the period; null for as long as there are recordings
    QDateTime playTime;  ///< where playing begins; null for the start of the period
};

/// What a device is asked to hand over for a download, in local time.
struct VodDownloadPara
{
    QDateTime startTime;
    QDateTime endTime;
};

/// What the frames of a download are at the moment.
struct VodSdp
{
    std::uint32_t reserved0 = 0;
    std::uint8_t hasVideo = 0;
    std::uint8_t hasAudio = 0;
    std::uint32_t streamId = 0; ///< another value is another stream, to be written to another file
    XVideoEncPara video;
    XAudioEncPara audio;
};
static_assert(sizeof(VodSdp) == 52 && offsetof(VodSdp, hasVideo) == 4 && offsetof(VodSdp, hasAudio) == 5
                  && offsetof(VodSdp, streamId) == 8 && offsetof(VodSdp, video) == 12 && offsetof(VodSdp, audio) == 36,
              "exchanged with devices as it lies");
