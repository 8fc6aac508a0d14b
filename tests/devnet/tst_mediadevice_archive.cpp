#include "devnet/mediadevice.h"
#include "devicereader.h"

#include "core_videosave/savemp4ffmpeg.h"
#include "core_vod/xrtavoddlthread.h"
#include "support/clips.h"
#include "support/deviceframe.h"
#include "support/messageguard.h"
#include "support/moviefile.h"
#include "support/timezone.h"

#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <memory>

namespace {
constexpr int channel = 2;
constexpr int waitMs = 1000;
constexpr int pictureMs = 40;

QDateTime at(const QString& time) { return QDateTime(QDate(2024, 3, 5), QTime::fromString(time, "HH:mm:ss")); }

/// Time stamps are what the clock on the wall showed.
qint64 stampOf(const QDateTime& wall) { return QDateTime(wall.date(), wall.time(), Qt::UTC).toMSecsSinceEpoch(); }

QVector<qint64> stampsOf(const ReadFrames& frames)
{
    QVector<qint64> stamps;
    for (const ReadFrame& frame : frames)
        stamps << static_cast<qint64>(frame.header.timestamp);
    return stamps;
}

/// Reads a playback or a download by @p read until it answers something else than Ok, or has brought @p most frames.
template <typename Read>
XRetError readAll(Read read, ReadFrames& frames, int most = 100000)
{
    const std::unique_ptr<unsigned char[]> buffer(new unsigned char[XFrameHeader::bufferSize]());
    auto* header = reinterpret_cast<XFrameHeader*>(buffer.get());
    XRetError result = XRet::Ok;
    while (frames.size() < most && (result = read(header)) == XRet::Ok) {
        ReadFrame frame;
        frame.header = *header;
        frame.payload = QByteArray(reinterpret_cast<const char*>(buffer.get()) + offsetof(XFrameHeader, data),
                                   static_cast<int>(header->length));
        frame.readAt = QDateTime::currentMSecsSinceEpoch();
        frames.append(frame);
    }
    return result;
}
} // namespace

class TestMediaDeviceArchive : public QObject
{
    Q_OBJECT

private:
    QString path(const QString& name) const { return folder->filePath(name); }

    /// A recording of the clip, five seconds long.
    void record(const QString& name, const QString& clip = Clips::h264Mp4())
    {
        QDir().mkpath(QFileInfo(path(name)).path());
        QVERIFY(QProcess::execute("ffmpeg", {"-v", "error", "-y", "-i", clip, "-c", "copy", "-movflags",
                                             "frag_keyframe+delay_moov", path(name)}) == 0);
    }

    /// A recording of frames as a recorder makes it, wherever in a group of pictures they begin.
    void recordFrames(const QString& name, const DeviceFrames& frames)
    {
        SaveMp4FFmpeg saver;
        const auto isSound = [](const DeviceFrame& frame) { return !frame.isVideo(); };
        const bool hasSound = std::any_of(frames.begin(), frames.end(), isSound);
        const XAudioEncPara sound = hasSound ? XAudioEncPara{33, 8000, 16, 1} : XAudioEncPara();
        saver.setPara({1, Clips::size.width(), Clips::size.height(), 0, 1, 0}, sound, 100);
        saver.setTimebase({1, 1000});
        saver.open(path(name));
        const std::unique_ptr<unsigned char[]> buffer(new unsigned char[XFrameHeader::bufferSize]());
        auto* header = reinterpret_cast<XFrameHeader*>(buffer.get());
        for (const DeviceFrame& frame : frames) {
            QTRY_VERIFY(!saver.isQueueFull());
            frame.writeTo(header);
            saver.writeData(header);
        }
        saver.stop();
        QVERIFY(!saver.hasFileError());
    }

    void makeDevice(int maxStreams = 0)
    {
        MediaDeviceConfig config;
        config.channels = {{}, {}, {"", {"test:"}}, {"", {"test:"}}};
        config.archive = folder->path();
        config.maxStreams = maxStreams;
        device.reset(new MediaDevice(config));
    }

