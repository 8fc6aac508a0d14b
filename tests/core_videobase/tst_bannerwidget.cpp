#include "core_videobase/bannerwidget.h"

#include "qttoolkit/quihelper.h"
#include "support/messageguard.h"
#include "support/screen.h"

#include <QEventLoop>
#include <QHBoxLayout>
#include <QLabel>
#include <QMetaMethod>
#include <QPainter>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <QVBoxLayout>

#include <memory>

namespace {

const QString mic = ":/primary/mic.svg";
const QString micClose = ":/primary/mic-close.svg";
const QString volume = ":/primary/volume.svg";
const QString closeVolume = ":/primary/close_volume.svg";

constexpr auto reported = QOverload<const QString&>::of(&BannerWidget::btnClicked);

BannerPara paraWith(const QStringList& names, int position = 0)
{
    BannerPara para;
    para.names = names;
    para.position = position;
    for (const QString& name : names) {
        para.icons << (name.contains("Talk") ? mic : volume);
        para.tips << "tip of " + name;
    }
    return para;
}

QImage shape(const QIcon& icon) { return icon.pixmap(48, 48).toImage().convertToFormat(QImage::Format_Alpha8); }

bool hasIcon(const QPushButton* button, const QString& resource)
{
    QPushButton reference;
    QUIHelper::setSvgIcon(&reference, resource);
    return shape(button->icon()) == shape(reference.icon());
}

QList<QPushButton*> buttonsOf(const BannerWidget& bar) { return bar.findChildren<QPushButton*>(); }

QStringList namesOf(const BannerWidget& bar)
{
    QStringList names;
    for (const QPushButton* button : buttonsOf(bar))
        names << button->objectName();
    return names;
}

QLabel* labelOf(const BannerWidget& bar) { return bar.findChild<QLabel*>(); }

void build(BannerWidget& bar, const BannerPara& para)
{
    bar.setBannerPara(para);
    bar.initButton();
    bar.initStyle();
}

int pixelsOf(const QImage& image, const QColor& color)
{
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            count += Screen::isNear(image.pixelColor(x, y), color, 2);
    }
    return count;
}

// A window with a bar in it, as a display has one; what is checked is what the screen shows.
class Stage
{
public:
    explicit Stage(const BannerPara& para, const QRect& barRect = QRect(0, 0, 400, 25))
        : bar(new BannerWidget(&window))
    {
        window.setGeometry(50, 50, 400, 300);
        QPalette palette;
        palette.setColor(QPalette::Window, QColor(0, 0, 200));
        window.setPalette(palette);
        build(*bar, para);
        bar->setGeometry(barRect);
        window.show();
    }

    bool isShown() { return QTest::qWaitForWindowExposed(&window); }

    QWidget window;
    BannerWidget* bar;
};

} // namespace

class TestBannerWidget : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<MessageGuard> guard;

