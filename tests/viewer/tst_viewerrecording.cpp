#include "core_videosave/probedfile.h"
#include "core_videosave/smalldisk.h"
#include "mainwindow.h"
#include "support/clips.h"
#include "support/messageguard.h"
#include "support/rtspserver.h"
#include "support/screen.h"
#include "theme.h"
#include "videocell.h"
#include "videogrid.h"

#include <QAction>
#include <QApplication>
#include <QCursor>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QRegularExpression>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <memory>

/// Recording in the viewer: what the user does, what the screen says, and what is on the disk.
class TestViewerRecording : public QObject
{
    Q_OBJECT

private:
    ViewerOptions options(const QStringList& addresses) const
    {
        ViewerOptions made;
        for (const QString& address : addresses) {
            Source source;
            source.url = address;
            made.sources.append(source);
        }
        made.cellCount = addresses.size() > 1 ? 4 : 1;
        made.recordingFolder = folder->filePath("manual");
        return made;
    }

    /// Neither H.264 nor H.265.
    static Source rawPicture()
    {
        Source source;
        source.name = "Pattern";
        source.url = "testsrc2|320x240|15";
        source.captureFormat = "lavfi";
        return source;
    }

    void show(const ViewerOptions& wanted)
    {
        window.reset(new MainWindow(wanted));
        window->move(0, 0);
        window->show();
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        QTRY_COMPARE_WITH_TIMEOUT(cell(0)->state(), CellState::Playing, 15000);
    }

    VideoCell* cell(int index) const { return window->grid()->cell(index); }

    void pressKey() const { QTest::keyClick(window.get(), Qt::Key_R); }

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

    /// The only file below the folder, when its name says that it is finished.
    QString finishedFile(const QString& subfolder, int number) const
    {
        const QRegularExpression name(
            QString("/%1/0%2/[0-9-]{10}/live/[0-9]{8}T[0-9]{6}_[0-9]{8}T[0-9]{6}_%2.mp4$").arg(subfolder).arg(number));
        const QStringList found = files(subfolder);
        return found.size() == 1 && name.match(found.first()).hasMatch() ? found.first() : QString();
    }

    /// Whether the screen shows the red dot in the right upper part of the cell, below the clock.
    static bool hasMark(const VideoCell* cell)
    {
        const QImage all = Screen::grab(cell);
        const QImage part = all.copy(all.width() - 110, 24, 105, 40);
        int red = 0;
        for (int y = 0; y < part.height(); ++y) {
            for (int x = 0; x < part.width(); ++x)
                red += Screen::isNear(part.pixelColor(x, y), QColor("#FF3B30"), 12);
        }
        return red >= 30;
    }

    static void keepScreenshot(const QWidget* widget, const QString& name)
    {
        const QString directory = qEnvironmentVariable("VANTOR_KEEP_SCREENSHOTS");
        if (!directory.isEmpty())
            QVERIFY(Screen::grab(widget).save(QDir(directory).filePath(name)));
    }

