#include "snapshots.h"

#include "cellview.h"
#include "videocell.h"

#include <QDir>
#include <QTimer>

namespace {
constexpr int patience = 3000; // milliseconds
}

Snapshots::Snapshots(const QString& folder, QObject* parent)
    : QObject(parent)
    , path(folder)
{
}

void Snapshots::setFolder(const QString& folder)
{
    path = folder;
    Q_EMIT message(tr("Snapshots go to %1").arg(QDir::toNativeSeparators(path)));
}

void Snapshots::take(VideoCell* cell)
{
    if (!cell->isPlaying()) {
        Q_EMIT message(tr("No snapshot: nothing is playing in cell %1").arg(cell->number()));
        return;
    }
    if (pending.contains(cell))
        return;
    auto* timer = new QTimer(this);
    timer->setSingleShot(true);
    pending.insert(cell, timer);
    connect(timer, &QTimer::timeout, this, [this, cell] { missed(cell); });
    connect(cell, &VideoCell::snapImage, timer, [this, cell](const QImage& image, const QString& file) {
        image.isNull() ? missed(cell) : written(cell, file); // the picture is what could be read back
    });
    timer->start(patience);
    cell->view()->snap(path);
}

void Snapshots::written(VideoCell* cell, const QString& file)
{
    pending.take(cell)->deleteLater();
    Q_EMIT message(tr("Snapshot: %1").arg(QDir::toNativeSeparators(file)));
}

void Snapshots::missed(VideoCell* cell)
{
    pending.take(cell)->deleteLater();
    Q_EMIT message(tr("The snapshot could not be written to %1").arg(QDir::toNativeSeparators(path)));
}
