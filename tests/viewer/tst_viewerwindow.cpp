#include "cellview.h"
#include "core_videobase/abstractvideowidget.h"
#include "mainwindow.h"
#include "playbackbar.h"
#include "seekslider.h"
#include "snapshots.h"
#include "sourceeditor.h"
#include "sourcesdialog.h"
#include "support/clips.h"
#include "support/loopback.h"
#include "support/messageguard.h"
#include "support/rtspserver.h"
#include "support/screen.h"
#include "support/testpicture.h"
#include "theme.h"
#include "videocell.h"
#include "videogrid.h"

#include <QAction>
#include <QApplication>
#include <QCursor>
#include <QDir>
#include <QDirIterator>
#include <QDropEvent>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QPushButton>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QToolBar>
#include <QToolButton>

#include <memory>

/// The window in this process, operated as a user does, and looked at on the screen.
class TestViewerWindow : public QObject
{
    Q_OBJECT

private:
    static Source source(const QString& url)
    {
        Source made;
        made.url = url;
        return made;
    }

    ViewerOptions options(const QStringList& addresses, int cellCount) const
    {
        ViewerOptions made;
        for (const QString& address : addresses)
            made.sources.append(source(address));
        made.cellCount = cellCount;
        made.showDevices = false;
        made.snapshotFolder = folder->path();
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

    VideoCell* cell(int index) const { return window->grid()->cell(index); }

    void showClip()
    {
        show(options({Clips::h264AacMp4()}, 1));
        QTRY_COMPARE_WITH_TIMEOUT(cell(0)->state(), CellState::Playing, 10000);
        QTRY_VERIFY(hasClipColors(cell(0)));
    }

    /// What the screen shows of a 4:3 picture that fills the cell's height.
    static QImage picture(const VideoCell* cell)
    {
        const QImage all = Screen::grab(cell);
        const int width = qMin(all.width(), all.height() * 4 / 3);
        const int height = qMin(all.height(), all.width() * 3 / 4);
        return all.copy((all.width() - width) / 2, (all.height() - height) / 2, width, height);
    }

    static bool hasClipColors(const VideoCell* cell) { return TestPicture::hasColors(picture(cell), glTolerance); }

    QString statusText() const { return window->statusBar()->currentMessage(); }

    QStringList snapshotFiles() const
    {
        QStringList files;
        QDirIterator found(folder->path(), {"*.jpg"}, QDir::Files, QDirIterator::Subdirectories);
        while (found.hasNext())
            files.append(found.next());
        return files;
    }

    static void hover(const QWidget* widget, const QPoint& point) { QCursor::setPos(widget->mapToGlobal(point)); }

    void close()
    {
        QElapsedTimer timer;
        timer.start();
        window->close();
        window.reset();
        QVERIFY2(timer.elapsed() < 5000, qPrintable(QString("closing took %1 ms").arg(timer.elapsed())));
    }

    static void drop(VideoCell* target, const QUrl& url)
    {
        QMimeData data;
        data.setUrls({url});
        const QPoint at = target->rect().center();
        QDragEnterEvent enter(at, Qt::LinkAction | Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(target->display(), &enter);
        QVERIFY(enter.isAccepted());
        QDropEvent event(at, Qt::LinkAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(target->display(), &event);
    }

    static constexpr int glTolerance = 72; // the renderer leaves limited-range pictures a little pale

    std::unique_ptr<MessageGuard> guard;
    std::unique_ptr<QTemporaryDir> folder;
    std::unique_ptr<MainWindow> window;

private Q_SLOTS:
    void initTestCase()
    {
        applyTheme(*qApp);
        Clips::h264AacMp4();
        Clips::h264Mp4();
    }

    void init()
    {
        guard.reset(new MessageGuard);
        guard->allow("error count: [0-9] why: End of file"); // the end of a clip
        folder.reset(new QTemporaryDir);
        QCursor::setPos(1279, 1023);
    }

    void cleanup()
    {
        window.reset();
        VERIFY_NO_UNEXPECTED_MESSAGES(*guard);
    }

    void window_hasTitleAndCells()
    {
        show(options({}, 9));
        QCOMPARE(window->windowTitle(), QString("Vantor Viewer"));
        for (int i = 0; i < 16; ++i)
            QCOMPARE(cell(i)->isVisible(), i < 9);
        QCOMPARE(cell(0)->state(), CellState::Empty);
    }

    void screen_showsTextsBorderAndBar_aboveTheTestPictures()
    {
        ViewerOptions wanted = options({}, 4);
        for (int i = 0; i < 4; ++i) {
            wanted.sources.append(source("testsrc2|640x360|15"));
            wanted.sources.last().captureFormat = "lavfi";
        }
        show(wanted);
        for (int i = 0; i < 4; ++i)
            QTRY_COMPARE_WITH_TIMEOUT(cell(i)->state(), CellState::Playing, 10000);
        QTRY_VERIFY(cell(3)->findChild<QWidget*>("yuvWidget"));
        hover(cell(3), cell(3)->rect().center());
        auto* bar = cell(3)->findChild<QWidget*>("bannerWidget");
        QTRY_VERIFY(bar->isVisible());

        // Selected and other border, plate of the name with white text, the bar's background.
        QVERIFY(Screen::waitForColor(cell(0), {0, 100}, QColor("#22A3A9")));
        QVERIFY(Screen::waitForColor(cell(3), {0, 100}, QColor("#2A3038")));
        QVERIFY(Screen::waitForColor(cell(3), {6, 12}, QColor("#12161A")));
        QVERIFY(Screen::waitForColor(bar, {bar->width() / 2, bar->height() / 2}, QColor("#1B2026"), 6));
        const QImage name = Screen::grab(cell(3)).copy(9, 9, 100, 18);
        int white = 0;
        for (int x = 0; x < name.width(); ++x)
            white += Screen::isNear(name.pixelColor(x, name.height() / 2), Qt::white, 40);
        QVERIFY2(white > 4, qPrintable(QString::number(white)));
        close();
    }

    void clock_runs_onTheScreen()
    {
        showClip();
        const QRect clock(cell(0)->width() - 220, 4, 216, 24);
        const QImage before = Screen::grab(cell(0)).copy(clock);
        QTRY_VERIFY_WITH_TIMEOUT(Screen::grab(cell(0)).copy(clock) != before, 3000);
    }

    void snapshot_isWrittenAndNamed_whenTheKeyIsPressed()
    {
        showClip();
        QTest::keyClick(window.get(), Qt::Key_S);
        QTRY_VERIFY_WITH_TIMEOUT(statusText().startsWith("Snapshot: "), 5000);
        QCOMPARE(snapshotFiles().size(), 1);
        const QString file = snapshotFiles().first();
        QCOMPARE(statusText(), "Snapshot: " + QDir::toNativeSeparators(file));
        QVERIFY(file.endsWith("_1.jpg"));
        QVERIFY(TestPicture::hasColors(QImage(file)));
    }

    void snapshot_isWritten_whenTheBarsButtonIsClicked()
    {
        showClip();
        hover(cell(0), cell(0)->rect().center());
        auto* button = cell(0)->findChild<QPushButton*>("btnSnap");
        QVERIFY(button);
        QTRY_VERIFY(button->isVisible());
        QTest::mouseClick(button, Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(statusText().startsWith("Snapshot: "), 5000);
        QCOMPARE(snapshotFiles().size(), 1);
    }

    void snapshot_saysSo_whenTheFolderCannotBeWritten()
    {
        guard->allow("snapshot was not written");
        showClip();
        window->snapshots()->setFolder("/proc/nowhere");
        QTest::keyClick(window.get(), Qt::Key_S);
        QTRY_COMPARE_WITH_TIMEOUT(statusText(), QString("The snapshot could not be written to /proc/nowhere"), 8000);
    }

    void snapshot_saysSo_whenNothingPlays()
    {
        show(options({}, 1));
        window->snapshots()->take(cell(0));
        QCOMPARE(statusText(), QString("No snapshot: nothing is playing in cell 1"));
    }

    void cell_fillsTheGrid_whenDoubleClicked()
    {
        show(options({Clips::h264Mp4(), Clips::h264Mp4()}, 4));
        const QSize small = cell(1)->size();
        QTest::mouseDClick(cell(1)->display(), Qt::LeftButton);
        QVERIFY(window->grid()->isEnlarged());
        QCOMPARE(cell(1)->size(), window->grid()->size());
        QVERIFY(!cell(0)->isVisible());
        QTRY_COMPARE_WITH_TIMEOUT(cell(1)->state(), CellState::Playing, 10000);
        QTRY_VERIFY(hasClipColors(cell(1)));
        QTest::mouseDClick(cell(1)->display(), Qt::LeftButton);
        QVERIFY(!window->grid()->isEnlarged());
        QCOMPARE(cell(1)->size(), small);
        QVERIFY(cell(0)->isVisible());
    }

    void window_fillsTheScreen_whenF11IsPressed()
    {
        showClip();
        auto* tools = window->findChild<QToolBar*>("tools");
        QTest::keyClick(window.get(), Qt::Key_F11);
        QTRY_VERIFY(window->isFullScreen());
        QVERIFY(!tools->isVisible());
        QTRY_COMPARE(window->grid()->size(), window->size());
        QTRY_VERIFY(hasClipColors(cell(0)));
        QTest::keyClick(window.get(), Qt::Key_Escape);
        QTRY_VERIFY(!window->isFullScreen());
        QVERIFY(tools->isVisible());
    }

    void clip_standsStill_whilePaused()
    {
        showClip();
        QTest::keyClick(window.get(), Qt::Key_Space);
        QCOMPARE(cell(0)->state(), CellState::Paused);
        QTest::qWait(300);
        const qint64 position = cell(0)->view()->position();
        const int number = TestPicture::number(picture(cell(0)));
        QVERIFY(number >= 0);
        QTest::qWait(500);
        QCOMPARE(cell(0)->view()->position(), position);
        QCOMPARE(TestPicture::number(picture(cell(0))), number);
        QTest::mouseClick(window->findChild<QToolButton*>("pause"), Qt::LeftButton);
        QCOMPARE(cell(0)->state(), CellState::Playing);
        QTRY_VERIFY(cell(0)->view()->position() > position);
    }

    void clip_jumps_whenThePositionBarIsClicked()
    {
        showClip();
        auto* slider = window->findChild<SeekSlider*>("position");
        QTRY_VERIFY(slider->isEnabled());
        QVERIFY(qAbs(slider->maximum() - 5000) < 200);
        QTest::mouseClick(slider, Qt::LeftButton, {}, QPoint(slider->width() * 3 / 5, slider->height() / 2));
        QTRY_VERIFY2(cell(0)->view()->position() >= 2800, qPrintable(QString::number(cell(0)->view()->position())));
        QTRY_VERIFY(TestPicture::number(picture(cell(0))) >= 65);
        QTRY_VERIFY(slider->value() >= 2800);
    }

    void clip_endsAndPlaysAgain_whenSpaceIsPressed()
    {
        showClip();
        cell(0)->view()->setPosition(4500);
        QTRY_COMPARE_WITH_TIMEOUT(cell(0)->state(), CellState::Ended, 10000);
        QVERIFY(cell(0)->description().endsWith("End of file"));
        QTest::keyClick(window.get(), Qt::Key_Space);
        QTRY_COMPARE_WITH_TIMEOUT(cell(0)->state(), CellState::Playing, 10000);
    }

    void clip_playsFaster_whenTheSpeedIsRaised()
    {
        showClip();
        QElapsedTimer timer;
        timer.start();
        cell(0)->view()->setSpeed(4.0);
        const qint64 begin = cell(0)->view()->position();
        QTRY_VERIFY(cell(0)->view()->position() - begin > 2000);
        QVERIFY2(timer.elapsed() < 1700, qPrintable(QString::number(timer.elapsed())));
    }

    void picture_isEnlarged_whenDigitalZoomIsOn()
    {
        showClip();
        QTest::keyClick(window.get(), Qt::Key_Z);
        QVERIFY(cell(0)->display()->isDigitalZoom());
        const QPointF centre = cell(0)->rect().center();
        for (int i = 0; i < 40; ++i) {
            QWheelEvent turn(centre, cell(0)->mapToGlobal(centre.toPoint()), {}, {0, 1200}, Qt::NoButton,
                             Qt::NoModifier, Qt::NoScrollPhase, false);
            QApplication::sendEvent(cell(0)->display(), &turn);
        }
        // A quarter of the frame is seen: the band, a sixth of the height, takes two thirds of the picture.
        const auto isBandHigh = [this] {
            const QImage image = picture(cell(0));
            return !Screen::isNear(image.pixelColor(image.width() / 2 - 2, image.height() * 3 / 10),
                                   TestPicture::topLeft(), glTolerance)
                && !Screen::isNear(image.pixelColor(image.width() / 2 + 2, image.height() * 7 / 10),
                                   TestPicture::bottomRight(), glTolerance)
                && Screen::isNear(image.pixelColor(image.width() / 4, image.height() / 12), TestPicture::topLeft(),
                                  glTolerance);
        };
        QTRY_VERIFY(isBandHigh());
        QTest::keyClick(window.get(), Qt::Key_Z);
        QVERIFY(!cell(0)->display()->isDigitalZoom());
        QTRY_VERIFY(hasClipColors(cell(0)));
    }

    void sound_isSwitched_withKeyAndBar()
    {
        showClip();
        QVERIFY(cell(0)->isMuted());
        QVERIFY(cell(0)->findChild<QPushButton*>("btnMuted"));
        QTest::keyClick(window.get(), Qt::Key_M);
        QVERIFY(!cell(0)->isMuted());
        auto* button = cell(0)->findChild<QPushButton*>("btnSound");
        QVERIFY(button);
        QTest::mouseClick(button, Qt::LeftButton);
        QVERIFY(cell(0)->isMuted());
        QVERIFY(!window->findChild<QAction*>("sound")->isChecked());
    }

    void talk_isRefused_onAnAddress()
    {
        showClip();
        auto* button = cell(0)->findChild<QPushButton*>("btnTalkMuted");
        QVERIFY(button);
        QTest::mouseClick(button, Qt::LeftButton);
        QVERIFY(statusText().contains("no talk-back"));
        QCOMPARE(button->objectName(), QString("btnTalkMuted"));
    }

    void address_plays_whenDroppedOnACell()
    {
        show(options({}, 4));
        drop(cell(2), QUrl::fromLocalFile(Clips::h264Mp4()));
        QCOMPARE(cell(2)->source().url, Clips::h264Mp4());
        QTRY_COMPARE_WITH_TIMEOUT(cell(2)->state(), CellState::Playing, 10000);
        QCOMPARE(window->grid()->selectedCell(), cell(2));

        guard->allow(".*");
        drop(cell(1), QUrl("rtsp://127.0.0.1:1/live"));
        QCOMPARE(cell(1)->source().url, QString("rtsp://127.0.0.1:1/live"));
        QCOMPARE(cell(1)->state(), CellState::Connecting);
    }

    void cell_says_whatIsWrongWithItsAddress()
    {
        guard->allow("not a file, a device or a network address: nosuch.mp4");
        guard->allow("create video thread fail");
        show(options({"nosuch.mp4"}, 1));
        QCOMPARE(cell(0)->state(), CellState::Failed);
        QCOMPARE(statusText(), QString("nosuch.mp4: not a file, a camera or an address that can be played"));
        QVERIFY(window->findChild<QLabel*>("summary")->text().contains("Cannot be played: 1"));
        const QImage middle
            = Screen::grab(cell(0)).copy(cell(0)->width() / 2 - 100, cell(0)->height() / 2 - 20, 200, 40);
        bool isRed = false;
        for (int y = 0; y < middle.height(); ++y) {
            for (int x = 0; x < middle.width(); ++x)
                isRed |= Screen::isNear(middle.pixelColor(x, y), QColor("#FF6B5E"), 40);
        }
        QVERIFY(isRed);
    }

    void cell_says_whenAStreamIsLostAndComesBack()
    {
        guard->allow(".*");
        RtspServer server;
        QVERIFY(server.start());
        ViewerOptions wanted = options({server.url("h264")}, 1);
        wanted.readTimeout = 1000;
        show(wanted);
        QTRY_COMPARE_WITH_TIMEOUT(cell(0)->state(), CellState::Playing, 15000);
        QVERIFY(!cell(0)->view()->isSeekable());
        QVERIFY(!window->findChild<QToolButton*>("pause")->isEnabled());
        server.kill();
        QTRY_COMPARE_WITH_TIMEOUT(cell(0)->state(), CellState::Lost, 10000);
        QVERIFY(server.start());
        QTRY_COMPARE_WITH_TIMEOUT(cell(0)->state(), CellState::Playing, 15000);
        QTRY_VERIFY(hasClipColors(cell(0)));
        close();
    }

    void cell_says_whenNobodyAnswers()
    {
        guard->allow(".*");
        show(options({QString("rtsp://127.0.0.1:%1/x").arg(Loopback::refusedPort())}, 1));
        QCOMPARE(cell(0)->state(), CellState::Connecting);
        QTRY_COMPARE_WITH_TIMEOUT(cell(0)->state(), CellState::NoAnswer, 10000);
    }

    void window_closesSoon_whileSixteenClipsPlay()
    {
        QStringList clips;
        while (clips.size() < 16)
            clips.append(Clips::h264AacMp4());
        show(options(clips, 16));
        for (int i = 0; i < 16; ++i)
            QTRY_COMPARE_WITH_TIMEOUT(cell(i)->state(), CellState::Playing, 10000);
        close();
    }

    void window_closesSoon_whileNobodyAnswers()
    {
        guard->allow(".*");
        Loopback::UnreachablePort port;
        QStringList addresses;
        while (addresses.size() < 16)
            addresses.append(QString("rtsp://127.0.0.1:%1/x").arg(port.port()));
        show(options(addresses, 16));
        QTest::qWait(1000);
        close();
    }

    void cells_stop_whenTheGridShrinks()
    {
        show(options({Clips::h264Mp4(), Clips::h264Mp4()}, 4));
        QTRY_COMPARE_WITH_TIMEOUT(cell(1)->state(), CellState::Playing, 10000);
        QTest::keyClick(window.get(), Qt::Key_1, Qt::ControlModifier);
        QCOMPARE(window->grid()->cellCount(), 1);
        QCOMPARE(cell(1)->state(), CellState::Stopped);
        QVERIFY(!cell(1)->isVisible());
        QTest::keyClick(window.get(), Qt::Key_2, Qt::ControlModifier);
        QTRY_COMPARE_WITH_TIMEOUT(cell(1)->state(), CellState::Playing, 10000);
    }

    void sources_playOn_whenOnlyOthersChange()
    {
        show(options({Clips::h264AacMp4(), Clips::h264Mp4()}, 4));
        QTRY_COMPARE_WITH_TIMEOUT(cell(0)->state(), CellState::Playing, 10000);
        QSignalSpy changes(cell(0), &VideoCell::stateChanged);
        window->grid()->setSources({source(Clips::h264AacMp4()), source(Clips::h265Mp4())});
        QTRY_COMPARE_WITH_TIMEOUT(cell(1)->state(), CellState::Playing, 10000);
        QCOMPARE(cell(1)->source().url, Clips::h265Mp4());
        QCOMPARE(changes.count(), 0);
        window->grid()->setSources({});
        QCOMPARE(cell(0)->state(), CellState::Empty);
        QCOMPARE(window->grid()->sources().size(), 0);
    }

    void dialog_addsEditsAndRemovesSources()
    {
        guard->allow("SetInputFocus"); // a window that is gone before the server has shown it
        SourcesDialog dialog({source("a.mp4")}, "udp");
        const auto answer = [&](const QString& address) {
            QTimer::singleShot(0, &dialog, [&dialog, address] {
                auto* editor = dialog.findChild<SourceEditor*>();
                editor->findChild<QLineEdit*>("address")->setText(address);
                editor->accept();
            });
        };
        dialog.show();
        answer("rtsp://host/b");
        dialog.findChild<QPushButton*>("add")->click();
        QCOMPARE(dialog.sources().size(), 2);
        QCOMPARE(dialog.sources().last().url, QString("rtsp://host/b"));
        QCOMPARE(dialog.sources().last().transport, QString("udp"));
        dialog.setCurrentRow(0);
        answer("c.mp4");
        dialog.findChild<QPushButton*>("edit")->click();
        QCOMPARE(dialog.sources().first().url, QString("c.mp4"));
        dialog.findChild<QPushButton*>("down")->click();
        QCOMPARE(dialog.sources().last().url, QString("c.mp4"));
        dialog.findChild<QPushButton*>("remove")->click();
        QCOMPARE(dialog.sources().size(), 1);
        QCOMPARE(dialog.findChild<QTableWidget*>("sources")->item(0, 1)->text(), QString("rtsp://host/b"));
    }
};

QTEST_MAIN(TestViewerWindow)
#include "tst_viewerwindow.moc"
