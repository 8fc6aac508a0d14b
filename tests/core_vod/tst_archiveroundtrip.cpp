#include "core_live/xrtalivethread.h"
#include "core_videosave/probedfile.h"
#include "core_vod/xrtavoddlthread.h"
#include "core_vod/xrtavodwidget.h"
#include "devnet/mediadevice.h"
#include "support/downloadlog.h"
#include "support/messageguard.h"
#include "support/moviefile.h"
#include "support/screen.h"
#include "support/testpicture.h"
#include "switchingcamera.h"

#include <QCursor>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

constexpr int channels = 2;
constexpr int rate = 15; // pictures a second
constexpr int group = rate; // pictures from one key frame to the next
constexpr int interval = 8; // seconds of a file
constexpr int shortRun = 26; // seconds
constexpr double soundPacket = 1024.0 / 8000; // seconds
constexpr double soundInEncoder = 0.6; // seconds that are not written any more when a file ends
constexpr int limitMs = 30000;
constexpr int colorTolerance = 80; // the renderers' colours are a little off
constexpr int seeks = 10;
const QSize pictureSize(160, 120);

const QStringList h264{
    "-c:v",        "libx264",  "-preset", "ultrafast",    "-tune",
    "zerolatency", "-threads", "1",       "-x264-params", QString("scenecut=0:keyint=%1:min-keyint=%1").arg(group)};
const QStringList h265{
    "-c:v",
    "libx265",
    "-preset",
    "ultrafast",
    "-tag:v",
    "hvc1",
    "-x265-params",
    QString("pools=none:frame-threads=1:log-level=none:bframes=0:scenecut=0:keyint=%1:min-keyint=%1").arg(group)};
const QStringList tone{"-f", "lavfi", "-i", "sine=frequency=440:sample_rate=44100"};

/// How far picture @p number is behind picture @p other, as numbers begin again somewhere.
int ahead(int number, int other)
{
    const int half = TestPicture::count / 2;
    return ((number - other + half) % TestPicture::count + TestPicture::count) % TestPicture::count - half;
}

/// A film of the test pictures from @p first on.
bool makeFilm(const QString& path, int first, int count, const QStringList& codec, bool hasSound = false)
{
    QStringList arguments{"-v",
                          "error",
                          "-y",
                          "-f",
                          "rawvideo",
                          "-pixel_format",
                          "yuv420p",
                          "-video_size",
                          QString("%1x%2").arg(pictureSize.width()).arg(pictureSize.height()),
                          "-framerate",
                          QString::number(rate),
                          "-i",
                          "-"};
    if (hasSound)
        arguments += tone + QStringList{"-shortest", "-c:a", "aac"};
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedChannels);
    process.start("ffmpeg", arguments + codec + QStringList{path});
    for (int number = first; number < first + count; ++number) {
        process.write(TestPicture::i420(pictureSize, number));
        process.waitForBytesWritten(limitMs);
    }
    process.closeWriteChannel();
    return process.waitForFinished(limitMs) && process.exitCode() == 0;
}

QDateTime wallTime(qint64 stamp) { return QDateTime::fromMSecsSinceEpoch(stamp); }

/// What the files of an archive or of a download contain, in order.
struct Films
{
    explicit Films(const QString& folder)
    {
        QDirIterator found(folder, {"*.mp4"}, QDir::Files, QDirIterator::Subdirectories);
        while (found.hasNext())
            paths << found.next();
        std::sort(paths.begin(), paths.end(),
                  [](const QString& a, const QString& b) { return QFileInfo(a).fileName() < QFileInfo(b).fileName(); });
    }

    QStringList codecs() const
    {
        QStringList all;
        for (const QString& path : paths)
            all << MovieFile(path).videoCodec();
        return all;
    }

    QVector<int> numbers() const
    {
        QVector<int> all;
        for (const QString& path : paths)
            all += MovieFile(path).pictureNumbers();
        return all;
    }

    int pictures() const
    {
        int all = 0;
        for (const QString& path : paths)
            all += MovieFile(path).pictureCount();
        return all;
    }

