#include "playerprobe.h"
#include "support/messageguard.h"
#include "support/resourcecount.h"
#include "support/rtspserver.h"

#include <QTest>

#include <memory>

namespace {
constexpr int playMs = 20000;
constexpr int stopMs = 2000;
constexpr int restarts = 10;
} // namespace

Q_DECLARE_METATYPE(VideoMode)

/// The thread against an RTSP server that dies again and again.
class TestFFmpegVideoThreadRestart : public QObject
{
    Q_OBJECT

private:
    QString reconnected(const PlayerProbe& probe) const { return "reconnect -> url: " + probe.thread.getVideoUrl(); }

    std::unique_ptr<MessageGuard> guard;
    RtspServer server;

private Q_SLOTS:
    void init()
    {
        guard.reset(new MessageGuard);
        if (!server.isRunning())
            QVERIFY(server.start());
    }
    void cleanup() { VERIFY_NO_UNEXPECTED_MESSAGES(*guard); }

    void play_showsPicturesAgain_wheneverServerIsRestarted_data()
    {
        QTest::addColumn<QString>("transport");
        QTest::addColumn<VideoMode>("mode");
        QTest::newRow("tcp, images") << "tcp" << VideoMode_Image;
        QTest::newRow("udp, planes") << "udp" << VideoMode_Opengl;
    }

    void play_showsPicturesAgain_wheneverServerIsRestarted()
    {
        QFETCH(QString, transport);
        QFETCH(VideoMode, mode);
        guard->allow("^error count: [123] why: .+");
        guard->allow("^打开出错 -> 错误: .+ 地址: rtsp://");
        guard->allow("^找流失败 -> 错误: .+ 地址: rtsp://");
        PlayerProbe probe(server.url("h264_pcma"), mode);
        probe.thread.setTransport(transport);
        probe.thread.setReadTimeout(1000);
        probe.thread.setFastStart(true);
        probe.thread.play();
        QTRY_VERIFY_WITH_TIMEOUT(probe.pictures >= 5, playMs);
        const ResourceCount before = ResourceCount::now();
        for (int round = 1; round <= restarts; ++round) {
            QVERIFY(server.restart());
            const int pictures = probe.pictures;
            QTRY_VERIFY2_WITH_TIMEOUT(probe.pictures >= pictures + 3, qPrintable(QString::number(round)), playMs);
            QTRY_COMPARE(probe.events.count("start"), probe.events.count("finish") + 1);
        }
        QVERIFY(ResourceCount::waitUntilNotAbove(before));
        QVERIFY(probe.events.count("start") >= restarts + 1);
        QVERIFY(guard->count(QtInfoMsg, reconnected(probe)) >= restarts);
        QCOMPARE(probe.badPictures, 0);
        QVERIFY(probe.stopAndMeasure() < stopMs);
    }
};

QTEST_GUILESS_MAIN(TestFFmpegVideoThreadRestart)
#include "tst_ffmpegvideothread_restart.moc"
