#include "core_vod/xrtavoddlthread.h"

#include "core_videosave/smalldisk.h"
#include "support/clips.h"
#include "support/downloadlog.h"
#include "support/fakedevice.h"
#include "support/faultydevice.h"
#include "support/messageguard.h"
#include "support/moviefile.h"
#include "support/resourcecount.h"
#include "support/timezone.h"

#include <QDir>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

Q_DECLARE_METATYPE(VodSdp)

namespace {

constexpr unsigned channel = 3;
constexpr int endMs = 60000;
constexpr qint64 dayMs = 24 * 60 * 60 * 1000;
const QString gapWarning = "^-----cur pts = ";

/// A device writes local times as if they were UTC.
quint64 stampOf(const QString& text)
{
    const QDate date = QDate::fromString(text.left(8), "yyyyMMdd");
    const QTime time = QTime::fromString(text.mid(9), "HHmmss");
    return quint64(QDateTime(date, time, Qt::UTC).toMSecsSinceEpoch());
}

QDateTime timeOf(const QString& text) { return QDateTime::fromString(text, "yyyyMMddTHHmmss"); }

VodSdp h264Sdp()
{
    VodSdp sdp;
    sdp.hasVideo = 1;
    sdp.hasAudio = 1;
    sdp.streamId = 1;
    sdp.video = {1, Clips::size.width(), Clips::size.height(), 0, 1, 0};
    sdp.audio = {33, 8000, 16, 1};
    return sdp;
}

VodSdp h265Sdp()
{
    VodSdp sdp = h264Sdp();
    sdp.video.codec = 2;
    return sdp;
}

DeviceFrames twice(const DeviceFrames& frames) { return DeviceStream::joined(frames, frames); }

/// A key frame every half a minute, each with the pictures that belong to it right behind it.
DeviceFrames sparse(DeviceFrames frames)
{
    constexpr int distanceMs = 30000;
    const int ms = DeviceStream::pictureMs;
    const int key = DeviceStream::keyDistance;
    for (int i = 0; i < frames.size(); ++i)
        frames[i].timestamp = quint64(i / key * distanceMs + i % key * ms);
    return frames;
}

} // namespace

class TestXRTAVodDLThread : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<MessageGuard> guard;
    std::unique_ptr<QTemporaryDir> folder;
    QSharedPointer<FakeDevice> device;
    std::unique_ptr<XRTAVodDLThread> thread;
    std::unique_ptr<DownloadLog> log;

    FrameScript& script() { return device->download(channel); }

    /// Frames whose times are those of the period from @p text on.
    void addFrames(const DeviceFrames& frames, const QString& text = "20240506T100000")
    {
        script().add(DeviceStream::shifted(frames, stampOf(text)));
    }

    void addEnd() { script().addResult(XRet::EndOfRecording); }

    bool download()
    {
        thread->startDL();
        return thread->wait(endMs);
    }

    QString saveDir() const
    {
        return QString("%1/%2/vod").arg(folder->path(), QDate::currentDate().toString("yyyy-MM-dd"));
    }

    QStringList files() const { return QDir(saveDir()).entryList(QDir::Files, QDir::Name); }

    MovieFile file(const QString& name) const { return MovieFile(saveDir() + '/' + name); }

    /// The pictures of these frames as anybody decodes them.
    QStringList hashesOf(const DeviceFrames& frames) const
    {
        QFile raw(folder->filePath(frames.first().codecId == 0 ? "raw.h264" : "raw.h265"));
        if (!raw.open(QIODevice::WriteOnly))
            return {};
        for (const DeviceFrame& frame : frames) {
            if (frame.isVideo())
                raw.write(frame.payload);
        }
        raw.close();
        return MovieFile(raw.fileName()).pictureHashes();
    }

    void verifyFile(const QString& name, const DeviceFrames& frames) const
    {
        const MovieFile movie = file(name);
        QVERIFY(movie.decodes());
        QVERIFY(movie.startsWithKeyFrame());
        const QStringList hashes = hashesOf(frames);
        QVERIFY(!hashes.isEmpty());
        QCOMPARE(movie.pictureHashes(), hashes);
    }

