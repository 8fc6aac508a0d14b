#include "videogrid.h"

#include "devices.h"
#include "videocell.h"
#include "vieweroptions.h"

#include <QMap>

#include <cmath>

namespace {
constexpr int gap = 3; // pixels between cells
}

VideoGrid::VideoGrid(const Devices& known, const ViewerOptions& options, QWidget* parent)
    : QWidget(parent)
    , devices(known)
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
    auto* cell = new VideoCell(cells.size() + 1, devices, options, this);
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

void VideoGrid::setOptions(const ViewerOptions& options)
{
    transport = options.transport;
    for (VideoCell* cell : qAsConst(cells))
        cell->setOptions(options);
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
    const bool hadFocus = selection && selection->hasFocus();
    if (selection)
        selection->setSelected(false);
    selection = cell;
    selection->setSelected(true);
    if (hadFocus)
        selection->setFocus();
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

void VideoGrid::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    startShownCells();
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
    if (!isVisible()) // which stream of a channel fits is known when the cells have their sizes
        return;
    for (int i = 0; i < shownCells; ++i) {
        if (cells.at(i)->state() == CellState::Stopped)
            cells.at(i)->play();
    }
}

void VideoGrid::open(const QString& address)
{
    const DeviceChannel channel = DeviceChannel::parse(address);
    if (channel.isWholeDevice())
        playChannels(0, channel.device);
    else
        play(cellForNext(), address);
}

VideoCell* VideoGrid::cellForNext() const
{
    const int first = cells.indexOf(selection);
    for (int i = 0; i < shownCells; ++i) {
        VideoCell* cell = cells.at((first + i) % shownCells);
        if (cell->state() == CellState::Empty)
            return cell;
    }
    return selection;
}

void VideoGrid::play(VideoCell* cell, const QString& address)
{
    const DeviceChannel channel = DeviceChannel::parse(address);
    if (channel.isWholeDevice()) {
        playChannels(cells.indexOf(cell), channel.device);
        return;
    }
    cell->setSource(sourceOf(address));
    cell->play();
    select(cell);
}

// The grid grows to as many cells as that takes.
void VideoGrid::playChannels(int firstCell, const QString& device)
{
    const QList<Source> channels = devices.channels(device).mid(0, mostCells);
    const int first = qMin(firstCell, mostCells - channels.size());
    for (int i = 0; i < channels.size(); ++i)
        cells.at(first + i)->setSource(channels.at(i));
    int count = shownCells;
    for (int side = 1; count < first + channels.size(); ++side)
        count = side * side;
    if (count != shownCells || enlarged)
        setCellCount(count);
    startShownCells();
    select(cells.at(first));
}

Source VideoGrid::sourceOf(const QString& address) const
{
    const DeviceChannel channel = DeviceChannel::parse(address);
    if (channel.isValid())
        return devices.channel(channel);
    Source source;
    source.url = address;
    source.transport = transport;
    return source;
}
