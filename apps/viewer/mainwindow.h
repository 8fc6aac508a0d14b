#pragma once

#include "source.h"
#include "vieweroptions.h"

#include <QMainWindow>

class DevicePanel;
class Devices;
class LogPanel;
class MessageLog;
class PlaybackBar;
class PlaybackPage;
class QAction;
class QActionGroup;
class QLabel;
class QMenu;
class QSplitter;
class QStackedWidget;
class QToolBar;
class Snapshots;
class VideoCell;
class VideoGrid;
class VolumeBar;

/// The viewer's window, with a page for what is live, the devices beside the grid, and one for recordings; the tool bar
/// above and the status bar below belong to both.
///
/// The live cells play on, without their sound, while the page with the recordings is seen.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    /// @p log must outlive the window; null for none to show.
    explicit MainWindow(const ViewerOptions& options, const MessageLog* log = nullptr, QWidget* parent = nullptr);

    VideoGrid* grid() const { return videoGrid; }
    Snapshots* snapshots() const { return snapshotTaker; }

    PlaybackPage* playback() const { return playbackPage; }
    bool isLive() const;

    /// Goes to the page with the grid, or to the one with the recordings.
    void showLive(bool live);

    /// Adds the device that a JSON file describes, or says what is wrong with the file.
    void openDevice(const QString& file);

protected:
    /// Ends everything that plays before the window goes.
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void makeCentre();
    void makeDevicePanel(bool isShown);
    void makeToolBar();
    void makePageActions();
    void makeGridActions();
    void makeCellActions();
    void makeWindowActions();
    void makeStatusBar();
    void makeLiveKeys();
    void makeLogPanel();
    void connectGrid();
    void connectPlayback();
    QAction* addAction(const QString& name, const QString& text, const QString& icon, const QKeySequence& key);

    void selectCell(VideoCell* cell);
    void refresh();
    void silenceCells(bool silent);
    void showRecordings();
    void showStatus(const QString& text);
    void showMenu(const QPoint& globalPosition);
    QMenu* makeStreamMenu(QWidget* parent);
    void openFile();
    void openDeviceFile();
    void showDevices(bool shown);
    void editSources();
    void applySources(const QList<Source>& sources);
    void chooseSnapshotFolder();
    void changeSettings();
    void showLog(bool shown);
    void showComplaints();
    void keepSources() const;
    void setDigitalZoom(bool enabled);
    void toggleFullScreen();
    void leaveFullScreen();
    void closeSource();

    ViewerOptions options;
    const MessageLog* const log;
    Devices* devices; // children
    VideoGrid* videoGrid;
    DevicePanel* devicePanel;
    QSplitter* splitter = nullptr;
    PlaybackBar* playbackBar;
    Snapshots* snapshotTaker;
    PlaybackPage* playbackPage;
    QStackedWidget* pages = nullptr;
    QToolBar* toolBar = nullptr;
    QActionGroup* gridActions = nullptr;
    QAction* devicesAction = nullptr;
    QAction* streamAction = nullptr;
    QAction* enlargeAction = nullptr;
    QAction* zoomAction = nullptr;
    QAction* fullScreenAction = nullptr;
    QAction* snapshotAction = nullptr;
    QAction* recordAction = nullptr;
    QAction* muteAction = nullptr;
    VolumeBar* volumeBar = nullptr;
    QAction* liveAction = nullptr;
    QAction* playbackAction = nullptr;
    QAction* recordingsAction = nullptr;
    QAction* logAction = nullptr;
    LogPanel* logPanel = nullptr;
    QList<QAction*> cellActions;
    QList<QAction*> liveActions; ///< that the page with the recordings has no use for
    QList<VideoCell*> silencedCells; ///< while that page is seen
    QLabel* summaryLabel = nullptr;
};
