#include "mainwindow.h"

#include "cellview.h"
#include "core_videobase/abstractvideowidget.h"
#include "devicepanel.h"
#include "devices.h"
#include "devicetree.h"
#include "keptsettings.h"
#include "logpanel.h"
#include "playbackbar.h"
#include "playbackpage.h"
#include "qttoolkit/quihelper.h"
#include "settingsdialog.h"
#include "snapshots.h"
#include "sourcesdialog.h"
#include "videocell.h"
#include "videogrid.h"
#include "volumebar.h"

#include <QActionGroup>
#include <QCloseEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QMenu>
#include <QMessageBox>
#include <QSettings>
#include <QSplitter>
#include <QStackedWidget>
#include <QStatusBar>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>

namespace {
constexpr QSize normalSize{1280, 860};
constexpr int statusTime = 8000; // milliseconds
constexpr qint64 jumpTime = 5000; // milliseconds
constexpr int normalPanelWidth = 220;
constexpr int logHeight = 180;
const char panelWidthKey[] = "devices/width";
} // namespace

MainWindow::MainWindow(const ViewerOptions& wanted, const MessageLog* messages, QWidget* parent)
    : QMainWindow(parent)
    , options(wanted)
    , log(messages)
    , devices(new Devices(options.devices, this))
    , videoGrid(new VideoGrid(*devices, options, this))
    , devicePanel(new DevicePanel(*devices, this))
    , playbackBar(new PlaybackBar(this))
    , snapshotTaker(new Snapshots(options.snapshotFolder, this))
    , playbackPage(new PlaybackPage(*devices, *snapshotTaker, options, this))
{
    setWindowTitle(tr("Vantor Viewer"));
    setWindowIcon(QIcon(":/viewer/viewer.svg"));
    resize(normalSize);
    makeCentre();
    makeToolBar();
    makeStatusBar();
    makeDevicePanel(options.showDevices);
    connectGrid();
    connectPlayback();
    makeLogPanel();
    showComplaints();
    selectCell(videoGrid->selectedCell());
    videoGrid->setSources(options.sources);
    if (!options.sources.isEmpty())
        return;
    QList<Source> channels;
    for (const QString& name : devices->names())
        channels.append(devices->channels(name));
    videoGrid->setSources(channels);
}

void MainWindow::makeCentre()
{
    auto* centre = new QWidget(this);
    auto* box = new QVBoxLayout(centre);
    box->setContentsMargins(0, 0, 0, 0);
    box->setSpacing(0);
    box->addWidget(videoGrid, 1);
    box->addWidget(playbackBar);

    splitter = new QSplitter(this);
    splitter->addWidget(devicePanel);
    splitter->addWidget(centre);
    splitter->setStretchFactor(1, 1);
    splitter->setChildrenCollapsible(false);
    splitter->setHandleWidth(3);

    pages = new QStackedWidget(this);
    pages->addWidget(splitter);
    pages->addWidget(playbackPage);
    setCentralWidget(pages);
}

void MainWindow::makeDevicePanel(bool isShown)
{
    const int panelWidth = QSettings().value(panelWidthKey, normalPanelWidth).toInt();
    splitter->setSizes({panelWidth, width() - panelWidth});
    connect(splitter, &QSplitter::splitterMoved, this,
            [this] { QSettings().setValue(panelWidthKey, devicePanel->width()); });
    connect(devicePanel, &DevicePanel::opened, videoGrid, &VideoGrid::open);
    connect(devicePanel, &DevicePanel::fileWanted, this, &MainWindow::openDeviceFile);
    devicePanel->setVisible(isShown);
    devicesAction->setChecked(isShown);
}

void MainWindow::makeToolBar()
{
    toolBar = addToolBar(tr("Tools"));
    toolBar->setObjectName("tools");
    toolBar->setMovable(false);
    toolBar->setContextMenuPolicy(Qt::PreventContextMenu);
    toolBar->setIconSize({20, 20});

    makePageActions();
    toolBar->addSeparator();
    devicesAction = addAction("devices", tr("Devices"), "devices", tr("Ctrl+D"));
    devicesAction->setCheckable(true);
    connect(devicesAction, &QAction::triggered, this, &MainWindow::showDevices);
    connect(addAction("open", tr("Open file…"), "open", QKeySequence::Open), &QAction::triggered, this,
            &MainWindow::openFile);
    connect(addAction("sources", tr("Sources…"), "sources", tr("Ctrl+L")), &QAction::triggered, this,
            &MainWindow::editSources);
    connect(addAction("openDevice", tr("Open device file…"), "opendevice", tr("Ctrl+Shift+O")), &QAction::triggered,
            this, &MainWindow::openDeviceFile);
    toolBar->addSeparator();
    makeGridActions();
    toolBar->addSeparator();
    makeCellActions();
    auto* space = new QWidget(toolBar);
    space->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    toolBar->addWidget(space);
    makeWindowActions();
    makeLiveKeys();
    const QStringList common{"openDevice", "folder", "settings", "log", "fullScreen", "live", "playback"};
    for (QAction* action : toolBar->actions()) {
        if (!common.contains(action->objectName()) && toolBar->widgetForAction(action) != space)
            liveActions.append(action);
    }
}

