#pragma once

#include "devnet/xnetdevice.h"

#include <QDateTime>
#include <QDialog>
#include <QPointer>
#include <QSharedPointer>

class DownloadedFiles;
class DownloadForm;
class QLabel;
class QMessageBox;
class QProgressBar;
class QPushButton;
class QTimer;
class RecordingDownload;

/// Fetches what a device has recorded of a channel and writes it into MP4 files.
///
/// Modeless: a host calls show() and may forget the dialog, which deletes itself when it is closed. It may be deleted
/// at any moment, too; a download that runs then is ended without waiting for it, and what it has written stays.
class DownloadDialog : public QDialog
{
    Q_OBJECT

public:
    /// @p start and @p end are what the user is offered as the period, local time; @p channel counts from 0.
    DownloadDialog(const QSharedPointer<XNetDevice>& device, int channel, const QString& channelName,
                   const QDateTime& start, const QDateTime& end, QWidget* parent = nullptr);
    ~DownloadDialog() override;

    bool isRunning() const { return download; }

public Q_SLOTS:
    void start();

    /// Ends the download; the files are complete a moment later.
    void cancel();

    /// Asks first while a download runs.
    void reject() override;

private:
    void makeLayout(const QString& channelName);
    QWidget* makeButtons();
    void setRunning(bool running);
    QString ownFolder() const;
    void showPosition(qint64 stamp);
    void showProgress();
    void addFile(const QString& file, qint64 milliseconds);
    void finish();
    void leave();

    const QSharedPointer<XNetDevice> device;
    const int channel;
    DownloadForm* form; // children
    QProgressBar* bar;
    QLabel* state;
    DownloadedFiles* files;
    QPushButton* startButton = nullptr;
    QPushButton* cancelButton = nullptr;
    QPushButton* folderButton = nullptr;
    QTimer* refreshTimer;
    QPointer<QMessageBox> question; // whether to end the download
    RecordingDownload* download = nullptr; // while it runs
    QString position; // as it is shown
    bool isCancelled = false;
    bool isClosing = false; // as soon as the download has ended
};
