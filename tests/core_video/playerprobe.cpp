#include "playerprobe.h"

#include "support/testpicture.h"

#include <QElapsedTimer>

#include <algorithm>
#include <cstdlib>

namespace {

constexpr int generousConnectMs = 5000;
constexpr int quickOpenSleepMs = 300;
constexpr int lumaTolerance = 24;

bool isNear(quint8 seen, int wanted) { return std::abs(int(seen) - wanted) <= lumaTolerance; }

/// Red at the top left and yellow at the bottom right, in I420.
bool havePlanesTheirColors(const QSize& size, const quint8* y, const quint8* u, const quint8* v, quint32 lineY,
                           quint32 lineU)
{
    const auto at = [](const quint8* plane, quint32 line, const QPoint& point) {
        return plane[static_cast<quint32>(point.y()) * line + static_cast<quint32>(point.x())];
    };
    const QPoint red(size.width() / 4, size.height() / 8);
    const QPoint yellow(size.width() * 3 / 4, size.height() * 7 / 8);
    return isNear(at(y, lineY, red), 81) && isNear(at(u, lineU, red / 2), 90) && isNear(at(v, lineU, red / 2), 240)
        && isNear(at(y, lineY, yellow), 210) && isNear(at(u, lineU, yellow / 2), 16)
        && isNear(at(v, lineU, yellow / 2), 146);
}

} // namespace

PlayerProbe::PlayerProbe(const QString& url, VideoMode mode)
{
    thread.setVideoUrl(url);
    thread.setVideoMode(mode);
    // The machine may be busy; tests of the time-outs set their own.
    thread.setConnectTimeout(generousConnectMs);
    thread.setOpenSleepTime(quickOpenSleepMs);
    ++thread.previewRef();

    connect(
        &thread, &AbstractVideoThread::receivePlayStart, this, [this] { events << "start"; },
        Qt::BlockingQueuedConnection);
    connect(
        &thread, &AbstractVideoThread::receivePlayFinsh, this, [this] { events << "finish"; },
        Qt::BlockingQueuedConnection);
    connect(&thread, &AbstractVideoThread::receiveSizeChanged, this, [this] { ++sizeChanges; });
    connect(&thread, &AbstractVideoThread::receiveImage, this, &PlayerProbe::seeImage, Qt::BlockingQueuedConnection);
    connect(
        &thread,
        qOverload<int, int, quint8*, quint8*, quint8*, quint32, quint32, quint32>(&AbstractVideoThread::receiveFrame),
        this, &PlayerProbe::seePlanes, Qt::BlockingQueuedConnection);
    connect(&thread, &AbstractVideoThread::receiveAudioFormat, this, [this](int rate, int channels) {
        audioRate = rate;
        audioChannels = channels;
    });
    connect(&thread, &AbstractVideoThread::receiveAudio, this,
            [this](const QByteArray& data) { audioBytes += data.size(); });
}

PlayerProbe::~PlayerProbe() { thread.stopAndWait(); }

qint64 PlayerProbe::stopAndMeasure()
{
    QElapsedTimer timer;
    timer.start();
    thread.stopAndWait();
    return timer.elapsed();
}

bool PlayerProbe::areNumbersRising() const
{
    return std::adjacent_find(numbers.cbegin(), numbers.cend(), std::greater_equal<int>()) == numbers.cend();
}

void PlayerProbe::see(const QSize& size, int number, bool hasColors)
{
    ++pictures;
    lastSize = size;
    numbers << number;
    if (!hasColors || number < 0)
        ++badPictures;
}

void PlayerProbe::seeImage(const QImage& image)
{
    see(image.size(), TestPicture::number(image), TestPicture::hasColors(image));
}

void PlayerProbe::seePlanes(int width, int height, const quint8* y, const quint8* u, const quint8* v, quint32 lineY,
                            quint32 lineU, quint32 lineV)
{
    const bool isRight = lineU == lineV && havePlanesTheirColors({width, height}, y, u, v, lineY, lineU);
    see({width, height}, TestPicture::number(y, width, height, static_cast<int>(lineY)), isRight);
}
