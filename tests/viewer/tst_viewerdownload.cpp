#include "core_videosave/smalldisk.h"
#include "devnet/mediadevice.h"
#include "downloaddialog.h"
#include "recordingdownload.h"
#include "support/clips.h"
#include "support/fakedevice.h"
#include "support/faultydevice.h"
#include "support/messageguard.h"
#include "support/moviefile.h"
#include "support/screen.h"
#include "theme.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QDateTimeEdit>
#include <QDesktopServices>
#include <QDir>
#include <QElapsedTimer>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPointer>
#include <QProcess>
#include <QProgressBar>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeWidget>
#include <QUrl>

#include <memory>

namespace {

constexpr int channel = 2;
constexpr int endMs = 30000;
constexpr int atOnceMs = 250; // what a person does not notice, on a machine that is busy
const QColor barColor("#22A3A9");
const QColor trackColor("#323A43");

QDateTime at(const QString& time) { return QDateTime(QDate(2024, 3, 5), QTime::fromString(time, "HH:mm:ss")); }

quint64 stampOf(const QString& time)
{
    return quint64(QDateTime(at(time).date(), at(time).time(), Qt::UTC).toMSecsSinceEpoch());
}

VodSdp sdpOf(const QSize& size)
{
    VodSdp sdp;
    sdp.hasVideo = 1;
    sdp.streamId = 1;
    sdp.video = {1, size.width(), size.height(), 0, 1, 0};
    return sdp;
}

} // namespace

/// The dialog that downloads recordings: what it asks, what it says, what it writes.
class TestViewerDownload : public QObject
{
    Q_OBJECT

public:
    QList<QUrl> opened; // by the desktop

public Q_SLOTS:
    void open(const QUrl& url) { opened << url; }

private:
    QString path(const QString& name) const { return folder->filePath(name); }

    QString target() const { return path("downloads"); }

    /// A recording of a clip of five seconds, in the archive of a device.
    void record(const QString& name, const QString& clip) const
    {
        QDir().mkpath(path("archive"));
        QVERIFY(QProcess::execute("ffmpeg",
                                  {"-v", "error", "-y", "-i", clip, "-c", "copy", "-movflags",
                                   "frag_keyframe+delay_moov", path("archive/" + name)})
                == 0);
    }

    QSharedPointer<XNetDevice> archive(const QString& alias = "Office") const
    {
        MediaDeviceConfig config;
        config.alias = alias;
        config.channels = {{}, {}, {"Gate", {"test:"}}};
        config.archive = path("archive");
        return QSharedPointer<XNetDevice>(new MediaDevice(config));
    }

    void show(const QSharedPointer<XNetDevice>& device, const QString& from = "09:10:00",
              const QString& to = "09:10:10")
    {
        dialog = new DownloadDialog(device, channel, "Gate", at(from), at(to), window.get());
        part<QLineEdit>("folder")->setText(target());
        dialog->move(100, 100);
        dialog->show();
        QVERIFY(QTest::qWaitForWindowExposed(dialog));
    }

    void showFake(const QString& from = "09:10:00", const QString& to = "09:10:10") { show(fake, from, to); }

    FrameScript& script() const { return fake->download(channel); }

    void addFrames(const QString& time = "09:10:00") const
    {
        script().add(DeviceStream::shifted(DeviceStream::h264(), stampOf(time)));
    }

    template <typename Widget>
    Widget* part(const QString& name) const
    {
        return dialog->findChild<Widget*>(name);
    }

    void click(const QString& button) const { QTest::mouseClick(part<QPushButton>(button), Qt::LeftButton); }

    bool waitUntilEnded() const
    {
        return QTest::qWaitFor([&] { return !dialog->isRunning(); }, endMs);
    }

    bool download() const
    {
        click("start");
        return waitUntilEnded();
    }

    QString state() const { return part<QLabel>("state")->text(); }

