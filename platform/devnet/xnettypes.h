#pragma once

#include <cstdint>

/// Result of most operations of an XNetDevice. Devices may answer more than what is named in XRet; whatever is not
/// named is a failure, reported with its number.
using XRetError = std::int32_t;

namespace XRet {
constexpr XRetError Ok = 0;
constexpr XRetError NotSupported = 1;       ///< the device has no such operation
constexpr XRetError BadParameter = 2;       ///< the device has no such channel or stream
constexpr XRetError Timeout = 8;            ///< no frame within the time-out
constexpr XRetError AlreadyEnabled = 14;    ///< the device is sending that stream already
constexpr XRetError Busy = 16;              ///< somebody else is talking
constexpr XRetError TooManyConnections = 17; ///< the device refuses another stream
constexpr XRetError EndOfRecording = 18;
} // namespace XRet

/// State of a connection or of one stream; every value but Connected counts as not connected.
enum XChannelStatus : std::int32_t {
    XChannelStatus_Disconnected = 0,
    XChannelStatus_Connected = 1
};

/// How the streams of a device are carried.
enum XTransportProtocol : std::int32_t {
    XTransportProtocol_Mbe = 1,  ///< frames of the second device family
    XTransportProtocol_Rtsp = 2, ///< RTSP
    XTransportProtocol_Rta = 4   ///< frames of the first device family
};
