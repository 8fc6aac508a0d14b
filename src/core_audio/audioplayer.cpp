#include "core_audio/audioplayer.h"

#include "core_audio/pcmlevel.h"
#include "core_audio/soundsystem.h"

#include <QAudioDeviceInfo>
#include <QAudioInput>
#include <QAudioOutput>
#include <QLoggingCategory>

#include <algorithm>
#include <memory>
#include <utility>

namespace {
Q_LOGGING_CATEGORY(lcPlayer, "vantor.audio.player")

// What the output holds back before it begins, and the most that it holds. Sound servers add up to as much again.
constexpr qint64 outputBufferUs = 120000;
// What may wait for room in it when the next buffer comes.
constexpr qint64 queueUs = 40000;
constexpr int writeIntervalMs = 10;
constexpr int watchIntervalMs = 1000;
constexpr int retryMs = 3000;
// A microphone delivers silence too.
constexpr int inputLostMs = 3000;

using LeasePtr = std::shared_ptr<SoundSystem::Lease>;

// The lease ends after the stream: bases are destroyed from the last one to the first.
struct LeaseHolder
{
    LeasePtr lease;
};

class Input : LeaseHolder, public QAudioInput
{
public:
    Input(const LeasePtr& held, const QAudioDeviceInfo& device, const QAudioFormat& format, QObject* parent)
        : LeaseHolder{held}
        , QAudioInput(device, format, parent)
    {
    }
};

class Output : LeaseHolder, public QAudioOutput
{
public:
    Output(const LeasePtr& held, const QAudioDeviceInfo& device, const QAudioFormat& format)
        : LeaseHolder{held}
        , QAudioOutput(device, format)
    {
    }
};

QAudioFormat pcm(int sampleRate, int channelCount, int sampleSize)
{
    QAudioFormat format;
    format.setSampleRate(sampleRate);
    format.setChannelCount(channelCount);
    format.setSampleSize(sampleSize);
    format.setCodec("audio/pcm");
    format.setSampleType(sampleSize == 8 ? QAudioFormat::UnSignedInt : QAudioFormat::SignedInt);
    format.setByteOrder(QAudioFormat::LittleEndian);
    return format;
}

QAudioDeviceInfo namedDevice(QAudio::Mode mode, const QString& name)
{
    const QList<QAudioDeviceInfo> devices = QAudioDeviceInfo::availableDevices(mode);
    const auto found = std::find_if(devices.cbegin(), devices.cend(),
                                    [&](const QAudioDeviceInfo& device) { return device.deviceName() == name; });
    return found == devices.cend() ? QAudioDeviceInfo() : *found;
}

QAudioDeviceInfo defaultDevice(QAudio::Mode mode)
{
    return mode == QAudio::AudioInput ? QAudioDeviceInfo::defaultInputDevice()
                                      : QAudioDeviceInfo::defaultOutputDevice();
}

/// The null device for one that is not there. Where the machine has none, Qt answers with a default device without a
/// name, and it keeps the name of one that has gone; opening either would never end.
QAudioDeviceInfo chooseDevice(const SoundSystem::Lease& lease, QAudio::Mode mode, const QString& name)
{
    if (!lease.isUsable())
        return QAudioDeviceInfo();
    const QAudioDeviceInfo device = name.isEmpty() ? defaultDevice(mode) : namedDevice(mode, name);
    const bool exists = !device.deviceName().isEmpty() && device.preferredFormat().isValid();
    return exists ? device : QAudioDeviceInfo();
}

bool isThere(QAudio::Mode mode, const QString& name)
{
    const SoundSystem::Lease lease;
    return !chooseDevice(lease, mode, name).isNull();
}

/// Takes an object away in the event loop: it may be the one whose signal is being handled.
template <typename Stream>
void deleteSoon(Stream** stream)
{
    if (*stream)
        (*stream)->deleteLater();
    *stream = nullptr;
}

qreal toLinear(int volume)
{
    return QAudio::convertVolume(volume / 100.0, QAudio::LogarithmicVolumeScale, QAudio::LinearVolumeScale);
}

} // namespace

AudioPlayer::AudioPlayer(QObject* parent)
    : QObject(parent)
{
    writeTimer.setInterval(writeIntervalMs);
    writeTimer.setTimerType(Qt::PreciseTimer);
    connect(&writeTimer, &QTimer::timeout, this, &AudioPlayer::writeQueued);
    watchTimer.setInterval(watchIntervalMs);
    connect(&watchTimer, &QTimer::timeout, this, &AudioPlayer::watch);
}

