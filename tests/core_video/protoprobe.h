#pragma once

#include "core_video/pvprotovideothread.h"
#include "support/framescript.h"
#include "support/simulatedclock.h"
#include "support/threadlog.h"

#include <QStringList>
#include <QVector>

#include <atomic>
#include <functional>

/// A PvProtoVideoThread that reads from a script, writes down its hooks among its signals, and goes by a clock that
/// does not wait. One display is counted in.
///
/// Lines beside those of ThreadLog: "open", "close", "check connect", "init option", "init input", "init other",
/// "preview close", "save 0" (the frame's type), "name 0", "rename 0".
class ProtoProbe final : public PvProtoVideoThread
{
    Q_OBJECT

public:
    explicit ProtoProbe(VideoMode mode = VideoMode_Opengl);

    /// The same, with its clock at @p start.
    explicit ProtoProbe(const QDateTime& start);

    /// Ends the thread and waits for it.
    ~ProtoProbe() override;

    /// Plays the script to its end, where the thread is stopped; false when it does not end.
    bool playScript();

    /// The thread stops itself before the next read.
    void addStop();

    /// The script goes on when the condition holds.
    void addWait(std::function<bool()> condition);

    /// Names of files below the folder, as <type>-<number>.mp4 and, when they are closed, <type>-<number>-done.mp4.
    void setFolder(const QString& path);

    FrameScript script;
    ThreadLog log{this};
    SimulatedClock time{QDateTime(QDate(2024, 2, 29), QTime(12, 0))};

    /// Real time before every read, so that recorders can follow.
    std::atomic<int> readPauseMs{0};

    /// What the hooks answer.
    std::atomic<bool> connects{true};
    std::atomic<bool> inputStarts{true};
    std::atomic<bool> makesCodec{true};
    std::atomic<int> latestCodecResult{0};
    XVideoEncPara latestVideo{1, 320, 240, 0, 1, 0}; // video thread or before play()
    XAudioEncPara latestAudio{33, 8000, 16, 1};

    QVector<int> readTimeouts; ///< that readFrame() was called with; after the end
    bool wasHeaderZero = false; ///< the buffer's head at the first read
    std::atomic<int> reads{0};
    std::atomic<int> snapsFinished{0};

    // The base's own, for the tests to look at and to call on the video thread.
    using PvProtoVideoThread::afterDecodeVideo;
    using PvProtoVideoThread::audioParam;
    using PvProtoVideoThread::channelCount;
    using PvProtoVideoThread::closeMP4;
    using PvProtoVideoThread::codec;
    using PvProtoVideoThread::decodeAudio;
    using PvProtoVideoThread::decodeVideo;
    using PvProtoVideoThread::isCodecChanged;
    using PvProtoVideoThread::isDateChanged;
    using PvProtoVideoThread::isSnap;
    using PvProtoVideoThread::keyFrameSeen;
    using PvProtoVideoThread::lastAudioHeader;
    using PvProtoVideoThread::lastVideoHeader;
    using PvProtoVideoThread::recordAudio;
    using PvProtoVideoThread::recordDate;
    using PvProtoVideoThread::recordVideo;
    using PvProtoVideoThread::sampleRate;
    using PvProtoVideoThread::savers;
    using PvProtoVideoThread::stopped;
    using PvProtoVideoThread::timeoutCount;
    using PvProtoVideoThread::videoParam;
    using PvProtoVideoThread::yuvFrame;

public Q_SLOTS:
    void snapFinsh() override;

protected:
    bool openVideo() override;
    void closeVideo() override;
    void initOption() override;
    bool initInput() override;
    void initOther() override;
    bool checkConnect() override;
    int readFrame(XFrameHeader* frame, int timeout) override;
    void handlePreviewClose() override;
    void beforeSaveMP4(XFrameHeader* frame) override;
    int getLatestRecordCodec(XVideoEncPara& video, XAudioEncPara& audio) override;
    void setMP4FileName(RecordType type) override;
    void renameMP4File(RecordType type) override;

private:
    void prepare();

    QString folder;
    int fileNumbers[RECORD_TYPE_MAX] = {}; // video thread
};
