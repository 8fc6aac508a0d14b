#pragma once

#include "core_videobase/abstractsavethread.h"
#include "devnet/xencpara.h"
#include "devnet/xframeheader.h"

#include <memory>
class ByteRing;

/// Writes one MP4 file after the other from device frames with the MP4 functions of the media-processing library.
///
/// Calling order of a producer: setPara(), open(), any number of writeData(), stop(). All of these belong to one
/// thread, the producer's; the recorder thread writes. Between them lies a ring of 16 MiB: what does not fit is dropped
/// with a warning, and what is still in it at stop() is lost. When writing works again, or the recording ends, one more
/// warning says how many pictures were lost, from when to when and why. SaveMp4FFmpeg is the recorder that loses
/// nothing at stop().
class VANTOR_EXPORT SaveMp4 : public AbstractSaveThread
{
    Q_OBJECT

public:
    explicit SaveMp4(QObject* parent = nullptr);
    ~SaveMp4() override;

public Q_SLOTS:
    /// @p readTimeout is how long one pass of the recorder thread waits for a frame, in milliseconds.
    void setPara(XVideoEncPara vcodecPar, XAudioEncPara acodecPar, int readTimeout);

    /// Takes a frame of a device, which is copied. Nothing for null.
    void writeData(XFrameHeader* frame);

    bool init() override;
    void save() override;
    void close() override;

private:
    struct Writer;

    bool readFrame(ByteRing& ring);
    void writeFrame();
    void followLoss(bool isWritten);
    void lose(const QString& reason, const XFrameHeader* frame);
    void tellLoss(const QString& line) const;

    int readTimeout = 500;
    XVideoEncPara videoPara;
    XAudioEncPara audioPara;
    const std::unique_ptr<Writer> writer;
};
