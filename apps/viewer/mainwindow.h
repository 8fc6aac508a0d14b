#pragma once

#include "source.h"
#include "vieweroptions.h"

#include <QMainWindow>

class DevicePanel;
class Devices;
class PlaybackBar;
class QAction;
class QActionGroup;
class QLabel;
class QMenu;
class QSplitter;
class QToolBar;
class Snapshots;
class VideoCell;
class VideoGrid;
class VolumeBar;

/// The viewer's window: the devices beside the grid, the tool bar above, the playback bar and the status bar below.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit MainWindow(const ViewerOptions& options, QWidget* parent = nullptr);

    VideoGrid* grid() const { return videoGrid; }
    Snapshots* snapshots() const { return snapshotTaker; }

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
    void makeGridActions();
    void makeCellActions();
    void makeWindowActions();
    void makeStatusBar();
    void connectGrid();
    QAction* addAction(const QString& name, const QString& text, const QString& icon, const QKeySequence& key);

    void selectCell(VideoCell* cell);
    void refresh();
    void showStatus(const QString& text);
    void showMenu(const QPoint& globalPosition);
    QMenu* makeStreamMenu(QWidget* parent);
    void openFile();
    void openDeviceFile();
    void showDevices(bool shown);
    void editSources();
    void applySources(const QList<Source>& sources);
    void chooseSnapshotFolder();
    void setDigitalZoom(bool enabled);
    void toggleFullScreen();
    void leaveFullScreen();
    void closeSource();

    const QString transport; // of sources that are opened later on
    Devices* devices; // children
    VideoGrid* videoGrid;
    DevicePanel* devicePanel;
    QSplitter* splitter = nullptr;
    PlaybackBar* playbackBar;
    Snapshots* snapshotTaker;
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
    QList<QAction*> cellActions;
    QLabel* summaryLabel = nullptr;
};
