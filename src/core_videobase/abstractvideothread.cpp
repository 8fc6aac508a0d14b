#include "core_videobase/abstractvideothread.h"

#include "core_videobase/shownaddress.h"
#include "core_videosave/savemp4ffmpeg.h"

#include <QCoreApplication>
#include <QDir>
#include <QEvent>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QMutexLocker>

#include <algorithm>

namespace {
Q_LOGGING_CATEGORY(lcThread, "vantor.thread")

constexpr int checkOpenStepMs = 100;
constexpr unsigned long waitStepMs = 5;
} // namespace

std::atomic<bool> AbstractVideoThread::debugInfo{false};
std::atomic<bool> AbstractVideoThread::sharedData{false};

AbstractVideoThread::AbstractVideoThread(QObject* parent)
    : QThread(parent)
    , lastTime(QDateTime::currentDateTimeUtc())
    , lastTimeMs(lastTime.toMSecsSinceEpoch())
    , owner(parent)
    , savePath(RECORD_TYPE_MAX, QString(""))
    , recordTimers(RECORD_TYPE_MAX)
    , fileName(RECORD_TYPE_MAX, QString(""))
    , clock(&Clock::system())
{
    qRegisterMetaType<RecorderState>("RecorderState");
    for (int type = 0; type < RECORD_TYPE_MAX; ++type) {
        saveInterval[type] = -1;
        recording[type] = false;
        saveAudio[type] = true;
        savers.append(new SaveMp4FFmpeg(nullptr));
        remainingSavers.emplace_back(savers.at(type));
    }
}

AbstractVideoThread::~AbstractVideoThread()
{
    // Those that the subclass did not delete.
    for (const QPointer<SaveMp4FFmpeg>& saver : remainingSavers)
        delete saver.data();
}

bool AbstractVideoThread::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::Resize)
        setGeometry();
    return QObject::eventFilter(watched, event);
}

void AbstractVideoThread::setReadTimeout(int milliseconds) { readTimeout = milliseconds; }

void AbstractVideoThread::setGeometry() {}

void AbstractVideoThread::checkOpen()
{
    const int steps = openSleepTime / checkOpenStepMs;
    for (int step = 0; step < steps && !stopped && !isOk; ++step)
        clock.load()->sleep(checkOpenStepMs * 1000);
    opened = isOk.load();
}

void AbstractVideoThread::setMP4FileName(RecordType) {}

void AbstractVideoThread::renameMP4File(RecordType) {}

void AbstractVideoThread::setVideoUrl(const QString& url)
{
    const QMutexLocker lock(&mutex);
    videoUrl = url;
}

QString AbstractVideoThread::getVideoUrl() const
{
    const QMutexLocker lock(&mutex);
    return videoUrl;
}

void AbstractVideoThread::setBufferSize(const QString& size)
{
    const QMutexLocker lock(&mutex);
    bufferSize = size;
}

QString AbstractVideoThread::getBufferSize() const
{
    const QMutexLocker lock(&mutex);
    return bufferSize;
}

void AbstractVideoThread::setCaching(int milliseconds) { caching = milliseconds; }

int AbstractVideoThread::getCaching() const { return caching; }

void AbstractVideoThread::setConnectTimeout(int milliseconds) { connectTimeout = milliseconds; }

int AbstractVideoThread::getConnectTimeout() const { return connectTimeout; }

int AbstractVideoThread::getReadTimeout() const { return readTimeout; }

void AbstractVideoThread::setOpenSleepTime(int milliseconds) { openSleepTime = milliseconds; }

int AbstractVideoThread::getOpenSleepTime() const { return openSleepTime; }

void AbstractVideoThread::setDecodeType(const DecodeType& type) { decodeType = type; }

DecodeType AbstractVideoThread::getDecodeType() const { return decodeType; }

void AbstractVideoThread::setVideoCore(const VideoCore& core) { videoCore = core; }

