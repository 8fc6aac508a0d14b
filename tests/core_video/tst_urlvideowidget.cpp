#include "core_video/urlvideowidget.h"

#include "core_videobase/abstractvideothread.h"
#include "support/clips.h"
#include "support/messageguard.h"
#include "support/resourcecount.h"
#include "support/rtspserver.h"
#include "support/screen.h"
#include "support/secrets.h"
#include "support/testpicture.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QPointer>
#include <QRegularExpression>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

constexpr int limitMs = 15000;

/// The OpenGL renderers don't stretch limited-range luma, so their colours are darker than the picture's.
constexpr int colorTolerance = 80;

/// The picture area of a widget as it is on the screen.
QImage seenPicture(const QWidget* widget)
{
    const auto* area = widget->findChild<QWidget*>("hwndWidget");
    return area ? Screen::grab(area) : QImage();
}

int seenNumber(const QWidget* widget) { return TestPicture::number(seenPicture(widget)); }

/// Waits until the screen shows a picture with another number than @p number.
bool waitForNewPicture(const QWidget* widget, int number)
{
    return QTest::qWaitFor(
        [&] {
            const int seen = seenNumber(widget);
            return seen >= 0 && seen != number && TestPicture::hasColors(seenPicture(widget), colorTolerance);
        },
        limitMs);
}

} // namespace

class TestUrlVideoWidget : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void start_isRefused_whenAddressIsNone_data();
    void start_isRefused_whenAddressIsNone();
    void file_isShownInRealTime_untilItsEnd_data();
    void file_isShownInRealTime_untilItsEnd();
    void file_staysPaused_andJumps();
    void file_playsFaster_whenSpeedIsSet();
    void capture_isShown_whenItIsAFilter_data();
    void capture_isShown_whenItIsAFilter();
    void rtsp_isShown_data();
    void rtsp_isShown();
    void rtsp_isShown_whenPasswordHasSeparators();
    void rtsp_comesBack_everyTimeTheServerDoes();
    void rtsp_isStarted_beforeItsServer();
    void overlays_stay_whenSourceComesBack();
    void snap_writesPicture_underNameOfChannel();
    void snap_doesNothing_whenStopped();
    void widget_mayBeDeleted_whileItPlays();
    void widget_isDeleted_beforeItsNetworkSourceIsClosed();
    void widget_isDeleted_whenItsFileIsClosed();
    void widget_mayBeDeleted_inItsOwnSignals_data();
    void widget_mayBeDeleted_inItsOwnSignals();

private:
    std::unique_ptr<UrlVideoWidget> showWidget(const QString& url);

    std::unique_ptr<MessageGuard> messages;
};

void TestUrlVideoWidget::init()
{
    messages = std::make_unique<MessageGuard>();
    messages->allow("^error count: [123] why: ");
    messages->allow("^(打开出错|找流失败) -> 错误: (Immediate exit requested|Invalid data found)"); // a stop during the open
}

void TestUrlVideoWidget::cleanup()
{
    QVERIFY(ResourceCount::waitUntilNoneIsCalled("UrlVideoThread"));
    VERIFY_NO_UNEXPECTED_MESSAGES(*messages);
}

std::unique_ptr<UrlVideoWidget> TestUrlVideoWidget::showWidget(const QString& url)
{
    auto widget = std::make_unique<UrlVideoWidget>();
    VideoPara para = widget->getVideoPara();
    para.connectTimeout = 5000;
    para.readTimeout = 2000;
    widget->setVideoPara(para);
    widget->setUrl(url);
    widget->resize(480, 360);
    widget->move(40, 40);
    widget->show();
    return QTest::qWaitForWindowExposed(widget.get()) ? std::move(widget) : nullptr;
}

void TestUrlVideoWidget::start_isRefused_whenAddressIsNone_data()
{
    QTest::addColumn<QString>("url");
    QTest::newRow("empty") << "";
    QTest::newRow("missing file") << "/nowhere/film.mp4";
    QTest::newRow("missing file, bare name") << "film.mp4";
    QTest::newRow("missing file address") << "file:///nowhere/film.mp4";
    QTest::newRow("a word") << "camera";
    QTest::newRow("device without a name") << "|640x480|25";
}

void TestUrlVideoWidget::start_isRefused_whenAddressIsNone()
{
    messages->allow("^not a file, a device or a network address: ");
    messages->allow("^create video thread fail$");
    QFETCH(QString, url);
    const auto widget = showWidget(url);
    QVERIFY(widget);
    QVERIFY(!widget->start());
    QVERIFY(!widget->start());
    QCOMPARE(messages->count(QtCriticalMsg, "create video thread fail"), 2);
    QVERIFY(!widget->getIsRunning());
}

