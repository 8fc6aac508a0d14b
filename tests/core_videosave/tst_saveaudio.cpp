#include "core_videosave/saveaudio.h"

#include "probedfile.h"
#include "support/messageguard.h"
#include "telephonesound.h"

#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <memory>

namespace {
constexpr int wavHeaderBytes = 44;

QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QFile::ReadOnly) ? file.readAll() : QByteArray("unreadable");
}

/// Tells when everything queued has been written.
class CountedAudio : public SaveAudio
{
public:
    ~CountedAudio() override { stop(); }

    void save() override
    {
        SaveAudio::save();
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

void write(SaveAudio& saver, const QByteArray& bytes) { saver.write(bytes.constData(), bytes.size()); }
} // namespace

class tst_SaveAudio : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void adtsHeader_isAsLaidDown_data();
    void adtsHeader_isAsLaidDown();
    void wavHeader_isAsLaidDown();
    void write_storesPcm();
    void write_storesAdtsHeaderPerBuffer();
    void write_storesNothing_whenTypeIsUnknown();
    void write_isIgnored_whenPausedOrNotOpen();
    void write_copiesBytes_whenQueued();
    void close_convertsToWav();
    void close_makesTheFolderOfTheWavFile();
    void close_keepsPcm_whenTheNameGivesNoOther();
    void close_dropsWhatIsQueued();
    void open_fails_whenTheFileCannotBe();
    void open_makesFolders();

private:
    std::unique_ptr<MessageGuard> guard;
    std::unique_ptr<QTemporaryDir> folder;
};

void tst_SaveAudio::init()
{
    guard = std::make_unique<MessageGuard>();
    folder = std::make_unique<QTemporaryDir>();
    QVERIFY(SaveAudio::isDirectWriting());
}

void tst_SaveAudio::cleanup()
{
    SaveAudio::setDirectWriting(true);
    VERIFY_NO_UNEXPECTED_MESSAGES(*guard);
}

void tst_SaveAudio::adtsHeader_isAsLaidDown_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("sampleRate");
    QTest::addColumn<int>("channels");
    QTest::addColumn<int>("profile");
    QTest::addColumn<QByteArray>("hex");

    QTest::newRow("8000 mono") << 100 << 8000 << 1 << 1 << QByteArray("fff16c800d7ffc");
    QTest::newRow("profile 2") << 100 << 8000 << 1 << 2 << QByteArray("fff170800d7ffc");
    QTest::newRow("profile 0") << 100 << 8000 << 1 << 0 << QByteArray("fff16c800d7ffc");
    QTest::newRow("byte 2 wraps") << 100 << 8000 << 1 << 50 << QByteArray("fff130800d7ffc");
    QTest::newRow("8 channels") << 100 << 8000 << 8 << 1 << QByteArray("fff16e800d7ffc");
    QTest::newRow("long") << 4089 << 8000 << 1 << 1 << QByteArray("fff16c82001ffc");
    QTest::newRow("96000") << 100 << 96000 << 2 << 1 << QByteArray("fff140800d7ffc");
    QTest::newRow("88200") << 100 << 88200 << 2 << 1 << QByteArray("fff144800d7ffc");
    QTest::newRow("64000") << 100 << 64000 << 2 << 1 << QByteArray("fff148800d7ffc");
    QTest::newRow("48000") << 100 << 48000 << 2 << 1 << QByteArray("fff14c800d7ffc");
    QTest::newRow("44100") << 100 << 44100 << 2 << 1 << QByteArray("fff150800d7ffc");
    QTest::newRow("32000") << 100 << 32000 << 2 << 1 << QByteArray("fff154800d7ffc");
    QTest::newRow("24000") << 100 << 24000 << 2 << 1 << QByteArray("fff158800d7ffc");
    QTest::newRow("22050") << 100 << 22050 << 2 << 1 << QByteArray("fff15c800d7ffc");
    QTest::newRow("16000") << 100 << 16000 << 2 << 1 << QByteArray("fff160800d7ffc");
    QTest::newRow("12000") << 100 << 12000 << 2 << 1 << QByteArray("fff164800d7ffc");
    QTest::newRow("11025") << 100 << 11025 << 2 << 1 << QByteArray("fff168800d7ffc");
    QTest::newRow("7350") << 100 << 7350 << 2 << 1 << QByteArray("fff14c800d7ffc");
}

