#include "cellview.h"
#include "core_videobase/abstractvideowidget.h"
#include "core_videosave/probedfile.h"
#include "devicepanel.h"
#include "devices.h"
#include "devicetree.h"
#include "mainwindow.h"
#include "snapshots.h"
#include "support/clips.h"
#include "support/messageguard.h"
#include "support/rtspserver.h"
#include "support/screen.h"
#include "support/testpicture.h"
#include "theme.h"
#include "vantor.h"
#include "videocell.h"
#include "videogrid.h"

#include <QAction>
#include <QApplication>
#include <QCursor>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QRegularExpression>
#include <QSettings>
#include <QSplitter>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <memory>

/// Devices in the viewer: the tree, how channels get into cells, and what the cells show of them.
class TestViewerDevices : public QObject
{
    Q_OBJECT

private:
    static MediaDeviceConfig device(const QString& alias, const QVector<QStringList>& channels)
    {
        MediaDeviceConfig made;
        made.alias = alias;
        for (const QStringList& sources : channels)
            made.channels.append({QString("%1 %2").arg(alias).arg(made.channels.size() + 1), sources});
        return made;
    }

    ViewerOptions options(const MediaDeviceConfig& shown, int cellCount) const
    {
        ViewerOptions made;
        made.devices.append(shown);
        made.cellCount = cellCount;
        made.snapshotFolder = folder->filePath("snapshots");
        made.recordingFolder = folder->filePath("manual");
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

    /// The cells wait for channels.
    void showEmpty(const MediaDeviceConfig& listed, int cellCount)
    {
        show(options(listed, cellCount));
        window->grid()->setSources({});
    }

    VideoCell* cell(int index) const { return window->grid()->cell(index); }

    DeviceTree* tree() const { return window->findChild<DeviceTree*>(); }

    /// An item by its place: device, channel, stream.
    QTreeWidgetItem* item(std::initializer_list<int> place) const
    {
        QTreeWidgetItem* found = tree()->topLevelItem(0);
        for (int index : place)
            found = found ? found->child(index) : nullptr;
        return found;
    }

    void doubleClick(QTreeWidgetItem* target) const
    {
        tree()->scrollToItem(target);
        const QPoint at = tree()->visualItemRect(target).center();
        QTest::mouseClick(tree()->viewport(), Qt::LeftButton, {}, at);
        QTest::mouseDClick(tree()->viewport(), Qt::LeftButton, {}, at);
    }

    /// Drags with the mouse. While that goes on, Qt runs an event loop of its own.
    void drag(QTreeWidgetItem* from, const VideoCell* to) const
    {
        tree()->scrollToItem(from);
        QWidget* area = tree()->viewport();
        const QPoint begin = tree()->visualItemRect(from).center();
        QTimer::singleShot(0, area, [this, to] {
            QWindow* handle = window->windowHandle();
            const QPoint target = to->mapTo(window.get(), to->rect().center());
            for (int step = -3; step <= 0; ++step) {
                QTest::mouseMove(handle, target + QPoint(step * 10, 0));
                QTest::qWait(30);
            }
            QTest::mouseRelease(handle, Qt::LeftButton, {}, target);
        });
        QTest::mousePress(area, Qt::LeftButton, {}, begin);
        for (int moved : {1, 2, 3}) {
            QMouseEvent move(QEvent::MouseMove, begin + QPoint(moved * QApplication::startDragDistance(), 0),
                             Qt::NoButton, Qt::LeftButton, {});
            QApplication::sendEvent(area, &move);
        }
        QTest::mouseRelease(area, Qt::LeftButton, {}, begin); // which the platform sends when a drag is over
    }

    static QImage picture(const VideoCell* cell)
    {
        const QImage all = Screen::grab(cell);
        const int width = qMin(all.width(), all.height() * 4 / 3);
        const int height = qMin(all.height(), all.width() * 3 / 4);
        return all.copy((all.width() - width) / 2, (all.height() - height) / 2, width, height);
    }

    static bool hasClipColors(const VideoCell* cell) { return TestPicture::hasColors(picture(cell), glTolerance); }

    /// Whether the screen shows something other than before in the middle of the cell.
    static bool moves(const VideoCell* cell)
    {
        const QRect middle = QRect(QPoint(), cell->size()).adjusted(40, 40, -40, -40);
        const QImage before = Screen::grab(cell).copy(middle);
        for (int i = 0; i < 40; ++i) {
            QTest::qWait(50);
            if (Screen::grab(cell).copy(middle) != before)
                return true;
        }
        return false;
    }

    QString statusText() const { return window->statusBar()->currentMessage(); }

    QStringList files(const QString& subfolder) const
    {
        QStringList list;
        QDirIterator found(folder->filePath(subfolder), QDir::Files, QDirIterator::Subdirectories);
        while (found.hasNext())
            list.append(found.next());
        list.sort();
        return list;
    }

    QString write(const QString& name, const char* text) const
    {
        QFile file(folder->filePath(name));
        if (!file.open(QIODevice::WriteOnly) || file.write(text) < 0)
            qWarning() << file.errorString();
        return file.fileName();
    }

    void waitForPlaying(const VideoCell* cell) const
    {
        QTRY_VERIFY2_WITH_TIMEOUT(cell->state() == CellState::Playing, qPrintable(cell->description()), 15000);
    }

    /// Keeps a picture for people, where they asked for one.
    static void keepScreenshot(const QWidget* widget, const QString& name)
    {
        const QString directory = qEnvironmentVariable("VANTOR_KEEP_SCREENSHOTS");
        if (directory.isEmpty())
            return;
        QTest::qWait(1500);
        QVERIFY(Screen::grab(widget).save(QDir(directory).filePath(name)));
    }

    static constexpr int glTolerance = 72; // the renderer leaves limited-range pictures a little pale

    std::unique_ptr<MessageGuard> guard;
    std::unique_ptr<QTemporaryDir> folder;
    std::unique_ptr<MainWindow> window;

private Q_SLOTS:
    void initTestCase()
    {
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, settings.path());
        applyTheme(*qApp);
        Clips::h264AacMp4();
        QVERIFY(Vantor::init());
    }

