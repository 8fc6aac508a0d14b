#include "playerprobe.h"
#include "support/clips.h"
#include "support/messageguard.h"
#include "support/resourcecount.h"
#include "support/rtspserver.h"
#include "support/secrets.h"
#include "support/tcpproxy.h"

#include <QElapsedTimer>
#include <QTest>

#include <algorithm>
#include <chrono>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

namespace {
constexpr int playMs = 20000;
constexpr int stopMs = 2000;
// A stop interrupts the read that it meets.
const QString interruptedRead = "^error count: 1 why: (Immediate exit requested|Input/output error)$";
const QString readError = "^error count: [123] why: .+";
const QString openError = "^打开出错 -> 错误: .+ 地址: rtsp://";
/// Puts the parameter sets of a stream of 704x576 into a server's description, which keeps its length.
void makeDescriptionStale(char* bytes, size_t count)
{
    const QByteArray name("sprop-parameter-sets=");
    const QByteArray title("s=Session streamed with GStreamer");
    QByteArray text(bytes, int(count));
    const int at = text.indexOf(name) + name.size();
    if (at < name.size() || !text.contains(title))
        return;
    const int before = text.size();
    text.replace(at, text.indexOf(';', at) - at, "Z0LAHtoCwEmwFKDAwNSgAAADACAAAAZR4sXU,aM48gA==");
    text.replace(title,
                 title.left(title.size() - qMax(0, text.size() - before)).append(qMax(0, before - text.size()), ' '));
    if (text.size() == before)
        std::copy(text.begin(), text.end(), bytes);
}

/// Holds the first media back for longer than the time-out for reading is, as a server does that has yet to wake its
/// camera.
TcpProxy::Edit slowFirstPacket(std::chrono::milliseconds delay)
{
    bool isPlaying = false;
    bool hasWaited = false;
    return [=](char* bytes, size_t count) mutable {
        const bool isMedia = count > 0 && bytes[0] == '$';
        if (isPlaying && isMedia && !std::exchange(hasWaited, true))
            std::this_thread::sleep_for(delay);
        isPlaying = isPlaying || QByteArray::fromRawData(bytes, int(count)).contains("RTP-Info:");
    };
}
} // namespace

Q_DECLARE_METATYPE(VideoMode)

/// The thread against a live RTSP server.
class TestFFmpegVideoThreadRtsp : public QObject
{
    Q_OBJECT

private:
    /// User and password are nobody's business.
    static QString shown(const QString& url)
    {
        const int at = url.lastIndexOf('@');
        return at < 0 ? url : "rtsp://***" + url.mid(at);
    }
    QString terminated(const PlayerProbe& probe) const
    {
        return "thread terminate -> url: " + shown(probe.thread.getVideoUrl());
    }
    QString reconnected(const PlayerProbe& probe) const
    {
        return "reconnect -> url: " + shown(probe.thread.getVideoUrl());
    }

    std::unique_ptr<MessageGuard> guard;
    RtspServer server;

private Q_SLOTS:
    void initTestCase()
    {
        server.setCredentials(Secrets::user(), Secrets::passwordWithSeparators());
        QVERIFY(server.start());
    }
    void init()
    {
        guard.reset(new MessageGuard);
        guard->allow(interruptedRead);
        if (!server.isRunning())
            QVERIFY(server.start());
    }
    void cleanup()
    {
        server.resume();
        VERIFY_NO_UNEXPECTED_MESSAGES(*guard);
    }

    void play_showsPictures_fromEveryMount_data()
    {
        QTest::addColumn<QString>("transport");
        QTest::addColumn<VideoMode>("mode");
        QTest::newRow("tcp, images") << "tcp" << VideoMode_Image;
        QTest::newRow("tcp, planes") << "tcp" << VideoMode_Opengl;
        QTest::newRow("udp, images") << "udp" << VideoMode_Image;
        QTest::newRow("udp, planes") << "udp" << VideoMode_Opengl;
    }