VideoCore AbstractVideoThread::getVideoCore() const { return videoCore; }

void AbstractVideoThread::setVideoMode(const VideoMode& mode) { videoMode = mode; }

VideoMode AbstractVideoThread::getVideoMode() const { return videoMode; }

void AbstractVideoThread::setHardware(const QString& name)
{
    const QMutexLocker lock(&mutex);
    hardware = name;
}

QString AbstractVideoThread::getHardware() const
{
    const QMutexLocker lock(&mutex);
    return hardware;
}

void AbstractVideoThread::setTransport(const QString& name)
{
    const QMutexLocker lock(&mutex);
    transport = name;
}

QString AbstractVideoThread::getTransport() const
{
    const QMutexLocker lock(&mutex);
    return transport;
}

void AbstractVideoThread::setFrameRate(int rate) { frameRate = rate; }

int AbstractVideoThread::getFrameRate() const { return frameRate; }

void AbstractVideoThread::setRotate(int degrees) { rotate = degrees; }

int AbstractVideoThread::getRotate() const { return rotate; }

void AbstractVideoThread::setPlayRepeat(bool repeat) { playRepeat = repeat; }

bool AbstractVideoThread::getPlayRepeat() const { return playRepeat; }

void AbstractVideoThread::setSnapName(const QString& name)
{
    const QMutexLocker lock(&mutex);
    snapName = name;
}

QString AbstractVideoThread::getSnapName() const
{
    const QMutexLocker lock(&mutex);
    return snapName;
}

void AbstractVideoThread::setFlag(const QString& text)
{
    const QMutexLocker lock(&mutex);
    flag = text;
}

void AbstractVideoThread::setSnapPreview(bool preview) { snapPreview.exchange(preview); }

void AbstractVideoThread::setVideoSize(const QString& size)
{
    {
        const QMutexLocker lock(&mutex);
        videoSize = size;
    }
    const QStringList parts = size.split(size.contains('*') ? '*' : 'x');
    if (parts.size() != 2)
        return;
    videoWidth = parts.at(0).toInt();
    videoHeight = parts.at(1).toInt();
}

void AbstractVideoThread::setPaintedSize(const QSize& pixels) { paintedSize = pixels; }

void AbstractVideoThread::setClock(Clock* other) { clock = other ? other : &Clock::system(); }

int AbstractVideoThread::getVideoWidth() const { return videoWidth; }

int AbstractVideoThread::getVideoHeight() const { return videoHeight; }

bool AbstractVideoThread::getIsOk() const { return isOk; }

bool AbstractVideoThread::getIsPause() const { return isPause; }

bool AbstractVideoThread::getIsSnap() const { return isSnap; }

bool AbstractVideoThread::getOnlyAudio() const { return onlyAudio; }

AbstractVideoThread::AudioFormat AbstractVideoThread::getAudioFormat() const
{
    const QMutexLocker lock(&mutex);
    return audioFormat;
}

QElapsedTimer AbstractVideoThread::getTimer() const { return timer; }

std::atomic<int>& AbstractVideoThread::previewRef() { return displayCount; }

std::atomic<bool>& AbstractVideoThread::isOwned() { return owned; }

bool AbstractVideoThread::isOpenTimeout() const { return openTimeout > 0; }

bool AbstractVideoThread::isReadTimeout() const { return timeoutHit; }

int AbstractVideoThread::referenceCount() const
{
    int count = displayCount;
    for (const std::atomic<bool>& requested : recording)
        count += requested ? 1 : 0;
    return count;
}

void AbstractVideoThread::setSaveInterval(RecordType type, int seconds)
{
    if (hasType(type))
        saveInterval[type] = seconds;
}

int AbstractVideoThread::getSaveInterval(RecordType type) const
{
    return hasType(type) ? saveInterval[type].load() : -1;
}

void AbstractVideoThread::setSavePath(RecordType type, const QString& path)
{
    const QMutexLocker lock(&mutex);
    if (hasType(type))
        savePath[type] = path;
}

