#include "devicechannel.h"
#include "downloaddialog.h"
#include "mainwindow.h"
#include "placetree.h"
#include "playbackcontrols.h"
#include "playbackdisplay.h"
#include "playbackpage.h"
#include "recordingcalendar.h"
#include "recordingplayer.h"
#include "snapshots.h"
#include "support/clips.h"
#include "support/messageguard.h"
#include "support/screen.h"
#include "support/testpicture.h"
#include "support/timezone.h"
#include "theme.h"
#include "timeline.h"
#include "vantor.h"
#include "videocell.h"
#include "videogrid.h"
#include "walltime.h"

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QCursor>
#include <QDateTimeEdit>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QProcess>
#include <QSettings>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>
#include <QWheelEvent>

#include <memory>

namespace {

constexpr int limitMs = 20000;
constexpr int colorTolerance = 90; // the renderers' colours are a little off
constexpr int picturesASecond = 25;
constexpr int pictureCount = 1500; // of the long recording

const QDate day(2024, 3, 5);
const QColor recordedColor("#22A3A9");

qint64 at(const QString& time) { return WallTime::of(QDateTime(day, QTime::fromString(time, "HH:mm:ss"))); }

} // namespace

/// The page on which recordings are found and played.
class TestViewerPlayback : public QObject
{
    Q_OBJECT

private:
    /// A minute of numbered pictures, a key frame each second, made once.
    QString longClip() const { return clips->filePath("minute.mp4"); }

    void makeLongClip() const
    {
        QProcess ffmpeg;
        ffmpeg.start("ffmpeg", {"-v", "error", "-y", "-f", "rawvideo", "-pix_fmt", "yuv420p", "-s", "160x120", "-r",
                                QString::number(picturesASecond), "-i", "-", "-c:v", "libx264", "-preset", "ultrafast",
                                "-bf", "0", "-g", QString::number(picturesASecond), "-movflags",
                                "frag_keyframe+delay_moov", longClip()});
        QVERIFY(ffmpeg.waitForStarted());
        for (int number = 0; number < pictureCount; ++number)
            ffmpeg.write(TestPicture::i420({160, 120}, number));
        ffmpeg.closeWriteChannel();
        QVERIFY(ffmpeg.waitForFinished(60000));
        QCOMPARE(ffmpeg.exitCode(), 0);
    }

    QString path(const QString& name) const { return folder->filePath(name); }

    /// A recording in the archive of the device, or wherever the name says.
    void record(const QString& name, const QString& clip) const
    {
        QDir().mkpath(QFileInfo(path(name)).path());
        QVERIFY(QFile::copy(clip, path(name)));
    }

    /// On 5 March 2024, channel 1: a minute from 10:00 on, another at 14:30, and one that begins before midnight.
    void makeArchive() const
    {
        record("archive/2024-03-05/live/20240305T100000_20240305T100100_0.mp4", longClip());
        record("archive/2024-03-05/live/20240305T143000_20240305T143100_0.mp4", longClip());
        record("archive/2024-03-05/live/20240305T235955_20240306T000055_0.mp4", longClip());
        record("archive/2024-02-20/live/20240220T080000_20240220T080100_0.mp4", longClip());
        record("archive/2024-03-05/live/20240305T120000_20240305T120100_1.mp4", longClip());
    }

    ViewerOptions options(int maxStreams = 0) const
    {
        MediaDeviceConfig device;
        device.alias = "Office";
        device.channels = {{"Gate", {"test:320x240@10,silent"}}, {"Yard", {""}}, {"Roof", {""}}};
        device.archive = path("archive");
        device.maxStreams = maxStreams;
        ViewerOptions made;
        made.devices.append(device);
        made.cellCount = 1;
        made.snapshotFolder = path("snapshots");
        made.recordingFolder = path("manual");
        return made;
    }

    void show(const ViewerOptions& wanted)
    {
        window.reset(new MainWindow(wanted));
        window->move(0, 0);
        window->show();
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
    }

    /// The page with the recordings of the first channel.
    void showPage(const ViewerOptions& wanted)
    {
        show(wanted);
        QTest::keyClick(window.get(), Qt::Key_P, Qt::ControlModifier);
        QVERIFY(!window->isLive());
        QTRY_VERIFY(stateText() != "Looking for recordings…" && page()->hasPlace());
    }

    PlaybackPage* page() const { return window->playback(); }
    RecordingPlayer* player() const { return page()->player(); }
    Timeline* timeline() const { return window->findChild<Timeline*>(); }
    RecordingCalendar* calendar() const { return window->findChild<RecordingCalendar*>(); }
    PlaceTree* tree() const { return window->findChild<PlaceTree*>(); }
    PlaybackDisplay* display() const { return window->findChild<PlaybackDisplay*>(); }
    QString stateText() const { return window->findChild<QLabel*>("playbackState")->text(); }
    QString momentText() const { return window->findChild<QLabel*>("playbackMoment")->text(); }
    QString statusText() const { return window->statusBar()->currentMessage(); }
    QAction* action(const QString& name) const { return window->findChild<QAction*>(name); }
    QComboBox* speeds() const { return window->findChild<QComboBox*>("playbackSpeed"); }