    /// Of the decoded pictures.
    QStringList hashes() const
    {
        QStringList all;
        for (const QString& path : paths)
            all += MovieFile(path).pictureHashes();
        return all;
    }

    double soundSeconds() const
    {
        int packets = 0;
        for (const QString& path : paths)
            packets += ProbedFile(path).packets("a").size();
        return packets * soundPacket;
    }

    QStringList paths;
};

/// A playback on the screen.
class Player
{
public:
    Player(const QSharedPointer<XNetDevice>& device, int channel, const QDateTime& begin, const QDateTime& end)
    {
        widget.setGeometry(40 + 600 * channel, 100, 400, 300);
        WidgetPara para;
        para.videoMode = VideoMode_Opengl;
        para.scaleMode = ScaleMode_Fill;
        widget.setWidgetPara(para);
        widget.setVodStartPara({begin, end, QDateTime()});
        isReady = widget.init(device, channel);
        QObject::connect(&widget, &StandardVideoWidget::receivePosition, &widget, [this](qint64 position) {
            if (positions.isEmpty())
                sincePosition.start();
            positions << position;
            lastPositionMs = sincePosition.elapsed();
        });
        QObject::connect(&widget, &AbstractVideoWidget::sig_receivePlayFinsh, &widget, [this] { ++ends; });
        widget.show();
    }

    /// On the screen; -1 for no picture.
    int shown() const
    {
        const QImage image = Screen::grab(&widget);
        return TestPicture::hasColors(image, colorTolerance) ? TestPicture::number(image) : -1;
    }

    /// The first picture that is shown for at most @p milliseconds for which @p condition holds; -1 for none.
    template <typename Condition>
    int waitFor(Condition condition, int milliseconds = limitMs) const
    {
        int number = -1;
        const bool isFound = QTest::qWaitFor(
            [&] {
                number = shown();
                return number >= 0 && condition(number);
            },
            milliseconds);
        return isFound ? number : -1;
    }

    bool start()
    {
        return isReady && widget.start() && waitFor([](int) { return true; }) >= 0;
    }

    /// Recorded seconds that pass in a second, by the reported positions.
    double positionPace() const
    {
        return lastPositionMs > 0 ? double(positions.last() - positions.first()) / double(lastPositionMs) : 0.0;
    }

    XRTAVodWidget widget;
    bool isReady = false;
    int ends = 0;
    QVector<qint64> positions;

private:
    QElapsedTimer sincePosition;
    qint64 lastPositionMs = 0;
};

} // namespace

/// Two channels are recorded live, and what was recorded is played back and downloaded: what comes out is what went in.
///
/// VANTOR_ROUNDTRIP_SECONDS is how long is recorded, VANTOR_ROUNDTRIP_SEED chooses the moments that are sought.
class TestArchiveRoundTrip : public QObject
{
    Q_OBJECT

private:
    QString path(const QString& name) const { return folder->filePath(name); }

    QString archiveOf(int channel) const { return path(QString("archive/%1").arg(channel)); }

    QSharedPointer<XNetDevice> archive() const
    {
        MediaDeviceConfig config;
        config.channels = {{"", {"test:"}}, {"", {"test:"}}};
        config.archive = path("archive");
        return QSharedPointer<XNetDevice>(new MediaDevice(config));
    }

    /// The picture that the camera sent at that moment, or the one before it.
    int pictureAt(int channel, qint64 stamp) const
    {
        const QVector<qint64>& all = times.at(channel);
        return static_cast<int>(std::upper_bound(all.begin(), all.end(), stamp) - all.begin()) - 1;
    }

    /// Which of the camera's pictures there are in a film, by their times.
    QVector<int> picturesIn(const QString& film, int channel) const
    {
        QVector<int> pictures;
        for (const ProbedFile::Packet& packet : ProbedFile(film).packets("v"))
            pictures << times.at(channel).indexOf(qRound64(packet.pts * 1000));
        return pictures;
    }