    void cleanupTestCase() { Vantor::release(); }

    void init()
    {
        guard.reset(new MessageGuard);
        guard->allow("-----cur pts"); // a machine that is busy for a moment
        folder.reset(new QTemporaryDir);
        QCursor::setPos(1279, 1023);
    }

    void cleanup()
    {
        window.reset();
        VERIFY_NO_UNEXPECTED_MESSAGES(*guard);
    }

    void tree_listsDevicesChannelsAndStreams_ofAFile()
    {
        showEmpty(device("First", {{"test:"}}), 4);
        window->openDevice(write("office.json", R"({
            "alias": "Office",
            "channels": [ { "name": "Gate", "sources": ["test:640x360", "test:320x180"] },
                          { "name": "Yard", "sources": ["", "test:320x180"] },
                          { "sources": ["test:"] } ] })"));
        QCOMPARE(item({})->childCount(), 2);
        QCOMPARE(item({0})->text(0), QString("First"));
        QCOMPARE(item({1})->text(0), QString("Office"));
        QCOMPARE(item({1})->data(0, Qt::UserRole).toString(), QString("device:Office"));
        QCOMPARE(item({1})->childCount(), 3);
        QCOMPARE(item({1, 0})->text(0), QString("Gate"));
        QCOMPARE(item({1, 0})->data(0, Qt::UserRole).toString(), QString("device:Office/1"));
        QCOMPARE(item({1, 0})->childCount(), 2);
        QCOMPARE(item({1, 0, 1})->data(0, Qt::UserRole).toString(), QString("device:Office/1/sub"));
        QCOMPARE(item({1, 1})->childCount(), 1); // its main stream has no source
        QCOMPARE(item({1, 1, 0})->data(0, Qt::UserRole).toString(), QString("device:Office/2/sub"));
        QCOMPARE(item({1, 2})->text(0), QString("Office 3"));
        QVERIFY(tree()->visualItemRect(item({1, 2})).isValid());
        QCOMPARE(statusText(), QString("Office: 3 channel(s)"));
    }

