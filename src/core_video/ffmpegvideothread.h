#pragma once

#include "core_videobase/abstractvideothread.h"
#include "devnet/xencpara.h"

#include <memory>

struct AVFrame;
struct AVPacket;
struct AudioInput;

/// Plays any address that FFmpeg can open: network streams, files and capture devices.
///
/// play() starts the video thread, whose loop opens the source, reads packets, decodes and delivers them, and hands
/// them to the recorders. A source that can't be opened is tried again until stop(). A source that was lost, or whose
/// codec or size has changed, is closed (receivePlayFinsh()) and opened again (receivePlayStart()) where reopening is
/// on (setReadTimeout() above 0) or the change was seen in the stream; otherwise the thread ends.
///
/// Pictures leave as videoMode says. In VideoMode_Opengl the planes are I420: 8-bit 4:2:0 pictures as decoded, all
/// others converted. A host that plays files or capture devices switches the address test off.
class VANTOR_EXPORT FFmpegVideoThread : public AbstractVideoThread
{
    Q_OBJECT

public:
    explicit FFmpegVideoThread(QObject* parent = nullptr);

    /// The thread must have ended, see stopAndWait().
    ~FFmpegVideoThread() override;

    /// @name Settings, called from the GUI thread before play()
    /// @{

    /// Whether host and port of the address are tested before it is opened. Default true.
    void setAddressTest(bool enable);
    bool getAddressTest() const;

    /// Name of an FFmpeg input format ("v4l2", "dshow", "lavfi", "alsa") for capture devices, which are asked for the
    /// size of setVideoSize() and the rate of setFrameRate() where those are set. Default empty: the format is guessed.
    void setInputFormat(const QString& name);
    QString getInputFormat() const;

    /// Whether packets are decoded at the pace of their time stamps, for sources that are not live. Default false.
    /// A paced source can be paused, is positioned with setPosition() and takes setSpeed().
    void setPaced(bool enable);
    bool getPaced() const;

    /// Whether pictures are shown as soon as they can be: the analysis of the streams ends as soon as codec, size and
    /// sound format are known, and a picture that an RTSP server sends in H.264 is decoded when its last packet has
    /// come, not when the next picture begins. Default false. Recordings are the same either way.
    void setFastStart(bool enable);
    bool getFastStart() const;
    /// @}

    /// Whether the source that receivePlayFinsh() reports as closed is about to be opened again by this thread. Any
    /// thread.
    bool isReopening() const;

public Q_SLOTS:
    void play() override;

    /// Jumps to @p position milliseconds from the start of a paced source. Any thread.
    void setPosition(qint64 position) override;

    /// Factor of the playing speed of a paced source, 0.1 to 16; others are ignored. Any thread.
    double getSpeed() override;
    void setSpeed(double speed) override;
    void setSpeed(int speed);

    /// setPosition() with the time of day of @p position as the distance from the start.
    void seekFile(const QDateTime& position);

protected:
    void run() override;

    /// Video thread, before each open: a subclass finds the address; false fails the open.
    virtual bool parseVideoUrl();

    /// Video thread, after each open attempt and each read: a subclass that knows the source's encoding fills the
    /// records and returns 0. A record that differs from the one seen at open makes the thread open the source again.
    virtual int getLatestRecordCodec(XVideoEncPara& video, XAudioEncPara& audio);

private:
    struct Source;
    enum class Loop { Continue, End, Reconnect };

    static int interrupted(void* thread);
    bool isOverdue();
    qint64 readLimitMs() const;
    bool isStopAsked() const;

    Loop readSource();
    void openSource();
    void closeSource();
    Loop finishRead(int result);
    Loop handlePacket(AVPacket* packet);
    Loop handlePiece(const AVPacket* piece);
    Loop handleWholePicture();
    void saveLastPicture();
    Loop showAndSave(AVPacket* packet);
    Loop show(const AVPacket* packet);
    bool isKeyPicture(const AVPacket* packet) const;
    void waitWhilePaused();
    void paceAndReport(const AVPacket* packet);
    void seekIfAsked();
    bool hasEncodingChanged();

    bool openVideo();
    void setOpenOptions();
    void setCaptureOptions();
    bool initInput();
    bool openInput();
    void limitAnalysis();
    bool believeDescription();
    bool initVideo();
    bool openVideoDecoder();
    bool readPictureFormat();
    bool initAudio();
    bool openAudioDecoder();
    bool initHardware();
    bool buildResampler(const AudioInput& input);
    void initFrames();
    bool isHardwareDecoding() const;
    bool followAudioFormat();

    void saveMP4(AVPacket* packet, bool isVideoKey);
    bool waitsForTime(AVPacket* packet, bool isVideoKey);
    void completeTimeBefore(const AVPacket* second, AVPacket* first) const;
    qint64 pictureTime(const AVPacket* packet) const;
    void recordPacket(AVPacket* packet, bool isVideoKey);
    void completeDecodeTime(AVPacket* packet);
    void followInterval(RecordType type);
    void startFile(RecordType type);
    void stopFile(RecordType type);
    void endRecording(RecordType type);
    void stopAllFiles();
    XVideoEncPara recordedVideo() const;
    XAudioEncPara recordedAudio() const;

    Loop decodeVideo(const AVPacket* packet);
    bool isDamagedStart();
    bool isBeforeTarget();
    qint64 timeOf(qint64 stamp, int streamIndex) const;
    void decodeAudio(const AVPacket* packet);
    void deliverPicture();
    void deliverPlanes();
    void deliverImage();
    void deliverAgainWhilePaused();
    int shrinkingFor(const AVFrame* picture) const;
    bool isOneDisplayShowing() const;
    void countImageUnderWay();
    void deliverSurface();
    QImage toImage(const AVFrame* picture);
    QImage toShrunkImage(const AVFrame* picture, int times);
    void writeSnapshot(const QImage& image);

    std::atomic<bool> addressTest{true};
    std::atomic<bool> paced{false};
    std::atomic<bool> fastStart{false};
    QString inputFormat; // guarded by mutex
    std::atomic<double> speed{1.0};
    std::atomic<qint64> askedPosition{-1};
    std::atomic<bool> reopening{false};
    std::atomic<int> imagesUnderWay{0}; // to the display

    /// What belongs to the open source; video thread.
    std::unique_ptr<Source> source;
};
