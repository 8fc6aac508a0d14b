#include "devnet/framequeue.h"

#include <QElapsedTimer>
#include <QtTest>

#include <atomic>
#include <random>
#include <thread>

namespace {

constexpr int waitMs = 5000;

EncodedFrame frame(std::uint32_t type, int number, int size = 100)
{
    EncodedFrame result;
    result.header.frameType = type;
    result.header.timestamp = static_cast<std::uint64_t>(number);
    result.payload = QByteArray(size, 'x');
    return result;
}

EncodedFrame key(int number, int size = 100) { return frame(XFrameHeader::VideoKeyFrame, number, size); }
EncodedFrame other(int number, int size = 100) { return frame(1, number, size); }
EncodedFrame sound(int number, int size = 100) { return frame(XFrameHeader::AudioFrame, number, size); }

int numberOf(const EncodedFrame& frame) { return static_cast<int>(frame.header.timestamp); }

/// The numbers of all frames that are in @p queue, which is empty afterwards.
QVector<int> takeAll(FrameQueue& queue)
{
    QVector<int> numbers;
    while (const auto next = queue.pop(0))
        numbers.append(numberOf(*next));
    return numbers;
}

} // namespace

class FrameQueueTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pop_keepsTheOrder();
    void pop_waitsItsTime_whenThereIsNothing();
    void pop_doesNotWait_whenTimeoutIsZeroOrLess();
    void pop_returnsAtOnce_whenAFrameComes();
    void push_dropsWhatComesBeforeTheFirstKeyFrame();
    void push_dropsTheOldestGroup_whenThereAreTooManyFrames();
    void push_dropsTheOldestGroup_whenThereAreTooManyBytes();
    void push_dropsSoundOfTheOldestGroup();
    void push_dropsTheRestOfAGroupThatWasBegun();
    void push_dropsAGroupThatIsAlone_withAllThatFollowsOfIt();
    void push_keepsTheNewestSound_whenThereIsNoVideo();
    void push_refusesALargeFrame_andTheRestOfItsGroup();
    void push_acceptsTheLargestFrame();
    void clear_asksForAKeyFrame();
    void popped_canAlwaysBeDecoded_data();
    void popped_canAlwaysBeDecoded();
    void popped_canAlwaysBeDecoded_whenReadAtTheSameTime();
};

void FrameQueueTest::pop_keepsTheOrder()
{
    FrameQueue queue;
    queue.push(sound(1));
    queue.push(key(2));
    queue.push(sound(3));
    queue.push(other(4));
    QCOMPARE(takeAll(queue), (QVector<int>{1, 2, 3, 4}));
}

void FrameQueueTest::pop_waitsItsTime_whenThereIsNothing()
{
    FrameQueue queue;
    QElapsedTimer timer;
    timer.start();
    QVERIFY(!queue.pop(150));
    QVERIFY2(timer.elapsed() >= 149 && timer.elapsed() < 1000, qPrintable(QString::number(timer.elapsed())));
}

void FrameQueueTest::pop_doesNotWait_whenTimeoutIsZeroOrLess()
{
    FrameQueue queue;
    QElapsedTimer timer;
    timer.start();
    QVERIFY(!queue.pop(0));
    QVERIFY(!queue.pop(-5));
    QVERIFY(timer.elapsed() < 100);
    queue.push(key(1));
    QVERIFY(queue.pop(0));
}

void FrameQueueTest::pop_returnsAtOnce_whenAFrameComes()
{
    FrameQueue queue;
    std::thread pusher([&queue] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        queue.push(key(1));
    });
    QElapsedTimer timer;
    timer.start();
    const auto first = queue.pop(waitMs);
    pusher.join();
    QVERIFY(first);
    QVERIFY(timer.elapsed() < waitMs / 2);
}

