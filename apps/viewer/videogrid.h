#pragma once

#include "source.h"

#include <QVector>
#include <QWidget>

class VideoCell;
struct ViewerOptions;

/// 1, 4, 9 or 16 cells side by side, one of them selected, and one of them enlarged over the others if wanted.
///
/// All 16 cells exist from the beginning and keep their sources; those that are not in the grid do not play.
class VideoGrid : public QWidget
{
    Q_OBJECT

public:
    static constexpr int mostCells = 16;

    explicit VideoGrid(const ViewerOptions& options, QWidget* parent = nullptr);
    ~VideoGrid() override;

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

private:
    void addCell(const ViewerOptions& options);
    void layOut();
    void startShownCells();
    void play(VideoCell* cell, const QString& address);

    QVector<VideoCell*> cells; // children
    int shownCells;
    VideoCell* selection = nullptr;
    bool enlarged = false;
    const QString transport; // of dropped addresses
};
