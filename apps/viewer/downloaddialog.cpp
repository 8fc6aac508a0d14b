#include "downloaddialog.h"

#include "downloadedfiles.h"
#include "downloadform.h"
#include "foldername.h"
#include "recordingdownload.h"
#include "shownproblem.h"
#include "walltime.h"

#include <QCoreApplication>
#include <QLabel>
#include <QLocale>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

namespace {
constexpr int refreshInterval = 200; // milliseconds
constexpr int barSteps = 1000;
} // namespace

DownloadDialog::DownloadDialog(const QSharedPointer<XNetDevice>& source, int number, const QString& channelName,
                               const QDateTime& start, const QDateTime& end, QWidget* parent)
    : QDialog(parent)
    , device(source)
    , channel(number)
    , form(new DownloadForm(this))
    , bar(new QProgressBar(this))
    , state(new QLabel(this))
    , files(new DownloadedFiles(this))
    , refreshTimer(new QTimer(this))
{
    setObjectName("downloadDialog");
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(tr("Download – %1").arg(channelName));
    resize(620, 460);
    makeLayout(channelName);
    form->setPeriod(start, end);
    connect(form, &DownloadForm::changed, this, [this] { setRunning(isRunning()); });
    connect(files, &QTreeWidget::itemSelectionChanged, this, [this] { setRunning(isRunning()); });
    refreshTimer->setInterval(refreshInterval);
    connect(refreshTimer, &QTimer::timeout, this, &DownloadDialog::showProgress);
    setRunning(false);
}

DownloadDialog::~DownloadDialog() { leave(); }

void DownloadDialog::makeLayout(const QString& channelName)
{
    auto* heading = new QLabel(channelName, this);
    heading->setObjectName("heading");
    bar->setObjectName("progress");
    bar->setRange(0, barSteps);
    bar->setTextVisible(false);
    state->setObjectName("state");
    state->setWordWrap(true);
    state->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    state->setMinimumHeight(2 * state->fontMetrics().lineSpacing()); // the list keeps its place
    state->setTextInteractionFlags(Qt::TextSelectableByMouse);

    auto* box = new QVBoxLayout(this);
    box->setContentsMargins(16, 14, 16, 14);
    box->setSpacing(10);
    box->addWidget(heading);
    box->addWidget(form);
    box->addWidget(bar);
    box->addWidget(state);
    box->addWidget(files, 1);
    box->addWidget(makeButtons());
}

QWidget* DownloadDialog::makeButtons()
{
    auto* row = new QWidget(this);
    auto* box = new QHBoxLayout(row);
    box->setContentsMargins(0, 0, 0, 0);
    const auto makeButton = [&](const QString& text, const QString& name) {
        auto* button = new QPushButton(text, row);
        button->setObjectName(name);
        button->setAutoDefault(false);
        box->addWidget(button);
        return button;
    };
    folderButton = makeButton(tr("Show folder"), "showFolder");
    box->addStretch();
    startButton = makeButton(tr("Start"), "start");
    cancelButton = makeButton(tr("Cancel"), "cancel");
    auto* closeButton = makeButton(tr("Close"), "close");
    startButton->setDefault(true);
    connect(folderButton, &QPushButton::clicked, files, &DownloadedFiles::showFolder);
    connect(startButton, &QPushButton::clicked, this, &DownloadDialog::start);
    connect(cancelButton, &QPushButton::clicked, this, &DownloadDialog::cancel);
    connect(closeButton, &QPushButton::clicked, this, &DownloadDialog::reject);
    return row;
}

void DownloadDialog::start()
{
    if (download || !form->isValid())
        return;
    form->rememberFolder();
    download = new RecordingDownload(device, channel, form->from(), form->to());
    download->setSaveAudio(form->hasSound());
    download->setSavePath(ownFolder());
    connect(download, &AbstractVideoDLThread::sig_downloadPts, this, &DownloadDialog::showPosition);
    connect(download, &RecordingDownload::fileWritten, this, &DownloadDialog::addFile);
    connect(download, &QThread::finished, this, &DownloadDialog::finish);
    position.clear();
    isCancelled = false;
    bar->setValue(0);
    setRunning(true);
    showProgress();
    download->startDL();
}

// The channels of two devices have the same numbers in their files.
QString DownloadDialog::ownFolder() const
{
    const QString alias = device->getAlias();
    const QString name = QString("%1-%2").arg(alias.isEmpty() ? tr("Device") : alias).arg(channel + 1);
    return form->folder() + '/' + FolderName::ofTitle(name);
}

void DownloadDialog::cancel()
{
    if (!download)
        return;
    isCancelled = true;
    download->cancel();
    setRunning(true);
    showProgress();
}

void DownloadDialog::setRunning(bool running)
{
    form->setEnabled(!running);
    startButton->setEnabled(!running && form->isValid());
    cancelButton->setEnabled(running && !isCancelled);
    folderButton->setEnabled(!files->isEmpty());
    running ? refreshTimer->start() : refreshTimer->stop();
}

void DownloadDialog::showPosition(qint64 stamp)
{
    const qint64 begin = WallTime::of(form->from());
    const qint64 length = WallTime::of(form->to()) - begin;
    bar->setValue(static_cast<int>(qBound<qint64>(0, (stamp - begin) * barSteps / length, barSteps)));
    position = WallTime::text(stamp, "HH:mm:ss");
}

void DownloadDialog::showProgress()
{
    if (!download)
        return;
    markProblem(state, false);
    if (isCancelled)
        state->setText(tr("Ending…"));
    else if (download->receivedBytes() == 0)
        state->setText(tr("Waiting for the device…"));
    else
        state->setText(tr("At %1 – %2 fetched")
                           .arg(position.isEmpty() ? tr("the beginning") : position,
                                QLocale().formattedDataSize(download->receivedBytes())));
}

void DownloadDialog::addFile(const QString& file, qint64 milliseconds)
{
    files->add(file, milliseconds);
    setRunning(isRunning());
}

void DownloadDialog::finish()
{
    const DownloadReport report = download->report();
    download->deleteLater();
    download = nullptr;
    if (report.outcome == DownloadReport::Outcome::Complete)
        bar->setValue(barSteps);
    state->setText(report.text());
    markProblem(state, report.isFailure());
    setRunning(false);
    delete question;
    if (isClosing)
        reject();
}

// A question that stays open would hold up everything else, and the download may end meanwhile.
void DownloadDialog::reject()
{
    if (!download) {
        QDialog::reject();
        return;
    }
    if (isClosing || question)
        return;
    question = new QMessageBox(QMessageBox::Question, tr("Download"),
                               tr("The download is not complete. End it? What was written so far stays."),
                               QMessageBox::NoButton, this);
    question->setAttribute(Qt::WA_DeleteOnClose);
    auto* endButton = question->addButton(tr("End the download"), QMessageBox::DestructiveRole);
    endButton->setObjectName("end");
    question->setDefaultButton(question->addButton(tr("Go on"), QMessageBox::RejectRole));
    connect(endButton, &QAbstractButton::clicked, this, [this] {
        isClosing = true;
        cancel();
    });
    question->open();
}

// Waiting for a device would hold up the window. Where the program ends first, the application waits for its children.
void DownloadDialog::leave()
{
    if (!download)
        return;
    download->disconnect(this);
    download->cancel();
    download->setParent(QCoreApplication::instance());
    connect(download, &QThread::finished, download, &QObject::deleteLater);
    if (download->isFinished())
        download->deleteLater();
}