    XRetError download(ReadFrames& frames, const QDateTime& from, const QDateTime& to)
    {
        const XRetError started = device->vodDownloadStart(channel, {from, to});
        if (started != XRet::Ok)
            return started;
        const XRetError result
            = readAll([&](XFrameHeader* frame) { return device->vodReadDLFrame(channel, frame, waitMs); }, frames);
        device->vodDownloadStop(channel);
        return result;
    }

    XRetError play(ReadFrames& frames, int most, int timeout = waitMs)
    {
        return readAll([&](XFrameHeader* frame) { return device->vodReadFrame(channel, frame, timeout); }, frames,
                       most);
    }

    std::unique_ptr<MessageGuard> guard;
    std::unique_ptr<QTemporaryDir> folder;
    std::unique_ptr<MediaDevice> device;

private Q_SLOTS:
    void init()
    {
        guard.reset(new MessageGuard);
        folder.reset(new QTemporaryDir);
        QVERIFY(folder->isValid());
        makeDevice();
    }
    void cleanup()
    {
        device.reset();
        VERIFY_NO_UNEXPECTED_MESSAGES(*guard);
    }

    void recordings_areFoundByTheirNames()
    {
        for (const char* name : {"b/20240305T091005_20240305T091010_2.mp4", "20240305T091000_20240305T091005_2.mp4",
                                 "20240305T091000_20240305T091005_3.mp4", "20240305T100000.mp4", "holiday.mp4",
                                 "20240305T110000_20240305T11000x_2.mp4", "20240305T250000_20240305T260000_2.mp4"}) {
            QDir().mkpath(QFileInfo(path(name)).path());
            QVERIFY(QFile(path(name)).open(QIODevice::WriteOnly));
        }
        const QVector<MediaRecording> found = device->recordings(channel, at("00:00:00"), at("23:59:59"));
        QCOMPARE(found.size(), 2);
        QCOMPARE(found.at(0).start, at("09:10:00"));
        QCOMPARE(found.at(0).end, at("09:10:05"));
        QCOMPARE(found.at(1).start, at("09:10:05"));
        QCOMPARE(device->recordings(channel, at("09:10:06"), at("23:59:59")).size(), 1);
        QCOMPARE(device->recordings(channel, at("09:10:11"), at("23:59:59")).size(), 0);
        QCOMPARE(device->recordings(1, at("00:00:00"), at("23:59:59")).size(), 0);
    }

    /// Recordings have the times of their names, also those that the clock of this computer never shows.
    void recordings_areFound_inTheHourThatSummerTimeLeavesOut()
    {
        const TimeZone local("Europe/Berlin");
        record("20240331T023000_20240331T023005_2.mp4");
        const QDate day(2024, 3, 31);
        const QVector<MediaRecording> found
            = device->recordings(channel, QDateTime(day, QTime(0, 0)), QDateTime(day, QTime(23, 59)));
        QCOMPARE(found.size(), 1);
        QCOMPARE(found.first().start.date(), day);
        QCOMPARE(found.first().start.time(), QTime(2, 30, 0));
        QCOMPARE(found.first().end.time(), QTime(2, 30, 5));
    }

    void recordings_doNotEndBeforeTheyBegin()
    {
        record("20240305T025958_20240305T020003_2.mp4"); // as at the end of summer time
        record("20240305T100000_20240305T080000_2.mp4"); // by somebody
        const QVector<MediaRecording> found = device->recordings(channel, at("00:00:00"), at("23:59:59"));
        QCOMPARE(found.size(), 2);
        QCOMPARE(found.at(0).start, at("02:59:58"));
        QCOMPARE(found.at(0).end, at("03:00:03"));
        QCOMPARE(found.at(1).end, at("10:00:00"));

        ReadFrames frames;
        QCOMPARE(device->vodStart(channel, {at("00:00:00"), {}, at("03:00:01")}), XRet::Ok);
        QCOMPARE(play(frames, 1), XRet::Ok);
        QCOMPARE(stampsOf(frames).first(), stampOf(at("03:00:01")));
        QCOMPARE(device->vodSeek(channel, at("10:00:00")), XRet::Ok);
        frames.clear();
        QCOMPARE(play(frames, 1), XRet::Ok);
        QCOMPARE(stampsOf(frames).first(), stampOf(at("10:00:00")));
        device->vodStop(channel);
    }