void FrameQueueTest::push_dropsWhatComesBeforeTheFirstKeyFrame()
{
    FrameQueue queue;
    queue.push(other(1));
    queue.push(sound(2));
    queue.push(other(3));
    queue.push(key(4));
    queue.push(other(5));
    QCOMPARE(takeAll(queue), (QVector<int>{2, 4, 5}));
}

void FrameQueueTest::push_dropsTheOldestGroup_whenThereAreTooManyFrames()
{
    FrameQueue queue({5, 1000000});
    for (int group = 0; group < 3; ++group) {
        queue.push(key(group * 10));
        queue.push(other(group * 10 + 1));
    }
    QCOMPARE(takeAll(queue), (QVector<int>{10, 11, 20, 21}));
}

void FrameQueueTest::push_dropsTheOldestGroup_whenThereAreTooManyBytes()
{
    FrameQueue queue({100, 1000});
    queue.push(key(1, 400));
    queue.push(other(2, 200));
    queue.push(key(3, 400));
    QCOMPARE(takeAll(queue), (QVector<int>{1, 2, 3}));
    queue.push(key(4, 400));
    queue.push(other(5, 200));
    queue.push(key(6, 401));
    QCOMPARE(takeAll(queue), (QVector<int>{6}));
}

void FrameQueueTest::push_dropsSoundOfTheOldestGroup()
{
    FrameQueue queue({4, 1000000});
    queue.push(key(1));
    queue.push(sound(2));
    queue.push(other(3));
    queue.push(key(4));
    queue.push(sound(5));
    QCOMPARE(takeAll(queue), (QVector<int>{4, 5}));
}

void FrameQueueTest::push_dropsTheRestOfAGroupThatWasBegun()
{
    FrameQueue queue({4, 1000000});
    for (int number = 1; number <= 4; ++number)
        queue.push(number == 1 ? key(1) : other(number));
    QCOMPARE(numberOf(*queue.pop(0)), 1);
    QCOMPARE(numberOf(*queue.pop(0)), 2);
    queue.push(key(10));
    queue.push(other(11));
    queue.push(other(12));
    QCOMPARE(takeAll(queue), (QVector<int>{10, 11, 12}));
}

void FrameQueueTest::push_dropsAGroupThatIsAlone_withAllThatFollowsOfIt()
{
    FrameQueue queue({4, 1000000});
    queue.push(key(1));
    queue.push(sound(2));
    for (int number = 3; number <= 5; ++number)
        queue.push(other(number));
    queue.push(other(6));
    queue.push(sound(7));
    queue.push(key(8));
    QCOMPARE(takeAll(queue), (QVector<int>{2, 7, 8}));
}

void FrameQueueTest::push_keepsTheNewestSound_whenThereIsNoVideo()
{
    FrameQueue queue({3, 1000000});
    for (int number = 1; number <= 5; ++number)
        queue.push(sound(number));
    QCOMPARE(takeAll(queue), (QVector<int>{3, 4, 5}));
}

void FrameQueueTest::push_refusesALargeFrame_andTheRestOfItsGroup()
{
    FrameQueue queue;
    constexpr int tooLarge = XFrameHeader::largestPayload + 1;
    QVERIFY(queue.push(key(1)));
    QVERIFY(!queue.push(other(2, tooLarge)));
    QVERIFY(queue.push(other(3)));
    QVERIFY(!queue.push(key(4, tooLarge)));
    QVERIFY(queue.push(other(5)));
    QVERIFY(!queue.push(sound(6, tooLarge)));
    QVERIFY(queue.push(key(7)));
    QVERIFY(!queue.push(sound(8, tooLarge)));
    QVERIFY(queue.push(other(9)));
    QCOMPARE(takeAll(queue), (QVector<int>{1, 7, 9}));
}

void FrameQueueTest::push_acceptsTheLargestFrame()
{
    FrameQueue queue;
    QVERIFY(queue.push(key(1, XFrameHeader::largestPayload)));
    const auto largest = queue.pop(0);
    QVERIFY(largest);
    std::vector<char> buffer(XFrameHeader::bufferSize);
    auto* const header = reinterpret_cast<XFrameHeader*>(buffer.data());
    largest->copyTo(header);
    QCOMPARE(header->timestamp, std::uint64_t(1));
    QCOMPARE(buffer.back(), 'x');
}

