// A damaged file in the thread that plays files: demultiplexed, decoded, turned, converted and recorded.

#include "core_video/ffmpegvideothread.h"
#include "fuzz/fuzzing.h"
#include "support/simulatedclock.h"

#include <QDir>
#include <QFile>

namespace {
constexpr int mostPictures = 60;
constexpr qint64 smallPixels = 256 * 256; // one with more counts as several

constexpr int mostOpens = 3;
constexpr unsigned long longestMs = 5000;

enum Option { Image = 1, Paced = 2, Recorded = 4, FastStart = 8 };

std::uint8_t sum; // of what a display would have read

/// The ends of every row.
void touchRows(const quint8* plane, int width, int height, quint32 linesize)
{
    for (int y = 0; y < height && width > 0; ++y) {
        const quint8* row = plane + qint64(y) * linesize;
        sum = std::uint8_t(sum + row[0] + row[width - 1]);
    }
}

/// What can't be opened is tried again and again, and so is what changes its encoding.
class FileThread final : public FFmpegVideoThread
{
protected:
    void checkOpen() override
    {
        if (++opens >= mostOpens)
            stop();
        FFmpegVideoThread::checkOpen();
    }

private:
    int opens = 0;
};

/// Reads every picture as a renderer does, and stops the thread after many.
void show(FFmpegVideoThread& thread, int& pictures)
{
    using Thread = AbstractVideoThread;
    const auto count = [&thread, &pictures](qint64 pixels) {
        pictures += 1 + int(qMin<qint64>(pixels / smallPixels, mostPictures));
        if (pictures >= mostPictures)
            thread.stop();
    };
    QObject::connect(
        &thread, &Thread::receiveImage, &thread,
        [count](const QImage& image) {
            touchRows(image.constBits(), image.bytesPerLine(), image.height(), quint32(image.bytesPerLine()));
            count(qint64(image.width()) * image.height());
        },
        Qt::DirectConnection);
    QObject::connect(
        &thread, QOverload<int, int, quint8*, quint8*, quint8*, quint32, quint32, quint32>::of(&Thread::receiveFrame),
        &thread,
        [count](int width, int height, quint8* y, quint8* u, quint8* v, quint32 lineY, quint32 lineU, quint32 lineV) {
            touchRows(y, width, height, lineY);
            touchRows(u, width / 2, height / 2, lineU);
            touchRows(v, width / 2, height / 2, lineV);
            count(qint64(width) * height);
        },
        Qt::DirectConnection);
    QObject::connect(
        &thread, &Thread::receiveAudio, &thread, [count](const QByteArray&) { count(0); }, Qt::DirectConnection);
}

void play(const QString& name, int options)
{
    SimulatedClock clock;
    FileThread thread;
    int pictures = 0;
    show(thread, pictures);
    thread.setClock(&clock);
    thread.setVideoUrl(name);
    thread.setAddressTest(false);
    thread.setPaced(options & Paced);
    thread.setFastStart(options & FastStart);
    thread.setVideoMode(options & Image ? VideoMode_Image : VideoMode_Opengl);
    thread.previewRef() = 1;
    if (options & Recorded) {
        thread.setSavePath(AbstractVideoThread::MANUAL_RECORD, fuzzFolder() + "/recordings");
        thread.setSaveAudio(AbstractVideoThread::MANUAL_RECORD, true);
        thread.recordStart(AbstractVideoThread::MANUAL_RECORD);
    }
    thread.play();
    thread.wait(longestMs);
    thread.stopAndWait();
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzInput input(data, size);
    const int options = input.byte();
    const QString name = fuzzFolder() + "/clip";
    QFile file(name);
    const QByteArray content = input.rest();
    require(file.open(QIODevice::WriteOnly) && file.write(content) == content.size(), "the file is written");
    file.close();
    play(name, options);
    QDir(fuzzFolder() + "/recordings").removeRecursively();
    return 0;
}
