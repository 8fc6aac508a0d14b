#pragma once

#include "core_videobase/clocktimer.h"
#include "core_videobase/vantorexport.h"
#include "core_videobase/videotypes.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QImage>
#include <QMutex>
#include <QPointer>
#include <QSize>
#include <QThread>
#include <QVector>

#include <array>
#include <atomic>
#include <vector>

class SaveMp4FFmpeg;

/// Base of every thread that opens a media source and produces pictures and sound.
///
/// The thread object lives in the thread that created it (the GUI thread); only run() executes on the worker (the
/// video thread). A host sets the source and the options, connects the signals it wants and calls play(); stop() asks
/// the worker to end and does not wait. Whoever deletes the object first ends it with stopAndWait().
///
/// Pictures are decoded only while previewRef() is at least 1: a display counts itself in before it connects and out
/// when it leaves.
///
/// All signals are emitted on the video thread unless said otherwise. receiveFrame() carries plane pointers that stay
/// valid until the next receiveFrame() has returned from every blocking receiver, or the thread object is destroyed.
class VANTOR_EXPORT AbstractVideoThread : public QThread
{
    Q_OBJECT

public:
    /// Which recorder of the thread is meant; every per-type table has RECORD_TYPE_MAX entries.
    enum RecordType {
        MANUAL_RECORD = 0, ///< started by the user
        AUTO_RECORD = 1,   ///< started by a schedule or an alarm
        RECORD_TYPE_MAX = 2
    };
    Q_ENUM(RecordType)

    /// While true, debug() writes its lines to the log; while false it does nothing at all.
    static std::atomic<bool> debugInfo;

    /// Kept for the host and for device threads; the threads of this class and FFmpegVideoThread never read it.
    static std::atomic<bool> sharedData;

    /// Of the samples of receiveAudio(); the rate is 0 while it is not known.
    struct AudioFormat
    {
        int sampleRate = 0;
        int channelCount = 0;
        int sampleSize = 0; ///< in bits
    };

    explicit AbstractVideoThread(QObject* parent = nullptr);

    /// Neither stops nor waits: the owner calls stopAndWait() before.
    ~AbstractVideoThread() override;

    bool eventFilter(QObject* watched, QEvent* event) override;

    /// @name Settings, called from the GUI thread before play() unless said otherwise
    /// @{

    /// Read time-out in milliseconds; 0 or less means 3000. A value above 0 also switches reopening of a lost source
    /// on.
    virtual void setReadTimeout(int milliseconds);

protected:
    /// Called on every resize event of an object that this thread was installed on as an event filter.
    virtual void setGeometry();

    /// Video thread: waits up to openSleepTime for the open to succeed, or for a stop, and records the outcome.
    virtual void checkOpen();

    /// Video thread: a new recording file is about to be opened; a subclass fills fileName[type].
    virtual void setMP4FileName(RecordType type);

    /// Video thread: a recording file was closed and may get its final name.
    virtual void renameMP4File(RecordType type);

public:
    void setVideoUrl(const QString& url);
    QString getVideoUrl() const;
    void setBufferSize(const QString& size);
    QString getBufferSize() const;
    void setCaching(int milliseconds);
    int getCaching() const;
    /// Open time-out in milliseconds; 0 or less means 3000.
    void setConnectTimeout(int milliseconds);
    int getConnectTimeout() const;
    int getReadTimeout() const;
    /// How long checkOpen() waits, in milliseconds.
    void setOpenSleepTime(int milliseconds);
    int getOpenSleepTime() const;
    void setDecodeType(const DecodeType& type);
    DecodeType getDecodeType() const;
    void setVideoCore(const VideoCore& core);
    VideoCore getVideoCore() const;
    void setVideoMode(const VideoMode& mode);
    VideoMode getVideoMode() const;
    /// Name of the hardware decoding device; "none" decodes in software.
    void setHardware(const QString& name);
    QString getHardware() const;
    /// Stream transport, "tcp" or "udp".
    void setTransport(const QString& transport);
    QString getTransport() const;
    void setFrameRate(int frameRate);
    int getFrameRate() const;
    /// Rotation of the stream in degrees; other than 0 it is decoded in software.
    void setRotate(int degrees);
    int getRotate() const;
    void setPlayRepeat(bool repeat);
    bool getPlayRepeat() const;
    void setSnapName(const QString& name);
    QString getSnapName() const;
    /// A tag that is printed in debug lines.
    void setFlag(const QString& flag);
    /// Whether snapImage() follows a snapshot. Any thread.
    void setSnapPreview(bool preview);
    /// "WIDTHxHEIGHT" or "WIDTH*HEIGHT"; another text leaves the picture size as it was.
    void setVideoSize(const QString& size);
    /// How large the display that shows this thread paints pictures of VideoMode_Image, in pixels; empty, which it is
    /// at first, asks for all that there is. Where that display is the only receiver of receiveImage(), a picture that
    /// is at least twice as large in both directions may come shrunk, with a device pixel ratio of 1/2, 1/4 and so on,
    /// so that its logical size is the source's, and pictures are left out while the receiver falls behind. Any thread.
    void setPaintedSize(const QSize& pixels);
    /// The clock that pacing and time-outs go by; it must outlive the thread. Null restores the real one.
    void setClock(Clock* clock);
    /// @}

