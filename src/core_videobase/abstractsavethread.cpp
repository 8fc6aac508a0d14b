#include "core_videobase/abstractsavethread.h"

#include "core_videobase/freedmemory.h"

#include <QFileInfo>
#include <QLoggingCategory>
#include <QMutexLocker>

namespace {
Q_LOGGING_CATEGORY(lcSave, "vantor.save")
}

AbstractSaveThread::AbstractSaveThread(QObject* parent)
    : QThread(parent)
{
}

AbstractSaveThread::~AbstractSaveThread() { AbstractSaveThread::stop(); }

QString AbstractSaveThread::fileName() const
{
    const QMutexLocker lock(&mutex);
    return outputName;
}

void AbstractSaveThread::setFileName(const QString& name)
{
    const QMutexLocker lock(&mutex);
    outputName = name;
}

bool AbstractSaveThread::getIsRunning() const { return running; }

bool AbstractSaveThread::getIsPause() const { return paused; }

void AbstractSaveThread::setFlagText(const QString& text) { flagText = text; }

bool AbstractSaveThread::init() { return true; }

void AbstractSaveThread::save() {}

void AbstractSaveThread::close() {}

void AbstractSaveThread::open(const QString& name)
{
    if (running)
        return;
    // A recording that ended by itself may still be finishing its file.
    wait();
    setFileName(name);
    if (!init())
        return;
    stopped = false;
    running = true;
    start(QThread::InheritPriority);
}

void AbstractSaveThread::pause()
{
    if (!running)
        return;
    paused = !paused;
    debug(paused ? "暂停录制" : "继续录制");
}

void AbstractSaveThread::stop()
{
    if (running && isRunning()) {
        stopped = true;
        paused = false;
    }
    wait();
}

void AbstractSaveThread::run()
{
    qCInfo(lcSave).noquote() << QString("%1 -> file: %2").arg("start record", fileName());
    while (!stopped)
        save();
    stopped = false;
    running = false;
    paused = false;
    close();
    FreedMemory::giveBack();
    qCInfo(lcSave).noquote() << QString("%1 -> file: %2").arg("stop record", fileName());
}

void AbstractSaveThread::debug(const QString& text) const
{
    const QString line = flagText.isEmpty() ? text : QString("标识[%1] %2").arg(flagText, text);
    qCDebug(lcSave).noquote() << line;
}

void AbstractSaveThread::removeEmptyFile(const QString& path) const
{
    const QFileInfo info(path);
    if (!info.isFile() || info.size() != 0)
        return;
    QFile::remove(path);
    debug("失败删除");
}