void MainWindow::makePageActions()
{
    auto* group = new QActionGroup(this);
    liveAction = addAction("live", tr("Live"), "live", tr("Ctrl+Shift+L"));
    playbackAction = addAction("playback", tr("Playback"), "playback", tr("Ctrl+P"));
    for (QAction* action : {liveAction, playbackAction}) {
        action->setCheckable(true);
        group->addAction(action);
        qobject_cast<QToolButton*>(toolBar->widgetForAction(action))->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    }
    liveAction->setChecked(true);
    connect(group, &QActionGroup::triggered, this, [this] { showLive(liveAction->isChecked()); });
}

void MainWindow::makeGridActions()
{
    gridActions = new QActionGroup(this);
    for (int side = 1; side <= 5; ++side) {
        const int count = side * side;
        QAction* action = addAction(QString("grid%1").arg(count), tr("%n cell(s)", nullptr, count),
                                    QString("grid%1").arg(count), QKeySequence(QString("Ctrl+%1").arg(side)));
        action->setCheckable(true);
        action->setData(count);
        action->setChecked(count == videoGrid->cellCount());
        gridActions->addAction(action);
    }
    connect(gridActions, &QActionGroup::triggered, this,
            [this](const QAction* action) { videoGrid->setCellCount(action->data().toInt()); });
}

void MainWindow::makeCellActions()
{
    snapshotAction = addAction("snapshot", tr("Snapshot"), "snapshot", QKeySequence(Qt::Key_S));
    connect(snapshotAction, &QAction::triggered, this, [this] { snapshotTaker->take(videoGrid->selectedCell()); });
    recordAction = addAction("record", tr("Record (H.264 and H.265 sources)"), "record", QKeySequence(Qt::Key_R));
    recordAction->setCheckable(true);
    connect(recordAction, &QAction::triggered, this, [this] { videoGrid->selectedCell()->toggleRecording(); });
    zoomAction
        = addAction("zoom", tr("Digital zoom (wheel enlarges, dragging moves)"), "zoom", QKeySequence(Qt::Key_Z));
    zoomAction->setCheckable(true);
    connect(zoomAction, &QAction::triggered, this, &MainWindow::setDigitalZoom);
    muteAction = addAction("sound", tr("Sound"), "sound", QKeySequence(Qt::Key_M));
    muteAction->setCheckable(true);
    connect(muteAction, &QAction::triggered, this, [this] { videoGrid->selectedCell()->toggleMuted(); });
    volumeBar = new VolumeBar(toolBar);
    toolBar->addWidget(volumeBar);
    streamAction = addAction("stream", tr("Main or sub stream"), "stream", QKeySequence(Qt::Key_T));
    streamAction->setCheckable(true);
    connect(streamAction, &QAction::triggered, this, [this] { videoGrid->selectedCell()->switchStream(); });
    QAction* restart = addAction("restart", tr("Start again"), "restart", QKeySequence(Qt::Key_F5));
    connect(restart, &QAction::triggered, this, [this] { videoGrid->selectedCell()->play(); });
    QAction* remove = addAction("close", tr("Close source"), "close", QKeySequence::Delete);
    connect(remove, &QAction::triggered, this, &MainWindow::closeSource);
    cellActions = {snapshotAction, recordAction, zoomAction, muteAction, streamAction, restart, remove};
    recordingsAction = new QAction(tr("Recordings of this cell"), this);
    recordingsAction->setObjectName("recordings");
    connect(recordingsAction, &QAction::triggered, this, &MainWindow::showRecordings);
}

