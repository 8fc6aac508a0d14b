#include "core_videosave/savemp4ffmpeg.h"

#include "ffmpegcommand.h"
#include "material.h"
#include "probedfile.h"
#include "smalldisk.h"
#include "support/clips.h"
#include "support/messageguard.h"
#include "support/moviefile.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <memory>

namespace {
constexpr int frameMs = 40;
constexpr int waitMs = 100;
constexpr int groupOfPictures = 25;
constexpr int wholeWavesHertz = 1000; // so that frames follow each other without a click

/// The line that tells a loss, for MessageGuard::allow().
QString lossOf(const QString& pictures, const QString& reason)
{
    return QString("^lost %1 pictures and 0 packets of sound in \\d+\\.\\d\\d s, from [-0-9]{10} [:.0-9]{12} to "
                   "[-0-9]{10} [:.0-9]{12}: %2 \\[.+\\]$")
        .arg(pictures, reason);
}

constexpr char recordOption[] = "--record-until-killed";

/// Opens and writes without the thread, so that a test knows when it writes.
struct UnthreadedSaver : SaveMp4FFmpeg
{
    ~UnthreadedSaver() override { stop(); }

    bool begin(const QString& name)
    {
        setFileName(name);
        return init();
    }
};

/// Feeds the clip again and again.
class EndlessSource
{
public:
    void feed(SaveMp4FFmpeg& saver)
    {
        const AVPacket* packet = source.packets[fed % source.packets.size()].get();
        saver.writeData(Material::frameOf(packet, fed * frameMs, int(fed)).header());
        ++fed;
    }

private:
    const Material::Packets source = Material::read(Clips::h264AnnexB());
    size_t fed = 0;
};

/// The body of the child process that is killed: @p sound is "none", "silent" (announced, never sent), "heard" or
/// "alone".
int recordUntilKilled(const QString& path, const QString& sound)
{
    const bool isAlone = sound == "alone";
    const QByteArray codes
        = sound == "heard" || isAlone ? Material::tone("alaw", 8000, frameMs, wholeWavesHertz) : QByteArray();
    EndlessSource pictures;
    SaveMp4FFmpeg saver;
    saver.setPara(isAlone ? Material::noVideo() : Material::video(),
                  sound == "none" ? Material::noSound() : Material::sound(), waitMs);
    saver.open(path);
    for (quint64 n = 0; saver.getIsRunning(); ++n) {
        if (!isAlone)
            pictures.feed(saver);
        if (!codes.isEmpty())
            saver.writeData(Material::Frame(4, n * frameMs, codes).header());
        QThread::msleep(4);
    }
    return 1;
}

/// Runs without the rights to write where the permissions forbid it, which the superuser has.
class OrdinaryUser
{
public:
    OrdinaryUser() { changed = geteuid() == 0 && seteuid(nobody) == 0; }
    ~OrdinaryUser()
    {
        if (changed && seteuid(0) != 0)
            qFatal("the user's rights are lost");
    }

private:
    static constexpr uid_t nobody = 65534;
    bool changed = false;
};
} // namespace

class tst_SaveMp4FFmpegFaults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void open_fails_whenNothingIsRecordable();
    void open_fails_whenTheFileCannotBe_data();
    void open_fails_whenTheFileCannotBe();
    void open_fails_whenTheFolderIsReadOnly();
    void open_fails_whenTheEncoderRefuses();
    void open_works_withOtherStreams_afterAFailure();
    void writeData_isRefused_afterAFailedOpen();
    void writeData_isReported_whenTimeStandsStill();
    void close_isReported_whenTimeStandsStill();
    void writeData_keepsTimes_whenPicturesComeUnevenly_andNoSoundComes();
    void writeData_leavesOutADelimiterAlone_data();
    void writeData_leavesOutADelimiterAlone();
    void writeData_leavesOutPictures_thatArePointless_data();
    void writeData_leavesOutPictures_thatArePointless();
    void writeData_waitsForPictures_whoseParameterSetsAreWhole();
    void setExtradata_isNotUsed_whenItIsBroken();
    void fullDisk_endsTheRecording_data();
    void fullDisk_endsTheRecording();
    void queueFull_dropsPackets_whenTheProducerIsTooFast();
    void removedFile_endsTheRecording();
    void loss_beginsWhenItsFirstPictureCame_notWhenItWasWritten();
    void loseWithoutFile_countsNothing_whenNoFileFailed();
    void queue_isEmptied_whenPicturesComeInBursts();
    void killedProcess_leavesAFileThatPlays_data();
    void killedProcess_leavesAFileThatPlays();
    void killedProcess_leavesAFileThatPlays_whenThereIsSoundAlone();
    void destructor_endsTheRecording();

