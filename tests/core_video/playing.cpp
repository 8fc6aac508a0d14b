#include "core_video/playing.h"

#include "support/testpicture.h"
#include "support/waiting.h"

#include <QCoreApplication>

#include <cmath>

namespace {

constexpr int longestPlayMs = 60000; // turning pictures takes long under ThreadSanitizer

int clamped(double value) { return qBound(0, static_cast<int>(std::lround(value)), 255); }

/// BT.601, limited range.
QRgb shown(int y, int u, int v)
{
    const double luma = 1.164 * (y - 16);
    return qRgb(clamped(luma + 1.596 * (v - 128)), clamped(luma - 0.392 * (u - 128) - 0.813 * (v - 128)),
                clamped(luma + 2.017 * (u - 128)));
}

QString formatText(int rate, int channels, int bits)
{
    return QString("format %1 %2 %3").arg(rate).arg(channels).arg(bits);
}

} // namespace

Display::Display(FFmpegVideoThread* source)
    : thread(source)
{
    timer.start();
    using Thread = AbstractVideoThread;
    constexpr auto blocking = Qt::BlockingQueuedConnection;
    connect(source,
            QOverload<int, int, quint8*, quint8*, quint8*, quint32, quint32, quint32>::of(&Thread::receiveFrame), this,
            &Display::showFrame, blocking);
    connect(source, QOverload<int, int, quint8*, bool>::of(&Thread::receiveFrame), this, [this] { ++surfaces; });
    connect(source, QOverload<int, int, quint8*, int, bool>::of(&Thread::receiveFrame), this, [this] { ++surfaces; });
    connect(source, QOverload<int, int, quint8*, quint8*, quint32, quint32>::of(&Thread::receiveFrame), this,
            [this] { ++surfaces; });
    connect(source, &Thread::receiveImage, this, [this](const QImage& image) {
        if (onPicture)
            onPicture();
        images.append(image);
    });
    connect(source, &Thread::receivePlayStart, this, [this] { events.append("start"); }, blocking);
    connect(source, &Thread::receivePlayFinsh, this,
            [this](QObject* sender) {
                wasReopening = thread->isReopening();
                events.append(sender == thread ? "finish" : "finish of another");
            },
            blocking);
    connect(source, &Thread::receiveSizeChanged, this, [this] { events.append("size"); });
    connect(source, &Thread::receiveAudioFormat, this,
            [this](int rate, int channels, int bits) { events.append(formatText(rate, channels, bits)); });
    connect(source, &Thread::receiveAudio, this, [this](const QByteArray& data) { soundBytes += data.size(); });
}

bool Display::isLastFrameIntact() const { return !frames.isEmpty() && lastPixels() == pixels; }

QImage Display::lastPicture() const
{
    const Frame& frame = frames.constLast();
    QImage image(frame.width, frame.height, QImage::Format_RGB32);
    for (int y = 0; y < frame.height; ++y) {
        for (int x = 0; x < frame.width; ++x)
            image.setPixel(x, y,
                           shown(frame.planes[0][y * frame.lines[0] + x],
                                 frame.planes[1][y / 2 * frame.lines[1] + x / 2],
                                 frame.planes[2][y / 2 * frame.lines[2] + x / 2]));
    }
    return image;
}

QVector<int> Display::numbers() const
{
    QVector<int> all;
    for (const Frame& frame : frames)
        all.append(frame.number);
    return all;
}

void Display::showFrame(int width, int height, quint8* dataY, quint8* dataU, quint8* dataV, quint32 lineY,
                        quint32 lineU, quint32 lineV)
{
    if (!frames.isEmpty() && !isLastFrameIntact())
        ++damagedFrames;
    if (onPicture)
        onPicture();
    Frame frame;
    frame.width = width;
    frame.height = height;
    frame.planes = {dataY, dataU, dataV};
    frame.lines = {static_cast<int>(lineY), static_cast<int>(lineU), static_cast<int>(lineV)};
    frame.number = TestPicture::number(dataY, width, height, frame.lines[0]);
    frame.time = timer.elapsed();
    frames.append(frame);
    pixels = lastPixels();
}

QByteArray Display::lastPixels() const
{
    const Frame& frame = frames.constLast();
    QByteArray all;
    for (int plane = 0; plane < 3; ++plane) {
        const int width = plane == 0 ? frame.width : (frame.width + 1) / 2;
        const int height = plane == 0 ? frame.height : (frame.height + 1) / 2;
        for (int y = 0; y < height; ++y)
            all.append(reinterpret_cast<const char*>(frame.planes[plane] + y * frame.lines[plane]), width);
    }
    return all;
}

bool playUntilEnd(FFmpegVideoThread* thread)
{
    thread->play();
    const bool ended = Waiting::until([thread] { return thread->isFinished(); }, longestPlayMs);
    QCoreApplication::sendPostedEvents();
    return ended;
}