    /// From its first key frame on the film shows what was sent.
    void verifyPictures(const QString& film, int channel, const QVector<int>& pictures) const
    {
        const MovieFile movie(film);
        QVERIFY2(movie.decodes(), qPrintable(film));
        const QVector<ProbedFile::Packet> packets = ProbedFile(film).packets("v");
        int key = 0;
        while (key < packets.size() && !packets.at(key).isKey)
            ++key;
        QVERIFY2(key < group, qPrintable(film));
        const QStringList hashes = movie.pictureHashes();
        const int offset = pictures.size() - hashes.size();
        QVERIFY2(offset >= 0 && offset <= key, qPrintable(QString("%1: %2 of %3").arg(film).arg(offset).arg(key)));
        for (int i = key; i < pictures.size(); ++i)
            QVERIFY2(hashes.at(i - offset) == sent.at(channel).at(pictures.at(i)), qPrintable(film));
    }

    /// The place of the picture of that number near picture @p near.
    int firstKept(int channel, int near, int number) const
    {
        const QVector<int>& all = kept.at(channel);
        int at = 0;
        while (at < all.size() && (all.at(at) % TestPicture::count != number || qAbs(all.at(at) - near) > 2 * group))
            ++at;
        return at;
    }

    QDateTime begin(int channel) const { return wallTime(times.at(channel).first()).addSecs(-10); }
    QDateTime end(int channel) const { return wallTime(times.at(channel).last()).addSecs(10); }

    /// Records what both cameras send for @p seconds.
    void record(const QVector<QSharedPointer<SwitchingCamera>>& cameras)
    {
        std::vector<std::unique_ptr<XRTALiveThread>> threads;
        constexpr auto type = AbstractVideoThread::MANUAL_RECORD;
        for (int channel = 0; channel < channels; ++channel) {
            threads.push_back(std::make_unique<XRTALiveThread>());
            XRTALiveThread& thread = *threads.back();
            thread.bindDevice(cameras.at(channel));
            thread.setStreamChannel(channel, 0);
            thread.setReadTimeout(3000);
            thread.setSavePath(type, archiveOf(channel));
            thread.setSaveInterval(type, interval);
            thread.setSaveAudio(type, true);
            thread.recordStart(type);
            thread.play();
        }
        for (const auto& camera : cameras)
            QTRY_VERIFY_WITH_TIMEOUT(camera->pictureCount() >= seconds * rate, seconds * 1000 + limitMs);
        for (const auto& thread : threads)
            thread->recordStop(type);
        for (const auto& thread : threads) {
            QTRY_VERIFY_WITH_TIMEOUT(!thread->hasOpenFile(), limitMs);
            thread->stopAndWait();
        }
        for (const auto& camera : cameras)
            times << camera->times();
    }

    /// Fetches a period into a folder of its own; its name, empty when that failed.
    QString download(int channel, const QDateTime& from, const QDateTime& to, QVector<qint64>& positions) const
    {
        const QString target = path(QString("download/%1-%2").arg(channel).arg(from.toMSecsSinceEpoch()));
        XRTAVodDLThread thread;
        DownloadLog log(&thread);
        if (!thread.bindDevice(archive(), static_cast<unsigned>(channel)))
            return {};
        thread.setSaveAudio(true);
        thread.setSavePath(target);
        thread.setDateTime(from, to);
        thread.startDL();
        thread.wait();
        positions = log.positions();
        return log.lines() == QStringList{"start", "finish true"} ? target : QString();
    }