    void download_handsOverEveryPicture_ofRecordingsThatFollowEachOther()
    {
        record("20240305T091000_20240305T091005_2.mp4");
        record("x/20240305T091005_20240305T091010_2.mp4");
        ReadFrames frames;
        QCOMPARE(download(frames, at("09:00:00"), at("10:00:00")), XRet::EndOfRecording);
        QCOMPARE(frames.size(), 2 * Clips::frameCount);
        const QStringList once = DeviceReader::pictureHashes(Clips::h264Mp4());
        QCOMPARE(DeviceReader::pictureHashes(DeviceReader::joined(frames), "h264"), once + once);
        const QVector<qint64> stamps = stampsOf(frames);
        QCOMPARE(stamps.first(), stampOf(at("09:10:00")));
        for (int n = 1; n < stamps.size(); ++n)
            QVERIFY2(qAbs(stamps.at(n) - stamps.at(n - 1) - pictureMs) <= 1, qPrintable(QString::number(n)));
        for (const ReadFrame& frame : qAsConst(frames))
            QCOMPARE(DeviceReader::problemOf(frame), QString());
    }

    void download_beginsWithTheKeyFrameBefore_andEndsWithThePeriod()
    {
        record("20240305T091000_20240305T091005_2.mp4");
        ReadFrames frames;
        QCOMPARE(download(frames, at("09:10:02").addMSecs(500), at("09:10:04")), XRet::EndOfRecording);
        QVERIFY(frames.first().isKey());
        QCOMPARE(stampsOf(frames).first(), stampOf(at("09:10:02")));
        QCOMPARE(stampsOf(frames).last(), stampOf(at("09:10:04")));
    }

    void download_describesWhatComes_andTellsAnotherStream()
    {
        record("20240305T091000_20240305T091005_2.mp4");
        record("20240305T091005_20240305T091010_2.mp4", Clips::h265Mp4());
        QCOMPARE(device->vodDownloadStart(channel, {at("09:00:00"), at("10:00:00")}), XRet::Ok);
        VodSdp first;
        QCOMPARE(device->vodGetDownloadSdp(channel, first), XRet::Ok);
        QVERIFY(first.hasVideo && !first.hasAudio);
        QCOMPARE(first.video.codec, 1);
        QCOMPARE(QSize(first.video.width, first.video.height), Clips::size);
        ReadFrames frames;
        QCOMPARE(readAll([&](XFrameHeader* frame) { return device->vodReadDLFrame(channel, frame, waitMs); }, frames,
                         Clips::frameCount),
                 XRet::Ok);
        VodSdp still;
        QCOMPARE(device->vodGetDownloadSdp(channel, still), XRet::Ok);
        QCOMPARE(still.streamId, first.streamId);
        QCOMPARE(readAll([&](XFrameHeader* frame) { return device->vodReadDLFrame(channel, frame, waitMs); }, frames,
                         Clips::frameCount + 1),
                 XRet::Ok);
        QVERIFY(frames.last().isKey());
        VodSdp other;
        QCOMPARE(device->vodGetDownloadSdp(channel, other), XRet::Ok);
        QVERIFY(other.streamId != first.streamId);
        QCOMPARE(other.video.codec, 2);
    }

    /// Recorders cut files at any picture, so most begin in the middle of a group.
    void download_isOneStream_whenAFileBeginsInAGroup()
    {
        const DeviceFrames frames = DeviceStream::h264();
        const int cut = 2 * DeviceStream::keyDistance + 10;
        recordFrames("20240305T091000_20240305T091002_2.mp4", frames.mid(0, cut));
        recordFrames("20240305T091002_20240305T091005_2.mp4", frames.mid(cut));
        QCOMPARE(device->vodDownloadStart(channel, {at("09:00:00"), at("10:00:00")}), XRet::Ok);
        VodSdp sdp;
        QCOMPARE(device->vodGetDownloadSdp(channel, sdp), XRet::Ok);
        const std::uint32_t stream = sdp.streamId;
        ReadFrames read;
        for (const DeviceFrame& frame : frames) {
            const auto next = [&](XFrameHeader* header) { return device->vodReadDLFrame(channel, header, waitMs); };
            QCOMPARE(readAll(next, read, read.size() + 1), XRet::Ok);
            QCOMPARE(DeviceReader::problemOf(read.last()), QString());
            QCOMPARE(read.last().isKey(), frame.isKeyFrame());
            QCOMPARE(device->vodGetDownloadSdp(channel, sdp), XRet::Ok);
            QVERIFY(sdp.streamId == stream && sdp.hasVideo && sdp.video.isValid());
        }
        QCOMPARE(DeviceReader::pictureHashes(DeviceReader::joined(read), "h264"),
                 DeviceReader::pictureHashes(Clips::deviceH264()));
    }

