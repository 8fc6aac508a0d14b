#include "core_videosave/probedfile.h"
#include "support/clips.h"
#include "support/rtspserver.h"
#include "support/screen.h"
#include "support/testpicture.h"
#include "support/waiting.h"

#include <QDir>
#include <QDirIterator>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

/// The programs that integrators copy, run as they would be. Windows lie in the top left corner, as there is no window
/// manager.
class TestExamples : public QObject
{
    Q_OBJECT

private:
    static constexpr int startMs = 30000;
    static constexpr int glTolerance = 72; // the renderer leaves limited-range pictures a little pale

    /// Whether two different test pictures are seen in the middle of an example's window of 960x540, before it is
    /// ended.
    bool showsMovingPictures(const QString& program, const QStringList& arguments)
    {
        QProcess process;
        process.setProcessChannelMode(QProcess::ForwardedChannels);
        process.setWorkingDirectory(folder.path());
        process.start(program, arguments);
        int first = -1;
        const auto isMoving = [&] {
            const QImage picture = Screen::grab().copy(320, 150, Clips::size.width(), Clips::size.height());
            const int number = TestPicture::number(picture);
            if (number < 0 || !TestPicture::hasColors(picture, glTolerance))
                return false;
            if (first < 0)
                first = number;
            return number != first;
        };
        const bool moved
            = Waiting::until([&] { return process.state() == QProcess::NotRunning || isMoving(); }, startMs);
        const bool isRunning = process.state() == QProcess::Running;
        process.terminate();
        Waiting::until([&] { return process.state() == QProcess::NotRunning; }, startMs);
        return moved && isRunning;
    }

    /// The exit status of a program that ends by itself; -1 when it doesn't.
    int run(const QString& program, const QStringList& arguments)
    {
        QProcess process;
        process.setProcessChannelMode(QProcess::ForwardedChannels);
        process.start(program, arguments);
        if (!Waiting::until([&] { return process.state() == QProcess::NotRunning; }, startMs))
            return -1;
        return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }

    /// Five seconds of channel 1, from 09:10:00 on.
    void makeArchive()
    {
        QVERIFY(QProcess::execute("ffmpeg", {"-v", "error", "-y", "-i", Clips::h264Mp4(), "-c", "copy", "-movflags",
                                             "frag_keyframe+delay_moov",
                                             folder.filePath("20240305T091000_20240305T091005_1.mp4")})
                == 0);
    }

    RtspServer rtsp;
    QTemporaryDir folder;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(folder.isValid());
        QVERIFY(rtsp.start());
        makeArchive();
    }

    void minimal_showsAnAddress() { QVERIFY(showsMovingPictures(MINIMAL_EXAMPLE, {rtsp.url("h264")})); }

    void live_showsACamera() { QVERIFY(showsMovingPictures(LIVE_EXAMPLE, {rtsp.url("h264")})); }

    void customdevice_showsItsFrames()
    {
        QVERIFY(showsMovingPictures(CUSTOMDEVICE_EXAMPLE, {Clips::deviceH264(), "320", "240"}));
    }

    void playback_showsTheArchive()
    {
        QVERIFY(showsMovingPictures(PLAYBACK_EXAMPLE, {folder.path(), "1", "2024-03-05T09:10:01"}));
    }

    void record_writesAFileThatPlays()
    {
        const QString file = folder.filePath("recorded.mp4");
        QCOMPARE(run(RECORD_EXAMPLE, {rtsp.url("h264_pcma"), file, "2"}), 0);
        const ProbedFile recorded(file);
        QCOMPARE(recorded.codecs(), QStringList({"h264", "aac"}));
        QCOMPARE(recorded.complaints(), QByteArray());
        QVERIFY2(recorded.decodedPictures() >= 40, qPrintable(QString::number(recorded.decodedPictures())));
    }

    void download_fetchesTheArchive()
    {
        const QString target = folder.filePath("fetched");
        QCOMPARE(run(DOWNLOAD_EXAMPLE, {folder.path(), "1", "2024-03-05T09:10:00", "2024-03-05T09:10:05", target}), 0);
        QDirIterator files(target, {"*.mp4"}, QDir::Files, QDirIterator::Subdirectories);
        QVERIFY(files.hasNext());
        const ProbedFile fetched(files.next());
        QCOMPARE(fetched.decodedPictures(), Clips::frameCount);
        QVERIFY(!files.hasNext());
    }

    void download_fails_whereNothingWasRecorded()
    {
        const QString target = folder.filePath("nothing");
        run(DOWNLOAD_EXAMPLE, {folder.path(), "1", "2024-03-06T09:10:00", "2024-03-06T09:10:05", target});
        QVERIFY(!QDirIterator(target, {"*.mp4"}, QDir::Files, QDirIterator::Subdirectories).hasNext());
    }

    void speechtoaac_writesSoundThatPlays()
    {
        const QString file = folder.filePath("speech.aac");
        QProcess process;
        process.setStandardInputFile(Clips::deviceALaw());
        process.setStandardOutputFile(file);
        process.start(SPEECHTOAAC_EXAMPLE, QStringList());
        QVERIFY(Waiting::until([&] { return process.state() == QProcess::NotRunning; }, startMs));
        QCOMPARE(process.exitCode(), 0);
        const ProbedFile speech(file);
        QCOMPARE(speech.codecs(), QStringList({"aac"}));
        const QVector<qint16> samples = speech.samples(8000);
        QVERIFY2(samples.size() > 34000 && samples.size() <= 40000, qPrintable(QString::number(samples.size())));
        QVERIFY(toneShare(samples.mid(8000, 8000), 8000, 440) > 0.9);
    }
};

QTEST_MAIN(TestExamples)
#include "tst_examples.moc"
