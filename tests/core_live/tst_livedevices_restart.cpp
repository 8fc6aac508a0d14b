#include "livefile.h"
#include "shownstream.h"
#include "support/messageguard.h"
#include "support/rtspserver.h"
#include "vantor.h"

#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

constexpr int recordedPictures = 20;
constexpr int fewestPictures = 5;

} // namespace

/// An RTSP server that dies and comes back, again and again, behind a device that is watched and recorded.
class TestLiveDevicesRestart : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        messages = std::make_unique<MessageGuard>();
        messages->allow("is lost, and tried again: "); // the device
        messages->allow("^error count: \\d why: "); // the thread that reads an address itself
        messages->allow("^打开出错 -> ");
        messages->allow("^-----cur pts = "); // the recorder, about the pictures that are missing
        QVERIFY(Vantor::init());
    }

    void cleanup()
    {
        Vantor::release();
        VERIFY_NO_UNEXPECTED_MESSAGES(*messages);
    }

    void picture_comesBack_andRecordingsPlay_data()
    {
        QTest::addColumn<int>("protocol");
        QTest::addColumn<QString>("mount");
        QTest::newRow("first family") << int(XTransportProtocol_Rta) << "h264_pcma";
        QTest::newRow("second family") << int(XTransportProtocol_Mbe) << "h264";
        QTest::newRow("RTSP") << int(XTransportProtocol_Rtsp) << "h264";
    }

    /// In every other round the recording ends before the server dies; in the others it is left on until the picture is
    /// back.
    void picture_comesBack_andRecordingsPlay()
    {
        QFETCH(int, protocol);
        QFETCH(QString, mount);
        const QTemporaryDir folder;
        RtspServer server;
        QVERIFY(server.start());
        ShownStream shown(XTransportProtocol(protocol), {server.url(mount)});
        QVERIFY(shown.start());
        QVERIFY(shown.isMoving());
        QVector<int> filesOfRounds;
        for (int round = 0; round < rounds; ++round) {
            const int before = shown.recordings.size();
            const bool isLeftOn = round % 2 == 1;
            QVERIFY(shown.record(folder.path()));
            QVERIFY(shown.waitForPictures(recordedPictures));
            QVERIFY(isLeftOn || shown.endRecording());
            server.kill();
            QVERIFY(server.start());
            QVERIFY2(shown.isMoving(), qPrintable(QString("round %1").arg(round)));
            QVERIFY(!isLeftOn || (shown.waitForPictures(recordedPictures) && shown.endRecording()));
            filesOfRounds.append(shown.recordings.size() - before);
        }
        // Frames of a device go on in the same file; an address that is opened again has files of its own.
        const int filesOfLoss = protocol == XTransportProtocol_Rtsp ? 2 : 1;
        for (int round = 0; round < rounds; ++round)
            QCOMPARE(filesOfRounds.at(round), round % 2 == 1 ? filesOfLoss : 1);
        verifyRecordings(shown.recordings, filesOfLoss == 1);
    }

private:
    static constexpr int rounds = 10;

    static void verifyRecordings(const QStringList& recordings, bool hasBothSides)
    {
        for (int i = 0; i < recordings.size(); ++i) {
            const LiveFile file(recordings.at(i));
            QVERIFY2(file.movie.decodes(), qPrintable(recordings.at(i)));
            QVERIFY2(file.runs().size() == (hasBothSides && i % 2 == 1 ? 2 : 1), qPrintable(file.runsText()));
            for (const QVector<int>& run : file.runs())
                QVERIFY2(run.size() >= fewestPictures, qPrintable(file.runsText()));
        }
    }

    std::unique_ptr<MessageGuard> messages;
};

QTEST_MAIN(TestLiveDevicesRestart)
#include "tst_livedevices_restart.moc"
