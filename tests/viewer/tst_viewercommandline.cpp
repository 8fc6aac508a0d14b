#include "commandline.h"
#include "devicechannel.h"
#include "support/messageguard.h"

#include <QDir>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

class TestViewerCommandLine : public QObject
{
    Q_OBJECT

private:
    /// The message of a parse; a warning, which fails the test, when it came out in another way.
    static QString message(const QStringList& arguments, CommandLine::Outcome wanted, ViewerOptions* read = nullptr)
    {
        CommandLine commandLine;
        const CommandLine::Outcome outcome = commandLine.parse(QStringList{"vantor-viewer"} + arguments);
        if (outcome != wanted)
            qWarning().noquote() << "outcome" << int(outcome) << commandLine.message();
        if (read)
            *read = commandLine.options();
        return commandLine.message();
    }

    static ViewerOptions options(const QStringList& arguments)
    {
        ViewerOptions read;
        message(arguments, CommandLine::Outcome::Run, &read);
        return read;
    }

    static QStringList addresses(int count)
    {
        QStringList list;
        while (list.size() < count)
            list.append(QString("rtsp://127.0.0.1/%1").arg(list.size()));
        return list;
    }

    static QString write(const QTemporaryDir& folder, const QString& name, const char* text)
    {
        QFile file(folder.filePath(name));
        if (!file.open(QIODevice::WriteOnly) || file.write(text) < 0)
            qWarning() << file.errorString();
        return file.fileName();
    }

    std::unique_ptr<MessageGuard> guard;

private Q_SLOTS:
    void init() { guard.reset(new MessageGuard); }
    void cleanup() { VERIFY_NO_UNEXPECTED_MESSAGES(*guard); }

    void options_areTheDefaults_whenNothingIsGiven()
    {
        const ViewerOptions read = options({});
        QCOMPARE(read.sources.size(), 0);
        QCOMPARE(read.devices.size(), 1);
        QVERIFY(read.devices.first() == MediaDeviceConfig::builtIn());
        QVERIFY(read.showDevices);
        QCOMPARE(read.cellCount, 4);
        QCOMPARE(read.mode, VideoMode_Opengl);
        QCOMPARE(read.hardware, QString("none"));
        QCOMPARE(read.readTimeout, 3000);
        QCOMPARE(read.connectTimeout, 3000);
        QCOMPARE(read.seconds, 0);
        QVERIFY(!read.debug);
        QCOMPARE(read.snapshotFolder, QStandardPaths::writableLocation(QStandardPaths::PicturesLocation) + "/vantor");
        QCOMPARE(read.recordingFolder, QStandardPaths::writableLocation(QStandardPaths::MoviesLocation) + "/vantor");
        QVERIFY(read.autoRecordFolder.isEmpty());
        QCOMPARE(read.recordInterval, -1);
    }

    void options_areRead_whenAllAreGiven()
    {
        const ViewerOptions read = options({"--grid",           "9",          "--transport",       "udp",
                                            "--mode",           "image",      "--hardware",        "vaapi",
                                            "--read-timeout",   "0",          "--connect-timeout", "700",
                                            "--snapshots",      "/tmp/s",     "--recordings",      "/tmp/r",
                                            "--record",         "/tmp/all",   "--record-interval", "60",
                                            "--screenshot",     "/tmp/a.png", "--seconds",         "2",
                                            "--capture-format", "v4l2",       "--debug",           "video0|1280x720|25",
                                            "rtsp://a/b"});
        QCOMPARE(read.cellCount, 9);
        QCOMPARE(read.transport, QString("udp"));
        QCOMPARE(read.mode, VideoMode_Image);
        QCOMPARE(read.hardware, QString("vaapi"));
        QCOMPARE(read.readTimeout, 0);
        QCOMPARE(read.connectTimeout, 700);
        QCOMPARE(read.snapshotFolder, QString("/tmp/s"));
        QCOMPARE(read.recordingFolder, QString("/tmp/r"));
        QCOMPARE(read.autoRecordFolder, QString("/tmp/all"));
        QCOMPARE(read.recordInterval, 60);
        QCOMPARE(read.screenshot, QString("/tmp/a.png"));
        QCOMPARE(read.seconds, 2);
        QVERIFY(read.debug);
        QCOMPARE(read.sources.size(), 2);
        QCOMPARE(read.sources.first().url, QString("video0|1280x720|25"));
        QCOMPARE(read.sources.first().transport, QString("udp"));
        QCOMPARE(read.sources.first().captureFormat, QString("v4l2"));
    }

