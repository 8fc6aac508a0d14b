#include "vantor.h"

#include "core_live/videothrmux/devlivethrsetmanager.h"
#include "core_videobase/abstractvideothread.h"
#include "livebench.h"
#include "liveprobe.h"
#include "support/messageguard.h"
#include "support/resourcecount.h"
#include "support/screen.h"
#include "support/testpicture.h"

#include <QPointer>
#include <QTest>

#include <memory>
#include <vector>

namespace {

constexpr int widgetCount = 9;
constexpr int columns = 3;
constexpr int cellWidth = 200;
constexpr int cellHeight = 160;
const QPoint inTopRight(150, 40);
constexpr int colorTolerance = 60;

bool isRunning() { return DevLiveThrSetManager::Instance()->isRunning(); }

} // namespace

class TestVantor : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { messages = std::make_unique<MessageGuard>(); }

    void cleanup()
    {
        Vantor::release();
        VERIFY_NO_UNEXPECTED_MESSAGES(*messages);
    }

    void release_isHarmless_withoutInit()
    {
        Vantor::release();
        QVERIFY(!isRunning());
        Vantor::release();
    }

    void init_startsTheManager()
    {
        QVERIFY(Vantor::init());
        QVERIFY(isRunning());
        QVERIFY(Vantor::init());
        QVERIFY(isRunning());
    }

    void release_stopsTheManager_andInitStartsItAgain()
    {
        for (int round = 0; round < 3; ++round) {
            QVERIFY(Vantor::init());
            Vantor::release();
            QVERIFY(!isRunning());
        }
    }

    void release_endsEveryThread_ofLivingSets()
    {
        QVERIFY(Vantor::init());
        const auto device = LiveBench::makeDevice(XTransportProtocol_Rta, 2);
        PtrDevLiveThrSet set = DevLiveThrSetManager::Instance()->newVideoThreadSet(device, XTransportProtocol_Rta);
        const auto threads = set->getChannelThreads();
        for (int index = 0; index < threads.size(); ++index) {
            LiveBench::startThread(threads.at(index), index / 2, index % 2);
            QVERIFY(LiveBench::waitUntilOpen(threads.at(index)));
        }
        Vantor::release();
        for (const auto& thread : threads)
            QVERIFY(thread->isFinished());
        QVERIFY(!set->getDevPtr());
        for (int index = 0; index < threads.size(); ++index)
            QCOMPARE(device->count(QString("enableMediaTransmit %1 %2 false").arg(index / 2).arg(index % 2)), 2);
    }

    void release_returns_whileNineWidgetsPlay_data()
    {
        QTest::addColumn<int>("videoMode");
        QTest::newRow("OpenGL") << int(VideoMode_Opengl);
        QTest::newRow("painter") << int(VideoMode_Image);
    }

    void release_returns_whileNineWidgetsPlay()
    {
        QFETCH(int, videoMode);
        const ResourceCount before = ResourceCount::now();
        QWidget window;
        window.setGeometry(0, 0, columns * cellWidth, columns * cellHeight);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        const auto device = LiveBench::makeDevice(XTransportProtocol_Rta, 3);
        QVERIFY(Vantor::init());

        std::vector<std::unique_ptr<LiveProbe>> widgets;
        for (int index = 0; index < widgetCount; ++index) {
            auto widget = std::make_unique<LiveProbe>(XTransportProtocol_Rta, &window);
            widget->setVideoMode(VideoMode(videoMode));
            widget->setGeometry(index % columns * cellWidth, index / columns * cellHeight, cellWidth - 4,
                                cellHeight - 4);
            widget->show();
            QVERIFY(widget->init(device, index % 3, -1));
            QVERIFY(widget->start());
            widget->playStart(index / 5);
            widgets.push_back(std::move(widget));
        }
        for (const auto& widget : widgets)
            QVERIFY(Screen::waitForColor(widget.get(), inTopRight, TestPicture::topRight(), colorTolerance));

        QVector<QPointer<AbstractVideoThread>> threads;
        for (const auto& thread : DevLiveThrSetManager::Instance()->getVideoThreadSet(device)->getChannelThreads())
            threads.append(thread.data());
        Vantor::release();
        for (const auto& thread : qAsConst(threads))
            QVERIFY(!thread || thread->isFinished());
        QVERIFY(!isRunning());
        for (const auto& widget : widgets)
            QVERIFY(!widget->getIsRunning());
        QTest::qWait(50); // what was on its way arrives
        widgets.clear();
        for (const auto& thread : qAsConst(threads))
            QVERIFY(!thread);
        window.close();
        QVERIFY(ResourceCount::waitUntilNotAbove(before, 8)); // Mesa keeps its threads and the display connection
    }

    /// The video thread waits for the very slot in which its end is asked for.
    void release_mayBeCalled_inASlotOfAWidget()
    {
        const auto device = LiveBench::makeDevice();
        for (int round = 0; round < 3; ++round) {
            QVERIFY(Vantor::init());
            LiveProbe widget;
            QVERIFY(widget.init(device, 0, -1));
            bool isReleased = false;
            connect(&widget, &AbstractVideoWidget::sig_receivePlayStart, this, [&] {
                Vantor::release();
                if (round == 1)
                    QTest::qWait(50); // the put-off rest comes while the slot still runs
                isReleased = true;
            });
            QVERIFY(widget.start());
            const PtrDevLiveThrSet set = DevLiveThrSetManager::Instance()->getVideoThreadSet(device);
            const auto thread = set->getChannelThreads().first();
            QTRY_VERIFY(isReleased);
            if (round < 2)
                QTRY_VERIFY(!isRunning());
            QVERIFY(Vantor::init()); // finishes what is left of the end first
            QVERIFY(thread->isFinished());
        }
    }

private:
    std::unique_ptr<MessageGuard> messages;
};

QTEST_MAIN(TestVantor)
#include "tst_vantor.moc"
