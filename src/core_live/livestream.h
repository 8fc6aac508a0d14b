#pragma once

#include "devnet/xnetdevice.h"

#include <QSharedPointer>

/// What the live threads of both device families ask of a device in the same way. Failures are reported in the log.
namespace LiveStream {

/// 0 for a frame, -2 for a time-out, -1 for an error.
int readFrame(const QSharedPointer<XNetDevice>& device, int channel, int stream, XFrameHeader* frame, int timeout);

/// 0 when the records were filled, else -1.
int getCodecInfo(const QSharedPointer<XNetDevice>& device, int channel, int stream, XVideoEncPara& video,
                 XAudioEncPara& audio);

} // namespace LiveStream
