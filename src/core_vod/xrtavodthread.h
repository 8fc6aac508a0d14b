#pragma once

#include "core_video/deviceinterface.h"
#include "core_video/pvprotovideothread.h"

#include <memory>
#include <mutex>

/// Plays a recording that is kept on a device of the first family.
///
/// The channel of setStreamChannel() is also the number that tells the device's playbacks apart. A playback that can't
/// be opened ends the thread, and so do the end of the recording and the fourth read error in a row. Whatever ended it,
/// receivePlayFinsh() is sent, also when there was no receivePlayStart(); sig_connExceedMax() or sig_otherError() come
/// before where the device refused it.
///
/// getPosition() and receivePosition() are the time stamps of pictures: milliseconds since 1970 by the device's local
/// time, in steps of somewhat more than a second; they follow a seek in both directions. Nothing is recorded.
class VANTOR_EXPORT XRTAVodThread : public PvProtoVideoThread, public DeviceInterface
{
    Q_OBJECT

public:
    explicit XRTAVodThread(QObject* parent = nullptr);
    ~XRTAVodThread() override;

    /// What to play; counts for the next play().
    void setVodStartPara(const VodStartPara& para);

    /// Threads that share a turn play one after the other: the device tells playbacks apart by their channel alone, so
    /// one that was stopped has to have ended there before the next one of that channel begins. Before play(); none at
    /// first.
    void setTurn(const std::shared_ptr<std::mutex>& turn);

public Q_SLOTS:
    /// Nothing while the thread does not run.
    void pause() override;
    void next() override;

    /// Goes on playing at @p at, local time. Asks the device from the calling thread, as setSpeed() does.
    void seekFile(const QDateTime& at);

    /// n from 1 on is n times as fast, -n is an n-th of it; the device says which it can.
    void setSpeed(int speed);

    /// The same as a factor; nothing for 0 and below.
    void setSpeed(double speed) override;

protected:
    void run() override;
    void closeVideo() override;
    bool initInput() override;
    bool checkConnect() override;

    /// 0 for a frame, 1 for a time-out, 2 at the end of the recording, -1 for an error.
    int readFrame(XFrameHeader* frame, int timeout) override;

    /// Names a snapshot `<time of its picture>_<channel>.jpg`, in the folder that was asked for.
    void decodeImage() override;

private:
    enum class Loop { Continue, End };

    std::unique_lock<std::mutex> waitForTurn();
    void playBack();
    bool openPlayback();
    Loop readPlayback(XFrameHeader* frame);
    void takeFrame(XFrameHeader* frame);
    void showVideo(XFrameHeader* frame);
    unsigned playbackId() const;
    QString snapshotName() const;

    VodStartPara startPara;   // guarded by mutex
    std::shared_ptr<std::mutex> sharedTurn; // constant while the thread runs
    qint64 lastFrameTime = 0; // of the latest picture, milliseconds; video thread
};