    /// All at the same time, as the panes of a client are.
    void play_showsPictures_fromEveryMount()
    {
        QFETCH(QString, transport);
        QFETCH(VideoMode, mode);
        std::vector<std::unique_ptr<PlayerProbe>> probes;
        for (const QString mount : {"h264", "h264_pcma", "h264_aac", "h265", "sdp_only"})
            probes.emplace_back(new PlayerProbe(server.url(mount), mode));
        probes.emplace_back(
            new PlayerProbe(server.url("secure", Secrets::user(), Secrets::passwordWithSeparators()), mode));
        for (const auto& probe : probes) {
            probe->thread.setTransport(transport);
            probe->thread.play();
        }
        for (const auto& probe : probes) {
            QTRY_VERIFY2_WITH_TIMEOUT(probe->pictures >= 20, qPrintable(probe->thread.getVideoUrl()), playMs);
            QCOMPARE(probe->lastSize, Clips::size);
            QCOMPARE(probe->thread.getVideoWidth(), Clips::size.width());
            QCOMPARE(probe->thread.getVideoHeight(), Clips::size.height());
            QCOMPARE(probe->thread.getFrameRate(), Clips::frameRate);
            QVERIFY(probe->thread.getIsOk());
            QVERIFY(probe->sizeChanges >= 1);
        }
        for (const auto& probe : probes) {
            QVERIFY(probe->stopAndMeasure() < stopMs);
            const QByteArray which = probe->thread.getVideoUrl().toUtf8();
            QVERIFY2(probe->badPictures == 0, which);
            QVERIFY2(probe->areNumbersRising(), which);
            QVERIFY2(probe->events == QStringList({"start", "finish"}), which);
            QCOMPARE(guard->count(QtInfoMsg, terminated(*probe)), 1);
        }
    }

    void play_showsEveryPictureWhole_whenTheStartIsFast_data()
    {
        QTest::addColumn<QString>("mount");
        QTest::addColumn<QString>("transport");
        for (const QString mount : {"h264", "h264_pcma", "h264_aac", "h264_slices", "sdp_only", "h265"}) {
            QTest::newRow(qPrintable(mount + " tcp")) << mount << "tcp";
            QTest::newRow(qPrintable(mount + " udp")) << mount << "udp";
        }
    }

    void play_showsEveryPictureWhole_whenTheStartIsFast()
    {
        QFETCH(QString, mount);
        QFETCH(QString, transport);
        PlayerProbe probe(server.url(mount));
        probe.thread.setFastStart(true);
        probe.thread.setTransport(transport);
        probe.thread.play();
        QTRY_VERIFY_WITH_TIMEOUT(probe.pictures >= 40, playMs);
        QVERIFY(probe.stopAndMeasure() < stopMs);
        QCOMPARE(probe.badPictures, 0);
        QCOMPARE(probe.numbers.first() % 10, 0); // begins at a key frame
        QCOMPARE(probe.numbers.last() - probe.numbers.first(), probe.numbers.size() - 1);
        QVERIFY(probe.areNumbersRising());
        QCOMPARE(probe.lastSize, Clips::size);
        QCOMPARE(probe.thread.getFrameRate(), Clips::frameRate);
        QCOMPARE(probe.events, QStringList({"start", "finish"}));
    }

    void play_waitsLongerForTheFirstPacket_whenTheStartIsFast()
    {
        constexpr int readMs = 500;
        const TcpProxy::Edit slow = slowFirstPacket(std::chrono::milliseconds(3 * readMs));
        const TcpProxy proxy(server.port(), slow);
        PlayerProbe probe(proxy.url(server.url("h264")));
        probe.thread.setFastStart(true);
        probe.thread.setReadTimeout(readMs);
        probe.thread.play();
        QTRY_VERIFY_WITH_TIMEOUT(probe.pictures >= 1, playMs);
        QCOMPARE(probe.events, QStringList({"start"}));
        QVERIFY(probe.stopAndMeasure() < stopMs);
    }