private:
    QString path(const QString& name = "a.mp4") const { return folder->filePath(name); }

    std::unique_ptr<MessageGuard> guard;
    std::unique_ptr<QTemporaryDir> folder;
};

void tst_SaveMp4FFmpegFaults::init()
{
    guard = std::make_unique<MessageGuard>();
    folder = std::make_unique<QTemporaryDir>();
}

void tst_SaveMp4FFmpegFaults::cleanup() { VERIFY_NO_UNEXPECTED_MESSAGES(*guard); }

void tst_SaveMp4FFmpegFaults::open_fails_whenNothingIsRecordable()
{
    guard->allow("^Error occurred when opening output file : .+$");
    guard->allow("^createMp4 err = 6$");
    guard->allow("^could not create ");
    SaveMp4FFmpeg saver;
    saver.setPara(Material::video(3), Material::sound(36), waitMs);
    saver.open(path());
    QVERIFY(!saver.getIsRunning());
    QVERIFY(!saver.isRunning() && !saver.isFinished());
    const QStringList criticals = guard->texts(QtCriticalMsg);
    QCOMPARE(criticals.size(), 3);
    QCOMPARE(criticals[0], QString("Error occurred when opening output file : Invalid argument"));
    QCOMPARE(criticals[1], QString("createMp4 err = 6"));
    QVERIFY(!QFile::exists(path()));
}

void tst_SaveMp4FFmpegFaults::open_fails_whenTheFileCannotBe_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("below a file") << "文件/a.mp4";
    QTest::newRow("a folder") << "文件夹.mp4";
}

void tst_SaveMp4FFmpegFaults::open_fails_whenTheFileCannotBe()
{
    QFETCH(QString, name);
    QFile file(path("文件"));
    QVERIFY(file.open(QFile::WriteOnly));
    QVERIFY(QDir(folder->path()).mkdir("文件夹.mp4"));
    guard->allow("^could not open ");
    guard->allow("^createMp4 err = 5$");
    guard->allow("^could not create ");
    SaveMp4FFmpeg saver;
    saver.setPara(Material::video(), Material::sound(), waitMs);
    saver.open(path(name));
    QVERIFY(!saver.getIsRunning());
    QVERIFY(!saver.isRunning());
    const QStringList criticals = guard->texts(QtCriticalMsg);
    QCOMPARE(criticals.size(), 3);
    QCOMPARE(criticals[0], "could not open " + path(name));
    QCOMPARE(criticals[1], QString("createMp4 err = 5"));
}

void tst_SaveMp4FFmpegFaults::open_fails_whenTheFolderIsReadOnly()
{
    guard->allow("^could not open ");
    guard->allow("^createMp4 err = 5$");
    guard->allow("^could not create ");
    const QString locked = path("locked");
    QVERIFY(QDir().mkdir(locked));
    QVERIFY(QFile::setPermissions(folder->path(), QFile::Permissions(0x7755)));
    QVERIFY(QFile::setPermissions(locked, QFile::Permissions(0x5555)));
    SaveMp4FFmpeg saver;
    saver.setPara(Material::video(), Material::noSound(), waitMs);
    for (const QString& name : {locked + "/a.mp4", locked + "/b/a.mp4"}) {
        const OrdinaryUser user;
        saver.open(name);
        QVERIFY(!saver.getIsRunning());
        QCOMPARE(guard->count(QtCriticalMsg, "could not open " + name), 1);
    }
    QCOMPARE(guard->count(QtCriticalMsg, "createMp4 err = 5"), 2);
    QVERIFY(QFile::setPermissions(locked, QFile::Permissions(0x7755)));
    saver.open(locked + "/a.mp4");
    QVERIFY(saver.getIsRunning());
}

