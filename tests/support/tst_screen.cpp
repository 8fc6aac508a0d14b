#include "support/messageguard.h"
#include "support/screen.h"

#include <QTest>
#include <QTimer>
#include <QWidget>

#include <memory>

class TestScreen : public QObject
{
    Q_OBJECT

private:
    static void paint(QWidget& widget, const QColor& color)
    {
        QPalette palette = widget.palette();
        palette.setColor(QPalette::Window, color);
        widget.setPalette(palette);
    }

    std::unique_ptr<MessageGuard> guard;

private Q_SLOTS:
    void init() { guard.reset(new MessageGuard); }
    void cleanup() { VERIFY_NO_UNEXPECTED_MESSAGES(*guard); }

    void waitForColor_seesTheTopmostWindow_whenWidgetIsCovered()
    {
        QWidget widget;
        widget.setGeometry(100, 100, 200, 150);
        paint(widget, Qt::red);
        widget.show();
        QVERIFY(Screen::waitForColor(&widget, QPoint(20, 20), Qt::red));
        QCOMPARE(Screen::grab(&widget).size(), widget.size());

        QWidget cover(nullptr, Qt::FramelessWindowHint | Qt::X11BypassWindowManagerHint);
        cover.setGeometry(110, 110, 50, 50);
        paint(cover, Qt::blue);
        QTimer::singleShot(50, &cover, &QWidget::show);
        QVERIFY(Screen::waitForColor(&widget, QPoint(20, 20), Qt::blue));
        QVERIFY(Screen::waitForColor(&widget, QPoint(150, 120), Qt::red));
    }

    void waitForColor_givesUp_whenColorNeverComes()
    {
        QWidget widget;
        widget.setGeometry(100, 100, 100, 100);
        paint(widget, Qt::green);
        widget.show();
        QVERIFY(Screen::waitForColor(&widget, QPoint(50, 50), Qt::green));
        QVERIFY(!Screen::waitForColor(&widget, QPoint(50, 50), Qt::red, 24, 100));
    }
};

QTEST_MAIN(TestScreen)
#include "tst_screen.moc"