void MainWindow::makeWindowActions()
{
    connect(addAction("folder", tr("Snapshot folder…"), "folder", {}), &QAction::triggered, this,
            &MainWindow::chooseSnapshotFolder);
    connect(addAction("settings", tr("Settings…"), "settings", tr("Ctrl+,")), &QAction::triggered, this,
            &MainWindow::changeSettings);
    logAction = addAction("log", tr("Log"), "log", tr("Ctrl+Shift+M"));
    logAction->setCheckable(true);
    logAction->setVisible(log);
    connect(logAction, &QAction::triggered, this, &MainWindow::showLog);
    enlargeAction = addAction("enlarge", tr("Enlarge cell (double click)"), "enlarge", QKeySequence(Qt::Key_Return));
    enlargeAction->setCheckable(true);
    connect(enlargeAction, &QAction::triggered, videoGrid, &VideoGrid::toggleEnlarged);
    fullScreenAction = addAction("fullScreen", tr("Full screen"), "fullscreen", QKeySequence(Qt::Key_F11));
    fullScreenAction->setCheckable(true);
    connect(fullScreenAction, &QAction::triggered, this, &MainWindow::toggleFullScreen);

    auto* escape = new QAction(this);
    escape->setShortcut(Qt::Key_Escape);
    connect(escape, &QAction::triggered, this, &MainWindow::leaveFullScreen);
    QWidget::addAction(escape);
}

void MainWindow::makeLiveKeys()
{
    const auto addKey = [this](const QKeySequence& key, auto work) {
        auto* action = new QAction(this);
        action->setShortcut(key);
        connect(action, &QAction::triggered, this, work);
        QWidget::addAction(action);
        liveActions.append(action);
    };
    addKey(Qt::Key_Space, [this] { videoGrid->selectedCell()->togglePause(); });
    addKey(Qt::Key_Left, [this] { playbackBar->jump(-jumpTime); });
    addKey(Qt::Key_Right, [this] { playbackBar->jump(jumpTime); });
    addKey(Qt::Key_PageUp, [this] { videoGrid->selectNext(-1); });
    addKey(Qt::Key_PageDown, [this] { videoGrid->selectNext(1); });
}

void MainWindow::makeStatusBar()
{
    summaryLabel = new QLabel(this);
    summaryLabel->setObjectName("summary");
    statusBar()->addPermanentWidget(summaryLabel);
    statusBar()->setSizeGripEnabled(false);
}

void MainWindow::connectGrid()
{
    connect(videoGrid, &VideoGrid::selectionChanged, this, &MainWindow::selectCell);
    connect(videoGrid, &VideoGrid::stateChanged, this, &MainWindow::refresh);
    connect(videoGrid, &VideoGrid::layoutChanged, this, &MainWindow::refresh);
    connect(videoGrid, &VideoGrid::message, this, &MainWindow::showStatus);
    connect(videoGrid, &VideoGrid::snapshotWanted, snapshotTaker, &Snapshots::take);
    connect(videoGrid, &VideoGrid::menuWanted, this, [this](VideoCell*, const QPoint& at) { showMenu(at); });
    connect(snapshotTaker, &Snapshots::message, this, &MainWindow::showStatus);
}

void MainWindow::connectPlayback()
{
    connect(playbackPage, &PlaybackPage::message, this, &MainWindow::showStatus);
    for (int index = 0; index < VideoGrid::mostCells; ++index) {
        connect(videoGrid->cell(index), &VideoCell::recorderStateChanged, playbackPage, [this](RecorderState state) {
            if (state == RecorderIdle)
                playbackPage->refresh();
        });
    }
}

bool MainWindow::isLive() const { return pages->currentWidget() != playbackPage; }

void MainWindow::showLive(bool live)
{
    (live ? liveAction : playbackAction)->setChecked(true);
    if (live == isLive())
        return;
    for (QAction* action : qAsConst(liveActions))
        action->setVisible(live);
    silenceCells(!live);
    if (!live && !playbackPage->hasPlace())
        playbackPage->want(videoGrid->selectedCell()->source(), videoGrid->selectedCell()->number());
    pages->setCurrentIndex(live ? 0 : 1);
    if (live)
        videoGrid->selectedCell()->setFocus();
}

// Sound of now and of then at once can't be told apart.
void MainWindow::silenceCells(bool silent)
{
    if (silent) {
        for (int index = 0; index < VideoGrid::mostCells; ++index) {
            if (!videoGrid->cell(index)->isMuted())
                silencedCells.append(videoGrid->cell(index));
        }
    }
    for (VideoCell* cell : qAsConst(silencedCells))
        cell->display()->setMuted(silent);
    if (!silent)
        silencedCells.clear();
}

