#include "qttoolkit/quihelper.h"

#include "qttoolkit/hostname.h"
#include "qttoolkit/svgicon.h"

#include <QAbstractButton>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QIcon>
#include <QLabel>

#include <memory>

QString QUIHelper::urlToIp(const QString& url) { return hostOfAddress(url); }

void QUIHelper::setSvgIcon(QWidget* widget, const QString& resource)
{
    auto engine = std::make_unique<SvgIconEngine>(widget, resource);
    if (!engine->isValid())
        return;

    const QIcon icon(engine.release());
    if (auto* button = qobject_cast<QAbstractButton*>(widget)) {
        button->setIcon(icon);
    } else if (auto* label = qobject_cast<QLabel*>(widget)) {
        delete label->findChild<SvgLabelIcon*>(QString(), Qt::FindDirectChildrenOnly);
        new SvgLabelIcon(label, icon);
    }
}

void QUIHelper::checkPath(const QString& path)
{
    const QFileInfo info(path);
    QString directory = info.fileName().contains('.') ? info.path() : path;
    if (path.startsWith("./"))
        directory = QCoreApplication::applicationDirPath() + '/' + directory.mid(2);
    if (!directory.isEmpty())
        QDir().mkpath(directory);
}
