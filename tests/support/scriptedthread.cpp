#include "support/scriptedthread.h"

#include "support/testpicture.h"

namespace {

QImage quadrants(const QSize& size)
{
    QImage image(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x) {
            const bool left = x < size.width() / 2;
            const QColor top = left ? TestPicture::topLeft() : TestPicture::topRight();
            const QColor bottom = left ? TestPicture::bottomLeft() : TestPicture::bottomRight();
            image.setPixelColor(x, y, y < size.height() / 2 ? top : bottom);
        }
    }
    return image;
}

QByteArray toNv12(const QByteArray& i420, const QSize& size)
{
    const int luma = size.width() * size.height();
    const int chroma = ((size.width() + 1) / 2) * ((size.height() + 1) / 2);
    QByteArray nv12 = i420.left(luma);
    nv12.resize(luma + 2 * chroma);
    for (int i = 0; i < chroma; ++i) {
        nv12[luma + 2 * i] = i420.at(luma + i);
        nv12[luma + 2 * i + 1] = i420.at(luma + chroma + i);
    }
    return nv12;
}

} // namespace

std::atomic<int> ScriptedThread::alive{0};

ScriptedThread::ScriptedThread(QObject* parent)
    : AbstractVideoThread(parent)
{
    ++alive;
}

ScriptedThread::~ScriptedThread() { --alive; }

void ScriptedThread::next()
{
    ++resumed;
    AbstractVideoThread::next();
}

void ScriptedThread::run()
{
    if (openFails)
        return;
    videoWidth = pictureSize.width();
    videoHeight = pictureSize.height();
    isOk = true;
    opened = true;
    Q_EMIT receivePlayStart(playStartTime);
    if (emitsSound)
        Q_EMIT receiveAudioFormat(8000, 1, 16);
    showPictures();
    destroyDecoder();
    while (lingers)
        usleep(500);
    isOk = false;
    opened = false;
    Q_EMIT receivePlayFinsh(this);
}

void ScriptedThread::showPictures()
{
    while (!isAskedToEnd() && (pictureCount == 0 || delivered < pictureCount)) {
        if (previewRef() > 0 && !isPause && !holdsPictures)
            deliver();
        usleep(intervalUs);
    }
}

bool ScriptedThread::isAskedToEnd()
{
    if (stopped && losesStops > 0) {
        --losesStops;
        stopped = false;
    }
    return stopped;
}

void ScriptedThread::deliver()
{
    const int number = delivered % TestPicture::count;
    if (getVideoMode() == VideoMode_Image)
        Q_EMIT receiveImage(quadrants(pictureSize), 0);
    else if (getVideoMode() == VideoMode_Opengl)
        deliverPlanes(number);
    if (emitsSound)
        Q_EMIT receiveAudio(QByteArray(320, char(number)));
    ++delivered;
    if (decoderLife > 0 && delivered % decoderLife == 0)
        destroyDecoder();
}

void ScriptedThread::deliverPlanes(int number)
{
    const int width = pictureSize.width();
    const int height = pictureSize.height();
    const int chromaWidth = (width + 1) / 2;
    const int chroma = chromaWidth * ((height + 1) / 2);
    QByteArray planes = TestPicture::i420(pictureSize, number);
    if (getHardware() == "none") {
        auto* y = reinterpret_cast<quint8*>(planes.data());
        quint8* u = y + width * height;
        Q_EMIT receiveFrame(width, height, y, u, u + chroma, width, chromaWidth, chromaWidth);
    } else {
        planes = toNv12(planes, pictureSize);
        auto* y = reinterpret_cast<quint8*>(planes.data());
        Q_EMIT receiveFrame(width, height, y, y + width * height, width, 2 * chromaWidth);
    }
    shown = planes;
}

void ScriptedThread::destroyDecoder()
{
    Q_EMIT sig_decoderDestroyed();
    shown.clear();
}
