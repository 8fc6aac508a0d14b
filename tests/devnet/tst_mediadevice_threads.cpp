#include "devicereader.h"
#include "devnet/mediadevice.h"
#include "support/clips.h"
#include "support/messageguard.h"
#include "support/resourcecount.h"

#include <QtTest>

#include <atomic>
#include <memory>
#include <random>
#include <thread>
#include <vector>

namespace {

constexpr int threadCount = 4;
constexpr int callsPerThread = 125;
constexpr int limit = 5;

MediaDeviceConfig mixedDevice()
{
    MediaDeviceConfig config;
    config.maxStreams = limit;
    config.channels = {{"A", {"test:64x64@25", "test:64x64@25,h265"}},
                       {"B", {Clips::h264AacMp4(), Clips::h265Mkv()}},
                       {"C", {"/nowhere/clip.mp4", "rtsp://10.255.255.1/stream"}}};
    return config;
}

/// Makes calls of all kinds on streams of all kinds, and counts answers that there can't be.
class Caller
{
public:
    Caller(MediaDevice& toCall, unsigned seed, std::atomic<int>& wrongAnswers)
        : device(toCall)
        , random(seed)
        , wrong(wrongAnswers)
        , buffer(XFrameHeader::bufferSize)
    {
    }

    void run()
    {
        for (int i = 0; i < callsPerThread; ++i)
            callAny();
    }

private:
    int upTo(int highest) { return std::uniform_int_distribution<>(0, highest)(random); }

    void expect(bool holds) { wrong += holds ? 0 : 1; }

    void callAny()
    {
        const int channel = upTo(2);
        const int stream = upTo(1);
        switch (upTo(6)) {
        case 0:
        case 1:
            enable(channel, stream);
            break;
        case 2:
            expect(device.enableMediaTransmit(channel, stream, false) == XRet::Ok);
            break;
        case 3:
            device.requestVideoIFrame(channel, stream);
            device.getStreamStatus(channel, stream);
            break;
        case 4:
            exchangeCodecInfo(channel, stream);
            break;
        default:
            read(channel, stream);
        }
    }

    void enable(int channel, int stream)
    {
        const XRetError result = device.enableMediaTransmit(channel, stream, true);
        expect(result == XRet::Ok || result == XRet::AlreadyEnabled || result == XRet::TooManyConnections);
    }

    void exchangeCodecInfo(int channel, int stream)
    {
        XVideoEncPara video;
        XAudioEncPara audio;
        expect(device.getCodecInfo(channel, stream, video, audio) == XRet::Ok);
        expect(device.setCodecInfo(channel, stream, video, audio) == XRet::Ok);
    }

    void read(int channel, int stream)
    {
        auto* const header = reinterpret_cast<XFrameHeader*>(buffer.data());
        const XRetError result = device.readFrame(channel, stream, header, upTo(30));
        expect(result == XRet::Ok || result == XRet::Timeout);
        if (result == XRet::Ok)
            expect(header->length <= XFrameHeader::largestPayload && header->reserved0 == 0x12345678);
    }

    MediaDevice& device;
    std::mt19937 random;
    std::atomic<int>& wrong;
    std::vector<char> buffer;
};

} // namespace

/// A device that several threads use at once; most telling under ThreadSanitizer and AddressSanitizer.
class MediaDeviceThreadsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { guard.reset(new MessageGuard); }
    void cleanup() { VERIFY_NO_UNEXPECTED_MESSAGES(*guard); }

    void calls_areSafe_fromManyThreads();
    void limit_holds_whenManyThreadsEnable();
    void stream_startsOnce_whenManyThreadsEnableIt();
    void frames_goToOneReaderEach();
    void encoders_openAtTheSameTime();

private:
    std::unique_ptr<MessageGuard> guard;
};