void TestUrlVideoWidget::file_isShownInRealTime_untilItsEnd_data()
{
    QTest::addColumn<int>("mode");
    QTest::newRow("OpenGL") << int(VideoMode_Opengl);
    QTest::newRow("painter") << int(VideoMode_Image);
}

void TestUrlVideoWidget::file_isShownInRealTime_untilItsEnd()
{
    QFETCH(int, mode);
    const auto widget = showWidget(Clips::h264AacMp4());
    QVERIFY(widget);
    widget->setVideoMode(VideoMode(mode));
    QSignalSpy started(widget.get(), &UrlVideoWidget::sig_receivePlayStart);
    QSignalSpy finished(widget.get(), &UrlVideoWidget::sig_receivePlayFinsh);
    QSignalSpy durations(widget.get(), &UrlVideoWidget::receiveDuration);
    QSignalSpy positions(widget.get(), &UrlVideoWidget::receivePosition);
    QElapsedTimer time;
    time.start();
    QVERIFY(widget->start());
    QTRY_COMPARE_WITH_TIMEOUT(started.count(), 1, limitMs);
    QVERIFY(waitForNewPicture(widget.get(), -1));
    const int first = seenNumber(widget.get());
    QVERIFY(waitForNewPicture(widget.get(), first));
    QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, limitMs);

    const qint64 nominalMs = Clips::frameCount * 1000 / Clips::frameRate;
    QVERIFY2(qAbs(time.elapsed() - nominalMs) < nominalMs / 10, qPrintable(QString::number(time.elapsed())));
    QCOMPARE(durations.count(), 1);
    QVERIFY(qAbs(durations.at(0).at(0).toLongLong() - nominalMs) < 100);
    QVERIFY(positions.count() > 10);
    QVERIFY(!widget->getIsRunning());
}

void TestUrlVideoWidget::file_staysPaused_andJumps()
{
    const auto widget = showWidget(Clips::h264Mp4());
    QVERIFY(widget);
    QVERIFY(widget->start());
    QVERIFY(waitForNewPicture(widget.get(), -1));
    widget->pause();
    int paused = -1;
    // The packet at hand is still shown, then the picture stands.
    QVERIFY(QTest::qWaitFor(
        [&] {
            const int before = paused;
            paused = seenNumber(widget.get());
            QTest::qWait(200);
            return paused >= 0 && before == paused;
        },
        limitMs));
    QTest::qWait(500);
    QCOMPARE(seenNumber(widget.get()), paused);

    widget->setPosition(3000);
    widget->resume();
    QVERIFY(QTest::qWaitFor([&] { return seenNumber(widget.get()) >= 74; }, limitMs));
    QVERIFY(seenNumber(widget.get()) < 90);
    QVERIFY(widget->getPosition() >= 3000);
    widget->stop();
}

void TestUrlVideoWidget::file_playsFaster_whenSpeedIsSet()
{
    const auto widget = showWidget(Clips::h264Mp4());
    QVERIFY(widget);
    QSignalSpy finished(widget.get(), &UrlVideoWidget::sig_receivePlayFinsh);
    QElapsedTimer time;
    time.start();
    QVERIFY(widget->start());
    widget->setSpeed(4);
    QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, limitMs);
    QVERIFY2(time.elapsed() < 2500, qPrintable(QString::number(time.elapsed())));
    QVERIFY2(time.elapsed() > 1000, qPrintable(QString::number(time.elapsed())));
}

void TestUrlVideoWidget::capture_isShown_whenItIsAFilter_data()
{
    QTest::addColumn<QString>("url");
    QTest::newRow("bare name") << "testsrc2|320x240|25";
    QTest::newRow("graph in RGB") << "color=c=red:s=320x240:r=25,format=rgb24|320x240";
}

void TestUrlVideoWidget::capture_isShown_whenItIsAFilter()
{
    QFETCH(QString, url);
    const auto widget = showWidget(url);
    QVERIFY(widget);
    widget->setCaptureFormat("lavfi");
    QVERIFY(widget->start());
    const QPoint middle = widget->rect().center();
    QVERIFY(QTest::qWaitFor([&] { return Screen::colorAt(widget.get(), middle) != QColor(Qt::black); }, limitMs));
    if (url.contains("red"))
        QVERIFY(Screen::waitForColor(widget.get(), middle, TestPicture::topLeft(), colorTolerance));
    widget->stop();
}