    void tree_listsAFileOnce_andTwoDevicesOfOneName()
    {
        showEmpty(device("Office", {{"test:"}}), 4);
        const QString file = write("a.json", R"({"alias": "Office", "channels": [{"sources": ["test:320x180"]}]})");
        window->openDevice(file);
        window->openDevice(file);
        QCOMPARE(item({})->childCount(), 2);
        QCOMPARE(item({1})->text(0), QString("Office (2)"));
        QCOMPARE(item({1, 0})->data(0, Qt::UserRole).toString(), QString("device:Office (2)/1"));
    }

    void badFile_isReported_andChangesNothing()
    {
        showEmpty(device("First", {{"test:"}}), 4);
        const QString file = write("bad.json", R"({"channels": [{"sources": ["test:1x1"]}]})");
        window->openDevice(file);
        auto* box = window->findChild<QMessageBox*>();
        QVERIFY(box);
        QVERIFY2(box->text().startsWith(file + ": channels[0].sources[0]: "), qPrintable(box->text()));
        QTRY_VERIFY(box->isVisible());
        keepScreenshot(window.get(), "badfile.png");
        box->accept();
        QCOMPARE(item({})->childCount(), 1);
    }

    void panel_isHiddenAndShown_andKeepsItsWidth()
    {
        showEmpty(device("First", {{"test:"}}), 4);
        auto* panel = window->findChild<DevicePanel*>();
        auto* splitter = window->findChild<QSplitter*>();
        QVERIFY(panel->isVisible());
        const int gridWidth = window->grid()->width();
        QTest::keyClick(window.get(), Qt::Key_D, Qt::ControlModifier);
        QVERIFY(!panel->isVisible());
        QTRY_VERIFY(window->grid()->width() > gridWidth + 100);
        QTest::keyClick(window.get(), Qt::Key_D, Qt::ControlModifier);
        QVERIFY(panel->isVisible());
        QTRY_VERIFY(tree()->hasFocus());

        QSplitterHandle* handle = splitter->handle(1);
        const QPoint at = handle->rect().center();
        QTest::mousePress(handle, Qt::LeftButton, {}, at);
        QMouseEvent move(QEvent::MouseMove, at + QPoint(90, 0), handle->mapToGlobal(at + QPoint(90, 0)), Qt::NoButton,
                         Qt::LeftButton, {});
        QApplication::sendEvent(handle, &move);
        QTest::mouseRelease(handle, Qt::LeftButton, {}, at);
        QTRY_VERIFY(qAbs(window->grid()->width() - (gridWidth - 90)) <= 2);
        const int width = panel->width();
        window.reset();
        showEmpty(device("First", {{"test:"}}), 4);
        QCOMPARE(window->findChild<DevicePanel*>()->width(), width);
        QSettings().clear();
    }

    void channel_plays_whenItIsDoubleClicked()
    {
        showEmpty(device("Clips", {{Clips::h264Mp4()}, {"test:320x180"}}), 4);
        window->grid()->select(cell(2));
        doubleClick(item({0, 0}));
        QCOMPARE(cell(2)->source().url, QString("device:Clips/1"));
        QCOMPARE(cell(2)->source().name, QString("Clips 1"));
        waitForPlaying(cell(2));
        QTRY_VERIFY(hasClipColors(cell(2)));

        // The selected cell is taken, so the next one is next.
        doubleClick(item({0, 1}));
        QCOMPARE(cell(3)->source().url, QString("device:Clips/2"));
        QCOMPARE(window->grid()->selectedCell(), cell(3));
        waitForPlaying(cell(3));
    }

    void channel_plays_whenEnterIsPressed()
    {
        showEmpty(device("Clips", {{Clips::h264Mp4(), "test:320x180"}}), 1);
        tree()->setFocus();
        tree()->setCurrentItem(item({0}));
        QTest::keyClick(tree(), Qt::Key_Down);
        QTest::keyClick(tree(), Qt::Key_Right); // opens the channel
        QTest::keyClick(tree(), Qt::Key_Down);
        QTest::keyClick(tree(), Qt::Key_Return);
        QCOMPARE(cell(0)->source().url, QString("device:Clips/1/main"));
        QVERIFY(!window->grid()->isEnlarged());
        QVERIFY(tree()->hasFocus());
        waitForPlaying(cell(0));
        QTRY_VERIFY(hasClipColors(cell(0)));

        // No cell is free: the selected one changes.
        QTest::keyClick(tree(), Qt::Key_Down);
        QTest::keyClick(tree(), Qt::Key_Enter);
        QCOMPARE(cell(0)->source().url, QString("device:Clips/1/sub"));
        waitForPlaying(cell(0));
        QTRY_VERIFY(!hasClipColors(cell(0)));
    }