AudioPlayer::~AudioPlayer()
{
    // Qt's plug-in serves events while a stream goes, and none of them may find this object half destroyed.
    watchTimer.stop();
    writeTimer.stop();
    delete std::exchange(input, nullptr);
    delete std::exchange(output, nullptr);
}

void AudioPlayer::setVolume(int newVolume)
{
    volume = newVolume;
    Q_EMIT receiveVolume(newVolume);
    if (output)
        output->setVolume(toLinear(newVolume));
}

int AudioPlayer::getVolume() const
{
    if (!output)
        return 100;
    return int(QAudio::convertVolume(output->volume(), QAudio::LinearVolumeScale, QAudio::LogarithmicVolumeScale)
               * 100);
}

bool AudioPlayer::getMuted() const { return getVolume() == 0; }

void AudioPlayer::setMuted(bool newMuted)
{
    muted = newMuted;
    if (muted)
        queued.clear();
    Q_EMIT receiveMuted(newMuted);
}

bool AudioPlayer::getLevel() const { return level; }

void AudioPlayer::setLevel(bool newLevel) { level = newLevel; }

bool AudioPlayer::isPlaying() const { return output && output->state() != QAudio::StoppedState; }

qreal AudioPlayer::getDecibel(const char* data, int len) { return PcmLevel::decibel(data, len); }

// The microphone.

void AudioPlayer::openAudioInput(int sampleRate, int channelCount, int sampleSize)
{
    openAudioInput(sampleRate, channelCount, sampleSize, QString());
}

void AudioPlayer::openAudioInput(int sampleRate, int channelCount, int sampleSize, const QString& deviceName)
{
    wantedInput.format = pcm(sampleRate, channelCount, sampleSize);
    wantedInput.deviceName = deviceName;
    wantedInput.isOpen = true;
    openInput();
    if (!inputDevice && !wantedInput.isMissed) {
        wantedInput.isMissed = true;
        qCWarning(lcPlayer).noquote() << "no microphone can be opened";
    }
    watchTimer.start();
}

void AudioPlayer::openInput()
{
    dropInput();
    const auto lease = std::make_shared<SoundSystem::Lease>();
    const QAudioDeviceInfo device = chooseDevice(*lease, QAudio::AudioInput, wantedInput.deviceName);
    wantedInput.lastTry.start();
    lastInput.start();
    if (device.isNull() && wantedInput.deviceName.isEmpty())
        return; // the machine has none, and Qt need not say so as well
    input = new Input(lease, device, wantedInput.format, this);
    inputDevice = input->start();
    if (!inputDevice) {
        dropInput(); // its lease would keep the connection from being made again
        return;
    }
    connect(inputDevice, &QIODevice::readyRead, this, &AudioPlayer::readyRead, Qt::UniqueConnection);
    if (wantedInput.isMissed)
        qCInfo(lcPlayer).noquote() << "the microphone is back";
    wantedInput.isMissed = false;
}

void AudioPlayer::dropInput()
{
    if (inputDevice)
        disconnect(inputDevice, &QIODevice::readyRead, this, &AudioPlayer::readyRead);
    inputDevice.clear();
    deleteSoon(&input);
}

void AudioPlayer::closeAudioInput()
{
    wantedInput.isOpen = false;
    dropInput();
}

void AudioPlayer::resetAudioInput()
{
    if (input)
        input->setVolume(1.0);
}

void AudioPlayer::readyRead()
{
    // Asked for more than there is, Qt's plug-in tries to read from a server that has gone, and says so every time.
    if (!inputDevice || input->bytesReady() < 1)
        return;
    const QByteArray samples = inputDevice->readAll();
    lastInput.start();
    if (!muted && !samples.isEmpty())
        Q_EMIT receiveInputData(samples);
}

// The loudspeaker.

void AudioPlayer::openAudioOutput(int sampleRate, int channelCount, int sampleSize)
{
    openAudioOutput(sampleRate, channelCount, sampleSize, QString());
}

void AudioPlayer::openAudioOutput(int sampleRate, int channelCount, int sampleSize, const QString& deviceName)
{
    wantedOutput.format = pcm(sampleRate, channelCount, sampleSize);
    wantedOutput.deviceName = deviceName;
    wantedOutput.isOpen = true;
    openOutput();
    if (!outputDevice && !wantedOutput.isMissed) {
        wantedOutput.isMissed = true;
        qCWarning(lcPlayer).noquote() << "no sound output can be opened";
    }
    watchTimer.start();
}

