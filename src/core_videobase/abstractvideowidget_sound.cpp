#include "core_videobase/abstractvideowidget.h"

#include "core_audio/audiothread.h"
#include "core_audio/retiredaudiothreads.h"
#include "core_videobase/abstractvideothread.h"
#include "core_videobase/bannerwidget.h"

// Sound, talk, snapshots and recording.

void AbstractVideoWidget::snap(QString, bool) { }

void AbstractVideoWidget::setSaveInterval(int seconds)
{
    saveInterval = seconds;
    if (videoThread)
        videoThread->setSaveInterval(AbstractVideoThread::MANUAL_RECORD, seconds);
}

void AbstractVideoWidget::recordStart(QString path)
{
    if (!videoThread || viewOnly)
        return;
    if (saveInterval > 0)
        videoThread->setSaveInterval(AbstractVideoThread::MANUAL_RECORD, saveInterval);
    videoThread->setSavePath(AbstractVideoThread::MANUAL_RECORD, path);
    videoThread->recordStart(AbstractVideoThread::MANUAL_RECORD);
}

void AbstractVideoWidget::recordStop()
{
    if (videoThread)
        videoThread->recordStop(AbstractVideoThread::MANUAL_RECORD);
}

void AbstractVideoWidget::setRecorderState(RecorderState state, const QString& file)
{
    // The end of one file says nothing about the file of the other record type.
    const bool goesOn = videoThread && videoThread->hasOpenFile();
    recorderState = goesOn ? RecorderRecording : state;
    recorderFile = file;
    bannerWidget->recorderStateChanged(recorderState, file);
}

void AbstractVideoWidget::talkStart() { }

void AbstractVideoWidget::talkStop() { }

void AbstractVideoWidget::startAudioThread()
{
    if (!viewOnly && !audioPlayer)
        takeAudioThread(new AudioThread);
}

void AbstractVideoWidget::takeAudioThread(AudioThread* audioThread)
{
    constexpr auto automatic = Qt::ConnectionType(Qt::AutoConnection | Qt::UniqueConnection);
    connect(audioThread, &AudioThread::receiveLevel, this, &AbstractVideoWidget::receiveLevel, automatic);
    connect(audioThread, &AudioThread::sig_startTalkDeviceBusy, this, &AbstractVideoWidget::sig_startTalkDeviceBusy,
            automatic);
    connect(audioThread, &AudioThread::sig_startTalkError, this, &AbstractVideoWidget::sig_startTalkError, automatic);
    const auto refuse = [this] { showTalk(false); };
    connect(audioThread, &AudioThread::sig_startTalkDeviceBusy, this, refuse);
    connect(audioThread, &AudioThread::sig_startTalkError, this, refuse);
    audioPlayer = QSharedPointer<QObject>(audioThread, RetiredAudioThreads::take);
    audioThread->setLevel(calcLevel);
    audioThread->start();
    if (volume >= 0)
        callAudioPlayer("receiveVolume", Q_ARG(int, volume));
    callAudioPlayer("receiveMuted", Q_ARG(bool, widgetPara.muted));
}

void AbstractVideoWidget::stopAudioThread()
{
    if (audioPlayer)
        audioPlayer->disconnect(this);
    audioPlayer.reset();
}

/// Queued, so that the work runs on the player's thread.
template <typename... Arguments>
void AbstractVideoWidget::callAudioPlayer(const char* slot, Arguments... arguments)
{
    if (audioPlayer)
        QMetaObject::invokeMethod(audioPlayer.data(), slot, Qt::QueuedConnection, arguments...);
}

void AbstractVideoWidget::openAudioOutput(int sampleRate, int channelCount, int sampleSize)
{
    callAudioPlayer("openAudioOutput", Q_ARG(int, sampleRate), Q_ARG(int, channelCount), Q_ARG(int, sampleSize));
}

void AbstractVideoWidget::playAudio(QByteArray samples) { callAudioPlayer("play", Q_ARG(QByteArray, samples)); }

void AbstractVideoWidget::setVolume(int newVolume)
{
    volume = newVolume;
    callAudioPlayer("receiveVolume", Q_ARG(int, newVolume));
}

void AbstractVideoWidget::setMuted(bool muted)
{
    widgetPara.muted = muted;
    showSound(!muted);
    callAudioPlayer("receiveMuted", Q_ARG(bool, muted));
}

void AbstractVideoWidget::setCalcLevel(bool wanted)
{
    calcLevel = wanted;
    if (auto* audioThread = qobject_cast<AudioThread*>(audioPlayer.data()))
        audioThread->setLevel(wanted);
}

/// BannerWidget::receiveMuted() would take a talk button for the sound's: "TalkMuted" ends like "Muted".
void AbstractVideoWidget::showSound(bool on)
{
    if (on)
        bannerWidget->changeStatus("btnMuted", "btnSound", ":/primary/volume.svg");
    else
        bannerWidget->changeStatus("btnSound", "btnMuted", ":/primary/close_volume.svg");
}

void AbstractVideoWidget::showTalk(bool on)
{
    if (on)
        bannerWidget->changeStatus("TalkMuted", "Talk", ":/primary/mic.svg");
    else
        bannerWidget->changeStatus("btnTalk", "btnTalkMuted", ":/primary/mic-close.svg");
}

/// The buttons of the bar do what they have come to show.
void AbstractVideoWidget::btnClicked(QString btnName)
{
    if (btnName.endsWith("TalkMuted"))
        talkStop();
    else if (btnName.endsWith("btnTalk"))
        talkStart();
    else if (btnName.endsWith("btnMuted"))
        setMuted(true);
    else if (btnName.endsWith("btnSound"))
        setMuted(false);
}