    QPoint pointOf(qint64 time) const
    {
        const int x = qRound(timeline()->scale().position(time));
        return {qMin(x, timeline()->width() - 1), timeline()->band().center().y()};
    }

    void click(qint64 time) const { QTest::mouseClick(timeline(), Qt::LeftButton, {}, pointOf(time)); }

    /// So near to the minute from 10:00 on that a second is some pixels.
    void zoomIn(qint64 time) const
    {
        for (int step = 0; step < 40 && timeline()->scale().end() - timeline()->scale().begin() > 2 * WallTime::minute;
             ++step)
            turnWheel(pointOf(time), 120);
    }

    void turnWheel(const QPoint& point, int angle) const
    {
        QWheelEvent event(point, timeline()->mapToGlobal(point), {}, {0, angle}, Qt::NoButton, Qt::NoModifier,
                          Qt::NoScrollPhase, false);
        QApplication::sendEvent(timeline(), &event);
    }

    void dragTo(const QPoint& point, Qt::KeyboardModifiers modifiers = {}) const
    {
        QMouseEvent move(QEvent::MouseMove, point, Qt::NoButton, Qt::LeftButton, modifiers);
        QApplication::sendEvent(timeline(), &move);
    }

    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) const
    {
        QTest::keyClick(QApplication::focusWidget(), key, modifiers);
    }

    /// The number of the picture that is seen on the screen; -1 for none.
    int seenNumber() const
    {
        const QImage all = Screen::grab(display());
        const QSize size = QSize(4, 3).scaled(all.size(), Qt::KeepAspectRatio);
        const QRect picture(QPoint((all.width() - size.width()) / 2, (all.height() - size.height()) / 2), size);
        return TestPicture::number(all.copy(picture));
    }

    bool seesNumber(int first, int last) const
    {
        const int number = seenNumber();
        return number >= first && number <= last;
    }

    /// The first recording of the day stands still soon after its beginning.
    void playAndPause() const
    {
        press(Qt::Key_Space);
        QTRY_VERIFY_WITH_TIMEOUT(seesNumber(0, 20 * picturesASecond), limitMs);
        press(Qt::Key_Space);
        QCOMPARE(player()->state(), PlaybackState::Paused);
    }

    QColor colorOf(qint64 time) const { return Screen::colorAt(timeline(), pointOf(time)); }

    void chooseChannel(const QString& key) const
    {
        tree()->select({});
        for (QTreeWidgetItem* item : tree()->findItems("*", Qt::MatchWildcard | Qt::MatchRecursive)) {
            if (item->text(0) == key) {
                tree()->scrollToItem(item);
                QTest::mouseClick(tree()->viewport(), Qt::LeftButton, {}, tree()->visualItemRect(item).center());
                return;
            }
        }
        QFAIL(qPrintable(key));
    }

    QStringList filesBelow(const QString& name) const
    {
        QStringList list;
        QDirIterator found(path(name), QDir::Files, QDirIterator::Subdirectories);
        while (found.hasNext())
            list.append(QDir(folder->path()).relativeFilePath(found.next()));
        list.sort();
        return list;
    }

    void keepScreenshot(const QString& name) const
    {
        const QString directory = qEnvironmentVariable("VANTOR_KEEP_SCREENSHOTS");
        if (!directory.isEmpty())
            QVERIFY(Screen::grab(window.get()).save(QDir(directory).filePath(name)));
    }

    std::unique_ptr<MessageGuard> guard;
    std::unique_ptr<QTemporaryDir> clips;
    std::unique_ptr<QTemporaryDir> folder;
    std::unique_ptr<MainWindow> window;

