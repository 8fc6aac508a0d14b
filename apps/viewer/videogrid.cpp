#include "videogrid.h"

#include "videocell.h"
#include "vieweroptions.h"

#include <QMap>

#include <cmath>

namespace {
constexpr int gap = 3; // pixels between cells
}

VideoGrid::VideoGrid(const ViewerOptions& options, QWidget* parent)
    : QWidget(parent)
    , shownCells(options.cellCount)
    , transport(options.transport)
{
    setObjectName("grid");
    while (cells.size() < mostCells)
        addCell(options);
    select(cells.first());
}

VideoGrid::~VideoGrid()
{
    for (VideoCell* cell : qAsConst(cells))
        cell->disconnect(this);
}

void VideoGrid::addCell(const ViewerOptions& options)
{
    auto* cell = new VideoCell(cells.size() + 1, options, this);
    cell->hide();
    cells.append(cell);

    connect(cell, &VideoCell::selected, this, [this, cell] { select(cell); });
    connect(cell, &VideoCell::stateChanged, this, [this, cell] { Q_EMIT stateChanged(cell); });
    connect(cell, &VideoCell::message, this, &VideoGrid::message);
    connect(cell, &VideoCell::snapshotWanted, this, [this, cell] { Q_EMIT snapshotWanted(cell); });
    connect(cell, &VideoCell::menuWanted, this, [this, cell](const QPoint& at) { Q_EMIT menuWanted(cell, at); });
    connect(cell, &VideoCell::dropped, this, [this, cell](const QString& address) { play(cell, address); });
    connect(cell, &VideoCell::enlargeWanted, this, [this, cell] {
        select(cell);
        toggleEnlarged();
    });
}

void VideoGrid::setSources(const QList<Source>& sources)
{
    for (int i = 0; i < cells.size(); ++i) {
        const Source source = sources.value(i);
        if (cells.at(i)->source() != source)
            cells.at(i)->setSource(source);
    }
    startShownCells();
}

QList<Source> VideoGrid::sources() const
{
    QList<Source> list;
    for (const VideoCell* cell : cells)
        list.append(cell->source());
    while (!list.isEmpty() && list.last().isEmpty())
        list.removeLast();
    return list;
}

QString VideoGrid::summary() const
{
    QMap<CellState, int> counts;
    for (int i = 0; i < shownCells; ++i)
        ++counts[cells.at(i)->state()];
    counts.remove(CellState::Empty);
    QStringList parts;
    for (auto count = counts.cbegin(); count != counts.cend(); ++count)
        parts.append(QString("%1: %2").arg(cellStateText(count.key())).arg(count.value()));
    return parts.join("   ");
}

void VideoGrid::setCellCount(int count)
{
    shownCells = count;
    enlarged = false;
    if (cells.indexOf(selection) >= count)
        select(cells.first());
    for (int i = count; i < cells.size(); ++i)
        cells.at(i)->stop();
    layOut();
    startShownCells();
    Q_EMIT layoutChanged();
}

void VideoGrid::select(VideoCell* cell)
{
    if (cell == selection)
        return;
    if (selection)
        selection->setSelected(false);
    selection = cell;
    selection->setSelected(true);
    if (enlarged)
        layOut();
    Q_EMIT selectionChanged(cell);
}

void VideoGrid::selectNext(int step)
{
    const int index = cells.indexOf(selection) + step;
    VideoCell* cell = cells.at((index + shownCells) % shownCells);
    select(cell);
    cell->setFocus();
}

void VideoGrid::toggleEnlarged()
{
    enlarged = !enlarged && shownCells > 1;
    layOut();
    Q_EMIT layoutChanged();
}

void VideoGrid::stopAll()
{
    for (VideoCell* cell : qAsConst(cells))
        cell->stop();
}

void VideoGrid::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    layOut();
}

void VideoGrid::layOut()
{
    const int columns = enlarged ? 1 : int(std::lround(std::sqrt(shownCells)));
    for (int i = 0; i < cells.size(); ++i) {
        VideoCell* cell = cells.at(i);
        const int place = enlarged ? 0 : i;
        const int left = (width() + gap) * (place % columns) / columns;
        const int right = (width() + gap) * (place % columns + 1) / columns - gap;
        const int top = (height() + gap) * (place / columns) / columns;
        const int bottom = (height() + gap) * (place / columns + 1) / columns - gap;
        const bool isShown = enlarged ? cell == selection : i < shownCells;
        if (isShown)
            cell->setGeometry(left, top, right - left, bottom - top);
        cell->setVisible(isShown);
    }
    selection->setFocus();
}

void VideoGrid::startShownCells()
{
    for (int i = 0; i < shownCells; ++i) {
        if (cells.at(i)->state() == CellState::Stopped)
            cells.at(i)->play();
    }
}

void VideoGrid::play(VideoCell* cell, const QString& address)
{
    Source source;
    source.url = address;
    source.transport = transport;
    cell->setSource(source);
    cell->play();
    select(cell);
}
