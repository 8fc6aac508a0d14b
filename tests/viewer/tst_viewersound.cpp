#include "core_videobase/abstractvideowidget.h"
#include "devnet/mediadevice.h"
#include "levelmeter.h"
#include "mainwindow.h"
#include "support/messageguard.h"
#include "support/screen.h"
#include "support/soundserver.h"
#include "support/tone.h"
#include "theme.h"
#include "vantor.h"
#include "videocell.h"
#include "videogrid.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QPushButton>
#include <QSettings>
#include <QSlider>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

/// The viewer with a sound server: what its sound keys, buttons and the volume bar do is measured there.
class TestViewerSound : public QObject
{
    Q_OBJECT

private:
    double heard()
    {
        if (!server.startRecording())
            return -1;
        QTest::qWait(500);
        return Tone::peak(server.stopRecording());
    }

    VideoCell* cell(int index) const { return window->grid()->cell(index); }

    void press(Qt::Key key) const { QTest::keyClick(window.get(), key); }

    QPushButton* button(const QString& name) const { return cell(0)->display()->findChild<QPushButton*>(name); }

    QTemporaryDir folder;
    SoundServer server;
    std::unique_ptr<MessageGuard> guard;
    std::unique_ptr<MainWindow> window;

private Q_SLOTS:
    void initTestCase()
    {
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, folder.path());
        applyTheme(*qApp);
        QVERIFY(Vantor::init());
        QVERIFY2(server.start(), "there is no sound server to test with");
    }

    void init()
    {
        guard.reset(new MessageGuard);
        MediaDeviceConfig config;
        config.alias = "Gate";
        config.talkFolder = folder.filePath("talks");
        config.channels = {{"One", {"test:320x240,tone=1000"}}, {"Two", {"test:320x240,tone=500"}}};
        ViewerOptions options;
        options.devices = {config};
        options.cellCount = 4;
        options.snapshotFolder = folder.path();
        window.reset(new MainWindow(options));
        window->move(0, 0);
        window->show();
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        for (int index : {0, 1})
            QTRY_COMPARE_WITH_TIMEOUT(cell(index)->state(), CellState::Playing, 20000);
        window->grid()->select(cell(0));
    }

    void cleanup()
    {
        window->close();
        window.reset();
        VERIFY_NO_UNEXPECTED_MESSAGES(*guard);
        QTRY_COMPARE(server.outputStreams(), 0);
    }
    void cleanupTestCase() { Vantor::release(); }

    void sound_isOff_untilTheKeyOrTheButtonIsPressed()
    {
        QCOMPARE(heard(), 0.0);
        press(Qt::Key_M);
        QVERIFY(!cell(0)->isMuted());
        QTRY_VERIFY_WITH_TIMEOUT(heard() > 0.05, 10000);
        button("btnSound")->click();
        QVERIFY(cell(0)->isMuted());
        QTest::qWait(300);
        QCOMPARE(heard(), 0.0);
        button("btnMuted")->click();
        QTRY_VERIFY_WITH_TIMEOUT(heard() > 0.05, 10000);
    }

    void volumeBar_isThatOfTheSelectedCell()
    {
        auto* slider = window->findChild<QSlider*>("volume");
        QVERIFY(slider);
        QCOMPARE(slider->value(), 100);
        press(Qt::Key_M);
        QTRY_VERIFY_WITH_TIMEOUT(heard() > 0.05, 10000);
        const double full = heard();
        slider->setValue(40);
        QCOMPARE(cell(0)->volume(), 40);
        QTest::qWait(300);
        QVERIFY(heard() < full / 2);
        window->grid()->select(cell(1));
        QCOMPARE(slider->value(), 100);
        slider->setValue(0);
        QCOMPARE(cell(0)->volume(), 40);
        window->grid()->select(cell(0));
        QCOMPARE(slider->value(), 40);
    }

    void levelMeter_movesWithTheSelectedCell()
    {
        auto* meter = window->findChild<LevelMeter*>("level");
        QVERIFY(meter);
        QTRY_VERIFY_WITH_TIMEOUT(meter->shown() > 0.5, 10000); // also while the sound is off
        const QString directory = qEnvironmentVariable("VANTOR_KEEP_SCREENSHOTS");
        if (!directory.isEmpty())
            QVERIFY(Screen::grab(window.get()).save(QDir(directory).filePath("sound.png")));
        window->grid()->select(cell(2)); // empty
        QTRY_COMPARE(meter->shown(), 0.0);
        QTest::qWait(300);
        QCOMPARE(meter->shown(), 0.0);
    }

    void talk_isKeptByTheDevice()
    {
        button("btnTalkMuted")->click();
        QTRY_COMPARE(server.inputStreams(), 1);
        QVERIFY(!cell(0)->isMuted()); // while it is, the microphone is not listened to
        QVERIFY2(window->statusBar()->currentMessage().contains("talk-back is on"),
                 qPrintable(window->statusBar()->currentMessage()));
        const QDir talks(folder.filePath("talks"));
        QTRY_COMPARE(talks.entryList({"*.wav"}, QDir::Files).size(), 1);
        const QString file = talks.filePath(talks.entryList({"*.wav"}, QDir::Files).first());
        QTRY_VERIFY(QFileInfo(file).size() > 4000);
        button("btnTalk")->click();
        QTRY_COMPARE(server.inputStreams(), 0);
    }
};

QTEST_MAIN(TestViewerSound)
#include "tst_viewersound.moc"
