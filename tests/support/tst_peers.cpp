#include "support/clips.h"
#include "support/loopback.h"
#include "support/messageguard.h"
#include "support/resourcecount.h"
#include "support/rtspserver.h"
#include "support/secrets.h"
#include "support/tcpproxy.h"
#include "support/testpicture.h"

#include <QFileInfo>
#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

#include <memory>

/// The peers do what they say: a test that plays from them fails for its own reasons only.
class TestPeers : public QObject
{
    Q_OBJECT

private:
    /// The first picture that the ffmpeg command gets from an address or a file.
    static QImage firstPicture(const QString& source, const QStringList& options = {})
    {
        QProcess process;
        process.start("ffmpeg",
                      QStringList{"-nostdin", "-loglevel", "error"} + options
                          + QStringList{"-i", source, "-frames:v", "1", "-f", "image2", "-c:v", "png", "-"});
        QImage image;
        if (process.waitForFinished(20000))
            image.loadFromData(process.readAllStandardOutput());
        return image;
    }

    std::unique_ptr<MessageGuard> guard;

private Q_SLOTS:
    void init() { guard.reset(new MessageGuard); }
    void cleanup() { VERIFY_NO_UNEXPECTED_MESSAGES(*guard); }

    void testPicture_carriesItsNumber_whateverItsSize()
    {
        for (const QSize& size : {Clips::size, Clips::otherSize, QSize(321, 241)}) {
            for (const int number : {0, 1, 124, 2730, TestPicture::count - 1}) {
                const QByteArray bytes = TestPicture::i420(size, number);
                const auto* luma = reinterpret_cast<const quint8*>(bytes.constData());
                QCOMPARE(TestPicture::number(luma, size.width(), size.height(), size.width()), number);
            }
        }
    }

