#pragma once

#include "core_codec/mediacodec.h"
#include "core_videobase/abstractvideothread.h"
#include "devnet/xencpara.h"
#include "devnet/xframeheader.h"

#include <QDate>

#include <array>
#include <functional>
#include <memory>

/// Base of the threads that read encoded frames one by one from a device, decode, deliver and record them.
///
/// A subclass says in readFrame() where frames come from. play() starts the video thread, whose loop opens the stream
/// (and tries again until stop()), reads frames and ends with stop() or with the fourth read error in a row. Frames are
/// decoded while somebody displays them (previewRef()), from a key frame on, and recorded in any case.
///
/// Pictures leave as videoMode says: images, I420 planes (software), NV12 planes (hardware) or Direct3D surfaces.
///
/// Everything protected runs on the video thread.
class VANTOR_EXPORT PvProtoVideoThread : public AbstractVideoThread
{
    Q_OBJECT

public:
    explicit PvProtoVideoThread(QObject* parent = nullptr);

    /// The thread must have ended, see stopAndWait().
    ~PvProtoVideoThread() override;

    /// Time without frames, in milliseconds, after which isReadTimeout() is true. One read waits a sixth of it.
    void setReadTimeout(int milliseconds) override;

    /// Nothing while the thread does not run.
    void pause() override;
    void next() override;

protected:
    void run() override;

    /// Opens the stream by the steps below and reports its start; false when one of them failed.
    virtual bool openVideo();

    /// Frees the decoders; when the stream was playing, reports its end and forgets what belongs to one play.
    virtual void closeVideo();

    virtual void initOption();

    /// Makes the device send; called when the stream is opened and again after every read time-out.
    virtual bool initInput();
    virtual void initOther();

    /// Waits for the connection, up to connectTimeout.
    virtual bool checkConnect();

    /// Waits for a frame and writes it to the buffer @p frame of XFrameHeader::bufferSize bytes. 0 when there is one,
    /// -2 when none came within @p timeout milliseconds, anything else is an error.
    virtual int readFrame(XFrameHeader* frame, int timeout) = 0;

    /// For every frame that nobody displays.
    virtual void handlePreviewClose();

    /// Turns the latest RGB picture into the snapshot that is asked for, and into an image for those who show images.
    virtual void decodeImage();

    /// For every frame, before it is recorded.
    virtual void beforeSaveMP4(XFrameHeader* frame);

    /// What the next recording has to be written as; 0 when the records were filled.
    virtual int getLatestRecordCodec(XVideoEncPara& video, XAudioEncPara& audio);

    void decodeVideo(XFrameHeader* frame);
    void decodeAudio(XFrameHeader* frame);
    void afterDecodeVideo(bool codecChanged);
    void afterDecodeAudio();

    void saveMP4(XFrameHeader* frame);
    void closeMP4(RecordType type);
    void closeAllMP4();
    bool isCodecChanged(bool withAudio);
    bool isDateChanged();
    void setCurRecordCodec(const XVideoEncPara& video, const XAudioEncPara& audio);

    /// Takes the planes away from whoever shows them, waits @p pauseMs, then frees the video decoder.
    void destroyVideoDecoder(int pauseMs = 0);

    /// For a decodeImage(): what it does with the latest RGB picture.
    void writeSnapshot();
    void showImage();

    /// Frees both decoders, the video decoder as destroyVideoDecoder() does.
    void freeDecoders();

    /// For checkConnect(): asks for the status, every 100 ms and connectTimeout / 100 times, until it is 1 (connected)
    /// or the thread is stopped. The last answer, 0 where nobody was asked.
    int waitForStatus(const std::function<int()>& ask);

    /// For a run() of a subclass: what begins it, and whether stop() was called since.
    void beginRun();
    bool isStopAsked() const;

    /// Whether a key frame has come since the last reset, @p frame included: nothing can be decoded before it.
    bool isBehindKeyFrame(const XFrameHeader& frame);

    /// Whether @p frame lies within its buffer; says so if not.
    static bool isInBuffer(const XFrameHeader& frame);

    /// A buffer for readFrame(), its header zeroed.
    static std::unique_ptr<unsigned char[]> makeFrameBuffer();

    /// The decoders; null until the stream is opened for the first time.
    std::unique_ptr<MediaCodec> codec;

    _tag_vdec_param_s videoParam{};
    _tag_adec_param_s audioParam{};
    _tag_yuv_frame_s yuvFrame{};
    _tag_rgb_frame_s rgbFrame{};
    _tag_audio_frame_s pcmFrame{};

    /// The headers that the decoders were made for.
    XFrameHeader lastVideoHeader{};
    XFrameHeader lastAudioHeader{};

    XVideoEncPara recordVideo;
    XAudioEncPara recordAudio;
    QDate recordDate; // null until the first check
    int timeoutCount = 0;

private:
    enum class Loop { Continue, End };

    void openStream();
    Loop readStream(XFrameHeader* frame);
    void waitAgain();
    void takeFrame(XFrameHeader* frame);
    void decodeFrame(XFrameHeader* frame);
    bool isVideoDecoderFitting(const XFrameHeader& frame) const;
    void createVideoDecoder(const XFrameHeader& frame);
    bool isAudioDecoderFitting(const XFrameHeader& frame) const;
    bool createAudioDecoder(const XFrameHeader& frame);
    QImage rgbPicture() const;
    void deliverPlanes(VideoMode mode, bool codecChanged);
    void takeBackPlanes();

    void keepParameterSets(const XFrameHeader& frame);
    void followRules(RecordType type, bool codecChanged);
    void startFile(RecordType type);
    void countLost(RecordType type, bool isAudio);
    void stopFile(RecordType type);
    void removeEmptyFile(RecordType type);

    unsigned stopsSeen = 0;       // value of stopCount when run() began
    bool planesDelivered = false; // somebody may still look at the planes that were delivered last
    std::array<bool, RECORD_TYPE_MAX> isFileOpen{};
    QByteArray parameterSets; // of the last key frame, where it was H.264
};
