#pragma once

#include "core_videobase/vantorexport.h"

#include <QObject>
#include <QThread>

#include <atomic>
#include <memory>

class AudioPlayer;
class MediaCodec;

/// An AudioPlayer on a thread of its own, so that sound devices are opened, fed and closed there.
///
/// start() moves the object to that thread; from then on its slots are reached by queued calls alone, from any thread,
/// also by name. The player exists from onStarted() to onStoped(). Constructed, started and stopped on one thread,
/// which may delete the object at any moment.
///
/// Volume, mute and level set by queued calls are kept for a player that comes later.
class VANTOR_EXPORT AudioThread : public QObject
{
    Q_OBJECT

public:
    AudioThread();
    ~AudioThread() override;

    /// Starts the thread; nothing when it runs.
    void start();

    /// Ends the thread and waits for it.
    void stop();

    /// Asks the thread to end and does not wait; any thread.
    void quit();

    /// Whether the thread runs; any thread.
    bool isRunning() const;

    /// @name Of the player; any thread
    /// What the calls so far have led to; false, false and 0 while there is no player. Muted means a volume of 0.
    /// @{
    bool getLevel() const;
    bool getMuted() const;
    int getVolume() const;
    /// @}

    /// Whether receiveLevel() is wanted. Any thread.
    void setLevel(bool level);

Q_SIGNALS:
    /// Peak of the buffer that is played, 0 to 1; emitted on the private thread.
    void receiveLevel(qreal level);

    /// Talk-back could not start: somebody else talks, or another reason. Carries the serial number of the device;
    /// emitted on the private thread.
    void sig_startTalkDeviceBusy(QString serialNumber);
    void sig_startTalkError(QString serialNumber);

public Q_SLOTS:
    /// As the operations of AudioPlayer on the default devices; nothing while there is no player.
    void openAudioOutput(int sampleRate, int channelCount, int sampleSize);
    void closeAudioOutput();
    void play(const QByteArray& data);

    /// 0 to 100.
    void receiveVolume(int volume);
    void receiveMuted(bool muted);

    void openAudioInput(int sampleRate, int channelCount, int sampleSize);
    void closeAudioInput();

    /// Samples of the microphone.
    virtual void receiveInputData(const QByteArray& data);
    virtual void startTalk();
    virtual void stopTalk();

    /// The private thread has begun, and is about to end.
    void onStarted();
    void onStoped();

protected:
    /// @name Private thread
    /// @{
    AudioPlayer* audioPlayer() const { return player.get(); }
    MediaCodec* audioEncoder() const { return codec.get(); }
    /// @}

    /// The private thread as an object; its finished() is emitted there.
    const QThread* privateThread() const { return &soundThread; }

private:
    void noteState();

    QThread soundThread;
    const std::unique_ptr<MediaCodec> codec; // encodes G.711 µ-law, 8000 Hz, mono
    std::unique_ptr<AudioPlayer> player; // private thread

    int wantedVolume = -1; // private thread; -1 for none
    bool wantedMuted = false; // private thread
    std::atomic<bool> wantedLevel{false};
    std::atomic<bool> levelNow{false};
    std::atomic<bool> mutedNow{false};
    std::atomic<int> volumeNow{0};
};
