#include "core_audio/audiothread.h"

#include "core_audio/audioplayer.h"
#include "core_codec/mediacodec.h"

namespace {
constexpr _tag_aenc_param_s talkFormat{34, 8000, 16, 1}; // G.711 mu-law
constexpr auto automatic = Qt::ConnectionType(Qt::AutoConnection | Qt::UniqueConnection);
} // namespace

AudioThread::AudioThread()
    : codec(std::make_unique<MediaCodec>())
{
    soundThread.setObjectName("sound");
    codec->createAudioEncoder(talkFormat);
}

AudioThread::~AudioThread() { stop(); }

void AudioThread::start()
{
    if (soundThread.isRunning())
        return;
    if (thread() != &soundThread)
        moveToThread(&soundThread);
    connect(&soundThread, &QThread::started, this, &AudioThread::onStarted, automatic);
    connect(&soundThread, &QThread::finished, this, &AudioThread::onStoped, automatic);
    soundThread.start(QThread::InheritPriority);
}

void AudioThread::stop()
{
    quit();
    soundThread.wait();
}

void AudioThread::quit() { soundThread.quit(); }

bool AudioThread::isRunning() const { return soundThread.isRunning(); }

bool AudioThread::getLevel() const { return levelNow; }

bool AudioThread::getMuted() const { return mutedNow; }

int AudioThread::getVolume() const { return volumeNow; }

void AudioThread::setLevel(bool level)
{
    wantedLevel = level;
    const auto apply = [this] {
        if (player)
            player->setLevel(wantedLevel);
        noteState();
    };
    QMetaObject::invokeMethod(this, apply, Qt::QueuedConnection);
}

void AudioThread::noteState()
{
    levelNow = player && player->getLevel();
    mutedNow = player && player->getMuted();
    volumeNow = player ? player->getVolume() : 0;
}

void AudioThread::onStarted()
{
    player = std::make_unique<AudioPlayer>();
    connect(player.get(), &AudioPlayer::receiveLevel, this, &AudioThread::receiveLevel);
    connect(player.get(), &AudioPlayer::receiveInputData, this, &AudioThread::receiveInputData);
    player->setLevel(wantedLevel);
    player->setMuted(wantedMuted);
    if (wantedVolume >= 0)
        player->setVolume(wantedVolume);
    noteState();
}

void AudioThread::onStoped()
{
    if (!player)
        return;
    disconnect(player.get(), &AudioPlayer::receiveLevel, this, &AudioThread::receiveLevel);
    player->closeAudioInput();
    player->closeAudioOutput();
    // Queued calls may be served while the streams go, and find no player then.
    const std::unique_ptr<AudioPlayer> last = std::move(player);
    noteState();
}

void AudioThread::openAudioOutput(int sampleRate, int channelCount, int sampleSize)
{
    if (player)
        player->openAudioOutput(sampleRate, channelCount, sampleSize);
    noteState();
}

void AudioThread::closeAudioOutput()
{
    if (player)
        player->closeAudioOutput();
    noteState();
}

void AudioThread::play(const QByteArray& data)
{
    if (player)
        player->play(data.constData(), data.size());
}

void AudioThread::receiveVolume(int volume)
{
    wantedVolume = volume;
    if (player)
        player->setVolume(volume);
    noteState();
}

void AudioThread::receiveMuted(bool muted)
{
    wantedMuted = muted;
    if (player)
        player->setMuted(muted);
    noteState();
}

void AudioThread::openAudioInput(int sampleRate, int channelCount, int sampleSize)
{
    if (player)
        player->openAudioInput(sampleRate, channelCount, sampleSize);
}

void AudioThread::closeAudioInput()
{
    if (player)
        player->closeAudioInput();
}

void AudioThread::receiveInputData(const QByteArray&) { }

void AudioThread::startTalk() { }

void AudioThread::stopTalk() { }
