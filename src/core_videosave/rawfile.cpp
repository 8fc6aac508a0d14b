#include "core_videosave/rawfile.h"

#include <QDir>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QThread>

namespace {
Q_LOGGING_CATEGORY(lcRaw, "vantor.save.raw")

constexpr unsigned long restMs = 5;
} // namespace

std::atomic<bool> RawFile::directWriting{true};

bool RawFile::open(QFile& file, const QString& name)
{
    file.setFileName(name);
    if (!name.isEmpty() && QDir().mkpath(QFileInfo(name).absolutePath()) && file.open(QFile::WriteOnly))
        return true;
    qCCritical(lcRaw).noquote() << QString("could not open %1: %2").arg(name, file.errorString());
    return false;
}

void RawFile::rest() { QThread::msleep(restMs); }