    void grid_isTheSmallestThatFits_whenNotGiven_data()
    {
        QTest::addColumn<int>("sources");
        QTest::addColumn<int>("cells");
        QTest::newRow("1") << 1 << 1;
        QTest::newRow("2") << 2 << 4;
        QTest::newRow("4") << 4 << 4;
        QTest::newRow("5") << 5 << 9;
        QTest::newRow("9") << 9 << 9;
        QTest::newRow("10") << 10 << 16;
        QTest::newRow("16") << 16 << 16;
        QTest::newRow("17") << 17 << 25;
        QTest::newRow("25") << 25 << 25;
    }

    void grid_isTheSmallestThatFits_whenNotGiven()
    {
        QFETCH(int, sources);
        QFETCH(int, cells);
        QCOMPARE(options(addresses(sources)).cellCount, cells);
    }

    void devices_areReadFromTheirFiles()
    {
        const QTemporaryDir folder;
        const QString one = write(folder, "one.json", R"({"alias": "One", "channels": [{"sources": ["test:"]}]})");
        const QString two
            = write(folder, "two.json", R"({"channels": [{"sources": ["a.mp4"]}, {"sources": ["test:"]}]})");
        const ViewerOptions read = options({"--devices", one, "--devices", two});
        QCOMPARE(read.devices.size(), 2);
        QCOMPARE(read.devices.first().alias, QString("One"));
        QCOMPARE(read.devices.last().channels.first().sources, QStringList{folder.filePath("a.mp4")});
        QCOMPARE(read.cellCount, 4); // for three channels
        QVERIFY(read.showDevices);
    }

    void devices_areListedOnlyOnRequest_whenThereAreAddresses()
    {
        QVERIFY(!options({"film.mp4"}).showDevices);
        QCOMPARE(options({"film.mp4"}).cellCount, 1);
        const QTemporaryDir folder;
        const QString file = write(folder, "one.json", R"({"channels": [{"sources": ["test:"]}]})");
        const ViewerOptions read = options({"--devices", file, "device:Device/1/sub"});
        QVERIFY(read.showDevices);
        QCOMPARE(read.sources.first().url, QString("device:Device/1/sub"));
    }

    void kept_holds_whereTheCommandLineSaysNothing()
    {
        ViewerOptions kept;
        kept.transport = "udp";
        kept.mode = VideoMode_Image;
        kept.hardware = "vaapi";
        kept.snapshotFolder = "/tmp/kept";
        kept.sources = {Source()};
        kept.sources.first().url = "rtsp://camera/1";
        kept.cellCount = 9;
        const auto parsed = [&kept](const QStringList& arguments) {
            CommandLine commandLine(kept);
            return commandLine.parse(QStringList{"vantor-viewer"} + arguments) == CommandLine::Outcome::Run
                ? commandLine.options()
                : ViewerOptions();
        };
        const ViewerOptions nothing = parsed({});
        QCOMPARE(nothing.transport, QString("udp"));
        QCOMPARE(nothing.mode, VideoMode_Image);
        QCOMPARE(nothing.hardware, QString("vaapi"));
        QCOMPARE(nothing.snapshotFolder, QString("/tmp/kept"));
        QVERIFY(nothing.sources == kept.sources);
        QCOMPARE(nothing.cellCount, 9);
        QVERIFY(nothing.keepsSources);

        const ViewerOptions all = parsed({"--transport", "tcp", "--mode", "opengl", "--hardware", "none", "--snapshots",
                                          "/tmp/s", "--grid", "1"});
        QCOMPARE(all.transport, QString("tcp"));
        QCOMPARE(all.mode, VideoMode_Opengl);
        QCOMPARE(all.hardware, QString("none"));
        QCOMPARE(all.snapshotFolder, QString("/tmp/s"));
        QCOMPARE(all.cellCount, 1);
        QVERIFY(all.keepsSources);

        const ViewerOptions addressed = parsed({"film.mp4"});
        QCOMPARE(addressed.sources.size(), 1);
        QCOMPARE(addressed.sources.first().url, QString("film.mp4"));
        QCOMPARE(addressed.cellCount, 1);
        QVERIFY(!addressed.keepsSources); // what was shown before is not forgotten
    }

