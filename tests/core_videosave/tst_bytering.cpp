#include "core_videosave/bytering.h"

#include <QTest>

#include <deque>
#include <random>
#include <thread>
#include <vector>

namespace {
constexpr unsigned seed = 20240229;

using Bytes = std::vector<std::uint8_t>;

Bytes numbered(std::size_t count, std::uint8_t& next)
{
    Bytes bytes(count);
    for (std::uint8_t& byte : bytes)
        byte = next++;
    return bytes;
}
} // namespace

class TestByteRing : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void capacity_isAPowerOfTwo_data()
    {
        QTest::addColumn<quint32>("asked");
        QTest::addColumn<quint32>("given");
        QTest::newRow("none") << 0U << 2U;
        QTest::newRow("one") << 1U << 2U;
        QTest::newRow("a power") << 4096U << 4096U;
        QTest::newRow("another number") << 4097U << 8192U;
        QTest::newRow("the recorder's") << 16777216U << 16777216U;
    }

    void capacity_isAPowerOfTwo()
    {
        QFETCH(quint32, asked);
        const ByteRing ring(asked);
        QVERIFY(ring.isValid());
        QTEST(ring.capacity(), "given");
        QCOMPARE(ring.free(), ring.capacity());
        QCOMPARE(ring.used(), 0U);
    }

    void write_takesNoMoreThanThereIsRoomFor()
    {
        ByteRing ring(8);
        std::uint8_t next = 0;
        QCOMPARE(ring.write(numbered(5, next).data(), 5), 5U);
        QCOMPARE(ring.write(numbered(5, next).data(), 5), 3U);
        QCOMPARE(ring.write(numbered(1, next).data(), 1), 0U);
        QCOMPARE(ring.free(), 0U);
        Bytes taken(10);
        QCOMPARE(ring.read(taken.data(), 10), 8U);
        QCOMPARE(taken, (Bytes{0, 1, 2, 3, 4, 5, 6, 7, 0, 0}));
        QCOMPARE(ring.read(taken.data(), 1), 0U);
    }

    void ring_givesWhatAPlainQueueGives_whateverTheSizes()
    {
        ByteRing ring(64);
        std::deque<std::uint8_t> queue;
        std::mt19937 random(seed);
        std::uniform_int_distribution<std::uint32_t> sizes(0, 40);
        std::uint8_t next = 0;
        for (int operation = 0; operation < 10000000; ++operation) {
            const std::uint32_t size = sizes(random);
            if (random() & 1U) {
                const Bytes bytes = numbered(size, next);
                const std::uint32_t expected
                    = std::min<std::uint32_t>(size, 64 - static_cast<std::uint32_t>(queue.size()));
                if (ring.write(bytes.data(), size) != expected)
                    QFAIL(qPrintable(QString("write %1, seed %2").arg(operation).arg(seed)));
                queue.insert(queue.end(), bytes.begin(), bytes.begin() + expected);
            } else {
                Bytes bytes(size);
                const std::uint32_t expected = std::min<std::uint32_t>(size, static_cast<std::uint32_t>(queue.size()));
                const bool isRight = ring.read(bytes.data(), size) == expected
                    && std::equal(queue.begin(), queue.begin() + expected, bytes.begin());
                if (!isRight)
                    QFAIL(qPrintable(QString("read %1, seed %2").arg(operation).arg(seed)));
                queue.erase(queue.begin(), queue.begin() + expected);
            }
            if (ring.used() != queue.size() || ring.free() != 64 - queue.size())
                QFAIL(qPrintable(QString("counts %1, seed %2").arg(operation).arg(seed)));
        }
    }

    void ring_keepsOrder_betweenTwoThreads()
    {
        constexpr std::uint32_t total = 4000000;
        ByteRing ring(256);
        std::thread producer([&] {
            std::uint8_t next = 0;
            for (std::uint32_t done = 0; done < total;) {
                const Bytes bytes = numbered(std::min<std::uint32_t>(37, total - done), next);
                std::uint32_t taken = 0;
                {
                    const std::lock_guard<ByteRing> lock(ring);
                    taken = ring.write(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
                }
                next = static_cast<std::uint8_t>(next - (bytes.size() - taken));
                done += taken;
                if (taken == 0)
                    std::this_thread::yield();
            }
        });
        std::uint8_t expected = 0;
        std::uint32_t wrong = 0;
        for (std::uint32_t done = 0; done < total;) {
            Bytes bytes(53);
            std::uint32_t taken = 0;
            {
                const std::lock_guard<ByteRing> lock(ring);
                taken = ring.read(bytes.data(), 53);
            }
            for (std::uint32_t n = 0; n < taken; ++n)
                wrong += bytes[n] == expected++ ? 0 : 1;
            done += taken;
            if (taken == 0)
                std::this_thread::yield();
        }
        producer.join();
        QCOMPARE(wrong, 0U);
        QCOMPARE(ring.used(), 0U);
    }
};

QTEST_GUILESS_MAIN(TestByteRing)

#include "tst_bytering.moc"
