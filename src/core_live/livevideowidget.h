#pragma once

#include "core_live/videothrmux/devlivethrset.h"
#include "core_videobase/abstractvideowidget.h"

#include <QVector>

#include <atomic>

/// Shows the live streams of one channel of a device, one stream at a time.
///
/// The threads belong to the device's shared set (DevLiveThrSetManager): several widgets that show the same stream
/// share one connection to the device. start() opens the streams of the mask, playStart() shows one of them; the others
/// go on, for instance recording. stop() gives the threads back; when nobody shows or records a stream of the device
/// any more, all its streams are closed. A recording that is left on keeps them open until a widget that stops finds it
/// ended, or the host releases the set.
///
/// init(), start(), playStart(), then playStop() and playStart() (or replay()) at will, stop(). The signals of the base
/// report each stream that was opened: sig_receivePlayStart() when it is there, sig_receivePlayFinsh() when it is lost
/// or given back. A stream that is lost comes back by itself, unless the read time-out of the VideoPara is 0.
///
/// GUI thread only. The widget never waits for a video thread and may be deleted at any moment, also in a slot of one
/// of its signals.
class VANTOR_EXPORT LiveVideoWidget : public AbstractVideoWidget
{
    Q_OBJECT

public:
    /// @p protocol must be the device's.
    explicit LiveVideoWidget(XTransportProtocol protocol, QWidget* parent = nullptr);
    ~LiveVideoWidget() override;

    /// @p channel counts from 0; bit s of @p streamMask opens stream s, -1 opens all. False for a null device or an
    /// empty mask. Takes effect at the next start().
    bool init(const QSharedPointer<XNetDevice>& device, int channel, int streamMask);

    /// Opens the channel's streams; true when the widget is started, also when it was before.
    bool start();

    /// Gives the streams back. @p clear also takes the picture and everything on it away; without it, overlays stay,
    /// and so does the last picture where images are painted.
    void stop(bool clear = true);

    /// Shows stream @p stream from its next key frame on, in place of the one that is shown.
    void playStart(int stream);

    /// Shows nothing; the stream goes on. @p clear takes the picture and everything on it away.
    void playStop(bool clear);

    /// Changes to stream @p stream.
    void replay(int stream);

    /// JPEG of the shown stream as `<path>/<date>/live/<time>_<channel>.jpg`.
    void snap(QString path, bool preview) override;

    /// Not where the widget only shows.
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
    void onDecoderDestroyed() override;
    void openAudioOutput(int sampleRate, int channelCount, int sampleSize) override;
    void playAudio(QByteArray samples) override;
    void closeEvent(QCloseEvent* event) override;
    void startAudioThread() override;
    void stopAudioThread() override;

private:
    using Thread = QSharedPointer<AbstractVideoThread>;

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

    AbstractVideoThread* threadAt(int index) const;
    int indexOf(const QObject* thread) const;
    bool isSetRegistered() const;
    bool isSelected(int stream) const;
    bool openStreams();
    void openStream(int stream);
    void joinStream(AbstractVideoThread* thread);
    void startStream(AbstractVideoThread* thread, int stream);
    bool rejoinSet();
    void showStream(int index);
    void hideStream(int index);
    void startPicture(int time);
    void startAgain(const Thread& thread);
    void followRecorder(RecorderState state, const QString& file);
    QVector<Thread> giveBack();

    std::atomic<bool> initialised{false};
    bool startedFlag = false;
    const XTransportProtocol protocol;
    int streamMask = -1;
    QSharedPointer<XNetDevice> device;
    int channel = 0;

    // Of the last start().
    PtrDevLiveThrSet threadSet;
    QVector<StreamRecord> streamRecords; // one for each thread
    QVector<Thread> channelThreads;
    int startedChannel = 0;
    int streamsPerChannel = 0;

    bool isPictureStarted = false; // the renderers are there
    QObject* joinedThread = nullptr; // runs already, about to be reported as if it had just started
    QObject* returnedThread = nullptr; // was given back, about to be reported as if it had just ended
};
