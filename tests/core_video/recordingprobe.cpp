#include "recordingprobe.h"

#include "support/testpicture.h"

#include <QFile>
#include <QFileInfo>

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
            const std::lock_guard<std::mutex> lock(notesMutex);
            numbers.push_back(TestPicture::number(luma, width, height, static_cast<int>(lineSize)));
        },
        Qt::DirectConnection);
    connect(
        this, &AbstractVideoThread::recorderStateChanged, this,
        [this](const RecorderState& state, const QString& file) {
            const std::lock_guard<std::mutex> lock(notesMutex);
            stateNotes.push_back(QString("%1 %2").arg(int(state)).arg(QFileInfo(file).fileName()));
        },
        Qt::DirectConnection);
}

RecordingProbe::~RecordingProbe() { stopAndWait(); }

QStringList RecordingProbe::closedFiles(RecordType type) const
{
    const std::lock_guard<std::mutex> lock(notesMutex);
    return {closed[type].cbegin(), closed[type].cend()};
}

QStringList RecordingProbe::states() const
{
    const std::lock_guard<std::mutex> lock(notesMutex);
    return {stateNotes.cbegin(), stateNotes.cend()};
}

QVector<int> RecordingProbe::shownNumbers() const
{
    const std::lock_guard<std::mutex> lock(notesMutex);
    return {numbers.cbegin(), numbers.cend()};
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
    const std::lock_guard<std::mutex> lock(notesMutex);
    closed[type].push_back(name);
}
