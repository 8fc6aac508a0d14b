#include "renderer.h"
#include "screenpixels.h"

#include "support/messageguard.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <memory>

using ScreenPixels::cell;
using ScreenPixels::mismatch;

namespace {
const QString matches;
const QColor background(70, 20, 90);
const QColor white = Picture::color(235);
const QColor grey = Picture::color(126);
const QColor black = Picture::color(16);

Picture quadrants()
{
    Picture picture(8, 8);
    for (int row = 0; row < 8; ++row) {
        for (int column = 0; column < 8; ++column)
            picture.setLuma(column, row, 40 + (column / 4) * 50 + (row / 4) * 100);
    }
    return picture;
}

QColor quadrantColor(int column, int row) { return Picture::color(40 + column * 50 + row * 100); }
} // namespace

/// What both renderers do alike; every test runs with each of them.
class TestOpenglRenderers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase_data()
    {
        QTest::addColumn<bool>("nv12");
        QTest::newRow("YuvWidget") << false;
        QTest::newRow("Nv12Widget") << true;
    }

    void init()
    {
        guard = std::make_unique<MessageGuard>();
        directory = std::make_unique<QTemporaryDir>();
        QFETCH_GLOBAL(bool, nv12);
        if (nv12)
            renderer = std::make_unique<Nv12Renderer>();
        else
            renderer = std::make_unique<YuvRenderer>();
        showRenderer();
    }

    void cleanup()
    {
        finished.reset();
        renderer.reset();
        VERIFY_NO_UNEXPECTED_MESSAGES(*guard);
        guard.reset();
    }

    void paint_showsThePaletteColor_whenThereIsNoFrame()
    {
        QCOMPARE(mismatch(widget(), background), matches);
        QPalette other = widget().palette();
        other.setColor(QPalette::Window, QColor(0, 130, 60));
        widget().setPalette(other);
        QCOMPARE(mismatch(widget(), QColor(0, 130, 60)), matches);
    }

    void paint_takesTheCurrentColorGroup_whenTheWidgetIsDisabled()
    {
        QPalette other = widget().palette();
        other.setColor(QPalette::Disabled, QPalette::Window, QColor(200, 100, 0));
        widget().setPalette(other);
        widget().setEnabled(false);
        QCOMPARE(mismatch(widget(), QColor(200, 100, 0)), matches);
    }

    void paint_matchesTheConversion_data()
    {
        QTest::addColumn<int>("y");
        QTest::addColumn<int>("u");
        QTest::addColumn<int>("v");
        QTest::newRow("black") << 16 << 128 << 128;
        QTest::newRow("white") << 235 << 128 << 128;
        QTest::newRow("brightest luma") << 255 << 128 << 128;
        QTest::newRow("grey") << 126 << 128 << 128;
        QTest::newRow("red") << 81 << 90 << 240;
        QTest::newRow("green") << 145 << 54 << 34;
        QTest::newRow("blue") << 41 << 240 << 110;
        QTest::newRow("yellow") << 210 << 16 << 146;
        QTest::newRow("skin") << 170 << 110 << 150;
        QTest::newRow("clamped high") << 255 << 255 << 255;
        QTest::newRow("clamped low") << 0 << 0 << 0;
    }
    void paint_matchesTheConversion()
    {
        QFETCH(int, y);
        QFETCH(int, u);
        QFETCH(int, v);
        renderer->updateFrame(Picture::filled(16, 16, y, u, v));
        QCOMPARE(mismatch(widget(), Picture::color(y, u, v)), matches);
    }

    void paint_showsTheFirstRowOnTop()
    {
        renderer->updateFrame(quadrants());
        for (int row = 0; row < 2; ++row) {
            for (int column = 0; column < 2; ++column)
                QCOMPARE(mismatch(widget(), cell(widget(), column, row, 2, 2), quadrantColor(column, row)), matches);
        }
    }

    void paint_fillsTheViewport_whenResized()
    {
        renderer->updateFrame(Picture::filled(16, 16, 235));
        QCOMPARE(mismatch(widget(), white), matches);
        widget().resize(320, 300);
        QCOMPARE(mismatch(widget(), QPoint(317, 3), white), matches);
        QCOMPARE(mismatch(widget(), QPoint(317, 297), white), matches);
        QCOMPARE(mismatch(widget(), QPoint(2, 297), white), matches);
    }

    void paint_keepsToTheRows_whenTheyArePadded() { verifyStripes(8, 6, 24); }

    void paint_keepsToTheRows_whenPaddingIsNotAMultipleOfFour() { verifyStripes(6, 4, 3); }

    void paint_keepsToTheRows_whenPackedRowsAreNotAMultipleOfFour() { verifyStripes(6, 4, 0); }

    void paint_keepsToTheChromaRows_whenTheyArePadded() { verifyChroma(6, 4, 10); }

    void paint_roundsTheChromaPlanesDown_whenTheSizeIsOdd() { verifyChroma(7, 5, 0); }

    void updateFrame_showsTheBackground_whenLumaIsNull()
    {
        showWhite();
        renderer->updateFrameWithoutPlanes(16, 16);
        QCOMPARE(mismatch(widget(), background), matches);
    }

    void updateFrame_showsTheBackground_whenTheSizeIsNotPositive_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::newRow("no width") << QSize(0, 16);
        QTest::newRow("no height") << QSize(16, 0);
        QTest::newRow("negative") << QSize(-16, -16);
    }
    void updateFrame_showsTheBackground_whenTheSizeIsNotPositive()
    {
        QFETCH(QSize, size);
        showWhite();
        renderer->setFrameSize(size.width(), size.height());
        renderer->updateTextures(Picture::filled(16, 16, 235));
        QCOMPARE(mismatch(widget(), background), matches);
    }

    void updateTextures_keepsTheSize()
    {
        renderer->updateFrame(Picture::filled(8, 8, 235));
        QCOMPARE(mismatch(widget(), white), matches);
        renderer->updateTextures(quadrants());
        QCOMPARE(mismatch(widget(), cell(widget(), 1, 1, 2, 2), quadrantColor(1, 1)), matches);
        QCOMPARE(mismatch(widget(), cell(widget(), 0, 1, 2, 2), quadrantColor(0, 1)), matches);
    }

    void setFrameSize_doesNotRepaint()
    {
        showWhite();
        QTest::qWait(50);
        const int before = paints;
        renderer->setFrameSize(0, 0);
        QTest::qWait(50);
        QCOMPARE(paints, before);
        renderer->updateTextures(Picture::filled(16, 16, 235));
        QCOMPARE(mismatch(widget(), background), matches);
    }

    void clear_forgetsSizeAndPlanes()
    {
        showWhite();
        renderer->clear();
        QCOMPARE(mismatch(widget(), background), matches);
        renderer->updateTextures(Picture::filled(16, 16, 235));
        QTest::qWait(50);
        QCOMPARE(mismatch(widget(), background), matches);
        renderer->clear();
        renderer->setFrameSize(16, 16);
        widget().update();
        QTest::qWait(50);
        QCOMPARE(mismatch(widget(), background), matches);
    }

    void clear_forgetsLineSizes()
    {
        renderer->updateFrame(Picture::filled(8, 8, 235), 24);
        QCOMPARE(mismatch(widget(), white), matches);
        renderer->clear();
        writeFrames({quadrants()});
        renderer->setFrameSize(8, 8);
        renderer->play(rawFile(), 1);
        renderer->read();
        QCOMPARE(mismatch(widget(), cell(widget(), 1, 1, 2, 2), quadrantColor(1, 1)), matches);
    }

    void setViewRect_showsThatPart()
    {
        renderer->updateFrame(quadrants());
        QCOMPARE(mismatch(widget(), cell(widget(), 0, 0, 2, 2), quadrantColor(0, 0)), matches);
        renderer->setViewRect({0.5, 0, 0.5, 0.5});
        QCOMPARE(mismatch(widget(), cell(widget(), 0, 1, 4, 4), quadrantColor(1, 0)), matches);
        QCOMPARE(mismatch(widget(), cell(widget(), 3, 2, 4, 4), quadrantColor(1, 0)), matches);
        renderer->setViewRect({0, 0.25, 0.5, 0.5});
        QCOMPARE(mismatch(widget(), cell(widget(), 3, 0, 4, 4), quadrantColor(0, 0)), matches);
        QCOMPARE(mismatch(widget(), cell(widget(), 1, 3, 4, 4), quadrantColor(0, 1)), matches);
    }

    void setViewRect_holds_whenTheNextFrameArrives()
    {
        renderer->setViewRect({0.5, 0.5, 0.5, 0.5});
        renderer->updateFrame(Picture::filled(8, 8, 235));
        QCOMPARE(mismatch(widget(), white), matches);
        renderer->updateFrame(quadrants());
        QCOMPARE(mismatch(widget(), cell(widget(), 0, 0, 2, 2), quadrantColor(1, 1)), matches);
    }

    void setViewRect_showsTheWholeFrame_whenCleared()
    {
        renderer->updateFrame(quadrants());
        renderer->setViewRect({0.5, 0.5, 0.5, 0.5});
        QCOMPARE(mismatch(widget(), cell(widget(), 0, 0, 2, 2), quadrantColor(1, 1)), matches);
        renderer->clear();
        renderer->updateFrame(quadrants());
        QCOMPARE(mismatch(widget(), cell(widget(), 0, 0, 2, 2), quadrantColor(0, 0)), matches);
    }

    void setViewRect_showsTheWholeFrame_whenEmpty()
    {
        renderer->updateFrame(quadrants());
        renderer->setViewRect({0.5, 0.5, 0.5, 0.5});
        QCOMPARE(mismatch(widget(), cell(widget(), 0, 0, 2, 2), quadrantColor(1, 1)), matches);
        renderer->setViewRect(QRectF());
        QCOMPARE(mismatch(widget(), cell(widget(), 0, 0, 2, 2), quadrantColor(0, 0)), matches);
    }

    void read_showsFrameAfterFrameAndEndsPlayback()
    {
        writeFrames({Picture::filled(6, 6, 235), Picture::filled(6, 6, 81, 90, 240), quadrants6()});
        renderer->setFrameSize(6, 6);
        renderer->play(rawFile(), 1);
        QVERIFY(timer().isActive());
        renderer->read();
        QCOMPARE(mismatch(widget(), white), matches);
        renderer->read();
        QCOMPARE(mismatch(widget(), Picture::color(81, 90, 240)), matches);
        renderer->read();
        QCOMPARE(mismatch(widget(), cell(widget(), 0, 0, 6, 6), Picture::color(60, 70, 190)), matches);
        QCOMPARE(mismatch(widget(), cell(widget(), 5, 5, 6, 6), Picture::color(180, 190, 70)), matches);
        QCOMPARE(finished->count(), 0);
        renderer->read();
        QCOMPARE(finished->count(), 1);
        QVERIFY(!timer().isActive());
        QTest::qWait(50);
        QCOMPARE(mismatch(widget(), cell(widget(), 5, 5, 6, 6), Picture::color(180, 190, 70)), matches);
    }

    void play_showsTheFileAtTheFrameRate()
    {
        writeFrames({Picture::filled(16, 16, 16), Picture::filled(16, 16, 126), Picture::filled(16, 16, 235)});
        renderer->setFrameSize(16, 16);
        QElapsedTimer elapsed;
        elapsed.start();
        renderer->play(rawFile(), 30);
        QCOMPARE(timer().interval(), 33);
        QTRY_COMPARE_WITH_TIMEOUT(finished->count(), 1, 3000);
        // Three frames and the read that finds the end; the timer may be early by a twentieth.
        QVERIFY(elapsed.elapsed() >= 4 * 33 * 95 / 100);
        QCOMPARE(mismatch(widget(), white), matches);
        QTest::qWait(100);
        QCOMPARE(finished->count(), 1);
    }

    void play_endsAtTheFirstRead_whenTheSizeIsUnset()
    {
        writeFrames({Picture::filled(16, 16, 235)});
        renderer->play(rawFile(), 25);
        QVERIFY(timer().isActive());
        QTRY_COMPARE_WITH_TIMEOUT(finished->count(), 1, 3000);
        QVERIFY(!timer().isActive());
        QCOMPARE(mismatch(widget(), background), matches);
    }

    void play_endsAtTheFirstRead_whenTheSizeIsImpossible_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::newRow("negative") << QSize(-16, -16);
        QTest::newRow("negative width") << QSize(-16, 16);
        QTest::newRow("largest") << QSize(INT_MAX, INT_MAX);
        QTest::newRow("smallest") << QSize(INT_MIN, INT_MIN);
        QTest::newRow("huge height") << QSize(1, INT_MAX);
    }
    void play_endsAtTheFirstRead_whenTheSizeIsImpossible()
    {
        QFETCH(QSize, size);
        writeFrames({Picture::filled(16, 16, 235)});
        renderer->setFrameSize(size.width(), size.height());
        renderer->play(rawFile(), 25);
        QTRY_COMPARE_WITH_TIMEOUT(finished->count(), 1, 3000);
        QCOMPARE(mismatch(widget(), background), matches);
    }

    void play_doesNothing_whenTheFileCannotBeOpened()
    {
        showWhite();
        renderer->play(directory->filePath("missing.yuv"), 25);
        QVERIFY(!timer().isActive());
        QTest::qWait(100);
        QCOMPARE(finished->count(), 0);
        QCOMPARE(mismatch(widget(), white), matches);
    }

    void play_doesNothing_whenTheFrameRateIsNotPositive()
    {
        writeFrames({Picture::filled(16, 16, 16)});
        showWhite();
        renderer->play(rawFile(), 0);
        renderer->play(rawFile(), -5);
        QVERIFY(!timer().isActive());
        QTest::qWait(50);
        QCOMPARE(finished->count(), 0);
        QCOMPARE(mismatch(widget(), white), matches);
    }

    void play_startsTheOtherFile_whenAlreadyPlaying()
    {
        writeFrames({Picture::filled(16, 16, 235), Picture::filled(16, 16, 235)});
        writeFrames({Picture::filled(32, 32, 16), Picture::filled(32, 32, 126)}, "other.yuv");
        renderer->setFrameSize(16, 16);
        renderer->play(rawFile(), 1);
        renderer->read();
        QCOMPARE(mismatch(widget(), white), matches);
        renderer->setFrameSize(32, 32);
        renderer->play(directory->filePath("other.yuv"), 1);
        renderer->read();
        QCOMPARE(mismatch(widget(), black), matches);
        renderer->read();
        QCOMPARE(mismatch(widget(), grey), matches);
        QCOMPARE(finished->count(), 0);
    }

    void play_endsWhatWasPlaying_whenTheOtherFileCannotBeOpened()
    {
        writeFrames({Picture::filled(16, 16, 235), Picture::filled(16, 16, 16)});
        renderer->setFrameSize(16, 16);
        renderer->play(rawFile(), 1);
        renderer->read();
        QCOMPARE(mismatch(widget(), white), matches);
        renderer->play(directory->filePath("missing.yuv"), 1);
        QVERIFY(!timer().isActive());
        QVERIFY(!rawFileHandle().isOpen());
        QCOMPARE(finished->count(), 0);
        widget().update();
        QTest::qWait(50);
        QCOMPARE(mismatch(widget(), white), matches);
    }

    void read_showsTheFrameAsItIs_whenTheFileEndsWithinIt()
    {
        const QByteArray frame = renderer->rawFrame(Picture::filled(16, 16, 235));
        const QByteArray blackRows = renderer->rawFrame(Picture::filled(16, 16, 16)).left(16 * 8);
        write(frame + blackRows);
        renderer->setFrameSize(16, 16);
        renderer->play(rawFile(), 1);
        renderer->read();
        renderer->read();
        QCOMPARE(mismatch(widget(), cell(widget(), 0, 0, 4, 4), black), matches);
        QCOMPARE(mismatch(widget(), cell(widget(), 0, 3, 4, 4), white), matches);
        QCOMPARE(finished->count(), 0);
        renderer->read();
        QCOMPARE(finished->count(), 1);
    }

    void read_doesNothing_whenNothingPlays()
    {
        showWhite();
        renderer->read();
        QTest::qWait(50);
        QCOMPARE(finished->count(), 0);
        QCOMPARE(mismatch(widget(), white), matches);
    }

    void paint_staysInTheRawFrame_whenTheSizeGrowsDuringPlayback()
    {
        writeFrames({Picture::filled(16, 16, 235), Picture::filled(16, 16, 235)});
        renderer->setFrameSize(16, 16);
        renderer->play(rawFile(), 1);
        renderer->setFrameSize(1024, 1024);
        renderer->read();
        QCOMPARE(mismatch(widget(), background), matches);
        renderer->setFrameSize(16, 16);
        renderer->read();
        QCOMPARE(mismatch(widget(), white), matches);
    }

    void paint_staysInTheRawFrame_whenLineSizesAreLeftOver()
    {
        renderer->updateFrame(Picture::filled(16, 16, 235), 2000);
        QCOMPARE(mismatch(widget(), white), matches);
        writeFrames({Picture::filled(16, 16, 235)});
        renderer->play(rawFile(), 1);
        renderer->read();
        QCOMPARE(mismatch(widget(), background), matches);
    }

    void updateFrame_showsTheCallersPlanes_whenAFileIsPlaying()
    {
        writeFrames({Picture::filled(16, 16, 16), Picture::filled(16, 16, 16)});
        renderer->setFrameSize(16, 16);
        renderer->play(rawFile(), 1);
        renderer->updateFrame(Picture::filled(64, 64, 235));
        renderer->read();
        QTest::qWait(50);
        QCOMPARE(mismatch(widget(), white), matches);
    }

    void clear_endsPlaybackAtTheNextRead()
    {
        writeFrames({Picture::filled(16, 16, 235), Picture::filled(16, 16, 235)});
        renderer->setFrameSize(16, 16);
        renderer->play(rawFile(), 20);
        renderer->clear();
        QTRY_COMPARE_WITH_TIMEOUT(finished->count(), 1, 3000);
        QCOMPARE(mismatch(widget(), background), matches);
    }

    void stop_emitsPlayFinsh_whenNothingPlays()
    {
        renderer->stop();
        QCOMPARE(finished->count(), 1);
        renderer->stop();
        QCOMPARE(finished->count(), 2);
    }

    void stop_endsPlaybackAndShowsTheBackground()
    {
        writeFrames({Picture::filled(16, 16, 235), Picture::filled(16, 16, 235)});
        renderer->setFrameSize(16, 16);
        renderer->play(rawFile(), 1);
        renderer->read();
        QCOMPARE(mismatch(widget(), white), matches);
        renderer->stop();
        QCOMPARE(finished->count(), 1);
        QVERIFY(!timer().isActive());
        QVERIFY(!rawFileHandle().isOpen());
        QCOMPARE(mismatch(widget(), background), matches);
        renderer->play(rawFile(), 1);
        renderer->read();
        QCOMPARE(finished->count(), 2); // the size was forgotten too
    }

    void destructor_isSafe_whenNeverShownOrPlaying()
    {
        writeFrames({Picture::filled(16, 16, 235)});
        auto* parent = new QWidget;
        auto* hidden = new YuvWidget(parent);
        auto* playing = new Nv12Widget(parent);
        for (int round = 0; round < 2; ++round) {
            hidden->setFrameSize(16, 16);
            hidden->play(rawFile(), 100);
            playing->setFrameSize(16, 16);
            playing->play(rawFile(), 100);
        }
        delete parent;
    }