void MainWindow::showRecordings()
{
    playbackPage->want(videoGrid->selectedCell()->source(), videoGrid->selectedCell()->number());
    showLive(false);
}

// The icon is drawn in the colour of the button, which also says whether it is checked or switched off. It is given to
// the action because a button takes over the icon of its action whenever that changes.
QAction* MainWindow::addAction(const QString& name, const QString& text, const QString& icon, const QKeySequence& key)
{
    auto* action = new QAction(text, this);
    action->setObjectName(name);
    action->setShortcut(key);
    const QString shown = key.toString(QKeySequence::NativeText);
    action->setToolTip(shown.isEmpty() ? text : QString("%1 (%2)").arg(text, shown));
    toolBar->addAction(action);
    QWidget::addAction(action);
    auto* button = qobject_cast<QToolButton*>(toolBar->widgetForAction(action));
    button->setFocusPolicy(Qt::NoFocus);
    QUIHelper::setSvgIcon(button, QString(":/viewer/%1.svg").arg(icon));
    action->setIcon(button->icon());
    return action;
}

void MainWindow::selectCell(VideoCell* cell)
{
    playbackBar->setCell(cell);
    volumeBar->setCell(cell);
    refresh();
}

void MainWindow::refresh()
{
    const VideoCell* cell = videoGrid->selectedCell();
    for (QAction* action : qAsConst(cellActions))
        action->setEnabled(cell->state() != CellState::Empty);
    snapshotAction->setEnabled(cell->isPlaying());
    recordAction->setEnabled(cell->isPlaying() || cell->isRecording());
    recordAction->setChecked(cell->isRecording());
    zoomAction->setEnabled(cell->isPlaying());
    zoomAction->setChecked(cell->display()->isDigitalZoom());
    muteAction->setChecked(!cell->isMuted());
    streamAction->setEnabled(cell->view()->streamCount() > 1);
    streamAction->setChecked(cell->view()->streamCount() > 1 && cell->view()->stream() == 0);
    enlargeAction->setChecked(videoGrid->isEnlarged());
    for (QAction* action : gridActions->actions())
        action->setChecked(action->data().toInt() == videoGrid->cellCount());
    summaryLabel->setText(videoGrid->summary());
}

void MainWindow::showStatus(const QString& text)
{
    statusBar()->showMessage(text, statusTime);
    refresh();
}

void MainWindow::showMenu(const QPoint& globalPosition)
{
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->addActions(cellActions);
    if (videoGrid->selectedCell()->view()->streamCount() > 1)
        menu->insertMenu(streamAction, makeStreamMenu(menu));
    menu->addSeparator();
    menu->addActions({recordingsAction, enlargeAction, fullScreenAction});
    menu->popup(globalPosition);
}

QMenu* MainWindow::makeStreamMenu(QWidget* parent)
{
    VideoCell* cell = videoGrid->selectedCell();
    const int chosen = DeviceChannel::parse(cell->source().url).stream;
    auto* menu = new QMenu(tr("Stream"), parent);
    for (int stream = DeviceChannel::any; stream < cell->view()->streamCount(); ++stream) {
        const QString text = stream == DeviceChannel::any ? tr("as fits the cell") : DeviceChannel::streamName(stream);
        QAction* action = menu->addAction(text, cell, [cell, stream] { cell->setStream(stream); });
        action->setCheckable(true);
        action->setChecked(stream == chosen);
    }
    return menu;
}

void MainWindow::openFile()
{
    const QString file = QFileDialog::getOpenFileName(this, tr("Choose a file"));
    if (file.isEmpty())
        return;
    QList<Source> sources = videoGrid->sources();
    const int index = videoGrid->selectedCell()->number() - 1;
    while (sources.size() <= index)
        sources.append(Source());
    sources[index] = Source();
    sources[index].url = file;
    applySources(sources);
}

void MainWindow::openDeviceFile()
{
    const QString file = QFileDialog::getOpenFileName(this, tr("Choose a device file"), {}, tr("Devices (*.json)"));
    if (!file.isEmpty())
        openDevice(file);
}

