#pragma once

#include "core_videobase/abstractsavethread.h"
#include "devnet/xencpara.h"
#include "devnet/xframeheader.h"

#include <QByteArray>

#include <memory>

extern "C" {
#include <libavcodec/codec_id.h>
#include <libavutil/rational.h>
}

struct AVFormatContext;
struct AVPacket;
struct AVStream;

/// Writes one fragmented MP4 file after the other from device frames or from packets that FFmpeg has read.
///
/// Calling order of a producer: setPara(), setTimebase(), perhaps setExtradata() and setJoin(), open(), any number of
/// writeData(), stop(). All of these belong to one thread, the producer's; the recorder thread writes. The queue
/// between them holds 100 packets: what a stalled disk can't take is dropped with a warning. When writing works again,
/// or the recording ends, one more warning says how many pictures were lost, from when to when and why.
///
/// Video is written as it comes. G.711 and 16-bit PCM sound becomes AAC. A file that can't be written any more (a full
/// disk), or that was removed, ends the recording by itself; getIsRunning() is false then and the producer may open the
/// next file. After a crash the file plays up to its last complete fragment, which is a group of pictures, or a second
/// of sound where there are no pictures.
class VANTOR_EXPORT SaveMp4FFmpeg : public AbstractSaveThread
{
    Q_OBJECT

public:
    explicit SaveMp4FFmpeg(QObject* parent = nullptr);
    ~SaveMp4FFmpeg() override;

    /// The video codec's parameter sets, as the source has them (Annex B, or the MP4 record where packets are
    /// length-prefixed). Empty (the default) takes them from the first key frame. Counts for the next open().
    void setExtradata(const QByteArray& video);

    /// FFmpeg's codec for a codec value of the parameter records, AV_CODEC_ID_NONE for none.
    static AVCodecID codecIdOf(int codec);

    /// Whether the open file has a sound stream.
    bool hasAudio() const;

    /// Whether the queue takes nothing now. A producer that needn't keep pace with a source waits, so that nothing is
    /// dropped.
    bool isQueueFull() const;

    /// Whether the file that was opened last could not be written to its end; final once the recording has ended.
    bool hasFileError() const;

    /// Whether neither a picture nor as much sound as the encoder needs for a frame came to the file that was opened
    /// last; final once the recording has ended. Such a file has a head and nothing to play.
    bool isEmpty() const;

    /// Counts a picture, else a packet of sound, that the producer has while no file is open after one has failed, for
    /// the warning about what was lost. Nothing when none has failed.
    void loseWithoutFile(bool video);

    /// Writes the warning about what was lost now, if there is one: the recording is not tried again. stop() does as
    /// well.
    void endLoss();

public Q_SLOTS:
    /// @p readTimeout is how long one pass of the recorder thread waits for a packet, in milliseconds.
    void setPara(XVideoEncPara vcodecPar, XAudioEncPara acodecPar, int readTimeout);

    /// Time base of the time stamps that are handed in.
    void setTimebase(AVRational vTimebase);

    /// Takes a frame of a device; the payload is copied. Nothing for null.
    void writeData(XFrameHeader* frame);

    /// Takes a packet; the caller keeps its own. Nothing for null. Sound gets the time stamp of the latest picture.
    void writeData(AVPacket* packet, bool video);

    /// Whether gaps of more than a second between device time stamps are closed to half a second.
    void setJoin(bool enable);

    bool init() override;
    void save() override;
    void close() override;
    void stop() override;

private:
    struct Writer;

    bool isVideoRecordable() const;
    bool isAudioRecordable() const;
    int createMp4(const char* fileName);
    int failCreation(int error);
    int writeHeader();
    AVStream* addStream(AVFormatContext* context, AVCodecID codecId);
    bool addVideoStream();
    bool addAudioStream();
    bool openFilter();
    bool openEncoder();

    void followClock(quint64 time);
    void joinGap(quint64 time);
    void stampPacket(AVPacket* packet, bool video, qint64 pts, qint64 dts);
    bool enqueue(AVPacket* packet);
    void writePacket(AVPacket* packet);

    bool writeQueued(const char* videoError, const char* audioError);
    bool isWorthWriting(const AVPacket* packet) const;
    void writeVideo(AVPacket* packet, const char* pattern);
    void writeHeldPicture(const char* pattern);
    void writePicture(AVPacket* packet, const char* pattern);
    void writeAudio(AVPacket* packet, const char* pattern);
    void writeFiltered(AVPacket* packet, const char* pattern);
    void endSoundFragment();
    bool audioG711ToAAC(AVPacket* in, AVPacket* out);
    void report(const char* pattern, int error, const AVPacket* packet);
    void endOnFileError();
    void keepWritten();
    void judgeFile();
    void tellLoss(const QString& line) const;

    int readTimeout = 500;
    XVideoEncPara videoPara;
    XAudioEncPara audioPara;
    QByteArray videoExtradata;
    AVRational timebase{1, 1000};
    bool join = false;

    // Stamping, the producer's.
    bool started = false;
    quint64 firstPts = 0;
    qint64 lastPts = 0;
    qint64 lastVideoDts = 0;
    quint64 lastVideoTime = 0;
    quint64 joinOffset = 0;
    quint64 clockOffset = 0;

    const std::unique_ptr<Writer> writer;
};
