#include "recordingprobe.h"

#include "support/testpicture.h"

#include <QFile>
#include <QFileInfo>
#include <QMutexLocker>

namespace {
constexpr int generousConnectMs = 5000;
constexpr int quickOpenSleepMs = 300;
} // namespace

RecordingProbe::RecordingProbe(const QString& url, const QString& path)
    : folder(path)
{
    setVideoUrl(url);
    setAddressTest(url.contains("://"));
    setVideoMode(VideoMode_Opengl);
    setConnectTimeout(generousConnectMs);
    setOpenSleepTime(quickOpenSleepMs);
    connect(
        this,
        qOverload<int, int, quint8*, quint8*, quint8*, quint32, quint32, quint32>(&AbstractVideoThread::receiveFrame),
        this,
        [this](int width, int height, const quint8* luma, quint8*, quint8*, quint32 lineSize) {
            ++pictures;
            const QMutexLocker lock(&notesMutex);
            numbers << TestPicture::number(luma, width, height, static_cast<int>(lineSize));
        },
        Qt::DirectConnection);
    connect(
        this, &AbstractVideoThread::recorderStateChanged, this,
        [this](const RecorderState& state, const QString& file) {
            const QMutexLocker lock(&notesMutex);
            stateNotes << QString("%1 %2").arg(int(state)).arg(QFileInfo(file).fileName());
        },
        Qt::DirectConnection);
}

RecordingProbe::~RecordingProbe() { stopAndWait(); }

QStringList RecordingProbe::closedFiles(RecordType type) const
{
    const QMutexLocker lock(&notesMutex);
    return closed[type];
}

QStringList RecordingProbe::states() const
{
    const QMutexLocker lock(&notesMutex);
    return stateNotes;
}

QVector<int> RecordingProbe::shownNumbers() const
{
    const QMutexLocker lock(&notesMutex);
    return numbers;
}

int RecordingProbe::getLatestRecordCodec(XVideoEncPara& video, XAudioEncPara& audio)
{
    video = deviceVideo;
    audio = deviceAudio;
    if (packets >= 0 && atPacket)
        atPacket(packets);
    ++packets;
    return 0;
}

void RecordingProbe::setMP4FileName(RecordType type)
{
    if (!folder.isEmpty())
        setFileName(type, QString("%1/%2-%3.mp4").arg(folder).arg(int(type)).arg(++fileNumbers[type]));
}

void RecordingProbe::renameMP4File(RecordType type)
{
    QString name = getFileName(type);
    if (!folder.isEmpty()) {
        const QString done = QString(name).replace(".mp4", "-done.mp4");
        if (QFile::rename(name, done))
            name = done;
        setFileName(type, name);
    }
    const QMutexLocker lock(&notesMutex);
    closed[type] << name;
}
