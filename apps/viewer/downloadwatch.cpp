#include "downloadwatch.h"

DownloadWatch::DownloadWatch(const QSharedPointer<XNetDevice>& source)
    : device(source)
{
}

XChannelStatus DownloadWatch::getConnectStatus() { return device->getConnectStatus(); }

XTransportProtocol DownloadWatch::getStreamProtocol() { return device->getStreamProtocol(); }

int DownloadWatch::getChannelCount() { return device->getChannelCount(); }

int DownloadWatch::getStreamCount() { return device->getStreamCount(); }

int DownloadWatch::getStreamCountPerChannel() { return device->getStreamCountPerChannel(); }

XRetError DownloadWatch::enableMediaTransmit(int, int, bool) { return XRet::NotSupported; }

XRetError DownloadWatch::readFrame(int, int, XFrameHeader*, int) { return XRet::NotSupported; }

XRetError DownloadWatch::getCodecInfo(int, int, XVideoEncPara&, XAudioEncPara&) { return XRet::NotSupported; }

XRetError DownloadWatch::vodDownloadStart(unsigned id, const VodDownloadPara& para)
{
    started = device->vodDownloadStart(id, para);
    return started;
}

XRetError DownloadWatch::vodDownloadStop(unsigned id) { return device->vodDownloadStop(id); }

XRetError DownloadWatch::vodGetDownloadSdp(unsigned id, VodSdp& sdp)
{
    described = device->vodGetDownloadSdp(id, sdp);
    hasVideo = described == XRet::Ok && sdp.hasVideo && sdp.video.isValid();
    return described;
}

XRetError DownloadWatch::vodReadDLFrame(unsigned id, XFrameHeader* frame, int timeout)
{
    read = device->vodReadDLFrame(id, frame, timeout);
    return read;
}