    /// Names have whole seconds, and are given when a file is opened.
    void times_areThoseOfThePictures_whereTheRecorderKeptThem_data()
    {
        QTest::addColumn<qint64>("away"); // milliseconds from the clock on the wall to that of the device
        QTest::addColumn<qint64>("first"); // behind 09:10:00
        QTest::addColumn<bool>("isEven");
        constexpr qint64 hour = 60 * 60 * 1000;
        QTest::newRow("local time") << qint64(0) << qint64(400) << true;
        QTest::newRow("UTC, in the west") << 5 * hour << qint64(400) << true;
        QTest::newRow("UTC, half an hour off") << -9 * hour - hour / 2 << qint64(400) << true;
        QTest::newRow("UTC, far in the east") << -14 * hour << qint64(400) << true;
        QTest::newRow("a clock that is wrong") << qint64(-5000) << qint64(0) << false;
        QTest::newRow("a clock that nobody set") << -20000 * hour << qint64(0) << false;
    }

    void times_areThoseOfThePictures_whereTheRecorderKeptThem()
    {
        QFETCH(qint64, away);
        QFETCH(qint64, first);
        QFETCH(bool, isEven);
        const qint64 begin = stampOf(at("09:10:00")) + 400 + away;
        const DeviceFrames frames = DeviceStream::shifted(DeviceStream::h264(), static_cast<quint64>(begin));
        const int cut = 2 * DeviceStream::keyDistance + 10;
        recordFrames("20240305T091000_20240305T091003_2.mp4", frames.mid(0, cut));
        recordFrames("20240305T091003_20240305T091005_2.mp4", frames.mid(cut));
        ReadFrames read;
        QCOMPARE(download(read, at("09:00:00"), at("10:00:00")), XRet::EndOfRecording);
        QCOMPARE(read.size(), frames.size());
        const QVector<qint64> stamps = stampsOf(read);
        QCOMPARE(stamps.first(), stampOf(at("09:10:00")) + first);
        for (int n = 1; n < stamps.size(); ++n) {
            const qint64 step = stamps.at(n) - stamps.at(n - 1);
            QVERIFY2(step == pictureMs || (n == cut && !isEven && step > 0),
                     qPrintable(QString("%1 at %2").arg(step).arg(n)));
        }
    }

    /// The first file says that it ends at 09:10:02, and it does 2.4 s behind its begin.
    void seek_findsTheKeyFrame_whereAFileBeginsInAGroup_data()
    {
        QTest::addColumn<bool>("hasSound");
        QTest::addColumn<int>("begin"); // milliseconds behind 09:10:00
        QTest::addColumn<int>("sought"); // and behind the begin
        QTest::addColumn<int>("found");
        for (const bool hasSound : {false, true}) {
            const QByteArray sound = hasSound ? ", with sound" : "";
            QTest::newRow("in the last group of a file" + sound) << hasSound << 0 << 2100 << 2000;
            QTest::newRow("in what the next one has of it" + sound) << hasSound << 0 << 2450 << 2000;
            QTest::newRow("in the next group" + sound) << hasSound << 0 << 3300 << 3000;
            for (const int little : {0, 10}) // sound of that time comes before the key frame
                QTest::addRow("%d ms behind its key frame%s", little, sound.constData())
                    << hasSound << 0 << 4000 + little << 4000;
            QTest::newRow("in it, and in another second" + sound) << hasSound << 400 << 2900 << 2000;
        }
    }