    std::unique_ptr<MessageGuard> guard;
    std::unique_ptr<QTemporaryDir> folder;
    int seconds = shortRun;
    // Of each channel.
    QVector<QVector<qint64>> times; // of the pictures that the camera sent
    QVector<QStringList> sent; // what they look like: hashes
    QVector<QVector<int>> kept{channels}; // which of them were recorded

private Q_SLOTS:
    void initTestCase()
    {
        if (const int wanted = qEnvironmentVariableIntValue("VANTOR_ROUNDTRIP_SECONDS"); wanted > 0)
            seconds = qMax(wanted, shortRun);
        guard.reset(new MessageGuard);
        guard->allow("^-----cur pts = "); // while the camera switches over
        folder.reset(new QTemporaryDir);
        QVERIFY(folder->isValid());
        QCursor::setPos(1270, 1010);
        const int half = seconds / 2 * rate;
        const int all = (seconds + 10) * rate;
        QVERIFY(makeFilm(path("first.mp4"), 0, half, h264));
        QVERIFY(makeFilm(path("second.mp4"), half, all - half, h265));
        QVERIFY(makeFilm(path("sound.mp4"), 0, all, h264, true));

        MediaDeviceConfig config;
        config.channels = {{"", {path("first.mp4")}}, {"", {path("second.mp4")}}, {"", {path("sound.mp4")}}};
        const QSharedPointer<XNetDevice> device(new MediaDevice(config));
        using Parts = QVector<SwitchingCamera::Part>;
        record({QSharedPointer<SwitchingCamera>::create(device, Parts{{0, half}, {1, all}}),
                QSharedPointer<SwitchingCamera>::create(device, Parts{{2, all}})});
        QCOMPARE(times.size(), channels);
        sent << MovieFile(path("first.mp4")).pictureHashes() + MovieFile(path("second.mp4")).pictureHashes()
             << MovieFile(path("sound.mp4")).pictureHashes();
        VERIFY_NO_UNEXPECTED_MESSAGES(*guard);
    }

    void init()
    {
        guard.reset(new MessageGuard);
        guard->allow("^-----cur pts = .*/download/0-"); // where H.265 leaves something out
    }

    void cleanup() { VERIFY_NO_UNEXPECTED_MESSAGES(*guard); }

    /// From the first to the last, each with the time at which it was sent. A file ends with the picture behind its
    /// interval. What there is of a group in the next one can't be shown without its key frame; H.265 leaves it out.
    void recording_isWhatTheCameraSent_data() { addChannels(); }

    void recording_isWhatTheCameraSent()
    {
        QFETCH(int, channel);
        const Films films(archiveOf(channel));
        QVERIFY2(films.paths.size() >= seconds / interval, qPrintable(films.paths.join(' ')));
        QStringList codecs = films.codecs();
        int left = 0;
        for (int i = 0; i < films.paths.size(); ++i) {
            const QVector<int> pictures = picturesIn(films.paths.at(i), channel);
            const int expected = kept[channel].isEmpty() ? 0 : kept[channel].last() + 1;
            const int missing = pictures.first() - expected;
            QVERIFY2(codecs.at(i) == "hevc" ? missing >= 0 && missing < group : missing == 0,
                     qPrintable(films.paths.at(i)));
            QVERIFY2(pictures.size() <= interval * rate + group
                         && pictures.last() == pictures.first() + pictures.size() - 1,
                     qPrintable(films.paths.at(i)));
            verifyPictures(films.paths.at(i), channel, pictures);
            left += missing;
            kept[channel] += pictures;
        }
        QVERIFY(kept[channel].size() + left >= (seconds - 1) * rate);
        QVERIFY(std::is_sorted(codecs.begin(), codecs.end())); // "h264" before "hevc"
        codecs.removeDuplicates();
        QCOMPARE(codecs, channel == 0 ? (QStringList{"h264", "hevc"}) : QStringList{"h264"});
        const QString figures = QString("%1 files, %2 pictures, %3 left out, %4 s of sound")
                                    .arg(films.paths.size())
                                    .arg(kept[channel].size())
                                    .arg(left)
                                    .arg(films.soundSeconds());
        qInfo().noquote() << figures;
        const double length = double(kept[channel].size()) / rate;
        if (channel == 1)
            QVERIFY2(qAbs(films.soundSeconds() - length) < soundInEncoder * films.paths.size(), qPrintable(figures));
    }

    void playback_showsTheMomentThatIsSought_data() { addChannels(); }