void tst_SaveAudio::adtsHeader_isAsLaidDown()
{
    QFETCH(int, length);
    QFETCH(int, sampleRate);
    QFETCH(int, channels);
    QFETCH(int, profile);
    QFETCH(QByteArray, hex);
    QCOMPARE(SaveAudio::adtsHeader(length, sampleRate, channels, profile).toHex(), hex);
}

void tst_SaveAudio::wavHeader_isAsLaidDown()
{
    QCOMPARE(SaveAudio::wavHeader(16000, 8000, 1).toHex(),
             QByteArray("52494646"
                        "a43e0000"
                        "57415645"
                        "666d7420"
                        "10000000"
                        "0100"
                        "0100"
                        "401f0000"
                        "401f0000"
                        "0200"
                        "1000"
                        "64617461"
                        "803e0000"));
    QCOMPARE(SaveAudio::wavHeader(16000, 8000, 2).mid(22, 10).toHex(),
             QByteArray("0200"
                        "401f0000"
                        "803e0000"));
}

void tst_SaveAudio::write_storesPcm()
{
    SaveAudio saver;
    saver.setPara(SaveAudioType_Pcm, 8000, 1, 1);
    saver.open(folder->filePath("a.pcm"));
    write(saver, "first");
    write(saver, "second");
    saver.write("third", 0);
    saver.write("third", -1);
    saver.write(nullptr, 5);
    saver.stop();
    QCOMPARE(contents(folder->filePath("a.pcm")), QByteArray("firstsecond"));
}

void tst_SaveAudio::write_storesAdtsHeaderPerBuffer()
{
    SaveAudio saver;
    saver.setPara(SaveAudioType_Aac, 8000, 1, 1);
    saver.open(folder->filePath("a.aac"));
    const QByteArray buffer(100, 'a');
    write(saver, buffer);
    write(saver, buffer);
    saver.stop();
    const QByteArray one = QByteArray::fromHex("fff16c800d7ffc") + buffer;
    QCOMPARE(contents(folder->filePath("a.aac")), one + one);
}

void tst_SaveAudio::write_storesNothing_whenTypeIsUnknown()
{
    SaveAudio saver;
    saver.setPara(static_cast<SaveAudioType>(4), 8000, 1, 1);
    saver.open(folder->filePath("a.pcm"));
    write(saver, "sound");
    saver.stop();
    QCOMPARE(contents(folder->filePath("a.pcm")), QByteArray());
}

void tst_SaveAudio::write_isIgnored_whenPausedOrNotOpen()
{
    for (const bool isDirect : {true, false}) {
        SaveAudio::setDirectWriting(isDirect);
        CountedAudio saver;
        saver.setPara(SaveAudioType_Pcm, 8000, 1, 1);
        const QString path = folder->filePath(isDirect ? "direct.pcm" : "queued.pcm");
        write(saver, "before");
        saver.open(path);
        saver.pause();
        write(saver, "paused");
        saver.pause();
        write(saver, "heard");
        QVERIFY(saver.waitForPasses(1));
        saver.stop();
        write(saver, "after");
        QCOMPARE(contents(path), QByteArray("heard"));
    }
}

void tst_SaveAudio::write_copiesBytes_whenQueued()
{
    SaveAudio::setDirectWriting(false);
    CountedAudio saver;
    saver.setPara(SaveAudioType_Aac, 8000, 1, 1);
    const QString path = folder->filePath("a.aac");
    saver.open(path);
    QByteArray expected;
    for (int n = 0; n < 50; ++n) {
        QByteArray buffer(5000, static_cast<char>('a' + n % 26));
        expected += SaveAudio::adtsHeader(buffer.size(), 8000, 1, 1) + buffer;
        write(saver, buffer);
        buffer.fill('!');
    }
    QVERIFY(saver.waitForPasses(50));
    saver.stop();
    QCOMPARE(contents(path), expected);
}