    void play_opensAgainAndStays_whenTheDescriptionIsStale()
    {
        const TcpProxy proxy(server.port(), &makeDescriptionStale);
        PlayerProbe probe(proxy.url(server.url("h264")));
        probe.thread.setFastStart(true);
        probe.thread.play();
        QTRY_VERIFY_WITH_TIMEOUT(probe.pictures >= 40, playMs);
        QCOMPARE(probe.events, QStringList({"start", "finish", "start"}));
        QCOMPARE(guard->count(QtInfoMsg, reconnected(probe)), 1);
        QCOMPARE(probe.lastSize, Clips::size);
        QCOMPARE(probe.badPictures, 0);
        QVERIFY(probe.stopAndMeasure() < stopMs);
    }

    void play_takesTheTransport_thatItIsTold()
    {
        // The proxy sees the whole stream in the one case and the talk about it in the other.
        const TcpProxy inOneConnection(server.port());
        const TcpProxy besideIt(server.port());
        PlayerProbe tcp(inOneConnection.url(server.url("h264_pcma"))); // the default
        PlayerProbe udp(besideIt.url(server.url("h264_pcma")));
        udp.thread.setTransport("udp");
        tcp.thread.play();
        udp.thread.play();
        QTRY_VERIFY_WITH_TIMEOUT(tcp.pictures >= 30 && udp.pictures >= 30, playMs);
        QVERIFY(inOneConnection.bytesSent() > 10000);
        QVERIFY(besideIt.bytesSent() < 3000);
    }

    void play_givesStereoSound_ofTheSourcesRate()
    {
        PlayerProbe telephone(server.url("h264_pcma"));
        PlayerProbe music(server.url("h264_aac"));
        telephone.thread.play();
        music.thread.play();
        QTRY_VERIFY_WITH_TIMEOUT(telephone.audioBytes > 16000 && music.audioBytes > 32000, playMs);
        QCOMPARE(telephone.audioRate, 8000);
        QCOMPARE(telephone.audioChannels, 2);
        QCOMPARE(music.audioRate, 16000);
        QCOMPARE(music.audioChannels, 2);
        QVERIFY(guard->contains("^音频信息 -> 索引: 1 解码: pcm_alaw 比特: 64000 声道: 1 采样: 8000 品质: -?[0-9]+$"));
    }

    void play_neverDecodesSound_whenSourceHasSoundOnly()
    {
        const TcpProxy proxy(server.port());
        PlayerProbe probe(proxy.url(server.url("audio")));
        probe.thread.play();
        QTRY_COMPARE_WITH_TIMEOUT(probe.events, QStringList("start"), playMs);
        const qint64 atStart = proxy.bytesSent();
        QTRY_VERIFY_WITH_TIMEOUT(proxy.bytesSent() > atStart + 10000, playMs);
        QVERIFY(probe.thread.getIsOk());
        QVERIFY(probe.thread.getOnlyAudio());
        QCOMPARE(probe.audioRate, 8000);
        QCOMPARE(probe.audioBytes, 0);
        QCOMPARE(probe.sizeChanges, 0);
        QCOMPARE(probe.pictures, 0);
        QCOMPARE(guard->count(QtInfoMsg, "无视频流 -> 地址: " + probe.thread.getVideoUrl()), 1);
        QVERIFY(probe.stopAndMeasure() < stopMs);
    }

    void play_decodesOnlyWhileADisplayLooks()
    {
        const TcpProxy proxy(server.port());
        PlayerProbe probe(proxy.url(server.url("h264_pcma")));
        probe.thread.previewRef() = 0;
        probe.thread.play();
        QTRY_COMPARE_WITH_TIMEOUT(probe.events, QStringList("start"), playMs);
        qint64 sent = proxy.bytesSent();
        QTRY_VERIFY_WITH_TIMEOUT(proxy.bytesSent() > sent + 20000, playMs);
        QCOMPARE(probe.pictures, 0);
        QCOMPARE(probe.audioBytes, 0);

        probe.thread.previewRef() = 1;
        QTRY_VERIFY_WITH_TIMEOUT(probe.pictures >= 3 && probe.audioBytes > 0, playMs);
        QCOMPARE(probe.numbers.first() % 10, 0); // begins at a key frame

        probe.thread.previewRef() = 0;
        sent = proxy.bytesSent();
        QTRY_VERIFY_WITH_TIMEOUT(proxy.bytesSent() > sent + 5000, playMs);
        const int pictures = probe.pictures;
        QTRY_VERIFY_WITH_TIMEOUT(proxy.bytesSent() > sent + 20000, playMs);
        QCOMPARE(probe.pictures, pictures);
        QCOMPARE(probe.badPictures, 0);
    }