void tst_SaveMp4FFmpegFaults::open_fails_whenTheEncoderRefuses()
{
    guard->allow("AAC encoder");
    XAudioEncPara sound = Material::sound();
    sound.channels = 200; // no encoder takes that many
    UnthreadedSaver saver;
    saver.setPara(Material::video(), sound, waitMs);
    saver.open(path());
    QVERIFY(!saver.getIsRunning());
    QCOMPARE(guard->texts(QtCriticalMsg).size(), 1);
    saver.close();
    saver.setPara(Material::video(), Material::sound(), waitMs);
    saver.open(path("b.mp4"));
    QVERIFY(saver.getIsRunning());
}

/// The places of the streams of a file that could not be opened are not those of the next one.
void tst_SaveMp4FFmpegFaults::open_works_withOtherStreams_afterAFailure()
{
    guard->allow("^could not open ");
    guard->allow("^createMp4 err = 5$");
    guard->allow("^could not create ");
    QVERIFY(QDir(folder->path()).mkdir("folder.mp4"));
    EndlessSource pictures;
    const QByteArray codes = Material::tone("alaw", 8000, 1000, 440);
    const auto fail = [&](SaveMp4FFmpeg& saver) {
        saver.setPara(Material::video(), Material::sound(), waitMs);
        saver.open(path("folder.mp4"));
        return !saver.getIsRunning();
    };

    SaveMp4FFmpeg saver;
    QVERIFY(fail(saver));
    saver.setPara(Material::video(), Material::noSound(), waitMs);
    saver.open(path("video.mp4"));
    QVERIFY(!saver.hasAudio());
    for (int n = 0; n < 30; ++n)
        pictures.feed(saver);
    saver.stop();
    QCOMPARE(ProbedFile(path("video.mp4")).decodedPictures(), 30);

    QVERIFY(fail(saver));
    saver.setPara(Material::noVideo(), Material::sound(), waitMs);
    saver.open(path("sound.mp4"));
    for (quint64 second = 0; second < 3; ++second)
        saver.writeData(Material::Frame(4, second * 1000, codes).header());
    saver.stop();
    QCOMPARE(ProbedFile(path("sound.mp4")).codecs(), QStringList{"aac"});
    QVERIFY(toneShare(ProbedFile(path("sound.mp4")).samples(8000).mid(4000, 3000), 8000, 440) > 0.95);
}

void tst_SaveMp4FFmpegFaults::writeData_isRefused_afterAFailedOpen()
{
    guard->allow("^could not open |^createMp4 err = 5$|^could not create ");
    guard->allow("^videoIndex = ");
    QVERIFY(QDir(folder->path()).mkdir("folder.mp4"));
    EndlessSource pictures;
    SaveMp4FFmpeg saver;
    saver.setPara(Material::video(), Material::noSound(), waitMs);
    saver.open(path("folder.mp4"));
    pictures.feed(saver);
    QCOMPARE(guard->texts(QtWarningMsg), QStringList{"videoIndex = 0, audioIndex = -1"});
}

void tst_SaveMp4FFmpegFaults::writeData_isReported_whenTimeStandsStill()
{
    guard->allow("^write video \\[");
    const Material::Packets source = Material::read(Clips::h264AnnexB(), 3);
    SaveMp4FFmpeg saver;
    saver.setPara(Material::video(), Material::noSound(), waitMs);
    saver.open(path());
    for (const quint64 time : {0, 40, 40, 80})
        saver.writeData(Material::frameOf(source.packets[0].get(), time, 0).header());
    QTRY_COMPARE(guard->texts(QtCriticalMsg).size(), 1);
    saver.stop();
    const QString line = guard->texts(QtCriticalMsg).first();
    QVERIFY2(QRegularExpression("^write video \\[-22:Invalid argument\\]\\[pts:\\d+\\]\\["
                                + QRegularExpression::escape(path()) + "\\]$")
                 .match(line)
                 .hasMatch(),
             qPrintable(line));
    QCOMPARE(ProbedFile(path()).decodedPictures(), 3);
}

