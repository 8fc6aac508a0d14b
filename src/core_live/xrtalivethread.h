#pragma once

#include "core_video/deviceinterface.h"
#include "core_video/pvprotovideothread.h"

/// Live stream of a device of the first family (XTransportProtocol_Rta).
///
/// While the device is not connected the thread waits for it and goes on when it is back. A stream that the device
/// refuses for having too many is reported by sig_connExceedMax() and tried again.
class VANTOR_EXPORT XRTALiveThread : public PvProtoVideoThread, public DeviceInterface
{
    Q_OBJECT

public:
    explicit XRTALiveThread(QObject* parent = nullptr);
    ~XRTALiveThread() override;

protected:
    void setMP4FileName(RecordType type) override;
    void renameMP4File(RecordType type) override;
    void closeVideo() override;
    bool initInput() override;
    bool checkConnect() override;
    int readFrame(XFrameHeader* frame, int timeout) override;
    void handlePreviewClose() override;
    void beforeSaveMP4(XFrameHeader* frame) override;
    int getLatestRecordCodec(XVideoEncPara& video, XAudioEncPara& audio) override;

    /// Corrects the codecs that the device knows by what the frame says.
    void updateAVCodec(XFrameHeader* frame);
    void updateDeviceAVCodec(XVideoEncPara& video, XAudioEncPara& audio);
};
