#include "core_video/urlvideowidget.h"

#include "support/clips.h"
#include "support/messageguard.h"
#include "support/resourcecount.h"
#include "support/rtspserver.h"

#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QTest>

#include <memory>
#include <vector>

namespace {

constexpr int widgetCount = 9;
constexpr int actionCount = 300;
constexpr int columns = 3;
constexpr int cellWidth = 200;
constexpr int cellHeight = 160;
constexpr qint64 limitMs = 100000;

} // namespace

/// Nine playing widgets, and everything a user or a host may do to them, in any order.
class TestWidgetStress : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void randomActions_leaveNothingBehind_data();
    void randomActions_leaveNothingBehind();

private:
    std::unique_ptr<UrlVideoWidget> makeWidget(int index);
    void fillGrid();
    void act();

    RtspServer server;
    QRandomGenerator random;
    VideoMode mode = VideoMode_Opengl;
    std::unique_ptr<QWidget> window;
    std::vector<std::unique_ptr<UrlVideoWidget>> widgets;
    std::unique_ptr<MessageGuard> messages;
};

void TestWidgetStress::initTestCase()
{
    QVERIFY(server.start());
    Clips::h264AacMp4();
    Clips::sizeChangeTs();
}

void TestWidgetStress::init()
{
    messages = std::make_unique<MessageGuard>();
    // Opens that a stop cut short, and a server that is asked for a stream which it is just taking down.
    messages->allow("^error count: [123] why: ");
    messages->allow("^(打开出错|找流失败) -> 错误: ");
    messages->allow("^无分辨率 -> 地址: ");
}

void TestWidgetStress::cleanup()
{
    widgets.clear();
    window.reset();
    QVERIFY(ResourceCount::waitUntilNoneIsCalled("UrlVideoThread"));
    VERIFY_NO_UNEXPECTED_MESSAGES(*messages);
}

std::unique_ptr<UrlVideoWidget> TestWidgetStress::makeWidget(int index)
{
    const QString urls[] = {server.url("h264_pcma"), Clips::h264AacMp4(), "testsrc2|320x240|25", Clips::sizeChangeTs()};
    auto widget = std::make_unique<UrlVideoWidget>(window.get());
    widget->setCaptureFormat("lavfi");
    widget->setVideoMode(mode);
    VideoPara para = widget->getVideoPara();
    para.connectTimeout = 3000;
    para.readTimeout = 2000;
    widget->setVideoPara(para);
    widget->setUrl(urls[random.bounded(4)]);
    widget->setGeometry(index % columns * cellWidth, index / columns * cellHeight, cellWidth - 4, cellHeight - 4);
    widget->show();
    return widget;
}

void TestWidgetStress::fillGrid()
{
    window = std::make_unique<QWidget>();
    window->resize(columns * cellWidth, columns * cellHeight);
    window->show();
    for (int index = 0; index < widgetCount; ++index) {
        widgets.push_back(makeWidget(index));
        QVERIFY(widgets.back()->start());
    }
    QVERIFY(QTest::qWaitForWindowExposed(window.get()));
}

void TestWidgetStress::act()
{
    const int index = random.bounded(widgetCount);
    UrlVideoWidget& widget = *widgets[size_t(index)];
    switch (random.bounded(10)) {
    case 0:
    case 1: widget.stop(); break;
    case 2:
    case 3: QVERIFY(widget.start()); break;
    case 4: widget.resize(cellWidth / 2 + random.bounded(cellWidth / 2), cellHeight / 2 + random.bounded(80)); break;
    case 5: widget.hide(); break;
    case 6: widget.show(); break;
    case 7:
        widgets[size_t(index)] = makeWidget(index);
        QVERIFY(widgets[size_t(index)]->start());
        break;
    case 8: widget.setDigitalZoom(!widget.isDigitalZoom()); break;
    default: widget.close(); break;
    }
}

void TestWidgetStress::randomActions_leaveNothingBehind_data()
{
    QTest::addColumn<int>("videoMode");
    QTest::newRow("OpenGL") << int(VideoMode_Opengl);
    QTest::newRow("painter") << int(VideoMode_Image);
}

void TestWidgetStress::randomActions_leaveNothingBehind()
{
    QFETCH(int, videoMode);
    mode = VideoMode(videoMode);
    random.seed(20240506u);

    // Once before counting, for what libraries keep for the life of the process.
    fillGrid();
    QTest::qWait(1500);
    widgets.clear();
    window.reset();
    QTest::qWait(500);
    const ResourceCount before = ResourceCount::now();

    fillGrid();
    QElapsedTimer time;
    time.start();
    for (int action = 0; action < actionCount; ++action) {
        act();
        QTest::qWait(random.bounded(25));
        QVERIFY2(time.elapsed() < limitMs, qPrintable(QString("at action %1").arg(action)));
    }
    widgets.clear();
    window.reset();
    QVERIFY(time.elapsed() < limitMs);
    QVERIFY(ResourceCount::waitUntilNotAbove(before));
}

QTEST_MAIN(TestWidgetStress)
#include "tst_widgetstress.moc"