    void playback_showsTheMomentThatIsSought()
    {
        QFETCH(int, channel);
        const quint32 seed = qEnvironmentVariableIsSet("VANTOR_ROUNDTRIP_SEED")
            ? qEnvironmentVariable("VANTOR_ROUNDTRIP_SEED").toUInt()
            : QRandomGenerator::global()->generate();
        qInfo() << "VANTOR_ROUNDTRIP_SEED" << seed;
        QRandomGenerator random(seed);
        const qint64 first = times.at(channel).first();
        const qint64 last = times.at(channel).last() - 4000;
        Player player(archive(), channel, begin(channel), end(channel));
        QVERIFY(player.start());
        for (int i = 0; i < seeks; ++i) {
            const int before = player.shown();
            qint64 moment = 0;
            int truth = 0;
            do { // where it can't be taken for going on as before
                moment = first + qint64(random.bounded(double(last - first)));
                truth = pictureAt(channel, moment);
            } while (qAbs(ahead(truth, before)) < 4 * group);
            QElapsedTimer clock;
            clock.start();
            player.widget.seekFile(wallTime(moment));
            const int landed = player.waitFor([&](int number) {
                const int step = ahead(number, before);
                return step < -2 || step > group + int(clock.elapsed()) * rate / 1000;
            });
            const int elapsed = int(clock.elapsed());
            const int off = ahead(landed, truth);
            const QString figures = QString("sought %1, shown %2 after %3 ms: %4 pictures off")
                                        .arg(truth)
                                        .arg(landed)
                                        .arg(elapsed)
                                        .arg(off);
            qInfo().noquote() << figures;
            QVERIFY2(landed >= 0, qPrintable(figures));
            // From the key frame before it, or what has been played since then.
            QVERIFY2(off >= -group && off <= elapsed * rate / 1000 + 2, qPrintable(figures));
            // It goes on from there.
            QVERIFY(player.waitFor([&](int number) { return ahead(number, landed) > 3; }) >= 0);
        }
        QCOMPARE(player.ends, 0);
    }

    void playback_followsTheSpeed_data()
    {
        QTest::addColumn<int>("speed");
        QTest::addColumn<double>("pace");
        QTest::addColumn<int>("measured"); // milliseconds
        QTest::newRow("as it was") << 1 << 1.0 << 4500;
        QTest::newRow("twice") << 2 << 2.0 << 4500;
        QTest::newRow("a quarter") << -4 << 0.25 << 10500;
    }

    void playback_followsTheSpeed()
    {
        QFETCH(int, speed);
        QFETCH(double, pace);
        QFETCH(int, measured);
        std::vector<std::unique_ptr<Player>> players;
        QVector<int> from;
        for (int channel = 0; channel < channels; ++channel) {
            players.push_back(std::make_unique<Player>(archive(), channel, begin(channel), end(channel)));
            QVERIFY(players.back()->start());
            players.back()->widget.setSpeed(speed);
        }
        QTest::qWait(300);
        QElapsedTimer clock;
        clock.start();
        for (const auto& player : players) {
            from << player->shown();
            player->positions.clear();
        }
        QTest::qWait(measured);
        for (int channel = 0; channel < channels; ++channel) {
            const Player& player = *players.at(static_cast<std::size_t>(channel));
            const double seen = 1000.0 * ahead(player.shown(), from.at(channel)) / rate / double(clock.elapsed());
            const QString figures = QString("the screen goes %1 times as fast, the position %2 times (%3 reports)")
                                        .arg(seen)
                                        .arg(player.positionPace())
                                        .arg(player.positions.size());
            qInfo().noquote() << figures;
            QVERIFY2(qAbs(seen / pace - 1.0) < 0.2, qPrintable(figures));
            QVERIFY2(player.positions.size() > 1 && qAbs(player.positionPace() / pace - 1.0) < 0.25,
                     qPrintable(figures));
        }
    }

    void playback_endsOnce_data() { addChannels(); }

