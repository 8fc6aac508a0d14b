#include "core_live/videothrmux/devlivethrsetmanager.h"
#include "livebench.h"
#include "liveprobe.h"
#include "support/messageguard.h"
#include "support/moviefile.h"
#include "support/rtspserver.h"
#include "support/screen.h"
#include "support/testpicture.h"
#include "support/waiting.h"
#include "vantor.h"

#include <QDir>
#include <QDirIterator>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <memory>
#include <vector>

namespace {

constexpr int limitMs = 10000;
constexpr int colorTolerance = 70;
constexpr int manyWidgets = 16;
constexpr int columns = 4;
constexpr int cellWidth = 160;
constexpr int cellHeight = 120;
constexpr int allStreams = -1;

QSharedPointer<AbstractVideoThread> threadOf(const QSharedPointer<FakeDevice>& device, int index)
{
    const PtrDevLiveThrSet set = DevLiveThrSetManager::Instance()->getVideoThreadSet(device);
    return set ? set->getChannelThreads().value(index) : nullptr;
}

/// What a video thread delivers, written down on that thread.
class Deliveries
{
public:
    explicit Deliveries(const QSharedPointer<AbstractVideoThread>& observed)
        : thread(observed)
    {
        QObject::connect(thread.data(),
                         QOverload<int, int, quint8*, quint8*, quint8*, quint32, quint32, quint32>::of(
                             &AbstractVideoThread::receiveFrame),
                         thread.data(),
                         [this](int width, int height, quint8* luma, quint8*, quint8*, quint32 lineSize) {
                             lastNumber = TestPicture::number(luma, width, height, int(lineSize));
                             if (firstNumber < 0)
                                 firstNumber = lastNumber.load();
                             ++frames;
                         },
                         Qt::DirectConnection);
        QObject::connect(thread.data(), &AbstractVideoThread::sig_decoderDestroyed, thread.data(),
                         [this] { ++decodersDestroyed; }, Qt::DirectConnection);
    }

    ~Deliveries() { thread->stopAndWait(); }

    void forget()
    {
        frames = 0;
        firstNumber = -1;
    }

    std::atomic<int> frames{0};
    std::atomic<int> firstNumber{-1};
    std::atomic<int> lastNumber{-1};
    std::atomic<int> decodersDestroyed{0};

private:
    const QSharedPointer<AbstractVideoThread> thread;
};

/// The frames as ffmpeg knows them, without a container.
QStringList pictureHashes(const DeviceFrames& frames, const QTemporaryDir& folder)
{
    QFile file(folder.filePath("sent.h264"));
    if (!file.open(QFile::WriteOnly))
        return {};
    for (const DeviceFrame& frame : frames)
        file.write(frame.payload);
    file.close();
    return MovieFile(file.fileName()).pictureHashes();
}

QStringList recordingsIn(const QTemporaryDir& folder)
{
    QStringList files;
    QDirIterator walk(folder.path(), {"*.mp4"}, QDir::Files, QDirIterator::Subdirectories);
    while (walk.hasNext())
        files.append(walk.next());
    return files;
}

} // namespace