    void seek_findsTheKeyFrame_whereAFileBeginsInAGroup()
    {
        QFETCH(bool, hasSound);
        QFETCH(int, begin);
        QFETCH(int, sought);
        QFETCH(int, found);
        const auto first = static_cast<quint64>(stampOf(at("09:10:00")) + begin);
        const DeviceFrames frames = DeviceStream::h264();
        const DeviceFrames sound = DeviceStream::shifted(DeviceStream::sound(), 75);
        const DeviceFrames sent = hasSound ? DeviceStream::mixed(frames, sound) : frames;
        const DeviceFrames recorded = begin > 0 ? DeviceStream::shifted(sent, first) : sent;
        sought += begin;
        const int cut = (2 * DeviceStream::keyDistance + 10) * (hasSound ? 2 : 1);
        recordFrames("20240305T091000_20240305T091002_2.mp4", recorded.mid(0, cut));
        recordFrames("20240305T091002_20240305T091005_2.mp4", recorded.mid(cut));
        const auto number = [&](const QByteArray& payload) {
            int at = 0;
            while (at < frames.size() && !payload.endsWith(frames.at(at).payload.right(100)))
                ++at;
            return at;
        };
        ReadFrames all;
        QCOMPARE(download(all, at("09:10:00").addMSecs(sought), at("10:00:00")), XRet::EndOfRecording);
        const ReadFrames read = DeviceReader::video(all);
        QVERIFY(read.first().isKey());
        QCOMPARE(number(read.first().payload), found / pictureMs);
        QCOMPARE(read.size(), frames.size() - found / pictureMs);
        QCOMPARE(device->vodStart(channel, {at("09:00:00"), at("10:00:00"), QDateTime()}), XRet::Ok);
        QCOMPARE(device->vodSeek(channel, at("09:10:00").addMSecs(sought)), XRet::Ok);
        ReadFrames played;
        QCOMPARE(play(played, 1), XRet::Ok);
        QCOMPARE(number(played.first().payload), found / pictureMs);
    }

    void download_hasSound_whereTheRecordingHas()
    {
        record("20240305T091000_20240305T091005_2.mp4", Clips::h264AacMp4());
        ReadFrames frames;
        QCOMPARE(download(frames, at("09:00:00"), at("10:00:00")), XRet::EndOfRecording);
        QCOMPARE(DeviceReader::video(frames).size(), Clips::frameCount);
        const double tone = DeviceReader::toneOf(DeviceReader::joined(DeviceReader::audio(frames)), "mulaw");
        QVERIFY2(qAbs(tone - 440.0) < 5.0, qPrintable(QString::number(tone)));
    }

    void download_isAtItsEndAtOnce_whenNothingWasRecorded()
    {
        record("20240305T091000_20240305T091005_2.mp4");
        ReadFrames frames;
        QCOMPARE(download(frames, at("12:00:00"), at("13:00:00")), XRet::EndOfRecording);
        QVERIFY(frames.isEmpty());
        VodSdp sdp;
        QCOMPARE(device->vodGetDownloadSdp(channel, sdp), XRet::BadParameter);
    }

    void brokenRecordings_areLeftOut_withAMessage()
    {
        QVERIFY(QFile::copy(Clips::textMp4(), path("20240305T090000_20240305T090005_2.mp4")));
        QVERIFY(QFile::copy(Clips::emptyMp4(), path("20240305T090100_20240305T090105_2.mp4")));
        record("20240305T091000_20240305T091005_2.mp4");
        guard->allow("is left out: ");
        ReadFrames frames;
        QCOMPARE(download(frames, at("09:00:00"), at("10:00:00")), XRet::EndOfRecording);
        QCOMPARE(frames.size(), Clips::frameCount);
        QCOMPARE(guard->texts(QtWarningMsg).filter("is left out: ").size(), 2);
    }

    void overlap_isReadOnce()
    {
        record("20240305T091000_20240305T091005_2.mp4");
        record("20240305T091002_20240305T091007_2.mp4");
        ReadFrames frames;
        QCOMPARE(download(frames, at("09:00:00"), at("10:00:00")), XRet::EndOfRecording);
        const QVector<qint64> stamps = stampsOf(frames);
        QVERIFY(std::is_sorted(stamps.begin(), stamps.end()));
        QCOMPARE(std::adjacent_find(stamps.begin(), stamps.end()), stamps.end());
        // The second one goes on from its first key frame behind the first one, three seconds into it.
        QCOMPARE(frames.size(), Clips::frameCount + 2 * Clips::frameRate);
        QVERIFY(frames.at(Clips::frameCount).isKey());
    }