void MediaDeviceThreadsTest::calls_areSafe_fromManyThreads()
{
    guard->allow("is lost, and tried again: ");
    const ResourceCount before = ResourceCount::now();
    std::atomic<int> wrong{0};
    {
        MediaDevice device(mixedDevice());
        std::vector<std::thread> threads;
        for (unsigned seed = 1; seed <= threadCount; ++seed)
            threads.emplace_back([&device, &wrong, seed] { Caller(device, seed, wrong).run(); });
        for (std::thread& thread : threads)
            thread.join();
    }
    QCOMPARE(wrong.load(), 0);
    QVERIFY(ResourceCount::waitUntilNotAbove(before));
}

void MediaDeviceThreadsTest::limit_holds_whenManyThreadsEnable()
{
    MediaDeviceConfig config;
    config.maxStreams = 3;
    config.channels = {MediaDeviceConfig::Channel()};
    for (int stream = 0; stream < 8; ++stream)
        config.channels.first().sources.append("test:64x64@5");
    for (int round = 0; round < 5; ++round) {
        MediaDevice device(config);
        std::atomic<int> on{0};
        std::atomic<int> refused{0};
        std::vector<std::thread> threads;
        for (int stream = 0; stream < 8; ++stream) {
            threads.emplace_back([&, stream] {
                const XRetError result = device.enableMediaTransmit(0, stream, true);
                on += result == XRet::Ok;
                refused += result == XRet::TooManyConnections;
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        QCOMPARE(on.load(), 3);
        QCOMPARE(refused.load(), 5);
    }
}

void MediaDeviceThreadsTest::stream_startsOnce_whenManyThreadsEnableIt()
{
    MediaDeviceConfig config;
    config.channels.append(MediaDeviceConfig::Channel{QString(), {"test:64x64@25"}});
    MediaDevice device(config);
    for (int round = 0; round < 10; ++round) {
        std::atomic<int> started{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < threadCount; ++i)
            threads.emplace_back([&] { started += device.enableMediaTransmit(0, 0, true) == XRet::Ok; });
        for (std::thread& thread : threads)
            thread.join();
        QCOMPARE(started.load(), 1);
        QCOMPARE(device.enableMediaTransmit(0, 0, false), XRet::Ok);
    }
}

void MediaDeviceThreadsTest::frames_goToOneReaderEach()
{
    MediaDeviceConfig config;
    config.channels.append(MediaDeviceConfig::Channel{QString(), {"test:64x64@50,silent"}});
    MediaDevice device(config);
    QCOMPARE(device.enableMediaTransmit(0, 0, true), XRet::Ok);
    ReadFrames other;
    std::thread reader([&] { other = DeviceReader::read(device, 0, 0, 2000); });
    const ReadFrames own = DeviceReader::read(device, 0, 0, 2000);
    reader.join();
    QSet<quint64> times;
    for (const ReadFrame& frame : own + other)
        times.insert(frame.header.timestamp);
    QCOMPARE(times.size(), own.size() + other.size());
    QVERIFY2(times.size() > 60, qPrintable(QString::number(times.size())));
}

void MediaDeviceThreadsTest::encoders_openAtTheSameTime()
{
    MediaDeviceConfig config;
    for (int channel = 0; channel < 6; ++channel)
        config.channels.append(
            MediaDeviceConfig::Channel{QString(), {channel % 2 == 0 ? "test:96x64@10,h265" : "test:96x64@10"}});
    MediaDevice device(config);
    for (int round = 0; round < 3; ++round) {
        for (int channel = 0; channel < 6; ++channel)
            QCOMPARE(device.enableMediaTransmit(channel, 0, true), XRet::Ok);
        for (int channel = 0; channel < 6; ++channel)
            QVERIFY(DeviceReader::video(DeviceReader::readVideo(device, channel, 0, 2)).first().isKey());
        for (int channel = 0; channel < 6; ++channel)
            QCOMPARE(device.enableMediaTransmit(channel, 0, false), XRet::Ok);
    }
}

QTEST_GUILESS_MAIN(MediaDeviceThreadsTest)
#include "tst_mediadevice_threads.moc"
