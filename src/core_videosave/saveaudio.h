#pragma once

#include "core_videobase/abstractsavethread.h"

#include <QByteArray>
#include <QList>

/// What SaveAudio writes; nothing for any other value.
enum SaveAudioType : int {
    SaveAudioType_Pcm = 1, ///< the samples as they come
    SaveAudioType_Wav = 2, ///< samples while recording, a WAV file in their place at the end
    SaveAudioType_Aac = 3  ///< AAC, a header before each buffer
};

/// Stores sound buffers in a file.
///
/// For SaveAudioType_Wav open() is given the name of the PCM file; the WAV file has "wav" in place of "pcm" in it.
class VANTOR_EXPORT SaveAudio : public AbstractSaveThread
{
    Q_OBJECT

public:
    explicit SaveAudio(QObject* parent = nullptr);
    ~SaveAudio() override;

    /// Before open(). @p sampleRate in Hz; @p profile is that of AAC.
    void setPara(SaveAudioType saveAudioType, int sampleRate, int channelCount, int profile);

    /// Takes @p len bytes while a recording is open and not paused; they are copied. Any one thread.
    void write(const char* data, int len);

    /// Whether write() writes at once, on the caller's thread (the default), or queues for the recorder thread. For all
    /// recorders of this class and SaveVideo.
    static void setDirectWriting(bool enable);
    static bool isDirectWriting();

    /// The seven bytes before an AAC buffer of @p length bytes. Profile and channels are packed in this library's own
    /// way, which differs from the published layout.
    static QByteArray adtsHeader(int length, int sampleRate, int channelCount, int profile);

    /// The 44 bytes before @p length bytes of 16-bit samples.
    static QByteArray wavHeader(quint32 length, int sampleRate, int channelCount);

    bool init() override;
    void save() override;
    void close() override;

private:
    void writeToFile(const QByteArray& buffer);
    void convertToWav();

    SaveAudioType saveAudioType = SaveAudioType_Pcm;
    QList<QByteArray> buffers; // guarded by mutex
};