    bool isProblem() const { return part<QLabel>("state")->property("problem").toBool(); }

    int progress() const { return part<QProgressBar>("progress")->value(); }

    QTreeWidget* files() const { return part<QTreeWidget>("files"); }

    QStringList row(int number) const
    {
        const QTreeWidgetItem* item = files()->topLevelItem(number);
        return item ? QStringList{item->text(0), item->text(1), item->text(2)} : QStringList();
    }

    QString writtenTo(const QString& device = "Office") const
    {
        return QString("%1/%2-3/%3/vod").arg(target(), device, QDate::currentDate().toString("yyyy-MM-dd"));
    }

    QStringList onDisk(const QString& device) const
    {
        return QDir(writtenTo(device)).entryList(QDir::Files, QDir::Name);
    }

    void allowRefusal() const
    {
        guard->allow("^vodDownloadStart ret = ");
        guard->allow("^beforeReadFrame err$");
    }

    std::unique_ptr<MessageGuard> guard;
    std::unique_ptr<QTemporaryDir> folder;
    std::unique_ptr<QWidget> window;
    QSharedPointer<FakeDevice> fake;
    QPointer<DownloadDialog> dialog;

private Q_SLOTS:
    void initTestCase()
    {
        applyTheme(*qApp);
        QDesktopServices::setUrlHandler("file", this, "open");
    }

    void init()
    {
        guard.reset(new MessageGuard);
        folder.reset(new QTemporaryDir);
        QVERIFY(folder->isValid());
        opened.clear();
        window.reset(new QWidget);
        window->setGeometry(50, 50, 900, 700);
        window->show();
        fake.reset(new FakeDevice);
        fake->setNames("Fake", "1");
        fake->setDownloadSdp(sdpOf(Clips::size));
    }

    void cleanup()
    {
        fake->endReads(XRet::EndOfRecording);
        delete dialog;
        window.reset();
        // A download that was left behind ends by itself.
        QTRY_VERIFY(qApp->findChildren<RecordingDownload*>().isEmpty());
        VERIFY_NO_UNEXPECTED_MESSAGES(*guard);
    }

    // --- A download

    void download_writesWhatTheArchiveHas()
    {
        record("20240305T091000_20240305T091005_2.mp4", Clips::h264AacMp4());
        record("20240305T091005_20240305T091010_2.mp4", Clips::deviceH265());
        show(archive());
        QCOMPARE(part<QPushButton>("start")->isEnabled(), true);
        QCOMPARE(part<QPushButton>("cancel")->isEnabled(), false);
        QVERIFY(download());

        QCOMPARE(state(), QString("Complete. 10 s in 2 files."));
        QVERIFY(!isProblem());
        QCOMPARE(progress(), part<QProgressBar>("progress")->maximum());
        QCOMPARE(files()->topLevelItemCount(), 2);
        QCOMPARE(onDisk("Office").size(), 2);
        const QList<QString> clips{Clips::h264AacMp4(), Clips::deviceH265()};
        for (int i = 0; i < clips.size(); ++i) {
            const QString file = writtenTo() + '/' + row(i).first();
            QVERIFY2(QFileInfo::exists(file), qPrintable(file));
            QCOMPARE(row(i).at(1), QString("5 s"));
            QCOMPARE(row(i).at(2), QLocale().formattedDataSize(QFileInfo(file).size()));
            const MovieFile movie(file);
            QVERIFY(movie.decodes());
            QCOMPARE(movie.pictureHashes(), MovieFile(clips.at(i)).pictureHashes());
            QVERIFY2(qAbs(movie.videoDuration() - 5.0) < 0.2, qPrintable(QString::number(movie.videoDuration())));
        }
        QCOMPARE(MovieFile(writtenTo() + '/' + row(0).first()).audioStreams(), 1);
        QVERIFY(part<QWidget>("from")->isEnabled());
    }

