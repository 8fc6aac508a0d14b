#pragma once

#include <QByteArray>
#include <QProcess>
#include <QTemporaryDir>

/// A PulseAudio daemon of the test's own, with a loudspeaker that records and a microphone that a test speaks into.
///
/// The constructor points this process and those it starts at the daemon's socket, in a folder of its own, and nothing
/// ever reaches a daemon of the user's. Construct it before anything uses sound: one for a test program, as the
/// connection to the server belongs to the process. The daemon may be killed and started again under it.
///
/// The calls wait for processes in an event loop of their own, so timers and queued calls go on meanwhile.
class SoundServer
{
public:
    SoundServer();

    /// Ends the daemon as kill() does.
    ~SoundServer();
    SoundServer(const SoundServer&) = delete;
    SoundServer& operator=(const SoundServer&) = delete;

    /// For the next start: whether the machine has a loudspeaker and a microphone.
    void setSpeaker(bool exists);
    void setMicrophone(bool exists);

    /// Returns when clients can connect; false, with a warning that says why, when the daemon does not come up.
    bool start();

    /// Ends the daemon at once, as a crash would.
    void kill();

    /// Stops the daemon in place: connections stay open and nothing is answered. resume() lets it go on.
    void freeze();
    void resume();

    bool isRunning() const;

    /// What the loudspeaker and the microphone are called.
    static QString speakerName();
    static QString microphoneName();

    /// Begins to record what comes out of the loudspeaker; true when the recording runs.
    bool startRecording();

    /// Ends it and returns the samples: mono, 16 bit, at recordingRate.
    QByteArray stopRecording();

    /// What has been recorded so far.
    QByteArray recorded();

    /// Plays mono 16-bit samples of @p sampleRate into the microphone, once.
    bool speak(const QByteArray& samples, int sampleRate);

    /// How many streams play on, and capture from, the server, those of this class left out; -1 when it does not
    /// answer.
    int outputStreams();
    int inputStreams();

    static constexpr int recordingRate = 48000;

private:
    /// Ends with the test, also when that is killed.
    class Child : public QProcess
    {
    protected:
        void setupChildProcess() override;
    };

    bool writeScript();
    int countStreams(const QString& kind);

    QTemporaryDir folder;
    Child daemon;
    Child recorder;
    Child speaker;
    QByteArray samples;
    bool hasSpeaker = true;
    bool hasMicrophone = true;
};
