#include "foldername.h"

#include <QDir>
#include <QRegularExpression>

QString FolderName::absolute(const QString& folder)
{
    return folder.isEmpty() ? folder : QDir::cleanPath(QDir().absoluteFilePath(folder));
}

QString FolderName::ofTitle(QString title)
{
    return title.replace(QRegularExpression("[\\\\/:*?\"<>|]"), "_");
}
