#pragma once

#include "core_video/deviceinterface.h"
#include "core_video/pvprotovideothread.h"

/// Live stream of a device of the second family (XTransportProtocol_Mbe).
///
/// A stream that was just enabled is asked for a key frame, so that the picture comes at once.
class VANTOR_EXPORT XMBELiveThread : public PvProtoVideoThread, public DeviceInterface
{
    Q_OBJECT

public:
    explicit XMBELiveThread(QObject* parent = nullptr);
    ~XMBELiveThread() override;

protected:
    void setMP4FileName(RecordType type) override;
    void renameMP4File(RecordType type) override;
    void closeVideo() override;
    bool initInput() override;
    bool checkConnect() override;
    int readFrame(XFrameHeader* frame, int timeout) override;
    void handlePreviewClose() override;
    int getLatestRecordCodec(XVideoEncPara& video, XAudioEncPara& audio) override;
};