void FrameQueueTest::clear_asksForAKeyFrame()
{
    FrameQueue queue;
    queue.push(key(1));
    queue.clear();
    queue.push(other(2));
    QVERIFY(!queue.pop(0));
    queue.push(key(3));
    QCOMPARE(takeAll(queue), (QVector<int>{3}));
}

namespace {

/// Video frames are numbered without a gap; each knows whether it is a key frame.
class Producer
{
public:
    explicit Producer(unsigned seed)
        : random(seed)
    {
    }

    EncodedFrame next()
    {
        if (chance(3))
            return sound(-1, size());
        ++number;
        return chance(12) ? key(number, size()) : other(number, size());
    }

    bool chance(int oneIn) { return std::uniform_int_distribution<>(1, oneIn)(random) == 1; }

private:
    int size() { return chance(20) ? 5000 : std::uniform_int_distribution<>(1, 400)(random); }

    std::mt19937 random;
    int number = 0;
};

/// Takes frames as a decoder does that can use a frame only after the one before it.
class Judge
{
public:
    bool accepts(const EncodedFrame& next)
    {
        if (next.isAudio())
            return true;
        const bool good = numberOf(next) > last && (next.isKey() || numberOf(next) == last + 1);
        last = numberOf(next);
        ++pictures;
        return good;
    }

    int pictures = 0;

private:
    int last = 0;
};

} // namespace

void FrameQueueTest::popped_canAlwaysBeDecoded_data()
{
    QTest::addColumn<unsigned>("seed");
    QTest::addColumn<int>("frames");
    QTest::addColumn<int>("bytes");
    for (unsigned seed = 1; seed <= 10; ++seed) {
        QTest::addRow("few frames, seed %u", seed) << seed << 20 << 1000000;
        QTest::addRow("few bytes, seed %u", seed) << seed << 1000 << 6000;
    }
}

void FrameQueueTest::popped_canAlwaysBeDecoded()
{
    QFETCH(unsigned, seed);
    QFETCH(int, frames);
    QFETCH(int, bytes);
    FrameQueue queue({static_cast<std::size_t>(frames), bytes});
    Producer producer(seed);
    Judge judge;
    for (int i = 0; i < 20000; ++i) {
        queue.push(producer.next());
        if (producer.chance(200))
            queue.clear();
        while (producer.chance(2)) {
            if (const auto next = queue.pop(0))
                QVERIFY(judge.accepts(*next));
        }
        if (producer.chance(500)) {
            int count = 0;
            qint64 sum = 0;
            while (const auto next = queue.pop(0)) {
                QVERIFY(judge.accepts(*next));
                ++count;
                sum += next->payload.size();
            }
            QVERIFY(count <= frames && sum <= bytes);
        }
    }
    QVERIFY2(judge.pictures > 500, qPrintable(QString::number(judge.pictures)));
}

void FrameQueueTest::popped_canAlwaysBeDecoded_whenReadAtTheSameTime()
{
    FrameQueue queue({16, 5000});
    std::atomic<bool> done{false};
    std::thread pusher([&] {
        Producer producer(77);
        while (!done) {
            queue.push(producer.next());
            std::this_thread::sleep_for(std::chrono::microseconds(20));
        }
    });
    Judge judge;
    bool good = true;
    QElapsedTimer timer;
    timer.start();
    while (good && judge.pictures < 1000 && timer.elapsed() < 4 * waitMs) {
        if (const auto next = queue.pop(1))
            good = judge.accepts(*next);
    }
    done = true;
    pusher.join();
    QVERIFY(good);
    QCOMPARE(judge.pictures, 1000);
}

QTEST_GUILESS_MAIN(FrameQueueTest)
#include "tst_framequeue.moc"