    void channel_plays_whenItIsDraggedOntoACell()
    {
        showEmpty(device("Clips", {{"test:320x180"}, {Clips::h264Mp4()}}), 4);
        drag(item({0, 1}), cell(1));
        QTRY_COMPARE(cell(1)->source().url, QString("device:Clips/2"));
        QCOMPARE(window->grid()->selectedCell(), cell(1));
        waitForPlaying(cell(1));
        QTRY_VERIFY(hasClipColors(cell(1)));
        QCOMPARE(cell(0)->state(), CellState::Empty);

        // Also onto a picture, and a stream.
        item({0, 0})->setExpanded(true);
        drag(item({0, 0, 0}), cell(1));
        QTRY_COMPARE(cell(1)->source().url, QString("device:Clips/1/main"));
        waitForPlaying(cell(1));
        QTRY_VERIFY(!hasClipColors(cell(1)));
    }

    void device_fillsCells_whenItIsDraggedOntoACell()
    {
        const QStringList clip{Clips::h264Mp4()};
        showEmpty(device("Clips", {clip, clip, clip}), 4);
        drag(item({0}), cell(2));
        QTRY_COMPARE(window->grid()->cellCount(), 9); // 2 + 3 cells are more than 4
        for (int i = 0; i < 3; ++i) {
            QCOMPARE(cell(2 + i)->source().url, QString("device:Clips/%1").arg(i + 1));
            waitForPlaying(cell(2 + i));
            QTRY_VERIFY(hasClipColors(cell(2 + i)));
        }
        QCOMPARE(cell(0)->state(), CellState::Empty);
    }

    void device_fillsTheGrid_whenItIsDoubleClicked()
    {
        showEmpty(device("Clips", {{Clips::h264Mp4()}, {"test:320x180"}}), 1);
        doubleClick(item({0}));
        QCOMPARE(window->grid()->cellCount(), 4);
        waitForPlaying(cell(0));
        waitForPlaying(cell(1));
        QTRY_VERIFY(hasClipColors(cell(0)));
    }

    void cell_changesBetweenDeviceAndAddress()
    {
        guard->allow("error count: [0-9] why: End of file"); // the end of a clip
        showEmpty(device("Clips", {{"test:320x180"}}), 1);
        window->grid()->open("device:Clips/1");
        waitForPlaying(cell(0));
        QVERIFY(!window->findChild<QAction*>("stream")->isEnabled()); // there is one only
        window->grid()->open(Clips::h264AacMp4());
        waitForPlaying(cell(0));
        QVERIFY(cell(0)->view()->isSeekable());
        QTRY_VERIFY(hasClipColors(cell(0)));
        window->grid()->open("device:Clips/1");
        waitForPlaying(cell(0));
        QVERIFY(!cell(0)->view()->isSeekable());
        QTRY_VERIFY(!hasClipColors(cell(0)));
        QVERIFY(moves(cell(0)));
    }

    void cell_saysSo_whenThereIsNoSuchChannel()
    {
        showEmpty(device("Clips", {{"test:320x180"}}), 4);
        for (const char* address : {"device:Nobody/1", "device:Clips/2", "device:Clips/1/sub"}) {
            cell(0)->setSource({});
            window->grid()->select(cell(0));
            window->grid()->open(address);
            QCOMPARE(cell(0)->state(), CellState::Failed);
            QVERIFY2(statusText().startsWith(QString(address) + ": "), qPrintable(statusText()));
        }
    }

