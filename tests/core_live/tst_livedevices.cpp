#include "livefile.h"
#include "shownstream.h"
#include "support/clips.h"
#include "support/messageguard.h"
#include "support/rtspserver.h"
#include "support/screen.h"
#include "vantor.h"

#include <QDateTime>
#include <QFileInfo>
#include <QImage>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

constexpr int recordedPictures = 30;
constexpr int fewestPictures = 15;
constexpr int colorTolerance = 70;

const QString timePattern = "yyyyMMddTHHmmss";

void addProtocols()
{
    QTest::addColumn<int>("protocol");
    QTest::newRow("first family") << int(XTransportProtocol_Rta);
    QTest::newRow("second family") << int(XTransportProtocol_Mbe);
    QTest::newRow("RTSP") << int(XTransportProtocol_Rtsp);
}

QString sizeText(const QSize& size) { return QString("%1x%2").arg(size.width()).arg(size.height()); }

} // namespace

/// A device behind a real RTSP server, through the whole library: on the screen, in recordings and in snapshots.
class TestLiveDevices : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(server.start()); }

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

    void live_isShownRecordedAndPhotographed_data()
    {
        QTest::addColumn<int>("protocol");
        QTest::addColumn<QString>("mount");
        QTest::addColumn<QString>("codec");
        QTest::newRow("first family, with sound") << int(XTransportProtocol_Rta) << "h264_pcma"
                                                  << "h264";
        QTest::newRow("first family, parameter sets in the description") << int(XTransportProtocol_Rta) << "sdp_only"
                                                                         << "h264";
        QTest::newRow("second family, H.265") << int(XTransportProtocol_Mbe) << "h265"
                                              << "hevc";
        QTest::newRow("RTSP, with sound") << int(XTransportProtocol_Rtsp) << "h264_pcma"
                                          << "h264";
        QTest::newRow("RTSP, parameter sets in the description") << int(XTransportProtocol_Rtsp) << "sdp_only"
                                                                 << "h264";
        QTest::newRow("RTSP, H.265") << int(XTransportProtocol_Rtsp) << "h265"
                                     << "hevc";
    }

    void live_isShownRecordedAndPhotographed()
    {
        QFETCH(int, protocol);
        QFETCH(QString, mount);
        QFETCH(QString, codec);
        if (mount == "h264_pcma")
            messages->allow("^-----cur pts = "); // a recording may begin with sound that is later than the picture
        const QTemporaryDir folder;
        ShownStream shown(XTransportProtocol(protocol), {server.url(mount)});
        QVERIFY(shown.start());
        QVERIFY(shown.isMoving());
        QVERIFY(TestPicture::hasColors(Screen::grab(&shown.widget), colorTolerance));

        const QDateTime begin = QDateTime::currentDateTime();
        const int first = shown.pictureNumber();
        QVERIFY(shown.record(folder.path()));
        QVERIFY(shown.waitForPictures(recordedPictures));
        verifySnapshot(shown);
        QVERIFY(shown.endRecording());
        const int last = shown.pictureNumber();

        QCOMPARE(shown.recordings.size(), 1);
        verifyRecordingName(shown.recordings.first(), folder.path(), begin);
        const LiveFile file(shown.recordings.first());
        QVERIFY(file.movie.decodes());
        QCOMPARE(file.movie.videoCodec(), codec);
        QCOMPARE(file.movie.size(), sizeText(Clips::size));
        QCOMPARE(file.movie.audioCodec(), mount == "h264_pcma" ? QString("aac") : QString());
        QVERIFY2(file.runs().size() == 1, qPrintable(file.runsText()));
        QVERIFY2(file.numbers.size() >= fewestPictures, qPrintable(file.runsText()));
        QVERIFY(file.numbers.first() >= first && file.numbers.first() < last);
        // H.264 frames of a device are recorded from the first one on, wherever in its group that is.
        QVERIFY(file.movie.startsWithKeyFrame() || (protocol != XTransportProtocol_Rtsp && codec == "h264"));
    }

    void replay_changesBetweenMainAndSubStream_data() { addProtocols(); }

    void replay_changesBetweenMainAndSubStream()
    {
        QFETCH(int, protocol);
        ShownStream shown(XTransportProtocol(protocol), {server.url("h264"), server.url("other_size")});
        shown.widget.setGeometry(20, 20, 440, 340);
        shown.widget.setScaleMode(ScaleMode_Auto);
        QVERIFY(shown.start());
        const QPoint inBoth(80, 70);
        const QPoint inSubAlone(35, 35);
        QVERIFY(Screen::waitForColor(&shown.widget, inBoth, TestPicture::topLeft(), colorTolerance, limitMs));
        QVERIFY(Screen::waitForColor(&shown.widget, inSubAlone, Qt::black));
        shown.widget.replay(1);
        QVERIFY(Screen::waitForColor(&shown.widget, inSubAlone, TestPicture::topLeft(), colorTolerance, limitMs));
        shown.widget.replay(0);
        QVERIFY(Screen::waitForColor(&shown.widget, inSubAlone, Qt::black, colorTolerance, limitMs));
        QVERIFY(Screen::waitForColor(&shown.widget, inBoth, TestPicture::topLeft(), colorTolerance, limitMs));
        // Both have gone on meanwhile, and each is recorded for itself.
        const QTemporaryDir folder;
        shown.widget.setScaleMode(ScaleMode_Fill); // for the numbers
        QVERIFY(shown.isMoving());
        QVERIFY(shown.record(folder.path()));
        QVERIFY(shown.waitForPictures(recordedPictures));
        QVERIFY(shown.endRecording());
        shown.widget.replay(1);
        QVERIFY(shown.isMoving());
        QVERIFY(shown.record(folder.path()));
        QVERIFY(shown.waitForPictures(recordedPictures));
        QVERIFY(shown.endRecording());
        verifyPlay(shown.recordings, {"h264 " + sizeText(Clips::size), "h264 " + sizeText(Clips::otherSize)});
    }

    void recording_followsTheSize_data() { addProtocols(); }

    void recording_followsTheSize()
    {
        QFETCH(int, protocol);
        const QTemporaryDir folder;
        ShownStream shown(XTransportProtocol(protocol), {server.url("switch")});
        QVERIFY(shown.start());
        QVERIFY(shown.isMoving());
        QVERIFY(shown.record(folder.path()));
        QVERIFY(shown.waitForPictures(recordedPictures));
        QVERIFY(server.switchResolution());
        QVERIFY(shown.waitForRecordings(1));
        QVERIFY(shown.isMoving());
        QVERIFY(shown.waitForPictures(recordedPictures));
        QVERIFY(shown.endRecording());
        QVERIFY(server.switchResolution());
        verifyPlay(shown.recordings, {"h264 " + sizeText(Clips::size), "h264 " + sizeText(Clips::otherSize)});
        if (protocol != XTransportProtocol_Rtsp) { // which opens the address again
            const int last = LiveFile(shown.recordings.first()).numbers.last();
            QCOMPARE(LiveFile(shown.recordings.last()).numbers.first(), last + 1);
        }
    }

    void recording_followsTheCodec_data() { addProtocols(); }

    void recording_followsTheCodec()
    {
        QFETCH(int, protocol);
        messages->allow("is lost, and tried again: ");
        messages->allow("^error count: \\d why: ");
        messages->allow("^打开出错 -> ");
        const QTemporaryDir folder;
        RtspServer changing;
        QVERIFY(changing.start());
        ShownStream shown(XTransportProtocol(protocol), {changing.url("chosen")});
        QVERIFY(shown.start());
        QVERIFY(shown.isMoving());
        QVERIFY(shown.record(folder.path()));
        QVERIFY(shown.waitForPictures(recordedPictures));
        changing.kill();
        changing.setChosen("h265");
        QVERIFY(changing.start());
        QVERIFY(shown.waitForRecordings(1));
        QVERIFY(shown.isMoving());
        QVERIFY(shown.waitForPictures(recordedPictures));
        QVERIFY(shown.endRecording());
        verifyPlay(shown.recordings, {"h264 " + sizeText(Clips::size), "hevc " + sizeText(Clips::size)});
    }