/// Several widgets, one stream.
class TestLiveSharing : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        messages = std::make_unique<MessageGuard>();
        QVERIFY(Vantor::init());
    }

    void cleanup()
    {
        Vantor::release();
        VERIFY_NO_UNEXPECTED_MESSAGES(*messages);
    }

    void sixteenWidgets_takeOneStream_data()
    {
        QTest::addColumn<int>("protocol");
        QTest::newRow("first family") << int(XTransportProtocol_Rta);
        QTest::newRow("second family") << int(XTransportProtocol_Mbe);
    }

    void sixteenWidgets_takeOneStream()
    {
        QFETCH(int, protocol);
        const auto device = LiveBench::makeDevice(XTransportProtocol(protocol));
        QWidget window;
        window.setGeometry(0, 0, columns * cellWidth, columns * cellHeight);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        std::vector<std::unique_ptr<LiveProbe>> widgets;
        for (int index = 0; index < manyWidgets; ++index) {
            auto widget = std::make_unique<LiveProbe>(XTransportProtocol(protocol), &window);
            widget->setGeometry(index % columns * cellWidth, index / columns * cellHeight, cellWidth - 4,
                                cellHeight - 4);
            widget->show();
            QVERIFY(widget->init(device, 0, 1));
            QVERIFY(widget->start());
            widget->playStart(0);
            if (index % 5 == 0)
                QTest::qWait(20);
            widgets.push_back(std::move(widget));
        }
        for (const auto& widget : widgets) {
            QVERIFY(Screen::waitForColor(widget.get(), QPoint(120, 25), TestPicture::topRight(), colorTolerance));
            QVERIFY(Screen::waitForColor(widget.get(), QPoint(30, 95), TestPicture::bottomLeft(), colorTolerance));
        }
        const auto thread = threadOf(device, 0);
        QCOMPARE(thread->previewRef().load(), manyWidgets);
        QCOMPARE(device->count("enableMediaTransmit 0 0 true"), 1);
        QVERIFY(device->orders().filter("enableMediaTransmit 0 1").isEmpty());

        while (widgets.size() > 1)
            widgets.pop_back();
        QCOMPARE(thread->previewRef().load(), 1);
        QVERIFY(thread->isRunning());
        widgets.pop_back();
        QVERIFY(thread->wait(limitMs));
        QCOMPARE(device->count("enableMediaTransmit 0 0 true"), 1);
        QCOMPARE(device->count("enableMediaTransmit 0 0 false"), 2); // before it opened, and now
    }

    /// The two streams differ in size and are shown at their own.
    void replay_showsTheOtherStream()
    {
        const auto device = LiveBench::makeDevice();
        LiveProbe widget;
        widget.setGeometry(20, 20, 440, 340);
        widget.setScaleMode(ScaleMode_Auto);
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        QVERIFY(widget.init(device, 0, allStreams));
        QVERIFY(widget.start());
        const QPoint inBoth(80, 70);
        const QPoint inSubAlone(35, 35);
        widget.playStart(0);
        QVERIFY(Screen::waitForColor(&widget, inBoth, TestPicture::topLeft(), colorTolerance));
        QVERIFY(Screen::waitForColor(&widget, inSubAlone, Qt::black));
        widget.replay(1);
        QVERIFY(Screen::waitForColor(&widget, inSubAlone, TestPicture::topLeft(), colorTolerance));
        QVERIFY(Screen::waitForColor(&widget, inBoth, TestPicture::topLeft(), colorTolerance));
        widget.replay(0);
        QVERIFY(Screen::waitForColor(&widget, inSubAlone, Qt::black));
        QVERIFY(Screen::waitForColor(&widget, inBoth, TestPicture::topLeft(), colorTolerance));
        QCOMPARE(device->count("enableMediaTransmit 0 0 true"), 1);
        QCOMPARE(device->count("enableMediaTransmit 0 1 true"), 1);
    }

    /// The stream is not in the widget's mask: it shows what another one opened, and gives it up with it.
    void streamOfOthers_isShown_andGivenUp()
    {
        const auto device = LiveBench::makeDevice();
        LiveProbe opener;
        QVERIFY(opener.init(device, 0, 2));
        QVERIFY(opener.start());
        LiveProbe widget;
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        QVERIFY(widget.init(device, 0, 1));
        QVERIFY(widget.start());
        widget.playStart(1);
        const QPoint inTopRight(300, 50);
        QVERIFY(Screen::waitForColor(&widget, inTopRight, TestPicture::topRight(), colorTolerance));
        const auto thread = threadOf(device, 1);
        DevLiveThrSetManager::Instance()->releaseVideoThreadSet(device);
        QTRY_VERIFY(thread->isFinished());
        QVERIFY(!widget.getIsRunning());
        QVERIFY(Screen::waitForColor(&widget, inTopRight, Qt::black, 2));
    }

    void picture_moves_andGoesWhenItIsStopped_data()
    {
        QTest::addColumn<int>("videoMode");
        QTest::newRow("OpenGL") << int(VideoMode_Opengl);
        QTest::newRow("painter") << int(VideoMode_Image);
    }

    void picture_moves_andGoesWhenItIsStopped()
    {
        QFETCH(int, videoMode);
        const auto device = LiveBench::makeDevice();
        LiveProbe widget;
        widget.setVideoMode(VideoMode(videoMode));
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        QVERIFY(widget.init(device, 0, allStreams));
        QVERIFY(widget.start());
        widget.playStart(0);
        const QPoint inTopRight(300, 50);
        QVERIFY(Screen::waitForColor(&widget, inTopRight, TestPicture::topRight(), colorTolerance));
        const auto seen = [&] { return TestPicture::number(Screen::grab(&widget)); };
        QTRY_VERIFY(seen() >= 0);
        const int number = seen();
        QTRY_VERIFY(seen() >= 0 && seen() != number);

        widget.playStop(true);
        QVERIFY(Screen::waitForColor(&widget, inTopRight, Qt::black, 2));
        widget.playStart(0);
        QVERIFY(Screen::waitForColor(&widget, inTopRight, TestPicture::topRight(), colorTolerance));
        widget.stop(true);
        QVERIFY(Screen::waitForColor(&widget, inTopRight, Qt::black, 2));
        QVERIFY(widget.start());
        widget.playStart(0);
        QVERIFY(Screen::waitForColor(&widget, inTopRight, TestPicture::topRight(), colorTolerance));
    }

    void lastPicture_stays_whereImagesArePainted()
    {
        const auto device = LiveBench::makeDevice();
        LiveProbe widget;
        widget.setVideoMode(VideoMode_Image);
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        QVERIFY(widget.init(device, 0, allStreams));
        QVERIFY(widget.start());
        widget.playStart(0);
        const QPoint inTopRight(300, 50);
        QVERIFY(Screen::waitForColor(&widget, inTopRight, TestPicture::topRight(), colorTolerance));
        widget.playStop(false);
        QTest::qWait(100);
        QVERIFY(Screen::isNear(Screen::colorAt(&widget, inTopRight), TestPicture::topRight(), colorTolerance));
        widget.playStart(0);
        widget.stop(false);
        QTest::qWait(100);
        QVERIFY(Screen::isNear(Screen::colorAt(&widget, inTopRight), TestPicture::topRight(), colorTolerance));
    }

    /// The second widget joins while the first one plays; a server that crashes takes both pictures along for a while.
    void rtspStream_isShared_andComesBack()
    {
        messages->allow("^error count: ");
        messages->allow("^(打开出错|找流失败|地址不通|无分辨率)");
        RtspServer server;
        QVERIFY(server.start());
        const auto device = QSharedPointer<FakeDevice>::create(XTransportProtocol_Rtsp, 1, 2);
        device->setRtspUrls({server.url("h264"), server.url("h264_pcma")});
        QWidget window;
        window.setGeometry(0, 0, 820, 320);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        const QPoint inTopRight(300, 50);
        std::vector<std::unique_ptr<LiveProbe>> widgets;
        for (int index = 0; index < 2; ++index) {
            auto widget = std::make_unique<LiveProbe>(XTransportProtocol_Rtsp, &window);
            widget->setGeometry(index * 410, 0, 400, 300);
            VideoPara para = widget->getVideoPara();
            para.connectTimeout = 3000;
            widget->setVideoPara(para);
            widget->show();
            QVERIFY(widget->init(device, 0, 1));
            QVERIFY(widget->start());
            widget->playStart(0);
            QVERIFY(Screen::waitForColor(widget.get(), inTopRight, TestPicture::topRight(), colorTolerance, limitMs));
            widgets.push_back(std::move(widget));
        }
        QCOMPARE(threadOf(device, 0)->previewRef().load(), 2);
        std::vector<std::unique_ptr<QSignalSpy>> ends;
        for (const auto& widget : widgets)
            ends.push_back(std::make_unique<QSignalSpy>(widget.get(), &LiveVideoWidget::sig_receivePlayFinsh));
        server.kill();
        for (const auto& end : ends)
            QTRY_VERIFY_WITH_TIMEOUT(!end->isEmpty(), limitMs);
        QVERIFY(server.restart());
        for (const auto& widget : widgets) {
            QTRY_VERIFY_WITH_TIMEOUT(widget->getIsRunning(), 2 * limitMs);
            QVERIFY(Screen::waitForColor(widget.get(), inTopRight, TestPicture::topRight(), colorTolerance, limitMs));
        }
        const auto thread = threadOf(device, 0);
        widgets.clear();
        QTRY_VERIFY_WITH_TIMEOUT(thread->isFinished(), limitMs);
    }

    void decoding_endsWithTheLastDisplay_andRecordingGoesOn()
    {
        const QTemporaryDir folder;
        const DeviceFrames frames = DeviceStream::h264();
        const auto device = LiveBench::makeDevice();
        FrameScript& script = device->script(0, 0);
        script.clear();
        script.add(frames);
        script.setPace(FrameScript::Pace::Released);
        script.setIdle(FrameScript::Idle::Hold);

        LiveProbe first;
        LiveProbe second;
        for (LiveProbe* widget : {&first, &second}) {
            QVERIFY(widget->init(device, 0, 1));
            QVERIFY(widget->start());
            widget->playStart(0);
        }
        const auto thread = threadOf(device, 0);
        {
            Deliveries seen(thread);
            first.recordStart(folder.path());
            QVERIFY(script.play(10));
            QCOMPARE(seen.frames.load(), 10);
            QCOMPARE(seen.lastNumber.load(), 9);

            first.playStop(true);
            QVERIFY(script.play(10));
            QCOMPARE(seen.frames.load(), 20); // for the other one
            QCOMPARE(seen.decodersDestroyed.load(), 0);

            second.playStop(true);
            seen.forget();
            QVERIFY(script.play(8)); // up to number 27, a key frame among them
            QCOMPARE(seen.frames.load(), 0);
            QCOMPARE(seen.decodersDestroyed.load(), 1);

            second.playStart(0);
            QVERIFY(script.play(DeviceStream::keyDistance)); // up to 52
            QCOMPARE(seen.firstNumber.load(), 2 * DeviceStream::keyDistance);
            QCOMPARE(seen.frames.load(), 3);

            // The widget that began the recording leaves altogether; so does the other one.
            first.stop();
            second.stop();
            seen.forget();
            QVERIFY(threadOf(device, 0) == thread);
            QVERIFY(script.play(30)); // up to 82
            QCOMPARE(seen.frames.load(), 0);
            QVERIFY(second.start());
            second.playStart(0);
            QVERIFY(script.play(DeviceStream::frameCount - 83));
            QCOMPARE(seen.firstNumber.load(), 4 * DeviceStream::keyDistance);
            QCOMPARE(device->count("enableMediaTransmit 0 0 true"), 1);
            device->endReads();
            Vantor::release();
        }
        const QStringList files = recordingsIn(folder);
        QCOMPARE(files.size(), 1);
        const MovieFile movie(files.first());
        QCOMPARE(movie.pictureCount(), DeviceStream::frameCount);
        QVERIFY(movie.decodes());
        const QStringList sent = pictureHashes(frames, folder);
        QCOMPARE(sent.size(), DeviceStream::frameCount);
        QCOMPARE(movie.pictureHashes(), sent);
    }

    void subStream_keepsItsDecoder_withoutADisplay()
    {
        const auto device = LiveBench::makeDevice();
        FrameScript& script = device->script(0, 1);
        script.setPace(FrameScript::Pace::Released);
        LiveProbe widget;
        QVERIFY(widget.init(device, 0, 2));
        QVERIFY(widget.start());
        widget.playStart(1);
        {
            Deliveries seen(threadOf(device, 1));
            QVERIFY(script.play(3));
            widget.playStop(true);
            QVERIFY(script.play(5));
            QCOMPARE(seen.frames.load(), 3);
            QCOMPARE(seen.decodersDestroyed.load(), 0);
            Vantor::release();
        }
    }

    /// The thread waits in a delivery to each of its displays in turn; any of them may go at that moment.
    void widget_mayBeDeleted_inTheMiddleOfADelivery()
    {
        const auto device = LiveBench::makeDevice();
        device->script(0, 0).setPace(FrameScript::Pace::AsRead);
        LiveProbe stays;
        stays.show();
        QVERIFY(stays.init(device, 0, 1));
        QVERIFY(stays.start());
        stays.playStart(0);
        {
            Deliveries seen(threadOf(device, 0));
            for (int round = 0; round < 50; ++round) {
                auto goes = std::make_unique<LiveProbe>();
                goes->show();
                QVERIFY(goes->init(device, 0, 1));
                QVERIFY(goes->start());
                goes->playStart(0);
                const int before = seen.frames;
                QVERIFY(Waiting::until([&] { return seen.frames > before; }, limitMs));
                QThread::msleep(2); // no events: by now the thread waits for one of the two
                goes.reset();
                const int after = seen.frames;
                QVERIFY(Waiting::until([&] { return seen.frames > after + 1; }, limitMs));
            }
            stays.stop();
        }
    }

    void set_mayBeAskedForAgain_atOnce()
    {
        const auto device = LiveBench::makeDevice();
        LiveProbe widget;
        widget.show();
        QVERIFY(widget.init(device, 0, allStreams));
        for (int round = 0; round < 30; ++round) {
            QVERIFY(widget.start());
            widget.playStart(round % 2);
            QTest::qWait(round % 7 * 5);
            widget.stop(round % 3 != 0);
        }
        QVERIFY(widget.start());
        widget.playStart(0);
        QVERIFY(Screen::waitForColor(&widget, QPoint(300, 50), TestPicture::topRight(), colorTolerance));
    }

private:
    std::unique_ptr<MessageGuard> messages;
};

QTEST_MAIN(TestLiveSharing)
#include "tst_livesharing.moc"