private Q_SLOTS:
    void initTestCase()
    {
        applyTheme(*qApp);
        QVERIFY(Vantor::init());
        clips.reset(new QTemporaryDir);
        makeLongClip();
    }

    void cleanupTestCase() { Vantor::release(); }

    void init()
    {
        guard.reset(new MessageGuard);
        folder.reset(new QTemporaryDir);
        QCursor::setPos(1279, 1023);
    }

    void cleanup()
    {
        window.reset();
        VERIFY_NO_UNEXPECTED_MESSAGES(*guard);
    }

    // --- What is found

    void page_showsTheLastDayWithRecordings()
    {
        makeArchive();
        showPage(options());
        QTRY_COMPARE(calendar()->selectedDate(), day);
        QCOMPARE(tree()->selectedKey(), DeviceChannel({"Office", 0}).address());
        QCOMPARE(momentText(), QString("2024-03-05  10:00:00"));
        QCOMPARE(stateText(), QString("Click on the time line, or press Space, to play"));
        QTRY_VERIFY(Screen::isNear(colorOf(at("14:30:30")), recordedColor));
        QVERIFY(!Screen::isNear(colorOf(at("12:00:00")), recordedColor)); // of another channel
        QVERIFY(!Screen::isNear(colorOf(at("08:00:00")), recordedColor));
        QTRY_VERIFY(Screen::isNear(colorOf(at("23:59:58")), recordedColor));
        keepScreenshot("playback-found.png");
    }

    void calendar_marksTheDaysWithRecordings()
    {
        makeArchive();
        showPage(options());
        QTRY_COMPARE(calendar()->selectedDate(), day);
        QVERIFY(calendar()->isRecorded(day));
        QVERIFY(calendar()->isRecorded(day.addDays(1))); // the recording goes on behind midnight
        QVERIFY(!calendar()->isRecorded(day.addDays(-1)));
        QVERIFY(!calendar()->isRecorded(day.addDays(2)));
        calendar()->showPreviousMonth();
        QVERIFY(calendar()->isRecorded(QDate(2024, 2, 20)));
        QVERIFY(!calendar()->isRecorded(QDate(2024, 2, 21)));

        calendar()->showNextMonth();
        calendar()->setSelectedDate(day.addDays(1));
        QCOMPARE(momentText(), QString("2024-03-06  00:00:00"));
        calendar()->setSelectedDate(day.addDays(3));
        QCOMPARE(stateText(), QString("Nothing is recorded on this day"));
        QCOMPARE(momentText(), QString());
        press(Qt::Key_Space); // nothing to play
        QCOMPARE(player()->state(), PlaybackState::Stopped);
    }

    void calendar_showsTheMarksOnTheScreen()
    {
        makeArchive();
        showPage(options());
        QTRY_COMPARE(calendar()->selectedDate(), day);
        const auto marked = [this] {
            const QImage image = Screen::grab(calendar());
            int pixels = 0;
            for (int y = 0; y < image.height(); ++y) {
                for (int x = 0; x < image.width(); ++x)
                    pixels += Screen::isNear(image.pixelColor(x, y), recordedColor, 12);
            }
            return pixels;
        };
        QTRY_VERIFY(marked() > 2 * 30 && marked() < 2 * 80); // two days of this month are seen, none of the other
    }

    void channelWithoutRecordings_saysSo()
    {
        makeArchive();
        showPage(options());
        chooseChannel("Roof");
        QTRY_COMPARE(stateText(), QString("Roof has no recordings"));
        for (const char* name : {"playbackPlay", "nextRecording", "previousRecording", "playbackSnapshot", "download"})
            QVERIFY2(!action(name)->isEnabled(), name);
        chooseChannel("Yard");
        QTRY_VERIFY(action("playbackPlay")->isEnabled());
        QCOMPARE(momentText(), QString("2024-03-05  10:00:00")); // the same moment on every channel
        press(Qt::Key_Space);
        QVERIFY(momentText().startsWith("2024-03-05  12:00:0"));
    }

    void viewerWithoutRecordings_saysSo()
    {
        ViewerOptions bare = options();
        bare.devices.first().archive.clear();
        show(bare);
        QTest::keyClick(window.get(), Qt::Key_P, Qt::ControlModifier);
        QTRY_VERIFY(stateText().startsWith("Nothing has been recorded yet"));
        QVERIFY(!page()->hasPlace());
        for (Qt::Key key : {Qt::Key_Space, Qt::Key_Left, Qt::Key_PageDown, Qt::Key_PageUp, Qt::Key_S, Qt::Key_Up})
            press(key);
        click(timeline()->scale().dayBegin() + WallTime::hour);
        QCOMPARE(player()->state(), PlaybackState::Stopped);
    }

    void archiveThatIsThereLater_isFound()
    {
        showPage(options());
        QTRY_COMPARE(stateText(), QString("Gate has no recordings"));
        makeArchive();
        press(Qt::Key_F5);
        QTRY_COMPARE(calendar()->selectedDate(), day);
    }

    // --- Playing

    void click_showsThePictureOfThatTime()
    {
        makeArchive();
        showPage(options());
        QTRY_COMPARE(calendar()->selectedDate(), day);
        zoomIn(at("10:00:00"));
        click(at("10:00:30") + 500);
        QTRY_VERIFY_WITH_TIMEOUT(seesNumber(29 * picturesASecond, 36 * picturesASecond), limitMs);
        QVERIFY(Screen::waitForColor(display(), {display()->width() / 2 - 100, 80}, TestPicture::topLeft(),
                                     colorTolerance));
        QCOMPARE(stateText(), QString("Playing"));
        QVERIFY(momentText().startsWith("2024-03-05  10:00:3"));
        keepScreenshot("playback.png");
        click(at("10:00:05")); // back again
        QTRY_VERIFY_WITH_TIMEOUT(seesNumber(4 * picturesASecond, 10 * picturesASecond), limitMs);
        QTRY_VERIFY(momentText().startsWith("2024-03-05  10:00:0"));
    }

    void click_inAGap_goesToTheNextRecording()
    {
        makeArchive();
        showPage(options());
        QTRY_COMPARE(calendar()->selectedDate(), day);
        click(at("12:00:00"));
        QTRY_VERIFY_WITH_TIMEOUT(seesNumber(0, 20 * picturesASecond), limitMs);
        QVERIFY(momentText().startsWith("2024-03-05  14:30:0"));
    }

    void click_behindTheLastRecording_saysSo()
    {
        makeArchive();
        showPage(options());
        QTRY_COMPARE(calendar()->selectedDate(), day);
        calendar()->setSelectedDate(QDate(2024, 2, 20));
        click(WallTime::startOf(QDate(2024, 2, 20)) + 20 * WallTime::hour);
        QVERIFY2(statusText().startsWith("Nothing is recorded after 20:0")
                     || statusText().startsWith("Nothing is recorded after 19:59"),
                 qPrintable(statusText()));
        QCOMPARE(player()->state(), PlaybackState::Stopped);
    }

    void space_playsAndPauses()
    {
        makeArchive();
        showPage(options());
        QTRY_COMPARE(calendar()->selectedDate(), day);
        press(Qt::Key_Space);
        QTRY_VERIFY_WITH_TIMEOUT(seesNumber(0, 20 * picturesASecond), limitMs);
        press(Qt::Key_Space);
        QCOMPARE(stateText(), QString("Paused"));
        QTest::qWait(300);
        const int number = seenNumber();
        QVERIFY(number >= 0);
        QTest::qWait(400);
        QCOMPARE(seenNumber(), number);
        press(Qt::Key_Space);
        QTRY_VERIFY_WITH_TIMEOUT(seenNumber() > number + 5, limitMs);
    }

    void click_inAPause_showsThatPictureAndWaits()
    {
        makeArchive();
        showPage(options());
        QTRY_COMPARE(calendar()->selectedDate(), day);
        zoomIn(at("10:00:00"));
        playAndPause();
        click(at("10:00:40") + 500);
        QTRY_VERIFY_WITH_TIMEOUT(seesNumber(40 * picturesASecond, 40 * picturesASecond + 3), limitMs);
        QVERIFY(momentText().startsWith("2024-03-05  10:00:40"));
        const int number = seenNumber();
        QTest::qWait(400);
        QCOMPARE(seenNumber(), number);
        QCOMPARE(player()->state(), PlaybackState::Paused);
    }

    void speed_changesHowFastItGoes()
    {
        makeArchive();
        showPage(options());
        QTRY_COMPARE(calendar()->selectedDate(), day);
        QCOMPARE(speeds()->currentText(), QString("1×"));
        press(Qt::Key_Plus);
        press(Qt::Key_Plus);
        QCOMPARE(speeds()->currentText(), QString("4×"));
        press(Qt::Key_Space);
        QTRY_VERIFY_WITH_TIMEOUT(seenNumber() >= 0, limitMs);
        QElapsedTimer time;
        time.start();
        const int first = seenNumber();
        QTRY_VERIFY_WITH_TIMEOUT(seenNumber() >= first + 6 * picturesASecond, limitMs);
        QVERIFY2(time.elapsed() < 4500, qPrintable(QString::number(time.elapsed()))); // six seconds
        for (int step = 0; step < 10; ++step)
            press(Qt::Key_Minus);
        QCOMPARE(speeds()->currentText(), QString("1/4×"));
        QTest::qWait(200);
        const int slow = seenNumber();
        QVERIFY(slow >= 0);
        QTest::qWait(1000);
        const int later = seenNumber();
        QVERIFY2(later > slow && later <= slow + picturesASecond / 2,
                 qPrintable(QString("%1 to %2").arg(slow).arg(later)));
        for (int step = 0; step < 10; ++step)
            press(Qt::Key_Equal);
        QCOMPARE(speeds()->currentText(), QString("16×"));
    }

    void end_isSaid()
    {
        record("archive/20240305T100000_20240305T100005_0.mp4", Clips::h264Mp4());
        showPage(options());
        QTRY_COMPARE(calendar()->selectedDate(), day);
        press(Qt::Key_Space);
        QTRY_COMPARE_WITH_TIMEOUT(stateText(), QString("Playing"), limitMs);
        QTRY_COMPARE_WITH_TIMEOUT(stateText(), QString("End of the recordings"), limitMs);
        QCOMPARE(player()->state(), PlaybackState::Ended);
        QVERIFY(!action("playbackSnapshot")->isEnabled());
        QTRY_COMPARE(seenNumber(), -1); // the text takes the place of the picture
        press(Qt::Key_Space); // once more
        QTRY_VERIFY_WITH_TIMEOUT(seesNumber(0, 60), limitMs);
    }

    void playing_goesOnBehindMidnight()
    {
        makeArchive();
        showPage(options());
        QTRY_COMPARE(calendar()->selectedDate(), day);
        press(Qt::Key_PageDown); // 14:30
        QTRY_COMPARE_WITH_TIMEOUT(stateText(), QString("Playing"), limitMs);
        press(Qt::Key_PageDown); // 23:59:55
        QTRY_VERIFY_WITH_TIMEOUT(momentText().startsWith("2024-03-05  23:59:5"), limitMs);
        QTRY_COMPARE_WITH_TIMEOUT(calendar()->selectedDate(), day.addDays(1), limitMs);
        QVERIFY(momentText().startsWith("2024-03-06  00:00:0"));
        QCOMPARE(stateText(), QString("Playing"));
        QVERIFY(seesNumber(4 * picturesASecond, 10 * picturesASecond));
    }

    void arrows_jump()
    {
        makeArchive();
        showPage(options());
        QTRY_COMPARE(calendar()->selectedDate(), day);
        playAndPause();
        zoomIn(at("10:00:00"));
        click(at("10:00:10") + 500);
        QTRY_COMPARE_WITH_TIMEOUT(seenNumber(), 10 * picturesASecond, limitMs);
        for (int step = 0; step < 4; ++step)
            press(Qt::Key_Right);
        QTRY_COMPARE_WITH_TIMEOUT(seenNumber(), 30 * picturesASecond, limitMs);
        for (int step = 0; step < 2; ++step)
            press(Qt::Key_Left);
        QTRY_COMPARE_WITH_TIMEOUT(seenNumber(), 20 * picturesASecond, limitMs);
        QVERIFY(momentText().startsWith("2024-03-05  10:00:20"));
        press(Qt::Key_Right, Qt::ShiftModifier); // a minute: into the gap, so to the next recording
        QTRY_COMPARE_WITH_TIMEOUT(seenNumber(), 0, limitMs);
        QVERIFY(momentText().startsWith("2024-03-05  14:30:00"));
        press(Qt::Key_Left); // five seconds before the end of the one before it
        QTRY_COMPARE_WITH_TIMEOUT(seenNumber(), 55 * picturesASecond, limitMs);
        QVERIFY(momentText().startsWith("2024-03-05  10:00:55"));
        QCOMPARE(player()->state(), PlaybackState::Paused);
    }

    void pageKeys_goFromRecordingToRecording()
    {
        makeArchive();
        showPage(options());
        QTRY_COMPARE(calendar()->selectedDate(), day);
        press(Qt::Key_PageDown);
        QVERIFY(momentText().startsWith("2024-03-05  14:30:0"));
        press(Qt::Key_PageUp);
        QVERIFY(momentText().startsWith("2024-03-05  10:00:0"));
        press(Qt::Key_PageUp);
        QVERIFY(momentText().startsWith("2024-02-20  08:00:0"));
        QCOMPARE(calendar()->selectedDate(), QDate(2024, 2, 20));
        QTRY_VERIFY_WITH_TIMEOUT(seesNumber(0, 20 * picturesASecond), limitMs);
        for (int step = 0; step < 4; ++step)
            press(Qt::Key_PageDown);
        QCOMPARE(statusText(), QString("There is no later recording"));
        QVERIFY(momentText().startsWith("2024-03-05  23:59:5"));
        QTRY_COMPARE_WITH_TIMEOUT(player()->state(), PlaybackState::Playing, limitMs);
    }

    void refusal_isSaid()
    {
        guard->allow("vodStart failed channel=0, ret=17");
        makeArchive();
        showPage(options(1)); // the live cell has the only connection
        QTRY_COMPARE(calendar()->selectedDate(), day);
        QTRY_COMPARE(window->grid()->cell(0)->state(), CellState::Playing);
        press(Qt::Key_Space);
        QTRY_COMPARE_WITH_TIMEOUT(stateText(), QString("Too many connections; the device has none to spare"), limitMs);
    }

    void damagedRecording_isSaid()
    {
        guard->allow("20240305T100000_20240305T100005_0.mp4");
        record("archive/20240305T100000_20240305T100005_0.mp4", Clips::textMp4());
        showPage(options());
        QTRY_COMPARE(calendar()->selectedDate(), day);
        press(Qt::Key_Space);
        QTRY_COMPARE_WITH_TIMEOUT(stateText(), QString("This recording cannot be played"), limitMs);
    }

    // --- Snapshots

    void snapshot_isWritten_data()
    {
        QTest::addColumn<bool>("paused");
        QTest::newRow("playing") << false;
        QTest::newRow("in a pause") << true;
    }

    void snapshot_isWritten()
    {
        QFETCH(bool, paused);
        makeArchive();
        showPage(options());
        QTRY_COMPARE(calendar()->selectedDate(), day);
        press(Qt::Key_Space);
        QTRY_VERIFY_WITH_TIMEOUT(seesNumber(0, 20 * picturesASecond), limitMs);
        if (paused)
            press(Qt::Key_Space);
        press(Qt::Key_S);
        const QString today = QDate::currentDate().toString("yyyy-MM-dd");
        QTRY_VERIFY_WITH_TIMEOUT(statusText().startsWith("Snapshot: "), limitMs);
        const QStringList files = filesBelow("snapshots");
        QCOMPARE(files.size(), 1);
        const QString begin = QString("snapshots/Office-1/%1/vod/20240305T1000").arg(today);
        QVERIFY2(files.first().startsWith(begin) && files.first().endsWith("_0.jpg"), qPrintable(files.first()));
        QCOMPARE(statusText(), "Snapshot: " + path(files.first()));
        QVERIFY(TestPicture::number(QImage(path(files.first()))) >= 0);
        QCOMPARE(player()->state(), paused ? PlaybackState::Paused : PlaybackState::Playing);
        if (!paused)
            return;
        QTest::qWait(200);
        const int number = seenNumber();
        QTest::qWait(300);
        QCOMPARE(seenNumber(), number);
    }

    // --- The time line

    void wheel_zoomsToMinutes_andDraggingMoves()
    {
        makeArchive();
        showPage(options());
        QTRY_COMPARE(calendar()->selectedDate(), day);
        const TimelineScale& scale = timeline()->scale();
        QVERIFY(scale.isWholeDay());
        zoomIn(at("10:00:00"));
        QVERIFY(scale.end() - scale.begin() <= 2 * WallTime::minute);
        QVERIFY(scale.begin() < at("10:00:00") && scale.end() > at("10:00:30"));
        QTRY_VERIFY(Screen::isNear(colorOf(at("10:00:20")), recordedColor));
        QVERIFY(!Screen::isNear(colorOf(at("09:59:50")), recordedColor));
        keepScreenshot("playback-zoomed.png");
        const qint64 begin = scale.begin();
        const QPoint from(600, timeline()->band().center().y());
        QTest::mousePress(timeline(), Qt::LeftButton, {}, from);
        for (int moved : {30, 60, 100})
            dragTo(from - QPoint(moved, 0));
        QTest::mouseRelease(timeline(), Qt::LeftButton, {}, from - QPoint(100, 0));
        QVERIFY(scale.begin() > begin);
        QCOMPARE(player()->state(), PlaybackState::Stopped); // that was no click
        press(Qt::Key_0);
        QVERIFY(scale.isWholeDay());
    }

    void cursor_canBeDragged()
    {
        makeArchive();
        showPage(options());
        QTRY_COMPARE(calendar()->selectedDate(), day);
        zoomIn(at("10:00:00"));
        const qint64 begin = timeline()->scale().begin();
        const QPoint to = pointOf(at("10:00:20") + 500);
        QTest::mousePress(timeline(), Qt::LeftButton, {}, pointOf(at("10:00:00")));
        dragTo((pointOf(at("10:00:00")) + to) / 2);
        dragTo(to);
        QTRY_VERIFY(Screen::isNear(colorOf(at("10:00:20") + 500), Qt::white));
        QTest::mouseRelease(timeline(), Qt::LeftButton, {}, to);
        QCOMPARE(timeline()->scale().begin(), begin); // what is seen has not moved
        QVERIFY(momentText().startsWith("2024-03-05  10:00:20"));
        QTRY_VERIFY_WITH_TIMEOUT(seesNumber(20 * picturesASecond, 40 * picturesASecond), limitMs);
    }

    void pointer_showsItsTime()
    {
        makeArchive();
        showPage(options());
        QTRY_COMPARE(calendar()->selectedDate(), day);
        const QPoint point = pointOf(at("18:00:00"));
        const QRect flag(point.x() - 12, 2, 24, 14);
        const QImage before = Screen::grab(timeline()).copy(flag);
        QCursor::setPos(timeline()->mapToGlobal(point));
        QTRY_VERIFY(Screen::grab(timeline()).copy(flag) != before);
        QCursor::setPos(1279, 1023);
        QTRY_VERIFY(Screen::grab(timeline()).copy(flag) == before);
    }

    void shiftDrag_selects()
    {
        makeArchive();
        showPage(options());
        QTRY_COMPARE(calendar()->selectedDate(), day);
        const QPoint from = pointOf(at("09:00:00"));
        const QPoint to = pointOf(at("11:00:00"));
        QTest::mousePress(timeline(), Qt::LeftButton, Qt::ShiftModifier, to); // backwards
        dragTo((from + to) / 2, Qt::ShiftModifier);
        dragTo(from, Qt::ShiftModifier);
        QTest::mouseRelease(timeline(), Qt::LeftButton, Qt::ShiftModifier, from);
        QVERIFY(timeline()->selection());
        QVERIFY(qAbs(timeline()->selection()->begin - at("09:00:00")) < 2 * WallTime::minute);
        QVERIFY(qAbs(timeline()->selection()->end - at("11:00:00")) < 2 * WallTime::minute);
        QCOMPARE(player()->state(), PlaybackState::Stopped);
        QTest::mouseClick(timeline(), Qt::LeftButton, Qt::ShiftModifier, from);
        QVERIFY(!timeline()->selection());
    }

    void download_isOfferedForTheSelection()
    {
        makeArchive();
        showPage(options());
        QTRY_COMPARE(calendar()->selectedDate(), day);
        QTRY_VERIFY(action("download")->isEnabled());
        const auto offered = [this](const QString& edit) {
            auto* dialog = window->findChild<DownloadDialog*>();
            return dialog->findChild<QDateTimeEdit*>(edit)->dateTime();
        };
        press(Qt::Key_S, Qt::ControlModifier); // nothing is selected: the recording at the cursor
        QVERIFY(window->findChild<DownloadDialog*>());
        QCOMPARE(offered("from"), QDateTime(day, QTime(10, 0)));
        QCOMPARE(offered("to"), QDateTime(day, QTime(10, 1)));
        delete window->findChild<DownloadDialog*>();

        window->activateWindow();
        QTRY_VERIFY(window->isActiveWindow());
        const QPoint from = pointOf(at("09:00:00"));
        const QPoint to = pointOf(at("11:00:00"));
        QTest::mousePress(timeline(), Qt::LeftButton, Qt::ShiftModifier, from);
        dragTo((from + to) / 2, Qt::ShiftModifier);
        dragTo(to, Qt::ShiftModifier);
        QTest::mouseRelease(timeline(), Qt::LeftButton, Qt::ShiftModifier, to);
        action("download")->trigger();
        QVERIFY(qAbs(offered("from").secsTo(QDateTime(day, QTime(9, 0)))) < 120);
        QVERIFY(qAbs(offered("to").secsTo(QDateTime(day, QTime(11, 0)))) < 120);
    }

    // --- The pages

    void otherPage_pausesThePlayback()
    {
        makeArchive();
        showPage(options());
        QTRY_COMPARE(calendar()->selectedDate(), day);
        press(Qt::Key_Space);
        QTRY_VERIFY_WITH_TIMEOUT(seesNumber(0, 20 * picturesASecond), limitMs);
        press(Qt::Key_L, Qt::ControlModifier | Qt::ShiftModifier);
        QVERIFY(window->isLive());
        QCOMPARE(player()->state(), PlaybackState::Paused);
        press(Qt::Key_P, Qt::ControlModifier);
        QCOMPARE(player()->state(), PlaybackState::Playing);
        const int number = seenNumber();
        QTRY_VERIFY_WITH_TIMEOUT(seenNumber() > qMax(0, number) + 5, limitMs);
    }

    void liveCells_playOnWithoutSound()
    {
        makeArchive();
        show(options());
        VideoCell* cell = window->grid()->cell(0);
        QTRY_COMPARE_WITH_TIMEOUT(cell->state(), CellState::Playing, limitMs);
        QTest::keyClick(window.get(), Qt::Key_M);
        QVERIFY(!cell->isMuted());
        QTest::keyClick(window.get(), Qt::Key_P, Qt::ControlModifier);
        QVERIFY(cell->isMuted());
        press(Qt::Key_M); // the playback's now
        QVERIFY(cell->isMuted());
        QVERIFY(!display()->getWidgetPara().muted);
        QTest::qWait(300);
        QCOMPARE(cell->state(), CellState::Playing);
        QVERIFY(!action("record")->isVisible());
        press(Qt::Key_Delete); // of the cell, which is not to be seen
        QCOMPARE(cell->state(), CellState::Playing);
        press(Qt::Key_L, Qt::ControlModifier | Qt::ShiftModifier);
        QVERIFY(!cell->isMuted());
        QVERIFY(action("record")->isVisible());
        QCOMPARE(cell->state(), CellState::Playing);
    }

    void fullScreen_hasThePictureAndTheTimeLine()
    {
        makeArchive();
        showPage(options());
        QTRY_COMPARE(calendar()->selectedDate(), day);
        press(Qt::Key_F11);
        QTRY_VERIFY(window->isFullScreen());
        QVERIFY(!tree()->isVisible() && !calendar()->isVisible());
        QVERIFY(timeline()->isVisible());
        press(Qt::Key_Space);
        QTRY_VERIFY_WITH_TIMEOUT(seesNumber(0, 20 * picturesASecond), limitMs);
        press(Qt::Key_Escape);
        QTRY_VERIFY(!window->isFullScreen());
        QVERIFY(tree()->isVisible());
    }

    // --- What the viewer records

    void recordingOfAChannel_isFound()
    {
        ViewerOptions bare = options();
        bare.devices = {MediaDeviceConfig::builtIn(1)}; // no archive
        show(bare);
        VideoCell* cell = window->grid()->cell(0);
        QTRY_COMPARE_WITH_TIMEOUT(cell->state(), CellState::Playing, limitMs);
        QTest::keyClick(window.get(), Qt::Key_R);
        QTRY_VERIFY_WITH_TIMEOUT(statusText().startsWith("Recording to "), limitMs);
        QTest::qWait(2500);
        QTest::keyClick(window.get(), Qt::Key_R);
        QTRY_VERIFY_WITH_TIMEOUT(statusText().startsWith("Recorded: "), limitMs);
        QTest::keyClick(window.get(), Qt::Key_P, Qt::ControlModifier);
        QTRY_VERIFY(page()->hasPlace());
        QTRY_COMPARE(stateText(), QString("Click on the time line, or press Space, to play"));
        QVERIFY(calendar()->isRecorded(calendar()->selectedDate()));
        press(Qt::Key_Space);
        const qint64 playedFrom = player()->position();
        QTRY_COMPARE_WITH_TIMEOUT(stateText(), QString("Playing"), limitMs);
        const QString today = QDate::currentDate().toString("yyyy-MM-dd");
        QTRY_VERIFY_WITH_TIMEOUT(player()->position() != playedFrom, limitMs);
        QVERIFY2(momentText().startsWith(today), qPrintable(momentText()));
        QTRY_COMPARE_WITH_TIMEOUT(stateText(), QString("End of the recordings"), limitMs);
        QVERIFY2(momentText().startsWith(today), qPrintable(momentText()));
    }

    void recordingOfAnAddress_isFound_whenItEnds()
    {
        ViewerOptions bare = options();
        Source source;
        source.url = Clips::h264AacMp4();
        bare.sources = {source};
        bare.devices.first().archive.clear();
        show(bare);
        VideoCell* cell = window->grid()->cell(0);
        guard->allow("error count: [0-9] why: End of file");
        QTRY_COMPARE_WITH_TIMEOUT(cell->state(), CellState::Playing, limitMs);
        QTest::keyClick(window.get(), Qt::Key_R);
        QTRY_VERIFY_WITH_TIMEOUT(statusText().startsWith("Recording to "), limitMs);
        QTest::keyClick(window.get(), Qt::Key_P, Qt::ControlModifier);
        QTRY_VERIFY(stateText().startsWith("Nothing has been recorded yet"));
        QTRY_VERIFY_WITH_TIMEOUT(page()->hasPlace(), limitMs); // the clip has ended
        QTRY_COMPARE(stateText(), QString("Click on the time line, or press Space, to play"));
        QCOMPARE(tree()->currentItem()->text(0), QString("Cell 1"));
        press(Qt::Key_Space);
        QTRY_VERIFY_WITH_TIMEOUT(seesNumber(0, 125), limitMs);
        // On a slow computer these few seconds are over before the key is pressed; Space plays them again.
        const auto isSnapped = [this] {
            press(stateText() == "End of the recordings" ? Qt::Key_Space : Qt::Key_S);
            return QTest::qWaitFor([this] { return statusText().startsWith("Snapshot: "); }, 1000);
        };
        QTRY_VERIFY_WITH_TIMEOUT(isSnapped(), limitMs);
        QVERIFY(filesBelow("snapshots").first().startsWith("snapshots/01/"));
    }

    void menu_leadsToTheRecordingsOfTheCell()
    {
        makeArchive();
        record("manual/Office-1-main/2024-03-01/live/20240301T100000_20240301T100100_0.mp4", longClip());
        showPage(options());
        QTRY_COMPARE(calendar()->selectedDate(), day);
        chooseChannel("Yard");
        press(Qt::Key_L, Qt::ControlModifier | Qt::ShiftModifier);
        Q_EMIT window->grid()->menuWanted(window->grid()->cell(0), {100, 100});
        auto* entry = window->findChild<QAction*>("recordings");
        QVERIFY(entry);
        entry->trigger();
        QVERIFY(!window->isLive());
        QTRY_COMPARE(tree()->selectedKey(), DeviceChannel({"Office", 0}).address());
        chooseChannel("Office, channel 1, main");
        QTRY_COMPARE(calendar()->selectedDate(), QDate(2024, 3, 1));
        if (QWidget* menu = QApplication::activePopupWidget())
            menu->close();
        press(Qt::Key_L, Qt::ControlModifier | Qt::ShiftModifier);
        Source other;
        other.name = "Other";
        other.url = "rtsp://127.0.0.1:1/x";
        page()->want(other, 1);
        press(Qt::Key_P, Qt::ControlModifier);
        QTRY_COMPARE(statusText(), QString("Nothing has been recorded of Other yet"));
        QCOMPARE(tree()->currentItem()->text(0), QString("Office, channel 1, main"));
    }

    // --- Unusual times

    void dayWithAChangeOfTheClock_isPlayed()
    {
        const TimeZone zone("Europe/Berlin");
        record("archive/20240331T023000_20240331T023100_0.mp4", longClip()); // the clock never showed that
        showPage(options());
        QTRY_COMPARE(calendar()->selectedDate(), QDate(2024, 3, 31));
        QCOMPARE(momentText(), QString("2024-03-31  02:30:00"));
        press(Qt::Key_Space);
        QTRY_VERIFY_WITH_TIMEOUT(seesNumber(0, 20 * picturesASecond), limitMs);
        press(Qt::Key_Right);
        press(Qt::Key_Right);
        QTRY_VERIFY_WITH_TIMEOUT(seesNumber(9 * picturesASecond, 16 * picturesASecond), limitMs);
        QTRY_VERIFY(momentText().startsWith("2024-03-31  02:30:1"));
    }

    void manyRecordings_areFoundWithoutHoldingUpTheWindow()
    {
        constexpr int count = 20000;
        QDir().mkpath(path("archive/x"));
        for (int index = 0; index < count; ++index) {
            const QDateTime begin = QDateTime(QDate(2023, 1, 1), QTime(0, 0), Qt::UTC).addSecs(index * 600);
            const QString name = QString("archive/x/%1_%2_0.mp4")
                                     .arg(begin.toString("yyyyMMddTHHmmss"),
                                          begin.addSecs(600).toString("yyyyMMddTHHmmss"));
            QFile file(path(name));
            QVERIFY(file.open(QIODevice::WriteOnly));
        }
        show(options());
        qint64 longest = 0;
        QElapsedTimer sinceTick;
        QTimer ticks;
        ticks.setInterval(5);
        connect(&ticks, &QTimer::timeout, this, [&] { longest = qMax(longest, sinceTick.restart()); });
        QTest::keyClick(window.get(), Qt::Key_P, Qt::ControlModifier);
        QTest::qWait(50); // the page itself
        sinceTick.start();
        ticks.start();
        press(Qt::Key_F5);
        QTRY_VERIFY_WITH_TIMEOUT(calendar()->isRecorded(QDate(2023, 5, 18)), limitMs);
        QVERIFY2(longest < 500, qPrintable(QString::number(longest)));
    }

    void window_mayGoAtAnyMoment()
    {
        makeArchive();
        for (int wait : {0, 20, 150, 600}) {
            show(options());
            QTest::keyClick(window.get(), Qt::Key_P, Qt::ControlModifier);
            QTest::qWait(wait / 2);
            press(Qt::Key_Space);
            QTest::qWait(wait);
            wait % 100 ? window->close() : false;
            window.reset();
        }
    }
};

QTEST_MAIN(TestViewerPlayback)

#include "tst_viewerplayback.moc"