    void stream_isSwitched_withKeyButtonAndMenu()
    {
        showEmpty(device("Clips", {{Clips::h264Mp4(), "test:320x180"}}), 1);
        window->grid()->open("device:Clips/1/main");
        waitForPlaying(cell(0));
        QTRY_VERIFY(hasClipColors(cell(0)));
        auto* action = window->findChild<QAction*>("stream");
        QVERIFY(action->isChecked());

        QTest::keyClick(window.get(), Qt::Key_T);
        waitForPlaying(cell(0));
        QTRY_VERIFY(!hasClipColors(cell(0)));
        QVERIFY(moves(cell(0)));
        QVERIFY(!action->isChecked());
        QCOMPARE(cell(0)->source().url, QString("device:Clips/1/sub"));

        QCursor::setPos(cell(0)->mapToGlobal(cell(0)->rect().center()));
        auto* button = cell(0)->display()->findChild<QPushButton*>("btnStream");
        QVERIFY(button);
        QTRY_VERIFY(button->isVisible());
        QTest::mouseClick(button, Qt::LeftButton);
        waitForPlaying(cell(0));
        QTRY_VERIFY(hasClipColors(cell(0)));

        QContextMenuEvent wanted(QContextMenuEvent::Mouse, {50, 50}, cell(0)->mapToGlobal({50, 50}));
        QApplication::sendEvent(cell(0)->display(), &wanted);
        const QMenu* menu = nullptr;
        QTRY_VERIFY(menu = qobject_cast<QMenu*>(QApplication::activePopupWidget()));
        const auto* streams = menu->findChild<QMenu*>();
        QVERIFY(streams);
        QCOMPARE(streams->actions().size(), 3);
        QVERIFY(streams->actions().at(1)->isChecked());
        streams->actions().at(2)->trigger();
        QApplication::activePopupWidget()->close();
        QCOMPARE(cell(0)->source().url, QString("device:Clips/1/sub"));
        waitForPlaying(cell(0));
        QTRY_VERIFY(!hasClipColors(cell(0)));
    }

    void stream_fitsTheCell_unlessTheUserChose()
    {
        showEmpty(device("Clips", {{Clips::h264Mp4(), "test:320x180"}}), 4);
        window->grid()->open("device:Clips/1");
        waitForPlaying(cell(0));
        QCOMPARE(cell(0)->view()->stream(), 1);
        QTest::qWait(300);
        QVERIFY(!hasClipColors(cell(0)));
        window->grid()->toggleEnlarged();
        QTRY_COMPARE(cell(0)->view()->stream(), 0);
        waitForPlaying(cell(0));
        QTRY_VERIFY(hasClipColors(cell(0)));
        window->grid()->toggleEnlarged();
        QTRY_COMPARE(cell(0)->view()->stream(), 1);
        waitForPlaying(cell(0));

        cell(0)->setStream(1);
        window->grid()->toggleEnlarged();
        QTest::qWait(1200);
        QCOMPARE(cell(0)->view()->stream(), 1);
        QCOMPARE(cell(0)->state(), CellState::Playing);
    }

    void cells_shareAStream_andSayWhenTheDeviceHasNoMore()
    {
        guard->allow("enable media transmit failed");
        MediaDeviceConfig narrow = device("Clips", {{Clips::h264Mp4()}, {"test:320x180"}});
        narrow.maxStreams = 1;
        showEmpty(narrow, 4);
        for (int i : {0, 1}) {
            window->grid()->select(cell(i));
            window->grid()->open("device:Clips/1");
        }
        waitForPlaying(cell(0));
        waitForPlaying(cell(1));
        QTRY_VERIFY(hasClipColors(cell(0)) && hasClipColors(cell(1)));

        cell(1)->setFocus();
        window->grid()->select(cell(2));
        QVERIFY(cell(2)->hasFocus()); // or two cells would look selected
        window->grid()->open("device:Clips/2");
        QTRY_COMPARE(cell(2)->state(), CellState::Refused);
        QVERIFY(cell(2)->description().endsWith("Too many connections, trying again…"));
        keepScreenshot(window.get(), "refused.png");
        cell(0)->setSource({});
        QTest::qWait(500);
        QVERIFY(hasClipColors(cell(1)));
        QCOMPARE(cell(1)->state(), CellState::Playing);
        cell(1)->setSource({});
        waitForPlaying(cell(2));
    }

