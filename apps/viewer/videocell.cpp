#include "videocell.h"

#include "cellosd.h"
#include "cellrecorder.h"
#include "core_videobase/abstractvideothread.h"
#include "core_videobase/bannerwidget.h"

#include <QContextMenuEvent>
#include <QDropEvent>
#include <QMimeData>

namespace {

constexpr int noAnswerAfter = 5000; // milliseconds
constexpr int borderWidth = 4; // half of it lies outside the cell
const QColor borderColor("#2A3038");
const QColor selectedColor("#22A3A9");

} // namespace

VideoCell::VideoCell(int number, QWidget* parent)
    : UrlVideoWidget(parent)
    , cellNumber(number)
    , recorder(new CellRecorder(this))
{
    setChannel(number);
    initLook();
    noAnswerTimer.setSingleShot(true);
    noAnswerTimer.setInterval(noAnswerAfter);
    connect(&noAnswerTimer, &QTimer::timeout, this, [this] { setState(CellState::NoAnswer); });
    connect(this, &VideoCell::sig_receivePlayStart, this, &VideoCell::playStarted);
    connect(this, &VideoCell::sig_receivePlayFinsh, this, &VideoCell::playFinished);
    connect(recorder, &CellRecorder::message, this, &VideoCell::message);
    connect(recorder, &CellRecorder::changed, this, [this] {
        showOsd();
        Q_EMIT stateChanged();
    });
    showOsd();
}

VideoCell::~VideoCell() { endVideoThreads(); }

void VideoCell::initLook()
{
    WidgetPara para = getWidgetPara();
    para.borderWidth = borderWidth;
    para.borderColor = borderColor;
    para.focusColor = selectedColor;
    para.bgText.clear(); // the state is an on-screen item, so that it is also seen over a last picture
    para.scaleMode = ScaleMode_Aspect;
    para.muted = true; // a wall of pictures is silent until somebody asks for sound
    para.showBanner = true;
    para.bannerSize = 28;
    para.bannerPosition = 1;
    para.bannerPara.margins = {8, 0, 6, 0};
    para.bannerPara.spacing = 6;
    para.bannerPara.names = QStringList{"btnMuted", "btnTalk", "btnSnap", "btnRecord"};
    para.bannerPara.icons = QStringList{":/primary/close_volume.svg", ":/primary/mic.svg", ":/viewer/snapshot.svg",
                                        ":/viewer/record.svg"};
    para.bannerPara.tips = QStringList{tr("Sound"), tr("Talk"), tr("Snapshot"), tr("Record H.264 or H.265")};
    setWidgetPara(para);
    setBannerBgColor("#1B2026");
    setBannerBgAlpha(255); // the text of the state lies below the bar
}

void VideoCell::setSource(const Source& source)
{
    stop();
    shownSource = source;
    setState(source.isEmpty() ? CellState::Empty : CellState::Stopped);
}

void VideoCell::play()
{
    if (shownSource.isEmpty())
        return;
    stop();
    setUrl(shownSource.url);
    setTransport(shownSource.transport);
    recorder->sourceStarts();
    if (!shownSource.captureFormat.isEmpty())
        setCaptureFormat(shownSource.captureFormat);
    setState(start() ? CellState::Connecting : CellState::Failed);
    if (currentState == CellState::Failed)
        Q_EMIT message(tr("%1: not a file, a camera or an address that can be played").arg(shownSource.shownUrl()));
}

void VideoCell::stop()
{
    UrlVideoWidget::stop();
    if (currentState != CellState::Empty)
        setState(CellState::Stopped);
}

void VideoCell::togglePause()
{
    if (currentState == CellState::Ended) {
        play();
    } else if (currentState == CellState::Paused) {
        resume();
        setState(CellState::Playing);
    } else if (currentState == CellState::Playing && isFile) {
        pause();
        setState(CellState::Paused);
    }
}

QString VideoCell::description() const
{
    return tr("%1  %2 — %3").arg(cellNumber).arg(shownSource.title(), cellStateText(currentState));
}

void VideoCell::setSelected(bool selected) { setBorderColor(selected ? selectedColor : borderColor); }

void VideoCell::setRecordingFolders(const QString& manual, const QString& automatic)
{
    recorder->setFolders(manual, automatic);
}