private:
    static constexpr int limitMs = 15000;

    static void verifySnapshot(ShownStream& shown)
    {
        const QTemporaryDir folder;
        const int before = shown.pictureNumber();
        const QDateTime asked = QDateTime::currentDateTime();
        const QString name = shown.snap(folder.path());
        const QDateTime written = QDateTime::currentDateTime();
        const QRegularExpression form("^" + folder.path() + "/(\\d{4}-\\d\\d-\\d\\d)/live/(\\d{8}T\\d{6})_0\\.jpg$");
        const QRegularExpressionMatch match = form.match(name);
        QVERIFY2(match.hasMatch(), qPrintable(name));
        const QDateTime time = QDateTime::fromString(match.captured(2), timePattern);
        QVERIFY(time >= asked.addSecs(-1) && time <= written);
        QCOMPARE(match.captured(1), time.toString("yyyy-MM-dd"));
        const QImage image(name);
        QCOMPARE(image.size(), Clips::size);
        QVERIFY(TestPicture::hasColors(image));
        QVERIFY(TestPicture::number(image) >= before);
        QVERIFY(shown.waitForNumber(TestPicture::number(image)));
    }

    static void verifyRecordingName(const QString& name, const QString& folder, const QDateTime& begin)
    {
        const QDateTime now = QDateTime::currentDateTime();
        const QRegularExpression form("^" + folder
                                      + "/(\\d{4}-\\d\\d-\\d\\d)/live/(\\d{8}T\\d{6})_(\\d{8}T\\d{6})_0\\.mp4$");
        const QRegularExpressionMatch match = form.match(name);
        QVERIFY2(match.hasMatch() && QFileInfo::exists(name), qPrintable(name));
        const QDateTime start = QDateTime::fromString(match.captured(2), timePattern);
        const QDateTime end = QDateTime::fromString(match.captured(3), timePattern);
        QVERIFY(start >= begin.addSecs(-1) && end >= start && end <= now);
        QCOMPARE(match.captured(1), start.toString("yyyy-MM-dd"));
    }

    /// That there are these files, "CODEC SIZE", each with enough pictures and none missing.
    static void verifyPlay(const QStringList& files, const QStringList& forms)
    {
        QCOMPARE(files.size(), forms.size());
        for (int i = 0; i < files.size(); ++i) {
            const LiveFile file(files.at(i));
            QVERIFY2(file.movie.decodes(), qPrintable(files.at(i)));
            QCOMPARE(file.movie.videoCodec() + ' ' + file.movie.size(), forms.at(i));
            QVERIFY2(file.runs().size() == 1, qPrintable(file.runsText()));
            QVERIFY2(file.numbers.size() >= fewestPictures, qPrintable(file.runsText()));
        }
    }

    std::unique_ptr<MessageGuard> messages;
    RtspServer server;
};

QTEST_MAIN(TestLiveDevices)
#include "tst_livedevices.moc"