QString AbstractVideoThread::getSavePath(RecordType type) const
{
    const QMutexLocker lock(&mutex);
    return hasType(type) ? savePath.at(type) : QString("");
}

void AbstractVideoThread::setSaveAudio(RecordType type, bool enable)
{
    if (hasType(type))
        saveAudio[type] = enable;
}

void AbstractVideoThread::setFileName(RecordType type, const QString& name)
{
    const QMutexLocker lock(&mutex);
    if (hasType(type))
        fileName[type] = name;
}

QString AbstractVideoThread::getFileName(RecordType type) const
{
    const QMutexLocker lock(&mutex);
    return hasType(type) ? fileName.at(type) : QString();
}

void AbstractVideoThread::recordStart(RecordType type)
{
    if (hasType(type))
        recording[type] = true;
}

void AbstractVideoThread::recordStop(RecordType type)
{
    if (hasType(type))
        recording[type] = false;
}

bool AbstractVideoThread::isRecording(RecordType type) const { return hasType(type) && recording[type]; }

bool AbstractVideoThread::hasOpenFile() const
{
    return std::any_of(savers.cbegin(), savers.cend(),
                       [](const SaveMp4FFmpeg* saver) { return saver->getIsRunning(); });
}

void AbstractVideoThread::stopAndWait()
{
    Q_ASSERT(QThread::currentThread() != this);
    const bool servesCalls = QThread::currentThread() == thread();
    stop();
    while (!wait(waitStepMs)) {
        if (servesCalls)
            QCoreApplication::sendPostedEvents(nullptr, QEvent::MetaCall);
        stop();
    }
    stop(); // drops a restart that the last steps of run() asked for
}

void AbstractVideoThread::debug(const QString& head, const QString& msg) { debug(head, msg, getVideoUrl()); }

// In UTC and from the count of microseconds: local time looks its zone file up on the disk with every call, and this is
// called several times a packet.
void AbstractVideoThread::updateTime()
{
    const qint64 now = clock.load()->microseconds() / 1000;
    if (lastTimeMs.exchange(now) == now) // the packets of a picture come at once
        return;
    const QMutexLocker lock(&mutex);
    lastTime = QDateTime::fromMSecsSinceEpoch(now, Qt::UTC);
}

qint64 AbstractVideoThread::millisecondsSinceUpdate() const
{
    return clock.load()->microseconds() / 1000 - lastTimeMs;
}

void AbstractVideoThread::checkVideoSize(int width, int height)
{
    if (width <= 0 || height <= 0 || videoWidth <= 0 || videoHeight <= 0)
        return;
    if (videoWidth == width && videoHeight == height)
        return;
    videoWidth = width;
    videoHeight = height;
    QMetaObject::invokeMethod(this, "receiveSizeChanged");
}

void AbstractVideoThread::checkPath(const QString& fileName)
{
    QString path = QFileInfo(fileName).path();
    if (path.startsWith("./"))
        path = QCoreApplication::applicationDirPath() + path.remove('.');
    QDir().mkpath(path);
}

void AbstractVideoThread::checkCameraUrl(const QString& url, QString& deviceName, QString& resolution, int& frameRate)
{
    const QStringList parts = url.split('|');
    deviceName = parts.at(0);
    if (parts.size() > 1) {
        const QString& size = parts.at(1);
        const QStringList numbers = size.split(size.contains('*') ? '*' : 'x');
        resolution = numbers.size() == 2
            ? QString("%1x%2").arg(numbers.at(0).toInt()).arg(numbers.at(1).toInt())
            : QString("0x0");
        if (parts.size() > 2)
            frameRate = parts.at(2).toInt();
    }
    if (resolution == "0x0")
        resolution = "640x480";
}