void tst_SaveMp4FFmpegFaults::close_isReported_whenTimeStandsStill()
{
    guard->allow("^write video\\[-22:Invalid argument\\]$");
    const Material::Packets source = Material::read(Clips::h264AnnexB(), 1);
    UnthreadedSaver saver;
    saver.setPara(Material::video(), Material::noSound(), waitMs);
    QVERIFY(saver.begin(path()));
    for (const quint64 time : {0, 40, 40, 80})
        saver.writeData(Material::frameOf(source.packets[0].get(), time, 0).header());
    saver.close();
    QCOMPARE(guard->texts(QtCriticalMsg), QStringList{"write video[-22:Invalid argument]"});
    QCOMPARE(ProbedFile(path()).decodedPictures(), 3);
}

void tst_SaveMp4FFmpegFaults::writeData_leavesOutPictures_thatArePointless_data()
{
    QTest::addColumn<QByteArray>("payload");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("a start code alone") << QByteArray("\0\0\0\1", 4);
    QTest::newRow("two start codes with nothing between") << QByteArray("\0\0\0\1\0\0\0\1", 8);
    QTest::newRow("no start code") << QByteArray(300, 'x');
    QTest::newRow("zeros") << QByteArray(300, '\0');
}

/// The last picture of a group is not assumed to last as long as a break before it did.
void tst_SaveMp4FFmpegFaults::writeData_keepsTimes_whenPicturesComeUnevenly_andNoSoundComes()
{
    guard->allow("^-----cur pts = ");
    const Material::Packets source = Material::read(Clips::h264AnnexB(), 2);
    const QVector<int> times{0, 4700, 8200, 14000, 14100, 14200, 14300, 14400, 14500, 14600};
    UnthreadedSaver saver;
    saver.setPara(Material::video(), Material::sound(), waitMs);
    QVERIFY(saver.begin(path()));
    for (int n = 0; n < times.size(); ++n) { // a key frame and another picture by turns
        const int number = n % 2;
        saver.writeData(Material::frameOf(source.packets[size_t(number)].get(), quint64(times[n]), number).header());
    }
    saver.close();
    const auto pictures = ProbedFile(path()).packets("v");
    QCOMPARE(pictures.size(), times.size());
    for (int n = 0; n < times.size(); ++n)
        QCOMPARE(qRound(pictures[n].pts * 1000), times[n]);
}

void tst_SaveMp4FFmpegFaults::writeData_leavesOutADelimiterAlone_data()
{
    QTest::addColumn<QString>("clip");
    QTest::addColumn<int>("codec");
    QTest::addColumn<QByteArray>("payload");
    QTest::newRow("H.264") << Clips::h264AnnexB() << 1 << QByteArray("\0\0\0\1\x09\xf0", 6);
    QTest::newRow("H.265") << Clips::deviceH265() << 2 << QByteArray("\0\0\0\1\x46\x01\x50", 7);
}

/// What is left of the last picture of a source that was lost at that moment.
void tst_SaveMp4FFmpegFaults::writeData_leavesOutADelimiterAlone()
{
    QFETCH(QString, clip);
    QFETCH(int, codec);
    QFETCH(QByteArray, payload);
    const Material::Packets source = Material::read(clip, 30);
    XVideoEncPara video = Material::video();
    video.codec = codec;
    UnthreadedSaver saver;
    saver.setPara(video, Material::noSound(), waitMs);
    QVERIFY(saver.begin(path()));
    for (int n = 0; n < 30; ++n)
        saver.writeData(Material::frameOf(source.packets[size_t(n)].get(), quint64(n) * frameMs, n).header());
    saver.writeData(Material::Frame(1, 30 * frameMs, payload).header());
    saver.close();
    QCOMPARE(ProbedFile(path()).decodedPictures(), 30);
    QVERIFY(MovieFile(path()).decodes());
}