    void download_isSilent_whenSoundIsOff()
    {
        record("20240305T091000_20240305T091005_2.mp4", Clips::h264AacMp4());
        show(archive());
        part<QCheckBox>("sound")->setChecked(false);
        QVERIFY(download());
        QCOMPARE(MovieFile(writtenTo() + '/' + row(0).first()).audioStreams(), 0);
    }

    void download_saysWhatIsNotThere()
    {
        record("20240305T091000_20240305T091005_2.mp4", Clips::h264Mp4());
        record("20240305T092000_20240305T092005_2.mp4", Clips::h264Mp4());
        guard->allow("^-----cur pts = "); // of the writer, for a gap
        show(archive(), "09:00:00", "09:30:00");
        QVERIFY(download());
        QCOMPARE(progress(), 1000);
        QCOMPARE(state(),
                 QString("Complete. 10 s in one file. Of the rest of the period, 29 min 50 s, there is no recording."));
        QVERIFY(!isProblem());
        QCOMPARE(row(0).at(1), QString("10 s"));
        QVERIFY(qAbs(MovieFile(writtenTo() + '/' + row(0).first()).videoDuration() - 10.5) < 0.2);
    }

    void download_canBeRepeated()
    {
        record("20240305T091000_20240305T091005_2.mp4", Clips::h264Mp4());
        show(archive());
        QVERIFY(download());
        QVERIFY(download());
        QCOMPARE(files()->topLevelItemCount(), 1);
        QCOMPARE(state(), QString("Complete. 5 s in one file. Of the rest of the period, 5 s, there is no recording."));
        part<QDateTimeEdit>("from")->setDateTime(at("09:10:02"));
        QVERIFY(download());
        QCOMPARE(files()->topLevelItemCount(), 2);
    }

    // --- The period and the folder

    void form_saysWhatIsWrong_data()
    {
        QTest::addColumn<QString>("from");
        QTest::addColumn<QString>("to");
        QTest::addColumn<QString>("hint");
        QTest::addColumn<bool>("isValid");
        QTest::newRow("a second") << "05 09:10:00"
                                  << "05 09:10:01"
                                  << "1 s" << true;
        QTest::newRow("a day") << "05 09:10:00"
                               << "06 09:10:00"
                               << "24 h 0 min" << true;
        QTest::newRow("nothing") << "05 09:10:00"
                                 << "05 09:10:00"
                                 << "The period must end after it begins." << false;
        QTest::newRow("turned round") << "05 09:10:01"
                                      << "05 09:10:00"
                                      << "The period must end after it begins." << false;
        QTest::newRow("more than a day") << "05 09:10:00"
                                         << "06 09:10:01"
                                         << "A download covers 24 hours at most." << false;
    }

    void form_saysWhatIsWrong()
    {
        QFETCH(QString, from);
        QFETCH(QString, to);
        showFake();
        const QString format("yyyy-MM-dd HH:mm:ss");
        part<QDateTimeEdit>("from")->setDateTime(QDateTime::fromString("2024-03-" + from, format));
        part<QDateTimeEdit>("to")->setDateTime(QDateTime::fromString("2024-03-" + to, format));
        QTEST(part<QLabel>("hint")->text(), "hint");
        QTEST(part<QPushButton>("start")->isEnabled(), "isValid");
        QTEST(!part<QLabel>("hint")->property("problem").toBool(), "isValid");
        QFETCH(bool, isValid);
        if (isValid)
            return;
        dialog->start(); // whoever calls it
        QVERIFY(!dialog->isRunning());
    }

    void form_needsAFolder()
    {
        showFake();
        part<QLineEdit>("folder")->setText("  ");
        QCOMPARE(part<QLabel>("hint")->text(), QString("Choose the folder that the files go to."));
        QVERIFY(!part<QPushButton>("start")->isEnabled());
    }