void MainWindow::openDevice(const QString& file)
{
    QString error;
    const QString name = devices->openFile(file, &error);
    if (name.isEmpty()) {
        auto* box = new QMessageBox(QMessageBox::Warning, tr("Device file"), error, QMessageBox::Ok, this);
        box->setAttribute(Qt::WA_DeleteOnClose);
        box->open();
        return;
    }
    options.deviceFiles.append(QFileInfo(file).absoluteFilePath());
    options.deviceFiles.removeDuplicates();
    keepSources();
    showDevices(true);
    showStatus(tr("%1: %n channel(s)", nullptr, devices->find(name)->getChannelCount()).arg(name));
}

void MainWindow::showDevices(bool shown)
{
    devicePanel->setVisible(shown);
    devicesAction->setChecked(shown);
    if (shown)
        devicePanel->setFocus();
    else
        videoGrid->selectedCell()->setFocus();
}

void MainWindow::editSources()
{
    SourcesDialog dialog(videoGrid->sources(), options.transport, this);
    dialog.setCurrentRow(videoGrid->selectedCell()->number() - 1);
    if (dialog.exec() == QDialog::Accepted)
        applySources(dialog.sources());
}

void MainWindow::applySources(const QList<Source>& sources)
{
    videoGrid->setSources(sources);
    int cells = videoGrid->cellCount();
    for (int side = 1; cells < sources.size(); ++side)
        cells = side * side;
    if (cells != videoGrid->cellCount())
        videoGrid->setCellCount(cells);
    keepSources();
}

// What was asked for on the command line is shown this once.
void MainWindow::keepSources() const
{
    if (options.keepsSources)
        KeptSettings::saveSources(videoGrid->sources(), videoGrid->cellCount(), options.deviceFiles);
}

void MainWindow::changeSettings()
{
    options.snapshotFolder = snapshotTaker->folder();
    SettingsDialog dialog(options, this);
    if (dialog.exec() != QDialog::Accepted)
        return;
    options = dialog.options();
    KeptSettings::saveSettings(options);
    snapshotTaker->setFolder(options.snapshotFolder);
    videoGrid->setOptions(options);
    playbackPage->setOptions(options);
}

void MainWindow::makeLogPanel()
{
    if (!log)
        return;
    logPanel = new LogPanel(*log, this);
    addDockWidget(Qt::BottomDockWidgetArea, logPanel);
    resizeDocks({logPanel}, {logHeight}, Qt::Vertical);
    logPanel->hide();
    // A window that is deleted while it is seen hides its panels when it is hardly more than a QWidget.
    connect(logPanel, &LogPanel::visibilityChanged, logAction,
            [action = logAction, panel = logPanel] { action->setChecked(!panel->isHidden()); });
}

void MainWindow::showLog(bool shown)
{
    if (logPanel)
        logPanel->setVisible(shown);
}

void MainWindow::showComplaints()
{
    if (options.complaints.isEmpty())
        return;
    auto* box = new QMessageBox(QMessageBox::Warning, tr("Settings"), options.complaints.join("\n\n"), QMessageBox::Ok,
                                this);
    box->setObjectName("complaints");
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
}

void MainWindow::chooseSnapshotFolder()
{
    const QString folder
        = QFileDialog::getExistingDirectory(this, tr("Folder of the snapshots"), snapshotTaker->folder());
    if (!folder.isEmpty())
        snapshotTaker->setFolder(folder);
}

void MainWindow::setDigitalZoom(bool enabled)
{
    videoGrid->selectedCell()->display()->setDigitalZoom(enabled);
    showStatus(enabled ? tr("Digital zoom: the wheel enlarges the picture, dragging moves it")
                       : tr("Digital zoom is off"));
}

void MainWindow::toggleFullScreen() { setWindowState(windowState() ^ Qt::WindowFullScreen); }

void MainWindow::leaveFullScreen()
{
    if (isFullScreen())
        toggleFullScreen();
    else if (videoGrid->isEnlarged())
        videoGrid->toggleEnlarged();
}

void MainWindow::closeSource()
{
    videoGrid->selectedCell()->setSource({});
    refresh();
}

void MainWindow::changeEvent(QEvent* event)
{
    QMainWindow::changeEvent(event);
    if (event->type() != QEvent::WindowStateChange || !fullScreenAction)
        return;
    fullScreenAction->setChecked(isFullScreen());
    toolBar->setVisible(!isFullScreen());
    playbackBar->setVisible(!isFullScreen());
    statusBar()->setVisible(!isFullScreen());
    if (isFullScreen())
        showLog(false);
    playbackPage->setBare(isFullScreen());
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    keepSources();
    videoGrid->stopAll();
    playbackPage->stop();
    QMainWindow::closeEvent(event);
}