private Q_SLOTS:
    void init()
    {
        guard.reset(new MessageGuard);
        folder.reset(new QTemporaryDir);
        QVERIFY(folder->isValid());
        device.reset(new FakeDevice);
        device->setDownloadSdp(h264Sdp());
        thread.reset(new XRTAVodDLThread);
        log.reset(new DownloadLog(thread.get()));
        QVERIFY(thread->bindDevice(device, channel));
        thread->setSavePath(folder->path());
        thread->setDateTime(timeOf("20240506T100000"), timeOf("20240506T110000"));
    }

    void cleanup()
    {
        if (device)
            device->endReads();
        thread.reset();
        log.reset();
        device.clear();
        VERIFY_NO_UNEXPECTED_MESSAGES(*guard);
    }

    // --- What is asked of the device

    void bindDevice_refusesNull()
    {
        guard->allow("^pDev is null$");
        QVERIFY(!thread->bindDevice({}, 1));
        QCOMPARE(guard->texts(QtCriticalMsg), QStringList{"pDev is null"});
        addEnd();
        QVERIFY(download()); // from the device that was bound before
        QCOMPARE(log->lines(), (QStringList{"start", "finish true"}));
    }

    void download_asksTheDeviceInOrder()
    {
        addFrames(DeviceStream::h264().mid(0, 50));
        addEnd();
        QVERIFY(download());
        QCOMPARE(device->orders(),
                 (QStringList{"vodDownloadStart 3 20240506T100000 20240506T110000", "vodGetDownloadSdp 3",
                              "vodGetDownloadSdp 3", "vodDownloadStop 3"})); // one for each key frame
        QCOMPARE(device->count("vodReadDLFrame 3 300"), 51);
        QCOMPARE(log->lines(), (QStringList{"start", "finish true"}));
        QCOMPARE(guard->count(QtInfoMsg, "--exit download thread"), 1);
    }

    void setReadTimeout_isThatOfEveryRead()
    {
        thread->setReadTimeout(120);
        addEnd();
        QVERIFY(download());
        QCOMPARE(device->count("vodReadDLFrame 3 120"), 1);
        QCOMPARE(device->countOf("vodReadDLFrame"), 1);
    }

    void download_isRefused_data()
    {
        QTest::addColumn<int>("result");
        QTest::addColumn<QString>("signal");
        QTest::newRow("too many connections") << 17 << "exceed max";
        QTest::newRow("not supported") << 1 << "error";
        QTest::newRow("already enabled") << 14 << "error";
        QTest::newRow("another") << -5 << "error";
    }

    void download_isRefused()
    {
        QFETCH(int, result);
        QFETCH(QString, signal);
        guard->allow("^vodDownloadStart ret = ");
        guard->allow("^beforeReadFrame err$");
        device->setResult("vodDownloadStart", result);
        QVERIFY(download());
        QCOMPARE(log->lines(), QStringList{signal});
        QCOMPARE(guard->texts(QtCriticalMsg),
                 (QStringList{QString("vodDownloadStart ret = %1").arg(result), "beforeReadFrame err"}));
        QCOMPARE(device->calls(), QStringList{"vodDownloadStart 3 20240506T100000 20240506T110000"});
        QVERIFY(files().isEmpty());
    }

    void download_isRefused_withoutADevice()
    {
        guard->allow("^pDev is null$");
        guard->allow("^beforeReadFrame err$");
        XRTAVodDLThread unbound;
        unbound.setSavePath(folder->path());
        DownloadLog unboundLog(&unbound);
        unbound.startDL();
        QVERIFY(unbound.wait(endMs));
        QCOMPARE(unboundLog.lines(), QStringList{"error"});
        QCOMPARE(guard->texts(QtCriticalMsg), (QStringList{"pDev is null", "beforeReadFrame err"}));
    }

    // --- What is written

    void download_writesEveryFrame_fromTheFirstKeyFrameOn()
    {
        const DeviceFrames clip = DeviceStream::h264();
        DeviceFrames frames = twice(twice(clip)); // more than the recorder's queue holds, as fast as it can be read
        addFrames(clip.mid(5, 20), "20240506T095959");
        addFrames(frames);
        addEnd();
        QVERIFY(download());
        QCOMPARE(log->lines(), (QStringList{"start", "finish true"}));
        QCOMPARE(files(), QStringList{"20240506T100000_20240506T100019_3.mp4"});
        verifyFile(files().value(0), frames);
        QCOMPARE(file(files().value(0)).size(), QString("320x240"));
        QCOMPARE(file(files().value(0)).audioStreams(), 0);
        QVERIFY(qAbs(file(files().value(0)).videoDuration() - 20.0) < 0.1);
    }

    void download_writesH265()
    {
        device->setDownloadSdp(h265Sdp());
        addFrames(DeviceStream::h265());
        addEnd();
        QVERIFY(download());
        QCOMPARE(files(), QStringList{"20240506T100000_20240506T100004_3.mp4"});
        QCOMPARE(file(files().value(0)).videoCodec(), QString("hevc"));
        verifyFile(files().value(0), DeviceStream::h265());
    }

    void download_hasTheOpenNameWhileItIsWritten()
    {
        QStringList seen;
        addFrames(DeviceStream::h264());
        script().addAction([&] { seen = files(); });
        addEnd();
        QVERIFY(download());
        QCOMPARE(seen, QStringList{"20240506T100000.mp4"});
        QCOMPARE(files(), QStringList{"20240506T100000_20240506T100004_3.mp4"});
    }

    void download_replacesAFileOfTheSameName()
    {
        QVERIFY(QDir().mkpath(saveDir()));
        QFile old(saveDir() + "/20240506T100000_20240506T100004_3.mp4");
        QVERIFY(old.open(QIODevice::WriteOnly));
        old.write("old");
        old.close();
        addFrames(DeviceStream::h264());
        addEnd();
        QVERIFY(download());
        QCOMPARE(log->lines(), (QStringList{"start", "finish true"}));
        QCOMPARE(files(), QStringList{"20240506T100000_20240506T100004_3.mp4"});
        verifyFile(files().value(0), DeviceStream::h264());
    }

    void download_takesThePathAsItIs()
    {
        thread->setSavePath(folder->filePath("a %1 b %4"));
        addFrames(DeviceStream::h264());
        addEnd();
        QVERIFY(download());
        const QDir made(QString(folder->path() + "/a %1 b %4/") + QDate::currentDate().toString("yyyy-MM-dd") + "/vod");
        QCOMPARE(made.entryList(QDir::Files), QStringList{"20240506T100000_20240506T100004_3.mp4"});
    }

    void download_writesNothing_whenThereIsNoKeyFrame()
    {
        addFrames(DeviceStream::h264().mid(1, 24));
        addEnd();
        QVERIFY(download());
        QCOMPARE(log->lines(), (QStringList{"start", "finish true"}));
        QVERIFY(files().isEmpty());
        QCOMPARE(device->countOf("vodGetDownloadSdp"), 0);
    }

    void download_writesSound_data()
    {
        QTest::addColumn<bool>("isSaved");
        QTest::addColumn<int>("hasAudio");
        QTest::addColumn<int>("streams");
        QTest::newRow("wanted") << true << 1 << 1;
        QTest::newRow("not wanted") << false << 1 << 0;
        QTest::newRow("wanted, but the device says it has none") << true << 0 << 0;
    }

    void download_writesSound()
    {
        QFETCH(bool, isSaved);
        QFETCH(int, hasAudio);
        QFETCH(int, streams);
        VodSdp sdp = h264Sdp();
        sdp.hasAudio = quint8(hasAudio);
        device->setDownloadSdp(sdp);
        thread->setSaveAudio(isSaved);
        const DeviceFrames frames = DeviceStream::mixed(DeviceStream::h264(), DeviceStream::sound());
        addFrames(frames);
        addEnd();
        QVERIFY(download());
        QCOMPARE(log->lines(), (QStringList{"start", "finish true"}));
        QCOMPARE(files(), QStringList{"20240506T100000_20240506T100004_3.mp4"});
        verifyFile(files().value(0), frames);
        const MovieFile movie = file(files().value(0));
        QCOMPARE(movie.audioStreams(), streams);
        if (streams > 0) {
            QCOMPARE(movie.audioCodec(), QString("aac"));
            // The encoder keeps its last frames, of 128 ms each, for itself.
            const double seconds = movie.audioDuration();
            QVERIFY2(seconds > 4.5 && seconds < 5.2, qPrintable(QString::number(seconds)));
        }
    }

    void download_closesGaps()
    {
        guard->allow(gapWarning);
        DeviceFrames frames = DeviceStream::h264();
        for (int i = 50; i < frames.size(); ++i)
            frames[i].timestamp += 5000;
        addFrames(frames);
        addEnd();
        QVERIFY(download());
        QCOMPARE(files(), QStringList{"20240506T100000_20240506T100009_3.mp4"});
        verifyFile(files().value(0), frames);
        const double seconds = file(files().value(0)).videoDuration();
        QVERIFY2(qAbs(seconds - 5.46) < 0.05, qPrintable(QString::number(seconds))); // 0.5 instead of 0.04 between two
    }

    // --- Where files are cut

    void saveInterval_cutsAtTheFirstKeyFrameBehindIt_data()
    {
        QTest::addColumn<int>("seconds");
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<QVector<int>>("begins");
        const QStringList whole{"20240506T100000_20240506T100200_3.mp4"};
        QTest::newRow("exactly a minute is not more") // key frames are 30 s apart
            << 60
            << QStringList{"20240506T100000_20240506T100130_3.mp4", "20240506T100130_20240506T100200_3.mp4"}
            << QVector<int>{0, 75};
        QTest::newRow("59 s") << 59
                              << QStringList{"20240506T100000_20240506T100100_3.mp4",
                                             "20240506T100100_20240506T100200_3.mp4",
                                             "20240506T100200_20240506T100200_3.mp4"}
                              << QVector<int>{0, 50, 100};
        QTest::newRow("0") << 0 << whole << QVector<int>{0};
        QTest::newRow("-1") << -1 << whole << QVector<int>{0};
        QTest::newRow("as long as can be") << 2147483647 << whole << QVector<int>{0};
    }

    void saveInterval_cutsAtTheFirstKeyFrameBehindIt()
    {
        QFETCH(int, seconds);
        QFETCH(QStringList, names);
        QFETCH(QVector<int>, begins);
        guard->allow(gapWarning);
        thread->setSaveInterval(seconds);
        const DeviceFrames frames = sparse(DeviceStream::h264());
        addFrames(frames);
        addEnd();
        QVERIFY(download());
        QCOMPARE(log->lines(), (QStringList{"start", "finish true"}));
        QCOMPARE(files(), names);
        for (int i = 0; i < begins.size(); ++i)
            verifyFile(names.at(i), frames.mid(begins.at(i), begins.value(i + 1, frames.size()) - begins.at(i)));
    }

    void codecChange_cutsTheFile()
    {
        addFrames(DeviceStream::h264());
        script().addAction([this] { device->setDownloadSdp(h265Sdp()); });
        addFrames(DeviceStream::h265(), "20240506T100005");
        addEnd();
        QVERIFY(download());
        QCOMPARE(log->lines(), (QStringList{"start", "finish true"}));
        QCOMPARE(files(), (QStringList{"20240506T100000_20240506T100005_3.mp4",
                                       "20240506T100005_20240506T100009_3.mp4"}));
        QCOMPARE(file(files().value(0)).videoCodec(), QString("h264"));
        QCOMPARE(file(files().value(1)).videoCodec(), QString("hevc"));
        verifyFile(files().value(0), DeviceStream::h264());
        verifyFile(files().value(1), DeviceStream::h265());
    }

    void description_cutsTheFile_data()
    {
        QTest::addColumn<VodSdp>("other");
        QTest::addColumn<bool>("withSound");
        QTest::addColumn<int>("count");
        VodSdp sdp = h264Sdp();
        QTest::newRow("the same") << sdp << true << 1;
        sdp.streamId = 2;
        QTest::newRow("another stream") << sdp << false << 2;
        sdp = h264Sdp();
        sdp.video.width = 352;
        QTest::newRow("width") << sdp << false << 2;
        sdp = h264Sdp();
        sdp.video.height = 288;
        QTest::newRow("height") << sdp << false << 2;
        sdp = h264Sdp();
        sdp.video = {1, Clips::size.width(), Clips::size.height(), 7, 8, 9};
        QTest::newRow("other video parameters") << sdp << false << 1;
        sdp = h264Sdp();
        sdp.video.codec = 0;
        QTest::newRow("no video description") << sdp << false << 1;
        sdp = h264Sdp();
        sdp.audio = {34, 8000, 16, 1};
        QTest::newRow("sound codec") << sdp << true << 2;
        QTest::newRow("sound codec, sound not written") << sdp << false << 1;
        sdp.audio = {33, 16000, 16, 1};
        QTest::newRow("sample rate") << sdp << true << 2;
        sdp.audio = {33, 8000, 8, 1};
        QTest::newRow("bits of a sample") << sdp << true << 2;
        sdp.audio = {33, 8000, 16, 2};
        QTest::newRow("sound channels") << sdp << true << 2;
        sdp.audio = {0, 8000, 16, 1};
        QTest::newRow("no sound description") << sdp << true << 1;
    }

    void description_cutsTheFile()
    {
        QFETCH(VodSdp, other);
        QFETCH(bool, withSound);
        QFETCH(int, count);
        thread->setSaveAudio(withSound);
        const DeviceFrames frames = DeviceStream::h264();
        addFrames(frames.mid(0, 50));
        script().addAction([&] { device->setDownloadSdp(other); });
        script().add(DeviceStream::shifted(frames.mid(50), stampOf("20240506T100000")));
        addEnd();
        QVERIFY(download());
        QCOMPARE(log->lines(), (QStringList{"start", "finish true"}));
        if (count == 1) {
            QCOMPARE(files(), QStringList{"20240506T100000_20240506T100004_3.mp4"});
            verifyFile(files().value(0), frames);
        } else {
            QCOMPARE(files(), (QStringList{"20240506T100000_20240506T100002_3.mp4",
                                           "20240506T100002_20240506T100004_3.mp4"}));
            verifyFile(files().value(0), frames.mid(0, 50));
            verifyFile(files().value(1), frames.mid(50));
        }
    }

    /// A device that says it has no sound, and describes it all the same, does not change at every key frame.
    void description_doesNotCut_whenThereIsNoSound()
    {
        VodSdp sdp = h264Sdp();
        sdp.hasAudio = 0;
        device->setDownloadSdp(sdp);
        thread->setSaveAudio(true);
        addFrames(DeviceStream::h264());
        addEnd();
        QVERIFY(download());
        QCOMPARE(files(), QStringList{"20240506T100000_20240506T100004_3.mp4"});
    }

    void description_thatFails_cutsTheFile_data()
    {
        QTest::addColumn<QVector<int>>("answers");
        QTest::addColumn<int>("messages");
        QTest::newRow("once") << QVector<int>{0, 5} << 1;
        QTest::newRow("also for the new file") << QVector<int>{0, 5, 5} << 2; // which is written as the one before
    }

    void description_thatFails_cutsTheFile()
    {
        QFETCH(QVector<int>, answers);
        QFETCH(int, messages);
        guard->allow("^vodGetDownloadSdp ret = 5$");
        device->queueResults("vodGetDownloadSdp", answers);
        const DeviceFrames frames = DeviceStream::h264();
        addFrames(frames);
        addEnd();
        QVERIFY(download());
        QCOMPARE(guard->count(QtCriticalMsg, "vodGetDownloadSdp ret = 5"), messages);
        QCOMPARE(log->lines(), (QStringList{"start", "finish true"}));
        QCOMPARE(files(), (QStringList{"20240506T100000_20240506T100001_3.mp4",
                                       "20240506T100001_20240506T100004_3.mp4"}));
        verifyFile(files().value(0), frames.mid(0, 25));
        verifyFile(files().value(1), frames.mid(25));
    }

    void description_thatIsMissing_endsTheDownload_data()
    {
        QTest::addColumn<VodSdp>("sdp");
        QTest::addColumn<int>("result");
        VodSdp sdp = h264Sdp();
        sdp.hasVideo = 0;
        QTest::newRow("no video") << sdp << 0;
        sdp = h264Sdp();
        sdp.video.codec = 3;
        QTest::newRow("codec") << sdp << 0;
        sdp = h264Sdp();
        sdp.video.width = 0;
        QTest::newRow("width") << sdp << 0;
        sdp = h264Sdp();
        sdp.video.height = 0;
        QTest::newRow("height") << sdp << 0;
        QTest::newRow("refused") << h264Sdp() << 7;
    }

    void description_thatIsMissing_endsTheDownload()
    {
        QFETCH(VodSdp, sdp);
        QFETCH(int, result);
        guard->allow("^vodGetDownloadSdp ret = 7$");
        device->setDownloadSdp(sdp);
        device->setResult("vodGetDownloadSdp", result);
        addFrames(DeviceStream::h264());
        addEnd();
        QVERIFY(download());
        QCOMPARE(log->lines(), (QStringList{"start", "error", "finish false"}));
        QVERIFY(files().isEmpty());
        QCOMPARE(device->countOf("vodReadDLFrame"), 1);
        QCOMPARE(device->orders().last(), QString("vodDownloadStop 3"));
    }

    /// Of the device before, that is: what it sent says nothing about this one.
    void description_ofTheDownloadBefore_isForgotten()
    {
        guard->allow("^vodGetDownloadSdp ret = 7$");
        addFrames(DeviceStream::h264());
        addEnd();
        QVERIFY(download());
        device->setResult("vodGetDownloadSdp", 7);
        addFrames(DeviceStream::h265(), "20240506T103000");
        addEnd();
        QVERIFY(download());
        QCOMPARE(log->lines(), (QStringList{"start", "finish true", "start", "error", "finish false"}));
        QCOMPARE(files().size(), 1);
    }

    // --- Names

    void name_isThatOfTheDay_data()
    {
        QTest::addColumn<QByteArray>("zone");
        QTest::addColumn<QString>("periodBegin");
        QTest::addColumn<QString>("firstPicture");
        QTest::addColumn<QString>("name");
        QTest::newRow("UTC") << QByteArray("UTC") << "20240506T100000" << "20240506T101500"
                             << "20240506T101500_20240506T101504_3.mp4";
        QTest::newRow("far from UTC") << QByteArray("Asia/Shanghai") << "20240506T220000" << "20240506T233000"
                                      << "20240506T233000_20240506T233004_3.mp4";
        QTest::newRow("over midnight") << QByteArray("UTC") << "20240506T230000" << "20240506T235957"
                                       << "20240506T000000_20240506T000001_3.mp4";
        QTest::newRow("behind midnight") << QByteArray("UTC") << "20240506T230000" << "20240507T000500"
                                         << "20240506T000500_20240506T000504_3.mp4";
        QTest::newRow("hour that summer time leaves out") << QByteArray("Europe/Berlin") << "20240331T010000"
                                                          << "20240331T023000"
                                                          << "20240331T023000_20240331T023004_3.mp4";
        QTest::newRow("summer") << QByteArray("Europe/Berlin") << "20240710T080000" << "20240710T081000"
                                << "20240710T081000_20240710T081004_3.mp4";
        QTest::newRow("hour that winter time repeats") << QByteArray("Europe/Berlin") << "20241027T010000"
                                                       << "20241027T023000"
                                                       << "20241027T023000_20241027T023004_3.mp4";
        QTest::newRow("summer time begins at midnight") << QByteArray("America/Asuncion") << "20241006T010000"
                                                        << "20241006T003000"
                                                        << "20241006T003000_20241006T003004_3.mp4";
    }

    void name_isThatOfTheDay()
    {
        QFETCH(QByteArray, zone);
        QFETCH(QString, periodBegin);
        QFETCH(QString, firstPicture);
        QFETCH(QString, name);
        const TimeZone local(zone);
        thread->setDateTime(timeOf(periodBegin), timeOf(periodBegin).addSecs(2 * 60 * 60));
        addFrames(DeviceStream::h264(), firstPicture);
        addEnd();
        QVERIFY(download());
        QCOMPARE(log->lines(), (QStringList{"start", "finish true"}));
        QCOMPARE(files(), QStringList{name});
    }

    void name_beginsAtMidnight_whenTheFileRunsOverIt()
    {
        thread->setDateTime(timeOf("20240506T230000"), timeOf("20240507T010000"));
        DeviceFrames frames = DeviceStream::h264(); // from 23:59:50 to 00:00:10
        for (int i = 0; i < frames.size(); ++i)
            frames[i].timestamp = quint64(i) * 20000 / quint64(frames.size() - 1);
        script().add(DeviceStream::shifted(frames, stampOf("20240506T235950")));
        addEnd();
        QVERIFY(download());
        QCOMPARE(files(), QStringList{"20240506T000000_20240506T000010_3.mp4"});
        verifyFile(files().value(0), frames);
    }

    // --- How far it is

    void sig_downloadPts_comesOnceForMoreThanASecond()
    {
        addFrames(DeviceStream::h264());
        addEnd();
        QVERIFY(download());
        const qint64 begin = qint64(stampOf("20240506T100000"));
        // That of the first picture is not sent, because nothing is written yet.
        QCOMPARE(log->positions(), (QVector<qint64>{begin + 1040, begin + 2080, begin + 3120, begin + 4160}));
    }

    void sig_downloadPts_isSilent_whileNothingIsWritten()
    {
        addFrames(sparse(DeviceStream::h264()).mid(26, 24));
        addEnd();
        QVERIFY(download());
        QVERIFY(log->positions().isEmpty());
    }

    void sig_downloadPts_isQueuedToOtherThreads()
    {
        QVector<qint64> seen;
        bool isHere = true;
        connect(thread.get(), &AbstractVideoDLThread::sig_downloadPts, this, [&](qint64 pts) {
            seen << pts;
            isHere = isHere && QThread::currentThread() == this->thread->thread();
        });
        addFrames(DeviceStream::h264());
        addEnd();
        thread->startDL();
        QTRY_COMPARE_WITH_TIMEOUT(seen.size(), 4, endMs);
        QCOMPARE(seen.first(), qint64(stampOf("20240506T100000") + 1040));
        QVERIFY(isHere);
        QVERIFY(thread->wait(endMs));
        thread->disconnect(this);
    }

    // --- How it ends

    void download_ends_afterElevenTimeouts()
    {
        script().addResult(XRet::Timeout, 10);
        addFrames(DeviceStream::h264().mid(0, 1)); // counted anew from here on
        script().addResult(XRet::Timeout, 11);
        addFrames(DeviceStream::h264().mid(1));
        thread->setReadTimeout(1);
        QVERIFY(download());
        QCOMPARE(log->lines(), (QStringList{"start", "finish false"}));
        QCOMPARE(guard->count(QtInfoMsg, "read frame timeout"), 21);
        QCOMPARE(device->countOf("vodReadDLFrame"), 22);
        QCOMPARE(files(), QStringList{"20240506T100000_20240506T100000_3.mp4"});
        QCOMPARE(file(files().value(0)).pictureCount(), 1);
    }

    void download_goesOn_afterTenTimeouts()
    {
        thread->setReadTimeout(1);
        script().addResult(XRet::Timeout, 10);
        addFrames(DeviceStream::sound().mid(0, 1)); // any frame counts
        script().addResult(XRet::Timeout, 10);
        addFrames(DeviceStream::h264());
        script().addResult(XRet::Timeout, 10);
        addEnd();
        QVERIFY(download());
        QCOMPARE(log->lines(), (QStringList{"start", "finish true"}));
        verifyFile("20240506T100000_20240506T100004_3.mp4", DeviceStream::h264());
    }

    void download_countsTimeoutsAnew()
    {
        thread->setReadTimeout(1);
        script().addResult(XRet::Timeout, 11);
        QVERIFY(download());
        script().addResult(XRet::Timeout, 10);
        addEnd();
        QVERIFY(download());
        QCOMPARE(log->lines(), (QStringList{"start", "finish false", "start", "finish true"}));
    }

    void download_ends_whenTheDeviceFails_data()
    {
        QTest::addColumn<int>("result");
        for (const int result : {1, 2, 14, 17, -1})
            QTest::newRow(QByteArray::number(result)) << result;
    }

    void download_ends_whenTheDeviceFails()
    {
        QFETCH(int, result);
        addFrames(DeviceStream::h264());
        script().addResult(result);
        addFrames(DeviceStream::h264(), "20240506T100005");
        QVERIFY(download());
        QCOMPARE(log->lines(), (QStringList{"start", "finish false"}));
        QCOMPARE(device->orders().last(), QString("vodDownloadStop 3"));
        QCOMPARE(files(), QStringList{"20240506T100000_20240506T100004_3.mp4"});
        verifyFile(files().value(0), DeviceStream::h264()); // what there was
    }

    void stopDL_completesTheFile()
    {
        addFrames(DeviceStream::h264());
        script().setIdle(FrameScript::Idle::Timeout);
        thread->startDL();
        QVERIFY(script().waitUntilConsumed());
        thread->stopDL();
        QVERIFY(thread->isFinished());
        QCOMPARE(log->lines(), (QStringList{"start", "finish false"}));
        QCOMPARE(device->orders().last(), QString("vodDownloadStop 3"));
        QCOMPARE(files(), QStringList{"20240506T100000_20240506T100004_3.mp4"});
        verifyFile(files().value(0), DeviceStream::h264());
    }

    void stopDL_endsInMidFlow()
    {
        script().setClip(DeviceStream::shifted(DeviceStream::h264(), stampOf("20240506T100000")));
        thread->startDL();
        QTRY_VERIFY_WITH_TIMEOUT(log->positions().size() > 20, endMs);
        thread->stopDL();
        QCOMPARE(log->lines(), (QStringList{"start", "finish false"}));
        QCOMPARE(files().size(), 1);
        QVERIFY2(QRegularExpression("^20240506T100000_20240506T10\\d{4}_3\\.mp4$").match(files().value(0)).hasMatch(),
                 qPrintable(files().value(0)));
        QVERIFY(file(files().value(0)).decodes());
        QVERIFY(file(files().value(0)).pictureCount() > 500);
    }

    void destructor_endsTheDownload()
    {
        const ResourceCount before = ResourceCount::now();
        script().setClip(DeviceStream::shifted(DeviceStream::h264(), stampOf("20240506T100000")));
        thread->startDL();
        QTRY_VERIFY_WITH_TIMEOUT(!log->positions().isEmpty(), endMs);
        thread.reset();
        QCOMPARE(device->orders().last(), QString("vodDownloadStop 3"));
        QCOMPARE(log->lines(), (QStringList{"start", "finish false"}));
        QCOMPARE(files().size(), 1);
        QVERIFY(file(files().value(0)).decodes());
        QVERIFY(ResourceCount::waitUntilNotAbove(before));
    }

    void download_canBeStartedAgain()
    {
        addFrames(DeviceStream::h264());
        addEnd();
        QVERIFY(download());
        thread->setDateTime(timeOf("20240506T120000"), timeOf("20240506T130000"));
        addFrames(DeviceStream::h264(), "20240506T120000");
        addEnd();
        QVERIFY(download());
        QCOMPARE(log->lines(), (QStringList{"start", "finish true", "start", "finish true"}));
        QCOMPARE(files(), (QStringList{"20240506T100000_20240506T100004_3.mp4",
                                       "20240506T120000_20240506T120004_3.mp4"}));
        verifyFile(files().value(1), DeviceStream::h264());
        // Reported anew from the first picture on.
        QCOMPARE(log->positions().mid(4).first(), qint64(stampOf("20240506T120000") + 1040));
    }

    void startDL_startsAgain_whereTheEndIsReported()
    {
        constexpr int rounds = 20;
        for (int i = 0; i < rounds; ++i)
            addEnd();
        int ends = 0;
        connect(thread.get(), &AbstractVideoDLThread::sig_downloadFinsh, this, [&] {
            if (++ends < rounds)
                thread->startDL();
        });
        thread->startDL();
        QTRY_COMPARE_WITH_TIMEOUT(ends, rounds, endMs);
        QVERIFY(thread->wait(endMs));
        QCOMPARE(log->lines().count("start"), rounds);
        QCOMPARE(log->lines().count("finish true"), rounds);
        thread->disconnect(this);
    }

    void startDL_startsAgain_whereTheRefusalIsReported()
    {
        guard->allow("^vodDownloadStart ret = 17$");
        guard->allow("^beforeReadFrame err$");
        constexpr int refusals = 20;
        device->queueResults("vodDownloadStart", QVector<int>(refusals, 17));
        addEnd();
        connect(thread.get(), &AbstractVideoDLThread::sig_downloadErrConnExceedMax, this, [&] { thread->startDL(); });
        int ends = 0;
        connect(thread.get(), &AbstractVideoDLThread::sig_downloadFinsh, this, [&] { ++ends; });
        thread->startDL();
        QTRY_COMPARE_WITH_TIMEOUT(ends, 1, endMs);
        QCOMPARE(log->lines().count("exceed max"), refusals);
        QVERIFY(thread->wait(endMs));
        thread->disconnect(this);
    }

    // --- Disks

    void file_thatCannotBeOpened_endsTheDownload()
    {
        guard->allow("^could not (open|create) ");
        guard->allow("^createMp4 err = 5$");
        guard->allow("^lost \\d+ pictures .+: the file could not be created \\[");
        QFile blocker(folder->filePath("file"));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        thread->setSavePath(blocker.fileName());
        addFrames(DeviceStream::h264());
        addEnd();
        QVERIFY(download());
        QCOMPARE(log->lines(), (QStringList{"start", "error", "finish false"}));
        QCOMPARE(guard->count(QtCriticalMsg, "createMp4 err = 5"), 1);
        QCOMPARE(device->orders().last(), QString("vodDownloadStop 3"));
    }

    /// As on a disk that has become full: what was written before stays.
    void file_thatCannotBeWritten_endsTheDownload_data()
    {
        QTest::addColumn<bool>("isDisk");
        QTest::addColumn<int>("bytes");
        QTest::addColumn<int>("frames");
        QTest::newRow("in mid-file") << false << SmallDisk::bytes << 4000;
        QTest::newRow("behind the last frame") << false << 4096 << 20; // a single key frame is written at the end
        if (SmallDisk::isPossible())
            QTest::newRow("full file system") << true << 0 << 4000;
    }

    void file_thatCannotBeWritten_endsTheDownload()
    {
        QFETCH(bool, isDisk);
        QFETCH(int, bytes);
        QFETCH(int, frames);
        guard->allow("^write video ?\\[-(28|27):");
        guard->allow("^lost \\d+ pictures .+: (No space left on device|File too large) \\[");
        guard->allow("^videoIndex = -1, audioIndex = -1$"); // for the frame that the recorder was given at that moment
        QVERIFY(QDir().mkpath(saveDir()));
        std::unique_ptr<SmallDisk> disk;
        std::unique_ptr<FileSizeLimit> limit;
        if (isDisk) {
            disk = std::make_unique<SmallDisk>(saveDir());
            QVERIFY(disk->isMounted());
        } else {
            limit = std::make_unique<FileSizeLimit>(static_cast<unsigned long>(bytes));
        }
        DeviceFrames recording = DeviceStream::h264();
        while (recording.size() < frames)
            recording = twice(recording);
        addFrames(recording.mid(0, frames));
        addEnd();
        QVERIFY(download());
        limit.reset();
        QCOMPARE(log->lines(), (QStringList{"start", "error", "finish false"}));
        QCOMPARE(device->orders().last(), QString("vodDownloadStop 3"));
        QCOMPARE(files().size(), 1);
        QVERIFY2(files().value(0).endsWith("_3.mp4"), qPrintable(files().value(0)));
        if (frames > DeviceStream::keyDistance) {
            QVERIFY(script().taken() < frames); // it ended there and then
            QVERIFY(file(files().value(0)).pictureCount() > DeviceStream::keyDistance); // what was written stays
        }
    }

    void file_thatVanishes_endsTheDownload_data()
    {
        QTest::addColumn<int>("seconds");
        QTest::addColumn<int>(
            "mostReads"); // the recorder notices with the fragment that it writes then, or with the next
        QTest::newRow("noticed at the end") << -1 << 126;
        QTest::newRow("noticed between two files") << 1 << 51; // at the key frame that opens the second one
    }

    void file_thatVanishes_endsTheDownload()
    {
        QFETCH(int, seconds);
        QFETCH(int, mostReads);
        const QString message = saveDir() + "/20240506T100000.mp4 could not be completed";
        guard->allow("^" + QRegularExpression::escape(message) + "$");
        guard->allow("^lost \\d+ pictures .+: the file was removed \\[");
        guard->allow("^videoIndex = -1, audioIndex = -1$"); // for the frame that the recorder was given at that moment
        thread->setSaveInterval(seconds);
        const DeviceFrames frames = DeviceStream::h264();
        addFrames(frames.mid(0, 10));
        script().addAction([this] { QVERIFY(QDir(folder->filePath(QDate::currentDate().toString("yyyy-MM-dd")))
                                                .removeRecursively()); });
        script().add(DeviceStream::shifted(frames.mid(10), stampOf("20240506T100000")));
        addEnd();
        QVERIFY(download());
        QCOMPARE(log->lines(), (QStringList{"start", "error", "finish false"}));
        QCOMPARE(guard->count(QtCriticalMsg, message), 1);
        const int reads = device->countOf("vodReadDLFrame");
        QVERIFY2(reads > 10 && reads <= mostReads, qPrintable(QString::number(reads)));
        QVERIFY(guard->contains("^lost \\d+ pictures .+: the file was removed \\["));
    }

    // --- Frames that make no sense

    void download_survivesBadFrames_data()
    {
        QTest::addColumn<int>("index");
        const QVector<Fault> faults = Fault::badFrames();
        for (int i = 0; i < faults.size(); ++i)
            QTest::newRow(qPrintable(QString("%1 %2").arg(i).arg(faults.at(i).name))) << i;
    }

    void download_survivesBadFrames()
    {
        QFETCH(int, index);
        guard->allow("^videoIndex = ");
        guard->allow("^no packet for a frame of ");
        guard->allow("^a picture of \\d+ bytes without a NAL unit was left out$");
        guard->allow("^write (video|audio)");
        guard->allow("^errno:");
        guard->allow(gapWarning);
        thread->setSaveAudio(true);
        const QSharedPointer<FaultyDevice> faulty(new FaultyDevice(device));
        faulty->add(Fault::none(60));
        faulty->add(Fault::badFrames(3).at(index));
        QVERIFY(thread->bindDevice(faulty, channel));
        addFrames(DeviceStream::mixed(DeviceStream::h264(), DeviceStream::sound()));
        addEnd();
        QVERIFY(download());
        QVERIFY(faulty->isDone());
        QCOMPARE(log->lines().first(), QString("start"));
        QVERIFY2(log->lines().last() == "finish true", qPrintable(log->lines().join(' ')));
        QCOMPARE(files().size(), 1);
        QVERIFY(file(files().value(0)).pictureCount() >= 2 * DeviceStream::keyDistance);
    }
};

QTEST_GUILESS_MAIN(TestXRTAVodDLThread)

#include "tst_xrtavoddlthread.moc"