    /// @name State, called from any thread
    /// @{
    int getVideoWidth() const;
    int getVideoHeight() const;
    bool getIsOk() const;
    bool getIsPause() const;
    bool getIsSnap() const;
    bool getOnlyAudio() const;
    /// What receiveAudioFormat() said last, for those who connect later.
    AudioFormat getAudioFormat() const;
    QElapsedTimer getTimer() const;
    /// Number of displays that want pictures.
    std::atomic<int>& previewRef();
    /// Whether a shared set of live threads owns this thread.
    std::atomic<bool>& isOwned();
    bool isOpenTimeout() const;
    bool isReadTimeout() const;
    /// previewRef() plus the number of record types that are switched on.
    int referenceCount() const;
    /// @}

    /// @name Recording switches per record type, called from any thread
    /// An index outside the table is ignored; getters then return -1, false or an empty text.
    /// @{

    /// Length of one file in seconds, -1 for unlimited.
    void setSaveInterval(RecordType type, int seconds);
    int getSaveInterval(RecordType type) const;
    void setSavePath(RecordType type, const QString& path);
    QString getSavePath(RecordType type) const;
    void setSaveAudio(RecordType type, bool enable);
    void setFileName(RecordType type, const QString& name);
    QString getFileName(RecordType type) const;
    /// Only set the switch; the video thread opens a file at the next key frame and closes it at the next packet.
    void recordStart(RecordType type);
    void recordStop(RecordType type);
    bool isRecording(RecordType type) const;
    /// Whether a recording file is open, of whichever type.
    bool hasOpenFile() const;
    /// @}

    /// Ends the thread and waits for it, repeating stop() until it has ended.
    ///
    /// Called from the thread that the object lives in, it keeps serving queued calls meanwhile, so that a worker that
    /// waits in a blocking signal can go on. Slots of other objects may therefore run before it returns.
    void stopAndWait();

    /// debug() with the source address as the third text.
    void debug(const QString& head, const QString& msg);

    /// Sets the time of the last picture, sound or packet to now.
    void updateTime();

    /// Stores a size that differs from a known one and sends receiveSizeChanged(). The first size is not its business.
    void checkVideoSize(int width, int height);

    /// Makes the directory of @p fileName with all its parents. A directory that begins with "./" loses all its dots
    /// and is taken under the application's directory.
    static void checkPath(const QString& fileName);

    /// Takes a local camera's address of the form name|size|rate apart. Without a "|", @p resolution and @p frameRate
    /// stay as they are; a resolution of "0x0" becomes "640x480".
    static void checkCameraUrl(const QString& url, QString& deviceName, QString& resolution, int& frameRate);

Q_SIGNALS:
    /// The source is open.
    void receivePlayStart(int time);
    /// The source is closed; sent only when it had been open. Carries the thread itself.
    void receivePlayFinsh(QObject* thread);
    void receiveImage(const QImage& image, int time);
    /// A snapshot was written and a preview was asked for. Emitted on the GUI thread.
    void snapImage(const QImage& image, const QString& snapName);
    void receiveSizeChanged();
    /// A recording file was opened or closed. One that has got nothing until it was closed, as the recording was
    /// switched off again at once, is gone.
    void recorderStateChanged(const RecorderState& state, const QString& file);
    void receiveCodecChanged();
    /// An I420 picture; line sizes in bytes.
    void receiveFrame(int width, int height, quint8* dataY, quint8* dataU, quint8* dataV, quint32 linesizeY,
                      quint32 linesizeU, quint32 linesizeV);
    /// An NV12 picture; line sizes in bytes.
    void receiveFrame(int width, int height, quint8* dataY, quint8* dataUV, quint32 linesizeY, quint32 linesizeUV);
    /// A Direct3D 9 surface.
    void receiveFrame(int width, int height, quint8* data, bool codecChanged);
    /// A Direct3D 11 texture and its array index.
    void receiveFrame(int width, int height, quint8* data, int index, bool codecChanged);
    void receiveAudioFormat(int sampleRate, int channelCount, int sampleSize);
    /// Interleaved samples in the format of receiveAudioFormat().
    void receiveAudio(const QByteArray& data);
    void receiveVolume(int volume);
    void receiveMuted(bool muted);
    /// Length of a file source in milliseconds.
    void receiveDuration(qint64 duration);
    /// Current position of a file source in milliseconds.
    void receivePosition(qint64 position);
    void sig_decoderDestroyed();
    void sig_connExceedMax();
    void sig_otherError();

public Q_SLOTS:
    void debug(const QString& head, const QString& msg, const QString& url);

