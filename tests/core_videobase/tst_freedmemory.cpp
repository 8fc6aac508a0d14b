#include "core_videobase/freedmemory.h"

#include <QFile>
#include <QTest>

#include <cstring>
#include <memory>
#include <thread>
#include <vector>

namespace {
constexpr size_t blocks = 2000;
constexpr size_t blockBytes = 32 * 1024;
constexpr qint64 freedBytes = blocks * blockBytes;

/// What the process has of the computer's memory.
qint64 residentBytes()
{
    QFile file("/proc/self/statm");
    const bool isOpen = file.open(QFile::ReadOnly);
    return isOpen ? file.readAll().split(' ').value(1).toLongLong() * 4096 : -1;
}
} // namespace

class TestFreedMemory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void giveBack_returnsWhatThreadsHaveFreed_andNotTooOften()
    {
        // The last block of the thread's arena stays in use, as those of other streams do.
        std::unique_ptr<char[]> last;
        std::thread([&last] {
            std::vector<std::unique_ptr<char[]>> used(blocks);
            for (std::unique_ptr<char[]>& block : used) {
                block.reset(new char[blockBytes]);
                std::memset(block.get(), 1, blockBytes);
            }
            last.reset(new char[blockBytes]);
        }).join();
        const qint64 before = residentBytes();
        QVERIFY(before > freedBytes);
        QVERIFY(FreedMemory::giveBack());
        const qint64 after = residentBytes();
        QVERIFY2(after < before - freedBytes / 2, qPrintable(QString("%1 of %2").arg(after).arg(before)));
        QVERIFY(!FreedMemory::giveBack());
    }
};

QTEST_GUILESS_MAIN(TestFreedMemory)
#include "tst_freedmemory.moc"
