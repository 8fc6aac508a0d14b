#include "videocell.h"

#include "addressview.h"
#include "celllook.h"
#include "cellosd.h"
#include "cellrecorder.h"
#include "channelview.h"
#include "core_videobase/bannerwidget.h"
#include "devices.h"

#include <QContextMenuEvent>
#include <QDropEvent>
#include <QMimeData>

VideoCell::VideoCell(int number, const Devices& known, const ViewerOptions& wanted, QWidget* parent)
    : QWidget(parent)
    , cellNumber(number)
    , devices(known)
    , options(wanted)
    , recorder(new CellRecorder(this, options.recordingFolder, options.autoRecordFolder))
{
    showView(viewFor({}));
    connect(recorder, &CellRecorder::message, this, &VideoCell::message);
    connect(recorder, &CellRecorder::changed, this, [this] {
        showOsd();
        Q_EMIT stateChanged();
    });
    showOsd();
}

// A view reports the end of what it plays, which nobody here wants to hear any more.
VideoCell::~VideoCell()
{
    for (CellView* view : qAsConst(views)) {
        view->disconnect(this);
        view->display()->disconnect(this);
        view->display()->removeEventFilter(this);
    }
    qDeleteAll(views);
}

AbstractVideoWidget* VideoCell::display() const { return shownView->display(); }

CellView* VideoCell::viewFor(const Source& source)
{
    constexpr int forAddresses = 0;
    const auto device = devices.find(DeviceChannel::parse(source.url).device);
    CellView*& view = views[device ? int(device->getStreamProtocol()) : forAddresses];
    if (view)
        return view;
    if (device)
        view = new ChannelView(device->getStreamProtocol(), devices, this);
    else
        view = new AddressView(cellNumber, this);
    setUp(view);
    return view;
}

void VideoCell::setUp(CellView* view)
{
    AbstractVideoWidget* widget = view->display();
    widget->hide();
    CellLook::apply(widget, view->canTalk());
    applyOptions(view);
    widget->setVolume(setVolumePercent);
    widget->setCalcLevel(isLevelWanted);

    widget->installEventFilter(this);
    connect(widget, &AbstractVideoWidget::sig_btnClicked, this, &VideoCell::pressButton);
    connect(widget, &AbstractVideoWidget::sig_fileDrag, this, &VideoCell::dropped);
    connect(widget, &AbstractVideoWidget::snapImage, this, &VideoCell::snapImage);
    connect(widget, &AbstractVideoWidget::receiveLevel, this, &VideoCell::levelChanged);
    connect(view, &CellView::stateChanged, this, [this, view](CellState state) {
        if (view == shownView)
            setState(state);
    });
    connect(view, &CellView::restartWanted, this, &VideoCell::restart);
    connect(widget, &AbstractVideoWidget::sig_startTalkDeviceBusy, this,
            [this] { Q_EMIT message(tr("%1: somebody else is talking there").arg(shownSource.title())); });
    connect(widget, &AbstractVideoWidget::sig_startTalkError, this,
            [this] { Q_EMIT message(tr("%1: the device cannot be talked to").arg(shownSource.title())); });
    connect(view, &CellView::positionChanged, this, &VideoCell::positionChanged);
    connect(view, &CellView::durationChanged, this, &VideoCell::durationChanged);
    connect(view, &CellView::recorderStateChanged, this, &VideoCell::recorderStateChanged);
}

void VideoCell::applyOptions(CellView* view)
{
    AbstractVideoWidget* widget = view->display();
    VideoPara para = widget->getVideoPara();
    para.hardware = options.hardware;
    para.readTimeout = options.readTimeout;
    para.connectTimeout = options.connectTimeout;
    widget->setVideoPara(para);
    widget->setVideoMode(options.mode);
    widget->setScaleMode(options.scaleMode);
    view->setSaveInterval(options.recordInterval);
}