    /// Hand a picture or sound of the caller's own to whoever shows this thread; any thread.
    void setImage(const QImage& image);
    void setYuv(quint8* dataY, quint8* dataU, quint8* dataV, int width, int height);
    void setPcm(const char* data, int len);

    virtual void readMediaInfo();
    virtual qint64 getDuration();
    virtual qint64 getPosition();
    virtual void setPosition(qint64 position);
    virtual double getSpeed();
    virtual void setSpeed(double speed);

    /// Reopens a running source in place when it may be reopened, else stops the widget that shows it.
    virtual void stop2();
    virtual void play();
    virtual void stop();
    virtual void pause();
    virtual void next();

    /// Writes the next decoded picture to @p snapName as JPEG. Nothing without a display or while not running.
    virtual void snap(const QString& snapName = "");

    /// GUI thread, called when the worker has written the snapshot.
    virtual void snapFinsh();

protected:
    /// Video thread: keeps the format and emits receiveAudioFormat().
    void announceAudioFormat(int sampleRate, int channelCount, int sampleSize);

    /// Video thread, as the last step of run(): starts the thread again once it has ended, unless it is stopped first.
    void restart();

    /// Video thread, when the source is closed: clears the name of the snapshot, unless snapFinsh() still needs it.
    void forgetSnapName();

    /// Milliseconds since updateTime().
    qint64 millisecondsSinceUpdate() const;

    bool hasType(int type) const { return type >= 0 && type < RECORD_TYPE_MAX; }

    /// Guards the texts below, which the GUI thread sets and the video thread reads or the other way round.
    mutable QMutex mutex;

    // Flags between the GUI thread and the video thread.
    std::atomic<bool> stopped{false};
    std::atomic<bool> isOk{false};
    std::atomic<bool> isPause{false};
    std::atomic<bool> isSnap{false};
    /// The pending snapshot is on the disk and snapFinsh() is on its way.
    std::atomic<bool> snapWritten{false};
    /// Counts the calls of stop(), so that run() also notices one whose flag a closing source has cleared.
    std::atomic<unsigned> stopCount{0};

    QString flag;                    // guarded by mutex
    int errorCount = 0;              // video thread
    QDateTime lastTime;              // UTC, guarded by mutex
    std::atomic<qint64> lastTimeMs;  // the same as milliseconds since the epoch, for every network read's look at it
    QElapsedTimer timer;             // GUI thread
    QObject* const owner;            // the constructor's argument
    std::atomic<VideoMode> videoMode{VideoMode_Hwnd};
    QString videoSize{"0x0"};        // guarded by mutex
    std::atomic<int> videoWidth{0};
    std::atomic<int> videoHeight{0};
    std::atomic<int> frameRate{0};
    std::atomic<int> rotate{0};
    std::atomic<QSize> paintedSize{QSize()};
    std::atomic<int> sampleRate{8000};
    std::atomic<int> channelCount{1};
    std::atomic<int> audioProfile{1};
    AudioFormat audioFormat;         // guarded by mutex
    std::atomic<bool> onlyAudio{false};
    QString snapName;                // guarded by mutex
    std::atomic<qint64> duration{0};
    std::atomic<qint64> position{0};
    std::atomic<VideoCore> videoCore{VideoCore_None};
    QString videoUrl;                // guarded by mutex
    QString bufferSize{"0x0"};       // guarded by mutex
    std::atomic<DecodeType> decodeType{DecodeType_Fast};
    QString hardware{"none"};        // guarded by mutex
    QString transport{"tcp"};        // guarded by mutex
    std::atomic<int> caching{500};
    std::atomic<bool> playRepeat{false};
    std::atomic<int> openSleepTime{3000};
    std::atomic<int> readTimeout{0};
    std::atomic<int> connectTimeout{500};

    // Per record type.
    std::array<std::atomic<int>, RECORD_TYPE_MAX> saveInterval;
    QVector<QString> savePath;       // guarded by mutex
    std::array<std::atomic<bool>, RECORD_TYPE_MAX> recording;
    std::array<std::atomic<bool>, RECORD_TYPE_MAX> saveAudio;
    QVector<ClockTimer> recordTimers; // since the start of the file; video thread
    QVector<QString> fileName;       // guarded by mutex
    QVector<SaveMp4FFmpeg*> savers;  // one per type, constant after construction; the subclass may delete them

    std::atomic<int> openTimeout{0};
    std::atomic<bool> timeoutHit{false};
    std::atomic<bool> keyFrameSeen{false};
    std::atomic<bool> snapPreview{false};
    std::atomic<int> displayCount{0}; // handed out by previewRef()
    std::atomic<bool> owned{false};   // handed out by isOwned()
    std::atomic<bool> opened{false};
    std::atomic<Clock*> clock;

private:
    void startAgain();

    std::vector<QPointer<SaveMp4FFmpeg>> remainingSavers;

    /// Set between the end of a run() that wants to be started again and that start.
    std::atomic<bool> restartPending{false};
};
