#pragma once

#include "core_video/deviceinterface.h"
#include "core_video/ffmpegvideothread.h"

/// Live stream of a device whose streams are carried over RTSP (XTransportProtocol_Rtsp).
///
/// The address is asked from the device before each open, so a reconnect takes the current one. A new encoding that the
/// device reports makes the thread open the stream again.
class VANTOR_EXPORT FFRtspLiveThread : public FFmpegVideoThread, public DeviceInterface
{
    Q_OBJECT

public:
    explicit FFRtspLiveThread(QObject* parent = nullptr);
    ~FFRtspLiveThread() override;

protected:
    void setMP4FileName(RecordType type) override;
    void renameMP4File(RecordType type) override;
    bool parseVideoUrl() override;
    int getLatestRecordCodec(XVideoEncPara& video, XAudioEncPara& audio) override;
};