/// They would keep players from opening the file at all.
void tst_SaveMp4FFmpegFaults::writeData_leavesOutPictures_thatArePointless()
{
    QFETCH(QByteArray, payload);
    const QString message = QString("a picture of %1 bytes without a NAL unit was left out").arg(payload.size());
    guard->allow('^' + message + '$');
    const Material::Packets source = Material::read(Clips::h264AnnexB(), 50);
    UnthreadedSaver saver;
    saver.setPara(Material::video(), Material::noSound(), waitMs);
    QVERIFY(saver.begin(path()));
    for (int n = 0; n < 50; ++n) {
        const quint64 time = quint64(n) * frameMs;
        if (n == 30)
            saver.writeData(Material::Frame(1, time - 20, payload).header());
        saver.writeData(Material::frameOf(source.packets[size_t(n)].get(), time, n).header());
    }
    saver.close();
    QCOMPARE(guard->count(QtWarningMsg, message), 1);
    QCOMPARE(ProbedFile(path()).decodedPictures(), 50);
}

/// FFmpeg's muxer counts for hours in some of these.
void tst_SaveMp4FFmpegFaults::writeData_waitsForPictures_whoseParameterSetsAreWhole()
{
    guard->allow("^a picture with broken H.265 parameter sets was left out at the beginning of a file$");
    const Material::Packets source = Material::read(Clips::deviceH265(), 60);
    const auto isKey = [](const AvPacketPtr& packet) { return (packet->flags & AV_PKT_FLAG_KEY) != 0; };
    const auto second = std::find_if(source.packets.begin() + 1, source.packets.end(), isKey);
    QVERIFY(second != source.packets.end());
    const auto whole = int(source.packets.end() - second);
    constexpr int smallestSet = 32;
    for (int bytes = 2; bytes < smallestSet; ++bytes) {
        UnthreadedSaver saver;
        saver.setPara(Material::video(2), Material::noSound(), waitMs);
        QVERIFY(saver.begin(path()));
        Material::Frame broken(0, 0, Material::withCutSequenceSet(Material::bytesOf(source.packets.front().get()), bytes));
        saver.writeData(broken.header());
        for (size_t n = 1; n < source.packets.size(); ++n)
            saver.writeData(Material::frameOf(source.packets[n].get(), n * frameMs, int(n)).header());
        saver.close();
        QCOMPARE(ProbedFile(path()).decodedPictures(), whole);
        QVERIFY(QFile::remove(path()));
    }
    QCOMPARE(guard->count(QtWarningMsg, "a picture with broken H.265 parameter sets was left out at the beginning of a file"),
             smallestSet - 2);
}

void tst_SaveMp4FFmpegFaults::setExtradata_isNotUsed_whenItIsBroken()
{
    const QString message = "the source's H.265 parameter sets are broken; those in its pictures are waited for";
    guard->allow('^' + message + '$');
    const Material::Packets source = Material::read(Clips::deviceH265(), 60);
    UnthreadedSaver saver;
    saver.setPara(Material::video(2), Material::noSound(), waitMs);
    saver.setExtradata(Material::withCutSequenceSet(Material::bytesOf(source.packets.front().get()), 20));
    QVERIFY(saver.begin(path()));
    for (size_t n = 0; n < source.packets.size(); ++n)
        saver.writeData(Material::frameOf(source.packets[n].get(), n * frameMs, int(n)).header());
    saver.close();
    QCOMPARE(guard->count(QtWarningMsg, message), 1);
    QCOMPARE(ProbedFile(path()).decodedPictures(), int(source.packets.size()));
}