    void play_opensAgain_whenSizeChangesInMidStream_data()
    {
        QTest::addColumn<VideoMode>("mode");
        QTest::newRow("images") << VideoMode_Image;
        QTest::newRow("planes") << VideoMode_Opengl;
    }

    void play_opensAgain_whenSizeChangesInMidStream()
    {
        QFETCH(VideoMode, mode);
        PlayerProbe probe(server.url("switch"), mode);
        probe.thread.play();
        QTRY_VERIFY_WITH_TIMEOUT(probe.pictures >= 5, playMs);
        const QSize before = probe.lastSize;
        QVERIFY(server.switchResolution());
        const QSize after = before == Clips::size ? Clips::otherSize : Clips::size;
        QTRY_COMPARE_WITH_TIMEOUT(probe.lastSize, after, playMs);
        QCOMPARE(probe.events, QStringList({"start", "finish", "start"}));
        QCOMPARE(probe.thread.getVideoWidth(), after.width());
        QCOMPARE(probe.badPictures, 0);
        QCOMPARE(guard->count(QtInfoMsg, reconnected(probe)), 1);
        QVERIFY(probe.stopAndMeasure() < stopMs);
        QCOMPARE(probe.events, QStringList({"start", "finish", "start", "finish"}));
    }

    void play_failsWithTheServersAnswer_whenPasswordIsWrong()
    {
        guard->allow(openError);
        PlayerProbe probe(server.url("secure", Secrets::user(), Secrets::wrongPassword()));
        probe.thread.play();
        const QString message = "打开出错 -> 错误: Server returned 401 Unauthorized (authorization failed) 地址: "
            + shown(probe.thread.getVideoUrl());
        QTRY_VERIFY_WITH_TIMEOUT(guard->count(QtCriticalMsg, message) >= 2, playMs); // it keeps trying
        QVERIFY(!probe.thread.getIsOk());
        QVERIFY(probe.stopAndMeasure() < stopMs);
        QCOMPARE(probe.events, QStringList());
        QCOMPARE(guard->count(QtInfoMsg, terminated(probe)), 1);
        QVERIFY(!guard->contains(Secrets::word));
    }

    void play_ends_whenConnectionIsCutAndReopeningIsOff()
    {
        guard->allow(readError);
        TcpProxy proxy(server.port());
        PlayerProbe probe(proxy.url(server.url("h264")));
        probe.thread.play();
        QTRY_VERIFY_WITH_TIMEOUT(probe.pictures >= 5, playMs);
        proxy.cutAfter(0);
        QTRY_VERIFY_WITH_TIMEOUT(probe.thread.isFinished(), playMs);
        QCOMPARE(probe.events, QStringList({"start", "finish"}));
        QCOMPARE(guard->texts(QtCriticalMsg).size(), 3);
        QVERIFY(guard->texts(QtCriticalMsg).last().startsWith("error count: 3 why: "));
        QCOMPARE(guard->count(QtInfoMsg, terminated(probe)), 1);
        QCOMPARE(guard->count(QtInfoMsg, reconnected(probe)), 0);
    }

