#include "core_videosave/saveaudio.h"

#include "core_videosave/rawfile.h"

#include <QDir>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QMutexLocker>
#include <QtEndian>

namespace {
Q_LOGGING_CATEGORY(lcAudio, "vantor.save.audio")

constexpr int adtsHeaderBytes = 7;
constexpr int copyBytes = 1 << 20;

int frequencyIndexOf(int sampleRate)
{
    switch (sampleRate) {
    case 96000: return 0;
    case 88200: return 1;
    case 64000: return 2;
    case 48000: return 3;
    case 44100: return 4;
    case 32000: return 5;
    case 24000: return 6;
    case 22050: return 7;
    case 16000: return 8;
    case 12000: return 9;
    case 11025: return 10;
    case 8000: return 11;
    default: return 3;
    }
}

template <typename T>
void appendLittleEndian(QByteArray& bytes, T value)
{
    const T little = qToLittleEndian(value);
    bytes.append(reinterpret_cast<const char*>(&little), sizeof little);
}
} // namespace

SaveAudio::SaveAudio(QObject* parent)
    : AbstractSaveThread(parent)
{
}

SaveAudio::~SaveAudio() { SaveAudio::stop(); }

void SaveAudio::setPara(SaveAudioType type, int rate, int channels, int aacProfile)
{
    saveAudioType = type;
    sampleRate = rate;
    channelCount = channels;
    profile = aacProfile;
}

void SaveAudio::setDirectWriting(bool enable) { RawFile::directWriting = enable; }

bool SaveAudio::isDirectWriting() { return RawFile::directWriting; }

void SaveAudio::write(const char* data, int len)
{
    if (!running || paused || !data || len <= 0)
        return;
    const QByteArray buffer(data, len);
    const QMutexLocker lock(&mutex);
    if (RawFile::directWriting)
        writeToFile(buffer);
    else
        buffers.append(buffer);
}

bool SaveAudio::init() { return RawFile::open(file, fileName()); }

void SaveAudio::save()
{
    {
        const QMutexLocker lock(&mutex);
        if (!buffers.isEmpty()) {
            writeToFile(buffers.takeFirst());
            return;
        }
    }
    RawFile::rest();
}

/// With the mutex held: a producer that writes directly and the recorder thread share the file.
void SaveAudio::writeToFile(const QByteArray& buffer)
{
    QByteArray bytes;
    switch (saveAudioType) {
    case SaveAudioType_Pcm:
    case SaveAudioType_Wav: bytes = buffer; break;
    case SaveAudioType_Aac: bytes = adtsHeader(buffer.size(), sampleRate, channelCount, profile) + buffer; break;
    default: return;
    }
    if (file.isOpen() && file.write(bytes) != bytes.size())
        qCCritical(lcAudio).noquote() << QString("could not write %1: %2").arg(file.fileName(), file.errorString());
}

void SaveAudio::close()
{
    const QMutexLocker lock(&mutex);
    buffers.clear();
    file.close();
    if (saveAudioType == SaveAudioType_Wav)
        convertToWav();
}

void SaveAudio::convertToWav()
{
    QFile pcm(file.fileName());
    QFile wav(QString(file.fileName()).replace("pcm", "wav"));
    // "pcm" may also be in the name of a folder.
    QDir().mkpath(QFileInfo(wav).absolutePath());
    if (wav.fileName() == pcm.fileName() || !pcm.open(QFile::ReadOnly) || !wav.open(QFile::WriteOnly)) {
        qCCritical(lcAudio).noquote() << QString("could not make a WAV file of %1").arg(pcm.fileName());
        return;
    }
    bool isComplete = wav.write(wavHeader(static_cast<quint32>(pcm.size()), sampleRate, channelCount)) > 0;
    while (isComplete && !pcm.atEnd()) {
        const QByteArray part = pcm.read(copyBytes);
        isComplete = !part.isEmpty() && wav.write(part) == part.size();
    }
    wav.close();
    pcm.close();
    if (isComplete && wav.error() == QFile::NoError)
        pcm.remove();
    else
        qCCritical(lcAudio).noquote() << QString("could not write %1: %2").arg(wav.fileName(), wav.errorString());
}

QByteArray SaveAudio::adtsHeader(int length, int sampleRate, int channelCount, int profile)
{
    int index = frequencyIndexOf(sampleRate);
    if (profile > 1)
        index += profile - 1;
    const int total = length + adtsHeaderBytes;
    QByteArray header;
    header.append('\xFF');
    header.append('\xF1');
    header.append(static_cast<char>((index + 16) * 4 + (channelCount >> 2)));
    header.append(static_cast<char>((total >> 11) + 128));
    header.append(static_cast<char>(total >> 3));
    header.append(static_cast<char>(total * 32 | 31));
    header.append('\xFC');
    return header;
}

QByteArray SaveAudio::wavHeader(quint32 length, int sampleRate, int channelCount)
{
    constexpr quint32 formatBytes = 16;
    constexpr quint32 headerBehindSize = 36;
    constexpr quint16 pcmFormat = 1;
    constexpr quint16 blockAlign = 2;
    constexpr quint16 bitsPerSample = 16;

    QByteArray header("RIFF");
    appendLittleEndian<quint32>(header, length + headerBehindSize);
    header.append("WAVEfmt ");
    appendLittleEndian<quint32>(header, formatBytes);
    appendLittleEndian<quint16>(header, pcmFormat);
    appendLittleEndian<quint16>(header, static_cast<quint16>(channelCount));
    appendLittleEndian<quint32>(header, static_cast<quint32>(sampleRate));
    appendLittleEndian<quint32>(header, static_cast<quint32>(sampleRate * channelCount)); // without the sample's size
    appendLittleEndian<quint16>(header, blockAlign);
    appendLittleEndian<quint16>(header, bitsPerSample);
    header.append("data");
    appendLittleEndian<quint32>(header, length);
    return header;
}