    void playback_isInRealTime_andEnds()
    {
        record("20240305T091000_20240305T091005_2.mp4");
        QCOMPARE(device->vodStart(channel, {at("09:00:00"), at("10:00:00"), at("09:10:03")}), XRet::Ok);
        ReadFrames frames;
        QCOMPARE(play(frames, 1000), XRet::EndOfRecording);
        QCOMPARE(frames.size(), 2 * Clips::frameRate);
        QCOMPARE(stampsOf(frames).first(), stampOf(at("09:10:03")));
        const qint64 took = frames.last().readAt - frames.first().readAt;
        QVERIFY2(took > 1850, qPrintable(QString::number(took)));
    }

    void playback_jumpsOverGaps()
    {
        record("20240305T091000_20240305T091005_2.mp4");
        record("20240305T121000_20240305T121005_2.mp4");
        QCOMPARE(device->vodStart(channel, {at("09:00:00"), QDateTime(), at("09:10:04")}), XRet::Ok);
        ReadFrames frames;
        QCOMPARE(play(frames, Clips::frameRate + 1), XRet::Ok);
        QCOMPARE(stampsOf(frames).last(), stampOf(at("12:10:00")));
    }

    void playback_stands_whilePaused()
    {
        record("20240305T091000_20240305T091005_2.mp4");
        QCOMPARE(device->vodStart(channel, {at("09:00:00"), at("10:00:00"), QDateTime()}), XRet::Ok);
        ReadFrames frames;
        QCOMPARE(play(frames, 10), XRet::Ok);
        QCOMPARE(device->vodPause(channel), XRet::Ok);
        QCOMPARE(play(frames, 20, 200), XRet::Timeout);
        QCOMPARE(frames.size(), 10);
        QCOMPARE(device->vodResume(channel), XRet::Ok);
        QCOMPARE(play(frames, 20), XRet::Ok);
        QCOMPARE(stampsOf(frames).last(), stampOf(at("09:10:00")) + 19 * pictureMs);
    }

    void seek_goesOnFromTheKeyFrameBefore()
    {
        record("20240305T091000_20240305T091005_2.mp4");
        record("20240305T121000_20240305T121005_2.mp4");
        QCOMPARE(device->vodStart(channel, {at("09:00:00"), QDateTime(), QDateTime()}), XRet::Ok);
        for (const char* time : {"12:10:03", "09:10:01", "12:10:00", "09:10:04"}) {
            QCOMPARE(device->vodSeek(channel, at(time).addMSecs(700)), XRet::Ok);
            ReadFrames frames;
            QCOMPARE(play(frames, 1), XRet::Ok);
            QVERIFY(frames.first().isKey());
            QCOMPARE(stampsOf(frames).first(), stampOf(at(time)));
        }
        QCOMPARE(device->vodSeek(channel, at("10:00:00")), XRet::Ok); // nothing there: what comes next
        ReadFrames frames;
        QCOMPARE(play(frames, 1), XRet::Ok);
        QCOMPARE(stampsOf(frames).first(), stampOf(at("12:10:00")));
    }

    void speed_changesThePace_data()
    {
        QTest::addColumn<int>("speed");
        QTest::addColumn<int>("frames");
        QTest::addColumn<int>("least"); // milliseconds
        QTest::addColumn<int>("most");
        QTest::newRow("a quarter") << -4 << 6 << 750 << 2000;
        QTest::newRow("twice") << 2 << 51 << 950 << 1700;
        QTest::newRow("sixteen times, key frames alone") << 16 << 5 << 230 << 900;
    }

    void speed_changesThePace()
    {
        QFETCH(int, speed);
        QFETCH(int, frames);
        record("20240305T091000_20240305T091005_2.mp4");
        QCOMPARE(device->vodStart(channel, {at("09:00:00"), at("10:00:00"), QDateTime()}), XRet::Ok);
        QCOMPARE(device->vodSetSpeed(channel, speed), XRet::Ok);
        ReadFrames read;
        QCOMPARE(play(read, frames), XRet::Ok);
        const qint64 took = read.last().readAt - read.first().readAt;
        QFETCH(int, least);
        QFETCH(int, most);
        QVERIFY2(took >= least && took <= most, qPrintable(QString::number(took)));
        if (speed == 16)
            QVERIFY(std::all_of(read.cbegin(), read.cend(), [](const ReadFrame& frame) { return frame.isKey(); }));
    }