void AbstractVideoThread::debug(const QString& head, const QString& msg, const QString& url)
{
    if (!debugInfo)
        return;
    QString text = msg;
    {
        const QMutexLocker lock(&mutex);
        if (!flag.isEmpty())
            text = QString("标识[%1] %2").arg(flag, msg);
    }
    const QString what = head.isEmpty() ? text : QString("%1 -> %2").arg(head, text);
    qCInfo(lcThread).noquote() << QString("%1 地址: %2").arg(what, shownAddress(url));
}

void AbstractVideoThread::setImage(const QImage& image)
{
    updateTime();
    Q_EMIT receiveImage(image, 0);
}

void AbstractVideoThread::setYuv(quint8* dataY, quint8* dataU, quint8* dataV, int width, int height)
{
    updateTime();
    Q_EMIT receiveFrame(width, height, dataY, dataU, dataV, width, width / 2, width / 2);
}

void AbstractVideoThread::setPcm(const char* data, int len)
{
    updateTime();
    Q_EMIT receiveAudio(QByteArray(data, len));
}

void AbstractVideoThread::readMediaInfo() {}

qint64 AbstractVideoThread::getDuration() { return duration; }

qint64 AbstractVideoThread::getPosition() { return position; }

void AbstractVideoThread::setPosition(qint64 milliseconds)
{
    position = milliseconds;
    Q_EMIT receivePosition(milliseconds);
}

double AbstractVideoThread::getSpeed() { return 1.0; }

void AbstractVideoThread::setSpeed(double) {}

void AbstractVideoThread::stop2()
{
    if (readTimeout > 0 && isOk && isRunning()) {
        debug("", "重新打开");
        isOk = false;
        return;
    }
    for (QObject* ancestor = QObject::parent(); ancestor; ancestor = ancestor->parent()) {
        if (ancestor->inherits("VideoWidget")) {
            QMetaObject::invokeMethod(ancestor, "stop");
            return;
        }
    }
}

void AbstractVideoThread::play()
{
    if (isRunning())
        return;
    restartPending = false;
    stopped = false;
    isPause = false;
    isSnap = false;
    start(QThread::InheritPriority);
}

void AbstractVideoThread::stop()
{
    restartPending = false;
    if (!isRunning())
        return;
    stopped = true;
    ++stopCount;
    isPause = false;
    isSnap = false;
}

void AbstractVideoThread::pause()
{
    if (isRunning())
        isPause = true;
}

void AbstractVideoThread::next()
{
    if (isRunning())
        isPause = false;
}

void AbstractVideoThread::snap(const QString& name)
{
    if (displayCount <= 0 || !isRunning())
        return;
    setSnapName(name);
    checkPath(name);
    snapWritten = false;
    isSnap = true; // last: the worker may act on it at once
}

void AbstractVideoThread::snapFinsh()
{
    QString name = getSnapName();
    const QImage image(name);
    if (name.endsWith(".png")) {
        QFile::remove(name);
        name.replace(".png", ".jpg");
        setSnapName(name);
        image.save(name, "jpg");
    }
    isSnap = false;
    snapWritten = false;
    if (snapPreview)
        Q_EMIT snapImage(image, name);
}

void AbstractVideoThread::forgetSnapName()
{
    if (!snapWritten)
        setSnapName("");
}

void AbstractVideoThread::announceAudioFormat(int rate, int channels, int size)
{
    {
        const QMutexLocker lock(&mutex);
        audioFormat = {rate, channels, size};
    }
    Q_EMIT receiveAudioFormat(rate, channels, size);
}

void AbstractVideoThread::restart()
{
    restartPending = true;
    QMetaObject::invokeMethod(this, [this] { startAgain(); }, Qt::QueuedConnection);
}

void AbstractVideoThread::startAgain()
{
    // A stop() or a play() may have come first; what runs now then isn't ours to wait for.
    if (!restartPending)
        return;
    // The request may arrive while run() is still returning, and start() would ignore a thread that is running.
    wait();
    if (restartPending.exchange(false))
        start(QThread::InheritPriority);
}