    void folder_isRemembered()
    {
        script().addResult(XRet::EndOfRecording);
        showFake();
        QVERIFY(download());
        delete dialog;
        dialog = new DownloadDialog(fake, channel, "Gate", at("09:00:00"), at("10:00:00"));
        QCOMPARE(part<QLineEdit>("folder")->text(), target());
        QCOMPARE(part<QDateTimeEdit>("from")->dateTime(), at("09:00:00"));
        QCOMPARE(part<QDateTimeEdit>("to")->dateTime(), at("10:00:00"));
    }

    void browse_takesTheChosenFolder()
    {
        showFake();
        QVERIFY(QDir().mkpath(path("elsewhere")));
        click("browse");
        auto* chooser = dialog->findChild<QFileDialog*>();
        QVERIFY(chooser);
        chooser->selectFile(path("elsewhere"));
        Q_EMIT chooser->fileSelected(path("elsewhere"));
        QCOMPARE(part<QLineEdit>("folder")->text(), path("elsewhere"));
    }

    // --- How far it is

    void progress_isThePlaceInThePeriod()
    {
        addFrames("09:10:00"); // five of ten seconds
        script().setIdle(FrameScript::Idle::Hold);
        showFake();
        click("start");
        QVERIFY(script().waitUntilConsumed());
        QTRY_VERIFY2_WITH_TIMEOUT(progress() >= 400 && progress() <= 500, qPrintable(QString::number(progress())),
                                  endMs);
        QVERIFY(Screen::waitForColor(part<QWidget>("progress"), {part<QWidget>("progress")->width() / 5, 3}, barColor));
        QVERIFY(Screen::waitForColor(part<QWidget>("progress"), {part<QWidget>("progress")->width() * 4 / 5, 3},
                                     trackColor));
        QTRY_VERIFY2(state().startsWith("At 09:10:04 – "), qPrintable(state()));
        QVERIFY(!part<QWidget>("from")->isEnabled());
        QVERIFY(!part<QPushButton>("start")->isEnabled());
    }

    void progress_jumpsOverWhatIsNotRecorded()
    {
        addFrames("09:55:00");
        script().setIdle(FrameScript::Idle::Hold);
        showFake("09:00:00", "10:00:00");
        click("start");
        QVERIFY(script().waitUntilConsumed());
        QTRY_VERIFY2_WITH_TIMEOUT(progress() >= 916 && progress() <= 919, qPrintable(QString::number(progress())),
                                  endMs);
    }

    void progress_saysThatTheDeviceIsSilent()
    {
        script().setIdle(FrameScript::Idle::Hold);
        showFake();
        click("start");
        QCOMPARE(state(), QString("Waiting for the device…"));
        QCOMPARE(progress(), 0);
    }

    // --- Ending it

    void cancel_keepsWhatWasWritten()
    {
        addFrames();
        script().setIdle(FrameScript::Idle::Timeout);
        showFake();
        click("start");
        QVERIFY(script().waitUntilConsumed());
        click("cancel");
        QVERIFY(waitUntilEnded());
        QCOMPARE(state(), QString("Cancelled. What was written until then stays: 5 s in one file."));
        QVERIFY(!isProblem());
        QCOMPARE(row(0).first(), QString("20240305T091000_20240305T091004_2.mp4"));
        QCOMPARE(onDisk("Fake"), QStringList{row(0).first()});
        const MovieFile movie(writtenTo("Fake") + '/' + row(0).first());
        QVERIFY(movie.decodes());
        QCOMPARE(movie.pictureCount(), Clips::frameCount);
        QVERIFY(progress() < 1000);
        QVERIFY(part<QPushButton>("start")->isEnabled());
        QVERIFY(!part<QPushButton>("cancel")->isEnabled());
    }

