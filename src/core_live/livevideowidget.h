#pragma once

#include "core_live/videothrmux/devlivethrset.h"
#include "core_videobase/abstractvideowidget.h"

#include <QVector>

#include <atomic>

/// Shows the live streams of one channel of a device, one stream at a time.
///
/// The threads belong to the device's shared set (DevLiveThrSetManager): several widgets that show the same stream share
/// one connection to the device. start() opens the streams of the mask, playStart() shows one of them; the others go on,
/// for instance recording. stop() gives the threads back; streams that nobody uses any more are closed.
///
/// init(), start(), playStart(), then playStop() and playStart() (or replay()) at will, stop(). GUI thread only. The widget
/// may be deleted at any moment.
class VANTOR_EXPORT LiveVideoWidget : public AbstractVideoWidget
{
    Q_OBJECT

public:
    /// @p protocol must be the device's.
    explicit LiveVideoWidget(XTransportProtocol protocol, QWidget* parent = nullptr);
    ~LiveVideoWidget() override;

    /// @p channel counts from 0; bit s of @p streamMask opens stream s, -1 opens all. False for a null device or an empty
    /// mask. Takes effect at the next start().
    bool init(const QSharedPointer<XNetDevice>& device, int channel, int streamMask);

    /// Opens the channel's streams; true when they are open, also when they were before.
    bool start();

    /// Gives the streams back. @p clear also takes the picture away.
    void stop(bool clear = true);

    /// Shows stream @p stream from its next key frame on.
    void playStart(int stream);

    /// Shows nothing; the stream goes on. @p clear takes the picture away.
    void playStop(bool clear);

    /// Changes to stream @p stream.
    void replay(int stream);

    /// JPEG of the shown stream as <path>/<date>/live/<time>_<channel>.jpg.
    void snap(QString path, bool preview) override;

    void talkStart() override;
    void talkStop() override;

    /// State of the shown stream; false while none is shown.
    bool isOpenStreamTimeout() const;
    bool isReadStreamTimeout() const;
    bool isStreamExceedMax() const;

protected:
    void started() override;
    void finished() override;
    void receivePlayStart(int time) override;
    void receivePlayFinsh(QObject* finishedThread) override;
    void closeEvent(QCloseEvent* event) override;
    void startAudioThread() override;
    void stopAudioThread() override;

private:
    struct StreamRecord
    {
        bool inUse = false;
        bool isShown = false;
    };

    bool initVideoThrSet(const QSharedPointer<XNetDevice>& device);
    void releaseVideoThrSet(const QSharedPointer<XNetDevice>& device);
    void connectBaseSignalSlots(int index);
    void disconnectBaseSignalSlots(int index);
    void connectStreamSignalSlots(int index);
    void disconnectStreamSignalSlots(int index);
    void handleThrStarted(void* thread);
    void handleThrFinished(void* thread);
    int stream2Index(int stream) const;

    std::atomic<bool> initialised{false};
    bool startedFlag = false;
    const XTransportProtocol protocol;
    int streamMask = -1;
    QSharedPointer<XNetDevice> device;
    int channel = 0;
    PtrDevLiveThrSet threadSet;
    QVector<StreamRecord> streamRecords;
    QVector<QSharedPointer<AbstractVideoThread>> channelThreads;
};