private Q_SLOTS:
    void init() { guard = std::make_unique<MessageGuard>(); }
    void cleanup() { VERIFY_NO_UNEXPECTED_MESSAGES(*guard); }

    // The record

    void bannerPara_hasItsDefaults()
    {
        const BannerPara para;
        QCOMPARE(para.margins, QMargins(5, 0, 3, 0));
        QCOMPARE(para.spacing, 2);
        QCOMPARE(para.bannerBgAlpha, 100);
        QCOMPARE(para.bannerBgColor, QColor("#333333"));
        QCOMPARE(para.bannerTextColor, QColor("#FFFFFF"));
        QCOMPARE(para.bannerPressColor, QColor("#5EC7D9"));
        QCOMPARE(para.position, 0);
        QVERIFY(para.icons.isEmpty());
        QVERIFY(para.names.isEmpty());
        QVERIFY(para.tips.isEmpty());
        QCOMPARE(para.tag, QString());
    }

    void getBannerPara_givesEveryFieldBack()
    {
        BannerPara para = paraWith({"btnTalk"}, 3);
        para.margins = QMargins(1, 2, 3, 4);
        para.spacing = 9;
        para.bannerBgAlpha = 7;
        para.bannerBgColor = Qt::red;
        para.bannerTextColor = Qt::green;
        para.bannerPressColor = Qt::blue;
        para.tag = "carried";
        BannerWidget bar;
        bar.setBannerPara(para);

        const BannerPara got = bar.getBannerPara();
        QCOMPARE(got.margins, para.margins);
        QCOMPARE(got.spacing, para.spacing);
        QCOMPARE(got.bannerBgAlpha, para.bannerBgAlpha);
        QCOMPARE(got.bannerBgColor, para.bannerBgColor);
        QCOMPARE(got.bannerTextColor, para.bannerTextColor);
        QCOMPARE(got.bannerPressColor, para.bannerPressColor);
        QCOMPARE(got.position, para.position);
        QCOMPARE(got.icons, para.icons);
        QCOMPARE(got.names, para.names);
        QCOMPARE(got.tips, para.tips);
        QCOMPARE(got.tag, para.tag);
    }

    void setBannerPara_onlyKeepsTheRecord()
    {
        BannerWidget bar;
        const QString sheet = bar.styleSheet();
        BannerPara para = paraWith({"btnTalk"});
        para.bannerBgAlpha = 1;
        bar.setBannerPara(para);
        QVERIFY(buttonsOf(bar).isEmpty());
        QCOMPARE(bar.styleSheet(), sheet);
    }

    // Interface

    void metaObject_listsTheMethodsInOrder()
    {
        const QMetaObject& meta = BannerWidget::staticMetaObject;
        QStringList methods;
        for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
            methods << meta.method(i).methodSignature();
        QCOMPARE(methods,
                 QStringList({"btnClicked(QString)", "setBannerPara(BannerPara)", "initButton()", "initStyle()",
                              "showInfo(QString)", "changeStatus(QString,QString,QString)", "receiveMuted(bool)",
                              "receivePlayFinsh()", "recorderStateChanged(RecorderState,QString)", "btnClicked()"}));
        QCOMPARE(meta.method(meta.methodOffset()).methodType(), QMetaMethod::Signal);
        QCOMPARE(meta.method(meta.methodCount() - 1).methodType(), QMetaMethod::Slot);
        QCOMPARE(meta.method(meta.methodCount() - 1).access(), QMetaMethod::Private);
    }

    void constructor_buildsAnEmptyStyledBar()
    {
        const BannerWidget bar;
        QVERIFY(bar.testAttribute(Qt::WA_StyledBackground));
        QCOMPARE(bar.objectName(), QString("bannerWidget"));
        QVERIFY(qobject_cast<QHBoxLayout*>(bar.layout()));
        QVERIFY(buttonsOf(bar).isEmpty());
        QCOMPARE(bar.property("form").toString(), QString("banner"));
        QVERIFY(!bar.styleSheet().isEmpty());
    }

    // Buttons and layout

    void initButton_leavesTheButtons_whenIconsAndNamesDifferInLength()
    {
        BannerWidget bar;
        build(bar, paraWith({"btnTalk", "btnSound"}));
        const QList<QPushButton*> before = buttonsOf(bar);
        const QLayout* layout = bar.layout();

        BannerPara para = paraWith({"btnTalk", "btnSound", "btnSnap"}, 2);
        para.icons.removeLast();
        build(bar, para);
        QCOMPARE(buttonsOf(bar), before);
        QCOMPARE(bar.layout(), layout);

        para.names.clear();
        build(bar, para);
        QCOMPARE(buttonsOf(bar), before);
        QCOMPARE(namesOf(bar), QStringList({"btnTalk", "btnSound"}));
    }

    void initButton_replacesTheButtons()
    {
        BannerWidget bar;
        build(bar, paraWith({"btnTalk", "btnSound"}));
        const QList<QPointer<QPushButton>> old = {buttonsOf(bar)[0], buttonsOf(bar)[1]};
        build(bar, paraWith({"btnSnap"}));
        QCOMPARE(namesOf(bar), QStringList{"btnSnap"});
        QCOMPARE(bar.layout()->count(), 2);
        QTRY_VERIFY(old[0].isNull() && old[1].isNull());

        build(bar, paraWith({}));
        QVERIFY(buttonsOf(bar).isEmpty());
        QCOMPARE(bar.layout()->count(), 1);
    }

    void initButton_laysAHorizontalBarOut_data() { addPositions({0, 1}); }
    void initButton_laysAHorizontalBarOut()
    {
        QFETCH(int, position);
        BannerWidget bar;
        BannerPara para = paraWith({"btnTalk", "btnSound"}, position);
        para.margins = QMargins(1, 2, 3, 4);
        para.spacing = 7;
        build(bar, para);

        const auto* box = qobject_cast<QHBoxLayout*>(bar.layout());
        QVERIFY(box);
        QCOMPARE(box->contentsMargins(), para.margins);
        QCOMPARE(box->spacing(), 7);
        QCOMPARE(box->count(), 3);
        QCOMPARE(box->itemAt(0)->widget(), labelOf(bar));
        QVERIFY(labelOf(bar)->isVisibleTo(&bar));
        for (int i = 0; i < 2; ++i) {
            const auto* button = qobject_cast<QPushButton*>(box->itemAt(i + 1)->widget());
            verifyButton(button, para, i);
            QCOMPARE(button->minimumWidth(), 20);
            QCOMPARE(button->maximumWidth(), 20);
            QCOMPARE(button->maximumHeight(), QWIDGETSIZE_MAX);
            QCOMPARE(button->sizePolicy().horizontalPolicy(), QSizePolicy::Preferred);
            QCOMPARE(button->sizePolicy().verticalPolicy(), QSizePolicy::Expanding);
        }
    }

    void initButton_laysAVerticalBarOut_withoutTheLabel_data() { addPositions({2, 3}); }
    void initButton_laysAVerticalBarOut_withoutTheLabel()
    {
        QFETCH(int, position);
        BannerWidget bar;
        BannerPara para = paraWith({"btnTalk", "btnSound"}, position);
        para.margins = QMargins(1, 2, 3, 4);
        para.spacing = 7;
        build(bar, para);

        const auto* box = qobject_cast<QVBoxLayout*>(bar.layout());
        QVERIFY(box);
        QCOMPARE(box->contentsMargins(), para.margins);
        QCOMPARE(box->spacing(), 7);
        QCOMPARE(box->count(), 3);
        QVERIFY(box->itemAt(0)->spacerItem());
        QCOMPARE(box->indexOf(labelOf(bar)), -1);
        QVERIFY(!labelOf(bar)->isVisibleTo(&bar));
        for (int i = 0; i < 2; ++i) {
            const auto* button = qobject_cast<QPushButton*>(box->itemAt(i + 1)->widget());
            verifyButton(button, para, i);
            QCOMPARE(button->minimumHeight(), 20);
            QCOMPARE(button->maximumHeight(), 20);
            QCOMPARE(button->maximumWidth(), QWIDGETSIZE_MAX);
            QCOMPARE(button->sizePolicy().horizontalPolicy(), QSizePolicy::Expanding);
            QCOMPARE(button->sizePolicy().verticalPolicy(), QSizePolicy::Preferred);
        }
    }

    void initButton_showsTheLabelAgain_whenTheBarTurnsHorizontal()
    {
        BannerWidget bar;
        bar.showInfo("门口");
        build(bar, paraWith({"btnTalk"}, 2));
        build(bar, paraWith({"btnTalk"}, 1));
        QVERIFY(labelOf(bar)->isVisibleTo(&bar));
        QCOMPARE(bar.layout()->indexOf(labelOf(bar)), 0);
        QCOMPARE(labelOf(bar)->text(), QString("门口"));
    }

    void initButton_leavesToolTipsEmpty_whenThereAreTooFew()
    {
        BannerWidget bar;
        BannerPara para = paraWith({"btnTalk", "btnSound"});
        para.tips = QStringList{"talk"};
        build(bar, para);
        QCOMPARE(buttonsOf(bar)[0]->toolTip(), QString("talk"));
        QCOMPARE(buttonsOf(bar)[1]->toolTip(), QString());
    }

    // Style

    void initStyle_makesTheDefaultSheet()
    {
        const BannerWidget bar;
        QCOMPARE(bar.styleSheet(),
                 QString("#bannerWidget{background:rgba(51,51,51,100);border:none;}"
                         "QLabel{margin:0px;padding:0px;}"
                         "QPushButton,QLabel{color:#ffffff;}"
                         "QPushButton:pressed{color:#5ec7d9;}"
                         "QPushButton{border:none;padding:0px;background:rgba(0,0,0,0);}"));
    }

    void initStyle_makesTheSheetOfTheRecord()
    {
        BannerPara para;
        para.bannerBgAlpha = 0;
        para.bannerBgColor = QColor(1, 20, 255);
        para.bannerTextColor = QColor("#ABCDEF");
        para.bannerPressColor = Qt::red;
        BannerWidget bar;
        bar.setBannerPara(para);
        bar.setProperty("form", QVariant());
        bar.initStyle();
        QCOMPARE(bar.styleSheet(),
                 QString("#bannerWidget{background:rgba(1,20,255,0);border:none;}"
                         "QLabel{margin:0px;padding:0px;}"
                         "QPushButton,QLabel{color:#abcdef;}"
                         "QPushButton:pressed{color:#ff0000;}"
                         "QPushButton{border:none;padding:0px;background:rgba(0,0,0,0);}"));
        QCOMPARE(bar.property("form").toString(), QString("banner"));
    }

    // Clicks

    void click_movesTheButtonToItsOtherState_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("newName");
        QTest::addColumn<QString>("newIcon");
        QTest::newRow("talk") << "btnTalk"
                              << "btnTalkMuted" << micClose;
        QTest::newRow("talk muted") << "btnTalkMuted"
                                    << "btnTalk" << mic;
        QTest::newRow("sound") << "btnSound"
                               << "btnMuted" << closeVolume;
        QTest::newRow("muted") << "btnMuted"
                               << "btnSound" << volume;
        QTest::newRow("longer names") << "left_btnTalk"
                                      << "left_btnTalkMuted" << micClose;
        QTest::newRow("talk muted without btn") << "myTalkMuted"
                                                << "myTalk" << mic;
        QTest::newRow("talk without btn") << "myTalk"
                                          << "myTalk" << QString(":/image/snap.svg");
        QTest::newRow("sound without btn") << "mySound"
                                           << "mySound" << QString(":/image/snap.svg");
        QTest::newRow("muted without btn") << "myMuted"
                                           << "myMuted" << QString(":/image/snap.svg");
        QTest::newRow("not at the end") << "btnTalk2"
                                        << "btnTalk2" << QString(":/image/snap.svg");
        QTest::newRow("other") << "btnSnap"
                               << "btnSnap" << QString(":/image/snap.svg");
    }
    void click_movesTheButtonToItsOtherState()
    {
        QFETCH(QString, name);
        BannerPara para;
        para.names << name;
        para.icons << ":/image/snap.svg";
        BannerWidget bar;
        build(bar, para);
        QSignalSpy spy(&bar, reported);
        QPushButton* button = buttonsOf(bar).first();
        QString nameWhenReported;
        connect(&bar, reported, this, [&] { nameWhenReported = button->objectName(); });

        button->click();
        QTEST(button->objectName(), "newName");
        QFETCH(QString, newName);
        QCOMPARE(spy.size(), 1);
        QCOMPARE(spy[0][0].toString(), newName);
        QCOMPARE(nameWhenReported, newName);
        QFETCH(QString, newIcon);
        QVERIFY(hasIcon(button, newIcon));
    }

    void click_returnsToSound_whenTheSoundButtonIsClickedTwice()
    {
        BannerWidget bar;
        build(bar, paraWith({"btnSound"}));
        QSignalSpy spy(&bar, reported);
        QPushButton* button = buttonsOf(bar).first();
        button->click();
        button->click();
        QCOMPARE(button->objectName(), QString("btnSound"));
        QCOMPARE(spy.size(), 2);
        QCOMPARE(spy[0][0].toString(), QString("btnMuted"));
        QCOMPARE(spy[1][0].toString(), QString("btnSound"));
        QVERIFY(hasIcon(button, volume));
    }

    void changeStatus_keepsTheIcon_whenTheResourceIsMissing()
    {
        BannerWidget bar;
        build(bar, paraWith({"btnSound"}));
        bar.changeStatus("Sound", "Sound", ":/primary/missing.svg");
        QVERIFY(hasIcon(buttonsOf(bar).first(), volume));
    }

    void click_isSafe_whenTheReceiverRebuildsTheButtons_data() { addClicks(); }
    void click_isSafe_whenTheReceiverRebuildsTheButtons()
    {
        Stage stage(paraWith({"btnTalk", "btnSound"}));
        QVERIFY(stage.isShown());
        BannerWidget* bar = stage.bar;
        QSignalSpy spy(bar, reported);
        const QPointer<QPushButton> clicked = buttonsOf(*bar).first();
        bool outlivesItsOwnClick = false;
        connect(bar, reported, bar, [&] {
            build(*bar, paraWith({"btnSnap", "btnSound"}));
            outlivesItsOwnClick = !clicked.isNull();
        });

        clickAs(clicked);
        QCOMPARE(spy.size(), 1);
        QCOMPARE(spy[0][0].toString(), QString("btnTalkMuted"));
        QVERIFY(outlivesItsOwnClick);
        QCOMPARE(namesOf(*bar), QStringList({"btnSnap", "btnSound"}));
        QTRY_VERIFY(clicked.isNull());
    }

    void click_isSafe_whenTheReceiverDeletesTheBar_data() { addClicks(); }
    void click_isSafe_whenTheReceiverDeletesTheBar()
    {
        Stage stage(paraWith({"btnTalk", "btnSound"}));
        QVERIFY(stage.isShown());
        const QPointer<BannerWidget> bar = stage.bar;
        connect(stage.bar, reported, this, [bar] { delete bar; });
        clickAs(buttonsOf(*bar).first());
        QVERIFY(bar.isNull());
    }

    void click_isSafe_whenTheButtonsAreRebuiltInANestedLoop()
    {
        BannerWidget bar;
        build(bar, paraWith({"btnTalk"}));
        const QPointer<QPushButton> clicked = buttonsOf(bar).first();
        connect(&bar, reported, this, [&] {
            QEventLoop loop;
            QTimer::singleShot(0, &loop, [&] { build(bar, paraWith({"btnSnap"})); });
            connect(clicked, &QObject::destroyed, &loop, &QEventLoop::quit);
            QTimer::singleShot(1000, &loop, &QEventLoop::quit);
            loop.exec();
        });
        clicked->click();
        QCOMPARE(namesOf(bar), QStringList{"btnSnap"});
        QTRY_VERIFY(clicked.isNull());
    }

    void click_isNotReported_whenTheButtonWasReplacedWhilePressed()
    {
        BannerWidget bar;
        build(bar, paraWith({"btnTalk"}));
        QSignalSpy spy(&bar, reported);
        QPushButton* button = buttonsOf(bar).first();
        connect(button, &QPushButton::pressed, &bar, [&] { build(bar, paraWith({"btnTalk"})); });
        button->click();
        QCOMPARE(spy.size(), 0);
        QCOMPARE(namesOf(bar), QStringList{"btnTalk"});
    }

    // States set from elsewhere

    void changeStatus_changesTheFirstMatchOnly()
    {
        BannerWidget bar;
        build(bar, paraWith({"btnSnap", "leftSound", "rightSound"}));
        bar.changeStatus("Sound", "Muted", closeVolume);
        QCOMPARE(namesOf(bar), QStringList({"btnSnap", "leftMuted", "rightSound"}));
        QVERIFY(hasIcon(buttonsOf(bar)[1], closeVolume));
        QVERIFY(hasIcon(buttonsOf(bar)[2], volume));
    }

    void changeStatus_comparesTheEndOfTheName()
    {
        BannerWidget bar;
        build(bar, paraWith({"btnSoundLeft", "btnTalkMuted", "btnMuted"}));
        bar.changeStatus("Sound", "Muted", closeVolume);
        QCOMPARE(namesOf(bar), QStringList({"btnSoundLeft", "btnTalkMuted", "btnMuted"}));
        bar.changeStatus("Muted", "Sound", volume);
        QCOMPARE(namesOf(bar), QStringList({"btnSoundLeft", "btnTalkSound", "btnMuted"}));
    }

    void changeStatus_reportsNothing()
    {
        BannerWidget bar;
        build(bar, paraWith({"btnSound"}));
        QSignalSpy spy(&bar, reported);
        bar.changeStatus("Sound", "Muted", closeVolume);
        QCOMPARE(spy.size(), 0);
    }

    void receiveMuted_switchesTheSoundButton()
    {
        BannerWidget bar;
        build(bar, paraWith({"btnTalk", "btnSound"}));
        bar.receiveMuted(true);
        QCOMPARE(namesOf(bar), QStringList({"btnTalk", "btnMuted"}));
        QVERIFY(hasIcon(buttonsOf(bar)[1], closeVolume));
        bar.receiveMuted(true);
        QCOMPARE(namesOf(bar), QStringList({"btnTalk", "btnMuted"}));
        bar.receiveMuted(false);
        QCOMPARE(namesOf(bar), QStringList({"btnTalk", "btnSound"}));
        QVERIFY(hasIcon(buttonsOf(bar)[1], volume));
        bar.receiveMuted(false);
        QCOMPARE(namesOf(bar), QStringList({"btnTalk", "btnSound"}));
    }

    void receivePlayFinsh_returnsTheSoundButtonToItsFirstState()
    {
        BannerWidget bar;
        build(bar, paraWith({"btnTalk", "btnMuted"}));
        bar.receivePlayFinsh();
        QCOMPARE(namesOf(bar), QStringList({"btnTalk", "btnSound"}));
        QVERIFY(hasIcon(buttonsOf(bar)[1], volume));
        bar.receivePlayFinsh();
        QCOMPARE(namesOf(bar), QStringList({"btnTalk", "btnSound"}));
    }

    // Information text

    void showInfo_showsTheText()
    {
        BannerWidget bar;
        QCOMPARE(labelOf(bar)->text(), QString());
        bar.showInfo("1280x720");
        QCOMPARE(labelOf(bar)->text(), QString("1280x720"));
        bar.showInfo("640x480");
        QCOMPARE(labelOf(bar)->text(), QString("640x480"));
    }

    void recorderStateChanged_addsTheNote_onlyWhileRecording_data()
    {
        QTest::addColumn<RecorderState>("state");
        QTest::newRow("idle") << RecorderIdle;
        QTest::newRow("paused") << RecorderPaused;
        QTest::newRow("failed") << RecorderFailed;
    }
    void recorderStateChanged_addsTheNote_onlyWhileRecording()
    {
        QFETCH(RecorderState, state);
        BannerWidget bar;
        bar.showInfo("门口");
        bar.recorderStateChanged(RecorderRecording, "a.mp4");
        QCOMPARE(labelOf(bar)->text(), QString("门口 录制中..."));
        bar.showInfo("仓库");
        QCOMPARE(labelOf(bar)->text(), QString("仓库 录制中..."));
        bar.recorderStateChanged(state, "a.mp4");
        QCOMPARE(labelOf(bar)->text(), QString("仓库"));
    }

    void recorderStateChanged_reachesTheBar_byName()
    {
        BannerWidget bar;
        const char* method = "recorderStateChanged";
        QVERIFY(QMetaObject::invokeMethod(&bar, method, Q_ARG(RecorderState, RecorderRecording), Q_ARG(QString, "")));
        QCOMPARE(labelOf(bar)->text(), QString(" 录制中..."));
    }

    // On the screen

    void screen_showsBackgroundTextAndIcons()
    {
        Stage stage(paraWith({"btnTalk", "btnSound"}));
        stage.bar->showInfo("Camera 1");
        QVERIFY(stage.isShown());
        const QList<QPushButton*> buttons = buttonsOf(*stage.bar);
        QTRY_VERIFY(pixelsOf(Screen::grab(buttons[0]), Qt::white) > 10);
        QVERIFY(pixelsOf(Screen::grab(buttons[1]), Qt::white) > 10);
        QTRY_VERIFY(pixelsOf(Screen::grab(labelOf(*stage.bar)), Qt::white) > 10);

        // 100/255 of #333333 over the blue of the window
        const QColor background = Screen::grab(stage.bar).pixelColor(200, 12);
        QVERIFY2(Screen::isNear(background, QColor(20, 20, 142), 2), qPrintable(background.name()));
        QCOMPARE(buttons[1]->geometry(), QRect(377, 0, 20, 25));
        QCOMPARE(buttons[0]->geometry(), QRect(355, 0, 20, 25));
        keepPicture(stage, "horizontal");
    }

    void screen_showsAPressedButtonInItsColor()
    {
        Stage stage(paraWith({"btnTalk", "btnSound"}));
        QVERIFY(stage.isShown());
        const QColor pressColor("#5EC7D9");
        QPushButton* button = buttonsOf(*stage.bar).first();
        QTRY_VERIFY(pixelsOf(Screen::grab(button), Qt::white) > 10);
        QTest::mousePress(button, Qt::LeftButton);
        QTRY_VERIFY(pixelsOf(Screen::grab(button), pressColor) > 10);
        QCOMPARE(pixelsOf(Screen::grab(button), Qt::white), 0);
        keepPicture(stage, "pressed");
        QTest::mouseRelease(button, Qt::LeftButton);
        QTRY_VERIFY(pixelsOf(Screen::grab(button), Qt::white) > 10);
    }

    void screen_recolorsTheIcons_whenTheStyleChanges()
    {
        Stage stage(paraWith({"btnTalk"}));
        QVERIFY(stage.isShown());
        BannerPara para = stage.bar->getBannerPara();
        para.bannerTextColor = QColor(255, 128, 0);
        stage.bar->setBannerPara(para);
        stage.bar->initStyle();
        QTRY_VERIFY(pixelsOf(Screen::grab(buttonsOf(*stage.bar).first()), QColor(255, 128, 0)) > 10);
    }

    // Displays have a style sheet of their own, which reaches every widget in them.
    void screen_showsTheTextInItsColor_whenTheParentHasAStyleSheet()
    {
        QWidget window;
        window.setGeometry(50, 50, 400, 300);
        window.setStyleSheet("background-color:black;");
        BannerWidget bar(&window);
        bar.setGeometry(0, 0, 400, 25);
        bar.showInfo("Camera 1");
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QTRY_VERIFY(pixelsOf(Screen::grab(labelOf(bar)), Qt::white) > 10);

        BannerPara para;
        para.bannerTextColor = QColor(255, 128, 0);
        build(bar, para);
        QTRY_VERIFY(pixelsOf(Screen::grab(labelOf(bar)), para.bannerTextColor) > 10);

        para.position = 3;
        build(bar, para);
        para.position = 1;
        para.bannerTextColor = QColor(0, 255, 128);
        build(bar, para);
        QTRY_VERIFY(pixelsOf(Screen::grab(labelOf(bar)), para.bannerTextColor) > 10);
    }

    void screen_showsTheButtonsAtTheEnd_whenTheBarIsVertical()
    {
        Stage stage(paraWith({"btnTalk", "btnSound"}, 2), QRect(0, 0, 25, 300));
        QVERIFY(stage.isShown());
        const QList<QPushButton*> buttons = buttonsOf(*stage.bar);
        QTRY_VERIFY(pixelsOf(Screen::grab(buttons[0]), Qt::white) > 10);
        QCOMPARE(buttons[1]->geometry(), QRect(5, 280, 17, 20));
        QCOMPARE(buttons[0]->geometry(), QRect(5, 258, 17, 20));
        QCOMPARE(pixelsOf(Screen::grab(stage.bar).copy(0, 0, 25, 250), Qt::white), 0);
        keepPicture(stage, "vertical");
    }