void tst_SaveMp4FFmpegFaults::fullDisk_endsTheRecording_data()
{
    QTest::addColumn<bool>("isDisk");
    QTest::newRow("limit of the process") << false;
    if (SmallDisk::isPossible())
        QTest::newRow("full file system") << true;
}

void tst_SaveMp4FFmpegFaults::fullDisk_endsTheRecording()
{
    QFETCH(bool, isDisk);
    guard->allow("^write video ?\\[-(28|27):");
    guard->allow(lossOf("\\d+", "(File too large|No space left on device)"));
    const QString disk = path("disk");
    QVERIFY(QDir().mkdir(disk));
    const QString first = disk + "/first.mp4";
    const QString second = disk + "/second.mp4";
    std::unique_ptr<SmallDisk> small;
    std::unique_ptr<FileSizeLimit> limit;
    if (isDisk) {
        small = std::make_unique<SmallDisk>(disk);
        QVERIFY(small->isMounted());
    } else {
        limit = std::make_unique<FileSizeLimit>(SmallDisk::bytes);
    }

    EndlessSource pictures;
    SaveMp4FFmpeg saver;
    saver.setPara(Material::video(), Material::noSound(), waitMs);
    saver.open(first);
    QVERIFY(saver.getIsRunning());
    QElapsedTimer timer;
    timer.start();
    int fed = 0;
    for (; saver.getIsRunning() && timer.elapsed() < 100000; ++fed) {
        pictures.feed(saver);
        QThread::msleep(3);
    }
    QVERIFY(!saver.getIsRunning());
    QVERIFY(saver.wait(60000));
    QVERIFY(guard->contains("^write video \\[-(28|27):"));
    QCOMPARE(guard->count(QtInfoMsg, "stop record -> file: " + first), 1);
    const int fragments = ProbedFile::completeFragments(first);
    QVERIFY(fragments >= 1);
    QVERIFY(ProbedFile(first).decodedPictures() >= fragments * groupOfPictures);

    // Room again.
    limit.reset();
    if (isDisk)
        QVERIFY(QFile::remove(first));
    guard->clear();
    EndlessSource again;
    saver.open(second);
    QVERIFY(saver.getIsRunning());
    for (int n = 0; n < 40; ++n)
        again.feed(saver);
    saver.stop();
    QVERIFY(guard->texts(QtCriticalMsg).isEmpty());
    QCOMPARE(ProbedFile(second).decodedPictures(), 40);
    // What was in no complete fragment is lost, but for the last ones that may have come after the file's end.
    const QString loss = guard->texts(QtWarningMsg).value(0);
    const int lost = QRegularExpression("^lost (\\d+)").match(loss).captured(1).toInt();
    QVERIFY2(qAbs(lost - (fed - fragments * groupOfPictures)) <= 2, qPrintable(loss));
    QCOMPARE(ProbedFile(second).complaints(), QByteArray());
}

void tst_SaveMp4FFmpegFaults::queueFull_dropsPackets_whenTheProducerIsTooFast()
{
    guard->allow("^(packet )?queue is full$|^$");
    guard->allow(lossOf("\\d+", "the queue was full"));
    EndlessSource pictures;
    SaveMp4FFmpeg saver;
    saver.setPara(Material::video(), Material::noSound(), waitMs);
    saver.open(path());
    constexpr int fed = 5000;
    for (int n = 0; n < fed; ++n)
        pictures.feed(saver);
    saver.stop();
    const int dropped
        = guard->count(QtWarningMsg, "queue is full") + guard->count(QtWarningMsg, "packet queue is full");
    QCOMPARE(ProbedFile(path()).packets("v").size(), fed - dropped);
    QVERIFY(guard->contains(lossOf(QString::number(dropped), "the queue was full")));
}