void TestUrlVideoWidget::rtsp_isShown_data()
{
    QTest::addColumn<QString>("mount");
    QTest::addColumn<QString>("transport");
    QTest::addColumn<int>("mode");
    QTest::newRow("A-law, tcp, OpenGL") << "h264_pcma" << "tcp" << int(VideoMode_Opengl);
    QTest::newRow("A-law, udp, OpenGL") << "h264_pcma" << "udp" << int(VideoMode_Opengl);
    QTest::newRow("AAC, tcp, painter") << "h264_aac" << "tcp" << int(VideoMode_Image);
    QTest::newRow("H.265, udp, painter") << "h265" << "udp" << int(VideoMode_Image);
}

void TestUrlVideoWidget::rtsp_isShown()
{
    QFETCH(QString, mount);
    QFETCH(QString, transport);
    QFETCH(int, mode);
    RtspServer server;
    QVERIFY(server.start());
    const auto widget = showWidget(server.url(mount));
    QVERIFY(widget);
    widget->setTransport(transport);
    widget->setVideoMode(VideoMode(mode));
    QVERIFY(widget->start());
    QVERIFY(waitForNewPicture(widget.get(), -1));
    QVERIFY(waitForNewPicture(widget.get(), seenNumber(widget.get())));
    QVERIFY(!widget->isSeekable());
    widget->stop();
}

void TestUrlVideoWidget::rtsp_isShown_whenPasswordHasSeparators()
{
    RtspServer server;
    server.setCredentials(Secrets::user(), Secrets::passwordWithSeparators());
    QVERIFY(server.start());
    const auto widget = showWidget(server.url("secure", Secrets::user(), Secrets::passwordWithSeparators()));
    QVERIFY(widget);
    QVERIFY(widget->start());
    QVERIFY(waitForNewPicture(widget.get(), -1));
    widget->stop();
}

void TestUrlVideoWidget::rtsp_comesBack_everyTimeTheServerDoes()
{
    messages->allow("^打开出错 -> 错误: ");
    messages->allow("^找流失败 -> 错误: ");
    RtspServer server;
    QVERIFY(server.start());
    const auto widget = showWidget(server.url("h264_pcma"));
    QVERIFY(widget);
    QSignalSpy started(widget.get(), &UrlVideoWidget::sig_receivePlayStart);
    QSignalSpy finished(widget.get(), &UrlVideoWidget::sig_receivePlayFinsh);
    QVERIFY(widget->start());
    QVERIFY(waitForNewPicture(widget.get(), -1));
    for (int round = 1; round <= 10; ++round) {
        server.kill();
        QTRY_COMPARE_WITH_TIMEOUT(finished.count(), round, limitMs);
        QVERIFY(server.start());
        QTRY_COMPARE_WITH_TIMEOUT(started.count(), round + 1, limitMs);
        QVERIFY(waitForNewPicture(widget.get(), -1));
        QVERIFY(waitForNewPicture(widget.get(), seenNumber(widget.get())));
    }
    widget->stop();
    QCOMPARE(finished.count(), 11);
}

void TestUrlVideoWidget::rtsp_isStarted_beforeItsServer()
{
    RtspServer server;
    QVERIFY(server.start());
    const auto widget = showWidget(server.url("h264"));
    server.kill();
    QVERIFY(widget);
    QVERIFY(widget->start());
    const AbstractVideoThread* thread = widget->findChild<AbstractVideoThread*>();
    QVERIFY(thread);
    QCOMPARE(thread->getOpenSleepTime(), 500); // not the thread's own three seconds
    QTest::qWait(1000);
    QVERIFY(server.start());
    QVERIFY(waitForNewPicture(widget.get(), -1));
    widget->stop();
}

void TestUrlVideoWidget::overlays_stay_whenSourceComesBack()
{
    messages->allow("^打开出错 -> 错误: ");
    RtspServer server;
    QVERIFY(server.start());
    const auto widget = showWidget(server.url("h264"));
    QVERIFY(widget);
    QSignalSpy started(widget.get(), &UrlVideoWidget::sig_receivePlayStart);
    QVERIFY(widget->start());
    QTRY_COMPARE_WITH_TIMEOUT(started.count(), 1, limitMs);

    QImage square(20, 20, QImage::Format_RGB32);
    square.fill(Qt::magenta);
    OsdInfo osd;
    osd.name = "square";
    osd.visible = 1;
    osd.format = 4;
    osd.image = square;
    widget->setOsd(osd);
    const QPoint inSquare(15, 15);
    QVERIFY(Screen::waitForColor(widget.get(), inSquare, Qt::magenta));
    QVERIFY(server.restart());
    QTRY_COMPARE_WITH_TIMEOUT(started.count(), 2, limitMs);
    QVERIFY(waitForNewPicture(widget.get(), -1));
    QVERIFY(Screen::waitForColor(widget.get(), inSquare, Qt::magenta));
    widget->stop();
}

