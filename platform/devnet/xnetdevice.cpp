#include "devnet/xnetdevice.h"

XNetDevice::~XNetDevice() = default;

XChannelStatus XNetDevice::getStreamStatus(int, int) { return getConnectStatus(); }

QString XNetDevice::getAlias() { return {}; }

QString XNetDevice::serialNumber() { return {}; }

QStringList XNetDevice::getRtspUrls() { return {}; }

XRetError XNetDevice::requestVideoIFrame(int, int) { return XRet::NotSupported; }

XRetError XNetDevice::setCodecInfo(int, int, XVideoEncPara&, XAudioEncPara&) { return XRet::Ok; }

XRetError XNetDevice::vodStart(unsigned, const VodStartPara&) { return XRet::NotSupported; }

XRetError XNetDevice::vodStop(unsigned) { return XRet::NotSupported; }

XRetError XNetDevice::vodPause(unsigned) { return XRet::NotSupported; }

XRetError XNetDevice::vodResume(unsigned) { return XRet::NotSupported; }

XRetError XNetDevice::vodSeek(unsigned, const QDateTime&) { return XRet::NotSupported; }

XRetError XNetDevice::vodSetSpeed(unsigned, int) { return XRet::NotSupported; }

XRetError XNetDevice::vodReadFrame(unsigned, XFrameHeader*, int) { return XRet::NotSupported; }

XRetError XNetDevice::vodDownloadStart(unsigned, const VodDownloadPara&) { return XRet::NotSupported; }

XRetError XNetDevice::vodDownloadStop(unsigned) { return XRet::NotSupported; }

XRetError XNetDevice::vodGetDownloadSdp(unsigned, VodSdp&) { return XRet::NotSupported; }

XRetError XNetDevice::vodReadDLFrame(unsigned, XFrameHeader*, int) { return XRet::NotSupported; }

XRetError XNetDevice::startTalk(int) { return XRet::NotSupported; }

XRetError XNetDevice::stopTalk(int) { return XRet::NotSupported; }

XRetError XNetDevice::sendTalkData(const char*, int, int) { return XRet::NotSupported; }
