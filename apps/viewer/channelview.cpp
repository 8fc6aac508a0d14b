#include "channelview.h"

#include "core_videobase/abstractvideothread.h"
#include "devices.h"
#include "foldername.h"

#include <QEvent>

namespace {

constexpr int checkInterval = 200; // milliseconds
constexpr int afterResizing = 600; // milliseconds
constexpr int unusedTime = 2000; // milliseconds
constexpr int widthOfMain = 900; // pixels from which on a display is worth the main stream

constexpr AbstractVideoThread::RecordType recordTypes[]
    = {AbstractVideoThread::MANUAL_RECORD, AbstractVideoThread::AUTO_RECORD};

} // namespace

ChannelView::ChannelView(XTransportProtocol protocol, const Devices& known, QWidget* cell)
    : CellView(cell)
    , devices(known)
    , widget(new OpenDisplay<LiveVideoWidget>(protocol, cell))
{
    widget->installEventFilter(this);
    checkTimer.setInterval(checkInterval);
    connect(&checkTimer, &QTimer::timeout, this, &ChannelView::check);
    resizeTimer.setSingleShot(true);
    resizeTimer.setInterval(afterResizing);
    connect(&resizeTimer, &QTimer::timeout, this, &ChannelView::changeStream);
    connect(widget, &LiveVideoWidget::sig_receivePlayStart, this, [this] { isOpen = true; });
    connect(widget, &LiveVideoWidget::sig_receivePlayFinsh, this, [this] { isOpen = false; });
}

ChannelView::~ChannelView()
{
    leave(widget->shownThread());
    delete widget;
}

bool ChannelView::start(const Source& source)
{
    shown = DeviceChannel::parse(source.url);
    const QSharedPointer<MediaDevice> device = devices.find(shown.device);
    if (!device || shown.channel < 0 || shown.channel >= device->getChannelCount()
        || shown.stream >= device->getStreamCountPerChannel())
        return false;
    isStreamChosen = shown.stream != DeviceChannel::any;
    if (!isStreamChosen)
        shown.stream = fittingStream();
    isOpen = false;
    wasPlaying = false;
    if (!widget->init(device, shown.channel, 1 << shown.stream) || !widget->start())
        return false;
    widget->playStart(shown.stream);
    follow(widget->shownThread());
    lastState = CellState::Connecting;
    Q_EMIT stateChanged(lastState);
    checkTimer.start();
    check();
    return true;
}

void ChannelView::stop()
{
    checkTimer.stop();
    resizeTimer.stop();
    leave(widget->shownThread());
    widget->stop();
}

int ChannelView::streamCount() const
{
    const QSharedPointer<MediaDevice> device = devices.find(shown.device);
    return device ? device->getStreamCountPerChannel() : 0;
}

int ChannelView::fittingStream() const
{
    return widget->width() * widget->devicePixelRatioF() >= widthOfMain ? 0 : qMin(1, streamCount() - 1);
}

bool ChannelView::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::Resize && checkTimer.isActive())
        resizeTimer.start();
    return CellView::eventFilter(watched, event);
}

// A recording goes on with the stream that it began with.
void ChannelView::changeStream()
{
    const AbstractVideoThread* thread = widget->shownThread();
    if (!isStreamChosen && fittingStream() != shown.stream && thread && !thread->hasOpenFile())
        Q_EMIT restartWanted();
}

bool ChannelView::isShared() const
{
    AbstractVideoThread* thread = widget->shownThread();
    return thread && thread->previewRef() > 1;
}

// Files that were open before this cell came are its files, too.
void ChannelView::follow(AbstractVideoThread* thread)
{
    if (!thread)
        return;
    connect(thread, &AbstractVideoThread::recorderStateChanged, this, &ChannelView::recorderStateChanged,
            Qt::UniqueConnection);
    for (const auto type : recordTypes) {
        if (thread->isRecording(type) && thread->hasOpenFile())
            Q_EMIT recorderStateChanged(RecorderRecording, thread->getFileName(type));
    }
    setSaveInterval(saveInterval);
    if (!autoRecordFolder.isEmpty())
        setAutoRecord(autoRecordFolder);
}

// The thread of a stream that nobody shows any more ends, and what becomes of its files is still of interest.
void ChannelView::leave(AbstractVideoThread* thread)
{
    if (!thread)
        return;
    if (isShared()) {
        thread->disconnect(this);
        return;
    }
    for (const auto type : recordTypes)
        thread->recordStop(type);
    // While other streams of the device are shown the display lets this one go on, ready to be shown again. Devices
    // have few connections to give, so here it does not go on for long.
    QTimer::singleShot(unusedTime, thread, [thread] {
        if (thread->referenceCount() < 1)
            thread->stop();
    });
}

void ChannelView::setAutoRecord(const QString& folder)
{
    autoRecordFolder = folder;
    AbstractVideoThread* thread = widget->shownThread();
    if (!thread)
        return;
    if (folder.isEmpty()) {
        thread->recordStop(AbstractVideoThread::AUTO_RECORD);
    } else {
        thread->setSavePath(AbstractVideoThread::AUTO_RECORD, ownFolder(folder));
        thread->recordStart(AbstractVideoThread::AUTO_RECORD);
        askForKeyFrame();
    }
}

void ChannelView::recordStart(const QString& folder)
{
    widget->recordStart(ownFolder(folder));
    askForKeyFrame();
}

// A file can be played from its first key frame on. Devices that can't send one now have one before long.
void ChannelView::askForKeyFrame()
{
    if (const QSharedPointer<MediaDevice> device = devices.find(shown.device))
        device->requestVideoIFrame(shown.channel, shown.stream);
}

void ChannelView::setSaveInterval(int seconds)
{
    saveInterval = seconds;
    widget->setSaveInterval(seconds);
    if (AbstractVideoThread* thread = widget->shownThread())
        thread->setSaveInterval(AbstractVideoThread::AUTO_RECORD, seconds);
}

// One for all cells that show the stream. The channels of two devices have the same numbers in their files.
QString ChannelView::ownFolder(const QString& folder) const
{
    const QString name
        = QString("%1-%2-%3").arg(shown.device).arg(shown.channel + 1).arg(DeviceChannel::streamName(shown.stream));
    return folder + '/' + FolderName::ofTitle(name);
}

bool ChannelView::isRecording() const
{
    const AbstractVideoThread* thread = widget->shownThread();
    return thread && thread->isRecording(AbstractVideoThread::MANUAL_RECORD);
}

void ChannelView::check()
{
    const CellState state = seenState();
    wasPlaying |= state == CellState::Playing;
    if (state == lastState)
        return;
    lastState = state;
    Q_EMIT stateChanged(state);
}

// A device that answers has not sent a picture yet; only that counts as playing.
CellState ChannelView::seenState() const
{
    const AbstractVideoThread* thread = widget->shownThread();
    const bool isSilent = widget->isReadStreamTimeout();
    if (widget->isStreamExceedMax())
        return CellState::Refused;
    if (isOpen && !isSilent && thread && thread->getVideoWidth() > 0)
        return CellState::Playing;
    if (wasPlaying)
        return CellState::Lost;
    return isSilent || widget->isOpenStreamTimeout() ? CellState::NoAnswer : CellState::Connecting;
}