void VideoCell::setOptions(const ViewerOptions& wanted)
{
    const bool isDecodedOtherwise = wanted.hardware != options.hardware || wanted.mode != options.mode;
    options = wanted;
    recorder->setFolder(options.recordingFolder);
    for (CellView* view : qAsConst(views))
        applyOptions(view);
    const bool isAtWork = currentState != CellState::Empty && currentState != CellState::Stopped;
    if (isDecodedOtherwise && isAtWork)
        restart();
}

void VideoCell::showView(CellView* view)
{
    if (view == shownView)
        return;
    const bool hadFocus = hasFocus();
    if (shownView)
        display()->hide();
    shownView = view;
    setFocusProxy(display());
    CellLook::setSelected(display(), isSelected);
    display()->setGeometry(rect());
    display()->show();
    if (hadFocus)
        display()->setFocus();
}

void VideoCell::setSource(const Source& source)
{
    stop();
    showView(viewFor(source));
    shownSource = source;
    setState(source.isEmpty() ? CellState::Empty : CellState::Stopped);
}

void VideoCell::play()
{
    if (shownSource.isEmpty())
        return;
    stop();
    recorder->sourceStarts();
    if (shownView->start(shownSource))
        return;
    setState(CellState::Failed);
    Q_EMIT message(tr("%1: not a file, a camera or an address that can be played").arg(shownSource.shownUrl()));
}

void VideoCell::stop()
{
    if (shownView->isShared())
        recorder->forget();
    shownView->stop();
    if (currentState != CellState::Empty)
        setState(CellState::Stopped);
}

void VideoCell::togglePause()
{
    if (currentState == CellState::Ended) {
        play();
    } else if (currentState == CellState::Paused) {
        shownView->resume();
        setState(CellState::Playing);
    } else if (currentState == CellState::Playing && shownView->isSeekable()) {
        shownView->pause();
        setState(CellState::Paused);
    }
}

void VideoCell::setStream(int stream)
{
    DeviceChannel channel = DeviceChannel::parse(shownSource.url);
    if (!channel.isValid())
        return;
    channel.stream = stream;
    shownSource.url = channel.address();
    restart();
}

void VideoCell::switchStream()
{
    if (shownView->streamCount() > 1)
        setStream((shownView->stream() + 1) % shownView->streamCount());
}

void VideoCell::restart()
{
    const bool wasRecording = isRecording();
    play();
    if (wasRecording)
        recorder->start();
}

QString VideoCell::description() const
{
    return tr("%1  %2 — %3").arg(cellNumber).arg(shownSource.title(), cellStateText(currentState));
}

void VideoCell::setSelected(bool selected)
{
    isSelected = selected;
    CellLook::setSelected(display(), selected);
}

void VideoCell::toggleRecording() { recorder->toggle(); }

bool VideoCell::isRecording() const { return shownView->isRecording(); }

bool VideoCell::isMuted() const { return display()->getWidgetPara().muted; }

void VideoCell::toggleMuted() { switchSound(isMuted()); }

int VideoCell::volume() const { return setVolumePercent; }

void VideoCell::setVolume(int percent)
{
    setVolumePercent = percent;
    for (CellView* view : qAsConst(views))
        view->display()->setVolume(percent);
}

void VideoCell::setLevelWanted(bool wanted)
{
    isLevelWanted = wanted;
    for (CellView* view : qAsConst(views))
        view->display()->setCalcLevel(wanted);
}

void VideoCell::switchSound(bool on)
{
    display()->setMuted(!on);
    Q_EMIT message(isMuted() ? tr("%1: sound off").arg(shownSource.title())
                             : tr("%1: sound on").arg(shownSource.title()));
}

void VideoCell::pressButton(const QString& name)
{
    if (name.endsWith("btnTalk"))
        startTalk();
    else if (name.endsWith("TalkMuted"))
        Q_EMIT message(tr("%1: talk-back is off").arg(shownSource.title()));
    else if (name.endsWith("Stream"))
        switchStream();
    else if (name.endsWith("Muted"))
        switchSound(false);
    else if (name.endsWith("Sound"))
        switchSound(true);
    else if (name.endsWith("Snap"))
        Q_EMIT snapshotWanted();
    else if (name.endsWith("Record"))
        toggleRecording();
}

