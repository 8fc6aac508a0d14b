#pragma once

#include "source.h"

#include <QVector>
#include <QWidget>

class Devices;
class VideoCell;
struct ViewerOptions;

/// 1, 4, 9, 16 or 25 cells side by side, one of them selected, and one of them enlarged over the others if wanted.
///
/// All 25 cells exist from the beginning and keep their sources; those that are not in the grid do not play, and
/// nothing does before the grid is seen for the first time.
class VideoGrid : public QWidget
{
    Q_OBJECT

public:
    static constexpr int mostCells = 25;

    /// @p devices must outlive the grid.
    VideoGrid(const Devices& devices, const ViewerOptions& options, QWidget* parent = nullptr);
    ~VideoGrid() override;

    /// What is new in them counts at once.
    void setOptions(const ViewerOptions& options);

    /// Gives the cells their sources in order; those whose source stays the same play on. The rest are emptied.
    void setSources(const QList<Source>& sources);

    /// The sources of all cells, without the empty cells at the end.
    QList<Source> sources() const;

    int cellCount() const { return shownCells; }
    VideoCell* cell(int index) const { return cells.at(index); }
    VideoCell* selectedCell() const { return selection; }
    bool isEnlarged() const { return enlarged; }

    /// "2 playing, 1 connecting", for people.
    QString summary() const;

public Q_SLOTS:
    void setCellCount(int count);
    void select(VideoCell* cell);

    /// Shows an address in the selected cell if that is empty, else in the next empty one, else in the selected one.
    /// The channels of a whole device fill the grid from its first cell on.
    void open(const QString& address);

    /// Selects the next cell, or the one before.
    void selectNext(int step);

    /// The selected cell fills the grid, or becomes one of the cells again.
    void toggleEnlarged();

    void stopAll();

Q_SIGNALS:
    void selectionChanged(VideoCell* cell);
    void stateChanged(VideoCell* cell);
    void layoutChanged();
    void message(const QString& text);
    void snapshotWanted(VideoCell* cell);
    void menuWanted(VideoCell* cell, const QPoint& globalPosition);

protected:
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void addCell(const ViewerOptions& options);
    void layOut();
    void startShownCells();
    VideoCell* cellForNext() const;
    void play(VideoCell* cell, const QString& address);
    void playChannels(int firstCell, const QString& device);
    Source sourceOf(const QString& address) const;

    const Devices& devices;
    QVector<VideoCell*> cells; // children
    int shownCells;
    VideoCell* selection = nullptr;
    bool enlarged = false;
    QString transport; // of dropped addresses
};