    void playback_endsOnce()
    {
        QFETCH(int, channel);
        const int last = kept.at(channel).last() % TestPicture::count;
        Player player(archive(), channel, begin(channel), end(channel));
        QVERIFY(player.start());
        player.widget.seekFile(wallTime(times.at(channel).last()).addSecs(-4));
        int latest = -1;
        const auto isOver = [&] {
            const int number = player.shown();
            latest = number >= 0 ? number : latest;
            return player.ends > 0;
        };
        QVERIFY(QTest::qWaitFor(isOver, limitMs));
        QVERIFY2(qAbs(ahead(last, latest)) <= 2, qPrintable(QString("%1 of %2").arg(latest).arg(last)));
        QVERIFY(!player.widget.getIsRunning());
        QTest::qWait(700);
        QCOMPARE(player.ends, 1);
    }

    void download_isTheRecording_data() { addChannels(); }

    void download_isTheRecording()
    {
        QFETCH(int, channel);
        QVector<qint64> positions;
        const QString target = download(channel, begin(channel), end(channel), positions);
        QVERIFY(!target.isEmpty());
        const Films recording(archiveOf(channel));
        const Films fetched(target);
        QCOMPARE(fetched.codecs(), channel == 0 ? (QStringList{"h264", "hevc"}) : QStringList{"h264"});
        for (const QString& film : fetched.paths)
            QVERIFY2(MovieFile(film).decodes() && MovieFile(film).startsWithKeyFrame(), qPrintable(film));
        QCOMPARE(fetched.pictures(), recording.pictures());
        const QStringList hashes = fetched.hashes();
        QCOMPARE(hashes.size(), kept.at(channel).size());
        for (int i = 0; i < hashes.size(); ++i)
            QVERIFY2(hashes.at(i) == sent.at(channel).at(kept.at(channel).at(i)), qPrintable(QString::number(i)));

        QVERIFY2(positions.size() > seconds / 2, qPrintable(QString::number(positions.size())));
        for (int i = 1; i < positions.size(); ++i)
            QVERIFY(positions.at(i) - positions.at(i - 1) > 1000);
        if (channel == 1) { // an encoder begins anew with every file
            QVERIFY(qAbs(fetched.soundSeconds() - recording.soundSeconds())
                    < soundInEncoder + 0.2 * recording.paths.size());
            const QVector<qint16> sound = ProbedFile(fetched.paths.first()).samples(8000).mid(2 * 8000, 3 * 8000);
            QVERIFY2(toneShare(sound, 8000, 440) > 0.9, qPrintable(QString::number(toneShare(sound, 8000, 440))));
        }
        qInfo() << "channel" << channel << fetched.paths.size() << "files," << hashes.size()
                << "pictures as they were sent," << positions.size() << "positions";
    }

    /// A period that begins and ends anywhere.
    void download_ofAPeriod_isThatPartOfTheRecording_data() { addChannels(); }

    void download_ofAPeriod_isThatPartOfTheRecording()
    {
        QFETCH(int, channel);
        const int from = seconds * rate / 4 + 7;
        const int to = seconds * rate * 3 / 4 + 4;
        QVector<qint64> positions;
        const QString target
            = download(channel, wallTime(times.at(channel).at(from)), wallTime(times.at(channel).at(to)), positions);
        QVERIFY(!target.isEmpty());
        const QVector<int> numbers = Films(target).numbers();
        const QString figures
            = QString("%1 to %2 for %3 to %4").arg(numbers.first()).arg(numbers.last()).arg(from).arg(to);
        qInfo().noquote() << figures;
        QVector<int> all;
        for (const int number : kept.at(channel))
            all << number % TestPicture::count;
        QCOMPARE(numbers, all.mid(firstKept(channel, from, numbers.first()), numbers.size()));
        const int early = ahead(from, numbers.first());
        const int missing = ahead(to, numbers.last());
        QVERIFY2(early >= 0 && early < group, qPrintable(figures));
        QVERIFY2(channel == 0 ? missing >= 0 && missing < group : missing == 0, qPrintable(figures));
    }

private:
    void addChannels()
    {
        QTest::addColumn<int>("channel");
        QTest::newRow("codec change") << 0;
        QTest::newRow("with sound") << 1;
    }
};

QTEST_MAIN(TestArchiveRoundTrip)

#include "tst_archiveroundtrip.moc"
