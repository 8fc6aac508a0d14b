#include "support/threadlog.h"

#include "support/testpicture.h"

#include <QFileInfo>

#include <algorithm>

namespace {

using Lock = std::lock_guard<std::mutex>;

bool beginsWithOneOf(const QString& line, const QStringList& beginnings)
{
    return std::any_of(beginnings.cbegin(), beginnings.cend(),
                       [&](const QString& beginning) { return line.startsWith(beginning); });
}

QString sized(const QString& kind, int width, int height)
{
    return QString("%1 %2x%3").arg(kind).arg(width).arg(height);
}

} // namespace

ThreadLog::ThreadLog(AbstractVideoThread* thread)
{
    using Thread = AbstractVideoThread;
    const auto on = [&](auto signal, auto slot) { connect(thread, signal, this, slot, Qt::DirectConnection); };
    on(&Thread::receivePlayStart, [this](int time) { note(QString("start %1").arg(time)); });
    on(&Thread::receivePlayFinsh, [this, thread](QObject* sender) {
        checkPlanes();
        note(sender == thread ? "finish" : "finish of another");
    });
    on(&Thread::receiveImage, [this](const QImage& image, int time) {
        seePicture(time == 0 ? "image" : "late image", image.width(), image.height(), TestPicture::number(image));
    });
    on(&Thread::receiveSizeChanged,
       [this, thread] { note(sized("size", thread->getVideoWidth(), thread->getVideoHeight())); });
    on(&Thread::receiveCodecChanged, [this] { note("codec changed"); });
    on(qOverload<int, int, quint8*, quint8*, quint8*, quint32, quint32, quint32>(&Thread::receiveFrame),
       [this](int width, int height, quint8* y, quint8* u, quint8* v, quint32 lineY, quint32 lineU, quint32 lineV) {
           checkPlanes();
           const int rows = (height + 1) / 2;
           keepPlanes({y, u, v}, {int(lineY) * height, int(lineU) * rows, int(lineV) * rows});
           seePicture("i420", width, height, TestPicture::number(y, width, height, int(lineY)));
       });
    on(qOverload<int, int, quint8*, quint8*, quint32, quint32>(&Thread::receiveFrame),
       [this](int width, int height, quint8* y, quint8* uv, quint32 lineY, quint32 lineUv) {
           checkPlanes();
           keepPlanes({y, uv}, {int(lineY) * height, int(lineUv) * ((height + 1) / 2)});
           seePicture("nv12", width, height, TestPicture::number(y, width, height, int(lineY)));
       });
    on(qOverload<int, int, quint8*, bool>(&Thread::receiveFrame), [this](int width, int height, quint8*, bool isNew) {
        note(sized("surface", width, height) + (isNew ? " new" : ""));
    });
    on(qOverload<int, int, quint8*, int, bool>(&Thread::receiveFrame),
       [this](int width, int height, quint8*, int index, bool isNew) {
           note(QString("%1 %2%3").arg(sized("texture", width, height)).arg(index).arg(isNew ? " new" : ""));
       });
    on(&Thread::receiveAudioFormat, [this](int rate, int channels, int bits) {
        note(QString("format %1 %2 %3").arg(rate).arg(channels).arg(bits));
    });
    on(&Thread::receiveAudio, [this](const QByteArray& samples) {
        {
            const Lock lock(mutex);
            heard.insert(heard.end(), samples.cbegin(), samples.cend());
        }
        note(QString("sound %1").arg(samples.size()));
    });
    on(&Thread::sig_decoderDestroyed, [this] {
        checkPlanes();
        kept.clear();
        note("decoder destroyed");
    });
    on(&Thread::sig_connExceedMax, [this] { note("exceed max"); });
    on(&Thread::sig_otherError, [this] { note("other error"); });
    on(&Thread::recorderStateChanged, [this](const RecorderState& state, const QString& file) {
        note(QString("state %1 %2").arg(int(state)).arg(QFileInfo(file).fileName()));
    });
}

void ThreadLog::note(const QString& line)
{
    {
        const Lock lock(mutex);
        notes.push_back(line);
    }
    if (onLine)
        onLine(line);
}

void ThreadLog::seePicture(const QString& kind, int width, int height, int number)
{
    {
        const Lock lock(mutex);
        seenNumbers.push_back(number);
    }
    note(kind == "image" ? QString("image %1").arg(number)
                         : QString("%1 %2").arg(sized(kind, width, height)).arg(number));
}

void ThreadLog::keepPlanes(const std::vector<const quint8*>& planes, const std::vector<int>& sizes)
{
    kept.clear();
    for (std::size_t i = 0; i < planes.size(); ++i)
        kept.emplace_back(planes[i], sizes[i]);
    keptSum = 0;
    for (const auto& plane : kept)
        keptSum ^= qChecksum(reinterpret_cast<const char*>(plane.first), uint(plane.second));
}

void ThreadLog::checkPlanes()
{
    quint16 sum = 0;
    for (const auto& plane : kept)
        sum ^= qChecksum(reinterpret_cast<const char*>(plane.first), uint(plane.second));
    if (!kept.empty() && sum != keptSum)
        ++damaged;
}

QStringList ThreadLog::lines() const
{
    const Lock lock(mutex);
    return {notes.cbegin(), notes.cend()};
}

QStringList ThreadLog::only(const QStringList& beginnings) const
{
    QStringList result;
    for (const QString& line : lines()) {
        if (beginsWithOneOf(line, beginnings))
            result << line;
    }
    return result;
}

QStringList ThreadLog::without(const QStringList& beginnings) const
{
    QStringList result;
    for (const QString& line : lines()) {
        if (!beginsWithOneOf(line, beginnings))
            result << line;
    }
    return result;
}

int ThreadLog::count(const QString& beginning) const { return only({beginning}).size(); }

void ThreadLog::clear()
{
    const Lock lock(mutex);
    notes.clear();
    seenNumbers.clear();
    heard.clear();
}

QVector<int> ThreadLog::numbers() const
{
    const Lock lock(mutex);
    return {seenNumbers.cbegin(), seenNumbers.cend()};
}

QByteArray ThreadLog::sound() const
{
    const Lock lock(mutex);
    return QByteArray(heard.data(), static_cast<int>(heard.size()));
}

int ThreadLog::damagedPlanes() const { return damaged; }
