#include "core_videosave/savevideo.h"

#include "core_videosave/saveaudio.h"
#include "support/messageguard.h"
#include "support/testpicture.h"

#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <memory>

namespace {
constexpr QSize size(64, 48);
constexpr int lumaBytes = 64 * 48;

QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QFile::ReadOnly) ? file.readAll() : QByteArray("unreadable");
}

/// Tells when everything queued has been written.
class CountedVideo : public SaveVideo
{
public:
    ~CountedVideo() override { stop(); }

    void save() override
    {
        SaveVideo::save();
        ++passes;
    }

    bool waitForPasses(int more)
    {
        const int limit = passes + more + 1;
        return QTest::qWaitFor([&] { return passes > limit; }, 60000);
    }

private:
    std::atomic<int> passes{0};
};

/// Hands over planes that end where they end and are gone after the call.
void write(SaveVideo& saver, const QByteArray& i420)
{
    QByteArray y = i420.left(lumaBytes);
    QByteArray u = i420.mid(lumaBytes, lumaBytes / 4);
    QByteArray v = i420.mid(lumaBytes / 4 * 5);
    saver.write(reinterpret_cast<quint8*>(y.data()), reinterpret_cast<quint8*>(u.data()),
                reinterpret_cast<quint8*>(v.data()));
}
} // namespace

class tst_SaveVideo : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void write_storesPlanes_data();
    void write_storesPlanes();
    void write_storesNothing_whenTypeIsUnknown();
    void write_isIgnored_whenPausedOrNotOpen();
    void write_isIgnored_whenAPlaneIsMissing();
    void close_dropsWhatIsQueued();

private:
    std::unique_ptr<MessageGuard> guard;
    std::unique_ptr<QTemporaryDir> folder;
};

void tst_SaveVideo::init()
{
    guard = std::make_unique<MessageGuard>();
    folder = std::make_unique<QTemporaryDir>();
}

void tst_SaveVideo::cleanup()
{
    SaveAudio::setDirectWriting(true);
    VERIFY_NO_UNEXPECTED_MESSAGES(*guard);
}

void tst_SaveVideo::write_storesPlanes_data()
{
    QTest::addColumn<bool>("isDirect");
    QTest::newRow("direct") << true;
    QTest::newRow("queued") << false;
}

void tst_SaveVideo::write_storesPlanes()
{
    QFETCH(bool, isDirect);
    SaveAudio::setDirectWriting(isDirect);
    const QString path = folder->filePath("图像/a.yuv");
    CountedVideo saver;
    saver.setPara(SaveVideoType_Yuv, size.width(), size.height(), 25);
    saver.open(path);
    QByteArray expected;
    for (int number = 0; number < 20; ++number) {
        expected += TestPicture::i420(size, number);
        write(saver, TestPicture::i420(size, number));
    }
    QVERIFY(saver.waitForPasses(20));
    saver.stop();
    QCOMPARE(contents(path), expected);
}

void tst_SaveVideo::write_storesNothing_whenTypeIsUnknown()
{
    SaveVideo saver;
    saver.setPara(static_cast<SaveVideoType>(2), size.width(), size.height(), 25);
    saver.open(folder->filePath("a.yuv"));
    write(saver, TestPicture::i420(size, 1));
    saver.stop();
    QCOMPARE(contents(folder->filePath("a.yuv")), QByteArray());
}

void tst_SaveVideo::write_isIgnored_whenPausedOrNotOpen()
{
    SaveVideo saver;
    saver.setPara(SaveVideoType_Yuv, size.width(), size.height(), 25);
    write(saver, TestPicture::i420(size, 1));
    saver.open(folder->filePath("a.yuv"));
    saver.pause();
    write(saver, TestPicture::i420(size, 2));
    saver.pause();
    write(saver, TestPicture::i420(size, 3));
    saver.stop();
    write(saver, TestPicture::i420(size, 4));
    QCOMPARE(contents(folder->filePath("a.yuv")), TestPicture::i420(size, 3));
}

void tst_SaveVideo::write_isIgnored_whenAPlaneIsMissing()
{
    SaveVideo saver;
    saver.setPara(SaveVideoType_Yuv, size.width(), size.height(), 25);
    saver.open(folder->filePath("a.yuv"));
    QByteArray plane(lumaBytes, 'y');
    auto* data = reinterpret_cast<quint8*>(plane.data());
    saver.write(nullptr, data, data);
    saver.write(data, nullptr, data);
    saver.write(data, data, nullptr);
    saver.stop();
    QCOMPARE(contents(folder->filePath("a.yuv")), QByteArray());
}

void tst_SaveVideo::close_dropsWhatIsQueued()
{
    SaveAudio::setDirectWriting(false);
    CountedVideo saver;
    saver.setPara(SaveVideoType_Yuv, size.width(), size.height(), 25);
    saver.open(folder->filePath("a.yuv"));
    const QByteArray picture = TestPicture::i420(size, 1);
    for (int n = 0; n < 500; ++n)
        write(saver, picture);
    saver.stop();
    saver.open(folder->filePath("b.yuv"));
    QVERIFY(saver.waitForPasses(2));
    saver.stop();
    QVERIFY(contents(folder->filePath("a.yuv")).size() % picture.size() == 0);
    QCOMPARE(contents(folder->filePath("b.yuv")), QByteArray());
}

QTEST_GUILESS_MAIN(tst_SaveVideo)
#include "tst_savevideo.moc"
