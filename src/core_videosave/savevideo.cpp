#include "core_videosave/savevideo.h"

#include "core_videosave/rawfile.h"

#include <QLoggingCategory>
#include <QMutexLocker>

namespace {
Q_LOGGING_CATEGORY(lcVideo, "vantor.save.video")

QByteArray planeOf(const quint8* data, int bytes) { return QByteArray(reinterpret_cast<const char*>(data), bytes); }
} // namespace

SaveVideo::SaveVideo(QObject* parent)
    : AbstractSaveThread(parent)
{
}

SaveVideo::~SaveVideo() { SaveVideo::stop(); }

void SaveVideo::setPara(SaveVideoType type, int width, int height, int rate)
{
    saveVideoType = type;
    videoWidth = width;
    videoHeight = height;
    frameRate = rate;
}

void SaveVideo::write(quint8* dataY, quint8* dataU, quint8* dataV)
{
    if (!running || paused || !dataY || !dataU || !dataV || videoWidth <= 0 || videoHeight <= 0)
        return;
    const int size = videoWidth * videoHeight;
    const QByteArray y = planeOf(dataY, size);
    const QByteArray u = planeOf(dataU, size / 4);
    const QByteArray v = planeOf(dataV, size / 4);
    const QMutexLocker lock(&mutex);
    if (RawFile::directWriting) {
        writeToFile(y, u, v);
        return;
    }
    planesY.append(y);
    planesU.append(u);
    planesV.append(v);
}

bool SaveVideo::init() { return RawFile::open(file, fileName()); }

void SaveVideo::save()
{
    {
        const QMutexLocker lock(&mutex);
        if (!planesY.isEmpty()) {
            writeToFile(planesY.takeFirst(), planesU.takeFirst(), planesV.takeFirst());
            return;
        }
    }
    RawFile::rest();
}

/// With the mutex held: a producer that writes directly and the recorder thread share the file.
void SaveVideo::writeToFile(const QByteArray& y, const QByteArray& u, const QByteArray& v)
{
    if (saveVideoType != SaveVideoType_Yuv || !file.isOpen())
        return;
    for (const QByteArray& plane : {y, u, v}) {
        if (file.write(plane) == plane.size())
            continue;
        qCCritical(lcVideo).noquote() << QString("could not write %1: %2").arg(file.fileName(), file.errorString());
        return;
    }
}

void SaveVideo::close()
{
    const QMutexLocker lock(&mutex);
    planesY.clear();
    planesU.clear();
    planesV.clear();
    file.close();
}
