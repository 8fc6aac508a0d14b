#pragma once

#include "cellstate.h"
#include "core_video/urlvideowidget.h"
#include "source.h"

class CellRecorder;
class QContextMenuEvent;

/// One cell of the grid: shows a source, its name, a clock and how it is doing.
///
/// The on-screen items are put back whenever the source starts or ends, because the display forgets them then. GUI
/// thread only.
class VideoCell : public UrlVideoWidget
{
    Q_OBJECT

public:
    /// @p number counts from 1; it stands before the name and in the names of snapshots.
    explicit VideoCell(int number, QWidget* parent = nullptr);
    ~VideoCell() override;

    int number() const { return cellNumber; }

    /// Ends what plays. The new source waits for play().
    void setSource(const Source& source);
    const Source& source() const { return shownSource; }

    /// Starts the source, from its beginning if it is playing. Nothing without a source.
    void play();
    void stop() override;

    /// Pauses a file, or lets it go on; a file that has ended plays again. Nothing on live sources.
    void togglePause();

    CellState state() const { return currentState; }
    bool isPlaying() const { return currentState == CellState::Playing || currentState == CellState::Paused; }

    /// Number, name and state in one line.
    QString description() const;

    /// Marks the cell that keys and buttons work on.
    void setSelected(bool selected);

    /// Folders below which the cell records: what the user wants, and everything, which may be empty for nothing.
    void setRecordingFolders(const QString& manual, const QString& automatic);

    /// Starts or stops recording for the user.
    void toggleRecording();

    /// Whether the user wants a recording; its file is open from the next key frame on, while there is a picture.
    bool isRecording() const;

    bool isMuted() const { return widgetPara.muted; }
    void toggleMuted();

Q_SIGNALS:
    /// The state, or what is recorded.
    void stateChanged();
    void selected();
    void enlargeWanted();
    void snapshotWanted();
    void menuWanted(const QPoint& globalPosition);
    void message(const QString& text);

protected:
    void btnClicked(QString btnName) override;
    void focusInEvent(QFocusEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void initLook();
    void playStarted();
    void playFinished();
    void setState(CellState state);
    void showOsd();
    QString longStateText() const;
    void updateBanner();
    void switchSound(bool on);
    void refuseTalk();
    BannerWidget* banner() const;

    const int cellNumber;
    CellRecorder* const recorder; ///< child
    Source shownSource;
    CellState currentState = CellState::Empty;
    bool isFile = false; ///< the source that is playing has an end
    QTimer noAnswerTimer;
};