    void cell_saysWhenAStreamIsLostAndComesBack_data()
    {
        QTest::addColumn<int>("protocol");
        QTest::newRow("first family") << int(XTransportProtocol_Rta);
        QTest::newRow("second family") << int(XTransportProtocol_Mbe);
        QTest::newRow("RTSP") << int(XTransportProtocol_Rtsp);
    }

    void cell_saysWhenAStreamIsLostAndComesBack()
    {
        QFETCH(int, protocol);
        guard->allow(".*");
        RtspServer server;
        QVERIFY(server.start());
        MediaDeviceConfig camera = device("Camera", {{server.url("h264")}});
        camera.protocol = XTransportProtocol(protocol);
        ViewerOptions wanted = options(camera, 1);
        wanted.readTimeout = 1200;
        show(wanted);
        waitForPlaying(cell(0));
        QTRY_VERIFY(hasClipColors(cell(0)));
        server.kill();
        QTRY_COMPARE_WITH_TIMEOUT(cell(0)->state(), CellState::Lost, 15000);
        keepScreenshot(window.get(), "lost.png");
        QVERIFY(server.start());
        waitForPlaying(cell(0));
        QTRY_VERIFY(hasClipColors(cell(0)));
        QVERIFY(moves(cell(0)));
    }

    void cell_saysWhenNobodyAnswers()
    {
        guard->allow(".*");
        ViewerOptions wanted = options(device("Camera", {{"rtsp://127.0.0.1:1/nobody"}}), 1);
        wanted.readTimeout = 1200;
        show(wanted);
        QCOMPARE(cell(0)->state(), CellState::Connecting);
        QTRY_COMPARE_WITH_TIMEOUT(cell(0)->state(), CellState::NoAnswer, 10000);
    }

    void channel_isRecorded_andSnapshotsAreTaken()
    {
        showEmpty(MediaDeviceConfig::builtIn(1), 1);
        window->grid()->open("device:Built-in test device/1/sub");
        waitForPlaying(cell(0));
        QTest::keyClick(window.get(), Qt::Key_S);
        QTRY_VERIFY_WITH_TIMEOUT(statusText().startsWith("Snapshot: "), 5000);
        QCOMPARE(files("snapshots").size(), 1);
        QVERIFY(files("snapshots/Built-in test device-1-sub").first().endsWith("_0.jpg"));
        QCOMPARE(QImage(files("snapshots").first()).size(), QSize(640, 360));

        QTest::keyClick(window.get(), Qt::Key_R);
        const QString place = folder->filePath("manual/Built-in test device-1-sub/");
        QTRY_VERIFY_WITH_TIMEOUT(statusText().startsWith("Recording to " + place), 5000);
        QVERIFY(window->findChild<QAction*>("record")->isChecked());
        keepScreenshot(window.get(), "recordingchannel.png");
        QTest::qWait(2000);
        QTest::keyClick(window.get(), Qt::Key_R);
        QTRY_VERIFY_WITH_TIMEOUT(statusText().startsWith("Recorded: "), 5000);
        const QStringList found = files("manual");
        QCOMPARE(found.size(), 1);
        QVERIFY(found.first().contains(QRegularExpression("/live/[0-9]{8}T[0-9]{6}_[0-9]{8}T[0-9]{6}_0.mp4$")));
        const ProbedFile recording(found.first());
        QCOMPARE(recording.codecs(), (QStringList{"h264", "aac"}));
        QVERIFY2(recording.decodedPictures() >= 25, qPrintable(QString::number(recording.decodedPictures())));
        QCOMPARE(recording.complaints(), QByteArray());
    }