private:
    static void addPositions(std::initializer_list<int> positions)
    {
        QTest::addColumn<int>("position");
        for (int position : positions)
            QTest::newRow(qPrintable(QString::number(position))) << position;
    }

    static void addClicks()
    {
        QTest::addColumn<bool>("mouse");
        QTest::newRow("mouse") << true;
        QTest::newRow("program") << false;
    }

    static void clickAs(QPushButton* button)
    {
        QFETCH(bool, mouse);
        if (mouse)
            QTest::mouseClick(button, Qt::LeftButton);
        else
            button->click();
    }

    static void verifyButton(const QPushButton* button, const BannerPara& para, int i)
    {
        QVERIFY(button);
        QCOMPARE(button->objectName(), para.names[i]);
        QCOMPARE(button->toolTip(), para.tips[i]);
        QCOMPARE(button->focusPolicy(), Qt::NoFocus);
        QVERIFY(hasIcon(button, para.icons[i]));
    }

    // For a look at the bar: set BANNER_PICTURES to a directory.
    static void keepPicture(const Stage& stage, const QString& name)
    {
        const QString directory = qEnvironmentVariable("BANNER_PICTURES");
        if (!directory.isEmpty())
            QVERIFY(Screen::grab(&stage.window).save(directory + '/' + name + ".png"));
    }
};

QTEST_MAIN(TestBannerWidget)
#include "tst_bannerwidget.moc"
