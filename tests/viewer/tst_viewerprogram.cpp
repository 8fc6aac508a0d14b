#include "core_videosave/probedfile.h"
#include "support/clips.h"
#include "support/screen.h"
#include "support/testpicture.h"

#include <QDirIterator>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

/// The program itself, on the screen. The window lies in the top left corner, as there is no window manager.
class TestViewerProgram : public QObject
{
    Q_OBJECT

private:
    struct Run
    {
        int exitCode = -1;
        QString errors;
        QImage early; ///< the screen some seconds before the end
        QImage screenshot;
    };

    Run run(const QStringList& arguments, int seconds)
    {
        const QString file = folder.filePath("screenshot.png");
        QFile::remove(file);
        QProcess viewer;
        viewer.start(VANTOR_VIEWER,
                     QStringList{"--seconds", QString::number(seconds), "--screenshot", file} + arguments);
        Run result;
        QTest::qWait(seconds * 1000 - 1000);
        result.early = Screen::grab();
        if (!viewer.waitForFinished(20000)) {
            viewer.kill();
            viewer.waitForFinished();
            return result;
        }
        result.exitCode = viewer.exitStatus() == QProcess::NormalExit ? viewer.exitCode() : -1;
        result.errors = QString::fromUtf8(viewer.readAllStandardError());
        result.screenshot = QImage(file);
        return result;
    }

    /// The inner part of a cell, without the texts in its corners.
    static QRect innerCell(int columns, int index, int panelWidth = 0)
    {
        const QRect grid(panelWidth, 42, 1280 - panelWidth, 756);
        const QSize cell(grid.width() / columns, grid.height() / columns);
        const QRect all(grid.topLeft() + QPoint(index % columns * cell.width(), index / columns * cell.height()), cell);
        return all.adjusted(cell.width() / 8, cell.height() / 6, -cell.width() / 8, -cell.height() / 6);
    }

    /// A line of the library, other than the one that a machine without sound gets.
    static QRegularExpression complaint() { return QRegularExpression("vantor\\.(?!audio\\.player: no sound output)"); }

    static int colorCount(const QImage& image)
    {
        QSet<QRgb> colors;
        for (int y = 0; y < image.height(); y += 2) {
            for (int x = 0; x < image.width(); x += 2)
                colors.insert(image.pixel(x, y));
        }
        return colors.size();
    }

    static constexpr int panelWidth = 223; // of the devices, with the handle beside it
    static constexpr int tolerance = 72; // the OpenGL renderer leaves limited-range pictures a little pale