    void recording_goesOnWithTheStreamThatIsShown()
    {
        showEmpty(device("Tests", {{"test:320x240", "test:320x180"}}), 1);
        window->grid()->open("device:Tests/1/main");
        waitForPlaying(cell(0));
        QTest::keyClick(window.get(), Qt::Key_R);
        QTRY_COMPARE_WITH_TIMEOUT(files("manual/Tests-1-main").size(), 1, 5000);
        QTest::qWait(500);
        cell(0)->switchStream();
        QVERIFY(cell(0)->isRecording());
        QTRY_COMPARE_WITH_TIMEOUT(files("manual/Tests-1-sub").size(), 1, 8000);
        QTRY_VERIFY(files("manual/Tests-1-main").first().endsWith("_0.mp4"));
        QCOMPARE(files("manual/Tests-1-main").size(), 1);
        QTest::qWait(500);
        window.reset();
        QTRY_VERIFY(files("manual/Tests-1-sub").first().endsWith("_0.mp4"));
    }

    void recording_endsWithTheLastCellOfTheStream()
    {
        showEmpty(device("Tests", {{"test:320x240"}}), 4);
        for (int i : {0, 1}) {
            window->grid()->select(cell(i));
            window->grid()->open("device:Tests/1");
        }
        waitForPlaying(cell(0));
        waitForPlaying(cell(1));
        cell(0)->toggleRecording();
        QTRY_COMPARE_WITH_TIMEOUT(files("manual").size(), 1, 5000);
        QTRY_VERIFY(cell(1)->isRecording());
        cell(0)->setSource({});
        QTest::qWait(800);
        QVERIFY(cell(1)->isRecording());
        QVERIFY(!files("manual").first().endsWith("_0.mp4"));
        cell(1)->setSource({});
        QTRY_VERIFY(files("manual").first().endsWith("_0.mp4"));
        QTRY_COMPARE(statusText(), "Recorded: " + files("manual").first());
        QCOMPARE(ProbedFile(files("manual").first()).complaints(), QByteArray());
    }

    void everything_isRecorded_whenWanted()
    {
        ViewerOptions wanted = options(device("Tests", {{"test:320x240"}, {"test:320x180"}}), 4);
        wanted.autoRecordFolder = folder->filePath("all");
        show(wanted);
        waitForPlaying(cell(0));
        waitForPlaying(cell(1));
        QTRY_VERIFY_WITH_TIMEOUT(files("all/Tests-1-main").size() == 1 && files("all/Tests-2-main").size() == 1, 5000);
        QTest::qWait(1500);
        window.reset();
        for (const char* place : {"all/Tests-1-main", "all/Tests-2-main"}) {
            QTRY_VERIFY(files(place).first().contains(QRegularExpression("_[01].mp4$")));
            const ProbedFile recording(files(place).first());
            QVERIFY(recording.decodedPictures() >= 20);
            QCOMPARE(recording.complaints(), QByteArray());
        }
    }

    void window_closesSoon_inMidPlay()
    {
        show(options(MediaDeviceConfig::builtIn(), 4));
        for (int i = 0; i < 4; ++i) {
            waitForPlaying(cell(i));
            QVERIFY2(moves(cell(i)), qPrintable(cell(i)->description()));
        }
        keepScreenshot(window.get(), "viewer.png");
        QElapsedTimer timer;
        timer.start();
        window->close();
        window.reset();
        QVERIFY2(timer.elapsed() < 1500, qPrintable(QString("closing took %1 ms").arg(timer.elapsed())));
    }

    void talk_goesBack_whenTheDeviceRefusesIt()
    {
        guard->allow(".*"); // whatever the machine's microphone is like
        showEmpty(device("Tests", {{"test:320x180"}}), 1);
        window->grid()->open("device:Tests/1");
        waitForPlaying(cell(0));
        auto* button = cell(0)->display()->findChild<QPushButton*>("btnTalkMuted");
        QVERIFY(button);
        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(statusText(), QString("Tests 1: talk-back is on"));
        QTRY_COMPARE(statusText(), QString("Tests 1: the device cannot be talked to"));
        QCOMPARE(button->objectName(), QString("btnTalkMuted"));
        Q_EMIT cell(0)->display()->sig_startTalkDeviceBusy("TEST-1");
        QCOMPARE(statusText(), QString("Tests 1: somebody else is talking there"));
    }

private:
    QTemporaryDir settings;
};

QTEST_MAIN(TestViewerDevices)
#include "tst_viewerdevices.moc"