    void speed_isRefused_whenThereIsNoSuch()
    {
        QCOMPARE(device->vodStart(channel, {at("09:00:00"), at("10:00:00"), QDateTime()}), XRet::Ok);
        for (const int speed : {0, 17, -5})
            QCOMPARE(device->vodSetSpeed(channel, speed), XRet::BadParameter);
    }

    void playbacksAndDownloads_countAsStreams()
    {
        makeDevice(1);
        QCOMPARE(device->vodStart(channel, {at("09:00:00"), at("10:00:00"), QDateTime()}), XRet::Ok);
        QCOMPARE(device->vodStart(channel, {at("09:00:00"), at("10:00:00"), QDateTime()}), XRet::AlreadyEnabled);
        QCOMPARE(device->vodStart(3, {at("09:00:00"), at("10:00:00"), QDateTime()}), XRet::TooManyConnections);
        QCOMPARE(device->vodDownloadStart(channel, {at("09:00:00"), at("10:00:00")}), XRet::TooManyConnections);
        QCOMPARE(device->enableMediaTransmit(channel, 0, true), XRet::TooManyConnections);
        QCOMPARE(device->vodStop(channel), XRet::Ok);
        QCOMPARE(device->vodStop(channel), XRet::Ok);
        QCOMPARE(device->vodDownloadStart(channel, {at("09:00:00"), at("10:00:00")}), XRet::Ok);
        QCOMPARE(device->vodDownloadStop(channel), XRet::Ok);
        QCOMPARE(device->enableMediaTransmit(channel, 0, true), XRet::Ok);
    }

    void operations_sayNo_withoutAPlaybackOrAnArchive()
    {
        XFrameHeader frame{};
        QCOMPARE(device->vodReadFrame(channel, &frame, 10), XRet::BadParameter);
        QCOMPARE(device->vodReadDLFrame(channel, &frame, 10), XRet::BadParameter);
        QCOMPARE(device->vodPause(channel), XRet::BadParameter);
        QCOMPARE(device->vodSeek(channel, at("09:00:00")), XRet::BadParameter);
        QCOMPARE(device->vodStart(channel, {}), XRet::BadParameter);
        const std::unique_ptr<MediaDevice> other(new MediaDevice(MediaDeviceConfig::builtIn(1)));
        QCOMPARE(other->vodStart(0, {at("09:00:00"), at("10:00:00"), QDateTime()}), XRet::NotSupported);
        QCOMPARE(other->vodDownloadStart(0, {at("09:00:00"), at("10:00:00")}), XRet::NotSupported);
    }

    void downloadThread_writesWhatTheArchiveHas()
    {
        record("20240305T091000_20240305T091005_2.mp4");
        record("20240305T091005_20240305T091010_2.mp4");
        QTemporaryDir target;
        XRTAVodDLThread thread;
        const QSharedPointer<XNetDevice> shared(device.release());
        QVERIFY(thread.bindDevice(shared, channel));
        thread.setSavePath(target.path());
        thread.setDateTime(at("09:00:00"), at("10:00:00"));
        QVector<bool> finished;
        connect(&thread, &AbstractVideoDLThread::sig_downloadFinsh, this, [&](bool ok) { finished << ok; });
        thread.startDL();
        QTRY_COMPARE_WITH_TIMEOUT(finished, QVector<bool>{true}, 30000);
        thread.stopDL();
        QDirIterator files(target.path(), {"*.mp4"}, QDir::Files, QDirIterator::Subdirectories);
        QVERIFY(files.hasNext());
        const MovieFile movie(files.next());
        QCOMPARE(QFileInfo(movie.path()).fileName(), QString("20240305T091000_20240305T091009_2.mp4"));
        QVERIFY(!files.hasNext());
        QVERIFY(movie.decodes());
        const QStringList once = DeviceReader::pictureHashes(Clips::h264Mp4());
        QCOMPARE(DeviceReader::pictureHashes(movie.path()), once + once);
    }
};

QTEST_GUILESS_MAIN(TestMediaDeviceArchive)

#include "tst_mediadevice_archive.moc"