private:
    QGLWidget& widget() { return renderer->widget(); }
    QTimer& timer() { return *widget().findChild<QTimer*>(); }
    QFile& rawFileHandle() { return *widget().findChild<QFile*>(); }
    QString rawFile() const { return directory->filePath("frames.yuv"); }

    /// Shows the renderer on the screen and paints once, since the first NV12 picture has colours of its own.
    void showRenderer()
    {
        QPalette palette = widget().palette();
        palette.setColor(QPalette::Window, background);
        widget().setPalette(palette);
        widget().setGeometry(100, 80, 240, 200);
        widget().show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget()));
        renderer->updateFrame(Picture::filled(4, 4, 235));
        widget().repaint();
        const QPoint center = widget().rect().center();
        QTRY_VERIFY(!Screen::isNear(Screen::colorAt(&widget(), center), background));
        renderer->clear();
        QCOMPARE(mismatch(widget(), background), matches);
        paints = 0;
        widget().installEventFilter(this);
        finished = std::make_unique<QSignalSpy>(&widget(), SIGNAL(playFinsh()));
    }

    void showWhite()
    {
        renderer->updateFrame(Picture::filled(16, 16, 235));
        QCOMPARE(mismatch(widget(), white), matches);
    }

    /// Every column and every row has a luma of its own, so a row that begins too early or too late is seen.
    void verifyStripes(int width, int height, int padding)
    {
        Picture picture(width, height);
        const auto luma = [](int column, int row) { return 40 + 15 * column + 12 * row; };
        for (int row = 0; row < height; ++row) {
            for (int column = 0; column < width; ++column)
                picture.setLuma(column, row, luma(column, row));
        }
        renderer->updateFrame(picture, padding);
        for (int row = 0; row < height; ++row) {
            for (int column = 0; column < width; ++column)
                QCOMPARE(
                    mismatch(widget(), cell(widget(), column, row, width, height), Picture::color(luma(column, row))),
                    matches);
        }
    }

    /// Every chroma pixel has a colour of its own under an even luma.
    void verifyChroma(int width, int height, int padding)
    {
        Picture picture = Picture::filled(width, height, 120);
        const int columns = width / 2;
        const int rows = height / 2;
        for (int row = 0; row < rows; ++row) {
            for (int column = 0; column < columns; ++column)
                picture.setChroma(column, row, 100 + 20 * column, 100 + 40 * row);
        }
        renderer->updateFrame(picture, padding);
        for (int row = 0; row < rows; ++row) {
            for (int column = 0; column < columns; ++column)
                QCOMPARE(mismatch(widget(), cell(widget(), column, row, columns, rows),
                                  Picture::color(120, 100 + 20 * column, 100 + 40 * row)),
                         matches);
        }
    }

    static Picture quadrants6()
    {
        Picture picture = Picture::filled(6, 6, 60, 70, 190);
        for (int row = 3; row < 6; ++row) {
            for (int column = 3; column < 6; ++column)
                picture.setLuma(column, row, 180);
        }
        for (int row = 1; row < 3; ++row) {
            for (int column = 1; column < 3; ++column)
                picture.setChroma(column, row, 190, 70);
        }
        return picture;
    }

    void write(const QByteArray& bytes, const QString& name = "frames.yuv")
    {
        QFile file(directory->filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(bytes), qint64(bytes.size()));
    }

    void writeFrames(const QVector<Picture>& pictures, const QString& name = "frames.yuv")
    {
        QByteArray bytes;
        for (const Picture& picture : pictures)
            bytes += renderer->rawFrame(picture);
        write(bytes, name);
    }

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Paint)
            ++paints;
        return QObject::eventFilter(watched, event);
    }

    std::unique_ptr<MessageGuard> guard;
    std::unique_ptr<QTemporaryDir> directory;
    std::unique_ptr<Renderer> renderer;
    std::unique_ptr<QSignalSpy> finished;
    int paints = 0;
};

QTEST_MAIN(TestOpenglRenderers)
#include "tst_openglrenderers.moc"