/// What lies on a disk that was taken out, or in a folder that was cleared, is lost, and the recorder sees it.
void tst_SaveMp4FFmpegFaults::removedFile_endsTheRecording()
{
    guard->allow(lossOf("\\d+", "the file was removed"));
    EndlessSource pictures;
    SaveMp4FFmpeg saver;
    saver.setPara(Material::video(), Material::noSound(), waitMs);
    saver.open(path());
    QElapsedTimer timer;
    timer.start();
    int fed = 0;
    for (; saver.getIsRunning() && timer.elapsed() < 100000; ++fed) {
        if (fed == 60)
            QVERIFY(QFile::remove(path()));
        pictures.feed(saver);
        QThread::msleep(3);
    }
    QVERIFY(!saver.getIsRunning());
    QVERIFY(saver.wait(60000));
    QVERIFY(saver.hasFileError());
    QVERIFY(!QFile::exists(path()));
    saver.loseWithoutFile(true);

    EndlessSource again;
    saver.open(path("next.mp4"));
    for (int n = 0; n < 40; ++n)
        again.feed(saver);
    saver.stop();
    QCOMPARE(ProbedFile(path("next.mp4")).decodedPictures(), 40);
    const QStringList warnings = guard->texts(QtWarningMsg);
    QCOMPARE(warnings.size(), 1);
    const int lost = QRegularExpression("^lost (\\d+)").match(warnings.first()).captured(1).toInt();
    QVERIFY2(qAbs(lost - (fed + 1)) <= 2, qPrintable(warnings.first()));
}

void tst_SaveMp4FFmpegFaults::loss_beginsWhenItsFirstPictureCame_notWhenItWasWritten()
{
    guard->allow(lossOf("30", "the file was removed"));
    UnthreadedSaver saver;
    saver.setPara(Material::video(), Material::noSound(), waitMs);
    QVERIFY(saver.begin(path()));
    EndlessSource pictures;
    for (int n = 0; n < 30; ++n)
        pictures.feed(saver);
    const QDateTime came = QDateTime::currentDateTime();
    QThread::msleep(300);
    QVERIFY(QFile::remove(path()));
    saver.close();
    saver.endLoss();
    const QStringList warnings = guard->texts(QtWarningMsg);
    QCOMPARE(warnings.size(), 1);
    const auto times = QRegularExpression(" in ([.0-9]+) s, from (.+) to ").match(warnings.first());
    QVERIFY2(times.captured(1).toDouble() >= 0.29, qPrintable(warnings.first()));
    const QDateTime from = QDateTime::fromString(times.captured(2), "yyyy-MM-dd HH:mm:ss.zzz");
    QVERIFY2(from.isValid() && from <= came, qPrintable(warnings.first()));
}

/// Nothing is lost before a file has failed, or after the recording was given up.
void tst_SaveMp4FFmpegFaults::loseWithoutFile_countsNothing_whenNoFileFailed()
{
    SaveMp4FFmpeg saver;
    saver.loseWithoutFile(true);
    saver.endLoss();
    guard->allow("^could not open |^createMp4 err = 5$|^could not create ");
    guard->allow(lossOf("1", "the file could not be created"));
    QVERIFY(QDir(folder->path()).mkdir("folder.mp4"));
    saver.setPara(Material::video(), Material::noSound(), waitMs);
    saver.open(path("folder.mp4"));
    saver.loseWithoutFile(true);
    saver.endLoss();
    saver.loseWithoutFile(true);
    saver.endLoss();
    QCOMPARE(guard->texts(QtWarningMsg).size(), 1);
}

/// The recorder lets packets wait for each other a while, which must not fill its queue.
void tst_SaveMp4FFmpegFaults::queue_isEmptied_whenPicturesComeInBursts()
{
    constexpr int burst = 60;
    constexpr int bursts = 4;
    const Material::Packets source = Material::read(Clips::h264AnnexB(), 2);
    SaveMp4FFmpeg saver;
    saver.setPara(Material::video(), Material::noSound(), 60000);
    saver.open(path());
    for (int n = 0; n < burst * bursts; ++n) {
        if (n % burst == 0)
            QThread::msleep(80);
        const AVPacket* packet = source.packets[n == 0 ? 0 : 1].get();
        saver.writeData(Material::frameOf(packet, quint64(n) * frameMs, n).header());
    }
    saver.stop();
    QCOMPARE(guard->count(QtWarningMsg, "queue is full"), 0);
    QCOMPARE(ProbedFile(path()).packets("v").size(), burst * bursts);
}