    void cancel_doesNotWait()
    {
        const auto faulty = QSharedPointer<FaultyDevice>::create(fake);
        faulty->add(Fault::block(1500)); // the device stays in a read
        addFrames();
        show(faulty);
        click("start");
        QTest::qWait(100);
        QElapsedTimer clock;
        clock.start();
        click("cancel");
        QVERIFY2(clock.elapsed() < atOnceMs, qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(state(), QString("Ending…"));
        QVERIFY(!part<QPushButton>("cancel")->isEnabled());
        QVERIFY(waitUntilEnded());
        QVERIFY(state().startsWith("Cancelled."));
    }

    void close_asksWhileItRuns()
    {
        script().setIdle(FrameScript::Idle::Timeout);
        addFrames();
        showFake();
        click("start");
        QVERIFY(script().waitUntilConsumed());
        QTest::keyClick(dialog, Qt::Key_Escape);
        auto* question = dialog->findChild<QMessageBox*>();
        QVERIFY(question && QTest::qWaitForWindowExposed(question));
        QTest::keyClick(question, Qt::Key_Escape); // goes on
        QVERIFY(dialog->isVisible());
        QTRY_VERIFY(!dialog->findChild<QMessageBox*>());
        dialog->close();
        question = dialog->findChild<QMessageBox*>();
        QVERIFY(question && dialog->isVisible() && QTest::qWaitForWindowExposed(question));
        QTest::mouseClick(question->findChild<QAbstractButton*>("end"), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(dialog.isNull(), endMs);
        QCOMPARE(onDisk("Fake"), QStringList{"20240305T091000_20240305T091004_2.mp4"});
    }

    void question_goesAway_whenTheDownloadEnds()
    {
        script().setIdle(FrameScript::Idle::Hold);
        showFake();
        click("start");
        click("close");
        QVERIFY(dialog->findChild<QMessageBox*>());
        script().end(XRet::EndOfRecording);
        QVERIFY(waitUntilEnded());
        QVERIFY(!dialog->findChild<QMessageBox*>());
        QVERIFY(dialog->isVisible());
    }

    void close_deletesTheDialog()
    {
        showFake();
        QVERIFY(!dialog->isModal());
        click("close");
        QTRY_VERIFY(dialog.isNull());
    }

    void destructor_doesNotWait_data()
    {
        QTest::addColumn<QString>("operation");
        QTest::newRow("while the device is asked") << "vodDownloadStart";
        QTest::newRow("while it is read") << "vodReadDLFrame";
        QTest::newRow("while it is told that this was it") << "vodDownloadStop";
    }

    void destructor_doesNotWait()
    {
        QFETCH(QString, operation);
        std::atomic<bool> isInside{false};
        std::atomic<bool> isReleased{false};
        fake->setOnCall([&](const QString& line) {
            if (!line.startsWith(operation))
                return;
            isInside = true;
            while (!isReleased)
                QThread::msleep(1);
        });
        addFrames();
        script().addResult(XRet::EndOfRecording);
        const QWeakPointer<XNetDevice> device = fake;
        showFake();
        click("start");
        QTRY_VERIFY(isInside.load());
        QElapsedTimer clock;
        clock.start();
        delete dialog;
        const qint64 took = clock.elapsed();
        QTest::qWait(50);
        isReleased = true;
        QVERIFY2(took < atOnceMs, qPrintable(QString::number(took)));
        QTRY_VERIFY_WITH_TIMEOUT(qApp->findChildren<RecordingDownload*>().isEmpty(), endMs);
        QCOMPARE(fake->countOf("vodDownloadStop"), 1);
        fake.reset(new FakeDevice);
        QVERIFY(device.isNull());
    }

    void destructor_isHarmless_atAnyMoment()
    {
        for (int i = 0; i < 20; ++i) {
            addFrames();
            showFake();
            click("start");
            QTest::qWait(i);
            delete dialog;
            QTRY_VERIFY_WITH_TIMEOUT(qApp->findChildren<RecordingDownload*>().isEmpty(), endMs);
            script().clear();
        }
    }

    // --- Why it fails

    void refusal_isExplained_data()
    {
        QTest::addColumn<int>("result");
        QTest::addColumn<QString>("text");
        QTest::newRow("not supported") << 1 << "This device has no recordings to download.";
        QTest::newRow("bad parameter") << 2 << "The device has no such channel, or can't make sense of the period.";
        QTest::newRow("time-out") << 8 << "The device does not answer.";
        QTest::newRow("in use") << 14 << "A download of this channel is running already.";
        QTest::newRow("busy") << 16 << "The device is busy. Try again later.";
        QTest::newRow("too many")
            << 17 << "The device has no connection to spare. Close other streams, playbacks or downloads of it.";
        QTest::newRow("another") << -5 << "The device refuses the download (result -5).";
    }

    void refusal_isExplained()
    {
        QFETCH(int, result);
        allowRefusal();
        fake->setResult("vodDownloadStart", result);
        showFake();
        QVERIFY(download());
        QTEST(state(), "text");
        QVERIFY(isProblem());
        QVERIFY(files()->topLevelItemCount() == 0);
        fake->setResult("vodDownloadStart", XRet::Ok); // and the next attempt is one
        addFrames();
        script().addResult(XRet::EndOfRecording);
        QVERIFY(download());
        QVERIFY2(state().startsWith("Complete. 5 s in one file."), qPrintable(state()));
    }

    void refusal_isExplained_byADeviceThatIsFull()
    {
        allowRefusal();
        record("20240305T091000_20240305T091005_2.mp4", Clips::h264Mp4());
        const QSharedPointer<XNetDevice> device = archive();
        QCOMPARE(device->vodDownloadStart(channel, {at("09:00:00"), at("10:00:00")}), XRet::Ok); // by somebody else
        show(device);
        QVERIFY(download());
        QCOMPARE(state(), QString("A download of this channel is running already."));
        device->vodDownloadStop(channel);
        QVERIFY(download());
        QVERIFY(state().startsWith("Complete."));
    }

    void refusal_isExplained_withoutAnArchive()
    {
        allowRefusal();
        show(QSharedPointer<XNetDevice>(new MediaDevice(MediaDeviceConfig::builtIn(3))));
        QVERIFY(download());
        QCOMPARE(state(), QString("This device has no recordings to download."));
    }

    void end_isExplained_data()
    {
        QTest::addColumn<int>("frames");
        QTest::addColumn<int>("result");
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("isFailure");
        const QString kept = " What was written until then stays: 5 s in one file.";
        QTest::newRow("nothing recorded") << 0 << 18 << 1 << "Nothing was recorded in this period." << true;
        QTest::newRow("silent from the start") << 0 << 8 << 11 << "The device does not send anything any more." << true;
        QTest::newRow("silent later on") << 125 << 8 << 11 << "The device does not send anything any more." + kept
                                         << true;
        QTest::newRow("an error") << 125 << 2 << 1 << "The device broke the download off (result 2)." + kept << true;
        QTest::newRow("no key frame") << -24 << 18 << 1
                                      << "What the device sent has no picture to begin with, so nothing was written."
                                      << true;
    }

    void end_isExplained()
    {
        QFETCH(int, frames);
        QFETCH(int, result);
        QFETCH(int, count);
        const DeviceFrames clip = DeviceStream::shifted(DeviceStream::h264(), stampOf("09:10:00"));
        script().add(frames < 0 ? clip.mid(1, -frames) : clip.mid(0, frames));
        script().addResult(result, count);
        showFake();
        QVERIFY(download());
        QTEST(state(), "text");
        QTEST(isProblem(), "isFailure");
        QCOMPARE(files()->topLevelItemCount(), frames > 0 ? 1 : 0);
        QCOMPARE(onDisk("Fake").size(), frames > 0 ? 1 : 0);
    }

    void description_isMissed_data()
    {
        QTest::addColumn<int>("result");
        QTest::addColumn<QString>("text");
        QTest::newRow("refused") << 5
                                 << "The device does not describe its pictures (result 5), so they can't be written.";
        QTest::newRow("empty") << 0
                               << "The device does not say how its pictures are encoded, so they can't be written.";
    }

    void description_isMissed()
    {
        QFETCH(int, result);
        guard->allow("^vodGetDownloadSdp ret = 5$");
        fake->setResult("vodGetDownloadSdp", result);
        fake->setDownloadSdp({});
        addFrames();
        showFake();
        QVERIFY(download());
        QTEST(state(), "text");
        QVERIFY(isProblem());
    }

    void folder_thatCannotBeMade_isNamed()
    {
        QFile blocker(path("file"));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        guard->allow("^beforeReadFrame err$");
        showFake();
        part<QLineEdit>("folder")->setText(path("file/below"));
        QVERIFY(download());
        QVERIFY2(state().startsWith("The folder " + path("file/below")), qPrintable(state()));
        QVERIFY(isProblem());
        QCOMPARE(fake->countOf("vodDownloadStart"), 0); // the device was not even asked
    }

    void disk_thatIsFull_isNamed()
    {
        guard->allow("^write video ?\\[-(28|27):");
        guard->allow("^lost \\d+ pictures .+: (No space left on device|File too large) \\[");
        guard->allow("^videoIndex = -1, audioIndex = -1$");
        std::unique_ptr<SmallDisk> disk;
        std::unique_ptr<FileSizeLimit> limit;
        QVERIFY(QDir().mkpath(target()));
        if (SmallDisk::isPossible())
            disk = std::make_unique<SmallDisk>(target());
        else
            limit = std::make_unique<FileSizeLimit>(SmallDisk::bytes);
        DeviceFrames frames = DeviceStream::h264();
        while (frames.size() < 4000)
            frames = DeviceStream::joined(frames, frames);
        script().add(DeviceStream::shifted(frames, stampOf("09:10:00")));
        script().addResult(XRet::EndOfRecording);
        showFake("09:00:00", "10:00:00");
        QVERIFY(download());
        limit.reset();
        const QString text = disk ? "The disk is full: there is no room left in " : "The file can't be written in ";
        QVERIFY2(state().startsWith(text + writtenTo("Fake")), qPrintable(state()));
        QVERIFY2(state().contains("What was written until then stays: "), qPrintable(state()));
        QVERIFY(isProblem());
        QCOMPARE(onDisk("Fake"), QStringList{row(0).first()});
        QVERIFY(MovieFile(writtenTo("Fake") + '/' + row(0).first()).pictureCount() > DeviceStream::keyDistance);
        delete dialog;
        disk.reset();
    }

    // --- What was written

    void files_areOpenedByTheDesktop()
    {
        addFrames();
        script().addResult(XRet::EndOfRecording);
        showFake();
        QVERIFY(!part<QPushButton>("showFolder")->isEnabled());
        QVERIFY(download());
        click("showFolder");
        QCOMPARE(opened, QList<QUrl>{QUrl::fromLocalFile(writtenTo("Fake"))});
        const QPoint place = files()->visualItemRect(files()->topLevelItem(0)).center();
        QTest::mouseClick(files()->viewport(), Qt::LeftButton, {}, place);
        QTest::mouseDClick(files()->viewport(), Qt::LeftButton, {}, place);
        QCOMPARE(opened.size(), 2);
        QCOMPARE(opened.last(), QUrl::fromLocalFile(writtenTo("Fake") + "/20240305T091000_20240305T091004_2.mp4"));
    }

    void folderName_isOneOnEverySystem()
    {
        fake->setNames("Gate/East: 2?", "1");
        addFrames();
        script().addResult(XRet::EndOfRecording);
        showFake();
        QVERIFY(download());
        QCOMPARE(onDisk("Gate_East_ 2_").size(), 1);
    }
};

QTEST_MAIN(TestViewerDownload)

#include "tst_viewerdownload.moc"