void tst_SaveAudio::close_convertsToWav()
{
    SaveAudio saver;
    saver.setPara(SaveAudioType_Wav, 8000, 1, 1);
    saver.open(folder->filePath("a.pcm"));
    const QByteArray sound = TelephoneSound::bytesOf(TelephoneSound::sine(1, 440, 8000));
    QCOMPARE(sound.size(), 16000);
    write(saver, sound.left(5000));
    write(saver, sound.mid(5000));
    saver.stop();
    const QByteArray wav = contents(folder->filePath("a.wav"));
    QCOMPARE(wav.size(), wavHeaderBytes + 16000);
    QCOMPARE(wav.left(wavHeaderBytes), SaveAudio::wavHeader(16000, 8000, 1));
    QVERIFY(wav.endsWith(sound));
    QVERIFY(!QFile::exists(folder->filePath("a.pcm")));
    QVERIFY(toneShare(ProbedFile(folder->filePath("a.wav")).samples(8000), 8000, 440) > 0.99);
}

void tst_SaveAudio::close_makesTheFolderOfTheWavFile()
{
    SaveAudio saver;
    saver.setPara(SaveAudioType_Wav, 8000, 1, 1);
    saver.open(folder->filePath("pcm/a.pcm"));
    write(saver, "1234");
    saver.stop();
    QCOMPARE(contents(folder->filePath("wav/a.wav")).mid(wavHeaderBytes), QByteArray("1234"));
    QVERIFY(!QFile::exists(folder->filePath("pcm/a.pcm")));
}

void tst_SaveAudio::close_keepsPcm_whenTheNameGivesNoOther()
{
    guard->allow("could not make a WAV file");
    SaveAudio saver;
    saver.setPara(SaveAudioType_Wav, 8000, 1, 1);
    saver.open(folder->filePath("sound.raw"));
    write(saver, "1234");
    saver.stop();
    QCOMPARE(contents(folder->filePath("sound.raw")), QByteArray("1234"));
}

void tst_SaveAudio::close_dropsWhatIsQueued()
{
    SaveAudio::setDirectWriting(false);
    CountedAudio saver;
    saver.setPara(SaveAudioType_Pcm, 8000, 1, 1);
    saver.open(folder->filePath("a.pcm"));
    constexpr int buffers = 2000;
    for (int n = 0; n < buffers; ++n)
        write(saver, QByteArray(10, 'x'));
    saver.stop();
    saver.open(folder->filePath("b.pcm"));
    QVERIFY(saver.waitForPasses(2));
    saver.stop();
    QVERIFY(contents(folder->filePath("a.pcm")).size() % 10 == 0);
    QCOMPARE(contents(folder->filePath("b.pcm")), QByteArray());
}

void tst_SaveAudio::open_fails_whenTheFileCannotBe()
{
    guard->allow("could not open");
    SaveAudio saver;
    saver.open("");
    QVERIFY(!saver.getIsRunning());
    saver.open(folder->path());
    QVERIFY(!saver.getIsRunning());
    QVERIFY(!saver.isRunning());
    QCOMPARE(guard->texts(QtCriticalMsg).size(), 2);
}

void tst_SaveAudio::open_makesFolders()
{
    SaveAudio saver;
    saver.open(folder->filePath("录像 一/声音/a.pcm"));
    QVERIFY(saver.getIsRunning());
    write(saver, "1");
    saver.stop();
    QCOMPARE(contents(folder->filePath("录像 一/声音/a.pcm")), QByteArray("1"));
}

QTEST_GUILESS_MAIN(tst_SaveAudio)
#include "tst_saveaudio.moc"