    void clips_areMade_whenFirstAskedFor_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QSize>("size");
        QTest::newRow("h264 mp4") << Clips::h264AacMp4() << Clips::size;
        QTest::newRow("h264 mkv") << Clips::h264AacMkv() << Clips::size;
        QTest::newRow("h264 silent") << Clips::h264Mp4() << Clips::size;
        QTest::newRow("h265 mp4") << Clips::h265Mp4() << Clips::size;
        QTest::newRow("h264 ts") << Clips::h264Ts() << Clips::size;
        QTest::newRow("h264 raw") << Clips::h264AnnexB() << Clips::size;
        QTest::newRow("size change") << Clips::sizeChangeTs() << Clips::size;
        QTest::newRow("codec change") << Clips::codecChangeTs() << Clips::size;
        QTest::newRow("90 fps") << Clips::fps90Mp4() << Clips::size;
        QTest::newRow("4:2:2") << Clips::yuv422Mp4() << Clips::size;
        QTest::newRow("odd size") << Clips::oddSizeMkv() << QSize(321, 241);
        QTest::newRow("truncated fast start") << Clips::truncatedFastStartMp4() << Clips::size;
        QTest::newRow("truncated ts") << Clips::truncatedTs() << Clips::size;
    }

    void clips_areMade_whenFirstAskedFor()
    {
        QFETCH(QString, path);
        QFETCH(QSize, size);
        const QImage image = firstPicture(path);
        QCOMPARE(image.size(), size);
        QCOMPARE(TestPicture::number(image), 0);
        QVERIFY(TestPicture::hasColors(image));
    }

    void rotatedClip_isTurned_whenPlayerHonoursIt()
    {
        QCOMPARE(firstPicture(Clips::rotatedMp4()).size(), Clips::size.transposed());
    }

    void badClips_giveNoPicture()
    {
        QVERIFY(firstPicture(Clips::textMp4()).isNull());
        QVERIFY(firstPicture(Clips::emptyMp4()).isNull());
        QVERIFY(firstPicture(Clips::truncatedMp4()).isNull());
        QVERIFY(firstPicture(Clips::soundOnlyM4a()).isNull());
        QVERIFY(firstPicture(Clips::soundOnlyWav()).isNull());
        QVERIFY(QFileInfo(Clips::randomH264()).size() > 0);
        QVERIFY(QFileInfo(Clips::damagedH264()).size() > 0);
    }

    void server_servesPictures_fromEveryMount()
    {
        RtspServer server;
        server.setCredentials(Secrets::user(), Secrets::passwordWithSeparators());
        server.setFile(Clips::h264AacMp4());
        QVERIFY(server.start());
        for (const QString mount : {"h264", "h264_pcma", "h264_aac", "h265", "sdp_only", "switch", "file"}) {
            const QImage image = firstPicture(server.url(mount), {"-rtsp_transport", "tcp"});
            QVERIFY2(TestPicture::hasColors(image), qPrintable(mount));
            QVERIFY2(TestPicture::number(image) >= 0, qPrintable(mount));
        }
        QVERIFY(!firstPicture(server.url("h264_pcma"), {"-rtsp_transport", "udp"}).isNull());
        QVERIFY(!firstPicture(server.url("secure", Secrets::user(), "p%40ss%3ASesame4711%2Fw")).isNull());
        QVERIFY(firstPicture(server.url("secure", Secrets::user(), "wrong")).isNull());
        QVERIFY(firstPicture(server.url("secure")).isNull());
        QVERIFY(server.switchResolution());
        QCOMPARE(firstPicture(server.url("switch")).size(), Clips::otherSize);
        QVERIFY(server.stop());
    }

    void server_keepsItsPort_whenRestarted()
    {
        RtspServer server;
        QVERIFY(server.start());
        const quint16 port = server.port();
        QTcpSocket client;
        client.connectToHost("127.0.0.1", port);
        QVERIFY(client.waitForConnected());
        QVERIFY(server.restart());
        QCOMPARE(server.port(), port);
        QTRY_COMPARE(client.state(), QAbstractSocket::UnconnectedState);
        client.connectToHost("127.0.0.1", port);
        QVERIFY(client.waitForConnected());
    }

    void proxy_stopsAtTheByte_whenToldToStall()
    {
        QTcpServer origin;
        QVERIFY(origin.listen(QHostAddress::LocalHost));
        TcpProxy proxy(origin.serverPort());
        proxy.stallAfter(7);
        QTcpSocket client;
        client.connectToHost("127.0.0.1", proxy.port());
        QTRY_VERIFY(origin.hasPendingConnections());
        QTcpSocket* peer = origin.nextPendingConnection();
        peer->write("0123456789");
        QTRY_COMPARE(client.bytesAvailable(), 7);
        client.write("heard");
        QTRY_COMPARE(peer->bytesAvailable(), 5);
        QCOMPARE(client.bytesAvailable(), 7);
        proxy.resume();
        QTRY_COMPARE(client.bytesAvailable(), 10);
        QCOMPARE(proxy.bytesSent(), 10);
        QCOMPARE(proxy.connections(), 1);
    }

    void proxy_closesAtTheByte_whenToldToCut()
    {
        QTcpServer origin;
        QVERIFY(origin.listen(QHostAddress::LocalHost));
        TcpProxy proxy(origin.serverPort());
        proxy.cutAfter(4);
        QTcpSocket client;
        client.connectToHost("127.0.0.1", proxy.port());
        QTRY_VERIFY(origin.hasPendingConnections());
        origin.nextPendingConnection()->write("0123456789");
        QTRY_COMPARE(client.state(), QAbstractSocket::UnconnectedState);
        QCOMPARE(client.readAll(), QByteArray("0123"));
    }

    void proxy_acceptsAndStaysSilent_whenNobodyIsBehindIt()
    {
        TcpProxy proxy;
        QTcpSocket client;
        client.connectToHost("127.0.0.1", proxy.port());
        QTRY_COMPARE(proxy.connections(), 1);
        client.write("OPTIONS * RTSP/1.0\r\n\r\n");
        QVERIFY(!client.waitForReadyRead(100));
        QCOMPARE(client.state(), QAbstractSocket::ConnectedState);
    }

    void proxyUrl_hasItsOwnPort()
    {
        TcpProxy proxy;
        const QString port = QString::number(proxy.port());
        QCOMPARE(proxy.url("rtsp://127.0.0.1:554/a"), "rtsp://127.0.0.1:" + port + "/a");
        QCOMPARE(proxy.url("rtsp://u:p@w:1@127.0.0.1:554/a"), "rtsp://u:p@w:1@127.0.0.1:" + port + "/a");
    }

    void badPorts_failEachInTheirWay()
    {
        QTcpSocket client;
        client.connectToHost("127.0.0.1", Loopback::refusedPort());
        QVERIFY(!client.waitForConnected(2000));
        QCOMPARE(client.error(), QAbstractSocket::ConnectionRefusedError);

        const Loopback::UnreachablePort unreachable;
        QTcpSocket other;
        other.connectToHost("127.0.0.1", unreachable.port());
        QVERIFY(!other.waitForConnected(300));
        QCOMPARE(other.error(), QAbstractSocket::SocketTimeoutError);
    }

    void resourceCount_seesThreadsAndHandles()
    {
        const ResourceCount before = ResourceCount::now();
        {
            const TcpProxy proxy;
            const ResourceCount during = ResourceCount::now();
            QCOMPARE(during.threads, before.threads + 1);
            QCOMPARE(during.handles, before.handles + 1);
        }
        QVERIFY(ResourceCount::waitUntilNotAbove(before));
    }
};

QTEST_GUILESS_MAIN(TestPeers)
#include "tst_peers.moc"
