#include "timedrun.h"

#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QPixmap>
#include <QScreen>
#include <QTimer>
#include <QWidget>

namespace {
Q_LOGGING_CATEGORY(lcRun, "vantor.viewer.run")

constexpr int beforeTheEnd = 250; // milliseconds
} // namespace

TimedRun::TimedRun(QWidget* window, int seconds, const QString& screenshot)
    : file(screenshot)
    , done(screenshot.isEmpty())
{
    if (!file.isEmpty())
        QTimer::singleShot(seconds * 1000 - beforeTheEnd, this, &TimedRun::grabScreen);
    QTimer::singleShot(seconds * 1000, window, &QWidget::close);
}

void TimedRun::grabScreen()
{
    QDir().mkpath(QFileInfo(file).absolutePath());
    done = QGuiApplication::primaryScreen()->grabWindow(0).save(file, "PNG");
    if (!done)
        qCWarning(lcRun).noquote() << QString("the screenshot could not be written to %1").arg(file);
}