    void play_ends_whenServerStopsInMidPacketAndReopeningIsOff()
    {
        guard->allow(readError);
        TcpProxy proxy(server.port());
        PlayerProbe probe(proxy.url(server.url("h264")));
        probe.thread.play();
        QTRY_VERIFY_WITH_TIMEOUT(probe.pictures >= 5, playMs);
        proxy.stallAfter(proxy.bytesSent() + 100);
        QElapsedTimer stalled;
        stalled.start();
        QTRY_VERIFY_WITH_TIMEOUT(probe.thread.isFinished(), playMs);
        // The first time-out makes FFmpeg hand out the picture that its parser still holds, and the wait begins anew.
        QVERIFY2(stalled.elapsed() > 2500 && stalled.elapsed() < 8500, qPrintable(QString::number(stalled.elapsed())));
        QVERIFY(probe.thread.isReadTimeout());
        QCOMPARE(probe.events, QStringList({"start", "finish"}));
        QCOMPARE(probe.badPictures, 0);
    }

    void play_goesOn_whenServerAnswersAgainAfterAStall()
    {
        guard->allow(readError);
        guard->allow(openError);
        PlayerProbe probe(server.url("h264"));
        probe.thread.setReadTimeout(800);
        probe.thread.setConnectTimeout(500);
        probe.thread.play();
        QTRY_VERIFY_WITH_TIMEOUT(probe.pictures >= 5, playMs);
        server.freeze();
        // Sooner than the 3 s after which the socket itself gives up, also where the time-out has to pass twice because
        // FFmpeg's parser still held a picture.
        QTRY_VERIFY_WITH_TIMEOUT(guard->count(QtInfoMsg, reconnected(probe)) >= 1, 2700);
        QVERIFY(probe.thread.isReadTimeout());
        // An open that nobody answers.
        QTRY_VERIFY_WITH_TIMEOUT(guard->contains(openError), playMs);
        QCOMPARE(probe.events, QStringList({"start", "finish"}));
        QVERIFY(probe.thread.isReadTimeout());
        QVERIFY(guard->count(QtInfoMsg, reconnected(probe)) >= 1);
        const int before = probe.pictures;
        server.resume();
        probe.thread.setConnectTimeout(5000);
        QTRY_VERIFY_WITH_TIMEOUT(probe.pictures >= before + 5, playMs);
        QVERIFY(!probe.thread.isReadTimeout());
        QCOMPARE(probe.badPictures, 0);
        QVERIFY(probe.stopAndMeasure() < stopMs);
    }

    void stop_isPrompt_whenServerIsStalled()
    {
        TcpProxy proxy(server.port());
        PlayerProbe probe(proxy.url(server.url("h264")));
        probe.thread.play();
        QTRY_VERIFY_WITH_TIMEOUT(probe.pictures >= 5, playMs);
        const qint64 limit = proxy.bytesSent() + 1000;
        proxy.stallAfter(limit);
        QTRY_COMPARE_WITH_TIMEOUT(proxy.bytesSent(), limit, playMs);
        // The pictures that are still under way are shown; then the thread waits in a read.
        int shown = -1;
        QTRY_VERIFY_WITH_TIMEOUT(std::exchange(shown, probe.pictures) == probe.pictures, playMs);
        // Well below the 3 s after which the read would give up by itself.
        QVERIFY(probe.stopAndMeasure() < 1000);
        QCOMPARE(probe.events, QStringList({"start", "finish"}));
    }

    void playAndStop_leaveNothingBehind_whenRepeated()
    {
        guard->allow("^(打开出错|找流失败) -> 错误: Immediate exit requested"); // a stop during the open
        const auto round = [this](int pictures) {
            PlayerProbe probe(server.url("h264_pcma"));
            probe.thread.setFastStart(true);
            probe.thread.play();
            QTRY_VERIFY_WITH_TIMEOUT(probe.pictures >= pictures, playMs);
            QVERIFY(probe.stopAndMeasure() < stopMs);
        };
        round(2);
        const ResourceCount before = ResourceCount::now();
        for (int i = 0; i < 5; ++i)
            round(i % 2);
        QVERIFY(ResourceCount::waitUntilNotAbove(before));
    }
};

QTEST_GUILESS_MAIN(TestFFmpegVideoThreadRtsp)
#include "tst_ffmpegvideothread_rtsp.moc"
