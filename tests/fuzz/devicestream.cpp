// What a device sends, live and from its recordings: decoded, shown and recorded by the threads of both families.

#include "core_live/xmbelivethread.h"
#include "core_live/xrtalivethread.h"
#include "core_vod/xrtavodthread.h"
#include "fuzz/inputdevice.h"
#include "support/simulatedclock.h"

#include <QDir>
#include <QObject>

namespace {
using Thread = AbstractVideoThread;

enum Option {
    Displayed = 1,
    Image = 2,
    Opengl = 4,
    Recorded = 8,
    RecordedTwice = 16,
    WithSound = 32,
    Snapped = 64,
    CutByTime = 128
};

std::uint8_t sum; // of what a display would have read

void touch(const quint8* data, qint64 size)
{
    for (qint64 i = 0; i < size; ++i)
        sum = std::uint8_t(sum + data[i]);
}

/// As a renderer uploads it: every row as wide as the picture.
void touchPlane(const quint8* plane, int width, int height, quint32 linesize)
{
    for (int y = 0; y < height; ++y)
        touch(plane + qint64(y) * linesize, width);
}

void showI420(int width, int height, quint8* y, quint8* u, quint8* v, quint32 lineY, quint32 lineU, quint32 lineV)
{
    touchPlane(y, width, height, lineY);
    touchPlane(u, width / 2, height / 2, lineU);
    touchPlane(v, width / 2, height / 2, lineV);
}

void show(Thread* thread)
{
    const auto here = Qt::DirectConnection;
    QObject::connect(
        thread, &Thread::receiveImage, thread,
        [](const QImage& image) { touch(image.constBits(), image.sizeInBytes()); }, here);
    QObject::connect(
        thread, &Thread::receiveAudio, thread,
        [](const QByteArray& data) { touch(reinterpret_cast<const quint8*>(data.constData()), data.size()); }, here);
    QObject::connect(
        thread, QOverload<int, int, quint8*, quint8*, quint8*, quint32, quint32, quint32>::of(&Thread::receiveFrame),
        thread, &showI420, here);
}

void record(Thread* thread, Thread::RecordType type, int options)
{
    thread->setSavePath(type, fuzzFolder() + "/recordings");
    thread->setSaveAudio(type, options & WithSound);
    thread->setSaveInterval(type, options & CutByTime ? 1 : -1);
    thread->recordStart(type);
}

void setUp(Thread* thread, int options)
{
    show(thread);
    thread->previewRef() = options & Displayed ? 1 : 0;
    thread->setVideoMode(options & Image ? VideoMode_Image : options & Opengl ? VideoMode_Opengl : VideoMode_Hwnd);
    if (options & Recorded)
        record(thread, Thread::MANUAL_RECORD, options);
    if (options & RecordedTwice)
        record(thread, Thread::AUTO_RECORD, options);
}

template <typename DeviceThread>
void play(FuzzInput& input)
{
    const int options = input.byte();
    SimulatedClock clock;
    clock.setLookDuration(10000); // files are cut by time without waiting for it
    DeviceThread thread;
    const QSharedPointer<InputDevice> device(new InputDevice(input, [&thread] { thread.stop(); }));
    thread.setClock(&clock);
    thread.setStreamChannel(0, 0);
    thread.bindDevice(device);
    setUp(&thread, options);
    if (options & Snapped) {
        device->setOnCall([&thread](const QString& line) {
            if (line.startsWith("getCodecInfo"))
                thread.snap(fuzzFolder() + "/snapshot.jpg");
        });
    }
    thread.play();
    thread.wait();
    if (options & (Recorded | RecordedTwice))
        QDir(fuzzFolder() + "/recordings").removeRecursively();
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzInput input(data, size);
    if (input.byte() % 2)
        play<XRTALiveThread>(input);
    else
        play<XMBELiveThread>(input);
    return 0;
}
