#include "core_videobase/abstractvideothread.h"
#include "keptsettings.h"
#include "logpanel.h"
#include "mainwindow.h"
#include "messagelog.h"
#include "support/messageguard.h"
#include "support/rtspserver.h"
#include "support/secrets.h"
#include "videocell.h"
#include "videogrid.h"

#include <QAbstractItemView>
#include <QAction>
#include <QApplication>
#include <QDirIterator>
#include <QFile>
#include <QLabel>
#include <QMetaProperty>
#include <QSettings>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {
/// Whatever an object can show: all its properties that are texts.
QStringList textsOf(const QObject* object)
{
    QStringList texts;
    const QMetaObject* type = object->metaObject();
    for (int i = 0; i < type->propertyCount(); ++i) {
        const QVariant value = type->property(i).read(object);
        if (value.canConvert<QString>())
            texts.append(value.toString());
    }
    return texts;
}

QStringList textsBelow(const QAbstractItemModel* model, const QModelIndex& parent)
{
    QStringList texts;
    for (int row = 0; row < model->rowCount(parent); ++row) {
        for (int column = 0; column < model->columnCount(parent); ++column) {
            const QModelIndex index = model->index(row, column, parent);
            texts << index.data(Qt::DisplayRole).toString() << index.data(Qt::ToolTipRole).toString();
            if (column == 0)
                texts += textsBelow(model, index);
        }
    }
    return texts;
}

/// All texts of all windows, shown or hidden: titles, labels, hints, actions, lists.
QStringList allTexts()
{
    QStringList texts;
    for (const QWidget* widget : QApplication::allWidgets()) {
        texts += textsOf(widget);
        for (const QAction* action : widget->actions())
            texts += textsOf(action);
        if (const auto* view = qobject_cast<const QAbstractItemView*>(widget)) {
            if (view->model())
                texts += textsBelow(view->model(), {});
        }
    }
    return texts;
}

QStringList withSecret(const QStringList& texts) { return texts.filter(Secrets::word); }

QStringList filesBelow(const QString& folder)
{
    QStringList names;
    for (QDirIterator all(folder, QDir::AllEntries | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
         all.hasNext();)
        names.append(all.next());
    return names;
}
} // namespace

/// Cameras with passwords: nothing that the viewer shows, says or writes has them in it, but for its own settings.
class TestViewerSecrets : public QObject
{
    Q_OBJECT

private:
    Source source(const QString& url) const
    {
        Source made;
        made.url = url;
        return made;
    }

    ViewerOptions options() const
    {
        ViewerOptions made;
        made.sources = {source(server.url("secure", Secrets::user(), Secrets::passwordWithSeparators())),
                        source(server.url("secure", Secrets::user(), Secrets::wrongPassword())),
                        source(QString("http://127.0.0.1:1/clip.mp4?user=x&password=%1").arg(Secrets::password())),
                        source(QString("%1:%2@127.0.0.1:1/x").arg(Secrets::user(), Secrets::password()))};
        made.keepsSources = true;
        made.snapshotFolder = folder.filePath("snapshots");
        made.recordingFolder = folder.filePath("recordings");
        return made;
    }

    QString statusText() const { return window->statusBar()->currentMessage(); }

    RtspServer server;
    QTemporaryDir folder;
    std::unique_ptr<MessageGuard> guard;
    std::unique_ptr<MessageLog> log;
    std::unique_ptr<MainWindow> window;

private Q_SLOTS:
    void initTestCase()
    {
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, folder.filePath("config"));
        QCoreApplication::setOrganizationName("vantor-test");
        QCoreApplication::setApplicationName("secrets");
        server.setCredentials(Secrets::user(), Secrets::passwordWithSeparators());
        QVERIFY(server.start());
        AbstractVideoThread::debugInfo = true;
    }

    void init()
    {
        window.reset(); // of a test whose beginning failed
        guard.reset(new MessageGuard);
        guard->allow("打开出错|找流失败|地址有误|error count|no sound output can be opened");
        log.reset(new MessageLog(true));
        window.reset(new MainWindow(options(), log.get()));
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get(), 30000));
        QTRY_COMPARE_WITH_TIMEOUT(window->grid()->cell(0)->state(), CellState::Playing, 30000);
    }

    void cleanup()
    {
        window.reset();
        log.reset();
        VERIFY_NO_UNEXPECTED_MESSAGES(*guard);
        guard.reset(); // what is said after the last test is not for the test's own log
    }

    void search_findsASecret()
    {
        QLabel planted(QString("rtsp://admin:%1@camera").arg(Secrets::password()));
        QCOMPARE(withSecret(allTexts()).size(), 1);
        planted.setText("rtsp://***@camera");
        planted.setWindowTitle(Secrets::user());
        QCOMPARE(withSecret(allTexts()).size(), 1);
    }

    void nothing_showsASecret()
    {
        window->findChild<QAction*>("log")->trigger();
        QTRY_VERIFY_WITH_TIMEOUT(guard->contains("401 Unauthorized"), 30000); // of the second camera
        QTRY_VERIFY_WITH_TIMEOUT(guard->contains("clip.mp4"), 30000);
        QCOMPARE(withSecret(allTexts()), QStringList());
        for (const MessageLog::Line& line : log->lines())
            QVERIFY(!line.text.contains(Secrets::word));
        for (const Source& shown : window->grid()->sources()) { // what a cell's on-screen text is made of
            QVERIFY(!shown.title().contains(Secrets::word));
            QVERIFY(!shown.shownUrl().contains(Secrets::word));
        }
    }

    void nothing_isNamedAfterASecret()
    {
        auto* record = window->findChild<QAction*>("record");
        QTRY_VERIFY_WITH_TIMEOUT(record->isEnabled(), 30000);
        record->trigger();
        QTRY_VERIFY_WITH_TIMEOUT(!filesBelow(folder.filePath("recordings")).isEmpty(), 30000);
        window->findChild<QAction*>("snapshot")->trigger();
        QTRY_VERIFY_WITH_TIMEOUT(statusText().startsWith("Snapshot: "), 30000);
        record->trigger();
        QTRY_VERIFY_WITH_TIMEOUT(statusText().startsWith("Recorded: "), 30000);
        QVERIFY(filesBelow(folder.path()).filter("snapshots/").size() > 1);
        QCOMPARE(withSecret(filesBelow(folder.path())), QStringList());
        QCOMPARE(withSecret(allTexts()), QStringList());
    }

    /// The password is needed at the next start.
    void settings_keepThePassword_forTheUserAlone()
    {
        window->close();
        const QString name = QSettings().fileName();
        QCOMPARE(KeptSettings::read().sources.first().url, options().sources.first().url);
        QCOMPARE(QFile::permissions(name) & ~(QFile::ReadUser | QFile::WriteUser),
                 QFile::Permissions(QFile::ReadOwner | QFile::WriteOwner));
    }
};

QTEST_MAIN(TestViewerSecrets)
#include "tst_viewersecrets.moc"
