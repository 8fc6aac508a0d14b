#include "addressview.h"

#include "core_videobase/abstractvideothread.h"
#include "devicechannel.h"
#include "source.h"

namespace {
constexpr int noAnswerAfter = 5000; // milliseconds
}

AddressView::AddressView(int number, QWidget* cell)
    : CellView(cell)
    , widget(new OpenDisplay<UrlVideoWidget>(cell))
    , cameraFormat(widget->getCaptureFormat())
{
    widget->setChannel(number);
    noAnswerTimer.setSingleShot(true);
    noAnswerTimer.setInterval(noAnswerAfter);
    connect(&noAnswerTimer, &QTimer::timeout, this, [this] { Q_EMIT stateChanged(CellState::NoAnswer); });
    connect(widget, &UrlVideoWidget::sig_receivePlayStart, this, &AddressView::playStarted);
    connect(widget, &UrlVideoWidget::sig_receivePlayFinsh, this, &AddressView::playFinished);
    connect(widget, &UrlVideoWidget::receivePosition, this, &AddressView::positionChanged);
    connect(widget, &UrlVideoWidget::receiveDuration, this, &AddressView::durationChanged);
    connect(widget, &UrlVideoWidget::recorderStateChanged, this, &AddressView::recorderStateChanged);
}

AddressView::~AddressView() { delete widget; }

bool AddressView::start(const Source& source)
{
    if (DeviceChannel::isAddress(source.url)) // of a device that is not there
        return false;
    widget->setUrl(source.url);
    widget->setTransport(source.transport);
    widget->setCaptureFormat(source.captureFormat.isEmpty() ? cameraFormat : source.captureFormat);
    if (!widget->start())
        return false;
    noAnswerTimer.start();
    Q_EMIT stateChanged(CellState::Connecting);
    return true;
}

void AddressView::stop()
{
    noAnswerTimer.stop();
    widget->stop();
}

// While the display still has its thread, that thread opens the source again.
bool AddressView::isTryingAgain() const { return widget->shownThread(); }

void AddressView::setAutoRecord(const QString& folder)
{
    widget->setAutoRecord(folder.isEmpty() ? folder : ownFolder(folder));
}

QString AddressView::ownFolder(const QString& folder) const
{
    return QString("%1/%2").arg(folder).arg(widget->getChannel(), 2, 10, QChar('0'));
}

bool AddressView::isRecording() const
{
    const AbstractVideoThread* thread = widget->shownThread();
    return thread && thread->isRecording(AbstractVideoThread::MANUAL_RECORD);
}

void AddressView::playStarted()
{
    noAnswerTimer.stop();
    isFile = isSeekable();
    Q_EMIT stateChanged(CellState::Playing);
}

void AddressView::playFinished()
{
    Q_EMIT stateChanged(isFile && !isTryingAgain() ? CellState::Ended : CellState::Lost);
}
