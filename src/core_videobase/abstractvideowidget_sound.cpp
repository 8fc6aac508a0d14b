#include "core_videobase/abstractvideowidget.h"

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

void AbstractVideoWidget::startAudioThread() { }

void AbstractVideoWidget::stopAudioThread() { audioPlayer.reset(); }

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

void AbstractVideoWidget::setVolume(int volume) { callAudioPlayer("receiveVolume", Q_ARG(int, volume)); }

void AbstractVideoWidget::setMuted(bool muted)
{
    widgetPara.muted = muted;
    callAudioPlayer("receiveMuted", Q_ARG(bool, muted));
}

void AbstractVideoWidget::setCalcLevel(bool) { }