    void parse_saysWhatIsWrong_withADeviceFile()
    {
        const QTemporaryDir folder;
        const QString file = write(folder, "bad.json", R"({"channels": [{"source": "test:"}]})");
        const QString said = message({"--devices", file}, CommandLine::Outcome::Error);
        QVERIFY2(said.startsWith("vantor-viewer: " + file + ": channels[0]: unknown key \"source\""), qPrintable(said));
        const QString missing = message({"--devices", folder.filePath("no.json")}, CommandLine::Outcome::Error);
        QVERIFY2(missing.startsWith("vantor-viewer: " + folder.filePath("no.json") + ": "), qPrintable(missing));
    }

    void parse_says_whatIsWrong_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("text");
        QTest::newRow("grid") << QStringList{"--grid", "5"} << "--grid must be 1, 4, 9, 16 or 25, not \"5\"";
        QTest::newRow("grid word") << QStringList{"--grid", "two"} << "--grid must be";
        QTest::newRow("transport") << QStringList{"--transport", "http"} << "--transport must be tcp or udp";
        QTest::newRow("mode") << QStringList{"--mode", "d3d9"} << "--mode must be image or opengl";
        QTest::newRow("read") << QStringList{"--read-timeout", "-1"} << "--read-timeout must be a whole number";
        QTest::newRow("connect") << QStringList{"--connect-timeout", "1.5"} << "--connect-timeout must be";
        QTest::newRow("seconds") << QStringList{"--seconds", "0"} << "--seconds must be a whole number of at least 1";
        QTest::newRow("screenshot") << QStringList{"--screenshot", "a.png"} << "--screenshot needs --seconds";
        QTest::newRow("no name") << QStringList{"--screenshot", "", "--seconds", "2"} << "needs the name of a file";
        QTest::newRow("record") << QStringList{"--record", ""} << "--record needs the name of a folder";
        QTest::newRow("recordings") << QStringList{"--recordings", ""} << "--recordings needs the name of a folder";
        QTest::newRow("interval") << QStringList{"--record-interval", "0"}
                                  << "--record-interval must be a whole number";
        QTest::newRow("one folder") << QStringList{"--record", "a/../b", "--recordings", QDir::current().filePath("b/")}
                                    << "--record and --recordings must be different";
        QTest::newRow("default folder") << QStringList{"--record",
                                                       QStandardPaths::writableLocation(QStandardPaths::MoviesLocation)
                                                           + "/vantor"}
                                        << "--record and --recordings must be different";
        QTest::newRow("unknown") << QStringList{"--colour", "red"} << "colour";
        QTest::newRow("no value") << QStringList{"--grid"} << "grid";
        QTest::newRow("too many") << addresses(26) << "26 addresses are more than the 25 cells";
        QTest::newRow("empty") << QStringList{""} << "An address is empty";
    }

    void parse_says_whatIsWrong()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, text);
        const QString said = message(arguments, CommandLine::Outcome::Error);
        QVERIFY2(said.contains(text), qPrintable(said));
        QVERIFY(said.startsWith("vantor-viewer: "));
    }

    void program_exitsWithUsageError_whenAnOptionIsWrong()
    {
        QProcess viewer;
        viewer.start(VANTOR_VIEWER, {"--grid", "5"});
        QVERIFY(viewer.waitForFinished(20000));
        QCOMPARE(viewer.exitStatus(), QProcess::NormalExit);
        QCOMPARE(viewer.exitCode(), 2);
        QVERIFY(viewer.readAllStandardOutput().isEmpty());
        QVERIFY(viewer.readAllStandardError().startsWith("vantor-viewer: --grid must be 1, 4, 9, 16 or 25"));
    }

    void program_needsNoDisplay_whenAskedForHelp()
    {
        QProcess viewer;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.remove("DISPLAY");
        environment.insert("QT_QPA_PLATFORM", "xcb");
        viewer.setProcessEnvironment(environment);
        viewer.start(VANTOR_VIEWER, {"--help"});
        QVERIFY(viewer.waitForFinished(20000));
        QCOMPARE(viewer.exitCode(), 0);
        const QString help = QString::fromLocal8Bit(viewer.readAllStandardOutput());
        for (const char* option : {"--devices", "--grid", "--transport", "--mode", "--hardware", "--read-timeout",
                                   "--connect-timeout", "--snapshots", "--record", "--recordings", "--record-interval",
                                   "--screenshot", "--seconds", "--capture-format", "--debug"})
            QVERIFY2(help.contains(option), option);
    }

    void program_speaksTheLanguageThatWasSet()
    {
        const QTemporaryDir folder;
        QVERIFY(QDir(folder.path()).mkpath("vantor"));
        write(folder, "vantor/vantor-viewer.conf", "[settings]\nlanguage=zh_CN\n");
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("XDG_CONFIG_HOME", folder.path());
        environment.insert("LC_ALL", "C.UTF-8");
        QProcess viewer;
        viewer.setProcessEnvironment(environment);
        viewer.start(VANTOR_VIEWER, {"--help"});
        QVERIFY(viewer.waitForFinished(20000));
        const QString help = QString::fromUtf8(viewer.readAllStandardOutput());
        QVERIFY2(help.contains("显示此帮助。"), qPrintable(help));
    }

    void channel_isReadFromItsAddress_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QString>("device");
        QTest::addColumn<int>("channel");
        QTest::addColumn<int>("stream");
        QTest::newRow("device") << "device:Office"
                                << "Office" << -1 << -1;
        QTest::newRow("channel") << "device:Office/2"
                                 << "Office" << 1 << -1;
        QTest::newRow("main") << "device:Office/1/main"
                              << "Office" << 0 << 0;
        QTest::newRow("sub") << "device:Office/16/sub"
                             << "Office" << 15 << 1;
        QTest::newRow("third") << "device:Office/1/3"
                               << "Office" << 0 << 2;
        QTest::newRow("odd name") << "device:大门%2F100%25/3"
                                  << "大门/100%" << 2 << -1;
    }

    void channel_isReadFromItsAddress()
    {
        QFETCH(QString, address);
        const DeviceChannel channel = DeviceChannel::parse(address);
        QVERIFY(channel.isValid());
        QTEST(channel.device, "device");
        QTEST(channel.channel, "channel");
        QTEST(channel.stream, "stream");
        QCOMPARE(channel.isWholeDevice(), channel.channel < 0);
        QCOMPARE(channel.address(), address);
    }

    void channel_isInvalid_whenTheAddressIsNone()
    {
        for (const char* address :
             {"rtsp://host/1", "", "device:", "device:Office/0", "device:Office/-1", "device:Office/x",
              "device:Office/1/third", "device:Office/1/main/2", "device:Office/"})
            QVERIFY2(!DeviceChannel::parse(address).isValid(), address);
    }

    void source_isNamedAfterItsChannel_whenItHasNoName()
    {
        Source source;
        source.url = "device:Office/2/sub";
        QCOMPARE(source.title(), QString("Office 2"));
        source.name = "Gate";
        QCOMPARE(source.title(), QString("Gate"));
    }

    void source_showsNoPassword()
    {
        Source source;
        source.url = "rtsp://admin:a@b:c@10.0.0.1:554/stream?x=1";
        QCOMPARE(source.shownUrl(), QString("rtsp://***@10.0.0.1:554/stream?x=1"));
        QCOMPARE(source.title(), QString("10.0.0.1:554/stream"));
    }

    void source_isNamedAfterItsAddress_whenItHasNoName()
    {
        Source source;
        source.url = "/videos/大门.mp4";
        QCOMPARE(source.title(), QString("大门.mp4"));
        source.url = "video0|1280x720|25";
        QCOMPARE(source.title(), QString("video0"));
        source.name = "Gate";
        QCOMPARE(source.title(), QString("Gate"));
    }
};

QTEST_GUILESS_MAIN(TestViewerCommandLine)
#include "tst_viewercommandline.moc"
