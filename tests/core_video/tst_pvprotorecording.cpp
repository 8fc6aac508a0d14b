#include "core_videosave/savemp4ffmpeg.h"
#include "protoprobe.h"
#include "support/messageguard.h"
#include "support/moviefile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

using Thread = AbstractVideoThread;

constexpr int recorderFollowsMs = 3;
constexpr qint64 second = 1000000;

/// Seconds of sound that the AAC encoder still holds when a file ends.
constexpr double soundKeptByEncoder = 0.5;

DeviceFrames pictures(int first, int count) { return DeviceStream::h264().mid(first, count); }

DeviceFrames withSound(int first, int count)
{
    return DeviceStream::mixed(DeviceStream::h264(), DeviceStream::sound()).mid(2 * first, 2 * count);
}

DeviceFrames soundOnly(int first, int count) { return DeviceStream::sound().mid(first, count); }

QVector<int> range(int first, int count)
{
    QVector<int> numbers;
    for (int i = 0; i < count; ++i)
        numbers << first + i;
    return numbers;
}

} // namespace

/// What threads that read from devices record, seen by other programs.
class TestPvProtoRecording : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<MessageGuard> guard;
    std::unique_ptr<QTemporaryDir> folder;
    std::unique_ptr<ProtoProbe> probe;

    QString path(const QString& name) const { return folder->filePath(name); }

    /// What recorders do, in order.
    QStringList recorderLines() const { return probe->log.only({"name", "rename", "state"}); }

    void record(Thread::RecordType type, bool enable)
    {
        probe->script.addAction([this, type, enable] { enable ? probe->recordStart(type) : probe->recordStop(type); });
    }

    void advance(qint64 microseconds)
    {
        probe->script.addAction([this, microseconds] { probe->time.advance(microseconds); });
    }

    /// The file has these pictures, and everything in it decodes.
    void verifyHas(const QString& name, const QVector<int>& numbers)
    {
        const MovieFile movie(path(name));
        QVERIFY2(QFile::exists(movie.path()), qPrintable(name));
        QVERIFY2(movie.decodes(), qPrintable(name));
        QCOMPARE(movie.pictureNumbers(), numbers);
        QVERIFY(movie.startsWithKeyFrame());
        QVERIFY2(qAbs(movie.videoDuration() - numbers.size() * 0.04) < 0.05,
                 qPrintable(QString::number(movie.videoDuration())));
    }

    void makeProbe(const QDateTime& start = QDateTime(QDate(2024, 2, 29), QTime(12, 0)))
    {
        probe.reset(new ProtoProbe(start));
        probe->setFolder(folder->path());
        probe->readPauseMs = recorderFollowsMs;
    }