void AudioPlayer::openOutput()
{
    dropOutput();
    const auto lease = std::make_shared<SoundSystem::Lease>();
    const QAudioDeviceInfo device = chooseDevice(*lease, QAudio::AudioOutput, wantedOutput.deviceName);
    wantedOutput.lastTry.start();
    if (device.isNull() && wantedOutput.deviceName.isEmpty())
        return; // the machine has none, and Qt need not say so as well
    output = new Output(lease, device, wantedOutput.format);
    output->setBufferSize(wantedOutput.format.bytesForDuration(outputBufferUs));
    output->setVolume(toLinear(volume));
    outputDevice = output->start();
    if (!outputDevice) {
        dropOutput(); // its lease would keep the connection from being made again
        return;
    }
    if (wantedOutput.isMissed)
        qCInfo(lcPlayer).noquote() << "the sound output is back";
    wantedOutput.isMissed = false;
}

void AudioPlayer::dropOutput()
{
    queued.clear();
    writeTimer.stop();
    outputDevice.clear();
    deleteSoon(&output);
}

void AudioPlayer::closeAudioOutput()
{
    wantedOutput.isOpen = false;
    dropOutput();
}

void AudioPlayer::resetAudioOutput()
{
    volume = 100;
    if (output)
        output->setVolume(1.0);
}

void AudioPlayer::play(const char* data, int len)
{
    if (!outputDevice)
        return;
    Q_EMIT receiveOutputData(data, len);
    if (!muted)
        queueSamples(data, len);
    if (level) {
        const QAudioFormat& format = wantedOutput.format;
        Q_EMIT receiveLevel(PcmLevel::peak(data, len, format.sampleSize(), format.channelCount()));
    }
}

void AudioPlayer::queueSamples(const char* data, int len)
{
    writeQueued();
    // What waits longer is late by all that the output holds; the newer samples take its place.
    const int frameBytes = wantedOutput.format.bytesPerFrame();
    if (frameBytes < 1)
        return;
    const int mostBytes = wantedOutput.format.bytesForDuration(queueUs);
    if (queued.size() > mostBytes)
        queued = queued.right(mostBytes);
    queued.append(data, len - len % frameBytes);
    leadIn();
    writeQueued();
    if (!queued.isEmpty() && !writeTimer.isActive())
        writeTimer.start();
}

/// A large buffer begins to play at once and is over when the next one is due. Silence ahead of it gives that one time.
void AudioPlayer::leadIn()
{
    if (!outputDevice)
        return;
    const QAudioFormat& format = wantedOutput.format;
    const int half = output->bufferSize() / 2;
    const bool isDry = output->bytesFree() >= output->bufferSize();
    const char silence = format.sampleSize() == 8 ? char(0x80) : 0;
    if (isDry && queued.size() > half)
        queued.prepend(QByteArray(half - half % format.bytesPerFrame(), silence));
}

/// Never more than there is room for, and whole frames: where Qt's plug-in has to refuse samples, it keeps the lock
/// that all streams share.
void AudioPlayer::writeQueued()
{
    const int frameBytes = wantedOutput.format.bytesPerFrame();
    if (!outputDevice)
        queued.clear();
    if (!queued.isEmpty()) {
        const int room = std::min(output->bytesFree(), queued.size());
        if (room >= frameBytes)
            queued.remove(0, int(outputDevice->write(queued.constData(), room - room % frameBytes)));
    }
    if (queued.isEmpty())
        writeTimer.stop();
}

// Devices that come and go.

void AudioPlayer::watch()
{
    if (wantedOutput.isOpen)
        watchOutput();
    if (wantedInput.isOpen)
        watchInput();
    if (!wantedOutput.isOpen && !wantedInput.isOpen)
        watchTimer.stop();
}

void AudioPlayer::watchOutput()
{
    const bool isOver = output && (output->bytesFree() < 0 || output->state() == QAudio::StoppedState);
    if (isOver && !wantedOutput.isMissed) {
        wantedOutput.isMissed = true;
        dropOutput();
        qCWarning(lcPlayer).noquote() << "the sound output is lost; the picture goes on without sound";
    }
    if (!outputDevice && wantedOutput.lastTry.hasExpired(retryMs)) {
        wantedOutput.lastTry.start();
        if (isThere(QAudio::AudioOutput, wantedOutput.deviceName))
            openOutput();
    }
}

void AudioPlayer::watchInput()
{
    const bool isOver = input && (input->state() == QAudio::StoppedState || lastInput.hasExpired(inputLostMs));
    if (isOver && !wantedInput.isMissed) {
        wantedInput.isMissed = true;
        dropInput();
        qCWarning(lcPlayer).noquote() << "the microphone is lost";
    }
    if (!inputDevice && wantedInput.lastTry.hasExpired(retryMs)) {
        wantedInput.lastTry.start();
        if (isThere(QAudio::AudioInput, wantedInput.deviceName))
            openInput();
    }
}