void TestUrlVideoWidget::snap_writesPicture_underNameOfChannel()
{
    const QTemporaryDir folder;
    const auto widget = showWidget(Clips::h264Mp4());
    QVERIFY(widget);
    widget->setChannel(3);
    QSignalSpy snaps(widget.get(), &UrlVideoWidget::snapImage);
    QVERIFY(widget->start());
    QVERIFY(waitForNewPicture(widget.get(), -1));
    widget->snap(folder.path(), true);
    QTRY_COMPARE_WITH_TIMEOUT(snaps.count(), 1, limitMs);

    const QString name = snaps.at(0).at(1).toString();
    const QString pattern = QRegularExpression::escape(folder.path())
        + R"(/\d{4}-\d\d-\d\d/live/\d{8}T\d{6}_3\.jpg)";
    QVERIFY2(QRegularExpression(QRegularExpression::anchoredPattern(pattern)).match(name).hasMatch(), qPrintable(name));
    const QImage written(name);
    QCOMPARE(written.size(), Clips::size);
    QVERIFY(TestPicture::hasColors(written));
    QCOMPARE(snaps.at(0).at(0).value<QImage>().size(), Clips::size);
    widget->stop();
}

void TestUrlVideoWidget::snap_doesNothing_whenStopped()
{
    const QTemporaryDir folder;
    const auto widget = showWidget(Clips::h264Mp4());
    QVERIFY(widget);
    widget->snap(folder.path(), true);
    QVERIFY(QDir(folder.path()).isEmpty());
}

void TestUrlVideoWidget::widget_mayBeDeleted_whileItPlays()
{
    for (int round = 0; round < 5; ++round) {
        auto widget = showWidget(Clips::h264AacMp4());
        QVERIFY(widget);
        QVERIFY(widget->start());
        QTest::qWait(round * 60);
        QElapsedTimer time;
        time.start();
        widget.reset();
        QVERIFY(time.elapsed() < 3000);
    }
}

/// A server that does not answer any more must not hold up whoever closes the window.
void TestUrlVideoWidget::widget_isDeleted_beforeItsNetworkSourceIsClosed()
{
    RtspServer server;
    QVERIFY(server.start());
    auto widget = showWidget(server.url("h264_pcma"));
    QVERIFY(widget);
    QVERIFY(widget->start());
    QVERIFY(waitForNewPicture(widget.get(), -1));
    const QPointer<AbstractVideoThread> thread = widget->findChild<AbstractVideoThread*>();
    QVERIFY(thread);
    QSemaphore mayClose;
    connect(thread, &AbstractVideoThread::receivePlayFinsh, thread, [&] { mayClose.tryAcquire(1, limitMs); },
            Qt::DirectConnection);

    widget.reset();
    QVERIFY(thread);
    QVERIFY(thread->isRunning());
    mayClose.release();
    QTRY_VERIFY_WITH_TIMEOUT(!thread, limitMs);
}

void TestUrlVideoWidget::widget_isDeleted_whenItsFileIsClosed()
{
    auto widget = showWidget(Clips::h264Mp4());
    QVERIFY(widget);
    QVERIFY(widget->start());
    QVERIFY(waitForNewPicture(widget.get(), -1));
    const QPointer<AbstractVideoThread> thread = widget->findChild<AbstractVideoThread*>();
    QVERIFY(thread);
    widget.reset();
    QVERIFY(!thread);
}

void TestUrlVideoWidget::widget_mayBeDeleted_inItsOwnSignals_data()
{
    QTest::addColumn<bool>("atStart");
    QTest::newRow("play start") << true;
    QTest::newRow("play finish") << false;
}

void TestUrlVideoWidget::widget_mayBeDeleted_inItsOwnSignals()
{
    QFETCH(bool, atStart);
    auto widget = showWidget(Clips::h264Mp4());
    QVERIFY(widget);
    const auto remove = [&] { widget.reset(); };
    if (atStart)
        connect(widget.get(), &UrlVideoWidget::sig_receivePlayStart, this, remove);
    else
        connect(widget.get(), &UrlVideoWidget::sig_receivePlayFinsh, this, remove);
    QVERIFY(widget->start());
    widget->setSpeed(8);
    QTRY_VERIFY_WITH_TIMEOUT(!widget, limitMs);
}

QTEST_MAIN(TestUrlVideoWidget)
#include "tst_urlvideowidget.moc"
