#pragma once

#include "core_videobase/vantorexport.h"

#include <QAudioFormat>
#include <QByteArray>
#include <QElapsedTimer>
#include <QIODevice>
#include <QObject>
#include <QPointer>
#include <QTimer>

QT_BEGIN_NAMESPACE
class QAudioInput;
class QAudioOutput;
QT_END_NAMESPACE

/// Plays PCM on a sound output of the computer and captures its microphone.
///
/// Output and input are independent: each is opened, opened again (which replaces it) and closed on its own. Samples
/// are interleaved little-endian PCM, unsigned with 8 bits and signed otherwise; sample rates are Hz, sample sizes
/// bits.
///
/// What is played is heard within some 200 ms or not at all: samples that come faster than they can be played take the
/// place of those that still wait.
///
/// A device that can't be opened, or is lost, says so once in the log. A lost one is looked for every few seconds until
/// it is back or closed; until then nothing is played or captured.
///
/// Lives on one thread, which runs an event loop; all calls come from there and all signals are emitted there. Opening
/// may wait for the sound server, so that is better not the GUI thread: see AudioThread.
class VANTOR_EXPORT AudioPlayer : public QObject
{
    Q_OBJECT

public:
    explicit AudioPlayer(QObject* parent = nullptr);
    ~AudioPlayer() override;

    /// 0 to 100, on a logarithmic scale. Kept for outputs that are opened later.
    void setVolume(int volume);

    /// Of the output, which has 99 where nothing was set; 100 while there is none.
    int getVolume() const;

    /// Whether the volume is 0; setMuted() has no part in it.
    bool getMuted() const;

    /// While muted nothing is played and no receiveInputData() emitted.
    void setMuted(bool muted);

    bool getLevel() const;

    /// Whether receiveLevel() is wanted.
    void setLevel(bool level);

    /// Whether an output is open.
    bool isPlaying() const;

    /// @name On the default device
    /// @{
    void openAudioInput(int sampleRate, int channelCount, int sampleSize);
    void openAudioOutput(int sampleRate, int channelCount, int sampleSize);
    /// @}

    /// Mean level of 16-bit samples in whole decibels, each sample taken as an unsigned number; 0 for silence. @p len
    /// is bytes. Any thread.
    static qreal getDecibel(const char* data, int len);

Q_SIGNALS:
    /// Samples from the microphone.
    void receiveInputData(QByteArray data);

    /// What play() was given; @p data is valid during the call.
    void receiveOutputData(const char* data, int len);

    void receiveVolume(int volume);
    void receiveMuted(bool muted);

    /// Peak of the buffer that was just given to play(), 0 to 1 of full scale; with 8-bit samples -0.5 to 0.5.
    void receiveLevel(qreal level);

public Q_SLOTS:
    /// Takes what the microphone has.
    void readyRead();

    /// The device of that name; the default one for an empty name, none at all for a name that no device has.
    void openAudioInput(int sampleRate, int channelCount, int sampleSize, const QString& deviceName);
    void closeAudioInput();

    /// Back to full volume.
    void resetAudioInput();

    /// As openAudioInput().
    void openAudioOutput(int sampleRate, int channelCount, int sampleSize, const QString& deviceName);
    void closeAudioOutput();

    /// Back to full volume.
    void resetAudioOutput();

    /// Plays @p len bytes; nothing while no output is open.
    void play(const char* data, int len);

private:
    /// What was asked for, to open it again.
    struct Wanted
    {
        QAudioFormat format;
        QString deviceName;
        bool isOpen = false;
        bool isMissed = false; // and the log knows
        QElapsedTimer lastTry;
    };

    void openInput();
    void openOutput();
    void dropInput();
    void dropOutput();
    void watch();
    void watchInput();
    void watchOutput();
    void queueSamples(const char* data, int len);
    void leadIn();
    void writeQueued();

    bool muted = false;
    bool level = false;
    QAudioInput* input = nullptr;
    QPointer<QIODevice> inputDevice; // of the input
    QAudioOutput* output = nullptr;
    QPointer<QIODevice> outputDevice; // of the output

    int volume = 100;
    Wanted wantedInput;
    Wanted wantedOutput;
    QByteArray queued; // samples that the output had no room for
    QElapsedTimer lastInput;
    QTimer writeTimer;
    QTimer watchTimer;
};