private Q_SLOTS:
    void init()
    {
        guard.reset(new MessageGuard);
        folder.reset(new QTemporaryDir);
        QVERIFY(folder->isValid());
        makeProbe();
    }
    void cleanup()
    {
        probe.reset();
        VERIFY_NO_UNEXPECTED_MESSAGES(*guard);
        folder.reset();
    }

    // --- When a file begins and ends

    void recordStart_opensAFile_withTheNextFrame()
    {
        probe->script.add(pictures(0, 25));
        record(Thread::MANUAL_RECORD, true);
        probe->script.add(pictures(25, 30));
        QVERIFY(probe->playScript());
        verifyHas("0-1-done.mp4", range(25, 30));
        QCOMPARE(probe->log.only({"name", "rename", "state", "save", "finish"}).mid(24, 5),
                 QStringList({"save 1", "save 0", "name 0", "state 1 0-1.mp4", "save 1"}));
        // The end of the loop closes the file before the stream.
        const QStringList lines = probe->log.lines();
        QCOMPARE(lines.mid(lines.size() - 5),
                 QStringList({"rename 0", "state 0 0-1-done.mp4", "close", "decoder destroyed", "finish"}));
    }

    void recordStart_keepsEveryPicture_andPlaysFromTheFirstKeyFrame_whenItComesInMidGroup()
    {
        probe->script.add(pictures(0, 10));
        record(Thread::MANUAL_RECORD, true);
        probe->script.add(pictures(10, 50));
        QVERIFY(probe->playScript());
        QCOMPARE(probe->log.only({"save", "name"}).mid(9, 3), QStringList({"save 1", "save 1", "name 0"}));
        const MovieFile movie(path("0-1-done.mp4"));
        QCOMPARE(movie.pictureCount(), 50);
        QVERIFY(movie.decodes());
        QCOMPARE(movie.pictureNumbers(), range(25, 35));
        QVERIFY(movie.plays());
    }

    void recordStart_keepsTheLeadingPictures_whenNoKeyFrameWasEverSeen()
    {
        probe->recordStart(Thread::MANUAL_RECORD);
        probe->script.add(pictures(3, 40));
        QVERIFY(probe->playScript());
        const MovieFile movie(path("0-1-done.mp4"));
        QCOMPARE(movie.pictureCount(), 40);
        QVERIFY(movie.decodes());
        QCOMPARE(movie.pictureNumbers(), range(25, 18));
        QCOMPARE(probe->log.numbers().value(0, -1), 25);
    }

    void recording_canBeOpened_whenItEndsBeforeItsFirstKeyFrame()
    {
        probe->script.add(pictures(0, 10));
        record(Thread::MANUAL_RECORD, true);
        probe->script.add(pictures(10, 5));
        QVERIFY(probe->playScript());
        const MovieFile movie(path("0-1-done.mp4"));
        QCOMPARE(movie.videoStreams(), 1);
        QCOMPARE(movie.size(), QString("320x240"));
        QCOMPARE(movie.pictureCount(), 5);
        QVERIFY(movie.decodes());
    }

    void recordStart_leavesOutWhatWouldBeShownBroken_whenH265BeginsInMidGroup()
    {
        probe->latestVideo.codec = 2;
        probe->recordStart(Thread::MANUAL_RECORD);
        probe->script.add(DeviceStream::h265().mid(10, 50));
        QVERIFY(probe->playScript());
        verifyHas("0-1-done.mp4", range(25, 35));
        QVERIFY(MovieFile(path("0-1-done.mp4")).plays());
    }

    void recording_goesOn_whileNobodyDisplays()
    {
        probe->previewRef() = 0;
        probe->recordStart(Thread::AUTO_RECORD);
        probe->script.add(withSound(0, 50));
        QVERIFY(probe->playScript());
        verifyHas("1-1-done.mp4", range(0, 50));
        QCOMPARE(MovieFile(path("1-1-done.mp4")).audioStreams(), 1);
        QCOMPARE(probe->log.numbers(), QVector<int>());
        QCOMPARE(probe->log.count("preview close"), 100);
    }

    void recordStop_writesTheNextPicture_thenCloses()
    {
        probe->recordStart(Thread::MANUAL_RECORD);
        probe->script.add(pictures(0, 30));
        record(Thread::MANUAL_RECORD, false);
        bool isOpen = false;
        probe->script.addAction([&] { isOpen = probe->hasOpenFile(); });
        probe->script.add(pictures(30, 1));
        probe->script.addAction([&] {
            QVERIFY(isOpen);
            QVERIFY(!probe->hasOpenFile());
        });
        probe->script.add(pictures(31, 5));
        QVERIFY(probe->playScript());
        verifyHas("0-1-done.mp4", range(0, 31));
        QCOMPARE(recorderLines(), QStringList({"name 0", "state 1 0-1.mp4", "rename 0", "state 0 0-1-done.mp4"}));
    }

    void recordStop_closesWithSound_whenSoundIsRecorded()
    {
        probe->recordStart(Thread::MANUAL_RECORD);
        probe->recordStart(Thread::AUTO_RECORD);
        probe->setSaveAudio(Thread::AUTO_RECORD, false);
        probe->script.add(withSound(0, 25));
        record(Thread::MANUAL_RECORD, false);
        record(Thread::AUTO_RECORD, false);
        QVector<bool> open;
        const auto look = [&] { open << probe->savers.at(0)->getIsRunning() << probe->savers.at(1)->getIsRunning(); };
        probe->script.add(soundOnly(25, 1));
        probe->script.addAction(look);
        probe->script.add(soundOnly(26, 1));
        probe->script.addAction(look);
        probe->script.add(pictures(25, 1));
        probe->script.addAction(look);
        QVERIFY(probe->playScript());
        // Sound that a type does not record does not end it either.
        QCOMPARE(open, QVector<bool>({false, true, false, true, false, false}));
        verifyHas("0-1-done.mp4", range(0, 25));
        verifyHas("1-1-done.mp4", range(0, 26));
        QCOMPARE(MovieFile(path("0-1-done.mp4")).audioStreams(), 1);
        QCOMPARE(MovieFile(path("1-1-done.mp4")).audioStreams(), 0);
    }

    void recordStop_leavesNoFile_whenTheNextOneHasOnlyABeginningOfSound()
    {
        guard->allow("^.* had got nothing yet and was removed$");
        probe->setSaveInterval(Thread::MANUAL_RECORD, 60);
        probe->recordStart(Thread::MANUAL_RECORD);
        probe->script.add(withSound(0, 25));
        advance(61 * second);
        probe->script.add(soundOnly(25, 1));
        record(Thread::MANUAL_RECORD, false);
        probe->script.add(soundOnly(26, 1));
        QVERIFY(probe->playScript());
        verifyHas("0-1-done.mp4", range(0, 25));
        QCOMPARE(QDir(folder->path()).entryList(QDir::Files), QStringList("0-1-done.mp4"));
        QCOMPARE(recorderLines(), QStringList({"name 0", "state 1 0-1.mp4", "rename 0", "state 0 0-1-done.mp4",
                                               "name 0", "state 1 0-2.mp4", "state 0 0-2.mp4"}));
    }

    void recordStop_keepsAFileWithSoundAlone()
    {
        probe->setSaveInterval(Thread::MANUAL_RECORD, 60);
        probe->recordStart(Thread::MANUAL_RECORD);
        probe->script.add(withSound(0, 25));
        advance(61 * second);
        probe->script.add(soundOnly(25, 50));
        QVERIFY(probe->playScript());
        verifyHas("0-1-done.mp4", range(0, 25));
        QVERIFY(MovieFile(path("0-2-done.mp4")).audioDuration() > 1);
    }

    void bothTypes_recordTheSame_eachIntoItsFile()
    {
        probe->recordStart(Thread::MANUAL_RECORD);
        probe->recordStart(Thread::AUTO_RECORD);
        probe->script.add(withSound(0, 75));
        QVERIFY(probe->playScript());
        verifyHas("0-1-done.mp4", range(0, 75));
        verifyHas("1-1-done.mp4", range(0, 75));
        QCOMPARE(MovieFile(path("0-1-done.mp4")).packetHashes(), MovieFile(path("1-1-done.mp4")).packetHashes());
        QCOMPARE(recorderLines(),
                 QStringList({"name 0", "state 1 0-1.mp4", "name 1", "state 1 1-1.mp4", "rename 0",
                              "state 0 0-1-done.mp4", "rename 1", "state 0 1-1-done.mp4"}));
    }

    void frames_ofUnknownTypes_areOfferedToTheRecorder()
    {
        guard->allow("^videoIndex = 0, audioIndex = 1$");
        probe->recordStart(Thread::MANUAL_RECORD);
        probe->script.add(pictures(0, 10));
        DeviceFrame odd = pictures(10, 1).first();
        odd.type = 7;
        probe->script.add(odd);
        probe->script.add(pictures(10, 10));
        QVERIFY(probe->playScript());
        QCOMPARE(guard->count(QtWarningMsg, "videoIndex = 0, audioIndex = 1"), 1);
        verifyHas("0-1-done.mp4", range(0, 20));
    }

    // --- Codecs

    void recordStart_opensNothing_untilTheVideoCodecIsValid()
    {
        guard->allow("^video codec is invalid$");
        probe->recordStart(Thread::MANUAL_RECORD);
        probe->latestCodecResult = -1;
        probe->script.add(pictures(0, 5));
        probe->script.addAction([&] {
            probe->latestCodecResult = 0;
            probe->latestVideo.width = 0;
        });
        probe->script.add(pictures(5, 5));
        probe->script.addAction([&] {
            probe->latestVideo.width = 320;
            probe->latestVideo.codec = 3;
        });
        probe->script.add(pictures(10, 15));
        probe->script.addAction([&] {
            QVERIFY(!probe->hasOpenFile());
            QCOMPARE(probe->log.count("name"), 0);
            probe->latestVideo.codec = 1;
        });
        probe->script.add(pictures(25, 25));
        QVERIFY(probe->playScript());
        QCOMPARE(guard->count(QtCriticalMsg, "video codec is invalid"), 25);
        verifyHas("0-1-done.mp4", range(25, 25));
    }

    void sizeChange_closesAndReopensEveryFile()
    {
        probe->recordStart(Thread::MANUAL_RECORD);
        probe->recordStart(Thread::AUTO_RECORD);
        probe->script.add(pictures(0, 50));
        probe->script.addAction([&] {
            probe->latestVideo.width = 400;
            probe->latestVideo.height = 304;
        });
        probe->script.add(DeviceStream::shifted(DeviceStream::h264OtherSize().mid(50, 40), 0));
        QVERIFY(probe->playScript());
        for (const QString type : {"0", "1"}) {
            verifyHas(type + "-1-done.mp4", range(0, 50));
            verifyHas(type + "-2-done.mp4", range(50, 40));
            QCOMPARE(MovieFile(path(type + "-1-done.mp4")).size(), QString("320x240"));
            QCOMPARE(MovieFile(path(type + "-2-done.mp4")).size(), QString("400x304"));
        }
        QCOMPARE(recorderLines().mid(4, 4),
                 QStringList({"rename 0", "state 0 0-1-done.mp4", "name 0", "state 1 0-2.mp4"}));
        QCOMPARE(probe->recordVideo.width, 400);
    }

    void codecChange_makesTwoFilesThatBothPlay()
    {
        probe->recordStart(Thread::MANUAL_RECORD);
        probe->script.add(pictures(0, 50));
        probe->script.addAction([&] { probe->latestVideo.codec = 2; });
        probe->script.add(DeviceStream::h265().mid(50, 50));
        QVERIFY(probe->playScript());
        verifyHas("0-1-done.mp4", range(0, 50));
        verifyHas("0-2-done.mp4", range(50, 50));
        QCOMPARE(MovieFile(path("0-1-done.mp4")).videoCodec(), QString("h264"));
        QCOMPARE(MovieFile(path("0-2-done.mp4")).videoCodec(), QString("hevc"));
        for (const QString name : {"0-1-done.mp4", "0-2-done.mp4"}) {
            QVERIFY(MovieFile(path(name)).plays());
        }
    }

    void soundChange_closesOnlyFilesWithSound()
    {
        probe->recordStart(Thread::MANUAL_RECORD);
        probe->recordStart(Thread::AUTO_RECORD);
        probe->setSaveAudio(Thread::AUTO_RECORD, false);
        probe->script.add(withSound(0, 50));
        probe->script.addAction([&] { probe->latestAudio.codec = 34; });
        probe->script.add(DeviceStream::mixed(pictures(50, 50), DeviceStream::sound(DeviceStream::muLaw).mid(50, 50)));
        QVERIFY(probe->playScript());
        verifyHas("0-1-done.mp4", range(0, 50));
        verifyHas("0-2-done.mp4", range(50, 50));
        verifyHas("1-1-done.mp4", range(0, 100));
        QVERIFY(!QFile::exists(path("1-2-done.mp4")));
        for (const QString name : {"0-1-done.mp4", "0-2-done.mp4"}) {
            QCOMPARE(MovieFile(path(name)).audioCodec(), QString("aac"));
            QVERIFY(MovieFile(path(name)).audioDuration() > 2 - soundKeptByEncoder);
        }
        QCOMPARE(MovieFile(path("1-1-done.mp4")).audioStreams(), 0);
    }

    void isCodecChanged_comparesWhatCounts_data()
    {
        QTest::addColumn<QVector<int>>("video"); // codec, width, height, param1
        QTest::addColumn<QVector<int>>("audio"); // codec, rate, bits, channels
        QTest::addColumn<bool>("withSound");
        QTest::addColumn<bool>("isChanged");
        const QVector<int> video{1, 320, 240, 0};
        const QVector<int> audio{33, 8000, 16, 1};
        QTest::newRow("same") << video << audio << true << false;
        QTest::newRow("another codec") << QVector<int>{2, 320, 240, 0} << audio << false << true;
        QTest::newRow("another width") << QVector<int>{1, 321, 240, 0} << audio << false << true;
        QTest::newRow("another height") << QVector<int>{1, 320, 241, 0} << audio << false << true;
        QTest::newRow("another parameter") << QVector<int>{1, 320, 240, 9} << audio << true << false;
        QTest::newRow("no codec") << QVector<int>{0, 999, 240, 0} << audio << true << false;
        QTest::newRow("no width") << QVector<int>{2, 0, 240, 0} << audio << true << false;
        QTest::newRow("another sound codec") << video << QVector<int>{35, 8000, 16, 1} << true << true;
        QTest::newRow("another rate") << video << QVector<int>{33, 16000, 16, 1} << true << true;
        QTest::newRow("other bits") << video << QVector<int>{33, 8000, 8, 1} << true << true;
        QTest::newRow("other channels") << video << QVector<int>{33, 8000, 16, 2} << true << true;
        QTest::newRow("another sound codec, no matter") << video << QVector<int>{35, 8000, 16, 1} << false << false;
        QTest::newRow("no sound codec") << video << QVector<int>{36, 16000, 16, 1} << true << false;
        QTest::newRow("no rate") << video << QVector<int>{34, 0, 16, 1} << true << false;
    }
    void isCodecChanged_comparesWhatCounts()
    {
        QFETCH(QVector<int>, video);
        QFETCH(QVector<int>, audio);
        QFETCH(bool, withSound);
        QFETCH(bool, isChanged);
        bool result = false;
        probe->script.addAction([&] {
            probe->recordVideo = {1, 320, 240, 0, 1, 0};
            probe->recordAudio = {33, 8000, 16, 1};
            probe->latestVideo = {video.at(0), video.at(1), video.at(2), video.at(3), 1, 0};
            probe->latestAudio = {audio.at(0), audio.at(1), audio.at(2), audio.at(3)};
            result = probe->isCodecChanged(withSound);
        });
        QVERIFY(probe->playScript());
        QCOMPARE(result, isChanged);
    }

    void isCodecChanged_isFalse_whenNoCodecIsKnown()
    {
        bool result = true;
        probe->script.addAction([&] {
            probe->recordVideo = {1, 320, 240, 0, 1, 0};
            probe->latestCodecResult = -1;
            result = probe->isCodecChanged(true);
        });
        QVERIFY(probe->playScript());
        QVERIFY(!result);
    }

    // --- Intervals

    void saveInterval_cutsAfterMoreThanItsTime_data()
    {
        QTest::addColumn<int>("seconds");
        QTest::addColumn<qint64>("passed");
        QTest::addColumn<bool>("cuts");
        QTest::newRow("a millisecond more") << 60 << 60 * second + 1000 << true;
        QTest::newRow("exactly the interval") << 60 << 60 * second << false;
        QTest::newRow("0 is unlimited") << 0 << 3600 * second << false;
        QTest::newRow("-1 is unlimited") << -1 << 3600 * second << false;
        QTest::newRow("-60 is unlimited") << -60 << 3600 * second << false;
    }
    void saveInterval_cutsAfterMoreThanItsTime()
    {
        QFETCH(int, seconds);
        QFETCH(qint64, passed);
        QFETCH(bool, cuts);
        probe->setSaveInterval(Thread::MANUAL_RECORD, seconds);
        probe->recordStart(Thread::MANUAL_RECORD);
        probe->recordStart(Thread::AUTO_RECORD); // has its own interval, none
        probe->script.add(pictures(0, 25));
        advance(passed);
        probe->script.add(pictures(25, 30)); // the interval begins again with the file
        QVERIFY(probe->playScript());
        verifyHas("1-1-done.mp4", range(0, 55));
        verifyHas("0-1-done.mp4", range(0, cuts ? 25 : 55));
        if (cuts)
            verifyHas("0-2-done.mp4", range(25, 30));
        QVERIFY(!QFile::exists(path(cuts ? "0-3-done.mp4" : "0-2-done.mp4")));
    }

    void saveInterval_losesNoFrame_whenItEndsInMidGroup()
    {
        probe->setSaveInterval(Thread::MANUAL_RECORD, 60);
        probe->recordStart(Thread::MANUAL_RECORD);
        probe->script.add(pictures(0, 30));
        advance(61 * second);
        probe->script.add(pictures(30, 45));
        QVERIFY(probe->playScript());
        verifyHas("0-1-done.mp4", range(0, 30));
        const MovieFile next(path("0-2-done.mp4"));
        QCOMPARE(next.pictureCount(), 45);
        QVERIFY(next.decodes());
        QCOMPARE(next.pictureNumbers(), range(50, 25)); // from the first key frame on
    }

    void saveInterval_counts_fromTheNextFrameOn_whenItIsChanged()
    {
        probe->recordStart(Thread::AUTO_RECORD);
        probe->script.add(pictures(0, 25));
        advance(10 * second);
        probe->script.addAction([&] { probe->setSaveInterval(Thread::AUTO_RECORD, 5); });
        probe->script.add(pictures(25, 25));
        QVERIFY(probe->playScript());
        verifyHas("1-1-done.mp4", range(0, 25));
        verifyHas("1-2-done.mp4", range(25, 25));
    }

    // --- Midnight

    void midnight_cutsTheFile_whenOneTypeRecords_data()
    {
        QTest::addColumn<int>("type");
        QTest::newRow("by the user") << int(Thread::MANUAL_RECORD);
        QTest::newRow("by a schedule") << int(Thread::AUTO_RECORD);
    }
    void midnight_cutsTheFile_whenOneTypeRecords()
    {
        QFETCH(int, type);
        makeProbe(QDateTime(QDate(2024, 2, 29), QTime(23, 59, 58)));
        probe->recordStart(Thread::RecordType(type));
        probe->script.add(pictures(0, 25));
        advance(3 * second);
        probe->script.add(pictures(25, 50));
        advance(24 * 3600 * second);
        probe->script.add(pictures(75, 25));
        QVERIFY(probe->playScript());
        const QString name = QString("%1-%2-done.mp4").arg(type);
        verifyHas(name.arg(1), range(0, 25));
        verifyHas(name.arg(2), range(25, 50));
        verifyHas(name.arg(3), range(75, 25));
        QVERIFY(!QFile::exists(path(name.arg(4))));
    }

    void midnight_cutsTheManualFileAlone_whenBothTypesRecord()
    {
        makeProbe(QDateTime(QDate(2023, 12, 31), QTime(23, 59, 58)));
        probe->recordStart(Thread::MANUAL_RECORD);
        probe->recordStart(Thread::AUTO_RECORD);
        probe->script.add(pictures(0, 25));
        advance(3 * second);
        probe->script.add(pictures(25, 25));
        advance(24 * 3600 * second);
        probe->script.add(pictures(50, 25));
        QVERIFY(probe->playScript());
        verifyHas("0-1-done.mp4", range(0, 25));
        verifyHas("0-2-done.mp4", range(25, 25));
        verifyHas("0-3-done.mp4", range(50, 25));
        verifyHas("1-1-done.mp4", range(0, 75));
    }

    void midnight_isNotSeen_whenTheScheduleClosedJustBefore()
    {
        makeProbe(QDateTime(QDate(2024, 2, 28), QTime(23, 59, 58)));
        probe->recordStart(Thread::MANUAL_RECORD);
        probe->recordStart(Thread::AUTO_RECORD);
        probe->script.add(pictures(0, 25));
        record(Thread::AUTO_RECORD, false); // ends with the next frame and forgets the date
        probe->script.add(pictures(25, 1));
        advance(3 * second);
        probe->script.add(pictures(26, 24));
        QVERIFY(probe->playScript());
        verifyHas("0-1-done.mp4", range(0, 50));
        verifyHas("1-1-done.mp4", range(0, 26));
    }

    void midnight_isSeen_whenTheUserClosedJustBefore()
    {
        makeProbe(QDateTime(QDate(2024, 2, 28), QTime(23, 59, 58)));
        probe->recordStart(Thread::MANUAL_RECORD);
        probe->recordStart(Thread::AUTO_RECORD);
        probe->script.add(pictures(0, 24));
        record(Thread::MANUAL_RECORD, false); // keeps the date
        probe->script.add(pictures(24, 1));
        advance(3 * second);
        probe->script.add(pictures(25, 25));
        QVERIFY(probe->playScript());
        verifyHas("0-1-done.mp4", range(0, 25));
        verifyHas("1-1-done.mp4", range(0, 25));
        verifyHas("1-2-done.mp4", range(25, 25));
    }

    void isDateChanged_reportsEachMidnightOnce()
    {
        makeProbe(QDateTime(QDate(2024, 2, 28), QTime(23, 59, 59)));
        QVector<bool> results;
        const auto ask = [&] { results << probe->isDateChanged(); };
        const auto askTwice = [&] {
            ask();
            ask();
        };
        probe->script.addAction(askTwice);
        advance(2 * second);
        probe->script.addAction(askTwice);
        probe->script.addAction([&] { probe->closeMP4(Thread::MANUAL_RECORD); });
        advance(24 * 3600 * second);
        probe->script.addAction(askTwice);
        probe->script.addAction([&] { probe->closeMP4(Thread::AUTO_RECORD); });
        probe->script.addAction([&] { QVERIFY(probe->recordDate.isNull()); });
        advance(24 * 3600 * second);
        probe->script.addAction(askTwice);
        QVERIFY(probe->playScript());
        QCOMPARE(results, QVector<bool>({false, false, true, false, true, false, false, false}));
    }

    void recordingDate_isForgotten_whenTheLoopEnds()
    {
        probe->recordStart(Thread::MANUAL_RECORD);
        probe->script.add(pictures(0, 5));
        probe->script.addAction([&] { QCOMPARE(probe->recordDate, QDate(2024, 2, 29)); });
        QVERIFY(probe->playScript());
        QVERIFY(probe->recordDate.isNull());
    }

    // --- Failures

    void open_isTriedWithEveryFrame_whileItFails()
    {
        guard->allow("^could not open ");
        guard->allow("^createMp4 err = 5$");
        guard->allow("^could not create ");
        const QString loss = "^lost 25 pictures and 0 packets of sound in .+: the file could not be created \\[";
        guard->allow(loss);
        QFile obstacle(path("a"));
        QVERIFY(obstacle.open(QIODevice::WriteOnly));
        probe->setFolder(path("a"));
        probe->recordStart(Thread::MANUAL_RECORD);
        probe->script.add(pictures(0, 25));
        probe->script.addAction([&] { probe->setFolder(folder->path()); });
        probe->script.add(pictures(25, 25));
        QVERIFY(probe->playScript());
        QCOMPARE(probe->log.count("state 3"), 25);
        QCOMPARE(probe->log.count("name 0"), 26);
        QCOMPARE(probe->log.count("rename 0"), 1);
        verifyHas("0-26-done.mp4", range(25, 25));
        QVERIFY(guard->contains(loss));
    }

    void errors_closeTheFiles_whenTheyEndTheThread()
    {
        guard->allow("^read frame error$");
        probe->recordStart(Thread::MANUAL_RECORD);
        probe->recordStart(Thread::AUTO_RECORD);
        probe->script.add(pictures(0, 30));
        probe->script.addResult(-1, 4);
        QVERIFY(probe->playScript());
        verifyHas("0-1-done.mp4", range(0, 30));
        verifyHas("1-1-done.mp4", range(0, 30));
        QVERIFY(!probe->hasOpenFile());
    }

    // --- Times

    void file_isAsLongAsItsPictures_whateverTheTimesOfTheDevice_data()
    {
        QTest::addColumn<quint64>("begin");
        QTest::newRow("from 0") << quint64(0);
        QTest::newRow("since the device started") << quint64(123456789);
        QTest::newRow("since the epoch") << quint64(1700000000000);
    }
    void file_isAsLongAsItsPictures_whateverTheTimesOfTheDevice()
    {
        QFETCH(quint64, begin);
        probe->recordStart(Thread::MANUAL_RECORD);
        probe->script.add(DeviceStream::shifted(withSound(0, 75), begin));
        QVERIFY(probe->playScript());
        verifyHas("0-1-done.mp4", range(0, 75));
        const MovieFile movie(path("0-1-done.mp4"));
        QVERIFY(qAbs(movie.audioDuration() - 3) < soundKeptByEncoder);
        QVERIFY(movie.plays());
    }
};

QTEST_GUILESS_MAIN(TestPvProtoRecording)
#include "tst_pvprotorecording.moc"