void tst_SaveMp4FFmpegFaults::killedProcess_leavesAFileThatPlays_data()
{
    QTest::addColumn<QString>("sound");
    QTest::addColumn<int>("kills");
    QTest::newRow("without sound") << "none" << 3;
    QTest::newRow("with sound") << "heard" << 4;
    QTest::newRow("sound is announced but never comes") << "silent" << 3;
}

void tst_SaveMp4FFmpegFaults::killedProcess_leavesAFileThatPlays()
{
    QFETCH(QString, sound);
    QFETCH(int, kills);
    Clips::h264AnnexB(); // made before the first child needs it
    for (int kill = 0; kill < kills; ++kill) {
        const QString name = path(QString("%1.mp4").arg(kill));
        QProcess child;
        child.start(QCoreApplication::applicationFilePath(), {recordOption, name, sound});
        QVERIFY(child.waitForStarted());
        const int awaited = 1 + QRandomGenerator::global()->bounded(3);
        QTRY_VERIFY_WITH_TIMEOUT(ProbedFile::completeFragments(name) >= awaited, 100000);
        QTest::qWait(QRandomGenerator::global()->bounded(120));
        QCOMPARE(child.state(), QProcess::Running);
        child.kill();
        QVERIFY(child.waitForFinished());

        const int fragments = ProbedFile::completeFragments(name);
        QVERIFY(fragments >= awaited);
        const int complete = fragments * groupOfPictures;
        const ProbedFile file(name);
        const int decoded = file.decodedPictures();
        QVERIFY2(decoded >= complete && decoded < complete + 2 * groupOfPictures,
                 qPrintable(QString("%1 of %2").arg(decoded).arg(complete)));
        const QVector<ProbedFile::Packet> packets = file.packets("v");
        QVERIFY(packets.first().isKey);
        if (sound == "heard")
            QVERIFY(!file.packets("a").isEmpty());
        const CommandResult played = runCommand(
            "ffmpeg",
            {"-v", "error", "-nostdin", "-i", name, "-frames:v", QString::number(complete), "-an", "-f", "null", "-"});
        QVERIFY2(played.ok && !played.messages.contains("h264"), played.messages.constData());
    }
}

void tst_SaveMp4FFmpegFaults::killedProcess_leavesAFileThatPlays_whenThereIsSoundAlone()
{
    QProcess child;
    child.start(QCoreApplication::applicationFilePath(), {recordOption, path(), "alone"});
    QVERIFY(child.waitForStarted());
    QTRY_VERIFY_WITH_TIMEOUT(ProbedFile::completeFragments(path()) >= 3, 100000);
    child.kill();
    QVERIFY(child.waitForFinished());
    const int fragments = ProbedFile::completeFragments(path());
    const QVector<qint16> samples = ProbedFile(path()).samples(8000);
    QVERIFY2(samples.size() >= fragments * 8000 * 9 / 10, qPrintable(QString::number(samples.size())));
    const double share = toneShare(samples.mid(4000, 12000), 8000, wholeWavesHertz);
    QVERIFY2(share > 0.9, qPrintable(QString::number(share)));
}

void tst_SaveMp4FFmpegFaults::destructor_endsTheRecording()
{
    {
        EndlessSource pictures;
        SaveMp4FFmpeg saver;
        saver.setPara(Material::video(), Material::noSound(), 60000);
        saver.open(path());
        for (int n = 0; n < 20; ++n)
            pictures.feed(saver);
    }
    QCOMPARE(ProbedFile(path()).decodedPictures(), 20);
}

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    if (argc == 4 && std::strcmp(argv[1], recordOption) == 0)
        return recordUntilKilled(argv[2], argv[3]);
    tst_SaveMp4FFmpegFaults test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_savemp4ffmpeg_faults.moc"