    QTemporaryDir folder;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(folder.isValid());
        qputenv("XDG_CONFIG_HOME", folder.filePath("config").toLocal8Bit());
        QVERIFY(QFileInfo::exists(Clips::h264AacMp4()));
    }

    void program_showsFourMovingPictures_whenStartedWithoutArguments()
    {
        const Run seen = run({}, 6);
        QCOMPARE(seen.exitCode, 0);
        QCOMPARE(seen.screenshot.size(), seen.early.size());
        for (int i = 0; i < 4; ++i) {
            const QRect cell = innerCell(2, i, panelWidth);
            const QImage before = seen.early.copy(cell).convertToFormat(QImage::Format_RGB32);
            const QImage after = seen.screenshot.copy(cell).convertToFormat(QImage::Format_RGB32);
            QVERIFY2(colorCount(after) >= 6, qPrintable(QString("cell %1 shows no picture").arg(i)));
            QVERIFY2(before != after, qPrintable(QString("cell %1 stands still").arg(i)));
        }
    }

    void program_showsTheChannelsOfAFile_whenGivenADevice()
    {
        QFile file(folder.filePath("device.json"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QString(R"({"alias": "Clips", "channels": [{"sources": ["%1"]}, {"sources": ["%1"]}]})")
                       .arg(Clips::h264AacMp4())
                       .toUtf8());
        file.close();
        const Run seen = run({"--devices", file.fileName()}, 9);
        QCOMPARE(seen.exitCode, 0);
        QVERIFY2(!seen.errors.contains(complaint()), qPrintable(seen.errors));
        for (int i = 0; i < 2; ++i) {
            const QImage cell = seen.screenshot.copy(innerCell(2, i, panelWidth));
            QVERIFY2(Screen::isNear(cell.pixelColor(cell.width() / 4, cell.height() / 10), TestPicture::topLeft(),
                                    tolerance),
                     qPrintable(QString("cell %1").arg(i)));
        }
    }

    void program_showsClip_whenGivenAFile_data()
    {
        QTest::addColumn<QString>("mode");
        QTest::newRow("opengl") << "opengl";
        QTest::newRow("image") << "image";
    }

    void program_showsClip_whenGivenAFile()
    {
        QFETCH(QString, mode);
        const Run seen = run({"--mode", mode, Clips::h264AacMp4()}, 4);
        QCOMPARE(seen.exitCode, 0);
        QVERIFY2(!seen.errors.contains(complaint()), qPrintable(seen.errors));
        const QImage cell = seen.screenshot.copy(innerCell(1, 0));
        const QPoint down(0, cell.height() * 4 / 5);
        const QPoint corner(cell.width() / 4, cell.height() / 10);
        QVERIFY(Screen::isNear(cell.pixelColor(corner), TestPicture::topLeft(), tolerance));
        QVERIFY(
            Screen::isNear(cell.pixelColor(corner + QPoint(cell.width() / 2, 0)), TestPicture::topRight(), tolerance));
        QVERIFY(Screen::isNear(cell.pixelColor(corner + down), TestPicture::bottomLeft(), tolerance));
        QVERIFY(Screen::isNear(cell.pixelColor(corner + down + QPoint(cell.width() / 2, 0)), TestPicture::bottomRight(),
                               tolerance));
    }

    void program_saysSo_whenAnAddressIsBad()
    {
        const Run seen = run({"nosuchfile.mp4", "nonsense"}, 2);
        QCOMPARE(seen.exitCode, 0);
        QVERIFY2(seen.errors.contains("not a file, a device or a network address: nosuchfile.mp4"),
                 qPrintable(seen.errors));
        QVERIFY(seen.errors.contains("not a file, a device or a network address: nonsense"));
        QVERIFY(colorCount(seen.screenshot.copy(innerCell(2, 0))) >= 2); // a text on black
    }

    void program_showsSixteenClips_andEndsSoon()
    {
        QStringList clips;
        while (clips.size() < 16)
            clips.append(Clips::h264Mp4());
        QElapsedTimer timer;
        timer.start();
        const Run seen = run(clips, 4);
        QCOMPARE(seen.exitCode, 0);
        QVERIFY2(timer.elapsed() < 15000, qPrintable(QString::number(timer.elapsed())));
        for (int i = 0; i < 16; ++i) {
            const QImage cell = seen.screenshot.copy(innerCell(4, i));
            QVERIFY2(Screen::isNear(cell.pixelColor(cell.width() / 4, cell.height() / 10), TestPicture::topLeft(),
                                    tolerance),
                     qPrintable(QString("cell %1").arg(i)));
            QVERIFY2(Screen::isNear(cell.pixelColor(cell.width() * 3 / 4, cell.height() * 9 / 10),
                                    TestPicture::bottomRight(), tolerance),
                     qPrintable(QString("cell %1").arg(i)));
        }
    }

    void program_finishesItsRecordings_whenItEnds()
    {
        const QTemporaryDir recordings;
        const Run seen = run({"--record", recordings.path(), Clips::h264AacMp4(), Clips::h265Mp4()}, 4);
        QCOMPARE(seen.exitCode, 0);
        QStringList files;
        QDirIterator found(recordings.path(), QDir::Files, QDirIterator::Subdirectories);
        while (found.hasNext())
            files.append(found.next());
        files.sort();
        QCOMPARE(files.size(), 2);
        const QRegularExpression name("/0([12])/[0-9-]{10}/live/[0-9]{8}T[0-9]{6}_[0-9]{8}T[0-9]{6}_\\1.mp4$");
        for (const QString& file : qAsConst(files)) {
            QVERIFY2(name.match(file).hasMatch(), qPrintable(file));
            const ProbedFile recording(file);
            QVERIFY2(recording.decodedPictures() >= 25, qPrintable(QString::number(recording.decodedPictures())));
            QCOMPARE(recording.complaints(), QByteArray());
        }
        QCOMPARE(ProbedFile(files.first()).codecs().value(0), QString("h264"));
        QCOMPARE(ProbedFile(files.last()).codecs().value(0), QString("hevc"));
    }

    void program_exitsWithOne_whenTheScreenshotCannotBeWritten()
    {
        QProcess viewer;
        viewer.start(VANTOR_VIEWER, {"--seconds", "1", "--screenshot", "/proc/nowhere/a.png"});
        QVERIFY(viewer.waitForFinished(20000));
        QCOMPARE(viewer.exitStatus(), QProcess::NormalExit);
        QCOMPARE(viewer.exitCode(), 1);
        QVERIFY(viewer.readAllStandardError().contains("the screenshot could not be written to /proc/nowhere/a.png"));
    }
};

QTEST_MAIN(TestViewerProgram)
#include "tst_viewerprogram.moc"