// The display has begun to talk if there is somebody to talk to. An address has nobody; the button goes back to where
// it was.
void VideoCell::startTalk()
{
    if (shownView->canTalk()) {
        if (isMuted())
            switchSound(true); // while the sound is off, nothing is taken from the microphone
        Q_EMIT message(tr("%1: talk-back is on").arg(shownSource.title()));
        return;
    }
    banner()->changeStatus("Talk", "TalkMuted", ":/primary/mic-close.svg");
    Q_EMIT message(tr("%1 has no talk-back; only devices do").arg(shownSource.title()));
}

bool VideoCell::eventFilter(QObject* watched, QEvent* event)
{
    switch (event->type()) {
    case QEvent::FocusIn:
        Q_EMIT selected();
        break;
    case QEvent::MouseButtonPress:
        display()->setFocus(Qt::MouseFocusReason);
        Q_EMIT selected();
        break;
    case QEvent::MouseButtonDblClick:
        Q_EMIT enlargeWanted();
        return true;
    case QEvent::ContextMenu:
        Q_EMIT selected();
        Q_EMIT menuWanted(static_cast<QContextMenuEvent*>(event)->globalPos());
        return true;
    case QEvent::Drop:
        return takeDrop(static_cast<QDropEvent*>(event));
    default:
        break;
    }
    return QWidget::eventFilter(watched, event);
}

// The display knows local files and items of trees only.
bool VideoCell::takeDrop(const QDropEvent* event)
{
    const QList<QUrl> urls = event->mimeData()->urls();
    if (urls.isEmpty() || urls.first().isLocalFile())
        return false;
    Q_EMIT dropped(urls.first().toString());
    return true;
}

void VideoCell::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    display()->setGeometry(rect());
    showOsd();
}

void VideoCell::setState(CellState state)
{
    currentState = state;
    showOsd();
    updateBanner();
    Q_EMIT stateChanged();
}

void VideoCell::showOsd()
{
    CellOsd osd(size(), CellLook::borderWidth + 5, font());
    if (currentState != CellState::Empty) {
        osd.addText(CellOsd::TopLeft,
                    osd.besideClock(QString("%1  %2").arg(cellNumber, 2, 10, QChar('0')).arg(shownSource.title())),
                    Qt::white);
    }
    if (isPlaying())
        osd.addClock(CellOsd::TopRight); // the display moves it on while there is a picture
    if (recorder->isFileOpen())
        osd.addRecordingMark();
    // Out of the way while there is a picture, in the middle of the cell when there is none.
    if (isPlaying())
        osd.addText(CellOsd::BottomLeft, shortStateText(), cellStateColor(currentState));
    else
        osd.addText(CellOsd::Centre, longStateText(), cellStateColor(currentState));

    display()->clearOsd();
    for (const OsdInfo& item : osd.items())
        display()->appendOsd(item);
}

QString VideoCell::shortStateText() const
{
    const QString text = "● " + cellStateText(currentState);
    if (!isPlaying() || shownView->streamCount() < 2)
        return text;
    return tr("%1 · %2 stream").arg(text, DeviceChannel::streamName(shownView->stream()));
}

QString VideoCell::longStateText() const
{
    if (currentState == CellState::Empty)
        return tr("No source\nDrop a channel, a file or an address here");
    if (currentState == CellState::Lost && shownView->isTryingAgain())
        return tr("Connection lost, trying again…");
    const QString address = fontMetrics().elidedText(shownSource.shownUrl(), Qt::ElideMiddle, width() / 2);
    return cellStateText(currentState) + '\n' + address;
}

void VideoCell::updateBanner() { banner()->showInfo(shortStateText()); }

BannerWidget* VideoCell::banner() const { return display()->findChild<BannerWidget*>("bannerWidget"); }
