#include "soakdevice.h"

#include "journal.h"

#include "devnet/xnettypes.h"

#include <cstdio>

SoakDevice::SoakDevice(const QSharedPointer<XNetDevice>& media, const QString& notesFile)
    : FaultyDevice(media)
    , inner(media)
    , notes(notesFile)
{
    if (!notes.open(QIODevice::WriteOnly | QIODevice::Append))
        qFatal("no notes in %s", qPrintable(notesFile));
}

void SoakDevice::goAway()
{
    away = true;
    setConnection(XChannelStatus_Disconnected);
    for (int stream = 0; stream < inner->getStreamCountPerChannel(); ++stream)
        inner->enableMediaTransmit(0, stream, false);
}

void SoakDevice::comeBack()
{
    away = false;
    setConnection(-1);
}

XRetError SoakDevice::enableMediaTransmit(int channel, int stream, bool enable)
{
    if (enable && away)
        return XRet::TooManyConnections;
    return FaultyDevice::enableMediaTransmit(channel, stream, enable);
}

XRetError SoakDevice::readFrame(int channel, int stream, XFrameHeader* frame, int timeout)
{
    const XRetError result = FaultyDevice::readFrame(channel, stream, frame, timeout);
    if (result != XRet::Ok || stream != 0 || frame->frameType > XFrameHeader::LastVideoFrame)
        return result;
    char line[64];
    const int length
        = std::snprintf(line, sizeof line, "%llu %lld\n", static_cast<unsigned long long>(frame->timestamp),
                        static_cast<long long>(Journal::now()));
    const std::lock_guard<std::mutex> lock(mutex);
    notes.write(line, length);
    return result;
}