void VideoCell::toggleRecording() { recorder->toggle(); }

bool VideoCell::isRecording() const
{
    return videoThread && videoThread->isRecording(AbstractVideoThread::MANUAL_RECORD);
}

void VideoCell::toggleMuted() { switchSound(isMuted()); }

void VideoCell::switchSound(bool on)
{
    setMuted(!on);
    updateBanner();
    Q_EMIT message(isMuted() ? tr("%1: sound off").arg(shownSource.title())
                             : tr("%1: sound on").arg(shownSource.title()));
}

void VideoCell::btnClicked(QString btnName)
{
    UrlVideoWidget::btnClicked(btnName);
    if (btnName.endsWith("Muted") && !btnName.endsWith("TalkMuted"))
        switchSound(false);
    else if (btnName.endsWith("Sound"))
        switchSound(true);
    else if (btnName.endsWith("TalkMuted"))
        refuseTalk();
    else if (btnName.endsWith("Snap"))
        Q_EMIT snapshotWanted();
    else if (btnName.endsWith("Record"))
        toggleRecording();
}

// An address has nobody to talk to; the button goes back to where it was.
void VideoCell::refuseTalk()
{
    banner()->changeStatus("TalkMuted", "Talk", ":/primary/mic.svg");
    Q_EMIT message(tr("%1 has no talk-back; only devices do").arg(shownSource.title()));
}

void VideoCell::focusInEvent(QFocusEvent* event)
{
    UrlVideoWidget::focusInEvent(event);
    Q_EMIT selected();
}

void VideoCell::mousePressEvent(QMouseEvent* event)
{
    UrlVideoWidget::mousePressEvent(event);
    setFocus(Qt::MouseFocusReason);
    Q_EMIT selected();
}

void VideoCell::mouseDoubleClickEvent(QMouseEvent* event)
{
    event->accept();
    Q_EMIT enlargeWanted();
}

void VideoCell::contextMenuEvent(QContextMenuEvent* event)
{
    event->accept();
    Q_EMIT selected();
    Q_EMIT menuWanted(event->globalPos());
}

void VideoCell::resizeEvent(QResizeEvent* event)
{
    UrlVideoWidget::resizeEvent(event);
    showOsd();
}

void VideoCell::dropEvent(QDropEvent* event)
{
    const QList<QUrl> urls = event->mimeData()->urls();
    if (urls.isEmpty() || urls.first().isLocalFile())
        UrlVideoWidget::dropEvent(event);
    else
        Q_EMIT sig_fileDrag(urls.first().toString());
}

void VideoCell::playStarted()
{
    noAnswerTimer.stop();
    isFile = isSeekable();
    setState(CellState::Playing);
}

void VideoCell::playFinished()
{
    // While the display still has its thread, that thread opens the source again.
    if (isFile && !videoThread)
        setState(CellState::Ended);
    else
        setState(CellState::Lost);
}

void VideoCell::setState(CellState state)
{
    currentState = state;
    if (state == CellState::Connecting)
        noAnswerTimer.start();
    else
        noAnswerTimer.stop();
    showOsd();
    updateBanner();
    Q_EMIT stateChanged();
}

void VideoCell::showOsd()
{
    CellOsd osd(size(), borderWidth + 5, font());
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
        osd.addText(CellOsd::BottomLeft, "● " + cellStateText(currentState), cellStateColor(currentState));
    else
        osd.addText(CellOsd::Centre, longStateText(), cellStateColor(currentState));

    clearOsd();
    for (const OsdInfo& item : osd.items())
        appendOsd(item);
}

QString VideoCell::longStateText() const
{
    if (currentState == CellState::Empty)
        return tr("No source\nDrop a file or an address here");
    if (currentState == CellState::Lost && videoThread)
        return tr("Connection lost, trying again…");
    const QString address = fontMetrics().elidedText(shownSource.shownUrl(), Qt::ElideMiddle, width() / 2);
    return cellStateText(currentState) + '\n' + address;
}

void VideoCell::updateBanner()
{
    banner()->receiveMuted(isMuted());
    banner()->showInfo("● " + cellStateText(currentState));
}

BannerWidget* VideoCell::banner() const { return findChild<BannerWidget*>("bannerWidget"); }
