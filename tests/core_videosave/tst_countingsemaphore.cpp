#include "core_videosave/countingsemaphore.h"

#include <QElapsedTimer>
#include <QTest>

#include <atomic>
#include <thread>
#include <vector>

namespace {
// How long a waiter with a rest of 300 ms sleeps at least. Windows' own semaphore knows no rest.
#ifdef _WIN32
constexpr qint64 restMs = 0;
#else
constexpr qint64 restMs = 299;
#endif
} // namespace

class tst_CountingSemaphore : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void wait_timesOut_whenNothingWasReleased();
    void wait_takesOne_whenReleased();
    void wait_returnsAtOnce_whenReleasedMeanwhile();
    void release_countsTo1024_andNoFurther();
    void reset_setsTheCountToZero();
    void wait_takesEachReleaseOnce_fromManyThreads();
    void rest_lastsItsTime_whenReleasedLater();
    void rest_ends_whenReleased();
    void rest_isNotTaken_whenSomethingIsThere();
    void rest_isPartOfTheWait();
    void rest_outlastsTheWait_whileThingsCome();
};

void tst_CountingSemaphore::wait_timesOut_whenNothingWasReleased()
{
    CountingSemaphore semaphore;
    QVERIFY(semaphore.reset());
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(semaphore.wait(50), 258u);
    QVERIFY(timer.elapsed() >= 49);
    QCOMPARE(semaphore.wait(0), 258u);
}

void tst_CountingSemaphore::wait_takesOne_whenReleased()
{
    CountingSemaphore semaphore;
    QVERIFY(semaphore.reset());
    semaphore.release();
    semaphore.release();
    QCOMPARE(semaphore.wait(0), 0u);
    QCOMPARE(semaphore.wait(0), 0u);
    QCOMPARE(semaphore.wait(0), 258u);
}

void tst_CountingSemaphore::wait_returnsAtOnce_whenReleasedMeanwhile()
{
    CountingSemaphore semaphore;
    QVERIFY(semaphore.reset());
    std::thread other([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        semaphore.release();
    });
    QElapsedTimer timer;
    timer.start();
    const unsigned result = semaphore.wait(60000);
    other.join();
    QCOMPARE(result, 0u);
    QVERIFY(timer.elapsed() < 30000);
}

void tst_CountingSemaphore::release_countsTo1024_andNoFurther()
{
    CountingSemaphore semaphore;
    QVERIFY(semaphore.reset());
    for (int n = 0; n < 1030; ++n)
        semaphore.release();
    int taken = 0;
    while (semaphore.wait(0) == CountingSemaphore::Acquired)
        ++taken;
    QCOMPARE(taken, 1024);
}

void tst_CountingSemaphore::reset_setsTheCountToZero()
{
    CountingSemaphore semaphore;
    QVERIFY(semaphore.reset());
    semaphore.release();
    QVERIFY(semaphore.reset());
    QCOMPARE(semaphore.wait(0), 258u);
}

void tst_CountingSemaphore::wait_takesEachReleaseOnce_fromManyThreads()
{
    constexpr int perThread = 200;
    CountingSemaphore semaphore;
    QVERIFY(semaphore.reset());
    std::atomic<int> taken{0};
    std::vector<std::thread> threads;
    for (int n = 0; n < 4; ++n) {
        threads.emplace_back([&] {
            for (int i = 0; i < perThread; ++i)
                semaphore.release();
        });
        threads.emplace_back([&] {
            for (int i = 0; i < perThread; ++i)
                taken += semaphore.wait(60000) == CountingSemaphore::Acquired;
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    QCOMPARE(taken.load(), 4 * perThread);
    QCOMPARE(semaphore.wait(0), 258u);
}

void tst_CountingSemaphore::rest_lastsItsTime_whenReleasedLater()
{
    CountingSemaphore semaphore;
    QVERIFY(semaphore.reset());
    QElapsedTimer timer;
    timer.start();
    std::thread other([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        semaphore.releaseLater();
        semaphore.releaseLater();
    });
    const unsigned first = semaphore.wait(60000, 300);
    const qint64 passed = timer.elapsed();
    other.join();
    QCOMPARE(first, 0u);
    QVERIFY(passed >= restMs && passed < 30000);
    QCOMPARE(semaphore.wait(0, 300), 0u);
    QCOMPARE(semaphore.wait(0), 258u);
}

void tst_CountingSemaphore::rest_ends_whenReleased()
{
    CountingSemaphore semaphore;
    QVERIFY(semaphore.reset());
    std::thread other([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        semaphore.releaseLater();
        semaphore.release();
    });
    QElapsedTimer timer;
    timer.start();
    const unsigned result = semaphore.wait(60000, 60000);
    other.join();
    QCOMPARE(result, 0u);
    QVERIFY(timer.elapsed() < 30000);
    QCOMPARE(semaphore.wait(0), 0u);
}

void tst_CountingSemaphore::rest_isNotTaken_whenSomethingIsThere()
{
    CountingSemaphore semaphore;
    QVERIFY(semaphore.reset());
    semaphore.releaseLater();
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(semaphore.wait(60000, 60000), 0u);
    QVERIFY(timer.elapsed() < 30000);
}

void tst_CountingSemaphore::rest_isPartOfTheWait()
{
    CountingSemaphore semaphore;
    QVERIFY(semaphore.reset());
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(semaphore.wait(50, 60000), 258u);
    QVERIFY(timer.elapsed() >= 49 && timer.elapsed() < 30000);

    std::thread other([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        semaphore.releaseLater();
    });
    timer.restart();
    const unsigned result = semaphore.wait(200, 60000);
    other.join();
    QCOMPARE(result, 0u);
    QVERIFY(timer.elapsed() < 30000);
}

void tst_CountingSemaphore::rest_outlastsTheWait_whileThingsCome()
{
    CountingSemaphore semaphore;
    QVERIFY(semaphore.reset());
    semaphore.release();
    QCOMPARE(semaphore.wait(20, 300), 0u);
    QElapsedTimer timer;
    timer.start();
    std::thread other([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        semaphore.releaseLater();
    });
    QCOMPARE(semaphore.wait(20, 300), 0u);
    QVERIFY(timer.elapsed() >= restMs && timer.elapsed() < 30000);
    other.join();

    timer.restart();
    QCOMPARE(semaphore.wait(20, 300), 258u); // the first that gets nothing
    QVERIFY(timer.elapsed() >= qMax<qint64>(restMs, 19) && timer.elapsed() < 30000);
    timer.restart();
    QCOMPARE(semaphore.wait(20, 60000), 258u);
    QVERIFY(timer.elapsed() >= 19 && timer.elapsed() < 30000);
    semaphore.release();
    QCOMPARE(semaphore.wait(0), 0u);
    QVERIFY(semaphore.reset()); // what came before is forgotten
    QCOMPARE(semaphore.wait(20, 60000), 258u);
}

QTEST_GUILESS_MAIN(tst_CountingSemaphore)
#include "tst_countingsemaphore.moc"