    std::unique_ptr<MessageGuard> guard;
    std::unique_ptr<QTemporaryDir> folder;
    std::unique_ptr<MainWindow> window;

private Q_SLOTS:
    void initTestCase()
    {
        applyTheme(*qApp);
        Clips::h264AacMp4();
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

    void key_startsAndStops()
    {
        show(options({Clips::h264AacMp4()}));
        auto* action = window->findChild<QAction*>("record");
        QVERIFY(action->isEnabled());
        QVERIFY(!hasMark(cell(0)));

        pressKey();
        QVERIFY(action->isChecked());
        QTRY_VERIFY_WITH_TIMEOUT(hasMark(cell(0)), 3000);
        QVERIFY(statusText().startsWith("Recording to " + folder->filePath("manual/01/")));
        QCOMPARE(files("manual").size(), 1);
        keepScreenshot(window.get(), "recording.png");
        QTest::qWait(1200);

        pressKey();
        QVERIFY(!action->isChecked());
        QTRY_VERIFY(statusText().startsWith("Recorded: "));
        QTRY_VERIFY(!hasMark(cell(0)));
        const QString file = finishedFile("manual", 1);
        QCOMPARE(statusText(), "Recorded: " + file);
        const ProbedFile recording(file);
        QVERIFY(recording.codecs().contains("h264"));
        QVERIFY2(recording.decodedPictures() >= 20, qPrintable(QString::number(recording.decodedPictures())));
        QVERIFY(recording.packets("v").first().isKey);
        QCOMPARE(recording.complaints(), QByteArray());
    }

    void bar_startsAndSaysThatItRecords()
    {
        show(options({Clips::h264AacMp4()}));
        QCursor::setPos(cell(0)->mapToGlobal(cell(0)->rect().center()));
        auto* button = cell(0)->findChild<QPushButton*>("btnRecord");
        QVERIFY(button);
        QTRY_VERIFY(button->isVisible());
        QTest::mouseClick(button, Qt::LeftButton);
        auto* info = cell(0)->findChild<QWidget*>("bannerWidget")->findChild<QLabel*>();
        QTRY_VERIFY_WITH_TIMEOUT(info->text().endsWith(" 录制中..."), 3000);
        QTRY_VERIFY(hasMark(cell(0)));
        keepScreenshot(window.get(), "recordingbar.png");
        QTest::mouseClick(button, Qt::LeftButton);
        QTRY_VERIFY(!info->text().contains("录制"));
        QTRY_VERIFY(!finishedFile("manual", 1).isEmpty());
        QTRY_VERIFY(!hasMark(cell(0)));
    }

    void file_isFinished_whenTheClipEnds()
    {
        show(options({Clips::h264AacMp4()}));
        pressKey();
        QTRY_VERIFY_WITH_TIMEOUT(hasMark(cell(0)), 3000);
        QTRY_COMPARE_WITH_TIMEOUT(cell(0)->state(), CellState::Ended, 10000);
        QTRY_COMPARE(statusText(), "Recorded: " + finishedFile("manual", 1));
        QTRY_VERIFY(!hasMark(cell(0)));
        QVERIFY(!window->findChild<QAction*>("record")->isChecked());
        QVERIFY(ProbedFile(finishedFile("manual", 1)).decodedPictures() >= 75);
    }

    void file_isFinishedAndNamed_whenTheSourceIsClosed()
    {
        show(options({Clips::h264AacMp4()}));
        pressKey();
        QTRY_VERIFY_WITH_TIMEOUT(hasMark(cell(0)), 3000);
        QTest::keyClick(window.get(), Qt::Key_Delete);
        QTRY_COMPARE(statusText(), "Recorded: " + finishedFile("manual", 1));
        QTRY_VERIFY(!hasMark(cell(0)));
    }

    void file_isFinished_whenTheWindowIsClosed()
    {
        show(options({Clips::h264AacMp4()}));
        pressKey();
        QTRY_VERIFY_WITH_TIMEOUT(hasMark(cell(0)), 3000);
        QTest::qWait(1100);
        window->close();
        window.reset();
        const QString file = finishedFile("manual", 1);
        QVERIFY(!file.isEmpty());
        QVERIFY(ProbedFile(file).decodedPictures() >= 20);
        QCOMPARE(ProbedFile(file).complaints(), QByteArray());
    }

    void viewer_saysSo_whenTheSourceCannotBeRecorded()
    {
        guard->allow(".*");
        ViewerOptions wanted = options({});
        wanted.sources = {rawPicture()};
        show(wanted);
        pressKey();
        const QString title = wanted.sources.first().title();
        QTRY_COMPARE(statusText(), title + " cannot be recorded: only H.264 and H.265 pictures can");
        QVERIFY(!window->findChild<QAction*>("record")->isChecked());
        QVERIFY(!cell(0)->isRecording());
        QTest::qWait(500);
        QVERIFY(!hasMark(cell(0)));
        QCOMPARE(files("manual"), QStringList());
    }

    void viewer_saysSo_whenTheFolderCannotBeWritten()
    {
        guard->allow(".*");
        ViewerOptions wanted = options({Clips::h264AacMp4()});
        wanted.recordingFolder = "/proc/nowhere";
        show(wanted);
        pressKey();
        QTRY_VERIFY(statusText().startsWith("The recording could not be written to /proc/nowhere/01/"));
        QVERIFY(!cell(0)->isRecording());
        QVERIFY(!hasMark(cell(0)));
    }

    void viewer_saysSo_whenTheDiskIsFull()
    {
        guard->allow(".*");
        show(options({Clips::h264AacMp4()}));
        const FileSizeLimit limit(10 * 1024);
        pressKey();
        QTRY_VERIFY2(
            statusText().startsWith("The recording ended too soon, perhaps the disk is full; what was written is "
                                    + folder->filePath("manual/01/")),
            qPrintable(statusText()));
        QVERIFY(!cell(0)->isRecording());
        QTRY_VERIFY(!hasMark(cell(0)));
        QTest::qWait(1200);
        QVERIFY(!hasMark(cell(0)));
    }

    void viewer_saysSoOnce_whenNotEverythingCanBeRecorded()
    {
        guard->allow(".*");
        ViewerOptions wanted = options({});
        wanted.sources = {rawPicture()};
        wanted.autoRecordFolder = folder->filePath("all");
        QStringList said;
        show(wanted);
        QTRY_VERIFY(statusText().endsWith(" cannot be recorded: only H.264 and H.265 pictures can"));
        connect(cell(0), &VideoCell::message, this, [&said](const QString& text) { said.append(text); });
        QTest::qWait(500);
        QCOMPARE(said, QStringList());
        QVERIFY(!hasMark(cell(0)));
        QCOMPARE(files("all"), QStringList());

        Source clip;
        clip.url = Clips::h264Mp4();
        window->grid()->setSources({clip});
        QTRY_VERIFY_WITH_TIMEOUT(hasMark(cell(0)), 10000);
    }

    void viewer_saysSo_whenNothingPlays()
    {
        window.reset(new MainWindow(options({})));
        cell(0)->toggleRecording();
        QCOMPARE(statusText(), QString("No recording: nothing is playing in cell 1"));
    }

    void everything_isRecorded_whenWanted()
    {
        ViewerOptions wanted = options({Clips::h264AacMp4(), Clips::h264Mp4()});
        wanted.autoRecordFolder = folder->filePath("all");
        show(wanted);
        QTRY_VERIFY_WITH_TIMEOUT(hasMark(cell(0)) && hasMark(cell(1)), 5000);
        pressKey(); // the mark stays until the last file is closed
        QTRY_COMPARE_WITH_TIMEOUT(files("manual").size(), 1, 3000);
        pressKey();
        QTRY_VERIFY_WITH_TIMEOUT(!finishedFile("manual", 1).isEmpty(), 3000);
        QTRY_VERIFY(hasMark(cell(0)));

        // The next source, too.
        QTRY_COMPARE_WITH_TIMEOUT(cell(0)->state(), CellState::Ended, 10000);
        QTRY_VERIFY(!hasMark(cell(0)));
        QTRY_VERIFY_WITH_TIMEOUT(!hasMark(cell(1)), 5000);
        cell(0)->play();
        QTRY_VERIFY_WITH_TIMEOUT(hasMark(cell(0)), 5000);
        window.reset();
        QCOMPARE(files("all/01").size(), 2);
        QCOMPARE(files("all/02").size(), 1);
        for (const QString& file : files("all")) {
            QVERIFY2(file.contains(QRegularExpression("_[12].mp4$")), qPrintable(file));
            QCOMPARE(ProbedFile(file).complaints(), QByteArray());
        }
        QVERIFY(ProbedFile(files("all/02").first()).decodedPictures() >= Clips::frameCount - 1);
    }

    void files_areCut_whenAnIntervalIsGiven()
    {
        ViewerOptions wanted = options({Clips::h264AacMp4()});
        wanted.autoRecordFolder = folder->filePath("all");
        wanted.recordInterval = 1;
        show(wanted);
        pressKey();
        QTRY_COMPARE_WITH_TIMEOUT(cell(0)->state(), CellState::Ended, 10000);
        window.reset();
        QVERIFY2(files("all").size() >= 2, qPrintable(files("all").join(' ')));
        QVERIFY2(files("manual").size() >= 2, qPrintable(files("manual").join(' ')));
        for (const QString& file : files("all"))
            QVERIFY(ProbedFile(file).decodedPictures() >= 20);
    }

    void recording_goesOn_whenAStreamIsLostAndComesBack()
    {
        guard->allow(".*");
        RtspServer server;
        QVERIFY(server.start());
        ViewerOptions wanted = options({server.url("h264")});
        wanted.autoRecordFolder = folder->filePath("all");
        wanted.readTimeout = 1000;
        show(wanted);
        pressKey();
        QTRY_VERIFY_WITH_TIMEOUT(files("manual").size() == 1 && hasMark(cell(0)), 5000);
        QTest::qWait(800);
        server.kill();
        QTRY_COMPARE_WITH_TIMEOUT(cell(0)->state(), CellState::Lost, 10000);
        QTRY_VERIFY(!hasMark(cell(0)));
        QVERIFY(cell(0)->isRecording());
        QVERIFY(server.start());
        QTRY_COMPARE_WITH_TIMEOUT(cell(0)->state(), CellState::Playing, 15000);
        QTRY_VERIFY_WITH_TIMEOUT(hasMark(cell(0)), 5000);
        QTest::qWait(800);
        window.reset();
        const auto haveEnded = [this](const char* kind) { // which they do a moment after the window
            const QStringList recordings = files(kind);
            return recordings.size() == 2
                && std::all_of(recordings.begin(), recordings.end(),
                               [](const QString& file) { return file.endsWith("_1.mp4"); });
        };
        for (const char* kind : {"manual", "all"}) {
            QTRY_VERIFY2_WITH_TIMEOUT(haveEnded(kind), qPrintable(files(kind).join(' ')), 30000);
            for (const QString& file : files(kind)) {
                QVERIFY(ProbedFile(file).decodedPictures() >= 10);
            }
        }
    }
};

QTEST_MAIN(TestViewerRecording)
#include "tst_viewerrecording.moc"
